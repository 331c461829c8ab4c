#include "tests/soak/plant.h"

#include <algorithm>
#include <memory>

#include <fmt/format.h>

#include "tools/simulator/random.h"

namespace ac500::soak {

using symbol_file::ArrayDimension;
using symbol_file::Leaf;
using symbol_file::Signal;
using symbol_file::StructType;
using symbol_file::TypeCode;
using symbol_file::Variable;

namespace {

constexpr int kAreas = 4;      // numbered from 1, for everything but BIT
constexpr int kBitArea = 5;    // the simulator tells bit writes from byte writes by an area of their own
constexpr int kAlikeArea = 6;  // arrays alone, each as long as an item of a request
constexpr int kFirstWrittenArea = 3;
constexpr std::uint32_t kAreaBytes = 4096;
constexpr int kAlikeArrays = 20;
constexpr int kAlikeElements = 25;  // of 8 bytes: 200 bytes, what the host allows for an item
constexpr int kPeriodsMs[] = {200, 300, 500, 900, 1700, 4000};

constexpr TypeCode kNumbers[] = {TypeCode::Bool, TypeCode::Sint, TypeCode::Usint, TypeCode::Byte,  TypeCode::Int,
                                 TypeCode::Uint, TypeCode::Word, TypeCode::Dint,  TypeCode::Udint, TypeCode::Dword,
                                 TypeCode::Real, TypeCode::Lint, TypeCode::Ulint, TypeCode::Lword, TypeCode::Lreal};

// A variable before it has a place.
struct Wish {
    Variable variable;
    std::vector<std::string> tagEnds;  // what follows the name: "", "[2,1..4]", ".speed", ".b[3]"
    int bytes = 0;
    bool isWritten = false;
};

class Maker {
public:
    explicit Maker(std::uint64_t seed) : random_(seed) {}

    Plant make() {
        wishForNumbers();
        wishForLongArrays();
        wishForStrings();
        wishForStructures();
        wishForBitsOfVariables();
        shuffle();
        declareAreas();
        placeEverything();
        placeBits();
        placeAlikeArrays();
        for (const Leaf& leaf : listLeaves(plant_.file)) {
            addSignals(leaf);
        }
        return plant_;
    }

private:
    std::uint64_t below(std::uint64_t end) { return random_.next() % end; }

    Variable named(const char* kind, TypeCode code) {
        Variable variable;
        variable.name = fmt::format("{}{}", kind, ++lastNumber_);
        variable.code = code;
        return variable;
    }

    void wish(TypeCode code, bool isWritten, std::vector<ArrayDimension> dimensions,
              std::vector<std::string> tagEnds = {""}) {
        Wish wish{named(isWritten ? "w" : "r", code), std::move(tagEnds), 0, isWritten};
        int elements = 1;
        for (const ArrayDimension& dimension : dimensions) {
            elements *= dimension.count();
        }
        wish.variable.dimensions = std::move(dimensions);
        wish.bytes = elements * typeTraits(code)->widthBytes;
        wishes_.push_back(std::move(wish));
    }

    void wishForNumbers() {
        for (const TypeCode code : kNumbers) {
            for (int i = 0; i < 6; ++i) {
                wish(code, false, {});
            }
            wish(code, false, {{-1, 3}});
            wish(code, false, {{0, 2}, {1, 4}}, {"[0,1..4]", "[2,1..4]", "[1,2]"});
            wish(code, false, {{1, 17}});
            wish(code, true, {});
            wish(code, true, {});
            wish(code, true, {{1, 5}});
            wish(code, true, {{0, 1}, {5, 7}}, {"[0,5..7]", "[1,5..7]"});
        }
    }

    // Longer than a request.
    void wishForLongArrays() {
        wish(TypeCode::Int, false, {{1, 300}});
        wish(TypeCode::Byte, false, {{0, 349}});
        wish(TypeCode::Bool, false, {{1, 250}});
        wish(TypeCode::Real, false, {{1, 120}});
        wish(TypeCode::Lreal, false, {{1, 60}});
        wish(TypeCode::Udint, false, {{1, 90}});
        wish(TypeCode::Dint, true, {{1, 60}});
        wish(TypeCode::Byte, true, {{1, 230}});
        wish(TypeCode::Lreal, true, {{0, 29}});
    }

