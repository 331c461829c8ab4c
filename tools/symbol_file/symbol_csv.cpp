#include "tools/symbol_file/symbol_csv.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "tools/symbol_file/json_reader.h"
#include "tools/symbol_file/limits.h"
#include "tools/symbol_file/symbol_document.h"
#include "tools/text/csv.h"
#include "tools/text/text.h"

namespace ac500::symbol_file {
namespace {

// ---------------------------------------------------------------------------------------------------------------------
// The table
// ---------------------------------------------------------------------------------------------------------------------

const std::vector<std::string>& columnNames() {
    static const std::vector<std::string> names = {
        "kind",  "name",     "type",       "area", "offset",      "bit",         "bytes", "array",
        "bits",  "readOnly", "onlyWriter", "unit", "scaleFactor", "scaleOffset", "min",   "max",
        "names", "comment",  "signal",     "step", "periodMs",    "source",      "value"};
    return names;
}

// How a cell says a value of JSON.
enum class CellForm {
    Text,
    Number,
    Truth,
    NumberOrText,
    NumberOrTruth,
    Scalar,      // of any kind
    Bounds,      // "0..3,1..6"
    ValueNames,  // "0=off;1=on"
};

struct CellRule {
    const char* column;
    const char* key;
    CellForm form;
};

enum class RowKind { File, Area, Type, Member, Scope, Variable, Guard, Signal, Initial };

struct KindRules {
    RowKind kind;
    const char* name;
    std::vector<CellRule> cells;  // beside kind and name, and the two columns of a scale
    bool isScaled;
};

const std::vector<KindRules>& kindRules() {
    const std::vector<CellRule> declared = {
        {"type", "type", CellForm::Text},          {"area", "area", CellForm::Number},
        {"offset", "offset", CellForm::Number},    {"bit", "bit", CellForm::Number},
        {"array", "array", CellForm::Bounds},      {"bits", "bits", CellForm::Truth},
        {"readOnly", "readOnly", CellForm::Truth}, {"onlyWriter", "onlyWriter", CellForm::Truth},
        {"unit", "unit", CellForm::Text},          {"min", "min", CellForm::NumberOrText},
        {"max", "max", CellForm::NumberOrText},    {"names", "names", CellForm::ValueNames},
        {"comment", "comment", CellForm::Text}};
    static const std::vector<KindRules> rules = {
        {RowKind::File,
         "file",
         {{"comment", "description", CellForm::Text}, {"value", "$schema", CellForm::Text}},
         false},
        {RowKind::Area, "area", {{"area", "number", CellForm::Number}, {"bytes", "bytes", CellForm::Number}}, false},
        {RowKind::Type, "type", {{"bytes", "size", CellForm::Number}}, false},
        {RowKind::Member, "member", declared, true},
        {RowKind::Scope, "scope", {}, false},
        {RowKind::Variable, "variable", declared, true},
        {RowKind::Guard, "guard", {{"value", "value", CellForm::NumberOrText}}, false},
        {RowKind::Signal,
         "signal",
         {{"signal", "signal", CellForm::Text},
          {"min", "min", CellForm::Number},
          {"max", "max", CellForm::Number},
          {"step", "step", CellForm::Number},
          {"periodMs", "periodMs", CellForm::Number},
          {"source", "source", CellForm::Text},
          {"value", "value", CellForm::NumberOrTruth}},
         false},
        {RowKind::Initial, "initial", {{"value", "value", CellForm::Scalar}}, false},
    };
    return rules;
}

const KindRules& rulesOf(RowKind kind) {
    return *std::find_if(kindRules().begin(), kindRules().end(),
                         [kind](const KindRules& rules) { return rules.kind == kind; });
}

JsonValue textValue(std::string text, TextPosition position) {
    JsonValue value;
    value.kind = JsonValue::Kind::String;
    value.text = std::move(text);
    value.position = position;
    return value;
}

JsonValue emptyContainer(JsonValue::Kind kind, TextPosition position) {
    JsonValue value;
    value.kind = kind;
    value.position = position;
    return value;
}

bool isNumber(const JsonValue& value) {
    return value.kind == JsonValue::Kind::Integer || value.kind == JsonValue::Kind::Decimal;
}

JsonValue& addMember(JsonValue* object, const std::string& key, JsonValue value) {
    object->members.push_back({key, value.position, std::move(value)});
    return object->members.back().value;
}

const JsonValue* memberOf(const JsonValue& object, const std::string& key) {
    for (const JsonMember& member : object.members) {
        if (member.key == key) {
            return &member.value;
        }
    }
    return nullptr;
}

// "Main.counter" as "Main" and "counter".
std::pair<std::string, std::string> splitName(const std::string& name) {
    const std::size_t dot = name.find('.');
    return dot == std::string::npos ? std::make_pair(name, std::string())
                                    : std::make_pair(name.substr(0, dot), name.substr(dot + 1));
}

// ---------------------------------------------------------------------------------------------------------------------
// From a document
// ---------------------------------------------------------------------------------------------------------------------

// A spreadsheet would take what begins so for a formula, so an apostrophe goes before it; and one that stands there already
// is doubled, so that it can be told from ours. A single one is the text without characters.
std::string guarded(const std::string& text) {
    return text.empty() || text[0] == '\'' ? text::csvCell("'" + text) : text::csvText(text);
}

std::string escapedName(const std::string& name) {
    std::string escaped;
    for (const char c : name) {
        escaped += c == ';' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    }
    return escaped;
}

std::string boundsCell(const JsonValue& dimensions) {
    std::string cell;
    for (const JsonValue& pair : dimensions.items) {
        cell += (cell.empty() ? "" : ",") + pair.items[0].text + ".." + pair.items[1].text;
    }
    return guarded(cell);
}

std::string valueNamesCell(const JsonValue& names) {
    std::string cell;
    for (const JsonMember& member : names.members) {
        cell += (cell.empty() ? "" : ";") + member.key + "=" + escapedName(member.value.text);
    }
    return guarded(cell);
}

// The number that a cell says; nothing when it says none.
std::optional<JsonValue> numberIn(const std::string& cell) {
    if (cell.find_first_not_of("+-.0123456789eE") != std::string::npos) {
        return std::nullopt;
    }
    ParsedJson parsed = parseJson(cell);
    return parsed.problems.empty() && isNumber(parsed.root) ? std::optional<JsonValue>(parsed.root) : std::nullopt;
}

// Where a cell may be a text, too, only the spelling that is written counts: "true" is a text there.
bool isTruthWord(const std::string& cell, CellForm form) {
    if (form == CellForm::Scalar) {
        return cell == "TRUE" || cell == "FALSE";
    }
    const std::string lower = text::lowerCase(cell);
    return lower == "true" || lower == "false";
}

bool mayBeNumber(CellForm form) {
    return form == CellForm::Number || form == CellForm::NumberOrText || form == CellForm::NumberOrTruth ||
           form == CellForm::Scalar;
}

bool mayBeTruth(CellForm form) {
    return form == CellForm::Truth || form == CellForm::NumberOrTruth || form == CellForm::Scalar;
}

// Would the cell be taken for something else than this text?
bool looksOtherwise(const std::string& text, CellForm form) {
    return (mayBeNumber(form) && numberIn(text)) || (mayBeTruth(form) && isTruthWord(text, form));
}

std::string cellOf(const JsonValue& value, CellForm form) {
    if (form == CellForm::Bounds) {
        return boundsCell(value);
    }
    if (form == CellForm::ValueNames) {
        return valueNamesCell(value);
    }
    if (value.kind == JsonValue::Kind::Boolean) {
        return form == CellForm::Scalar ? (value.boolean ? "TRUE" : "FALSE") : value.boolean ? "true" : "false";
    }
    if (value.kind == JsonValue::Kind::String && looksOtherwise(value.text, form)) {
        return "'" + value.text;
    }
    // What is absent, where a text without characters means the same.
    const bool isNothing = value.text.empty() && form == CellForm::Text;
    return isNumber(value) || isNothing ? value.text : guarded(value.text);
}

class CsvWriter {
public:
    CsvWriter() { addLine(columnNames()); }

