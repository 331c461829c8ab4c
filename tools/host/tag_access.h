// TagAccess reaches tags through the driver: it knows which calls a tag takes, with which names, counts and pieces. The
// driver reads and writes by name, but limits what one call carries (quirk 24), and strings in arrays it transfers whole
// only by address.
#ifndef AC500_TOOLS_HOST_TAG_ACCESS_H
#define AC500_TOOLS_HOST_TAG_ACCESS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/host/driver_library.h"
#include "tools/host/tag.h"

namespace ac500::host {

class TagAccess {
public:
    // `driver` must outlive this. `maxRequestBytes`: pieces that are transferred by address are at most so long.
    TagAccess(const DriverFunctions& driver, int maxRequestBytes)
        : driver_(driver), maxRequestBytes_(maxRequestBytes) {}

    // Any thread

    // Does the driver resolve the tag to where the symbol file has it? Else *error says what it answers instead.
    bool isKnown(const Tag& tag, std::string* error) const;

    // Loop thread, between two steps of the loop or in what the loop reports

    // What the driver's byte image holds of the tag, whether it was received or not.
    HostValues imageValues(const Tag& tag) const;
    // Reads these tags in every cycle, and no others. Returns the number of requests then in the cyclic list.
    int rebuildCyclicList(const std::vector<Tag>& tags);
    // Reads a string in an array in every cycle, in addition. Returns the number of requests then in the cyclic list;
    // nothing when it is read already.
    std::optional<int> addToCyclicList(const Tag& tag);
    // Reads the tag once, unless it is a string in an array. False: the driver refuses.
    bool readOnce(const Tag& tag, std::int32_t serial);
    // REQUIRES: as many values as the tag has elements. False: the driver refuses at least a part.
    bool write(const Tag& tag, const HostValues& values, std::int32_t serial);

private:
    int appendByAddress(const Tag& tag);
    bool writeByName(const Tag& tag, const HostValues& values, std::int32_t serial);
    void writeByAddress(const Tag& tag, const HostValues& values, std::int32_t serial);

    const DriverFunctions& driver_;
    const int maxRequestBytes_;

    // Loop thread
    std::vector<std::string> readByAddress_;  // tags in the cyclic list
};

}  // namespace ac500::host

#endif
