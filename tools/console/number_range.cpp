#include "tools/console/number_range.h"

#include <cmath>
#include <string>

#include <CLI/CLI.hpp>

namespace ac500::console {

CLI::Validator numberFrom(double least, double most) {
    const CLI::Range range(least, most);
    CLI::Validator validator(range);
    validator.operation([range](std::string& text) {
        double number = 0.0;
        const bool isNan = CLI::detail::lexical_cast(text, number) && std::isnan(number);
        return isNan ? "Value " + text + " is no number" : range(text);
    });
    return validator;
}

}  // namespace ac500::console
