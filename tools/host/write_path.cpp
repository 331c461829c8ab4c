#include "tools/host/write_path.h"

#include <fmt/format.h>

#include <deque>
#include <map>
#include <mutex>
#include <utility>

#include "tools/host/plant_values.h"

namespace ac500::host {

namespace {

Failure notSent(const std::string& why) {
    return {FailureKind::Usage, "not sent: " + why};
}

// Two requests are the same write when they ask for the same.
std::string fingerprintOf(const WriteRequest& request) {
    std::string text = fmt::format("{}={}", request.tag.text, formatValues(request.tag.form, request.values));
    if (request.replaces) {
        text += fmt::format(" for {}", formatValues(request.tag.form, *request.replaces));
    }
    for (const WriteCondition& condition : request.conditions) {
        text += fmt::format(" if {}={}", condition.tag.text, formatValues(condition.tag.form, condition.values));
    }
    return text;
}

WriteReport reportOf(const Order& write) {
    return {write.outcome, write.failure, write.before, write.bitsBefore};
}

Failure whyUnusable(const WriteRequest& request) {
    if (request.number.size() > WritePath::kLongestNumber) {
        return notSent(fmt::format("a one-use number has at most {} bytes, this one {}", WritePath::kLongestNumber,
                                   request.number.size()));
    }
    if (request.replaces && static_cast<int>(request.replaces->size()) != request.tag.elements) {
        return notSent(fmt::format("{} values are needed of what is to be replaced; {} given", request.tag.elements,
                                   request.replaces->size()));
    }
    const Failure failure = checkWrite(request.tag, request.values);
    return failure.occurred() ? notSent(failure.text) : failure;
}

}  // namespace

const char* writeOutcomeName(WriteOutcome outcome) {
    switch (outcome) {
        case WriteOutcome::Pending:
            return "pending";
        case WriteOutcome::Done:
            return "done";
        case WriteOutcome::Refused:
            return "refused";
        case WriteOutcome::NotSent:
            return "not sent";
        case WriteOutcome::Unknown:
            return "unknown";
    }
    return "?";
}

std::string outcomeText(const WriteReport& report) {
    const std::string begin = std::string(writeOutcomeName(report.outcome)) + ": ";
    const bool isSaid = report.failure.text.compare(0, begin.size(), begin) == 0;
    return isSaid ? report.failure.text : begin + report.failure.text;
}

std::string differenceText(const Tag& write, const WriteCondition& condition, const HostValues& now) {
    const std::string begin = !condition.otherwise.empty()       ? condition.otherwise + ": "
                              : condition.tag.text != write.text ? condition.tag.text + ": "
                                                                 : std::string();
    return fmt::format("{}it was {} when you looked, it is {} now", begin,
                       formatPlantValues(condition.tag, condition.values), formatPlantValues(condition.tag, now));
}

Failure checkWrite(const Tag& tag, const HostValues& values) {
    std::string error;
    return mayBeWritten(tag, values, &error) ? Failure() : Failure{FailureKind::Usage, tag.text + ": " + error};
}

// ---------------------------------------------------------------------------------------------------------------------
// What was ordered, and what became of it
// ---------------------------------------------------------------------------------------------------------------------

class WritePath::Ledger {
public:
    explicit Ledger(std::size_t kept) : kept_(kept) {}

    // A new entry, or that of the write that used the number before; nothing when that was another write.
    std::optional<WriteTicket> open(const std::string& number, const std::string& fingerprint) {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto used = number.empty() ? numbers_.end() : numbers_.find(number);
        if (used != numbers_.end()) {
            const bool isSame = entries_.at(used->second).fingerprint == fingerprint;
            return isSame ? std::optional<WriteTicket>({used->second, true}) : std::nullopt;
        }
        const std::int64_t id = add(number, fingerprint);
        if (!number.empty()) {
            numbers_[number] = id;
        }
        return WriteTicket{id, false};
    }

    // An entry that has no number, for a write that is refused at once.
    WriteTicket openRefused() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return {add({}, {}), false};
    }

