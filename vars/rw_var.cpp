#include "core/host_interface.h"

void passRetValue(RW_VAR const& source, RW_VAR& target) noexcept {
    target = source;
    target.data.clear();  // quirk 11
}
