#include "tools/doctor/tar_gz.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/text/checksum.h"

namespace ac500::doctor {

namespace {

constexpr std::size_t kTarBlock = 512;
constexpr std::size_t kMostStored = 0xFFFF;  // of one stored block

struct TarField {
    std::size_t at;
    std::size_t bytes;
};
constexpr TarField kNameField{0, 100};
constexpr TarField kModeField{100, 8};
constexpr TarField kOwnerField{108, 8};
constexpr TarField kGroupField{116, 8};
constexpr TarField kSizeField{124, 12};
constexpr TarField kTimeField{136, 12};
constexpr TarField kSumField{148, 8};
constexpr TarField kTypeField{156, 1};
constexpr TarField kMagicField{257, 8};

void put(std::string& head, TarField field, std::string_view text) {
    std::copy_n(text.begin(), std::min(text.size(), field.bytes), head.begin() + static_cast<std::ptrdiff_t>(field.at));
}

// Octal digits that fill the field up to its zero byte.
void putOctal(std::string& head, TarField field, std::size_t number) {
    put(head, field, fmt::format("{:0{}o}", number, field.bytes - 1));
}

std::string tarHead(const ArchiveEntry& entry) {
    std::string head(kTarBlock, '\0');
    put(head, kNameField, entry.name);
    putOctal(head, kModeField, 0600);
    putOctal(head, kOwnerField, 0);
    putOctal(head, kGroupField, 0);
    putOctal(head, kSizeField, entry.content.size());
    putOctal(head, kTimeField, 0);
    put(head, kTypeField, "0");
    put(head, kMagicField, std::string_view("ustar\00000", 8));
    put(head, kSumField, "        ");  // counts as blanks
    std::size_t sum = 0;
    for (const char c : head) {
        sum += static_cast<unsigned char>(c);
    }
    put(head, kSumField, fmt::format("{:06o}", sum) + '\0' + ' ');
    return head;
}

void pad(std::string& bytes) {
    bytes.resize((bytes.size() + kTarBlock - 1) / kTarBlock * kTarBlock, '\0');
}

void putLittle(std::string& to, std::uint32_t number, int bytes) {
    for (int i = 0; i < bytes; ++i) {
        to.push_back(static_cast<char>(static_cast<unsigned char>(number >> (8 * i) & 0xFF)));
    }
}

}  // namespace

std::string tarBytes(const std::vector<ArchiveEntry>& entries) {
    std::string bytes;
    for (const ArchiveEntry& entry : entries) {
        bytes += tarHead(entry);
        bytes += entry.content;
        pad(bytes);
    }
    bytes.append(2 * kTarBlock, '\0');  // the end
    return bytes;
}

std::string gzipBytes(std::string_view content) {
    // Magic, deflate, no flags, no time, no hint, unknown system.
    std::string bytes("\x1F\x8B\x08\x00\x00\x00\x00\x00\x00\xFF", 10);
    std::string_view rest = content;
    do {
        const std::string_view part = rest.substr(0, kMostStored);
        rest.remove_prefix(part.size());
        bytes.push_back(rest.empty() ? '\x01' : '\x00');  // last block or not, stored
        const auto size = static_cast<std::uint32_t>(part.size());
        putLittle(bytes, size, 2);
        putLittle(bytes, ~size & 0xFFFF, 2);
        bytes.append(part);
    } while (!rest.empty());
    putLittle(bytes, text::crc32(content), 4);
    putLittle(bytes, static_cast<std::uint32_t>(content.size() & 0xFFFFFFFFU), 4);
    return bytes;
}

}  // namespace ac500::doctor
