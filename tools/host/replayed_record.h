// Replays a record for the command line: in a process of its own, so that a driver that fails again takes nothing with it.
#ifndef AC500_TOOLS_HOST_REPLAYED_RECORD_H
#define AC500_TOOLS_HOST_REPLAYED_RECORD_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/host/driver_library.h"
#include "tools/host/output.h"
#include "tools/host/tag.h"
#include "tools/record/event.h"
#include "tools/record/record_reader.h"
#include "tools/replay/comparison.h"
#include "tools/replay/replay_run.h"

namespace ac500::host {

// The driver that a record is replayed on, loaded anew each time that nobody may have called it.
class ReplayDriver {
public:
    // `path`: as of --driver; empty: where ac500-host looks for it.
    explicit ReplayDriver(std::string path) : path_(std::move(path)) {}

    // False: it cannot be loaded, *error says why.
    bool load(std::string* error);
    // REQUIRES: loaded. This object must outlive what it returns.
    replay::FreshDriver fresh();
    // The file. REQUIRES: loaded
    const std::string& file() const { return library_->path(); }

private:
    const std::string path_;
    std::unique_ptr<DriverLibrary> library_;
    bool wasHandedOut_ = false;
};

struct ReplayWish {
    std::size_t events = 0;  // so many of the record
    double speed = 0;        // of the time between them; 0: none is kept
    std::vector<Tag> tags;   // whose values are wanted at the end
    int maxRequestBytes = 0;
    bool wantsAnswers = false;
};

// A value that the driver held at the end.
struct HeldValue {
    Json json;  // as tagValueJson, without its state
    std::string text;
    std::string age;
};

struct ReplayedRecord {
    std::size_t position = 0;  // events that were replayed
    std::size_t calls = 0;
    std::size_t skipped = 0;
    std::size_t divergences = 0;
    std::string problem;  // why it could not go on; empty: it could
    bool wasInterrupted = false;
    int signal = 0;  // that ended the driver, in the call at `position`

    struct FirstDivergence {
        std::size_t position = 0;
        replay::Difference difference;
        std::string actual;  // the call as this driver answers it
    };
    std::optional<FirstDivergence> first;
    std::vector<HeldValue> values;
    std::string answers;  // the record with the answers of this driver, as a file; when wanted

    // Was anything compared, and all of it equal? What could not be read of the record is not part of this.
    bool isExact() const { return calls > 0 && divergences == 0 && problem.empty() && signal == 0; }
};

// From the first event on, wherever `record` is; it stays there. `run` is what the answers say of themselves, when they are
// wanted. `watch` is called now and then with the number of events that were replayed so far. REQUIRES: the driver is
// loaded; this process has one thread.
ReplayedRecord replayRecord(const record::RunInfo& run, record::RecordReader& record, ReplayDriver& driver,
                            const ReplayWish& wish, const std::function<void(std::size_t)>& watch);

}  // namespace ac500::host

#endif