    void add(RowKind kind, const std::string& name, const JsonValue& object) {
        const KindRules& rules = rulesOf(kind);
        std::vector<std::string> cells(columnNames().size());
        const auto cell = [&cells](const std::string& column) -> std::string& {
            const auto found = std::find(columnNames().begin(), columnNames().end(), column);
            return cells[static_cast<std::size_t>(found - columnNames().begin())];
        };
        cell("kind") = rules.name;
        cell("name") = name.empty() ? name : guarded(name);
        for (const CellRule& rule : rules.cells) {
            if (const JsonValue* value = memberOf(object, rule.key)) {
                cell(rule.column) = cellOf(*value, rule.form);
            }
        }
        const JsonValue* scale = rules.isScaled ? memberOf(object, "scale") : nullptr;
        if (scale != nullptr) {
            const JsonValue* factor = memberOf(*scale, "factor");
            const JsonValue* offset = memberOf(*scale, "offset");
            cell("scaleFactor") = factor == nullptr ? "" : factor->text;
            cell("scaleOffset") = offset == nullptr ? "" : offset->text;
        }
        addLine(cells);
    }

    std::string take() { return std::move(text_); }

private:
    void addLine(const std::vector<std::string>& cells) {
        for (std::size_t i = 0; i < cells.size(); ++i) {
            text_ += (i == 0 ? "" : ",") + cells[i];
        }
        text_ += "\r\n";
    }

