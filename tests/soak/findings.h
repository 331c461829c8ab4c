// Findings collects what went wrong in a long run: printed at once, counted, and the first few kept.
// Every function may be called from any thread.
#ifndef AC500_TESTS_SOAK_FINDINGS_H
#define AC500_TESTS_SOAK_FINDINGS_H

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace ac500::soak {

class Findings {
public:
    // `print` gets each finding as one line; `now` gives the seconds since the start.
    Findings(std::function<double()> now, std::function<void(const std::string&)> print)
        : now_(std::move(now)), print_(std::move(print)) {}

    void add(const std::string& what);
    std::size_t count() const { return count_; }
    // So many that going on shows nothing new.
    bool areEnough() const { return count_ >= kEnough; }

    static constexpr std::size_t kEnough = 10;

private:
    const std::function<double()> now_;
    const std::function<void(const std::string&)> print_;
    std::mutex mutex_;
    std::atomic<std::size_t> count_{0};
};

}  // namespace ac500::soak

#endif
