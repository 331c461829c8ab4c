// Lines of the gateway's socket, as either end reads them: whatever was sent, what is read of it can be sent again and is the
// same then.
#include <cstdint>
#include <optional>
#include <string>

#include "tests/fuzz/fuzz_check.h"
#include "tools/host/via/line_buffer.h"
#include "tools/host/via/message.h"

using namespace ac500;

namespace {

constexpr std::size_t kLongestLine = via::kLongestRequest;

constexpr char kSymbols[] = R"~({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 1000}],
  "scopes": [{"name": "Main", "variables": [
    {"name": "word", "type": "WORD", "area": 1, "offset": 0, "bits": true},
    {"name": "real", "type": "REAL", "area": 1, "offset": 4},
    {"name": "text", "type": "STRING(10)", "area": 1, "offset": 8},
    {"name": "ints", "type": "INT", "area": 1, "offset": 20, "array": [[1, 3]]}]}]})~";

const host::TagTable& tags() {
    static const host::TagTable kTags(symbol_file::parseSymbolFile(kSymbols).file);
    return kTags;
}

void checkWrite(const via::Json& message) {
    std::string error;
    const std::optional<host::WriteRequest> request = via::writeRequestOf(message, tags(), &error);
    if (!request) {
        FUZZ_CHECK(!error.empty());
        return;
    }
    FUZZ_CHECK(request->who.empty());
    const std::optional<host::WriteRequest> again = via::writeRequestOf(via::jsonOf(*request), tags(), &error);
    FUZZ_CHECK(again && host::sameValues(again->values, request->values));
    FUZZ_CHECK(again->conditions.size() == request->conditions.size());
    FUZZ_CHECK(again->expiry == request->expiry && again->number == request->number);
}

void checkValue(const via::Json& message) {
    for (const char* name : {"Main.word", "Main.real", "Main.text", "Main.ints", "Main.word.b[3]"}) {
        std::string error;
        const std::optional<host::Tag> tag = tags().find(name, &error);
        FUZZ_CHECK(tag);
        if (const std::optional<host::TagValue> value = via::valueOf(*tag, message)) {
            const std::optional<host::TagValue> again = via::valueOf(*tag, via::jsonOf(*tag, *value));
            FUZZ_CHECK(again && again->state == value->state && host::sameValues(again->values, value->values));
        }
        via::writeReportOf(*tag, message);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    via::LineBuffer lines(kLongestLine);
    lines.add(reinterpret_cast<const char*>(data), size);
    while (const std::optional<std::string> line = lines.next()) {
        const std::optional<via::Json> message = via::messageOf(*line);
        if (!message) {
            continue;
        }
        FUZZ_CHECK(via::messageOf(via::lineOf(*message)));
        std::string error;
        FUZZ_CHECK(via::helloOf(*message, &error) || !error.empty());
        checkWrite(*message);
        checkValue(*message);
        via::statusOf(*message);
        via::eventOf(*message);
        via::latenciesOf(*message);
    }
    return 0;
}
