// ValueNotes is what people know about a value beyond its type. Plain values, immutable after loading.
#ifndef AC500_TOOLS_SYMBOL_FILE_VALUE_NOTES_H
#define AC500_TOOLS_SYMBOL_FILE_VALUE_NOTES_H

#include <optional>
#include <string>
#include <vector>

#include "tools/text/iec_literal.h"

namespace ac500::symbol_file {

// A number and how the file spells it.
struct Decimal {
    double value = 0;
    std::string text;
};

// What people see is what the PLC has x factor + offset. The factor is finite and not 0; for whole-number types any two
// numbers of the PLC are well apart in what people see.
struct Scale {
    Decimal factor{1, "1"};
    Decimal offset{0, "0"};
};

// The smallest or largest value, in units of the plant.
struct Limit {
    Decimal number;                          // of a TIME and the like: what the PLC has, and the literal
    std::optional<text::WholeNumber> whole;  // exactly; set for whole-number types that are not scaled
};

// A value of an enumeration.
struct NamedValue {
    text::WholeNumber value;  // as the PLC has it
    std::string name;
};

struct ValueNotes {
    std::string unit;
    std::optional<Scale> scale;
    std::optional<Limit> minimum;
    std::optional<Limit> maximum;
    std::vector<NamedValue> names;  // in file order; no value and no name twice; none beside a scale
};

}  // namespace ac500::symbol_file

#endif
