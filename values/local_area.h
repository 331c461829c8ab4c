// Feeding the byte image from read replies and from writes.
#ifndef AC500_VALUES_LOCAL_AREA_H
#define AC500_VALUES_LOCAL_AREA_H

#include <QtCore/QByteArray>
#include <QtCore/QList>

#include "core/export.h"
#include "vars/rw_var.h"

namespace ac500 {

// Makes room in the byte image for what these reads ask for, so that readers do not wait for it while replies are stored.
// Room that other bytes of the image have taken is not counted. Takes the image lock if it is free, and does nothing
// otherwise: nobody waits for it here. Loop thread. REQUIRES: the list lock is held.
void reserveLocalArea(const QList<RW_VAR>& reads);

}  // namespace ac500

// Stores the item data of a read reply for the current batch in the byte image. Loop thread. REQUIRES: the image lock is
// held.
AC500_API void SaveToLocalDataErea(QByteArray* reply) AC500_NOEXCEPT;

// Stores the data of one written variable in the byte image. Any thread; takes the image lock.
AC500_API void WriteDataToLocal(RW_VAR* var) AC500_NOEXCEPT;

#endif