    void wishForStrings() {
        for (const TypeCode code : {TypeCode::String, TypeCode::Cstring}) {
            for (int i = 0; i < 4; ++i) {
                wish(code, false, {});
            }
            wish(code, false, {{1, 4}});
            wish(code, true, {});
            wish(code, true, {});
        }
        wish(TypeCode::String, true, {{1, 3}});
    }

    static Variable member(const char* name, TypeCode code, int offset, std::vector<ArrayDimension> dimensions = {}) {
        Variable variable;
        variable.name = name;
        variable.code = code;
        variable.offset = offset;
        variable.dimensions = std::move(dimensions);
        return variable;
    }

    void wishForStructures() {
        auto motor = std::make_shared<StructType>();
        motor->name = "Motor";
        motor->sizeBytes = 150;
        motor->members = {member("on", TypeCode::Bool, 0),
                          member("speed", TypeCode::Int, 2),
                          member("curve", TypeCode::Real, 4, {{1, 5}}),
                          member("turns", TypeCode::Ulint, 24),
                          member("title", TypeCode::String, 33),
                          member("state", TypeCode::Byte, 115),
                          member("heat", TypeCode::Lreal, 116, {{1, 4}})};
        plant_.file.types.push_back(motor);
        for (int i = 0; i < 4; ++i) {
            const bool isWritten = i % 2 == 1;
            Wish wish{named(isWritten ? "wmotor" : "rmotor", TypeCode::Struct), {}, 2 * motor->sizeBytes, isWritten};
            wish.variable.structure = motor;
            wish.variable.dimensions = {{1, 2}};
            for (const char* element : {"[1]", "[2]"}) {
                for (const Variable& member : motor->members) {
                    wish.tagEnds.push_back(std::string(element) + "." + member.name);
                }
            }
            wishes_.push_back(std::move(wish));
        }
    }

    void wishForBitsOfVariables() {
        for (const TypeCode code : {TypeCode::Byte, TypeCode::Word, TypeCode::Dword, TypeCode::Lword}) {
            const int last = typeTraits(code)->widthBytes * 8 - 1;
            wish(code, false, {}, {"", ".b[0]", fmt::format(".b[{}]", last), fmt::format(".b[2..{}]", last - 1)});
            wishes_.back().variable.bitAddressable = true;
            wish(code, true, {}, {".b[0]", ".b[1..3]", fmt::format(".b[{}]", last)});
            wishes_.back().variable.bitAddressable = true;
        }
    }

    void shuffle() {
        for (std::size_t i = wishes_.size(); i > 1; --i) {
            std::swap(wishes_[i - 1], wishes_[static_cast<std::size_t>(below(i))]);
        }
    }

    void declareAreas() {
        for (int number = 1; number <= kAlikeArea; ++number) {
            plant_.file.areas.push_back({number, fmt::format("area {}", number), kAreaBytes, 0});
        }
        plant_.file.scopes.push_back({"Main", {}, 0});
    }

    // Mostly at even addresses and close together, now and then odd or with a gap.
    std::uint64_t placeBehind(std::uint64_t end) {
        const std::uint64_t odd = below(8) == 0 ? 1 : 0;
        const std::uint64_t gap = below(6) == 0 ? below(60) : 0;
        return (end + gap + 1) / 2 * 2 + odd;
    }

    // Areas 1 and 2 are read only, 3 is mixed, 4 takes what is left of the written variables.
    int areaFor(const Wish& wish, std::uint64_t (&ends)[kAreas + 1]) const {
        const int first = wish.isWritten ? kFirstWrittenArea : 1;
        const int last = wish.isWritten ? kAreas : kFirstWrittenArea;
        int best = first;
        for (int area = first; area <= last; ++area) {
            best = ends[area] < ends[best] ? area : best;
        }
        return best;
    }

