// What goes over the socket of a gateway: docs/gateway-socket.md. Each function that reads takes what anybody may have sent:
// whatever is missing or of another kind gives nothing, and no exception. Pure functions.
#ifndef AC500_TOOLS_HOST_VIA_MESSAGE_H
#define AC500_TOOLS_HOST_VIA_MESSAGE_H

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "tools/host/session.h"
#include "tools/host/write_orders.h"

namespace ac500::via {

using Json = nlohmann::json;

// Of the messages. It changes when one of the two ends would misunderstand the other; keys may be added without.
constexpr int kProtocolVersion = 1;
// Of a line to the gateway. Its own may be longer: a picture of all tags of a large plant.
constexpr std::size_t kLongestRequest = std::size_t{1} << 20;
constexpr std::size_t kLongestAnswer = std::size_t{64} << 20;
// Of a line, an object within an object counted: no message of either end goes half as deep.
constexpr int kDeepestNesting = 16;
// So many tags a client has read in every cycle, and so many readings and writes of it may wait.
constexpr std::size_t kMostTags = 20000;
constexpr std::size_t kMostReadings = 20000;
constexpr std::size_t kMostWrites = 256;
// Of a write; the bytes of the texts that go with it.
constexpr std::size_t kMostConditions = 16;
constexpr std::size_t kLongestOtherwise = 1024;
constexpr std::size_t kLongestUndoes = 64;
// Of a client that asks for news, the gateway answers after so long at the latest, also when there are none.
constexpr host::Milliseconds kBeat{1000};

// A line without its end. Bytes that are no UTF-8 become a sign for them.
std::string lineOf(const Json& message);
// Nothing for what is no JSON object, and for what is nested deeper than kDeepestNesting.
std::optional<Json> messageOf(const std::string& line);

std::string textAt(const Json& json, const char* key);                    // "" when there is none
std::optional<std::int64_t> numberAt(const Json& json, const char* key);  // whole numbers alone
bool flagAt(const Json& json, const char* key);                           // false when there is none
const Json& arrayAt(const Json& json, const char* key);                   // an empty one when there is none
const Json& objectAt(const Json& json, const char* key);                  // likewise

// The first line of a gateway.
struct Hello {
    std::string build;        // its version
    std::string plc;          // the address of its PLC
    std::string symbols;      // the whole path of its symbol file
    std::string fingerprint;  // of the symbols, sixteen hexadecimal digits
    std::string audit;        // the whole path of its audit; empty: none
    host::SessionSettings session;
    host::Time clock{0};  // the gateway's, as everything that is a Time in messages
};
Json jsonOf(const Hello& hello);
// Nothing for what is no hello of this version; *error then says what is wrong.
std::optional<Hello> helloOf(const Json& json, std::string* error);

Json jsonOf(const host::Failure& failure);
// None occurred when it is not there.
host::Failure failureAt(const Json& json, const char* key);

// A value without its age: that is counted from `received` by who shows it.
Json jsonOf(const host::Tag& tag, const host::TagValue& value);
std::optional<host::TagValue> valueOf(const host::Tag& tag, const Json& json);

Json jsonOf(const host::SessionStatus& status);
std::optional<host::SessionStatus> statusOf(const Json& json);

Json jsonOf(const host::SessionEvent& event);
std::optional<host::SessionEvent> eventOf(const Json& json);

Json jsonOf(const host::Latencies& latencies);
std::optional<host::Latencies> latenciesOf(const Json& json);

Json jsonOf(const host::WriteRequest& request);
// `who` is not read: the gateway knows better. Nothing, and *error says why, for a tag that there is not, for values that
// are none of it, and for more than the bounds above.
std::optional<host::WriteRequest> writeRequestOf(const Json& json, const host::TagTable& tags, std::string* error);

Json jsonOf(const host::Tag& tag, const host::WriteReport& report);
std::optional<host::WriteReport> writeReportOf(const host::Tag& tag, const Json& json);

}  // namespace ac500::via

#endif
