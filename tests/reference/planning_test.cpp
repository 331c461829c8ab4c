// Planning of reads: sorting, merging and cutting, step by step against the reference, and two promises that hold
// whatever the rules are: every byte that one read per tag would fetch is fetched, and no request is too large.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/reference/comparison.h"
#include "tests/reference/random_plant.h"
#include "tests/reference/run.h"

namespace ac500::test {

namespace {

using reference::Extent;
using reference::Machine;
using reference::Place;
using reference::Settings;
using reference::Symbol;
using reference::Tag;
using reference::Variable;

struct ByteRun {
    std::int32_t area;
    std::int64_t start;
    std::int64_t bytes;
};

std::string describe(const ByteRun& run) {
    return "area " + std::to_string(run.area) + " bytes " + std::to_string(run.start) + " to " +
           std::to_string(run.start + run.bytes - 1);
}

void checkCoverage(const std::vector<ByteRun>& wanted, const QList<RW_VAR>& requests) {
    for (const ByteRun& run : wanted) {
        std::int64_t next = run.start;
        bool moved = true;
        while (moved && next < run.start + run.bytes) {
            moved = false;
            for (const RW_VAR& request : requests) {
                const std::int64_t end = std::int64_t{request.offset} + request.size;
                if (request.area == run.area && request.offset <= next && end > next) {
                    next = end;
                    moved = true;
                }
            }
        }
        if (next < run.start + run.bytes) {
            throw Difference("no request reads byte " + std::to_string(next) + " of " + describe(run));
        }
    }
}

void checkLimit(const QList<RW_VAR>& requests, std::int64_t maxBytes) {
    for (const RW_VAR& request : requests) {
        if (request.size > maxBytes || request.size < 1) {
            throw Difference("a request of " + std::to_string(request.size) + " bytes, the limit is " +
                             std::to_string(maxBytes));
        }
    }
}

class PlanningRun {
public:
    explicit PlanningRun(Figures& figures) : figures_(figures) {
        restartDriver();
        driverSettings_ = ComInfo();
        SetComInfo(&driverSettings_);
        machine_.useSettings(&settings_);
        limit(100);
    }

    void run(const Step& step) {
        Choices choices(step);
        try {
            perform(choices);
            compareAll(machine_);
        } catch (const Difference& difference) {
            throw Difference(log_ + difference.what());
        }
        figures_.countStep();
    }

private:
    void limit(std::int32_t words) {
        driverSettings_.maxRequestWords = words;
        settings_.at(16) = words;
    }

    void perform(Choices& choices) {
        switch (choices.below(14)) {
            default:
                return addTag(choices);
            case 7:
                return limitAnew(choices);
            case 8:
                return addVariable(choices);
            case 9:
                return merge(choices);
            case 10:
                return cut(choices);
            case 11:
                return rebuild();
            case 12:
                return readOnce(choices);
            case 13:
                return rebuild();
        }
    }

    void limitAnew(Choices& choices) {
        const std::int32_t words = choices.of<std::int32_t>({100, 1, 2, 3, 8, 20, 50, 200, 0, -1});
        log_ += "limit " + std::to_string(words) + " words\n";
        limit(words);
    }

    // A variable of its own for every tag, so that offsets and sizes can be anything.
    void addTag(Choices& choices) {
        Symbol symbol;
        symbol.name = "v" + std::to_string(symbols_.size());
        symbol.type = static_cast<std::uint16_t>(choices.between(1, 21));
        symbol.offset = choices.oneIn(30) ? -choices.below(50) : choices.below(choices.of<int>({60, 300, 1200}));
        symbol.areaList = {choices.oneIn(30) ? choices.between(-2, 2) : choices.below(3)};
        if (symbol.type == 12) {
            symbol.elementType = scopeOf("", {}).elementType;
        }
        std::string suffix;
        if (choices.below(3) != 0) {
            symbol.type |= 0x100;
            symbol.dimensions = 1;
            symbol.arrayBounds = {10, 0, choices.oneIn(6) ? choices.below(600) : choices.below(30)};
            suffix = "[" + std::to_string(choices.oneIn(4) ? choices.below(10) : 0) + "]";
        }
        symbols_.push_back(symbol);
        Tag tag;
        tag.name = "Main." + symbol.name + suffix;
        tag.count = choices.oneIn(12)  ? choices.between(-3, 0)
                    : choices.oneIn(8) ? choices.below(700)
                                       : choices.below(20);
        log_ += "tag " + tag.name + " count " + std::to_string(tag.count) + " " + toText(symbol) + "\n";
        tags_.push_back(tag);
        const std::vector<Symbol> list{scopeOf("Main", symbols_)};
        QList<Label_Type_Info> driverList = toDriver(list);
        PassVarName_2(&driverList);
        machine_.loadSymbols(list);
    }

