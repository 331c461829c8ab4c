// The symbol file that these tests choose from, and one of many variables.
#ifndef AC500_TESTS_SELECTION_SAMPLE_H
#define AC500_TESTS_SELECTION_SAMPLE_H

#include <gtest/gtest.h>

#include <string>

#include "tools/selection/catalog.h"

namespace ac500::selection {

inline Catalog catalogOf(const std::string& text) {
    symbol_file::LoadedSymbolFile loaded = symbol_file::parseSymbolFile(text);
    for (const symbol_file::Problem& problem : loaded.problems) {
        ADD_FAILURE() << describe("sample", problem);
    }
    return Catalog(std::move(loaded.file));
}

inline const Catalog& sampleCatalog() {
    static const Catalog catalog = catalogOf(R"({
      "format": "ac500-symbols", "version": 1,
      "areas": [{"number": 1, "bytes": 4096}, {"number": 3, "bytes": 64}],
      "types": {
        "Motor": {"size": 24, "members": [
          {"name": "speed", "type": "INT", "offset": 0},
          {"name": "curve", "type": "REAL", "offset": 4, "array": [[1, 5]]}]},
        "Pump": {"size": 32, "members": [
          {"name": "motor", "type": "Motor", "offset": 0},
          {"name": "flow", "type": "REAL", "offset": 24}]}},
      "scopes": [{"name": "Main", "variables": [
        {"name": "counter", "type": "UINT", "area": 1, "offset": 0},
        {"name": "flags", "type": "WORD", "area": 1, "offset": 4, "bits": true},
        {"name": "grid", "type": "DINT", "area": 1, "offset": 100, "array": [[0, 2], [1, 5]]},
        {"name": "cube", "type": "INT", "area": 1, "offset": 200, "array": [[-1, 0], [3, 4], [1, 2]]},
        {"name": "recipe", "type": "INT", "area": 1, "offset": 300, "array": [[1, 6]]},
        {"name": "pumps", "type": "Pump", "area": 1, "offset": 400, "array": [[1, 2]]},
        {"name": "pump_count", "type": "INT", "area": 1, "offset": 500}
      ]}, {"name": "Other", "variables": [
        {"name": "counter", "type": "UINT", "area": 1, "offset": 600},
        {"name": "lamps", "type": "BIT", "area": 3, "bit": 30, "array": [[1, 8]]}
      ]}]})");
    return catalog;
}

// Main.value_00000 to Main.value_49999.
inline const Catalog& largeCatalog() {
    static const Catalog catalog = [] {
        std::string variables;
        for (int i = 0; i < 50000; ++i) {
            const std::string number = std::to_string(100000 + i).substr(1);
            variables += (i == 0 ? "" : ",") + std::string(R"({"name": "value_)") + number +
                         R"(", "type": "INT", "area": 1, "offset": )" + std::to_string(2 * i) + "}";
        }
        return catalogOf(R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 100000}],
            "scopes": [{"name": "Main", "variables": [)" +
                         variables + "]}]}");
    }();
    return catalog;
}

}  // namespace ac500::selection

#endif
