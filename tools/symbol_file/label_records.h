// Turns a symbol file into the records that the driver resolves names against.
#ifndef AC500_TOOLS_SYMBOL_FILE_LABEL_RECORDS_H
#define AC500_TOOLS_SYMBOL_FILE_LABEL_RECORDS_H

#include <QtCore/QList>

#include "symbols/label_type_info.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {

// One record per scope, ready for PassVarName_2. All fields are filled. Array bounds follow the driver's convention:
// number base 10, then (lower, upper + 1) per dimension, because an index equal to the record's upper bound lies
// outside the array. A bit-addressable variable carries an element type whose array bounds are its bit numbers, so that
// "Main.flags.b[%%]" can be rewritten. TIME, DATE, TOD and DT are UDINT in them, and strings carry no length: of an array of
// strings of other lengths than 80 only the first element lies where the driver has it.
QList<Label_Type_Info> labelRecords(const SymbolFile& file);

}  // namespace ac500::symbol_file

#endif
