#include <fmt/format.h>

#include <optional>

#include "tools/explain/lookup.h"
#include "tools/host/commands.h"
#include "tools/host/print.h"
#include "tools/text/text.h"

namespace ac500::host {

using explain::Code;
using explain::Group;

namespace {

constexpr std::size_t kTextWidth = 100;  // of a line, so that a message and a manual have room for it
constexpr char kIndent[] = "  ";

// One code that was asked for, with all that it may mean.
struct Answer {
    std::string asked;
    std::optional<int> number;
    std::vector<Code> meanings;
};

// Words of the command line: a group's key restricts the codes behind it; alone it stands for all codes of its group.
std::vector<Answer> answersTo(const std::vector<std::string>& words) {
    std::vector<Answer> answers;
    std::optional<Group> only;
    bool isGroupOpen = false;
    const auto closeGroup = [&] {
        if (isGroupOpen) {
            Answer whole{explain::groupKey(*only), std::nullopt, {}};
            for (const Code& code : explain::allCodes()) {
                if (code.group == *only) {
                    whole.meanings.push_back(code);
                }
            }
            answers.push_back(whole);
        }
    };
    for (const std::string& word : words) {
        if (const std::optional<Group> group = explain::groupOf(word)) {
            closeGroup();
            only = group;
            isGroupOpen = true;
            continue;
        }
        isGroupOpen = false;
        answers.push_back({word, explain::parseNumber(word), explain::meaningsOf(word, only)});
    }
    closeGroup();
    return answers;
}

std::string nameAndNumber(const Code& code) {
    const std::string head = std::string(explain::groupKey(code.group)) + " " + explain::numberText(code);
    return code.name[0] == '\0' ? head : head + " " + code.name;
}

std::string meaningOf(const Code& code) {
    return explain::plainText(code.meaning[0] == '\0' ? code.brief : code.meaning);
}

std::string noteOf(const Code& code, const std::optional<int>& number) {
    return number ? explain::familyNote(code, *number) : "";
}

// A label, and the text beside it in lines of limited width.
void printParagraph(const std::string& label, const std::string& text) {
    if (text.empty()) {
        return;
    }
    std::string line = fmt::format("{}{:<12}", kIndent, label);
    const std::size_t indent = line.size();
    bool isFirst = true;
    for (const std::string& word : text::split(text, ' ')) {
        if (!isFirst && line.size() + 1 + word.size() > kTextWidth) {
            printLine(line);
            line = std::string(indent, ' ') + word;
        } else {
            line += (isFirst ? "" : " ") + word;
        }
        isFirst = false;
    }
    printLine(line);
}

void printMeaning(const Code& code, const std::optional<int>& number) {
    printLine(fmt::format("{}: {}", nameAndNumber(code), explain::groupTitle(code.group)));
    printParagraph("meaning", meaningOf(code));
    printParagraph("", noteOf(code, number));
    printParagraph("where", explain::plainText(code.place));
    printParagraph("cause", explain::plainText(code.cause));
    printParagraph("what to do", explain::plainText(code.remedy));
}

void printAnswers(const std::vector<Answer>& answers) {
    bool isFirst = true;
    for (const Answer& answer : answers) {
        if (answer.number && answer.meanings.size() > 1) {
            printLine(fmt::format("{}{} may be {} things:", isFirst ? "" : "\n", answer.asked, answer.meanings.size()));
            isFirst = false;
        }
        for (const Code& code : answer.meanings) {
            print(isFirst ? "" : "\n");
            printMeaning(code, answer.number);
            isFirst = false;
        }
    }
}

void printAllCodes() {
    std::vector<std::vector<std::string>> rows{{"KIND", "CODE", "NAME", "MEANING"}};
    for (const Code& code : explain::allCodes()) {
        rows.push_back({explain::groupKey(code.group), explain::numberText(code), code.name, code.brief});
    }
    printTable(rows);
}

Json codeJson(const std::string& asked, const Code& code, const std::optional<int>& number) {
    Json json;
    json["asked"] = asked;
    json["kind"] = explain::groupKey(code.group);
    json["first"] = code.first;
    json["last"] = code.last;
    json["name"] = code.name;
    json["brief"] = code.brief;
    json["meaning"] = meaningOf(code);
    json["note"] = noteOf(code, number);
    json["where"] = explain::plainText(code.place);
    json["cause"] = explain::plainText(code.cause);
    json["what_to_do"] = explain::plainText(code.remedy);
    return json;
}

void printAnswersJson(const std::vector<Answer>& answers, const Failure& failure) {
    Json json = newDocument();
    json["codes"] = Json::array();
    for (const Answer& answer : answers) {
        for (const Code& code : answer.meanings) {
            json["codes"].push_back(codeJson(answer.asked, code, answer.number));
        }
    }
    if (failure.occurred()) {
        json["error"] = failureJson(failure);
    }
    printJson(json);
}

std::string unknownText(const Answer& answer) {
    if (answer.number) {
        return fmt::format("{} is none of these codes; {}", answer.asked, explain::unknownNumberHint(*answer.number));
    }
    const std::vector<std::string> near = explain::nearNamesOf(answer.asked);
    std::string text = text::withoutControls(answer.asked) + " is no code";
    for (std::size_t i = 0; i < near.size(); ++i) {
        text += (i == 0 ? "; did you mean " : ", ") + near[i];
    }
    return text + "; ac500-host explain lists them all";
}

}  // namespace

int runExplain(const CommandContext& context) {
    const Options& options = context.options();
    std::vector<Answer> answers = answersTo(options.arguments);
    Failure failure;
    for (const Answer& answer : answers) {
        if (answer.meanings.empty()) {
            failure.kind = FailureKind::Name;
            failure.text += (failure.text.empty() ? "" : "\n") + unknownText(answer);
        }
    }
    if (options.arguments.empty() && options.json) {
        answers.push_back({"", std::nullopt, explain::allCodes()});
    }
    if (options.json) {
        printAnswersJson(answers, failure);
    } else if (options.arguments.empty()) {
        printAllCodes();
    } else {
        printAnswers(answers);
    }
    if (failure.occurred()) {
        complain(failure);
    }
    return exitCodeOf(failure.kind);
}

}  // namespace ac500::host
