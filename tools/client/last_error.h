// The text of ac500_last_error(). Each thread has its own, in room that is there before anything fails.
#ifndef AC500_TOOLS_CLIENT_LAST_ERROR_H
#define AC500_TOOLS_CLIENT_LAST_ERROR_H

#include <string_view>

namespace ac500::client {

// A text that is too long ends with "...".
void setLastError(std::string_view text) noexcept;

// "" before the first failure of this thread. Valid until the next setLastError() of this thread.
const char* lastError() noexcept;

}  // namespace ac500::client

#endif
