// Random symbols and tag names, from sensible to broken.
#ifndef AC500_TESTS_REFERENCE_RANDOM_PLANT_H
#define AC500_TESTS_REFERENCE_RANDOM_PLANT_H

#include <string>

#include "tests/reference/records.h"
#include "tests/reference/run.h"

namespace ac500::test {

// One variable (or member, with `depth` levels of structure below it) drawn from `choices`.
reference::Symbol randomSymbol(Choices& choices, const std::string& name, int depth);

// A scope with these variables.
reference::Symbol scopeOf(const std::string& name, const std::vector<reference::Symbol>& variables);

// A tag name that mostly fits the symbol: "Scope.variable[index].member.b[3]", with placeholders and mistakes.
std::string randomTag(Choices& choices, const std::string& scope, const reference::Symbol& variable);

// An argument for "%%": a small number mostly, else text that is none or too large.
std::string randomArgument(Choices& choices);

}  // namespace ac500::test

#endif
