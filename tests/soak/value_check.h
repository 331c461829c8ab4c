// ValueCheck compares what host and PLC show of all tags with what they may show. What is demanded of the driver:
//
//   - A request is answered with one snapshot of the PLC, and the driver shows it whole: all bytes of a tag that came in
//     one request have the same generation in one reading. Where a request ended (a seam), the next may be younger.
//   - A value is as young as the host says: not older than the request that was sent before its oldest byte arrived.
//   - A written tag shows the newest write that was reported done before that, or a later one; element by element,
//     because long arrays and strings are written in several requests.
//
// Not thread-safe, but runs beside everything else.
#ifndef AC500_TESTS_SOAK_VALUE_CHECK_H
#define AC500_TESTS_SOAK_VALUE_CHECK_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/soak/exchange_log.h"
#include "tests/soak/findings.h"
#include "tests/soak/plant.h"
#include "tests/soak/plc_process.h"
#include "tests/soak/tag_shape.h"
#include "tests/soak/write_ledger.h"
#include "tools/host/host_session.h"

namespace ac500::soak {

struct WatchedTag {
    PlantTag plant;
    TagShape shape;
};

class ValueCheck {
public:
    // All must outlive the check. `epoch`: where the PLC's time begins.
    struct Parts {
        const std::vector<WatchedTag>& tags;
        const host::HostSession& session;
        const host::Clock& clock;
        host::Time epoch;
        const ExchangeLog& log;
        WriteLedger& ledger;  // by the position among the tags
        Findings& findings;
    };
    explicit ValueCheck(const Parts& parts);

    // What the host shows of every tag. With `since`, every value must have been received after it and be no stale one.
    void checkHost(std::optional<host::Time> since);
    // What the PLC holds of every written tag. `since`: a time before the areas were read.
    void checkPlc(const AreaBytes& areas, host::Time since);

    std::int64_t checked() const { return checked_; }  // elements
    std::int64_t skipped() const { return skipped_; }  // tags that had no value at the time
    std::size_t seams() const { return seams_.count(); }

private:
    struct Memory {  // of one tag
        std::vector<Piece> pieces;
        std::map<std::uint64_t, Bytes> patterns;  // by generation, a few
    };

    void checkTag(std::size_t tag, std::optional<host::Time> since);
    std::vector<std::uint64_t> generationsBetween(int periodMs, host::Time first, host::Time last) const;
    const Bytes& pattern(std::size_t tag, std::uint64_t generation);
    void refreshSeams();
    void complain(const std::string& where, std::size_t tag, const Mismatch& mismatch,
                  const std::vector<std::uint64_t>& generations, std::int64_t frame);
    std::string origin(const Mismatch& mismatch, std::uint64_t newest) const;

    const Parts parts_;
    Seams seams_;
    std::vector<Memory> memory_;
    std::int64_t checked_ = 0;
    std::int64_t skipped_ = 0;
};

}  // namespace ac500::soak

#endif
