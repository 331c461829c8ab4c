// The byte image and the conversion of values in both directions.
#ifndef AC500_TESTS_REFERENCE_VALUES_H
#define AC500_TESTS_REFERENCE_VALUES_H

#include <map>
#include <string>
#include <vector>

#include "tests/reference/records.h"

namespace reference {

class Image {
public:
    // What the host sees of `count` words (or booleans) at a place. Bytes that are absent are inserted as 0.
    std::string read(const Place& place, std::int32_t count);

    // The byte at a key, inserted as 0 when it is absent.
    std::uint8_t byteAt(std::uint64_t key);

    // Mirrors a written variable.
    void store(const Variable& variable);

    // Stores the bytes of a read reply for one request; those from `position` on, zeros past the end.
    void storeReply(const std::string& reply, std::size_t* position, const Variable& request);

    // The bytes of a whole variable, into which single bits are to be written.
    std::string wholeVariable(const Place& place, int bytes);

    [[nodiscard]] const std::map<std::uint64_t, std::uint8_t>& bytes() const { return bytes_; }

private:
    void clearUnlessStarted(std::uint64_t key, int width);
    std::string readBits(const Place& place, std::int32_t count);
    std::string readReversed(const Place& place, std::int64_t elements, std::int64_t length, int width);

    std::map<std::uint64_t, std::uint8_t> bytes_;
};

std::uint64_t imageKey(std::int32_t area, std::int32_t address);

// Bytes of a whole element of a type that has bits; 0 for all others.
int bytesWithBits(int typeCode);

// The bytes to write, in PLC order, for `count` words (or booleans) of the host's value; not for single bits.
std::string payload(const Place& place, const std::string& in, std::int32_t count);

// Changes bits of a whole variable.
void writeBits(const Place& place, const std::string& in, std::int32_t count, std::string* bytes);

}  // namespace reference

#endif
