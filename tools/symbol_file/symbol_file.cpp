#include "tools/symbol_file/symbol_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <utility>

#include "tools/symbol_file/declarations.h"
#include "tools/symbol_file/guard_section.h"
#include "tools/symbol_file/json_document.h"
#include "tools/symbol_file/json_reader.h"
#include "tools/symbol_file/layout.h"
#include "tools/symbol_file/limits.h"
#include "tools/symbol_file/simulation_section.h"
#include "tools/symbol_file/structure_types.h"
#include "tools/symbol_file/symbol_document.h"
#include "tools/text/file_text.h"

namespace ac500::symbol_file {
namespace {

constexpr const char* kFormat = "ac500-symbols";

// Reads a document part by part: what a later part refers to stands in an earlier one.
class SymbolFileReader {
public:
    explicit SymbolFileReader(const JsonValue& document)
        : root_({&document, ""},
                {"$schema", "format", "version", "description", "areas", "types", "scopes", "guard", "simulation"},
                &problems_) {}

    LoadedSymbolFile read() {
        if (root_.isObject()) {
            readParts();
        }
        return {std::move(file_), problems_.inLineOrder()};
    }

private:
    void readParts() {
        readHead();
        const std::size_t before = problems_.count();
        readAreas();
        areasKnown_ = root_.find("areas") && problems_.count() == before;
        const StructureTypes types(root_.find("types"), !root_.isMisspelt("types"), &problems_);
        file_.types = types.all();
        readScopes(types);
        const TagLookup lookup = problems_.count() == 0 ? TagLookup::Possible : TagLookup::Impossible;
        readGuard(root_.find("guard"), lookup, &file_, &problems_);
        readSimulation(root_.find("simulation"), lookup, &file_, &problems_);
    }

    void readHead() {
        readText(root_.find("$schema"), &problems_);
        const auto format = root_.require("format", std::string("write \"format\": \"") + kFormat + "\"");
        const auto name = readText(format, &problems_);
        if (name && *name != kFormat) {
            problems_.add(*format, "is " + inQuotes(*name) + "; write \"" + kFormat + "\"");
        }
        readInteger(root_.require("version", "write \"version\": 1"), {1, 1}, &problems_);
        file_.description = readText(root_.find("description"), &problems_).value_or("");
    }

    void readAreas() {
        std::int64_t total = 0;
        for (const JsonNode& node : readArray(root_.require("areas", "list the memory areas of the PLC"), &problems_)) {
            const Area area = readArea(node);
            const bool inLimit = total <= kMaxTotalAreaBytes;
            total += area.sizeBytes;
            if (inLimit && total > kMaxTotalAreaBytes) {
                problems_.add(node, "with this area all areas together exceed " + std::to_string(kMaxTotalAreaBytes) +
                                        " bytes; make some of them smaller");
            }
            file_.areas.push_back(area);
        }
    }

    Area readArea(const JsonNode& node) {
        const ObjectReader object(node, {"number", "name", "bytes"}, &problems_);
        const auto numberNode = object.require("number", "give the number that variables refer to");
        const auto number = readInteger(numberNode, {0, kMaxAreaNumber}, &problems_);
        Area area;
        area.line = node.line();
        area.name = readText(object.find("name"), &problems_).value_or("");
        const auto bytes =
            readInteger(object.require("bytes", "give the size of the area"), {1, kMaxAreaBytes}, &problems_);
        area.sizeBytes = static_cast<std::uint32_t>(bytes.value_or(0));
        if (number) {
            area.number = static_cast<int>(*number);
            areaNumbers_.add(std::to_string(*number), *numberNode, &problems_);
            areaBytes_.emplace(area.number, area.sizeBytes);
        }
        return area;
    }

    void readScopes(const StructureTypes& types) {
        UniqueNames names;
        for (const JsonNode& node :
             readArray(root_.require("scopes", "list the scopes with their variables"), &problems_)) {
            const ObjectReader object(node, {"name", "variables"}, &problems_);
            Scope scope;
            scope.line = node.line();
            const auto nameNode = object.require("name", "name the scope, for example \"Main\"");
            scope.name = readName(nameNode, &problems_).value_or("");
            if (nameNode) {
                names.add(scope.name, *nameNode, &problems_);
            }
            scope.variables = readVariables(object.require("variables", "list the variables of the scope"), types);
            file_.scopes.push_back(std::move(scope));
        }
    }

