// The one way in which lists and values resolve a tag of the host.
#ifndef AC500_SYMBOLS_TAG_RESOLUTION_H
#define AC500_SYMBOLS_TAG_RESOLUTION_H

#include <QtCore/QString>

#include "symbols/control_information.h"
#include "symbols/symbol_memory.h"

namespace ac500 {

// Makes the name concrete when it holds "%%" (`tag` is overwritten, `argument` is decimal text, 0 when unreadable), then
// resolves it. Returns a resolution code; `info` is cleared first and filled on success.
int resolveTag(QString& tag, const QString& argument, ControlInformationM& info);

// The two overloads of get_label_address_info (core/host_interface.h) for who has the memory in use already.
int makeConcrete(QString& tag, int argument, SymbolMemory::Use& memory);
int resolveConcreteTag(const QString& tag, ControlInformationM& info, SymbolMemory::Use& memory);

}  // namespace ac500

#endif
