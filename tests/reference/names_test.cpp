// Resolution of tag names and rewriting of their indices, over random symbol tables.
#include <gtest/gtest.h>

#include "tests/reference/comparison.h"
#include "tests/reference/random_plant.h"
#include "tests/reference/run.h"

namespace ac500::test {

namespace {

using reference::Place;
using reference::Symbol;
using reference::SymbolTable;

const std::vector<std::string> kVariableNames{"v", "w", "motor", "values"};
const std::vector<std::string> kScopeNames{"Main", "Aux"};

const char* nameOfResolution(int code) {
    switch (code) {
        case 0:
            return "resolved";
        case 1:
            return "resolution code 1";
        case 2:
            return "resolution code 2";
        case 3:
            return "resolution code 3";
        case 6:
            return "resolution code 6";
        case 7:
            return "resolution code 7";
        case 10:
            return "resolution code 10";
        case 11:
            return "resolution code 11";
        case 12:
            return "resolution code 12";
        default:
            return "another resolution code";
    }
}

// One driver and one reference, loaded with the same symbols.
class NamesRun {
public:
    explicit NamesRun(Figures& figures) : figures_(figures) { restartDriver(); }

    void run(const Step& step) {
        Choices choices(step);
        switch (steps_++ < 4 ? 0 : choices.below(8)) {
            case 0:
                load(choices);
                break;
            case 1:
                position(choices);
                break;
            default:
                tag(choices);
                break;
        }
        figures_.countStep();
    }

private:
    void load(Choices& choices) {
        const std::string scope = choices.of(kScopeNames);
        std::vector<Symbol>& variables = variables_[scope];
        // Names repeat, so that of several variables the first must be found; also among many.
        for (int i = choices.oneIn(4) ? 7 : 1; i > 0; --i) {
            variables.insert(variables.begin(), randomSymbol(choices, choices.of(kVariableNames), 2));
        }
        std::vector<Symbol> list{scopeOf(scope, variables)};
        if (choices.oneIn(20)) {
            list[0].elementType.clear();
        } else if (choices.oneIn(15)) {
            list[0].elementType[0].memberCount = static_cast<std::uint32_t>(choices.below(3));
        }
        QList<Label_Type_Info> driverList = toDriver(list);
        if (choices.oneIn(3)) {
            log_ += "put into the table: " + toText(list[0]) + "\n";
            PLC_driver.labelTable[toDriver(scope)] = driverList.first();
            figures_.reached("symbols put into the table");
        } else {
            log_ += "load " + toText(list[0]) + "\n";
            PassVarName_2(&driverList);
            figures_.reached("symbols loaded");
        }
        table_.load(list);
        if (choices.oneIn(10)) {
            log_ += "take it out of the table\n";
            PLC_driver.labelTable.remove(toDriver(scope));
            table_.remove(scope);
            figures_.reached("symbols taken out of the table");
        }
    }

    void tag(Choices& choices) {
        const std::string scope = choices.of(kScopeNames);
        const std::vector<Symbol>& variables = variables_[scope];
        manyVariables_ = variables.size() > 8;
        Symbol variable;
        variable.name = "none";
        if (!variables.empty()) {
            variable = choices.of(variables);
        }
        const std::string name = randomTag(choices, scope, variable);
        if (reference::contains(name, "%%") || choices.oneIn(10)) {
            rewrite(name, reference::decimalOrZero(randomArgument(choices)));
        } else {
            resolve(name);
        }
    }

    void resolve(const std::string& name) {
        ControlInformationM driver = ControlInformationM();
        const int code = get_label_address_info(static_cast<const QString&>(toDriver(name)), driver);
        Place place;
        int expected = 0;
        try {
            expected = table_.resolve(name, &place);
        } catch (const reference::LeftOpen&) {
            return;
        }
        explain("resolve \"" + name + "\"", [&] {
            compareNumbers("result code", code, expected);
            comparePlaces(driver, place);
        });
        figures_.reached(nameOfResolution(code));
        if (code == 0 && manyVariables_) {
            figures_.reached("found among many variables");
        }
        if (code == 0 && place.isBit == 1) {
            figures_.reached("bit of a variable resolved");
        }
        if (code == 0 && place.isArray == 1) {
            figures_.reached("array element resolved");
        }
    }

