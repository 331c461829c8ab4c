// Events of a record in words, for people: one line each, frames taken apart.
#ifndef AC500_TOOLS_REPLAY_EVENT_TEXT_H
#define AC500_TOOLS_REPLAY_EVENT_TEXT_H

#include <cstdint>
#include <string>

#include "tools/record/event.h"

namespace ac500::replay {

// The entry point of the driver, "ComCommunication"; of what is no call, what it is: "connection", "note".
const char* callName(const record::What& what);

// "ComCommunication() -> read request of 34 bytes, 1 item: area 3 at 0, 8 bytes". Texts of the record in it are as they
// are, and may be long: whoever prints them cuts them and hides control characters.
std::string eventText(const record::Event& event);

// "+12.345678 s"; a moment before the beginning has a minus.
std::string sinceText(std::int64_t microseconds);

// "read request of 34 bytes, 1 item: area 3 at 0, 8 bytes", "34 bytes that are no request".
std::string requestText(const record::Bytes& frame);
// "reply of 21 bytes, status word 0", "no reply".
std::string replyText(const record::Bytes& reply);
// "1 (accepted)", "71 (length differs)".
std::string statusText(std::int32_t status);
// Up to `most` bytes from `first` on, in hexadecimal digits, with "..." where some are left out.
std::string hexText(const record::Bytes& bytes, std::size_t first, std::size_t most);
std::string utf8Of(const record::Text& text);
std::string callbackText(const record::Callback& callback);
// "retryCount"; "word 3" for those without a name.
std::string settingName(std::size_t index);

}  // namespace ac500::replay

#endif
