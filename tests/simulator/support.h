// What the simulator's tests share: requests of a client, and a small plant.
#ifndef AC500_TESTS_SIMULATOR_SUPPORT_H
#define AC500_TESTS_SIMULATOR_SUPPORT_H

#include <stdexcept>
#include <string>

#include "tests/support/wire.h"
#include "tools/simulator/fault_rule.h"
#include "tools/symbol_file/symbol_file.h"
#include "tools/wire/frame.h"

namespace ac500::sim {

using symbol_file::LoadedSymbolFile;
using symbol_file::parseSymbolFile;
using symbol_file::SymbolFile;
using test::byteString;
using test::hex;
using wire::Bytes;

// The two handshake requests, as every client sends them.
inline Bytes helloRequest() {
    return byteString(test::kFirstHandshakeRequest);
}
inline Bytes symbolsRequest() {
    return byteString(test::kSecondHandshakeRequest);
}

// A fault rule that is right; anything else is the test's own mistake.
inline FaultRule rule(const std::string& text) {
    std::string error;
    const std::optional<FaultRule> parsed = parseFaultRule(text, &error);
    if (!parsed) {
        throw std::logic_error(error);
    }
    return *parsed;
}

// Reads Main.mode of the small plant below: area 1, offset 8, size 1. `end` is what this connection's requests end with.
inline Bytes readMode(const Bytes& end) {
    return byteString("BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 00 00 00 08 00 00 00 01") + end;
}
// The reply while Main.mode has its initial value.
constexpr const char* kModeReply = "BB BB 00 00 00 08 00 00 00 00 00 01 00 A5";

// A file that is right; anything else is the test's own mistake.
inline SymbolFile plant(const std::string& text) {
    LoadedSymbolFile loaded = parseSymbolFile(text);
    if (!loaded.problems.empty()) {
        throw std::logic_error(describe("test plant", loaded.problems.front()));
    }
    return loaded.file;
}

// Area 1, 64 bytes: a WORD at 0, a DINT at 4, a BYTE at 8 with the initial value 16#A5, a STRING is too long for it.
// Area 3, 8 bytes: BITs 0 to 31, bit 17 under a name of its own.
inline SymbolFile smallPlant() {
    return plant(R"({
        "format": "ac500-symbols", "version": 1,
        "areas": [{"number": 1, "name": "memory", "bytes": 64}, {"number": 3, "name": "bits", "bytes": 8}],
        "scopes": [{"name": "Main", "variables": [
            {"name": "count", "type": "WORD", "area": 1, "offset": 0},
            {"name": "total", "type": "DINT", "area": 1, "offset": 4},
            {"name": "mode", "type": "BYTE", "area": 1, "offset": 8},
            {"name": "lamps", "type": "BIT", "area": 3, "bit": 0, "array": [[0, 31]]},
            {"name": "alarm", "type": "BIT", "area": 3, "bit": 17}
        ]}],
        "simulation": {"initial": [{"tag": "Main.mode", "value": 165}]}
    })");
}

}  // namespace ac500::sim

#endif
