#include "tests/fuzz/plant.h"

#include "tests/fuzz/fuzz_check.h"
#include "tools/symbol_file/label_records.h"

namespace ac500::fuzz {

using symbol_file::LoadedSymbolFile;
using symbol_file::parseSymbolFile;

namespace {

constexpr char kProgram[] = R"({
  "format": "ac500-symbols", "version": 1,
  "areas": [{"number": 1, "bytes": 2048}, {"number": 2, "bytes": 256}, {"number": 3, "bytes": 16}],
  "types": {
    "Drive": {"size": 4, "members": [{"name": "current", "type": "INT", "offset": 2}]},
    "Motor": {"size": 32, "members": [
      {"name": "on", "type": "BOOL", "offset": 0},
      {"name": "speed", "type": "INT", "offset": 2},
      {"name": "curve", "type": "REAL", "offset": 4, "array": [[1, 5]]},
      {"name": "status", "type": "BYTE", "offset": 24, "bits": true},
      {"name": "drive", "type": "Drive", "offset": 28}]}},
  "scopes": [{"name": "Main", "variables": [
    {"name": "bool", "type": "BOOL", "area": 1, "offset": 0},
    {"name": "sint", "type": "SINT", "area": 1, "offset": 1},
    {"name": "usint", "type": "USINT", "area": 1, "offset": 2},
    {"name": "byte", "type": "BYTE", "area": 1, "offset": 3, "bits": true},
    {"name": "int", "type": "INT", "area": 1, "offset": 4},
    {"name": "uint", "type": "UINT", "area": 1, "offset": 6},
    {"name": "word", "type": "WORD", "area": 1, "offset": 8, "bits": true},
    {"name": "dint", "type": "DINT", "area": 1, "offset": 12},
    {"name": "udint", "type": "UDINT", "area": 1, "offset": 16},
    {"name": "dword", "type": "DWORD", "area": 1, "offset": 20, "bits": true},
    {"name": "real", "type": "REAL", "area": 1, "offset": 24},
    {"name": "lint", "type": "LINT", "area": 1, "offset": 32},
    {"name": "ulint", "type": "ULINT", "area": 1, "offset": 40},
    {"name": "lword", "type": "LWORD", "area": 1, "offset": 48, "bits": true},
    {"name": "lreal", "type": "LREAL", "area": 1, "offset": 56},
    {"name": "string", "type": "STRING", "area": 1, "offset": 100},
    {"name": "cstring", "type": "CSTRING", "area": 1, "offset": 200},
    {"name": "bit", "type": "BIT", "area": 3, "bit": 21},
    {"name": "bits", "type": "BIT", "area": 3, "bit": 30, "array": [[1, 6]]},
    {"name": "bools", "type": "BOOL", "area": 1, "offset": 300, "array": [[1, 4]]},
    {"name": "sints", "type": "SINT", "area": 1, "offset": 310, "array": [[-2, 2]]},
    {"name": "ints", "type": "INT", "area": 1, "offset": 320, "array": [[1, 6]]},
    {"name": "dints", "type": "DINT", "area": 1, "offset": 340, "array": [[1, 5]]},
    {"name": "grid", "type": "REAL", "area": 1, "offset": 360, "array": [[0, 2], [1, 3]]},
    {"name": "cube", "type": "LINT", "area": 1, "offset": 400, "array": [[1, 2], [0, 2], [5, 6]]},
    {"name": "names", "type": "STRING", "area": 1, "offset": 500, "array": [[1, 3]]},
    {"name": "motor", "type": "Motor", "area": 1, "offset": 760},
    {"name": "motors", "type": "Motor", "area": 1, "offset": 800, "array": [[1, 3]]},
    {"name": "left", "type": "INT", "area": 1, "offset": 1000, "array": [[1, 200]]},
    {"name": "many", "type": "INT", "area": 2, "offset": 0, "array": [[1, 128]]}
  ]},
  {"name": "Other", "variables": [{"name": "int", "type": "INT", "area": 2, "offset": 10}]}]})";

QHash<QString, Label_Type_Info> tableOf(const QList<Label_Type_Info>& records) {
    QHash<QString, Label_Type_Info> table;
    for (const Label_Type_Info& record : records) {
        table.insert(record.name, record);
    }
    return table;
}

}  // namespace

const SymbolFile& plant() {
    static const LoadedSymbolFile loaded = parseSymbolFile(kProgram);
    FUZZ_CHECK(loaded.problems.empty());
    return loaded.file;
}

const QHash<QString, Label_Type_Info>& plantLabels() {
    static const QHash<QString, Label_Type_Info> table = tableOf(labelRecords(plant()));
    return table;
}

}  // namespace ac500::fuzz
