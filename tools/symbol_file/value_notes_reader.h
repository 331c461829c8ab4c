// Reads what a declaration says of its values beyond type and place: "unit", "scale", "min", "max", "names".
#ifndef AC500_TOOLS_SYMBOL_FILE_VALUE_NOTES_READER_H
#define AC500_TOOLS_SYMBOL_FILE_VALUE_NOTES_READER_H

#include <memory>
#include <string>
#include <vector>

#include "tools/symbol_file/json_reader.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {

// The keys that readValueNotes looks at.
const std::vector<std::string>& valueNoteKeys();

// Null when the declaration has none of the keys; what is wrong with them is reported. REQUIRES: the type could be read
std::shared_ptr<const ValueNotes> readValueNotes(const ObjectReader& declaration, TypeCode code, ProblemList* problems);

}  // namespace ac500::symbol_file

#endif
