// Changing the order of the variables in a list. A list holds pointers to its records; these functions exchange the
// pointers and leave the records where they are, because copying a record costs as much as planning it.
#ifndef AC500_VARS_RECORD_ORDER_H
#define AC500_VARS_RECORD_ORDER_H

#include <QtCore/QList>

#include "vars/rw_var.h"

namespace ac500 {

// Moves the first entry to the end, `count` times. Nothing happens to an empty list or with a count of 0 or less.
void rotateLeft(QList<RW_VAR>& list, int count);

}  // namespace ac500

#endif
