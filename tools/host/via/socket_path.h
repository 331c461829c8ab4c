// The path of a Unix socket, as both of its ends need it, and what to tell when nobody is reached there. Pure functions, but
// for connectTo.
#ifndef AC500_TOOLS_HOST_VIA_SOCKET_PATH_H
#define AC500_TOOLS_HOST_VIA_SOCKET_PATH_H

#include <sys/un.h>

#include <optional>
#include <string>

#include "tools/host/clock.h"

namespace ac500::via {

// Nothing for a path that is empty or longer than the system allows; *error then says so.
std::optional<sockaddr_un> socketAddress(const std::string& path, std::string* error);

// A descriptor that does not block, to be closed by the caller; -1 on failure, and *error then says what is wrong with which
// socket and what to do about it. Waits, at most `patience`, only where others wait to be let in, too.
int connectTo(const std::string& path, host::Milliseconds patience, std::string* error);

}  // namespace ac500::via

#endif
