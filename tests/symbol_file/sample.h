// The file that tests of lookup and records share: small, with one of each kind of variable.
#ifndef AC500_TESTS_SYMBOL_FILE_SAMPLE_H
#define AC500_TESTS_SYMBOL_FILE_SAMPLE_H

#include <string>

#include <gtest/gtest.h>

#include "tests/support/places.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {

// The content of a file under data/, which must be good.
inline SymbolFile loadGood(const std::string& path) {
    LoadedSymbolFile loaded = loadSymbolFile(path);
    for (const Problem& problem : loaded.problems) {
        ADD_FAILURE() << describe(path, problem);
    }
    return loaded.file;
}

inline SymbolFile sampleFile() {
    return loadGood(test::projectFile("tests/symbol_file/data/sample.json"));
}

}  // namespace ac500::symbol_file

#endif