    void addVariable(Choices& choices) {
        Variable variable;
        variable.hostId = choices.below(5);
        variable.labelName = "n" + std::to_string(variables_.size());
        variable.dataType = choices.below(22);
        variable.offset = choices.oneIn(20) ? -choices.below(50) : choices.below(choices.of<int>({40, 400}));
        variable.size = choices.oneIn(8) ? choices.between(-2, 0) : choices.below(choices.of<int>({10, 60, 500}));
        log_ += "variable " + toText(variable) + "\n";
        variables_.push_back(variable);
    }

    // Bubble_Sort and BitVarReCreat, as they stand.
    void merge(Choices& choices) {
        if (choices.oneIn(3)) {
            area_ = choices.below(4);  // later merges find requests of another area in the list
        }
        const std::int32_t maxBytes = choices.of<std::int32_t>({200, 1, 2, 3, 7, 16, 50, 100, 0, -5});
        log_ += "merge in area " + std::to_string(area_) + " up to " + std::to_string(maxBytes) + " bytes\n";
        QList<RW_VAR> driver;
        for (Variable& variable : variables_) {
            variable.area = area_;
            driver.append(toDriver(variable));
        }
        Bubble_Sort(&driver);
        std::vector<Variable> sorted = variables_;
        reference::sortByOffset(&sorted);
        compareLists("sorted list", driver, sorted);
        if (machine_.readList.size() > 200) {
            PLC_driver.readList.clear();
            machine_.readList.clear();
        }
        const auto before = static_cast<int>(machine_.readList.size());
        const bool fresh = before == 0 || machine_.readList.back().area != area_;
        BitVarReCreat(&driver, maxBytes);
        reference::mergeArea(&sorted, maxBytes, &machine_.readList);
        compareLists("merged list", driver, sorted);
        compareLists("readList", PLC_driver.readList, machine_.readList);
        figures_.reached("list sorted and merged");
        if (maxBytes > 1) {
            const QList<RW_VAR> added = PLC_driver.readList.mid(before);
            std::vector<ByteRun> wanted;
            for (const Variable& variable : variables_) {
                wanted.push_back({variable.area, variable.offset, variable.size});
            }
            if (fresh) {
                checkCoverage(wanted, added);  // else a request of an earlier list may have grown
            }
            checkLimit(added, maxBytes);
        } else {
            figures_.reached(maxBytes == 1 ? "merged with a limit of one byte" : "merged without any room");
        }
        if (choices.oneIn(3)) {
            variables_.clear();
        }
    }

    // WhetherGroup.
    void cut(Choices& choices) {
        Variable variable;
        variable.offset = choices.below(1000);
        variable.size = choices.below(1000);
        const std::int32_t total = choices.between(-1, 700);
        const std::int32_t maxBytes = choices.of<std::int32_t>({200, 1, 2, 7, 50, 64, 1000});
        log_ += "cut " + std::to_string(total) + " by " + std::to_string(maxBytes) + " " + toText(variable) + "\n";
        RW_VAR driverVariable = toDriver(variable);
        QList<RW_VAR> driver;
        WhetherGroup(total, maxBytes, &driverVariable, &driver);
        std::vector<Variable> expected;
        reference::cutIntoPieces(total, maxBytes, &variable, &expected);
        compareLists("pieces", driver, expected);
        compareVariables("the variable that was cut", driverVariable, variable);
        figures_.reached(expected.size() > 1 ? "variable cut into pieces" : "variable left in one piece");
    }

