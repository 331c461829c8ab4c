// AuditTrail is what an audit tells: each write with what came of it, over all files of the audit. Plain values.
#ifndef AC500_TOOLS_AUDIT_AUDIT_TRAIL_H
#define AC500_TOOLS_AUDIT_AUDIT_TRAIL_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tools/audit/audit_line.h"

namespace ac500::audit {

struct Entry {
    Intent intent;
    std::optional<Ending> ending;  // nothing: nobody lived to write it
    bool isUndone = false;         // a later write has taken it back

    // Of one without an ending "unknown": the program, or the machine, ended between the two lines.
    std::string outcome() const { return ending ? ending->outcome : "unknown"; }
};

// A line that is none of an audit: torn by a kill or a power cut, or somebody else's. It stays in its file.
struct UnreadableLine {
    std::string file;
    std::size_t line = 0;  // from 1
    std::string what;
    enum class Kind { Torn, Foreign, WithoutWrite };
    Kind kind = Kind::Foreign;
};

struct Trail {
    std::vector<Entry> entries;  // in the order in which they were written
    std::vector<UnreadableLine> unreadable;
};

// Reads FILE.1, FILE.2, ... and FILE. Nothing when one of them cannot be read, or when there are lines and all of them are
// foreign; *error then says which and why.
std::optional<Trail> readTrail(const std::string& path, std::string* error);

}  // namespace ac500::audit

#endif