    void close(std::int64_t id, const WriteReport& report) {
        const std::lock_guard<std::mutex> lock(mutex_);
        Entry& entry = entries_.at(id);
        entry.report = report;
        std::deque<std::int64_t>& ended = entry.number.empty() ? endedPlain_ : endedNumbered_;
        ended.push_back(id);
        if (ended.size() > kept_) {
            forget(ended.front());
            ended.pop_front();
        }
    }

    std::optional<WriteReport> report(std::int64_t id) const {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = entries_.find(id);
        return found == entries_.end() ? std::nullopt : std::optional<WriteReport>(found->second.report);
    }

private:
    struct Entry {
        std::string number;
        std::string fingerprint;
        WriteReport report;
    };

    std::int64_t add(const std::string& number, const std::string& fingerprint) {
        entries_[++lastId_] = {number, fingerprint, {}};
        return lastId_;
    }

    void forget(std::int64_t id) {
        numbers_.erase(entries_.at(id).number);
        entries_.erase(id);
    }

    const std::size_t kept_;
    mutable std::mutex mutex_;

    // Protected by mutex_
    std::map<std::int64_t, Entry> entries_;
    std::map<std::string, std::int64_t> numbers_;
    std::deque<std::int64_t> endedPlain_;     // oldest first
    std::deque<std::int64_t> endedNumbered_;  // likewise
    std::int64_t lastId_ = 0;
};

// ---------------------------------------------------------------------------------------------------------------------
// The path
// ---------------------------------------------------------------------------------------------------------------------

WritePath::WritePath(HostSession& session, const Clock& clock, Settings settings)
    : session_(session),
      clock_(clock),
      settings_(std::move(settings)),
      ledger_(std::make_shared<Ledger>(settings_.kept)) {}

WritePath::~WritePath() = default;

// A number is remembered of writes alone that can be ordered: it is as long as it may be then.
WriteTicket WritePath::order(const WriteRequest& request) {
    const Failure unusable = whyUnusable(request);
    if (unusable.occurred()) {
        return refuse(unusable);
    }
    const std::optional<WriteTicket> opened = ledger_->open(request.number, fingerprintOf(request));
    if (!opened) {
        return refuse(notSent("its number was used by another write"));
    }
    if (!opened->isRepeat) {
        session_.write(request.tag, request.values, termsOf(request, opened->id));
    }
    return *opened;
}

WriteTicket WritePath::refuse(const Failure& failure) {
    const WriteTicket ticket = ledger_->openRefused();
    ledger_->close(ticket.id, {WriteOutcome::NotSent, failure, {}, {}});
    return ticket;
}

WriteTerms WritePath::termsOf(const WriteRequest& request, std::int64_t id) const {
    WriteTerms terms;
    terms.isOnce = true;
    terms.conditions = settings_.conditions;
    terms.conditions.insert(terms.conditions.end(), request.conditions.begin(), request.conditions.end());
    if (request.replaces) {
        terms.conditions.push_back({request.tag, *request.replaces, {}});
    }
    terms.readsFirst = request.readsFirst;
    terms.gates = settings_.gates;
    terms.expiry = request.expiry;
    terms.who = request.who;
    terms.number = request.number;
    terms.undoes = request.undoes;
    terms.ended = [ledger = ledger_, id](const Order& write) { ledger->close(id, reportOf(write)); };
    return terms;
}

std::optional<WriteReport> WritePath::report(const WriteTicket& ticket) const {
    return ledger_->report(ticket.id);
}

std::optional<WriteReport> WritePath::wait(const WriteTicket& ticket, Milliseconds timeout) const {
    const Time deadline = clock_.now() + timeout;
    for (;;) {
        const std::size_t seen = session_.changes();
        std::optional<WriteReport> now = report(ticket);
        if (!now || now->outcome != WriteOutcome::Pending || clock_.now() >= deadline) {
            return now;
        }
        session_.waitForChangeAfter(seen, std::chrono::ceil<Milliseconds>(deadline - clock_.now()));
    }
}

}  // namespace ac500::host
