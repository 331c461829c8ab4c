// ValueSet holds values as they were when they were handed out. Immutable but for acceptStale() and the texts, which are made
// when they are asked for; safe to share between threads, and usable in the child of a fork(): it has no locks.
#ifndef AC500_TOOLS_CLIENT_VALUE_SET_H
#define AC500_TOOLS_CLIENT_VALUE_SET_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/client/ac500_client.h"
#include "tools/client/result.h"
#include "tools/host/host_session.h"

namespace ac500::client {

struct ValueEntry {
    std::shared_ptr<const host::Tag> tag;
    host::TagValue value;              // values as the PLC has them
    host::Failure failure;             // why it was read in vain, or why the last write failed
    std::int64_t receivedUnixMs = -1;  // unless it is known
};

class ValueSet {
public:
    explicit ValueSet(std::vector<ValueEntry> entries);
    ~ValueSet();
    ValueSet(const ValueSet&) = delete;
    ValueSet& operator=(const ValueSet&) = delete;

    std::size_t count() const { return items_.size(); }
    // From here on REQUIRES: index < count()

    // Its texts live as long as this.
    ac500_value_info info(std::size_t index) const;

    void acceptStale() { acceptsStale_ = true; }

    // Exactly as many elements as the value has go to `to`, which is changed on success alone.
    Result copyBools(std::size_t index, std::int32_t* to, std::size_t count) const;
    Result copyInt64s(std::size_t index, std::int64_t* to, std::size_t count) const;
    Result copyUint64s(std::size_t index, std::uint64_t* to, std::size_t count) const;
    Result copyDoubles(std::size_t index, double* to, std::size_t count) const;
    Result copyNanoseconds(std::size_t index, std::int64_t* to, std::size_t count) const;
    Result copyStrings(std::size_t index, const char** to, std::size_t count) const;
    // As people at the plant know it; lives as long as this.
    Result text(std::size_t index, const char** to) const;

private:
    struct Item {
        ValueEntry entry;
        host::HostValues plant;
    };

    // Nothing wrong, or why the value is not to be had.
    Result availability(std::size_t index) const;
    template <typename Target, typename Convert>
    Result copy(std::size_t index, Target* to, std::size_t count, const char* kind, Convert convert) const;

    std::vector<Item> items_;
    std::atomic<bool> acceptsStale_{false};
    mutable std::vector<std::atomic<const std::string*>> texts_;  // ours; null until asked for
};

}  // namespace ac500::client

#endif
