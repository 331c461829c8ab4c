// The "simulation" part of a symbol file: what the simulated PLC does with the variables.
#ifndef AC500_TOOLS_SYMBOL_FILE_SIMULATION_SECTION_H
#define AC500_TOOLS_SYMBOL_FILE_SIMULATION_SECTION_H

#include <optional>

#include "tools/symbol_file/json_reader.h"
#include "tools/symbol_file/symbol_file.h"
#include "tools/symbol_file/tag_lookup.h"

namespace ac500::symbol_file {

// Fills `file->signals` and `file->initialValues` and reports what is wrong with them. An absent section is empty.
void readSimulation(const std::optional<JsonNode>& section, TagLookup lookup, SymbolFile* file, ProblemList* problems);

}  // namespace ac500::symbol_file

#endif