    std::string text_;
};

std::string textOf(const JsonValue& object, const std::string& key) {
    const JsonValue* value = memberOf(object, key);
    return value == nullptr ? std::string() : value->text;
}

// ---------------------------------------------------------------------------------------------------------------------
// To a document
// ---------------------------------------------------------------------------------------------------------------------

bool continuesUtf8(unsigned char c) {
    return (c & 0xC0) == 0x80;
}

bool isUtf8(const std::string& text) {
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const std::size_t length = lead < 0x80   ? 1
                                   : lead < 0xC2 ? 0
                                   : lead < 0xE0 ? 2
                                   : lead < 0xF0 ? 3
                                   : lead < 0xF5 ? 4
                                                 : 0;
        if (length == 0 || i + length > text.size()) {
            return false;
        }
        const auto second = static_cast<unsigned char>(length > 1 ? text[i + 1] : 0);
        const bool isMisplaced = (lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
                                 (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F);
        for (std::size_t k = 1; k < length; ++k) {
            if (!continuesUtf8(static_cast<unsigned char>(text[i + k]))) {
                return false;
            }
        }
        if (isMisplaced) {
            return false;
        }
        i += length;
    }
    return true;
}

class CsvReader {
public:
    ImportedCsv read(const std::string& text) {
        const std::string content = text.substr(byteOrderMarkBytes(text));
        const text::ParsedCsv table = text::parseCsv(content, separatorOf(content));
        begin();
        if (table.errorLine != 0) {
            add(table.errorLine, "", table.error);
        } else if (table.rows.empty()) {
            add(0, "", "is empty; write a header row, with at least the columns name and type");
        } else if (readHeader(table.rows[0])) {
            for (std::size_t i = 1; i < table.rows.size(); ++i) {
                readRow(table.rows[i]);
            }
        }
        if (imported_.problems.empty()) {
            finish();
        }
        return std::move(imported_);
    }

private:
    // Spreadsheets of some countries write semicolons.
    static char separatorOf(const std::string& text) {
        const std::string header = text.substr(0, text.find('\n'));
        return header.find(',') == std::string::npos && header.find(';') != std::string::npos ? ';' : ',';
    }

    void add(int line, const std::string& column, const std::string& what) {
        imported_.problems.push_back({line, column, what});
    }

    void begin() {
        root_ = emptyContainer(JsonValue::Kind::Object, {1, 0});
        areas_ = emptyContainer(JsonValue::Kind::Array, {1, 0});
        signals_ = areas_;
        guards_ = areas_;
        initial_ = areas_;
    }

