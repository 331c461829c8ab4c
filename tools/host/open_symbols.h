// From the name of a symbol file to the tags that a host works with.
#ifndef AC500_TOOLS_HOST_OPEN_SYMBOLS_H
#define AC500_TOOLS_HOST_OPEN_SYMBOLS_H

#include <optional>
#include <string>

#include "tools/host/failure.h"
#include "tools/host/tag.h"

namespace ac500::host {

// `withSimulator`: the simulator's own variables are among them. Nothing on failure; *failure then lists every problem of
// the file.
std::optional<TagTable> openSymbols(const std::string& fileName, bool withSimulator, Failure* failure);

}  // namespace ac500::host

#endif