    void placeEverything() {
        std::uint64_t ends[kAreas + 1] = {};
        for (Wish& wish : wishes_) {
            wish.variable.area = areaFor(wish, ends);
            std::uint64_t& end = ends[wish.variable.area];
            wish.variable.offset = static_cast<int>(placeBehind(end));
            end = static_cast<std::uint64_t>(wish.variable.offset) + static_cast<std::uint64_t>(wish.bytes);
            add(wish);
        }
    }

    void add(const Wish& wish) {
        plant_.file.scopes.front().variables.push_back(wish.variable);
        const int period = kPeriodsMs[below(std::size(kPeriodsMs))];
        periods_.push_back({"Main." + wish.variable.name, wish.isWritten, wish.isWritten ? 0 : period});
        for (const std::string& end : wish.tagEnds) {
            plant_.tags.push_back({periods_.back().text + end, wish.isWritten, wish.isWritten ? 0 : period});
        }
    }

    void placeBits() {
        int bit = 0;
        for (int i = 0; i < 24; ++i) {
            const bool isWritten = i % 3 == 2;
            const int elements = i % 6 == 5 ? 5 : i % 8 == 6 ? 20 : 1;
            bit += static_cast<int>(below(7));
            Wish wish{named(isWritten ? "wbit" : "rbit", TypeCode::Bit), {""}, 0, isWritten};
            wish.variable.area = kBitArea;
            wish.variable.offset = bit;
            if (elements > 1) {
                wish.variable.dimensions = {{1, elements}};
            }
            bit += elements;
            add(wish);
        }
    }

    // One behind the other, so that each is an item and all requests but the last have the same lengths: a reply that
    // is taken for another's passes every check but that of the values.
    void placeAlikeArrays() {
        for (int i = 0; i < kAlikeArrays; ++i) {
            const TypeCode code = i % 2 == 0 ? TypeCode::Ulint : TypeCode::Lreal;
            Wish wish{named("ralike", code), {""}, 0, false};
            wish.variable.area = kAlikeArea;
            wish.variable.offset = i * kAlikeElements * typeTraits(code)->widthBytes;
            wish.variable.dimensions = {{1, kAlikeElements}};
            add(wish);
        }
    }

    int periodOf(const std::string& tag) const {
        for (const PlantTag& entry : periods_) {
            const std::string rest =
                tag.compare(0, entry.text.size(), entry.text) == 0 ? tag.substr(entry.text.size()) : std::string("-");
            if (rest.empty() || rest[0] == '.' || rest[0] == '[') {
                return entry.periodMs;
            }
        }
        return 0;
    }

    void addSignals(const Leaf& leaf) {
        const int period = periodOf(leaf.tag);
        if (period == 0) {
            return;
        }
        std::vector<std::string> indices(1);
        for (const ArrayDimension& dimension : leaf.dimensions) {
            std::vector<std::string> longer;
            for (const std::string& index : indices) {
                for (int i = dimension.lower; i <= dimension.upper; ++i) {
                    longer.push_back(index + (index.empty() ? "[" : ",") + std::to_string(i));
                }
            }
            indices = longer;
        }
        for (const std::string& index : indices) {
            Signal signal;
            signal.tag = leaf.tag + index + (index.empty() ? "" : "]");
            signal.kind = Signal::Kind::Pattern;
            signal.periodMs = period;
            plant_.file.signals.push_back(signal);
        }
    }

    sim::Random random_;
    Plant plant_;
    std::vector<Wish> wishes_;
    std::vector<PlantTag> periods_;  // by variable
    int lastNumber_ = 0;
};

}  // namespace

Plant makePlant(std::uint64_t seed) {
    return Maker(seed).make();
}

std::vector<Area> writtenAreas(const Plant& plant) {
    std::vector<Area> areas;
    std::copy_if(plant.file.areas.begin(), plant.file.areas.end(), std::back_inserter(areas),
                 [](const Area& area) { return area.number >= kFirstWrittenArea && area.number <= kBitArea; });
    return areas;
}

}  // namespace ac500::soak
