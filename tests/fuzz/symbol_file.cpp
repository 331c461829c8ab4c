// The symbol file of the two programs: any text is refused in words, with a line, or loads; and what loads is the same
// for the programs, for the driver and for the simulator.
#include <algorithm>

#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzzed_driver.h"
#include "tools/simulator/plc_model.h"
#include "tools/symbol_file/label_records.h"
#include "tools/symbol_file/layout.h"
#include "tools/symbol_file/symbol_file.h"

using namespace ac500;
using namespace ac500::fuzz;
using namespace ac500::symbol_file;

namespace {

// A file may ask for 256 MiB of areas and a million leaves, which is no finding but too much for every input.
constexpr std::int64_t kMostAreaBytes = 1 << 20;
constexpr std::int64_t kMostElements = 2000;

bool isSmall(const Variable& variable) {
    return countElements(variable.dimensions) <= kMostElements;
}

std::int64_t leavesOf(const Variable& variable) {
    if (!variable.structure) {
        return 1;
    }
    std::int64_t leaves = 0;
    for (const Variable& member : variable.structure->members) {
        leaves += leavesOf(member);
    }
    return leaves * countElements(variable.dimensions);
}

bool isSmall(const SymbolFile& file) {
    std::int64_t bytes = 0;
    for (const Area& area : file.areas) {
        bytes += area.sizeBytes;
    }
    std::int64_t leaves = 0;
    for (const Scope& scope : file.scopes) {
        for (const Variable& variable : scope.variables) {
            leaves += leavesOf(variable);
        }
        if (!std::all_of(scope.variables.begin(), scope.variables.end(),
                         [](const Variable& variable) { return isSmall(variable); })) {
            return false;
        }
    }
    return bytes <= kMostAreaBytes && leaves <= kMostElements;
}

void checkProblems(const std::vector<Problem>& problems, const std::string& text) {
    const auto lines = 1 + std::count(text.begin(), text.end(), '\n');
    for (const Problem& problem : problems) {
        // Line 0 is the file as a whole: empty, or no UTF-8. That is then all there is to say.
        FUZZ_CHECK(problem.line >= (problems.size() == 1 ? 0 : 1) && problem.line <= lines);
        FUZZ_CHECK(problem.column >= 0);
        FUZZ_CHECK(!problem.what.empty());
        const std::string line = describe("f", problem);
        FUZZ_CHECK(line.compare(0, 2, "f:") == 0);
        FUZZ_CHECK(std::none_of(line.begin(), line.end(),
                                [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }));
    }
    for (std::size_t i = 1; i < problems.size(); ++i) {
        FUZZ_CHECK(problems[i - 1].line <= problems[i].line);
    }
}

std::string firstElementOf(const Leaf& leaf) {
    std::string tag = leaf.tag;
    for (std::size_t d = 0; d < leaf.dimensions.size(); ++d) {
        tag += (d == 0 ? "[" : ",") + std::to_string(leaf.dimensions[d].lower);
    }
    return leaf.dimensions.empty() ? tag : tag + "]";
}

// Program and driver find the first element of every leaf at the same place.
void checkAgreement(const SymbolFile& file) {
    QList<Label_Type_Info> records = labelRecords(file);
    FUZZ_CHECK(records.size() == static_cast<int>(file.scopes.size()));
    PassVarName_2(&records);
    for (const Leaf& leaf : listLeaves(file)) {
        const std::string tag = firstElementOf(leaf);
        std::string error;
        const std::optional<Element> element = findElement(file, tag, &error);
        FUZZ_CHECK(element);
        FUZZ_CHECK(element->address == leaf.address && element->area == leaf.area && element->code == leaf.code);
        ControlInformationM info = ControlInformationM();
        FUZZ_CHECK(get_label_address_info(QString::fromStdString(tag), info) == 0);
        FUZZ_CHECK(info.address == leaf.address && info.area == leaf.area);
        FUZZ_CHECK(info.dataType == static_cast<int>(driverCode(leaf.code)));
        FUZZ_CHECK(info.isArray == (leaf.dimensions.empty() ? 0 : 1));
    }
}

// The simulator serves the file, or says in words why not.
void checkSimulator(const SymbolFile& file) {
    sim::PlcModel model(file, {});
    for (const Problem& problem : model.problems()) {
        FUZZ_CHECK(!problem.what.empty());
    }
    if (!model.problems().empty()) {
        return;
    }
    for (const std::int64_t time : {1, 1000, 86400000}) {
        model.advance(time);
    }
    for (const Area& area : file.areas) {
        FUZZ_CHECK(model.memory().contains({area.number, 0, area.sizeBytes}));
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const LoadedSymbolFile loaded = parseSymbolFile(text);
    checkProblems(loaded.problems, text);
    if (!loaded.problems.empty() || !isSmall(loaded.file)) {
        return 0;
    }
    FuzzedDriver driver;
    checkAgreement(loaded.file);
    checkSimulator(loaded.file);
    return 0;
}