    bool readHeader(const text::CsvRow& header) {
        std::set<std::string> seen;
        for (const std::string& cell : header.cells) {
            const auto known = std::find_if(columnNames().begin(), columnNames().end(), [&](const std::string& name) {
                return text::lowerCase(name) == text::lowerCase(cell);
            });
            if (known == columnNames().end()) {
                add(header.line, "",
                    "unknown column " + inQuotes(cell) +
                        suggestion(cell, columnNames(), "docs/symbol-file.md lists the columns"));
            } else if (!seen.insert(*known).second) {
                add(header.line, *known, "is there twice; remove one");
            }
            columns_.push_back(known == columnNames().end() ? std::string() : *known);
        }
        if (imported_.problems.empty() && seen.count("name") == 0) {
            add(header.line, "", "there is no column name; the first row names the columns");
        }
        return imported_.problems.empty();
    }

    // What a row says, by column; without empty cells.
    struct Row {
        int line = 0;
        std::map<std::string, std::string> cells;  // without the apostrophe in front
        std::set<std::string> texts;               // the columns of cells that had one

        bool has(const std::string& column) const { return cells.count(column) > 0; }
        std::string at(const std::string& column) const { return has(column) ? cells.at(column) : std::string(); }
    };

    TextPosition positionOf(const Row& row, const std::string& column) const {
        const auto found = std::find(columns_.begin(), columns_.end(), column);
        return {row.line, found == columns_.end() ? 0 : static_cast<int>(found - columns_.begin()) + 1};
    }

    void readRow(const text::CsvRow& source) {
        if (source.cells.size() > columns_.size()) {
            add(source.line, "",
                "has " + std::to_string(source.cells.size()) + " cells, the header only " +
                    std::to_string(columns_.size()) + "; put a cell that holds a comma in quotes");
            return;
        }
        Row row{source.line, {}, {}};
        for (std::size_t i = 0; i < source.cells.size(); ++i) {
            const std::string& cell = source.cells[i];
            if (!isUtf8(cell)) {
                add(source.line, columns_[i], "is no UTF-8; save the table as UTF-8");
                return;
            }
            const bool isMarked = !cell.empty() && cell[0] == '\'';
            if (!cell.empty()) {
                row.cells[columns_[i]] = isMarked ? cell.substr(1) : cell;
            }
            if (isMarked) {
                row.texts.insert(columns_[i]);
            }
        }
        if (!row.cells.empty()) {
            readCells(row);
        }
    }

    void readCells(const Row& row) {
        const std::string kindName = row.has("kind") ? row.at("kind") : "variable";
        const auto rules = std::find_if(kindRules().begin(), kindRules().end(),
                                        [&](const KindRules& each) { return kindName == each.name; });
        if (rules == kindRules().end()) {
            std::vector<std::string> names;
            for (const KindRules& each : kindRules()) {
                names.emplace_back(each.name);
            }
            add(row.line, "kind",
                inQuotes(kindName) + " is no kind of row" +
                    suggestion(kindName, names,
                               "write file, area, type, member, scope, variable, guard, signal or initial"));
            return;
        }
        checkColumns(row, *rules);
        place(row, *rules, objectOf(row, *rules));
    }

    void checkColumns(const Row& row, const KindRules& rules) {
        for (const auto& [column, cell] : row.cells) {
            const bool isKnown = column == "kind" || (column == "name" && rules.kind != RowKind::File) ||
                                 (rules.isScaled && (column == "scaleFactor" || column == "scaleOffset")) ||
                                 std::any_of(rules.cells.begin(), rules.cells.end(),
                                             [&, name = column](const CellRule& rule) { return name == rule.column; });
            if (!isKnown) {
                add(row.line, column,
                    std::string("a row of kind ") + rules.name + " says nothing here; empty the cell");
            }
        }
    }

    JsonValue objectOf(const Row& row, const KindRules& rules) {
        JsonValue object = emptyContainer(JsonValue::Kind::Object, {row.line, 0});
        for (const CellRule& rule : rules.cells) {
            if (row.has(rule.column)) {
                addMember(&object, rule.key, valueOf(row, rule.column, rule.form));
            }
        }
        if (rules.isScaled && (row.has("scaleFactor") || row.has("scaleOffset"))) {
            JsonValue scale = emptyContainer(JsonValue::Kind::Object, positionOf(row, "scaleFactor"));
            if (row.has("scaleFactor")) {
                addMember(&scale, "factor", valueOf(row, "scaleFactor", CellForm::Number));
            }
            if (row.has("scaleOffset")) {
                addMember(&scale, "offset", valueOf(row, "scaleOffset", CellForm::Number));
            }
            addMember(&object, "scale", std::move(scale));
        }
        return object;
    }

