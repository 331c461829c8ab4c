#include <algorithm>
#include <iterator>

#include "tools/symbol_file/symbol_file.h"

namespace ac500 {
namespace {

const TypeTraits kTypes[] = {
    {TypeCode::Bool, "BOOL", 1, false},        {TypeCode::Sint, "SINT", 1, true},
    {TypeCode::Int, "INT", 2, true},           {TypeCode::Uint, "UINT", 2, true},
    {TypeCode::Dint, "DINT", 4, true},         {TypeCode::Udint, "UDINT", 4, true},
    {TypeCode::Real, "REAL", 4, false},        {TypeCode::Lint, "LINT", 8, true},
    {TypeCode::Lreal, "LREAL", 8, false},      {TypeCode::String, "STRING", 81, false},
    {TypeCode::Cstring, "CSTRING", 81, false}, {TypeCode::Struct, "STRUCT", 0, false},
    {TypeCode::Bit, "BIT", 0, false},          {TypeCode::Usint, "USINT", 1, true},
    {TypeCode::Byte, "BYTE", 1, true},         {TypeCode::Word, "WORD", 2, true},
    {TypeCode::Dword, "DWORD", 4, true},       {TypeCode::Lword, "LWORD", 8, true},
    {TypeCode::Ulint, "ULINT", 8, true},
};

template <typename Predicate>
const TypeTraits* findRow(Predicate matches) {
    const TypeTraits* row = std::find_if(std::begin(kTypes), std::end(kTypes), matches);
    return row == std::end(kTypes) ? nullptr : row;
}

}  // namespace

const TypeTraits* typeTraits(TypeCode code) {
    return findRow([code](const TypeTraits& row) { return row.code == code; });
}

const TypeTraits* typeTraits(const std::string& name) {
    return findRow([&name](const TypeTraits& row) { return row.name == name; });
}

std::vector<std::string> builtInTypeNames() {
    std::vector<std::string> names;
    for (const TypeTraits& row : kTypes) {
        if (row.code != TypeCode::Struct) {
            names.push_back(row.name);
        }
    }
    return names;
}

}  // namespace ac500
