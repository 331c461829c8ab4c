#include "tests/reference/names.h"

namespace reference {

namespace {

bool isSpace(char c) {
    const int code = static_cast<unsigned char>(c);
    return (code >= 9 && code <= 13) || code == 32 || code == 0x85 || code == 0xA0;
}

int digitValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'z') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'Z') {
        return c - 'A' + 10;
    }
    return 1000;
}

std::string trimmed(std::string text) {
    while (!text.empty() && isSpace(text.front())) {
        text.erase(text.begin());
    }
    while (!text.empty() && isSpace(text.back())) {
        text.pop_back();
    }
    return text;
}

// Cuts "name[list]" into its two halves. 1 when there was an index list, else 0.
int splitIndex(std::string* component, std::string* indexList) {
    if (!contains(*component, "[") || !contains(*component, "]")) {
        return 0;
    }
    const std::size_t open = component->rfind('[');
    std::string rest = component->substr(open + 1);
    if (!rest.empty()) {
        rest.pop_back();
    }
    *indexList = rest;
    *component = component->substr(0, open);
    return 1;
}

bool hasFlag(const Symbol& symbol, int flag) {
    return (symbol.type & flag) != 0;
}

constexpr int kArray = 0x100;
constexpr int kStructure = 0x200;
constexpr int kBitAddressable = 0x400;

bool hasBitNumbers(int typeCode) {
    for (const int code : {2, 3, 4, 5, 6, 8, 14, 15, 16, 17, 18, 21}) {
        if (code == typeCode) {
            return true;
        }
    }
    return false;
}

const Symbol* findMember(const Symbol& structure, const std::string& name) {
    for (std::uint32_t i = 0; i < structure.memberCount; ++i) {
        if (i >= structure.members.size()) {
            return nullptr;
        }
        if (structure.members[i].name == name) {
            return &structure.members[i];
        }
    }
    return nullptr;
}

const Symbol& onlyElement(const Symbol& symbol) {
    if (symbol.elementType.empty()) {
        throw LeftOpen();
    }
    return symbol.elementType[0];
}

void readBitNumber(const Symbol& symbol, const std::vector<std::string>& parts, int k, Place* place) {
    if (!hasFlag(symbol, kBitAddressable) || k != static_cast<int>(parts.size()) - 2) {
        return;
    }
    const std::string& last = parts.back();
    const std::size_t open = last.rfind('[');
    const std::size_t close = last.rfind(']');
    if (open == std::string::npos || close == std::string::npos || open < 1 || open > close) {
        return;
    }
    place->isBit = 1;
    place->bitIndex = decimalOrZero(last.substr(open + 1, close - open - 1));
}

std::string withoutBlanks(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if (c != ' ') {
            result += c;
        }
    }
    return result;
}

std::int32_t itemValue(const std::string& item, std::int32_t lower, std::int32_t n, std::int32_t carry) {
    if (!contains(item, "%%")) {
        return wrapped(std::int64_t{carry} + decimalOrZero(item));
    }
    if (!contains(item, "+")) {
        return wrapped(std::int64_t{lower} + n);
    }
    const std::vector<std::string> sides = split(item, '+');
    return wrapped(std::int64_t{n} + decimalOrZero(contains(sides[0], "%%") ? sides[1] : sides[0]));
}