    // What cannot be read as what it is to be stays a text, and the checks of the document refuse it.
    JsonValue valueOf(const Row& row, const std::string& column, CellForm form) {
        const std::string& cell = row.cells.at(column);
        const TextPosition position = positionOf(row, column);
        if (form == CellForm::Bounds) {
            return boundsOf(row, column, cell, position);
        }
        if (form == CellForm::ValueNames) {
            return valueNamesOf(row, column, cell, position);
        }
        // Where a cell may be a text or something else, an apostrophe in front says that it is a text.
        const bool isText = (form == CellForm::Scalar || form == CellForm::NumberOrText) && row.texts.count(column) > 0;
        if (mayBeTruth(form) && isTruthWord(cell, form) && !isText) {
            JsonValue truth = emptyContainer(JsonValue::Kind::Boolean, position);
            truth.boolean = text::lowerCase(cell) == "true";
            return truth;
        }
        if (form == CellForm::Truth) {
            add(row.line, column, inQuotes(cell) + " is no truth value; write true or false");
        }
        if (std::optional<JsonValue> number = mayBeNumber(form) && !isText ? numberIn(cell) : std::nullopt) {
            number->position = position;
            return *number;
        }
        if (form == CellForm::Number || form == CellForm::NumberOrTruth) {
            add(row.line, column, inQuotes(cell) + " is no number; write it as 12 or -0.5");
        }
        return textValue(cell, position);
    }

    JsonValue boundsOf(const Row& row, const std::string& column, const std::string& cell, TextPosition position) {
        JsonValue dimensions = emptyContainer(JsonValue::Kind::Array, position);
        for (const std::string& part : text::split(cell, ',')) {
            const std::size_t dots = part.find("..");
            JsonValue pair = emptyContainer(JsonValue::Kind::Array, position);
            for (const std::string& bound :
                 {part.substr(0, dots), dots == std::string::npos ? "" : part.substr(dots + 2)}) {
                text::WholeNumber number;
                const bool isWhole = bound.find_first_not_of("-0123456789") == std::string::npos &&
                                     text::parseWholeNumber(bound, &number) == text::Digits::Good;
                if (!isWhole) {
                    add(row.line, column, inQuotes(cell) + " is no array; write 1..6, or 0..3,1..6");
                    return dimensions;
                }
                pair.items.push_back(parseJson(toText(number)).root);
                pair.items.back().position = position;
            }
            dimensions.items.push_back(std::move(pair));
        }
        return dimensions;
    }

    JsonValue valueNamesOf(const Row& row, const std::string& column, const std::string& cell, TextPosition position) {
        JsonValue names = emptyContainer(JsonValue::Kind::Object, position);
        std::vector<std::string> parts(1);
        for (std::size_t i = 0; i < cell.size(); ++i) {
            if (cell[i] == '\\' && i + 1 < cell.size()) {
                parts.back() += cell[++i];
            } else if (cell[i] == ';') {
                parts.emplace_back();
            } else {
                parts.back() += cell[i];
            }
        }
        for (const std::string& part : parts) {
            const std::size_t equals = part.find('=');
            if (equals == std::string::npos) {
                add(row.line, column, inQuotes(part) + " is no value with its name; write 0=off;1=on");
                return names;
            }
            addMember(&names, part.substr(0, equals), textValue(part.substr(equals + 1), position));
        }
        return names;
    }

