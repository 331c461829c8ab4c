// The one way in which lists and values resolve a tag of the host.
#ifndef AC500_SYMBOLS_TAG_RESOLUTION_H
#define AC500_SYMBOLS_TAG_RESOLUTION_H

#include <QtCore/QString>

#include "symbols/control_information.h"

namespace ac500 {

// Makes the name concrete when it holds "%%" (`tag` is overwritten, `argument` is decimal text, 0 when unreadable), then
// resolves it. Returns a resolution code; `info` is cleared first and filled on success.
int resolveTag(QString& tag, const QString& argument, ControlInformationM& info);

}  // namespace ac500

#endif
