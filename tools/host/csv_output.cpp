#include "tools/host/csv_output.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "tools/host/plant_values.h"
#include "tools/text/csv.h"

namespace ac500::host {

using text::csvText;

namespace {

std::string elementCell(const HostValue& value) {
    struct Visitor {
        std::string operator()(bool v) const { return v ? "TRUE" : "FALSE"; }
        std::string operator()(std::int64_t v) const { return std::to_string(v); }
        std::string operator()(std::uint64_t v) const { return std::to_string(v); }
        std::string operator()(float v) const { return fmt::format("{}", v); }
        std::string operator()(double v) const { return fmt::format("{}", v); }
        std::string operator()(const std::string& v) const { return csvText(v); }
    };
    return std::visit(Visitor(), value);
}

std::string elementType(const Tag& tag) {
    const std::string name = typeName(tag.form.code, tag.form.stringCharacters);
    return tag.form.isBit ? "bit of " + name : name;
}

std::string unitOf(const std::shared_ptr<const symbol_file::ValueNotes>& notes) {
    return notes == nullptr ? std::string() : notes->unit;
}

}  // namespace

std::vector<std::string> valueCsv(const Tag& tag, const TagValue& value) {
    const HostValues values = value.isKnown ? plantValues(tag, value.values) : HostValues();
    const std::string unit = csvText(unitOf(tag.notes));
    const std::string age = value.age ? std::to_string(value.age->count()) : std::string();
    std::vector<std::string> rows;
    for (int i = 0; i < tag.elements; ++i) {
        const auto index = static_cast<std::size_t>(i);
        const std::string name = tag.isList ? tag.elementName(i) : tag.text;
        rows.push_back(fmt::format("{},{},{},{},{},{}", csvText(name), elementType(tag),
                                   index < values.size() ? elementCell(values[index]) : std::string(), unit,
                                   valueStateName(value.state), age));
    }
    return rows;
}

std::string leafCsv(const Leaf& leaf) {
    return fmt::format("{},{},{},{},{},{}", csvText(leaf.tag), csvText(typeText(leaf)), leaf.area, leaf.address,
                       csvText(unitOf(leaf.notes)), csvText(leaf.comment));
}

}  // namespace ac500::host
