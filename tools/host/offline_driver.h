// OfflineDriver asks the driver what it would do, without a PLC. Symbols and settings are handed over as in a run, the
// requests are those that the driver wants sent, and each is answered with a good reply of zeros.
//
// One at a time, and never beside a session: the driver is one object per loaded library. Used by one thread.
#ifndef AC500_TOOLS_HOST_OFFLINE_DRIVER_H
#define AC500_TOOLS_HOST_OFFLINE_DRIVER_H

#include <optional>
#include <string>
#include <vector>

#include "tools/desk/read_plan.h"
#include "tools/host/driver_library.h"
#include "tools/host/driver_reports.h"
#include "tools/host/program_guard.h"
#include "tools/host/tag.h"

namespace ac500::host {

class OfflineDriver {
public:
    // Both must outlive this.
    OfflineDriver(const DriverFunctions& driver, const TagTable& tags);

    // What is handed over to the driver once, before anything else is asked. False: a session has the driver.
    bool start(std::string* error);

    // What get_label_address_info answers, a code of docs/status-codes.md, with what it fills in.
    struct Answer {
        int code = 0;
        ControlInformationM info{};
    };
    Answer resolve(const std::string& name) const;

    // Does the driver read the tag, with the calls that it takes?
    bool transfers(const Tag& tag);

    // The guards of the symbol file, which every pass reads, too.
    const std::vector<Tag>& guards() const { return guard_.tags(); }

    // One pass over the tags and the guards. Nothing when the driver does not take a reply; *error then says which.
    std::optional<desk::ObservedPass> observePass(const std::vector<Tag>& tags, int maxRequestWords,
                                                  std::string* error);

private:
    bool answerRequest(Protocol* request, QByteArray reply);

    const DriverFunctions& driver_;
    const TagTable& tags_;
    const ProgramGuard guard_;
    DriverReports reports_;
    ComInfo comInfo_{};
};

// The tags' bytes, for a plan.
std::vector<desk::WantedTag> wantedBytes(const std::vector<Tag>& tags);

}  // namespace ac500::host

#endif