    void rebuild() {
        log_ += "rebuild the cyclic list\n";
        QList<HostTag> driverTags = toDriver(tags_);
        const int count = ReCreatReadVarList(&driverTags);
        compareNumbers("requests", count, machine_.rebuildReadList(tags_));
        const std::int64_t maxBytes = 2 * std::int64_t{settings_.at(16)};
        if (maxBytes < 1) {
            return figures_.reached("planned without any room");
        }
        // One read per tag, from the tag alone.
        std::vector<ByteRun> wanted;
        for (const Tag& tag : tags_) {
            Place place;
            Extent extent;
            if (machine_.symbols.resolve(tag.name, &place) == 0 && reference::readExtent(place, tag.count, &extent) &&
                extent.bytes > 0) {
                wanted.push_back({place.area, extent.offset, extent.bytes});
            }
        }
        checkCoverage(wanted, PLC_driver.readList);
        checkLimit(PLC_driver.readList, maxBytes);
        figures_.reached("cyclic list planned");
        if (count < static_cast<int>(wanted.size())) {
            figures_.reached("fewer requests than tags");
        } else if (count > static_cast<int>(wanted.size())) {
            figures_.reached("more requests than tags");
        }
        if (tags_.size() > 40) {
            tags_.clear();
            symbols_.clear();
        }
    }

    // The last one-shot read once more, with at most one field changed: some make another request of it, some do not.
    Variable almostTheSame(Choices& choices) {
        Variable variable = lastOnce_;
        switch (choices.below(8)) {
            default:
                break;
            case 1:
                variable.hostId += 1;
                break;
            case 2:
                variable.hostSubId += 1;
                break;
            case 3:
                variable.aux4 += 1;
                break;
            case 4:
                variable.aux3 += 1;
                break;
            case 5:
                variable.writeFlag ^= 1;
                break;
            case 6:
                variable.size += 1;
                break;
            case 7:
                settings_.at(24) += 1;
                driverSettings_.comWord += 1;
                log_ += "comWord + 1\n";
                break;
        }
        return variable;
    }

    void readOnce(Choices& choices) {
        if (tags_.empty()) {
            return;
        }
        Variable variable;
        if (!lastOnce_.labelName.empty() && choices.oneIn(2)) {
            variable = almostTheSame(choices);
        } else {
            const Tag& tag = choices.of(tags_);
            variable.hostId = choices.below(3);
            variable.hostSubId = choices.below(3);
            variable.labelName = tag.name;
            variable.size = choices.oneIn(3) ? choices.below(700) : tag.count;
        }
        lastOnce_ = variable;
        log_ += "read once " + toText(variable) + "\n";
        RW_VAR driver = toDriver(variable);
        const int count = AddListOnceReadVar(&driver);
        const std::size_t before = machine_.onceReadList.size();
        compareNumbers("queued one-shot reads", count, machine_.addOnceRead(&variable));
        compareVariables("the host's record", driver, variable);
        if (count == 0) {
            figures_.reached("one-shot read refused");
        } else if (machine_.onceReadList.size() > before + 1) {
            figures_.reached("one-shot read cut into pieces");
        } else if (machine_.onceReadList.size() == before) {
            figures_.reached("one-shot read queued already");
        }
    }

    Figures& figures_;
    ComInfo driverSettings_;
    Settings settings_;
    Machine machine_;
    std::vector<Symbol> symbols_;
    std::vector<Tag> tags_;
    std::vector<Variable> variables_;
    Variable lastOnce_;
    std::int32_t area_ = 1;
    std::string log_;
};

TEST(Reference, Planning) {
    RandomTest test;
    test.name = "Planning";
    test.percent = 15;
    test.numbers = 10;
    test.longest = 80;
    test.run = [](const Sequence& sequence, Figures& figures) {
        PlanningRun run(figures);
        for (const Step& step : sequence) {
            run.run(step);
        }
    };
    test.states = {"list sorted and merged",   "merged with a limit of one byte", "merged without any room",
                   "variable cut into pieces", "variable left in one piece",      "planned without any room",
                   "cyclic list planned",      "fewer requests than tags",        "more requests than tags",
                   "one-shot read refused",    "one-shot read cut into pieces",   "one-shot read queued already"};
    check(test);
}

}  // namespace

}  // namespace ac500::test
