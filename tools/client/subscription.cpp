#include "tools/client/subscription.h"

#include <cxxabi.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>

namespace ac500::client {

using host::TagValue;
using host::ValueState;

namespace {

// The counter of the descriptor: not 0 makes it readable. Both fail only where there is nothing to do.
void makeReadable(int descriptor) {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(descriptor, &one, sizeof one);
}

void makeUnreadable(int descriptor) {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = read(descriptor, &count, sizeof count);
}

}  // namespace

Subscription::Subscription(std::weak_ptr<Plc> plc, std::vector<TagRef> tags, bool tellsReceptions, Callback callback)
    : plc_(std::move(plc)),
      tags_(std::move(tags)),
      tellsReceptions_(tellsReceptions),
      callback_(std::move(callback)),
      known_(tags_.size()) {
    if (!hasCallback()) {
        descriptor_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
        if (descriptor_ < 0) {
            throw std::system_error(errno, std::generic_category(), "a descriptor for events");
        }
    }
}

Subscription::~Subscription() {
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
}

bool Subscription::isNews(const Known& known, const TagValue& value) const {
    return !host::isSameButAge(known.value, value) || (tellsReceptions_ && value.received != known.value.received);
}

void Subscription::look(const Plc& plc) {
    for (std::size_t i = 0; i < tags_.size(); ++i) {
        TagValue value = plc.glance(*tags_[i]);
        const std::lock_guard<std::mutex> lock(mutex_);
        Known& known = known_[i];
        if (!isNews(known, value)) {
            known.value.received = value.received;  // an event tells how old the value is, not how old the news are
            continue;
        }
        known.value = std::move(value);
        news_ += known.isNew ? 0 : 1;
        known.isNew = true;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    if (news_ > 0 && !hasCallback()) {
        makeReadable(descriptor_);
        changed_.notify_all();
    }
}

// REQUIRES: mutex_ is held
std::vector<ValueEntry> Subscription::takeNews(const Plc& plc) {
    std::vector<ValueEntry> entries;
    entries.reserve(news_);
    for (std::size_t i = 0; i < tags_.size(); ++i) {
        if (known_[i].isNew) {
            entries.push_back(plc.entryOf(tags_[i], known_[i].value));
        }
    }
    for (Known& known : known_) {
        known.isNew = false;
    }
    news_ = 0;
    if (!hasCallback()) {
        makeUnreadable(descriptor_);
    }
    return entries;
}

void Subscription::deliver(const Plc& plc) {
    std::vector<ValueEntry> entries;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (hasEnded_ || news_ == 0 || !hasCallback()) {
            return;
        }
        entries = takeNews(plc);
        callbackThread_ = std::this_thread::get_id();
    }
    try {
        callback_(std::move(entries));
    } catch (const abi::__forced_unwind&) {
        throw;  // the thread is being ended
    } catch (...) {
        // What a program throws is its own affair; it was told that it is forgotten.
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    callbackThread_.reset();
    changed_.notify_all();
}

Result Subscription::next(host::Milliseconds timeout, std::vector<ValueEntry>* entries) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, timeout, [this] { return hasEnded_ || news_ > 0; });
    const std::shared_ptr<Plc> owner = plc();
    if (hasEnded_ || owner == nullptr) {
        return closed();
    }
    if (news_ == 0) {
        return {AC500_NOTHING, "no event came in time"};
    }
    *entries = takeNews(*owner);
    return {};
}

// Nothing is taken any more, so the descriptor stays readable.
void Subscription::end() {
    const std::lock_guard<std::mutex> lock(mutex_);
    hasEnded_ = true;
    changed_.notify_all();
    if (!hasCallback()) {
        makeReadable(descriptor_);
    }
}

bool Subscription::waitUntilQuiet(host::Milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, timeout,
                             [this] { return !callbackThread_ || *callbackThread_ == std::this_thread::get_id(); });
}

}  // namespace ac500::client
