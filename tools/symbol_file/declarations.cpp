#include "tools/symbol_file/declarations.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <utility>

#include "tools/symbol_file/layout.h"
#include "tools/symbol_file/limits.h"
#include "tools/symbol_file/value_notes_reader.h"

namespace ac500::symbol_file {

namespace {

struct StringType {
    TypeCode code;
    int characters;  // 0: not a number, or far too many
};

// "STRING(20)"; nothing for another text.
std::optional<StringType> parseStringType(const std::string& text) {
    const std::size_t bracket = text.find('(');
    const TypeTraits* traits = bracket == std::string::npos ? nullptr : typeTraits(text.substr(0, bracket));
    if (!traits || traits->kind != TypeKind::Text || text.back() != ')') {
        return std::nullopt;
    }
    const char* const begin = text.data() + bracket + 1;
    const char* const end = text.data() + text.size() - 1;
    int characters = 0;
    const std::from_chars_result result = std::from_chars(begin, end, characters);
    const bool isNumber = result.ec == std::errc() && result.ptr == end && *begin != '0';
    return StringType{traits->code, isNumber ? characters : 0};
}

// Reads one declaration, key by key. A key that is absent or wrong leaves the declaration incomplete.
class DeclarationReader {
public:
    DeclarationReader(const JsonNode& node, DeclaredIn where, ProblemList* problems)
        : object_(node, keys(where), problems), where_(where), problems_(problems) {
        declaration_.node = node;
        declaration_.variable.line = node.line();
    }

    Declaration read() {
        const bool named = takeName();
        const bool typed = takeType();
        const bool placed = typed && takePlace();
        const bool inArea = where_ == DeclaredIn::Structure || takeArea();
        const bool shaped = takeDimensions();
        takeBits(typed);
        takeNotes(typed);
        declaration_.variable.comment = readText(object_.find("comment"), problems_).value_or("");
        declaration_.complete = named && typed && placed && inArea && shaped;
        return std::move(declaration_);
    }

private:
    static std::vector<std::string> keys(DeclaredIn where) {
        std::vector<std::string> keys = {"name", "type",    "offset",   "array",
                                         "bits", "comment", "readOnly", "onlyWriter"};
        if (where == DeclaredIn::Scope) {
            keys = {"name", "type", "area", "offset", "bit", "array", "bits", "comment", "readOnly", "onlyWriter"};
        }
        keys.insert(keys.end(), valueNoteKeys().begin(), valueNoteKeys().end());
        return keys;
    }

    bool takeName() {
        const auto name = readName(object_.require("name", "name the variable"), problems_);
        declaration_.variable.name = name.value_or("");
        return name.has_value();
    }

    bool takeType() {
        const char* const remedy = "give a type, for example \"INT\"";
        const auto node = object_.require("type", remedy);
        const auto name = readText(node, problems_);
        if (!name) {
            return false;
        }
        if (name->empty()) {
            problems_->add(*node, std::string("is empty; ") + remedy);
            return false;
        }
        declaration_.type = *node;
        const std::optional<StringType> string = parseStringType(*name);
        if (string) {
            return takeString(*string, *node);
        }
        const TypeTraits* traits = typeTraits(*name);
        declaration_.variable.code = traits ? traits->code : TypeCode::Struct;
        if (!traits) {
            declaration_.structureName = *name;
        }
        return traits ? allowed(*traits, *node) : true;
    }

    bool takeString(const StringType& string, const JsonNode& node) {
        declaration_.variable.code = string.code;
        declaration_.variable.stringCharacters = string.characters;
        if (string.characters >= 1 && string.characters <= kMostStringCharacters) {
            return true;
        }
        problems_->add(node, inQuotes(node.value->text) + " has no possible length; a string has 1 to " +
                                 std::to_string(kMostStringCharacters) + " characters, as in STRING(20)");
        return false;
    }

    bool allowed(const TypeTraits& traits, const JsonNode& node) {
        if (traits.code == TypeCode::Struct) {
            problems_->add(node, "\"STRUCT\" says too little; give the name that the structure has under \"types\"");
            return false;
        }
        if (traits.code == TypeCode::Bit && where_ == DeclaredIn::Structure) {
            problems_->add(node, "a structure cannot hold a BIT; use BOOL, or a WORD with \"bits\": true");
            return false;
        }
        return true;
    }

    bool takePlace() {
        const bool bit = declaration_.variable.code == TypeCode::Bit;
        if (where_ == DeclaredIn::Scope && !checkOtherPlace(bit)) {
            return false;
        }
        const auto node = bit ? object_.require("bit", "give the number of the bit, counted from the start of its area")
                              : object_.require("offset", "give the byte where the variable begins");
        const auto place = readInteger(node, {0, kMaxAddress}, problems_);
        if (!place) {
            return false;
        }
        declaration_.place = *node;
        declaration_.variable.offset = static_cast<int>(*place);
        return true;
    }

    bool checkOtherPlace(bool bit) {
        const auto other = object_.find(bit ? "offset" : "bit");
        if (other) {
            problems_->add(*other,
                           bit ? "a BIT is placed by \"bit\", counted from the start of its area; replace \"offset\""
                               : "only a BIT is placed by \"bit\"; give \"offset\" in bytes");
        }
        return !other;
    }

