// AuditGate puts each write on the disk before it is sent, and what came of it afterwards (tools/audit/). A write of which
// no line is on the disk is not sent.
#ifndef AC500_TOOLS_HOST_AUDIT_GATE_H
#define AC500_TOOLS_HOST_AUDIT_GATE_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tools/audit/audit_file.h"
#include "tools/audit/audit_line.h"
#include "tools/host/write_terms.h"

namespace ac500::host {

// As lines of an audit name the type of a tag: "INT", "bit of WORD".
std::string auditTypeOf(const Tag& tag);

class AuditGate : public WriteGate {
public:
    struct Origin {
        std::string user;  // of writes that do not say who orders them
        std::string host;
        std::string plc;
    };
    // The user and the machine of this process.
    static Origin originOfProcess(const std::string& plc);

    AuditGate(std::unique_ptr<audit::AuditFile> file, Origin origin);
    // Keeps the audit of this process in the file, which is made when it is not there. `plc`: its address. Null on failure:
    // the file cannot be kept, or is something else; *failure then says so.
    static std::shared_ptr<AuditGate> open(const std::string& fileName, const std::string& plc, Failure* failure);

    // WriteGate: the loop thread
    Failure beforeWrite(const Order& write) override;
    void afterWrite(const Order& write) override;

    // Any thread: outcomes that could not be written; their writes will be shown as unknown.
    std::vector<std::string> problems() const;

private:
    audit::Intent intentOf(const Order& write);

    const std::unique_ptr<audit::AuditFile> file_;
    const Origin origin_;

    // Loop thread
    std::map<std::int32_t, std::string> ids_;  // of the writes that are underway, by their serial
    std::uint64_t lastLine_ = 0;

    mutable std::mutex mutex_;
    std::vector<std::string> problems_;  // protected by mutex_
};

}  // namespace ac500::host

#endif
