#include "tools/selection/tag_list.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <set>
#include <utility>

#include "tools/symbol_file/json_document.h"
#include "tools/text/csv.h"
#include "tools/text/file_text.h"
#include "tools/text/text.h"

namespace ac500::selection {

using symbol_file::JsonMember;
using symbol_file::JsonValue;
using symbol_file::ParsedJson;
using text::CsvRow;
using text::ParsedCsv;

namespace {

constexpr std::size_t kMaxListBytes = 64u * 1024 * 1024;
constexpr char kTagColumn[] = "tag";
constexpr char kIntervalColumn[] = "interval";
constexpr char kValueColumn[] = "value";

std::string trimmed(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" \t\r");
    return begin == std::string::npos ? std::string() : text.substr(begin, text.find_last_not_of(" \t\r") + 1 - begin);
}

std::string quoted(const std::string& text) {
    constexpr std::size_t kLongest = 60;
    const std::string start = text.size() > kLongest ? text.substr(0, kLongest) + "..." : text;
    return "\"" + text::withoutControls(start) + "\"";
}

// The first line that says something.
std::string firstLine(const std::string& content) {
    std::size_t begin = 0;
    while (begin < content.size()) {
        const std::size_t end = std::min(content.find('\n', begin), content.size());
        const std::string line = trimmed(content.substr(begin, end - begin));
        if (!line.empty() && line.front() != '#') {
            return line;
        }
        begin = end + 1;
    }
    return std::string();
}

std::vector<std::string> headerCells(const CsvRow& row) {
    std::vector<std::string> names;
    for (const std::string& cell : row.cells) {
        names.push_back(text::lowerCase(trimmed(cell)));
    }
    return names;
}

// The separator of a table whose first line is a header with a column for the tags, or 0: it is no such table.
char tableSeparator(const std::string& firstLine) {
    for (const char separator : {',', ';'}) {
        const ParsedCsv parsed = text::parseCsv(firstLine, separator);
        if (parsed.rows.size() == 1) {
            const std::vector<std::string> names = headerCells(parsed.rows.front());
            if (std::find(names.begin(), names.end(), kTagColumn) != names.end()) {
                return separator;
            }
        }
    }
    return 0;
}

class ListReader {
public:
    ListReader(const std::string& name, const std::string& content)
        : name_(name), content_(content.substr(symbol_file::byteOrderMarkBytes(content))) {}

    EntryList read() {
        const std::string first = firstLine(content_);
        if (!first.empty() && (first.front() == '{' || first.front() == '[')) {
            readJson();
        } else if (const char separator = tableSeparator(first)) {
            readTable(text::parseCsv(content_, separator));
        } else {
            readLines();
        }
        if (list_.entries.empty() && list_.problems.empty()) {
            list_.problems.push_back({ProblemKind::List, name_ + ": names no tag; write one a line"});
        }
        return std::move(list_);
    }

private:
    void complain(int row, const std::string& what) {
        list_.problems.push_back({ProblemKind::List, Origin{name_, row}.text() + what});
    }

    void readLines() {
        int row = 0;
        for (const std::string& raw : text::split(content_, '\n')) {
            ++row;
            const std::string line = trimmed(raw);
            if (line.empty() || line.front() == '#') {
                continue;
            }
            if (namesList(line)) {
                complain(row, quoted(line) + ": a list cannot name another list");
                continue;
            }
            Entry entry{line, {name_, row}, {}, {}};
            const std::size_t equals = line.find('=');
            if (equals != std::string::npos) {
                entry.text = trimmed(line.substr(0, equals));
                entry.value = trimmed(line.substr(equals + 1));
            }
            list_.entries.push_back(std::move(entry));
        }
    }

    void readTable(const ParsedCsv& table) {
        if (!table.rows.empty() && checkHeader(table.rows.front())) {
            for (std::size_t i = 1; i < table.rows.size(); ++i) {
                readRow(table.rows[i]);
            }
        }
        if (table.errorLine > 0) {
            complain(table.errorLine, table.error);
        }
    }

    bool checkHeader(const CsvRow& header) {
        columns_ = headerCells(header);
        std::set<std::string> seen;
        bool isGood = true;
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            const std::string& name = columns_[i];
            const std::string where = "column " + std::to_string(i + 1) + ": ";
            if (name != kTagColumn && name != kIntervalColumn && name != kValueColumn) {
                complain(header.line,
                         where + quoted(name) + " is no column of a list of tags; there are tag, interval and value");
                isGood = false;
            } else if (!seen.insert(name).second) {
                complain(header.line, where + quoted(name) + " is there already; remove one of them");
                isGood = false;
            }
        }
        return isGood;
    }

    void readRow(const CsvRow& row) {
        if (row.cells.size() > columns_.size()) {
            complain(row.line, "has " + std::to_string(row.cells.size()) + " cells, but the header has " +
                                   std::to_string(columns_.size()) +
                                   "; put a cell that holds a separator in quotes, as in \"Main.grid[2,3]\"");
            return;
        }
        Entry entry{{}, {name_, row.line}, {}, {}};
        for (std::size_t i = 0; i < row.cells.size(); ++i) {
            takeCell(columns_[i], row.cells[i], row.line, &entry);
        }
        if (entry.text.empty()) {
            complain(row.line, "column tag: is empty; name a tag, or remove the row");
            return;
        }
        list_.entries.push_back(std::move(entry));
    }

