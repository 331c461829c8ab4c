// TagShape is a watched tag as bytes: what its elements must look like in a generation, and what the host or the PLC
// shows of them. Everything is compared in the PLC's byte order, so that a piece of a value can be judged by itself.
// Constant after construction; safe to share between threads.
#ifndef AC500_TESTS_SOAK_TAG_SHAPE_H
#define AC500_TESTS_SOAK_TAG_SHAPE_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/host/tag.h"
#include "tools/simulator/plc_memory.h"

namespace ac500::soak {

using sim::Bytes;
using symbol_file::Element;
using symbol_file::SymbolFile;

// One element, or one bit of a variable.
struct Cell {
    std::string name;
    Element element;
    std::int64_t address = 0;  // byte where it begins in the PLC; of a bit: the byte that holds it
    std::size_t at = 0;        // where its bytes stand among those of the tag
    std::size_t size = 0;      // bits take one byte, strings their 80 characters
    std::int64_t spanBytes() const { return static_cast<std::int64_t>(size); }
};

class TagShape {
public:
    // REQUIRES: the file has the tag.
    TagShape(const SymbolFile& file, const host::Tag& tag);

    const host::Tag& tag() const { return tag_; }
    const std::vector<Cell>& cells() const { return cells_; }
    std::size_t bytes() const { return bytes_; }

    // What the tag looks like when all its elements have the pattern of the generation. `bitsAlone`: each bit of a
    // variable has a pattern of its own, because each is written by itself; else it is a bit of the variable's pattern.
    enum class BitPattern { OfVariable, OfItsOwn };
    Bytes pattern(std::uint64_t generation, BitPattern bits) const;

    // The host's values as the bytes of the PLC. Values that are missing count as empty: they match no pattern.
    Bytes bytesOf(const host::HostValues& values) const;
    // And back.
    host::HostValues valuesOf(const Bytes& bytes) const;
    // What an area of the PLC's memory holds of the tag.
    Bytes bytesIn(const Bytes& area) const;

private:
    host::Tag tag_;
    std::vector<Cell> cells_;
    std::size_t bytes_ = 0;
};

// Where requests began and ended: the places where a value may be put together from two replies.
class Seams {
public:
    void add(int area, std::int64_t address);
    // Is there one in (after, upTo]?
    bool any(int area, std::int64_t after, std::int64_t upTo) const;
    std::size_t count() const;

private:
    std::vector<std::vector<std::int64_t>> byArea_;  // sorted
};

// Bytes [begin, end) of a tag that must come from one generation.
struct Piece {
    std::size_t begin = 0;
    std::size_t end = 0;
};

// Cuts the tag at the seams. `cutCells`: every element is a piece of its own at least.
std::vector<Piece> piecesOf(const TagShape& shape, const Seams& seams, bool cutCells);

struct Mismatch {
    const Cell* cell = nullptr;  // the first that no generation explains
    Bytes seen;                  // of that cell
    Bytes expected;              // the same of the newest generation that was possible
    Piece piece;
};

// Each piece must look as in one of the generations. `patternOf` gives the tag's bytes in a generation.
// REQUIRES: `generations` is not empty, newest last.
std::optional<Mismatch> findMismatch(const TagShape& shape, const Bytes& seen, const std::vector<Piece>& pieces,
                                     const std::vector<std::uint64_t>& generations,
                                     const std::function<const Bytes&(std::uint64_t)>& patternOf);

}  // namespace ac500::soak

#endif
