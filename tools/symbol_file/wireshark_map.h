// A symbol file as the map by which the dissector for Wireshark (tools/wireshark/ac500.lua) names variables. Lines of text
// in UTF-8, parted by tabs: a header, then a line for each variable or array of a scope, structures expanded:
//
//   area, "byte" or "bit", address, type, array bounds, tag; and where the symbol file has them: unit, factor and offset of
//   the scale, then a "value=name" for each name of a value
//
// "1<tab>byte<tab>4<tab>REAL<tab><tab>Main.setpoint", "1<tab>byte<tab>100<tab>INT<tab>0..3,1..6<tab>Main.grid". No text of a symbol
// file holds a tab or the end of a line. Pure functions.
#ifndef AC500_TOOLS_SYMBOL_FILE_WIRESHARK_MAP_H
#define AC500_TOOLS_SYMBOL_FILE_WIRESHARK_MAP_H

#include <string>

#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {

std::string wiresharkMap(const SymbolFile& file);

}  // namespace ac500::symbol_file

#endif