    void place(const Row& row, const KindRules& rules, JsonValue object) {
        const JsonValue name = textValue(row.at("name"), positionOf(row, "name"));
        switch (rules.kind) {
            case RowKind::File:
                if (wasFileRead_) {
                    add(row.line, "kind", "there is a row of kind file already; remove one");
                }
                wasFileRead_ = true;
                file_ = std::move(object);
                return;
            case RowKind::Area:
                if (row.has("name")) {
                    addMember(&object, "name", name);
                }
                areas_.items.push_back(std::move(object));
                return;
            case RowKind::Type:
                placeType(row, name.text, std::move(object));
                return;
            case RowKind::Scope:
                if (!scopeNamed(row, name.text).wasDeclared.insert(name.text).second) {
                    add(row.line, "name", "the scope " + inQuotes(name.text) + " has a row already; remove one");
                }
                return;
            case RowKind::Member:
            case RowKind::Variable:
                placeDeclaration(row, rules.kind, std::move(object));
                return;
            case RowKind::Guard:
            case RowKind::Signal:
            case RowKind::Initial:
                object.members.insert(object.members.begin(), {"tag", name.position, name});
                entriesOf(rules.kind)->items.push_back(std::move(object));
                return;
        }
    }

    JsonValue* entriesOf(RowKind kind) {
        return kind == RowKind::Guard ? &guards_ : kind == RowKind::Signal ? &signals_ : &initial_;
    }

    // Scopes and structure types: their declarations stand in any row, and they themselves where they are first named.
    struct Group {
        JsonValue object;        // what a row of its own says
        JsonValue declarations;  // an array
        std::string name;
        TextPosition position;
        std::set<std::string> wasDeclared;
    };

    struct Groups {
        std::vector<Group> list;
        std::map<std::string, std::size_t> byName;
    };

    Group& groupNamed(Groups* groups, const Row& row, const std::string& name) {
        const auto inserted = groups->byName.emplace(name, groups->list.size());
        if (inserted.second) {
            const TextPosition position = positionOf(row, "name");
            groups->list.push_back({emptyContainer(JsonValue::Kind::Object, {row.line, 0}),
                                    emptyContainer(JsonValue::Kind::Array, {row.line, 0}),
                                    name,
                                    position,
                                    {}});
        }
        return groups->list[inserted.first->second];
    }

    Group& scopeNamed(const Row& row, const std::string& name) { return groupNamed(&scopes_, row, name); }

    void placeType(const Row& row, const std::string& name, JsonValue object) {
        Group& group = groupNamed(&types_, row, name);
        if (!group.wasDeclared.insert(name).second) {
            add(row.line, "name", "the type " + inQuotes(name) + " has a row already; remove one");
        }
        group.object = std::move(object);
    }

    void placeDeclaration(const Row& row, RowKind kind, JsonValue object) {
        const auto [group, name] = splitName(row.at("name"));
        if (group.empty() || name.empty()) {
            add(row.line, "name",
                inQuotes(row.at("name")) + (kind == RowKind::Member ? " names no member; write TYPE.MEMBER"
                                                                    : " names no variable; write SCOPE.VARIABLE"));
            return;
        }
        JsonValue value = textValue(name, positionOf(row, "name"));
        object.members.insert(object.members.begin(), {"name", value.position, value});
        Groups* groups = kind == RowKind::Member ? &types_ : &scopes_;
        groupNamed(groups, row, group).declarations.items.push_back(std::move(object));
    }

    void finish() {
        for (const JsonMember& member : file_.members) {
            if (member.key == "$schema") {
                addMember(&root_, member.key, member.value);
            }
        }
        addMember(&root_, "format", textValue("ac500-symbols", {1, 0}));
        addMember(&root_, "version", parseJson("1").root);
        for (const JsonMember& member : file_.members) {
            if (member.key != "$schema") {
                addMember(&root_, member.key, member.value);
            }
        }
        addMember(&root_, "areas", std::move(areas_));
        finishTypes();
        finishScopes();
        if (!guards_.items.empty()) {
            addMember(&root_, "guard", std::move(guards_));
        }
        finishSimulation();
        check();
    }

    void finishTypes() {
        if (types_.list.empty()) {
            return;
        }
        JsonValue& types = addMember(&root_, "types", emptyContainer(JsonValue::Kind::Object, {1, 0}));
        for (Group& group : types_.list) {
            addMember(&group.object, "members", std::move(group.declarations));
            types.members.push_back({group.name, group.position, std::move(group.object)});
        }
    }