    std::vector<Variable> readVariables(const std::optional<JsonNode>& list, const StructureTypes& types) {
        std::vector<Variable> variables;
        for (Declaration& declaration : readDeclarations(list, DeclaredIn::Scope, &problems_)) {
            if (types.link(&declaration, &problems_)) {
                checkFits(declaration);
                countLeaves(declaration, types);
            }
            variables.push_back(std::move(declaration.variable));
        }
        return variables;
    }

    void checkFits(const Declaration& declaration) {
        const Variable& variable = declaration.variable;
        const auto area = areaBytes_.find(variable.area);
        const std::string number = std::to_string(variable.area);
        if (area == areaBytes_.end()) {
            if (areasKnown_) {
                problems_.add(declaration.area, "there is no area " + number + "; add it to \"areas\" or correct this");
            }
        } else if (area->second != 0 && endByte(variable) > area->second) {
            problems_.add(declaration.place, "the variable ends at byte " + std::to_string(endByte(variable)) +
                                                 ", outside the " + std::to_string(area->second) + " bytes of area " +
                                                 number + "; correct the place or the area's \"bytes\"");
        }
    }

    void countLeaves(const Declaration& declaration, const StructureTypes& types) {
        const bool inLimit = leaves_ <= kMaxLeaves;
        leaves_ += types.countLeaves(declaration.variable);
        if (inLimit && leaves_ > kMaxLeaves) {
            problems_.add(declaration.node, "with this variable the file describes more than " +
                                                std::to_string(kMaxLeaves) +
                                                " readable values, structures counted member by member; make arrays of "
                                                "structures smaller");
        }
    }

    ProblemList problems_;  // before root_, which reports to it
    ObjectReader root_;
    SymbolFile file_;
    UniqueNames areaNumbers_;
    std::map<int, std::uint32_t> areaBytes_;  // 0: not known
    bool areasKnown_ = false;                 // else an absent area is but a consequence
    std::int64_t leaves_ = 0;
};

LoadedSymbolFile unreadable(const std::string& what) {
    LoadedSymbolFile loaded;
    loaded.problems.push_back({0, 0, "", what});
    return loaded;
}

// With its mark, or with the zeros that every document has around its first character.
bool isUtf16(const std::string& text) {
    const std::string begin = text.substr(0, 2);
    return begin == "\xFF\xFE" || begin == "\xFE\xFF" ||
           (begin.size() == 2 && (begin[0] == '\0') != (begin[1] == '\0'));
}

bool holdsNothing(const std::string& text) {
    return text.find_first_not_of(" \t\r\n", byteOrderMarkBytes(text)) == std::string::npos;
}

}  // namespace

std::string describe(const std::string& fileName, const Problem& problem) {
    std::string text = fileName + ":";
    if (problem.line > 0) {
        text += std::to_string(problem.line) + ":" + std::to_string(problem.column) + ":";
    }
    if (!problem.where.empty()) {
        text += " " + problem.where + ":";
    }
    return text + " " + problem.what;
}

LoadedSymbolFile loadSymbolFile(const std::string& fileName) {
    std::string content;
    if (!text::readUpTo(fileName, kMaxFileBytes + 1, &content)) {
        return unreadable(std::string("cannot be read: ") + std::strerror(errno) +
                          "; check the path and its permissions");
    }
    if (content.size() > kMaxFileBytes) {
        return unreadable("is larger than 64 MiB; this is no symbol file, or it has to be split");
    }
    return parseSymbolFile(content);
}

LoadedSymbolFile parseSymbolFile(const std::string& text) {
    if (isUtf16(text)) {
        return unreadable("is UTF-16; save it as UTF-8");
    }
    if (holdsNothing(text)) {
        return unreadable("is empty; give the path of a symbol file");
    }
    ParsedJson parsed = parseJson(text);
    if (!parsed.problems.empty()) {
        return {SymbolFile(), std::move(parsed.problems)};
    }
    return readSymbolDocument(parsed.root);
}

LoadedSymbolFile readSymbolDocument(const JsonValue& document) {
    return SymbolFileReader(document).read();
}

}  // namespace ac500::symbol_file
