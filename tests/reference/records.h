// The records of the second opinion: plain structures of standard types that stand for what host and driver exchange.
// Texts are Latin-1, one char per character.
//
// Everything in namespace reference is written for obviousness alone. It shares no code with the driver, and no driver
// header may be included in it: only the comparison sees both.
#ifndef AC500_TESTS_REFERENCE_RECORDS_H
#define AC500_TESTS_REFERENCE_RECORDS_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace reference {

// Thrown where no behaviour is promised, so that nothing is compared there beyond survival.
struct LeftOpen {};

// The low 32 bits, as a signed number.
inline std::int32_t wrapped(std::int64_t value) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<std::uint64_t>(value)));
}

struct Variable {
    std::int32_t hostId = 0;
    std::int32_t hostSubId = 0;
    std::int32_t writeFlag = 0;
    std::int32_t aux3 = 0;
    std::int32_t aux4 = 0;
    std::int32_t status = 0;
    std::string labelName;
    std::string labelArg;
    std::int32_t dataType = 0;
    std::int32_t offset = 0;
    std::int32_t comWord = 0;
    std::int32_t size = 0;
    std::int32_t resolveResult = 0;
    std::int32_t area = 0;
    std::string data;
};

struct Frame {
    std::string bytes;
    std::int32_t frameLength = 0;
    std::int32_t replyLength = -1;
    std::int32_t replyDataOffset = 0;
    std::int32_t minReplyLength = 0;
    Variable variable;
};

struct Symbol {
    std::string name;
    std::uint16_t type = 0;
    std::int32_t offset = 0;
    std::int32_t dimensions = 0;
    std::uint32_t memberCount = 0;
    std::vector<std::int32_t> arrayBounds;
    std::vector<Symbol> members;
    std::vector<Symbol> elementType;
    std::vector<std::int32_t> areaList;
};

// Where a tag name leads.
struct Place {
    std::int32_t dataType = 0;
    std::int32_t address = 0;
    std::int32_t reserved = 0;
    std::int32_t isBit = 0;
    std::int32_t bitIndex = 0;
    std::int32_t isArray = 0;
    std::int32_t arrayReserved = 0;
    std::int32_t arrayIndex = 0;
    std::int32_t arrayCount = 0;
    std::int32_t area = 0;
};

// A tag of the cyclic read list, as the host names it.
struct Tag {
    std::string argument;
    std::string name;
    std::int32_t count = 0;
};

// The host's settings record: 19 words, addressed by byte offset.
struct Settings {
    std::array<std::int32_t, 19> words{};

    std::int32_t& at(int byteOffset) { return words.at(static_cast<std::size_t>(byteOffset) / 4); }
    [[nodiscard]] std::int32_t at(int byteOffset) const { return words.at(static_cast<std::size_t>(byteOffset) / 4); }
};

}  // namespace reference

#endif