    void finishScopes() {
        JsonValue& scopes = addMember(&root_, "scopes", emptyContainer(JsonValue::Kind::Array, {1, 0}));
        for (Group& group : scopes_.list) {
            addMember(&group.object, "name", textValue(group.name, group.position));
            addMember(&group.object, "variables", std::move(group.declarations));
            scopes.items.push_back(std::move(group.object));
        }
    }

    void finishSimulation() {
        if (signals_.items.empty() && initial_.items.empty()) {
            return;
        }
        JsonValue& simulation = addMember(&root_, "simulation", emptyContainer(JsonValue::Kind::Object, {1, 0}));
        if (!signals_.items.empty()) {
            addMember(&simulation, "signals", std::move(signals_));
        }
        if (!initial_.items.empty()) {
            addMember(&simulation, "initial", std::move(initial_));
        }
    }

    static int countValues(const JsonValue& value) {
        int count = 1;
        for (const JsonValue& item : value.items) {
            count += countValues(item);
        }
        for (const JsonMember& member : value.members) {
            count += countValues(member.value);
        }
        return count;
    }

    // The document says of each value which cell it came from, so what is wrong with it is found by its cell.
    void check() {
        if (countValues(root_) > kMaxJsonValues) {
            add(0, "", "holds more than " + std::to_string(kMaxJsonValues) + " values; split the plant into several");
            return;
        }
        for (const Problem& problem : readSymbolDocument(root_).problems) {
            const bool hasColumn = problem.column > 0 && problem.column <= static_cast<int>(columns_.size());
            add(problem.line, hasColumn ? columns_[static_cast<std::size_t>(problem.column) - 1] : "", problem.what);
        }
        imported_.document = std::move(root_);
    }

    ImportedCsv imported_;
    std::vector<std::string> columns_;  // as the header has them
    bool wasFileRead_ = false;
    JsonValue root_;
    JsonValue file_;
    JsonValue areas_;
    Groups types_;
    Groups scopes_;
    JsonValue guards_;
    JsonValue signals_;
    JsonValue initial_;
};

}  // namespace

std::string describe(const std::string& fileName, const CsvProblem& problem) {
    std::string text = fileName + ":";
    text += problem.line > 0 ? std::to_string(problem.line) + ":" : "";
    text += problem.column.empty() ? "" : " column " + problem.column + ":";
    return text + " " + problem.what;
}

ImportedCsv importCsv(const std::string& text) {
    return CsvReader().read(text);
}

std::string exportCsv(const JsonValue& document) {
    CsvWriter csv;
    if (!textOf(document, "description").empty() || memberOf(document, "$schema") != nullptr) {
        csv.add(RowKind::File, "", document);
    }
    for (const JsonValue& area : memberOf(document, "areas")->items) {
        csv.add(RowKind::Area, textOf(area, "name"), area);
    }
    if (const JsonValue* types = memberOf(document, "types")) {
        for (const JsonMember& type : types->members) {
            csv.add(RowKind::Type, type.key, type.value);
            for (const JsonValue& member : memberOf(type.value, "members")->items) {
                csv.add(RowKind::Member, type.key + "." + textOf(member, "name"), member);
            }
        }
    }
    for (const JsonValue& scope : memberOf(document, "scopes")->items) {
        csv.add(RowKind::Scope, textOf(scope, "name"), scope);
        for (const JsonValue& variable : memberOf(scope, "variables")->items) {
            csv.add(RowKind::Variable, textOf(scope, "name") + "." + textOf(variable, "name"), variable);
        }
    }
    if (const JsonValue* guards = memberOf(document, "guard")) {
        for (const JsonValue& entry : guards->items) {
            csv.add(RowKind::Guard, textOf(entry, "tag"), entry);
        }
    }
    const JsonValue* simulation = memberOf(document, "simulation");
    for (const auto& [key, kind] :
         {std::make_pair("signals", RowKind::Signal), std::make_pair("initial", RowKind::Initial)}) {
        const JsonValue* entries = simulation == nullptr ? nullptr : memberOf(*simulation, key);
        for (const JsonValue& entry : entries == nullptr ? std::vector<JsonValue>() : entries->items) {
            csv.add(kind, textOf(entry, "tag"), entry);
        }
    }
    return csv.take();
}

}  // namespace ac500::symbol_file
