#include "tools/host/failure.h"

#include "tools/explain/code_table.h"

namespace ac500::host {

const char* failureKindName(FailureKind kind) {
    const explain::Code* code = explain::findCode(explain::Group::HostExit, exitCodeOf(kind));
    if (kind == FailureKind::None || code == nullptr) {
        return "ok";
    }
    return code->name;
}

}  // namespace ac500::host
