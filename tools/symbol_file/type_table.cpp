#include <algorithm>
#include <iterator>

#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {
namespace {

constexpr TypeTraits kTypes[] = {
    {TypeCode::Bool, TypeKind::Truth, "BOOL", 1, false},
    {TypeCode::Sint, TypeKind::Signed, "SINT", 1, true},
    {TypeCode::Int, TypeKind::Signed, "INT", 2, true},
    {TypeCode::Uint, TypeKind::Unsigned, "UINT", 2, true},
    {TypeCode::Dint, TypeKind::Signed, "DINT", 4, true},
    {TypeCode::Udint, TypeKind::Unsigned, "UDINT", 4, true},
    {TypeCode::Real, TypeKind::Float, "REAL", 4, false},
    {TypeCode::Lint, TypeKind::Signed, "LINT", 8, true},
    {TypeCode::Lreal, TypeKind::Float, "LREAL", 8, false},
    {TypeCode::String, TypeKind::Text, "STRING", kStringBytes, false},
    {TypeCode::Cstring, TypeKind::Text, "CSTRING", kStringBytes, false},
    {TypeCode::Struct, TypeKind::Structure, "STRUCT", 0, false},
    {TypeCode::Bit, TypeKind::Truth, "BIT", 0, false},
    {TypeCode::Usint, TypeKind::Unsigned, "USINT", 1, true},
    {TypeCode::Byte, TypeKind::BitString, "BYTE", 1, true},
    {TypeCode::Word, TypeKind::BitString, "WORD", 2, true},
    {TypeCode::Dword, TypeKind::BitString, "DWORD", 4, true},
    {TypeCode::Lword, TypeKind::BitString, "LWORD", 8, true},
    {TypeCode::Ulint, TypeKind::Unsigned, "ULINT", 8, true},
    {TypeCode::Time, TypeKind::Unsigned, "TIME", 4, false},
    {TypeCode::Date, TypeKind::Unsigned, "DATE", 4, false},
    {TypeCode::TimeOfDay, TypeKind::Unsigned, "TOD", 4, false},
    {TypeCode::DateAndTime, TypeKind::Unsigned, "DT", 4, false},
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

TypeCode driverCode(TypeCode code) {
    return timeKindOf(code) ? TypeCode::Udint : code;
}

std::optional<text::TimeKind> timeKindOf(TypeCode code) {
    switch (code) {
        case TypeCode::Time:
            return text::TimeKind::Duration;
        case TypeCode::Date:
            return text::TimeKind::Date;
        case TypeCode::TimeOfDay:
            return text::TimeKind::TimeOfDay;
        case TypeCode::DateAndTime:
            return text::TimeKind::DateAndTime;
        default:
            return std::nullopt;
    }
}

int elementBytes(TypeCode code, int stringCharacters) {
    return kindOf(code) == TypeKind::Text ? stringCharacters + 1 : typeTraits(code)->widthBytes;
}

std::string typeName(TypeCode code, int stringCharacters) {
    const std::string name = typeTraits(code)->name;
    const bool hasLength = kindOf(code) == TypeKind::Text && stringCharacters != kStringCharacters;
    return hasLength ? name + "(" + std::to_string(stringCharacters) + ")" : name;
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

IntegerLimits integerLimits(TypeCode code) {
    const TypeTraits& traits = *typeTraits(code);
    if (traits.kind == TypeKind::Truth) {
        return {0, 1};
    }
    const int bits = 8 * traits.widthBytes;
    const std::uint64_t allBits = ~std::uint64_t{0} >> (64 - bits);
    if (traits.kind != TypeKind::Signed) {
        return {0, allBits};
    }
    const std::uint64_t largest = allBits >> 1;
    return {-static_cast<std::int64_t>(largest) - 1, largest};
}

}  // namespace ac500::symbol_file