    void takeCell(const std::string& column, const std::string& cell, int line, Entry* entry) {
        if (column == kTagColumn) {
            entry->text = trimmed(cell);
        } else if (column == kValueColumn && !cell.empty()) {
            entry->value = cell;
        } else if (column == kIntervalColumn && !trimmed(cell).empty()) {
            entry->intervalMs = interval(trimmed(cell), line);
        }
    }

    std::optional<int> interval(const std::string& cell, int line) {
        int ms = 0;
        const char* end = cell.data() + cell.size();
        const auto [rest, problem] = std::from_chars(cell.data(), end, ms);
        if (problem != std::errc() || rest != end || ms < 1 || ms > kLongestIntervalMs) {
            complain(line, "column interval: " + quoted(cell) + " is no time in ms; give a whole number from 1 to " +
                               std::to_string(kLongestIntervalMs));
            return std::nullopt;
        }
        return ms;
    }

    void readJson() {
        const ParsedJson parsed = symbol_file::parseJson(content_);
        for (const symbol_file::Problem& problem : parsed.problems) {
            list_.problems.push_back({ProblemKind::List, describe(name_, problem)});
        }
        if (!parsed.problems.empty()) {
            return;
        }
        const JsonValue* tags = memberOf(parsed.root, "tags");
        if (tags == nullptr || tags->kind != JsonValue::Kind::Array) {
            complain(parsed.root.position.line,
                     "this JSON names no tags; give what tags --json prints: {\"tags\": [{\"tag\": \"...\"}]}");
            return;
        }
        for (const JsonValue& item : tags->items) {
            const JsonValue* tag = memberOf(item, "tag");
            if (tag == nullptr || tag->kind != JsonValue::Kind::String) {
                complain(item.position.line, "an entry of \"tags\" has no \"tag\" with a name");
                continue;
            }
            list_.entries.push_back({tag->text, {name_, tag->position.line}, {}, {}});
        }
    }

    static const JsonValue* memberOf(const JsonValue& object, const std::string& key) {
        for (const JsonMember& member : object.members) {
            if (member.key == key) {
                return &member.value;
            }
        }
        return nullptr;
    }

    const std::string name_;
    const std::string content_;
    std::vector<std::string> columns_;
    EntryList list_;
};

// From 1; 0 when there is none.
int lineThatIsNoText(const std::string& content) {
    int row = 0;
    for (const std::string& line : text::split(content, '\n')) {
        ++row;
        if (line.find('\0') != std::string::npos || !text::isUtf8(line)) {
            return row;
        }
    }
    return 0;
}

EntryList unusable(const std::string& name, const std::string& why) {
    EntryList list;
    list.problems.push_back({ProblemKind::List, name + ": " + why});
    return list;
}

EntryList readChecked(const std::string& name, bool isRead, const std::string& content) {
    if (!isRead) {
        const std::string why = errno != 0 ? std::strerror(errno) : "the input broke off";
        return unusable(name, "cannot be read: " + why);
    }
    if (content.size() > kMaxListBytes) {
        return unusable(name, "is larger than 64 MiB; this is no list of tags, or it has to be split");
    }
    if (const int line = lineThatIsNoText(content)) {
        return unusable(name + ":" + std::to_string(line),
                        "is no UTF-8 text; this is no list of tags, or it has to be saved as UTF-8");
    }
    return parseList(name, content);
}

EntryList listIn(const std::string& word, std::istream& input) {
    std::string content;
    if (word == "-") {
        const bool isRead = text::readUpTo(input, kMaxListBytes + 1, &content);
        return readChecked("standard input", isRead, content);
    }
    const std::string fileName = word.substr(1);
    if (fileName.empty()) {
        return unusable(word, "there is no file name; write @FILE");
    }
    const bool isRead = text::readUpTo(fileName, kMaxListBytes + 1, &content);
    return readChecked(fileName, isRead, content);
}

}  // namespace

std::string Origin::text() const {
    return list.empty() ? std::string() : list + ":" + std::to_string(row) + ": ";
}

EntryList parseList(const std::string& listName, const std::string& content) {
    return ListReader(listName, content).read();
}

EntryList entriesOf(const std::vector<std::string>& words, std::istream& input) {
    EntryList all;
    bool wasInputRead = false;
    for (const std::string& word : words) {
        if (!namesList(word)) {
            all.entries.push_back({word, {}, {}, {}});
            continue;
        }
        EntryList list = word == "-" && wasInputRead ? unusable(word, "the standard input can be read once only")
                                                     : listIn(word, input);
        wasInputRead = wasInputRead || word == "-";
        std::move(list.entries.begin(), list.entries.end(), std::back_inserter(all.entries));
        std::move(list.problems.begin(), list.problems.end(), std::back_inserter(all.problems));
    }
    return all;
}

bool namesList(const std::string& word) {
    return word == "-" || (!word.empty() && word.front() == '@');
}

std::string fileRemedy(const std::string& word) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(word, ignored)
               ? "; there is a file of this name: write @" + word + " for the list in it"
               : std::string();
}

}  // namespace ac500::selection
