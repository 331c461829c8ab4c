// WriterWatch tells when a variable that nobody but this host is to write was changed by somebody else: another panel, a
// second host, or the PLC's own program. It is fed with what is received and what is written, value by value, and knows no
// clock and no network. Not thread-safe.
//
// It sees what the passes bring: a change that was taken back between two of them is not seen, and neither is one that is
// made to the value that was there, or that was written here.
#ifndef AC500_TOOLS_GUARD_WRITER_WATCH_H
#define AC500_TOOLS_GUARD_WRITER_WATCH_H

#include <map>
#include <optional>
#include <string>

namespace ac500::guard {

// Values are texts that are equal exactly when the values are.
struct ForeignWrite {
    std::string expected;  // what the PLC had, or what was written here
    std::string found;
    int passes = 0;  // since it was written here, at most kPassesTold; 0: longer ago, or not at all
};

class WriterWatch {
public:
    // A change within so many readings of a write is told as a change of what was written.
    static constexpr int kPassesTold = 100;

    // The PLC has taken `value` from here.
    void written(const std::string& tag, const std::string& value);
    // The tag, or a part of it, is being written from here in another way, or nobody knows with what success: whatever is
    // received next is right.
    void touched(const std::string& tag);
    // What a pass brought. Something when nobody here wrote that; it is what is expected from then on.
    std::optional<ForeignWrite> received(const std::string& tag, const std::string& value);
    // Whatever is received next is right, of every tag: what happened while nobody looked is not known.
    void forget() { known_.clear(); }

private:
    struct Known {
        std::string value;
        bool wasWritten = false;
        int passes = 0;  // since then
    };
    std::map<std::string, Known> known_;
};

// "we wrote 21.5, 3 passes later the PLC has 23.0, which nobody here wrote".
std::string describe(const ForeignWrite& write);

}  // namespace ac500::guard

#endif
