// The layout of the shared records, taken from the compiled records field by field.
//
// One target can only be asked about itself. For the other width the offsets are computed: fields in their order, each
// at the next multiple of its alignment. The same computation for the width at hand must give what the compiler did.
#ifndef AC500_TESTS_LAYOUT_RECORD_LAYOUT_H
#define AC500_TESTS_LAYOUT_RECORD_LAYOUT_H

#include <cstddef>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

#include "core/host_interface.h"

namespace ac500::test {

enum PointerBytes : std::size_t { k32Bit = 4, k64Bit = 8 };

struct Extent {
    std::size_t size;
    std::size_t alignment;
};

// What a T takes on a target with such pointers. Everything that is neither a number nor an RW_VAR must be one pointer.
template <typename T>
Extent extentOn(PointerBytes width) {
    using Element = std::remove_all_extents_t<T>;
    constexpr std::size_t count = sizeof(T) / sizeof(Element);
    if constexpr (std::is_arithmetic_v<Element>) {
        return {count * sizeof(Element), sizeof(Element)};
    } else if constexpr (std::is_same_v<Element, RW_VAR>) {
        return {count * (width == k32Bit ? 60 : 72), width};
    } else {
        static_assert(sizeof(Element) == sizeof(void*), "a field of this type needs a rule of its own");
        return {count * width, width};
    }
}

// How docs/host-interface.md calls the type of a field.
template <typename T>
struct TypeText;
template <>
struct TypeText<quint8> {
    static constexpr const char* text = "uint8";
};
template <>
struct TypeText<quint8[4]> {
    static constexpr const char* text = "4 uint8";
};
template <>
struct TypeText<quint16> {
    static constexpr const char* text = "uint16";
};
template <>
struct TypeText<qint32> {
    static constexpr const char* text = "int32";
};
template <>
struct TypeText<quint32> {
    static constexpr const char* text = "uint32";
};
template <>
struct TypeText<QString> {
    static constexpr const char* text = "text";
};
template <>
struct TypeText<QByteArray> {
    static constexpr const char* text = "bytes";
};
template <>
struct TypeText<QMutex> {
    static constexpr const char* text = "mutex";
};
template <>
struct TypeText<RW_VAR> {
    static constexpr const char* text = "RW_VAR";
};
template <>
struct TypeText<RW_VAR[100]> {
    static constexpr const char* text = "100 RW_VAR";
};
template <typename T>
struct TypeText<T*> {
    static constexpr const char* text = "pointer";
};
template <typename T>
struct TypeText<QList<T>> {
    static constexpr const char* text = "list";
};
template <typename Key, typename T>
struct TypeText<QMap<Key, T>> {
    static constexpr const char* text = "map";
};
template <typename Key, typename T>
struct TypeText<QHash<Key, T>> {
    static constexpr const char* text = "hash";
};

struct Field {
    std::string name;
    std::string type;
    std::size_t offset;  // on this target
    Extent (*extentOn)(PointerBytes width);
};

struct Record {
    std::string name;
    std::size_t size;  // on this target
    std::vector<Field> fields;
};

// How GoogleTest names a record in its messages.
inline void PrintTo(const Record& record, std::ostream* out) {
    *out << record.name;
}

struct Layout {
    std::vector<std::size_t> offsets;
    std::size_t size;
};

// All records of the interface, every field of each.
std::vector<Record> sharedRecords();

// Where the fields lie on a target with such pointers.
Layout layoutOn(PointerBytes width, const Record& record);

}  // namespace ac500::test

#endif
