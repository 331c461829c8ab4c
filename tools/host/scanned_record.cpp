#include "tools/host/scanned_record.h"

#include <algorithm>
#include <deque>
#include <iterator>
#include <utility>
#include <variant>

#include "tools/host/latencies.h"
#include "tools/replay/driver_caller.h"

namespace ac500::host {

using record::Event;

std::optional<ScannedRecord> ScannedRecord::open(const std::string& path, std::string* error) {
    std::unique_ptr<record::RecordReader> reader = record::RecordReader::open(path, error);
    if (reader == nullptr) {
        return std::nullopt;
    }
    ScannedRecord record(std::move(reader));
    while (const std::optional<Event> event = record.reader_->next()) {
        record.take(*event);
    }
    record.end_ = record.reader_->end();
    record.remarks_ = record.reader_->remarks();
    record.isDamaged_ = record.reader_->isDamaged();
    return record;
}

void ScannedRecord::take(const Event& event) {
    last_ = {event.number, event.monotonicUs, event.utcUs};
    if (events_ == 0) {
        first_ = last_;
    }
    ++events_;
    calls_ += replay::isCall(event.what) ? 1 : 0;
    const auto* note = std::get_if<record::Note>(&event.what);
    if (note != nullptr && note->kind == record::NoteKind::Remark && note->id == kLatencyNoteId) {
        takeLatency(note->text);
    }
}

void ScannedRecord::takeLatency(const std::string& line) {
    const std::string kind = line.substr(0, line.find_first_of("0123456789"));
    const auto known = std::find_if(latencies_.begin(), latencies_.end(),
                                    [&kind](const std::string& other) { return other.rfind(kind, 0) == 0; });
    if (known == latencies_.end()) {
        latencies_.push_back(line);
    } else {
        *known = line;
    }
}

std::size_t ScannedRecord::countWhile(const std::function<bool(const Event&)>& belongs) const {
    std::size_t count = 0;
    reader_->rewind();
    for (std::optional<Event> event = reader_->next(); event && belongs(*event); event = reader_->next()) {
        ++count;
    }
    return count;
}

void ScannedRecord::each(std::size_t count, const std::function<void(const Event&)>& see) const {
    reader_->rewind();
    for (std::size_t i = 0; i < count; ++i) {
        const std::optional<Event> event = reader_->next();
        if (!event) {
            return;
        }
        see(*event);
    }
}

ScannedRecord::Excerpt ScannedRecord::excerpt(std::size_t position, std::size_t most,
                                              const std::function<bool(const Event&)>& wanted) const {
    std::deque<Event> before;
    reader_->rewind();
    std::optional<Event> event = reader_->next();
    for (std::size_t i = 0; event && i < position; ++i) {
        if (wanted(*event)) {
            before.push_back(std::move(*event));
        }
        if (before.size() > most) {
            before.pop_front();
        }
        event = reader_->next();
    }
    return {event ? std::move(*event) : Event(),
            {std::make_move_iterator(before.begin()), std::make_move_iterator(before.end())}};
}

}  // namespace ac500::host
