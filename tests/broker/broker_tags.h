// Tags of each kind, for what is told to a broker.
#ifndef AC500_TESTS_BROKER_BROKER_TAGS_H
#define AC500_TESTS_BROKER_BROKER_TAGS_H

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "tools/host/tag.h"

namespace ac500::test {

constexpr char kBrokerSymbols[] = R"~({
  "format": "ac500-symbols", "version": 1,
  "areas": [{"number": 1, "bytes": 4096}],
  "scopes": [{"name": "Main", "variables": [
    {"name": "level", "type": "REAL", "area": 1, "offset": 0, "unit": "m"},
    {"name": "count", "type": "INT", "area": 1, "offset": 4},
    {"name": "on", "type": "BOOL", "area": 1, "offset": 6},
    {"name": "word", "type": "WORD", "area": 1, "offset": 8, "bits": true},
    {"name": "name", "type": "STRING(20)", "area": 1, "offset": 20},
    {"name": "celsius", "type": "INT", "area": 1, "offset": 44, "unit": "°C", "scale": {"factor": 0.1, "offset": -40}, "max": 120},
    {"name": "big", "type": "LINT", "area": 1, "offset": 48},
    {"name": "huge", "type": "ULINT", "area": 1, "offset": 56},
    {"name": "exact", "type": "LREAL", "area": 1, "offset": 64},
    {"name": "mode", "type": "USINT", "area": 1, "offset": 72, "names": {"0": "off", "1": "manual", "2": "automatic"}},
    {"name": "recipe", "type": "INT", "area": 1, "offset": 80, "array": [[1, 3]], "unit": "g"},
    {"name": "lamps", "type": "BOOL", "area": 1, "offset": 90, "array": [[1, 2]]},
    {"name": "texts", "type": "STRING(5)", "area": 1, "offset": 100, "array": [[1, 2]]},
    {"name": "fixed", "type": "INT", "area": 1, "offset": 120, "readOnly": true}]},
  {"name": "Pump", "variables": [{"name": "speed", "type": "INT", "area": 1, "offset": 200}]}]})~";

inline host::Tag brokerTag(const std::string& name) {
    static const host::TagTable table(symbol_file::parseSymbolFile(kBrokerSymbols).file);
    std::string error;
    const std::optional<host::Tag> tag = table.find(name, &error);
    EXPECT_TRUE(tag) << error;
    return tag.value_or(host::Tag());
}

}  // namespace ac500::test

#endif
