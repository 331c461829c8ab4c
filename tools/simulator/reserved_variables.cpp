#include "tools/simulator/reserved_variables.h"

#include <algorithm>
#include <utility>

namespace ac500::sim {

using symbol_file::Area;
using symbol_file::Scope;
using symbol_file::TypeCode;
using symbol_file::Variable;

namespace {

constexpr const char* kAreaName = "simulator";

struct Row {
    const char* name;
    TypeCode code;
    std::uint32_t offset;
    const char* comment;
};

constexpr Row kRows[] = {
    {"fault_kind", TypeCode::Uint, reserved::kFaultKind, "write 1..10 to arm a fault, 0 to disarm"},
    {"fault_count", TypeCode::Uint, reserved::kFaultCount, "replies that get the fault; 0 counts as 1"},
    {"fault_arg", TypeCode::Dint, reserved::kFaultArgument, "argument of the fault; 0: its default"},
    {"fault_service", TypeCode::Uint, reserved::kFaultService, "service code the fault waits for; 0: any"},
    {"program", TypeCode::Uint, reserved::kProgram, "the program that is loaded; write another number to load it"},
    {"faults_left", TypeCode::Uint, reserved::kFaultsLeft, "replies of the armed fault still to come"},
    {"faults_done", TypeCode::Udint, reserved::kFaultsDone, "faults delivered since the start"},
    {"boot_count", TypeCode::Udint, reserved::kBootCount, "1 at the start, one more with each restart"},
    {"requests", TypeCode::Udint, reserved::kRequests, "requests received since the start"},
    {"refused", TypeCode::Udint, reserved::kRefused, "requests refused since the start"},
    {"connections", TypeCode::Udint, reserved::kConnections, "connections accepted since the start"},
    {"uptime_ms", TypeCode::Udint, reserved::kUptimeMs, "milliseconds since the start"},
};

Variable variableOf(const Row& row) {
    Variable variable;
    variable.name = row.name;
    variable.code = row.code;
    variable.area = kReservedArea;
    variable.offset = static_cast<int>(row.offset);
    variable.comment = row.comment;
    return variable;
}

Scope reservedScope() {
    Scope scope;
    scope.name = kReservedScope;
    std::transform(std::begin(kRows), std::end(kRows), std::back_inserter(scope.variables), variableOf);
    return scope;
}

Area reservedArea() {
    Area area;
    area.number = kReservedArea;
    area.name = kAreaName;
    area.sizeBytes = reserved::kAreaBytes;
    return area;
}

bool isReservedArea(const Area& area) {
    return area.number == kReservedArea && area.name == kAreaName && area.sizeBytes == reserved::kAreaBytes;
}

bool isReservedScope(const Scope& scope) {
    return scope.name == kReservedScope && scope.variables.size() == std::size(kRows) &&
           std::equal(std::begin(kRows), std::end(kRows), scope.variables.begin(),
                      [](const Row& row, const Variable& variable) {
                          return variable.name == row.name && variable.code == row.code &&
                                 variable.area == kReservedArea && variable.offset == static_cast<int>(row.offset);
                      });
}

bool isExtended(const SymbolFile& file) {
    return std::any_of(file.areas.begin(), file.areas.end(), isReservedArea) &&
           std::any_of(file.scopes.begin(), file.scopes.end(), isReservedScope);
}

}  // namespace

SymbolFile withReservedVariables(SymbolFile file) {
    if (!isExtended(file)) {
        file.areas.push_back(reservedArea());
        file.scopes.push_back(reservedScope());
    }
    return file;
}

std::vector<Problem> reservedConflicts(const SymbolFile& file) {
    std::vector<Problem> problems;
    if (isExtended(file)) {
        return problems;
    }
    for (const Area& area : file.areas) {
        if (area.number == kReservedArea) {
            problems.push_back(
                {area.line, 0, "areas", "area 9 is reserved for the simulator; give this area another number"});
        }
    }
    for (const Scope& scope : file.scopes) {
        if (scope.name == kReservedScope) {
            problems.push_back(
                {scope.line, 0, "scopes", "scope \"Sim\" is reserved for the simulator; give this scope another name"});
        }
    }
    return problems;
}

}  // namespace ac500::sim
