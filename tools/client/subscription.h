// Subscription watches the values of some tags and keeps what is new until it is told: to a callback, or to whoever asks for
// the next event. Of each tag only the latest is kept, so what waits has a bound. Every function may be called from any thread.
#ifndef AC500_TOOLS_CLIENT_SUBSCRIPTION_H
#define AC500_TOOLS_CLIENT_SUBSCRIPTION_H

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "tools/client/plc.h"

namespace ac500::client {

class Subscription {
public:
    // Gets the values, on the thread that calls deliver().
    using Callback = std::function<void(std::vector<ValueEntry>)>;

    // Without a callback it has a descriptor. Throws std::system_error when there is none to be had.
    Subscription(std::weak_ptr<Plc> plc, std::vector<TagRef> tags, bool tellsReceptions, Callback callback);
    ~Subscription();
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;

    std::shared_ptr<Plc> plc() const { return plc_.lock(); }
    const std::vector<TagRef>& tags() const { return tags_; }
    bool hasCallback() const { return callback_ != nullptr; }
    // REQUIRES: no callback
    int descriptor() const { return descriptor_; }

    // One thread at a time for both: notes what is new, and calls back if there is anything and it has not ended.
    void look(const Plc& plc);
    void deliver(const Plc& plc);

    // What is new, waiting at most `timeout` for it: AC500_NOTHING when nothing came, AC500_CLOSED when it has ended.
    Result next(host::Milliseconds timeout, std::vector<ValueEntry>* entries);

    // No callback begins any more, and whoever waits for events goes on, by the descriptor, too.
    void end();
    // Waits until no callback runs, at most `timeout`: does none? True at once in the callback itself.
    bool waitUntilQuiet(host::Milliseconds timeout);

private:
    struct Known {
        host::TagValue value;
        bool isNew = false;
    };

    bool isNews(const Known& known, const host::TagValue& value) const;
    std::vector<ValueEntry> takeNews(const Plc& plc);

    // Constant after construction
    const std::weak_ptr<Plc> plc_;
    const std::vector<TagRef> tags_;
    const bool tellsReceptions_;
    const Callback callback_;
    int descriptor_ = -1;

    std::mutex mutex_;
    std::condition_variable changed_;

    // Protected by mutex_
    std::vector<Known> known_;  // as tags_
    std::size_t news_ = 0;      // how many of them are new
    bool hasEnded_ = false;
    std::optional<std::thread::id> callbackThread_;  // while a callback runs
};

}  // namespace ac500::client

#endif
