#include "tests/soak/tag_shape.h"

#include <algorithm>
#include <stdexcept>

#include "tools/host/latin1.h"
#include "tools/simulator/pattern.h"

namespace ac500::soak {

using symbol_file::TypeCode;

namespace {

constexpr std::size_t kShownCharacters = 80;
constexpr int kBitsPerWord = 16;

bool isBit(const Element& element) {
    return element.code == TypeCode::Bit || element.bit >= 0;
}

bool isText(const Element& element) {
    return element.code == TypeCode::String || element.code == TypeCode::Cstring;
}

std::size_t widthOf(const Element& element) {
    return isBit(element)    ? 1
           : isText(element) ? kShownCharacters
                             : static_cast<std::size_t>(typeTraits(element.code)->widthBytes);
}

std::int64_t wordOf(const Element& bit) {
    return bit.address / kBitsPerWord * 2;
}

// Bit 0 is the least significant, so it lies in the last byte of its word or variable.
std::int64_t addressOf(const Element& element) {
    if (element.code == TypeCode::Bit) {
        return wordOf(element) + (element.address % kBitsPerWord < 8 ? 1 : 0);
    }
    return element.bit < 0 ? element.address
                           : element.address + typeTraits(element.code)->widthBytes - 1 - element.bit / 8;
}

// Bit `bit` of a big-endian value; false beyond its end.
bool bitOf(const Bytes& value, int bit) {
    const std::size_t fromTheEnd = static_cast<std::size_t>(bit / 8) + 1;
    return fromTheEnd <= value.size() &&
           ((static_cast<std::uint8_t>(value[value.size() - fromTheEnd]) >> (bit % 8)) & 1) != 0;
}

Bytes truth(bool value) {
    return Bytes(1, value ? '\1' : '\0');
}

// A bit that is written by itself takes the truth value that a BOOL at a place of its own would have.
Bytes ownBitPattern(const Element& element, std::uint64_t generation) {
    Element place = element;
    place.code = TypeCode::Bool;
    place.address = element.address * 64 + element.bit;
    return sim::patternBytes(place, generation);
}

Bytes cellPattern(const Element& element, std::uint64_t generation, TagShape::BitPattern bits) {
    if (element.bit < 0) {
        return sim::patternBytes(element, generation);
    }
    return bits == TagShape::BitPattern::OfItsOwn ? ownBitPattern(element, generation)
                                                  : truth(bitOf(sim::patternBytes(element, generation), element.bit));
}

// The number of a big-endian run and back, by way of the host's own text forms: none. Plain shifts.
Bytes bigEndian(std::uint64_t value, std::size_t width) {
    Bytes bytes(width, '\0');
    for (std::size_t i = 0; i < width; ++i) {
        bytes[width - 1 - i] = static_cast<char>((value >> (8 * i)) & 0xFF);
    }
    return bytes;
}

std::uint64_t numberOf(const Bytes& bytes) {
    std::uint64_t value = 0;
    for (const char byte : bytes) {
        value = (value << 8) | static_cast<std::uint8_t>(byte);
    }
    return value;
}

template <typename To, typename From>
To sameBits(From from) {
    static_assert(sizeof(To) == sizeof(From), "the same bits under another type");
    To to;
    std::copy_n(reinterpret_cast<const char*>(&from), sizeof to, reinterpret_cast<char*>(&to));
    return to;
}

Bytes bytesOfValue(const host::HostValue& value, std::size_t width) {
    struct Visitor {
        std::size_t width;
        Bytes operator()(bool v) const { return truth(v); }
        Bytes operator()(std::int64_t v) const { return bigEndian(static_cast<std::uint64_t>(v), width); }
        Bytes operator()(std::uint64_t v) const { return bigEndian(v, width); }
        Bytes operator()(float v) const { return bigEndian(sameBits<std::uint32_t>(v), width); }
        Bytes operator()(double v) const { return bigEndian(sameBits<std::uint64_t>(v), width); }
        Bytes operator()(const std::string& v) const { return host::toLatin1(v).value_or(""); }
    };
    return std::visit(Visitor{width}, value);
}

host::HostValue valueOf(const Element& element, const Bytes& bytes) {
    const std::uint64_t bits = numberOf(bytes.substr(0, 8));
    const int unused = 64 - 8 * static_cast<int>(bytes.size());
    if (isBit(element)) {
        return bits != 0;
    }
    switch (element.code) {
        case TypeCode::Bool:
            return bits != 0;
        case TypeCode::Sint:
        case TypeCode::Int:
        case TypeCode::Dint:
        case TypeCode::Lint:
            return static_cast<std::int64_t>(bits << unused) >> unused;
        case TypeCode::Real:
            return sameBits<float>(static_cast<std::uint32_t>(bits));
        case TypeCode::Lreal:
            return sameBits<double>(bits);
        case TypeCode::String:
        case TypeCode::Cstring:
            return bytes.substr(0, kShownCharacters);
        default:
            return bits;
    }
}

}  // namespace

TagShape::TagShape(const SymbolFile& file, const host::Tag& tag) : tag_(tag) {
    for (int i = 0; i < tag.elements; ++i) {
        Cell cell;
        cell.name = tag.elementName(i);
        std::string error;
        const std::optional<Element> element = findElement(file, cell.name, &error);
        if (!element) {
            throw std::logic_error(cell.name + ": " + error);
        }
        cell.element = *element;
        cell.address = addressOf(cell.element);
        cell.at = bytes_;
        cell.size = widthOf(cell.element);
        bytes_ += cell.size;
        cells_.push_back(cell);
    }
}

Bytes TagShape::pattern(std::uint64_t generation, BitPattern bits) const {
    Bytes bytes;
    bytes.reserve(bytes_);
    for (const Cell& cell : cells_) {
        bytes.append(cellPattern(cell.element, generation, bits), 0, cell.size);
    }
    return bytes;
}

Bytes TagShape::bytesOf(const host::HostValues& values) const {
    Bytes bytes;
    bytes.reserve(bytes_);
    for (std::size_t i = 0; i < cells_.size(); ++i) {
        Bytes cell = i < values.size() ? bytesOfValue(values[i], cells_[i].size) : Bytes();
        cell.resize(cells_[i].size, '\0');
        bytes += cell;
    }
    return bytes;
}

host::HostValues TagShape::valuesOf(const Bytes& bytes) const {
    host::HostValues values;
    for (const Cell& cell : cells_) {
        values.push_back(valueOf(cell.element, bytes.substr(cell.at, cell.size)));
    }
    return values;
}

Bytes TagShape::bytesIn(const Bytes& area) const {
    Bytes bytes;
    for (const Cell& cell : cells_) {
        const auto at = static_cast<std::size_t>(cell.element.address);
        if (cell.element.code == TypeCode::Bit) {
            bytes += truth(bitOf(area.substr(static_cast<std::size_t>(wordOf(cell.element)), 2),
                                 static_cast<int>(cell.element.address % kBitsPerWord)));
        } else if (cell.element.bit >= 0) {
            const auto width = static_cast<std::size_t>(typeTraits(cell.element.code)->widthBytes);
            bytes += truth(bitOf(area.substr(at, width), cell.element.bit));
        } else {
            bytes += area.substr(at, cell.size);
        }
    }
    return bytes;
}

void Seams::add(int area, std::int64_t address) {
    const auto index = static_cast<std::size_t>(area);
    byArea_.resize(std::max(byArea_.size(), index + 1));
    std::vector<std::int64_t>& seams = byArea_[index];
    const auto place = std::lower_bound(seams.begin(), seams.end(), address);
    if (place == seams.end() || *place != address) {
        seams.insert(place, address);
    }
}

bool Seams::any(int area, std::int64_t after, std::int64_t upTo) const {
    const auto index = static_cast<std::size_t>(area);
    if (index >= byArea_.size()) {
        return false;
    }
    const std::vector<std::int64_t>& seams = byArea_[index];
    const auto next = std::upper_bound(seams.begin(), seams.end(), after);
    return next != seams.end() && *next <= upTo;
}

std::size_t Seams::count() const {
    std::size_t count = 0;
    for (const std::vector<std::int64_t>& seams : byArea_) {
        count += seams.size();
    }
    return count;
}

std::vector<Piece> piecesOf(const TagShape& shape, const Seams& seams, bool cutCells) {
    const int area = shape.tag().area;
    std::vector<Piece> pieces;
    std::int64_t last = 0;  // address of the byte before
    for (const Cell& cell : shape.cells()) {
        const bool isFirst = pieces.empty();
        if (isFirst || cutCells || seams.any(area, std::min(last, cell.address), std::max(last, cell.address))) {
            pieces.push_back({cell.at, cell.at});
        }
        for (std::int64_t i = 1; i < cell.spanBytes(); ++i) {
            if (seams.any(area, cell.address + i - 1, cell.address + i)) {
                pieces.back().end = cell.at + static_cast<std::size_t>(i);
                pieces.push_back({pieces.back().end, 0});
            }
        }
        pieces.back().end = cell.at + cell.size;
        last = cell.address + cell.spanBytes() - 1;
    }
    return pieces;
}

std::optional<Mismatch> findMismatch(const TagShape& shape, const Bytes& seen, const std::vector<Piece>& pieces,
                                     const std::vector<std::uint64_t>& generations,
                                     const std::function<const Bytes&(std::uint64_t)>& patternOf) {
    for (const Piece& piece : pieces) {
        const std::size_t size = piece.end - piece.begin;
        std::size_t longest = 0;  // bytes from the piece's begin that one generation explains
        for (auto generation = generations.rbegin(); generation != generations.rend() && longest < size; ++generation) {
            const Bytes& pattern = patternOf(*generation);
            std::size_t same = 0;
            while (same < size && seen[piece.begin + same] == pattern[piece.begin + same]) {
                ++same;
            }
            longest = std::max(longest, same);
        }
        if (longest == size) {
            continue;
        }
        const auto cell = std::find_if(shape.cells().rbegin(), shape.cells().rend(),
                                       [&](const Cell& c) { return c.at <= piece.begin + longest; });
        return Mismatch{&*cell, seen.substr(cell->at, cell->size),
                        patternOf(generations.back()).substr(cell->at, cell->size), piece};
    }
    return std::nullopt;
}

}  // namespace ac500::soak