    void rewrite(const std::string& name, std::int32_t n) {
        QString driver = toDriver(name);
        const int code = get_label_address_info(driver, n);
        std::string text = name;
        int expected = 0;
        try {
            expected = table_.rewrite(&text, n);
        } catch (const reference::LeftOpen&) {
            return;
        }
        explain("rewrite \"" + name + "\" with " + std::to_string(n), [&] {
            compareNumbers("result code", code, expected);
            compareTexts("name", driver, text);
        });
        figures_.reached(code == 0 ? "name rewritten" : "rewriting refused");
        if (code == 0) {
            resolve(text);
        }
    }

    // The step that turns index texts into a position, with any bounds.
    void position(Choices& choices) {
        const std::int32_t dimensions = choices.between(-1, 4);
        std::vector<std::int32_t> bounds{choices.of<std::int32_t>({10, 10, 16, 8, 2, 0, 36})};
        for (int i = choices.below(9); i > 0; --i) {
            bounds.push_back(choices.oneIn(8) ? static_cast<std::int32_t>(choices.number()) : choices.between(-3, 12));
        }
        std::string list;
        for (int i = choices.oneIn(8) ? choices.below(5) : dimensions; i > 0; --i) {
            list += choices.of<std::string>({"0", "1", "2", "7", "11", "a", "-1", " 3 ", "2147483647", "0x10", "z",
                                             "-2147483648", "010", "100000", "65536"}) +
                    (i == 1 ? "" : ",");
        }
        unsigned int index = 77;
        unsigned int end = 78;
        QList<int> driverBounds;
        std::string text;
        for (const std::int32_t bound : bounds) {
            driverBounds.append(bound);
            text += " " + std::to_string(bound);
        }
        const int code = get_label_address_array_memory_index(toDriver(list), dimensions, driverBounds, index, &end);
        std::uint32_t expectedIndex = 77;
        std::uint32_t expectedEnd = 78;
        const int expected = reference::arrayPosition(list, dimensions, bounds, &expectedIndex, &expectedEnd);
        explain("position \"" + list + "\" in " + std::to_string(dimensions) + " dimensions, bounds" + text, [&] {
            compareNumbers("result code", code, expected);
            compareNumbers("index", index, expectedIndex);
            compareNumbers("end", end, expectedEnd);
        });
        figures_.reached(code == 0 ? "array position computed" : "array position refused");
    }

    template <typename Comparison>
    void explain(const std::string& call, const Comparison& compare) {
        try {
            compare();
        } catch (const Difference& difference) {
            throw Difference(log_ + call + "\n" + difference.what());
        }
    }

    Figures& figures_;
    SymbolTable table_;
    std::map<std::string, std::vector<Symbol>> variables_;
    std::string log_;
    int steps_ = 0;
    bool manyVariables_ = false;
};

TEST(Reference, Names) {
    RandomTest test;
    test.name = "Names";
    test.percent = 20;
    test.numbers = 40;
    test.longest = 120;
    test.run = [](const Sequence& sequence, Figures& figures) {
        NamesRun run(figures);
        for (const Step& step : sequence) {
            run.run(step);
        }
    };
    test.states = {"symbols loaded",
                   "symbols put into the table",
                   "symbols taken out of the table",
                   "resolved",
                   "resolution code 1",
                   "resolution code 2",
                   "resolution code 3",
                   "resolution code 6",
                   "resolution code 7",
                   "resolution code 10",
                   "resolution code 11",
                   "resolution code 12",
                   "bit of a variable resolved",
                   "found among many variables",
                   "array element resolved",
                   "name rewritten",
                   "rewriting refused",
                   "array position computed",
                   "array position refused"};
    check(test);
}

}  // namespace

}  // namespace ac500::test
