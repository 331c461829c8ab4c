// What the commands that write have in common: the audit that they were asked to keep.
#ifndef AC500_TOOLS_HOST_AUDITED_PATH_H
#define AC500_TOOLS_HOST_AUDITED_PATH_H

#include <memory>
#include <string>

#include "tools/host/audit_gate.h"
#include "tools/host/command_line.h"
#include "tools/host/write_path.h"

namespace ac500::host {

// Opens the file, or makes it; none when there is no name. False: it cannot be kept, and *failure says why.
bool openAudit(const std::string& fileName, const Options& options, std::shared_ptr<AuditGate>* audit,
               Failure* failure);

// Of a path whose writes are audited, if there is an audit.
WritePath::Settings pathSettings(const std::shared_ptr<AuditGate>& audit);

// Tells of outcomes that are not in the audit; *kind is then Output. REQUIRES: the session was stopped
void tellProblemsOf(const std::shared_ptr<AuditGate>& audit, FailureKind* kind);

}  // namespace ac500::host

#endif
