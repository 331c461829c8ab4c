#include "tools/console/usage_problem.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <vector>

#include "tools/text/near_names.h"
#include "tools/text/text.h"

namespace ac500::console {

namespace {

using Names = std::vector<std::string>;

Names commandNames(const CLI::App& app) {
    Names names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(command->get_name());
    }
    return names;
}

// The command of commands that the line got to, or the program.
const CLI::App& innermost(const CLI::App& app) {
    const CLI::App* at = &app;
    while (!at->get_subcommands().empty()) {
        at = at->get_subcommands().front();
    }
    return *at;
}

bool lacksCommand(const CLI::App& app) {
    return !commandNames(innermost(app)).empty();
}

// Without dashes.
Names optionNames(const CLI::App& app) {
    Names names;
    for (const CLI::Option* option : app.get_options()) {
        const Names& own = option->get_lnames();
        names.insert(names.end(), own.begin(), own.end());
    }
    return names;
}

bool contains(const Names& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::string didYouMean(const std::string& word, const Names& candidates, const std::string& dashes,
                       const std::string& otherwise) {
    const Names near = text::nearNames(word, candidates, 1);
    return near.empty() ? otherwise : fmt::format("; did you mean \"{}{}\"?", dashes, near.front());
}

std::string unknownCommand(const CLI::App& app, const std::string& word) {
    const Names names = commandNames(app);
    return fmt::format("there is no command \"{}\"{}", text::withoutControls(word),
                       didYouMean(word, names, "", fmt::format("; choose from {}", fmt::join(names, ", "))));
}

std::string unknownOption(const CLI::App& app, const std::string& word) {
    const std::string option = word.substr(0, word.find('='));
    const std::size_t begin = option.find_first_not_of('-');
    if (begin == std::string::npos) {
        return fmt::format("there is no option \"{}\"", text::withoutControls(word));
    }
    const std::string name = option.substr(begin);
    const std::string told = fmt::format("there is no option \"{}\"", text::withoutControls(option));
    Names candidates = optionNames(app);
    for (const CLI::App* given : app.get_subcommands()) {
        for (const CLI::App* other : app.get_subcommands([](const CLI::App*) { return true; })) {
            if (contains(optionNames(*other), name)) {
                return fmt::format("{} with {}; it belongs to {}", told, given->get_name(), other->get_name());
            }
        }
        const Names own = optionNames(*given);
        candidates.insert(candidates.end(), own.begin(), own.end());
    }
    return told + didYouMean(name, candidates, "--", "");
}

std::string unknownWord(const CLI::App& app, const std::string& word) {
    if (word.find_first_not_of('-') != std::string::npos && word.front() == '-') {
        return unknownOption(app, word);
    }
    if (lacksCommand(app)) {
        return unknownCommand(innermost(app), word);
    }
    return fmt::format("\"{}\" is one argument too many", text::withoutControls(word));
}

// Those of the program and of the commands that were given.
std::vector<const CLI::Option*> namedOptions(const CLI::App& app) {
    std::vector<const CLI::Option*> options;
    for (const CLI::Option* option : app.get_options()) {
        if (!option->get_lnames().empty()) {
            options.push_back(option);
        }
    }
    for (const CLI::App* given : app.get_subcommands()) {
        const std::vector<const CLI::Option*> own = namedOptions(*given);
        options.insert(options.end(), own.begin(), own.end());
    }
    return options;
}

}  // namespace

std::string usageProblem(const CLI::App& app, const CLI::ParseError& error) {
    const auto is = [&error](CLI::ExitCodes code) { return error.get_exit_code() == static_cast<int>(code); };
    const Names unknown = app.remaining(true);
    if (!unknown.empty() && (is(CLI::ExitCodes::RequiredError) || is(CLI::ExitCodes::ExtrasError))) {
        return unknownWord(app, unknown.front());
    }
    if (is(CLI::ExitCodes::RequiredError) && lacksCommand(app)) {
        return fmt::format("there is no command; choose from {}", fmt::join(commandNames(innermost(app)), ", "));
    }
    return error.what();
}

std::string emptyValueProblem(const CLI::App& app, const std::vector<std::string>& words) {
    for (const CLI::Option* option : namedOptions(app)) {
        const std::string name = "--" + option->get_lnames().front();
        if (contains(option->results(), "") || contains(words, name + "=")) {
            return name + " is given without a value";
        }
    }
    return std::string();
}

}  // namespace ac500::console
