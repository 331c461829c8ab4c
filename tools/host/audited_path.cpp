#include "tools/host/audited_path.h"

#include "tools/host/print.h"

namespace ac500::host {

bool openAudit(const std::string& fileName, const Options& options, std::shared_ptr<AuditGate>* audit,
               Failure* failure) {
    if (fileName.empty()) {
        return true;
    }
    *audit = AuditGate::open(fileName, options.plc.text(), failure);
    return *audit != nullptr;
}

WritePath::Settings pathSettings(const std::shared_ptr<AuditGate>& audit) {
    WritePath::Settings settings;
    if (audit != nullptr) {
        settings.gates.push_back(audit);
    }
    return settings;
}

void tellProblemsOf(const std::shared_ptr<AuditGate>& audit, FailureKind* kind) {
    for (const std::string& problem : audit == nullptr ? std::vector<std::string>() : audit->problems()) {
        complain({FailureKind::Output, problem});
        *kind = FailureKind::Output;
    }
}

}  // namespace ac500::host
