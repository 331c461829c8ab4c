// FuzzInput takes an input of the fuzzer apart from the front, FuzzOutput writes what it reads: the corpus is made by the
// one and read by the other. Numbers are little-endian. Past the end everything is zero or empty, so every input has a
// meaning.
#ifndef AC500_TESTS_FUZZ_FUZZ_INPUT_H
#define AC500_TESTS_FUZZ_FUZZ_INPUT_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ac500::fuzz {

class FuzzInput {
public:
    FuzzInput(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}

    bool empty() const { return left_ == 0; }

    std::uint8_t u8() {
        if (left_ == 0) {
            return 0;
        }
        --left_;
        return *data_++;
    }
    std::uint16_t u16() {
        const int low = u8();
        return static_cast<std::uint16_t>(low | u8() << 8);
    }
    std::int32_t i32() {
        const std::uint32_t low = u16();
        return static_cast<std::int32_t>(low | static_cast<std::uint32_t>(u16()) << 16);
    }
    // 0 to n - 1, from one byte. REQUIRES: 1 <= n <= 256
    int below(int n) { return u8() % n; }
    // low to high, from two bytes. REQUIRES: high - low < 65536
    int between(int low, int high) { return low + u16() % (high - low + 1); }

    // `count` bytes, or what is left of them.
    std::string bytes(std::size_t count) {
        const std::size_t taken = std::min(count, left_);
        std::string result(reinterpret_cast<const char*>(data_), taken);
        data_ += taken;
        left_ -= taken;
        return result;
    }
    std::string rest() { return bytes(left_); }
    // Up to the next line feed, which is taken and left out.
    std::string line() {
        const std::uint8_t* end = std::find(data_, data_ + left_, static_cast<std::uint8_t>('\n'));
        std::string result = bytes(static_cast<std::size_t>(end - data_));
        u8();
        return result;
    }
    // A line as a text of the host's: UTF-8, and what is no UTF-8 becomes a replacement character.
    QString text() { return QString::fromStdString(line()); }

private:
    const std::uint8_t* data_;
    std::size_t left_;
};

class FuzzOutput {
public:
    FuzzOutput& u8(int value) {
        bytes_ += static_cast<char>(value & 0xFF);
        return *this;
    }
    FuzzOutput& u16(int value) { return u8(value).u8(value >> 8); }
    FuzzOutput& i32(std::int32_t value) { return u16(value).u16(value >> 16); }
    FuzzOutput& between(int low, int value) { return u16(value - low); }
    FuzzOutput& raw(const std::string& bytes) {
        bytes_ += bytes;
        return *this;
    }
    FuzzOutput& line(const std::string& text) { return raw(text + '\n'); }

    const std::string& bytes() const { return bytes_; }

private:
    std::string bytes_;
};

// Bytes as a host hands them over, in memory of exactly their size: a read past the end is seen at once. Valid while
// this object lives.
class ExactBytes {
public:
    explicit ExactBytes(const std::string& bytes) : memory_(new char[bytes.size()]) {
        std::copy(bytes.begin(), bytes.end(), memory_.get());
        array_ = QByteArray::fromRawData(memory_.get(), static_cast<int>(bytes.size()));
    }
    QByteArray& array() { return array_; }

private:
    std::unique_ptr<char[]> memory_;
    QByteArray array_;
};

}  // namespace ac500::fuzz

#endif
