#include "tests/soak/write_ledger.h"

namespace ac500::soak {

void WriteLedger::order(std::size_t tag, host::Time now,
                        const std::function<std::int32_t(std::uint64_t generation)>& order) {
    const std::lock_guard<std::mutex> lock(mutex_);
    TagHistory& history = tags_[tag];
    ++history.newest;
    ++counts_.ordered;
    history.at(history.newest) = {history.newest, order(history.newest), State::Open, now, host::Time(0), false};
}

void WriteLedger::ended(const OpenWrite& write, bool done, host::Time at) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++(done ? counts_.done : counts_.failed);
    Attempt& attempt = tags_[write.tag].at(write.generation);
    if (attempt.generation == write.generation) {
        attempt.state = done ? State::Done : State::Failed;
        attempt.ended = at;
    }
}

std::vector<WriteLedger::OpenWrite> WriteLedger::open() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<OpenWrite> open;
    for (std::size_t tag = 0; tag < tags_.size(); ++tag) {
        for (std::uint64_t g = tags_[tag].oldest(); g <= tags_[tag].newest; ++g) {
            const Attempt& attempt = tags_[tag].at(g);
            if (attempt.state == State::Open) {
                open.push_back({tag, g, attempt.serial, attempt.ordered});
            }
        }
    }
    return open;
}

std::uint64_t WriteLedger::newestDone(const TagHistory& tag, host::Time since) {
    for (std::uint64_t g = tag.newest; g > tag.oldest(); --g) {
        if (tag.at(g).state == State::Done && tag.at(g).ended <= since) {
            return g;
        }
    }
    return tag.oldest();
}

std::vector<std::uint64_t> WriteLedger::possible(std::size_t tag, host::Time since) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::uint64_t> generations;
    for (std::uint64_t g = newestDone(tags_[tag], since); g <= tags_[tag].newest; ++g) {
        generations.push_back(g);
    }
    return generations;
}

void WriteLedger::seenInPlc(std::size_t tag, std::uint64_t generation, host::Time since) {
    const std::lock_guard<std::mutex> lock(mutex_);
    TagHistory& history = tags_[tag];
    for (std::uint64_t g = history.oldest(); g <= history.newest; ++g) {
        Attempt& attempt = history.at(g);
        if (attempt.state == State::Done && !attempt.isLookedAt && attempt.ended <= since) {
            attempt.isLookedAt = true;
            ++(g == generation ? counts_.confirmed : counts_.overtaken);
        }
    }
}

WriteLedger::Counts WriteLedger::counts() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return counts_;
}

}  // namespace ac500::soak
