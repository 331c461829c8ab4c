// The plant that targets play with: one variable of every kind, small enough to be set up anew for every input.
#ifndef AC500_TESTS_FUZZ_PLANT_H
#define AC500_TESTS_FUZZ_PLANT_H

#include <QtCore/QHash>

#include "symbols/label_type_info.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::fuzz {

using symbol_file::SymbolFile;

// Areas 1 (2048 bytes), 2 (256) and 3 (16, BIT variables alone). No signals: nothing changes by itself.
const SymbolFile& plant();

// Its records, as PassVarName_2 would have stored them.
const QHash<QString, Label_Type_Info>& plantLabels();

}  // namespace ac500::fuzz

#endif
