#include "tools/explain/code_page.h"

namespace ac500::explain {

namespace {

enum class Column { Number, Name, WordOfMessage, Brief, Meaning, Cause, Remedy, Function, Field, Callback, Status };

using Columns = std::vector<Column>;

Columns columnsOf(Group group) {
    switch (group) {
        case Group::Status:
        case Group::Resolution:
        case Group::Write:
        case Group::State:
            return {Column::Number, Column::Name, Column::Meaning, Column::Cause, Column::Remedy};
        case Group::PlcStatus:
            return {Column::Number, Column::Brief, Column::Meaning, Column::Cause, Column::Remedy};
        case Group::HostExit:
            return {Column::Number, Column::WordOfMessage, Column::Meaning, Column::Cause, Column::Remedy};
        case Group::SimExit:
            return {Column::Number, Column::Meaning, Column::Cause, Column::Remedy};
        case Group::Callback:
            return {Column::Number, Column::Name, Column::Callback, Column::Meaning};
        case Group::ReplyCheck:
            return {Column::Number, Column::Name, Column::Function, Column::Meaning};
        case Group::Outcome:
            return {Column::Number, Column::Name, Column::Meaning, Column::Status};
        case Group::Record:
            return {Column::Number, Column::Name, Column::Field, Column::Meaning};
    }
    return {};
}

const char* titleOf(Column column) {
    switch (column) {
        case Column::Number:
            return "Code";
        case Column::Name:
            return "Name";
        case Column::WordOfMessage:
            return "Message begins with";
        case Column::Brief:
            return "In messages";
        case Column::Meaning:
            return "Meaning";
        case Column::Cause:
            return "Likely cause";
        case Column::Remedy:
            return "What to do";
        case Column::Function:
            return "Function";
        case Column::Field:
            return "Field";
        case Column::Callback:
            return "Callback";
        case Column::Status:
            return "Status";
    }
    return "?";
}

std::string inBackticks(const std::string& text) {
    return text.empty() ? text : "`" + text + "`";
}

std::string textOf(const Code& code, Column column) {
    switch (column) {
        case Column::Number:
            return numberText(code);
        case Column::Name:
            return inBackticks(code.name);
        case Column::WordOfMessage:
            return code.name[0] == '\0' ? "" : inBackticks(std::string(code.name) + ":");
        case Column::Brief:
            return code.brief;
        case Column::Meaning:
            return code.meaning[0] == '\0' ? code.brief : code.meaning;
        case Column::Cause:
            return code.cause;
        case Column::Remedy:
            return code.remedy;
        case Column::Function:
        case Column::Field:
        case Column::Callback:
        case Column::Status:
            return code.place;
    }
    return "";
}

// "-" for nothing; a stroke that would end the cell does not.
std::string cellText(const std::string& text) {
    std::string cell;
    for (const char c : text.empty() ? std::string("-") : text) {
        cell += c == '|' ? "\\|" : std::string(1, c);
    }
    return cell;
}

}  // namespace

std::string tableOf(Group group) {
    const Columns columns = columnsOf(group);
    std::string table = "|";
    for (const Column column : columns) {
        table += std::string(" ") + titleOf(column) + " |";
    }
    table += "\n|";
    for (std::size_t i = 0; i < columns.size(); ++i) {
        table += " --- |";
    }
    table += "\n";
    for (const Code& code : allCodes()) {
        if (code.group != group) {
            continue;
        }
        table += "|";
        for (const Column column : columns) {
            table += " " + cellText(textOf(code, column)) + " |";
        }
        table += "\n";
    }
    return table;
}

}  // namespace ac500::explain
