#include "tests/soak/load.h"

#include <algorithm>
#include <numeric>

#include <fmt/format.h>

#include "tools/simulator/random.h"

namespace ac500::soak {

namespace {

using host::Milliseconds;

constexpr int kWriters = 2;
constexpr int kWriteEveryMs = 33;  // each writer
constexpr int kReadEveryMs = 100;
constexpr std::size_t kMostOpen = 60;
// In a storm writes go first, five requests in a row, and each may cost its retries, a lost connection and up to five
// seconds until the host calls a PLC that keeps closing again. In quiet times orders have to end much sooner; see round().
constexpr std::chrono::seconds kPatience{60};

class Deck {
public:
    Deck(std::vector<std::size_t> cards, std::uint64_t seed) : cards_(std::move(cards)), random_(seed) {}

    std::size_t draw() {
        if (next_ == 0) {
            for (std::size_t i = cards_.size(); i > 1; --i) {
                std::swap(cards_[i - 1], cards_[static_cast<std::size_t>(random_.next() % i)]);
            }
        }
        const std::size_t card = cards_[next_];
        next_ = (next_ + 1) % cards_.size();
        return card;
    }

private:
    std::vector<std::size_t> cards_;
    sim::Random random_;
    std::size_t next_ = 0;
};

std::vector<std::size_t> positions(const std::vector<WatchedTag>& tags, bool writtenOnly) {
    std::vector<std::size_t> found;
    for (std::size_t i = 0; i < tags.size(); ++i) {
        if (tags[i].plant.isWritten || !writtenOnly) {
            found.push_back(i);
        }
    }
    return found;
}

}  // namespace

Load::Load(const Parts& parts, std::uint64_t seed) : parts_(parts) {
    for (int i = 0; i < kWriters; ++i) {
        threads_.emplace_back([this, seed, i] { keepWriting(seed + static_cast<std::uint64_t>(i)); });
    }
    threads_.emplace_back([this, seed] { keepReading(seed + kWriters); });
}

Load::~Load() {
    stopping_ = true;
    for (std::thread& thread : threads_) {
        thread.join();
    }
}

// True when something may be ordered; `ordering_` then counts this thread until it has.
bool Load::wait(int steadyMs, std::size_t open) {
    const Pace pace = pace_;
    std::this_thread::sleep_for(Milliseconds(pace == Pace::Rush ? 1 : pace == Pace::Steady ? steadyMs : 5));
    if (open >= kMostOpen) {
        return false;
    }
    ++ordering_;
    if (pace_ == Pace::Rest || pace == Pace::Rest || stopping_) {
        --ordering_;
        return false;
    }
    return true;
}

void Load::keepWriting(std::uint64_t seed) {
    Deck deck(positions(parts_.tags, true), seed);
    while (!stopping_) {
        if (wait(kWriteEveryMs, static_cast<std::size_t>(parts_.ledger.counts().open()))) {
            write(deck.draw());
            --ordering_;
        }
    }
}

void Load::write(std::size_t tag) {
    const TagShape& shape = parts_.tags[tag].shape;
    parts_.ledger.order(tag, parts_.clock.now(), [&](std::uint64_t generation) {
        return parts_.session.write(shape.tag(),
                                    shape.valuesOf(shape.pattern(generation, TagShape::BitPattern::OfItsOwn)));
    });
}

void Load::keepReading(std::uint64_t seed) {
    Deck deck(positions(parts_.tags, false), seed);
    while (!stopping_) {
        if (wait(kReadEveryMs, static_cast<std::size_t>(readsOrdered_ - readsDone_ - readsFailed_))) {
            const std::lock_guard<std::mutex> lock(mutex_);
            const std::size_t tag = deck.draw();
            openReads_.push_back({tag, parts_.session.readOnce(parts_.tags[tag].shape.tag()), parts_.clock.now()});
            ++readsOrdered_;
            --ordering_;
        }
    }
}

bool Load::isDrained() const {
    return ordering_ == 0 && parts_.ledger.counts().open() == 0 && readsOrdered_ == readsDone_ + readsFailed_;
}

void Load::follow() {
    followWrites();
    followReads();
}

void Load::followWrites() {
    const host::Time now = parts_.clock.now();
    for (const WriteLedger::OpenWrite& write : parts_.ledger.open()) {
        const std::optional<host::Order> record = parts_.session.order(write.serial);
        const std::string& name = parts_.tags[write.tag].plant.text;
        if (!record) {
            parts_.findings.add(fmt::format("write {} of {} is forgotten and was never ended", write.serial, name));
            parts_.ledger.ended(write, false, now);
        } else if (host::hasEnded(record->step)) {
            checkFate(write, *record);
            writeTexts_.add(record->failure.text.size());
            parts_.ledger.ended(write, record->step == host::OrderStep::Succeeded, record->ended);
        } else if (now - write.ordered > kPatience) {
            parts_.findings.add(fmt::format("write {} of {} has not ended in {} s; to the driver's reports it is {}",
                                            write.serial, name, kPatience.count(),
                                            fateName(parts_.book.fateOf(write.serial))));
            parts_.ledger.ended(write, false, now);
        }
    }
}

void Load::checkFate(const WriteLedger::OpenWrite& write, const host::Order& record) {
    const Fate fate = parts_.book.fateOf(write.serial);
    const bool done = record.step == host::OrderStep::Succeeded;
    if (!done && fate == Fate::Done && record.answered != host::Time(0)) {
        ++writesDoubted_;
        return;
    }
    if (done ? fate != Fate::Done : fate == Fate::Done || fate == Fate::Open) {
        parts_.findings.add(fmt::format("write {} of {} {}, but to the driver's reports it is {}", write.serial,
                                        parts_.tags[write.tag].plant.text,
                                        done ? "succeeded" : "failed (" + record.failure.text + ")", fateName(fate)));
    }
}

void Load::followReads() {
    const std::lock_guard<std::mutex> lock(mutex_);
    const host::Time now = parts_.clock.now();
    const auto isOver = [&](const OpenRead& read) {
        const std::optional<host::Order> record = parts_.session.order(read.serial);
        const std::string& name = parts_.tags[read.tag].plant.text;
        if (!record) {
            parts_.findings.add(fmt::format("one-shot read {} of {} is forgotten", read.serial, name));
        } else if (record->step == host::OrderStep::Succeeded) {
            ++readsDone_;
            readTexts_.add(0);
            return true;
        } else if (record->step != host::OrderStep::Failed && now - read.ordered > kPatience) {
            parts_.findings.add(
                fmt::format("one-shot read {} of {} has not ended in {} s", read.serial, name, kPatience.count()));
        } else if (record->step != host::OrderStep::Failed) {
            return false;
        }
        ++readsFailed_;
        readTexts_.add(record ? record->failure.text.size() : 0);
        return true;
    };
    openReads_.erase(std::remove_if(openReads_.begin(), openReads_.end(), isOver), openReads_.end());
}

}  // namespace ac500::soak
