// The "guard" part of a symbol file: the numbers by which a host tells this program from another one in the PLC.
#ifndef AC500_TOOLS_SYMBOL_FILE_GUARD_SECTION_H
#define AC500_TOOLS_SYMBOL_FILE_GUARD_SECTION_H

#include <optional>

#include "tools/symbol_file/json_reader.h"
#include "tools/symbol_file/symbol_file.h"
#include "tools/symbol_file/tag_lookup.h"

namespace ac500::symbol_file {

// Fills `file->guards` and reports what is wrong with them. An absent section is empty.
void readGuard(const std::optional<JsonNode>& section, TagLookup lookup, SymbolFile* file, ProblemList* problems);

}  // namespace ac500::symbol_file

#endif
