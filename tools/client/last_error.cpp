#include "tools/client/last_error.h"

#include <array>
#include <cstring>

namespace ac500::client {

namespace {

constexpr std::size_t kRoom = 4096;
constexpr std::string_view kCut = "...";

// No object with a destructor: it would keep the library loaded until the thread ends.
thread_local std::array<char, kRoom> lastText{};

// Not inside a character of several bytes.
std::size_t cutBefore(std::string_view text, std::size_t most) {
    while (most > 0 && (static_cast<unsigned char>(text[most]) & 0xC0U) == 0x80U) {
        --most;
    }
    return most;
}

}  // namespace

void setLastError(std::string_view text) noexcept {
    const bool isCut = text.size() >= kRoom;
    const std::size_t size = isCut ? cutBefore(text, kRoom - 1 - kCut.size()) : text.size();
    std::memcpy(lastText.data(), text.data(), size);
    if (isCut) {
        std::memcpy(lastText.data() + size, kCut.data(), kCut.size());
    }
    lastText[size + (isCut ? kCut.size() : 0)] = '\0';
}

const char* lastError() noexcept {
    return lastText.data();
}

}  // namespace ac500::client