int rewriteIndexList(const Symbol& symbol, const std::string& indexList, std::int32_t n, std::string* rewritten) {
    const std::vector<std::string> items = split(withoutBlanks(indexList), ',');
    std::int32_t carry = 0;
    std::string output;
    for (int i = static_cast<int>(items.size()) - 1; i >= 0; --i) {
        const std::int64_t fromLast = static_cast<std::int64_t>(items.size()) - 1 - i;
        const std::int64_t lowerAt = 2 * std::int64_t{symbol.dimensions} - 1 - 2 * fromLast;
        if (lowerAt < 1 || lowerAt + 1 >= static_cast<std::int64_t>(symbol.arrayBounds.size())) {
            throw LeftOpen();
        }
        const std::int32_t lower = symbol.arrayBounds[static_cast<std::size_t>(lowerAt)];
        const std::int32_t upper = symbol.arrayBounds[static_cast<std::size_t>(lowerAt) + 1];
        const std::int32_t value = itemValue(items[static_cast<std::size_t>(i)], lower, n, carry);
        if (value < upper) {
            output = "," + std::to_string(value) + output;
            carry = 0;
            continue;
        }
        const std::int64_t span = std::int64_t{value} - lower;
        const std::int64_t extent = std::int64_t{upper} - lower;
        if (extent == 0 || span != wrapped(span) || extent != wrapped(extent)) {
            throw LeftOpen();
        }
        if (i == 0) {
            return 1;
        }
        carry = wrapped(span / extent);
        output = "," + std::to_string(wrapped(span % extent + lower)) + output;
    }
    output[0] = '[';
    *rewritten = output + "]";
    return 0;
}

}  // namespace

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == separator) {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

bool parseNumber(const std::string& text, int base, std::int32_t* number) {
    *number = 0;
    std::string rest = trimmed(text);
    bool negative = false;
    if (!rest.empty() && (rest[0] == '+' || rest[0] == '-')) {
        negative = rest[0] == '-';
        rest.erase(0, 1);
    }
    const bool hexadecimal = rest.size() > 2 && rest[0] == '0' && (rest[1] == 'x' || rest[1] == 'X');
    if ((base == 0 || base == 16) && hexadecimal) {
        rest.erase(0, 2);
        base = 16;
    } else if (base == 0) {
        base = !rest.empty() && rest[0] == '0' ? 8 : 10;
    }
    if (rest.empty()) {
        return false;
    }
    std::int64_t value = 0;
    for (const char c : rest) {
        const int digit = digitValue(c);
        if (digit >= base) {
            return false;
        }
        value = value * base + digit;
        if (value > std::int64_t{1} << 40) {
            value = std::int64_t{1} << 40;  // too large already
        }
    }
    value = negative ? -value : value;
    if (value < INT32_MIN || value > INT32_MAX) {
        return false;
    }
    *number = static_cast<std::int32_t>(value);
    return true;
}

std::int32_t decimalOrZero(const std::string& text) {
    std::int32_t number = 0;
    parseNumber(text, 10, &number);
    return number;
}

int elementSize(int typeCode) {
    switch (typeCode) {
        case 1:
        case 2:
        case 13:
        case 14:
        case 15:
            return 1;
        case 3:
        case 4:
        case 16:
            return 2;
        case 5:
        case 6:
        case 7:
        case 17:
            return 4;
        case 8:
        case 9:
        case 18:
        case 21:
            return 8;
        case 10:
        case 11:
            return 81;
        default:
            return 0;
    }
}

int arrayPosition(const std::string& indexList, std::int32_t dimensions, const std::vector<std::int32_t>& bounds,
                  std::uint32_t* index, std::uint32_t* end) {
    const std::vector<std::string> texts = split(indexList, ',');
    if (dimensions < 1 || static_cast<std::int64_t>(texts.size()) != dimensions) {
        return 1;
    }
    if (static_cast<std::int64_t>(bounds.size()) < 2 * std::int64_t{dimensions} + 1) {
        return 3;
    }
    std::vector<std::int32_t> positions;
    std::vector<std::int32_t> extents;
    for (std::size_t d = 0; d < texts.size(); ++d) {
        std::int32_t number = 0;
        if (!parseNumber(texts[d], bounds[0], &number)) {
            return 3;
        }
        const std::int64_t position = std::int64_t{number} - bounds[2 * d + 1];
        if (position < 0) {
            return 3;
        }
        positions.push_back(wrapped(position));
        extents.push_back(wrapped(std::int64_t{bounds[2 * d + 2]} - bounds[2 * d + 1]));
    }
    std::int32_t linear = 0;
    for (std::size_t d = 0; d < positions.size(); ++d) {
        std::int32_t product = positions[d];
        for (std::size_t j = d + 1; j < extents.size(); ++j) {
            product = wrapped(std::int64_t{product} * extents[j]);
        }
        linear = wrapped(std::int64_t{linear} + product);
    }
    *index = static_cast<std::uint32_t>(linear);
    *end = static_cast<std::uint32_t>(wrapped(std::int64_t{linear} + extents.back()));
    return 0;
}

int resolveComponent(const Symbol& symbol, const std::vector<std::string>& parts, int k, Place* place) {
    if (k >= static_cast<int>(parts.size())) {
        return 1;
    }
    std::string component = parts[static_cast<std::size_t>(k)];
    std::string indexList;
    int result = splitIndex(&component, &indexList);
    std::uint32_t index = 0;
    std::uint32_t end = 0;
    if (hasFlag(symbol, kArray)) {
        result = arrayPosition(indexList, symbol.dimensions, symbol.arrayBounds, &index, &end);
        if (result != 0) {
            return result;
        }
    }
    if (hasFlag(symbol, kStructure)) {
        const Symbol* member = findMember(symbol, component);
        if (member == nullptr) {
            return 7;
        }
        place->address = wrapped(std::int64_t{place->address} + member->offset);
        return resolveComponent(*member, parts, k, place);
    }
    const int code = symbol.type & 0xFF;
    if (code == 0 || code == 19 || code == 20 || code > 21) {
        return result;
    }
    const auto signedIndex = static_cast<std::int32_t>(index);
    if (code == 12) {
        const Symbol& structure = onlyElement(symbol);
        const std::int32_t distance = wrapped(std::int64_t{structure.offset} * signedIndex);
        place->address = wrapped(std::int64_t{place->address} + distance);
        return resolveComponent(structure, parts, k + 1, place);
    }
    place->dataType = code;
    if (hasBitNumbers(code)) {
        readBitNumber(symbol, parts, k, place);
    }
    if (hasFlag(symbol, kArray)) {
        place->arrayIndex = signedIndex;
        place->isArray = 1;
        place->arrayReserved = 0;
        place->arrayCount = static_cast<std::int32_t>(end - index);
        const std::int32_t distance = wrapped(std::int64_t{elementSize(code)} * signedIndex);
        place->address = wrapped(std::int64_t{place->address} + distance);
    }
    return result;
}

int rewriteComponent(const Symbol& symbol, std::vector<std::string>* parts, int k, std::int32_t n) {
    if (k >= static_cast<int>(parts->size())) {
        return 1;
    }
    std::string component = (*parts)[static_cast<std::size_t>(k)];
    std::string indexList;
    const int suffix = splitIndex(&component, &indexList);
    if (hasFlag(symbol, kArray) && contains(indexList, "%%")) {
        std::string rewritten;
        const int result = rewriteIndexList(symbol, indexList, n, &rewritten);
        if (result == 0) {
            (*parts)[static_cast<std::size_t>(k)] = component + rewritten;
        }
        return result;
    }
    if (hasFlag(symbol, kStructure)) {
        const Symbol* member = findMember(symbol, component);
        return member == nullptr ? 7 : rewriteComponent(*member, parts, k, n);
    }
    if ((symbol.type & 0xFF) == 12) {
        return rewriteComponent(onlyElement(symbol), parts, k + 1, n);
    }
    if (hasFlag(symbol, kBitAddressable) && k == static_cast<int>(parts->size()) - 2) {
        return rewriteComponent(onlyElement(symbol), parts, k + 1, n);
    }
    return suffix;
}

void SymbolTable::load(const std::vector<Symbol>& symbols) {
    for (const Symbol& symbol : symbols) {
        scopes_[symbol.name] = symbol;
    }
}

void SymbolTable::remove(const std::string& scope) {
    scopes_.erase(scope);
}

int SymbolTable::findVariable(const std::string& tag, const Symbol** variable) const {
    if (tag.empty()) {
        return 6;
    }
    const std::vector<std::string> parts = split(tag, '.');
    if (parts.size() < 2) {
        return 11;
    }
    std::string ignored;
    std::string scopeName = parts[0];
    splitIndex(&scopeName, &ignored);
    const auto scope = scopes_.find(scopeName);
    if (scope == scopes_.end()) {
        return 2;
    }
    if (scope->second.elementType.empty()) {
        return 10;
    }
    std::string variableName = parts[1];
    splitIndex(&variableName, &ignored);
    const Symbol* found = findMember(scope->second.elementType[0], variableName);
    if (found == nullptr) {
        return 1;
    }
    if (found->areaList.empty()) {
        return 12;
    }
    *variable = found;
    return 0;
}

int SymbolTable::resolve(const std::string& tag, Place* place) const {
    const Symbol* variable = nullptr;
    const int result = findVariable(tag, &variable);
    if (result != 0) {
        return result;
    }
    place->area = variable->areaList[0];
    place->address = variable->offset;
    return resolveComponent(*variable, split(tag, '.'), 1, place);
}

int SymbolTable::rewrite(std::string* tag, std::int32_t n) const {
    const Symbol* variable = nullptr;
    int result = findVariable(*tag, &variable);
    if (result != 0) {
        return result;
    }
    std::vector<std::string> parts = split(*tag, '.');
    result = rewriteComponent(*variable, &parts, 1, n);
    if (result != 0) {
        return result;
    }
    std::string joined;
    for (const std::string& part : parts) {
        joined += part + ".";
    }
    joined.pop_back();
    *tag = joined;
    return 0;
}

}  // namespace reference
