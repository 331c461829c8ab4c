// A command that came by a broker: any bytes are refused in words, or are a write of a tag that may be written, with an
// expiry and a number that can be used once.
#include <algorithm>
#include <string>
#include <variant>

#include <nlohmann/json.hpp>

#include "tests/fuzz/fuzz_check.h"
#include "tools/broker/command_desk.h"
#include "tools/broker/message_format.h"

using namespace ac500;

namespace {

constexpr std::int64_t kNowMs = 1795388460000;  // 2026-11-22T23:01:00Z

constexpr char kSymbolsOfCommands[] =
    R"~({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 1000}],
  "scopes": [{"name": "Main", "variables": [
    {"name": "word", "type": "WORD", "area": 1, "offset": 0, "bits": true},
    {"name": "real", "type": "REAL", "area": 1, "offset": 4, "unit": "m", "scale": {"factor": 0.1}, "max": 10},
    {"name": "text", "type": "STRING(10)", "area": 1, "offset": 8},
    {"name": "texts", "type": "STRING(5)", "area": 1, "offset": 40, "array": [[1, 2]]},
    {"name": "ints", "type": "INT", "area": 1, "offset": 20, "array": [[1, 3]]},
    {"name": "sealed", "type": "INT", "area": 1, "offset": 60}]}]})~";

std::vector<broker::CommandDesk::DeskTag> tagsOfCommands() {
    const host::TagTable table(symbol_file::parseSymbolFile(kSymbolsOfCommands).file);
    std::vector<broker::CommandDesk::DeskTag> tags;
    for (const char* name :
         {"Main.word", "Main.real", "Main.text", "Main.texts", "Main.ints", "Main.word.b[3]", "Main.sealed"}) {
        std::string error;
        const std::optional<host::Tag> tag = table.find(name, &error);
        FUZZ_CHECK(tag);
        tags.push_back({*tag, name, tags.size(), std::string(name) != "Main.sealed"});
    }
    return tags;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::vector<broker::CommandDesk::DeskTag> kTags = tagsOfCommands();
    broker::CommandDesk desk(kTags, kNowMs - 60000);
    broker::CommandDesk::Arrival arrival;
    arrival.payload.assign(reinterpret_cast<const char*>(data), size);
    arrival.utcMs = kNowMs;
    const auto judged = desk.judge(arrival);
    if (const auto* refusal = std::get_if<broker::CommandRefusal>(&judged)) {
        FUZZ_CHECK(!refusal->reason.empty() && refusal->id.size() <= broker::kLongestCommandId);
        FUZZ_CHECK(nlohmann::json::accept(broker::outcomeJson(*refusal)));
        return 0;
    }
    const auto& order = std::get<broker::CommandOrder>(judged);
    FUZZ_CHECK(!order.id.empty() && order.id.size() <= broker::kLongestCommandId);
    FUZZ_CHECK(order.tag < kTags.size() && kTags[order.tag].isAllowed);
    FUZZ_CHECK(order.values.size() == static_cast<std::size_t>(kTags[order.tag].tag.elements));
    FUZZ_CHECK(!order.replaces || order.replaces->size() == order.values.size());
    FUZZ_CHECK(order.expires.count() > 0 && order.expires <= broker::kLargestCommandExpiry);
    FUZZ_CHECK(std::holds_alternative<broker::CommandRefusal>(desk.judge(arrival)));  // its id was used
    return 0;
}
