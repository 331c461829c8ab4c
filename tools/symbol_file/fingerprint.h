// The fingerprint of a program: one number for where everything lies. Two symbol files with the same fingerprint have the
// same areas, the same readable values with the same types at the same places, and the same guard.
#ifndef AC500_TOOLS_SYMBOL_FILE_FINGERPRINT_H
#define AC500_TOOLS_SYMBOL_FILE_FINGERPRINT_H

#include <cstdint>

#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {

// FNV-1a over all of it, in file order. Descriptions, comments, units, names of values and the simulation do not count.
// For telling files apart that were not made to deceive.
std::uint64_t fingerprint(const SymbolFile& file);

}  // namespace ac500::symbol_file

#endif
