// What the numbers of C are as values of a tag, and the other way round. Pure functions. HostValue stands for what a C program
// gives, too: bool, std::int64_t, std::uint64_t, double or std::string.
#ifndef AC500_TOOLS_CLIENT_CONVERSION_H
#define AC500_TOOLS_CLIENT_CONVERSION_H

#include <cstdint>
#include <optional>
#include <string>

#include "tools/client/ac500_client.h"
#include "tools/host/tag.h"

namespace ac500::client {

ac500_kind kindOfTag(const host::Tag& tag);

// `given` in the form of plantValues(), if an element of the tag can hold it: a REAL takes the nearest, everything else what
// is exact. Limits are not looked at. Nothing on failure; *error then says why.
std::optional<host::HostValue> forTag(const host::Tag& tag, const host::HostValue& given, std::string* error);
// The same for a time in nanoseconds, which must be one that the tag can hold.
std::optional<host::HostValue> forTimeTag(const host::Tag& tag, std::int64_t nanoseconds, std::string* error);

// From the form of plantValues(); nothing when the value is of another kind or does not fit.
std::optional<bool> asBool(const host::HostValue& value);
std::optional<std::int64_t> asInt64(const host::HostValue& value);
std::optional<std::uint64_t> asUint64(const host::HostValue& value);
std::optional<double> asDouble(const host::HostValue& value);
// Nothing for a tag that is no time.
std::optional<std::int64_t> asNanoseconds(const host::Tag& tag, const host::HostValue& value);

}  // namespace ac500::client

#endif
