#include "tests/reference/random_plant.h"

namespace ac500::test {

namespace {

constexpr int kArray = 0x100;
constexpr int kStructure = 0x200;
constexpr int kBitAddressable = 0x400;

const std::vector<std::string> kMemberNames{"a", "b", "speed", "x1"};

std::string randomNumber(Choices& choices, const std::vector<std::int32_t>& bounds, std::size_t dimension) {
    const bool known = bounds.size() > 2 * dimension + 2;
    const int lower = known ? bounds[2 * dimension + 1] : 0;
    const int upper = known ? bounds[2 * dimension + 2] : 3;
    switch (choices.below(12)) {
        default:
            return std::to_string(std::int64_t{lower} + choices.below(5));
        case 5:
            return std::to_string(upper);
        case 6:
            return std::to_string(std::int64_t{lower} - 1);
        case 7:
            return std::to_string(std::int64_t{upper} + choices.below(3) - 1);
        case 8:
            return choices.of<std::string>(
                {"", " ", "x", "1x", "-", "0x1F", "1F", "07", "08", "+2", " 2 ", "1 2", "--1"});
        case 9:
            return choices.of<std::string>(
                {"2147483647", "2147483648", "-2147483648", "99999999999999999999", "4294967296"});
        case 10:
            return std::to_string(static_cast<std::int32_t>(choices.number()));
        case 11:
            return std::to_string(std::int64_t{lower} + choices.below(upper > lower ? upper - lower : 1));
    }
}

std::string randomIndex(Choices& choices, const std::vector<std::int32_t>& bounds, std::size_t dimension,
                        bool placeholder) {
    if (!placeholder) {
        return randomNumber(choices, bounds, dimension);
    }
    switch (choices.below(8)) {
        default:
            return "%%";
        case 1:
        case 2:
            return "%%+" + std::to_string(choices.below(4));
        case 3:
            return std::to_string(choices.below(4)) + "+%%";
        case 4:
            return " %% + " + std::to_string(choices.below(4)) + " ";
        case 5:
            return choices.of<std::string>(
                {"%%x", "2%%", "%%-1", "%%+", "+%%", "%%%%", "%%+x", "%%+1+2", "1+2+%%", "%%+-1"});
        case 6:
            return "%%+" + randomNumber(choices, bounds, dimension);
        case 7:
            return randomNumber(choices, bounds, dimension) + "+%%";
    }
}

std::string randomSuffix(Choices& choices, const reference::Symbol& symbol, bool placeholders) {
    const bool array = (symbol.type & kArray) != 0;
    if (array == choices.oneIn(12)) {
        return "";
    }
    int count = array ? symbol.dimensions : 1;
    if (choices.oneIn(15)) {
        count += choices.below(3) - 1;
    }
    std::string text = "[";
    for (int i = 0; i < count; ++i) {
        const bool placeholder = placeholders && choices.below(3) != 2;
        text +=
            (i == 0 ? "" : ",") + randomIndex(choices, symbol.arrayBounds, static_cast<std::size_t>(i), placeholder);
    }
    switch (choices.below(25)) {
        default:
            return text + "]";
        case 22:
            return text;
        case 23:
            return text + ")";
        case 24:
            return text + "]]";
    }
}

std::string damaged(Choices& choices, std::string tag) {
    const auto place = static_cast<std::size_t>(choices.below(static_cast<int>(tag.size()) + 1));
    switch (choices.below(60)) {
        default:
            return tag;
        case 53:
            return tag.insert(place, choices.of<std::string>({".", "[", "]", ",", " ", "%", "\xE4", "+"}));
        case 54:
            return tag.erase(place);
        case 55:
            return place < tag.size() ? tag.erase(place, 1) : tag;
        case 56:
            return "";
        case 57:
            return tag.substr(0, tag.find('.'));
        case 58:
            return "Nowhere." + tag;
        case 59:
            return tag + "." + choices.of<std::string>({"", "a", "b[0]", "[3]", "q]3["});
    }
}

}  // namespace

reference::Symbol scopeOf(const std::string& name, const std::vector<reference::Symbol>& variables) {
    reference::Symbol contents;
    contents.name = "contents";
    contents.type = kStructure;
    contents.members = variables;
    contents.memberCount = static_cast<std::uint32_t>(variables.size());
    reference::Symbol scope;
    scope.name = name;
    scope.type = 12;
    scope.elementType = {contents};
    return scope;
}

reference::Symbol randomSymbol(Choices& choices, const std::string& name, int depth) {
    reference::Symbol symbol;
    symbol.name = name;
    int code = choices.between(1, 21);
    if (choices.oneIn(40)) {
        code = choices.of<int>({0, 22, 19, 20, 255});
    }
    if (depth > 0 && choices.below(3) == 1) {
        code = 12;
    }
    if (depth == 0 && code == 12) {
        code = 3;
    }
    symbol.type = static_cast<std::uint16_t>(code);
    symbol.offset = choices.oneIn(20) ? static_cast<std::int32_t>(choices.number()) : choices.below(400);
    symbol.areaList = {choices.below(4)};
    if (choices.oneIn(40)) {
        symbol.areaList = choices.oneIn(2) ? std::vector<std::int32_t>{} : std::vector<std::int32_t>{-1, 5};
    }
    if (choices.below(3) == 1) {
        symbol.type |= kArray;
        symbol.dimensions = choices.between(1, 3);
        symbol.arrayBounds = {choices.oneIn(6) ? choices.of<std::int32_t>({16, 8, 2, 0, 36}) : 10};
        for (int d = 0; d < symbol.dimensions; ++d) {
            const std::int32_t lower = choices.oneIn(4) ? choices.between(-5, 5) : choices.below(2);
            symbol.arrayBounds.push_back(lower);
            symbol.arrayBounds.push_back(lower + choices.between(1, 6));
        }
        if (choices.oneIn(25)) {
            symbol.arrayBounds.back() = static_cast<std::int32_t>(choices.number());
        }
        if (choices.oneIn(40)) {
            symbol.arrayBounds.pop_back();
        }
        if (choices.oneIn(40)) {
            symbol.dimensions = choices.between(-1, 4);
        }
    }
    if (choices.below(5) == 1 && code != 12) {
        symbol.type |= kBitAddressable;
        reference::Symbol bits;
        bits.name = "bits";
        bits.type = kArray | 13;
        bits.dimensions = 1;
        bits.arrayBounds = {10, 0, 16};
        symbol.elementType = {bits};
    }
    if (code == 12) {
        std::vector<reference::Symbol> members;
        for (int i = choices.between(1, 3); i > 0; --i) {
            members.push_back(randomSymbol(choices, choices.of(kMemberNames), depth - 1));
        }
        symbol.elementType = scopeOf("", members).elementType;
        symbol.elementType[0].offset = choices.between(1, 40);
        if (choices.oneIn(25)) {
            symbol.elementType[0].memberCount = static_cast<std::uint32_t>(choices.below(3));
        }
    }
    if (choices.oneIn(50)) {
        symbol.type |= kStructure;
    }
    return symbol;
}

std::string randomTag(Choices& choices, const std::string& scope, const reference::Symbol& variable) {
    const bool placeholders = choices.oneIn(2);
    std::string tag = scope + (choices.oneIn(20) ? "[1]" : "");
    const reference::Symbol* symbol = &variable;
    for (;;) {
        tag += "." + symbol->name + randomSuffix(choices, *symbol, placeholders);
        if ((symbol->type & 0xFF) != 12 || symbol->elementType.empty() || symbol->elementType[0].members.empty()) {
            break;
        }
        symbol = &choices.of(symbol->elementType[0].members);
    }
    const bool bits = (symbol->type & kBitAddressable) != 0;
    if (bits ? choices.oneIn(2) : choices.oneIn(40)) {
        tag += choices.of<std::string>({".b[", ".b[", ".b[", ".[", ".bit", ".x]["}) +
               randomIndex(choices, {10, 0, 8}, 0, placeholders) + "]";
    }
    return damaged(choices, tag);
}

std::string randomArgument(Choices& choices) {
    switch (choices.below(10)) {
        default:
            return std::to_string(choices.below(8));
        case 6:
            return "";
        case 7:
            return choices.of<std::string>(
                {"x", " 3 ", "-1", "-3", "+2", "3x", "2147483647", "2147483648", "-2147483648"});
        case 8:
            return std::to_string(choices.below(400));
        case 9:
            return std::to_string(static_cast<std::int32_t>(choices.number()));
    }
}

}  // namespace ac500::test
