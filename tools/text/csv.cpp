#include "tools/text/csv.h"

namespace ac500::text {

namespace {

class CsvReader {
public:
    CsvReader(const std::string& text, char separator) : text_(text), separator_(separator) {}

    ParsedCsv read() {
        while (at_ < text_.size() && parsed_.errorLine == 0) {
            if (!skipLineWithoutRow()) {
                readRow();
            }
        }
        return std::move(parsed_);
    }

private:
    bool isAtLineEnd() const {
        return at_ == text_.size() || text_[at_] == '\n' || (text_[at_] == '\r' && text_[at_ + 1] == '\n');
    }

    void passLineEnd() {
        at_ = text_.find('\n', at_);
        at_ = at_ == std::string::npos ? text_.size() : at_ + 1;
        ++line_;
    }

    bool skipLineWithoutRow() {
        const std::size_t content = text_.find_first_not_of(" \t\r", at_);
        const bool isBlank = content == std::string::npos || text_[content] == '\n';
        const bool isComment = text_[at_] == '#' && parsed_.rows.empty();
        if (isBlank || isComment) {
            passLineEnd();
            return true;
        }
        return false;
    }

    void readRow() {
        CsvRow row{line_, {}};
        while (true) {
            row.cells.push_back(text_[at_] == '"' ? quotedCell() : plainCell());
            if (parsed_.errorLine != 0) {
                return;
            }
            if (isAtLineEnd()) {
                break;
            }
            ++at_;  // the separator
        }
        passLineEnd();
        parsed_.rows.push_back(std::move(row));
    }

    std::string plainCell() {
        const std::size_t begin = at_;
        while (!isAtLineEnd() && text_[at_] != separator_) {
            ++at_;
        }
        return text_.substr(begin, at_ - begin);
    }

    std::string quotedCell() {
        const int begin = line_;
        std::string content;
        while (true) {
            if (++at_ >= text_.size()) {
                return fail(begin, "a quote is not closed; end the cell with \"");
            }
            if (text_[at_] == '"') {
                if (text_[at_ + 1] != '"') {
                    break;
                }
                ++at_;
            }
            line_ += text_[at_] == '\n' ? 1 : 0;
            content += text_[at_];
        }
        ++at_;
        if (!isAtLineEnd() && text_[at_] != separator_) {
            return fail(line_, "something follows a closing quote; write a quote inside a quoted cell twice");
        }
        return content;
    }

    std::string fail(int line, const char* what) {
        parsed_.errorLine = line;
        parsed_.error = what;
        return std::string();
    }

    const std::string& text_;
    const char separator_;
    std::size_t at_ = 0;
    int line_ = 1;
    ParsedCsv parsed_;
};

}  // namespace

// Reading one character behind the end is reading the terminator, here and above.
ParsedCsv parseCsv(const std::string& text, char separator) {
    return CsvReader(text, separator).read();
}

std::string csvCell(const std::string& content) {
    const bool hasOuterBlank = !content.empty() && (content.front() == ' ' || content.back() == ' ');
    if (!hasOuterBlank && content.find_first_of(",;\"\r\n") == std::string::npos) {
        return content;
    }
    std::string cell = "\"";
    for (const char c : content) {
        cell += c == '"' ? "\"\"" : std::string(1, c);
    }
    return cell + "\"";
}

std::string csvText(const std::string& content) {
    const bool isFormula = content.find_first_of("=+-@\t\r\n") == 0;
    return csvCell(isFormula ? "'" + content : content);
}

}  // namespace ac500::text
