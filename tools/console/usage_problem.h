// What to tell who gets a command line wrong.
#ifndef AC500_TOOLS_CONSOLE_USAGE_PROBLEM_H
#define AC500_TOOLS_CONSOLE_USAGE_PROBLEM_H

#include <string>
#include <vector>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace ac500::console {

// Says what `app` could not parse. A command or option that does not exist is named, with the nearest one, before anything
// is said to be missing: most likely it is the missing one. `app` still holds what it parsed.
std::string usageProblem(const CLI::App& app, const CLI::ParseError& error);

// Says which option was given an empty value, or none behind its "=", as a variable of a shell leaves it that is not set: taken
// for "not given", what it asks for would silently not be done. Empty when there is none. `words`: all of the command line.
std::string emptyValueProblem(const CLI::App& app, const std::vector<std::string>& words);

}  // namespace ac500::console

#endif
