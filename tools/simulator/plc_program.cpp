#include "tools/simulator/plc_program.h"

#include "tools/simulator/element_value.h"
#include "tools/simulator/reserved_variables.h"
#include "tools/symbol_file/fingerprint.h"

namespace ac500::sim {

using symbol_file::Area;
using symbol_file::GuardTag;
using symbol_file::InitialValue;
using symbol_file::Signal;

PlcProgram::PlcProgram(const SymbolFile& file)
    : problems_(reservedConflicts(file)), fingerprint_(symbol_file::fingerprint(file)) {
    const SymbolFile whole = withReservedVariables(file);
    for (const Area& area : whole.areas) {
        memory_.addArea(area.number, area.sizeBytes);
    }
    leaves_ = listLeaves(whole);
    bits_ = BitLayout(leaves_);
    addWarnings();
    applyGuards(whole);
    applyInitialValues(whole);
    resolveSignals(whole);
}

void PlcProgram::applyGuards(const SymbolFile& file) {
    for (const GuardTag& guard : file.guards) {
        if (const std::optional<Element> element = locate(file, guard.tag, guard.line, "guard")) {
            writeText(memory_, *element, text::toText(guard.value));
        }
    }
}

void PlcProgram::applyInitialValues(const SymbolFile& file) {
    for (const InitialValue& initial : file.initialValues) {
        const std::optional<Element> element = locate(file, initial.tag, initial.line, "initialValues");
        if (element && !writeText(memory_, *element, initial.text)) {
            problems_.push_back(
                {initial.line, 0, "initialValues",
                 "\"" + initial.text + "\" is no " + typeTraits(element->code)->name + " value for " + initial.tag});
        }
    }
}

void PlcProgram::resolveSignals(const SymbolFile& file) {
    for (const Signal& signal : file.signals) {
        const bool isEcho = signal.kind == Signal::Kind::Echo;
        const std::optional<Element> target = locate(file, signal.tag, signal.line, "signals");
        const std::optional<Element> source =
            isEcho && target ? locate(file, signal.source, signal.line, "signals") : std::nullopt;
        if (target && (source || !isEcho)) {
            signals_.push_back({signal, *target, source.value_or(Element())});
        }
    }
}

// Nothing, and a problem noted, when the tag is no single variable within its area.
std::optional<Element> PlcProgram::locate(const SymbolFile& file, const std::string& tag, int line, const char* where) {
    std::string error;
    const std::optional<Element> element = findElement(file, tag, &error);
    if (!element) {
        problems_.push_back({line, 0, where, "no variable " + tag + ": " + error});
        return std::nullopt;
    }
    if (!memory_.contains(runOf(*element))) {
        problems_.push_back({line, 0, where, tag + " lies outside its memory area; make the area larger"});
        return std::nullopt;
    }
    return element;
}

void PlcProgram::addWarnings() {
    for (const Leaf& leaf : bits_.ambiguousBits(leaves_)) {
        warnings_.push_back({0, 0, "scopes",
                             leaf.tag + ": writes to this BIT cannot be told from writes to the byte of the " +
                                 "same number; put BIT variables into an area of their own"});
    }
}

}  // namespace ac500::sim