    bool takeArea() {
        const auto node = object_.require("area", "give the number of an area listed under \"areas\"");
        const auto area = readInteger(node, {0, kMaxAreaNumber}, problems_);
        if (!area) {
            return false;
        }
        declaration_.area = *node;
        declaration_.variable.area = static_cast<int>(*area);
        return true;
    }

    bool takeDimensions() {
        const auto node = object_.find("array");
        if (!node) {
            return true;
        }
        const std::vector<JsonNode> items = readArray(node, problems_);
        if (items.empty() || items.size() > kMaxDimensions) {
            problems_->add(*node, "has " + std::to_string(items.size()) +
                                      " dimensions; give 1 to 3 of them, each as [lower, upper]");
            return false;
        }
        const bool good = std::count_if(items.begin(), items.end(), [this](const JsonNode& item) {
                              return takeDimension(item);
                          }) == static_cast<std::ptrdiff_t>(items.size());
        return good && checkElementCount(*node);
    }

    bool takeDimension(const JsonNode& node) {
        const std::vector<JsonNode> bounds = readArray(node, problems_);
        if (node.value->kind == JsonValue::Kind::Array && bounds.size() != 2) {
            problems_->add(node, "is not a pair; write [lower, upper], both belonging to the array");
        }
        if (bounds.size() != 2) {
            return false;
        }
        const IntegerRange range = {-kMaxArrayBound, kMaxArrayBound};
        const auto lower = readInteger(bounds[0], range, problems_);
        const auto upper = readInteger(bounds[1], range, problems_);
        if (!lower || !upper) {
            return false;
        }
        if (*upper < *lower) {
            problems_->add(node, "the upper bound " + std::to_string(*upper) + " lies below the lower bound " +
                                     std::to_string(*lower) + "; write [lower, upper], both belonging to the array");
            return false;
        }
        declaration_.variable.dimensions.push_back({static_cast<int>(*lower), static_cast<int>(*upper)});
        return true;
    }

    // Dimension by dimension, so that the product stays far from overflow.
    bool checkElementCount(const JsonNode& node) {
        std::int64_t count = 1;
        for (const ArrayDimension& dimension : declaration_.variable.dimensions) {
            count *= dimension.count();
            if (count > kMaxArrayElements) {
                problems_->add(node, "an array has at most " + std::to_string(kMaxArrayElements) +
                                         " elements; correct the bounds");
                return false;
            }
        }
        return true;
    }

    void takeBits(bool typed) {
        const auto node = object_.find("bits");
        declaration_.variable.bitAddressable = readBoolean(node, problems_).value_or(false);
        if (!declaration_.variable.bitAddressable || !typed) {
            return;
        }
        const TypeTraits* traits = typeTraits(declaration_.variable.code);
        const std::string type = declaration_.structureName.empty() ? traits->name : "a structure";
        if (!traits->bitAddressable) {
            problems_->add(*node, "the bits of " + type + " cannot be named; remove \"bits\" or use an integer type");
        } else if (object_.find("array")) {
            problems_->add(*node, "the bits of array elements cannot be named; remove \"bits\"");
        }
    }

    void takeNotes(bool typed) {
        declaration_.variable.isReadOnly = readBoolean(object_.find("readOnly"), problems_).value_or(false);
        const auto onlyWriter = object_.find("onlyWriter");
        declaration_.variable.isOnlyWrittenHere = readBoolean(onlyWriter, problems_).value_or(false);
        if (declaration_.variable.isReadOnly && declaration_.variable.isOnlyWrittenHere) {
            problems_->add(*onlyWriter, "the host does not write what is \"readOnly\"; remove one of them");
        }
        if (typed) {
            declaration_.variable.notes = readValueNotes(object_, declaration_.variable.code, problems_);
        }
    }

    ObjectReader object_;
    DeclaredIn where_;
    ProblemList* problems_;
    Declaration declaration_;
};

}  // namespace

std::vector<Declaration> readDeclarations(const std::optional<JsonNode>& list, DeclaredIn where,
                                          ProblemList* problems) {
    std::vector<Declaration> declarations;
    UniqueNames names;
    for (const JsonNode& node : readArray(list, problems)) {
        declarations.push_back(DeclarationReader(node, where, problems).read());
        names.add(declarations.back().variable.name, node, problems);
    }
    return declarations;
}

void UniqueNames::add(const std::string& name, const JsonNode& node, ProblemList* problems) {
    if (name.empty()) {
        return;
    }
    const auto inserted = lines_.emplace(name, node.line());
    if (!inserted.second) {
        problems->add(node, inQuotes(name) + " is declared in line " + std::to_string(inserted.first->second) +
                                " already; change or remove one of them");
    }
}

bool isName(const std::string& text) {
    const auto allowed = [](unsigned char c) { return c < 0x80 && (std::isalnum(c) || c == '_'); };
    return !text.empty() && !std::isdigit(static_cast<unsigned char>(text[0])) &&
           std::all_of(text.begin(), text.end(), allowed);
}

std::optional<std::string> readName(const std::optional<JsonNode>& node, ProblemList* problems) {
    auto text = readText(node, problems);
    if (!text || isName(*text)) {
        return text;
    }
    problems->add(*node, inQuotes(*text) + " is no name; " + kNameRule);
    return std::nullopt;
}

}  // namespace ac500::symbol_file
