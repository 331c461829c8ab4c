// ScannedRecord is a record that was gone through once: what is to be said of the whole of it. Its events are read from its
// bytes each time that they are wanted, and are never all in memory, because a byte of a record may stand for many events.
#ifndef AC500_TOOLS_HOST_SCANNED_RECORD_H
#define AC500_TOOLS_HOST_SCANNED_RECORD_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/record/event.h"
#include "tools/record/record_reader.h"

namespace ac500::host {

class ScannedRecord {
public:
    // As RecordReader::open().
    static std::optional<ScannedRecord> open(const std::string& path, std::string* error);

    struct Mark {
        std::uint64_t number = 0;
        std::int64_t monotonicUs = 0;
        std::int64_t utcUs = 0;
    };

    const record::RunInfo& run() const { return reader_->run(); }
    std::size_t events() const { return events_; }
    std::size_t calls() const { return calls_; }
    // REQUIRES: there are events.
    const Mark& first() const { return first_; }
    const Mark& last() const { return last_; }
    const record::RecordEnd& end() const { return end_; }
    const std::vector<std::string>& remarks() const { return remarks_; }
    bool isDamaged() const { return isDamaged_; }
    const std::string& earlierRun() const { return reader_->earlierRun(); }
    // What was measured until the end of the record: the last line of each kind.
    const std::vector<std::string>& latencies() const { return latencies_; }

    // How many events from the first on belong to it, up to the first that does not.
    std::size_t countWhile(const std::function<bool(const record::Event&)>& belongs) const;
    // Shows the first `count` events one after another.
    void each(std::size_t count, const std::function<void(const record::Event&)>& see) const;
    // The event at `position`, and up to `most` of those before it that are `wanted`. REQUIRES: position < events()
    struct Excerpt {
        record::Event event;
        std::vector<record::Event> before;
    };
    Excerpt excerpt(std::size_t position, std::size_t most,
                    const std::function<bool(const record::Event&)>& wanted) const;
    // For whoever goes through the events by itself. The functions above leave it anywhere.
    record::RecordReader& reader() const { return *reader_; }

private:
    explicit ScannedRecord(std::unique_ptr<record::RecordReader> reader) : reader_(std::move(reader)) {}
    void take(const record::Event& event);
    void takeLatency(const std::string& line);

    std::unique_ptr<record::RecordReader> reader_;
    std::size_t events_ = 0;
    std::size_t calls_ = 0;
    Mark first_;
    Mark last_;
    record::RecordEnd end_;
    std::vector<std::string> remarks_;
    bool isDamaged_ = false;
    std::vector<std::string> latencies_;
};

}  // namespace ac500::host

#endif
