// A bit of a variable is written as the whole variable, made from what was read just before. Whoever writes the same
// variable between that reading and the write loses what it wrote, and so does the write when somebody does it
// afterwards. This judges, from the whole variable before and after, what became of it. Pure functions.
#ifndef AC500_TOOLS_HOST_BIT_CHECK_H
#define AC500_TOOLS_HOST_BIT_CHECK_H

#include <cstdint>
#include <string>

#include "tools/host/tag.h"

namespace ac500::host {

// The variable that holds the bits, as a tag of all of its bits, the lowest first. REQUIRES: a tag of bits
Tag allBitsOf(const Tag& bits);

// Bit n is bit n of the variable. REQUIRES: a tag of bits
std::uint64_t maskOf(const Tag& bits);

struct BitWrite {
    Tag tag;                 // bits of a variable
    HostValues written;      // to them
    HostValues before;       // all bits of the variable, as they were read for the write
    HostValues after;        // the same, as it was read back
    std::uint64_t ours = 0;  // which bits of the variable this host has written meanwhile, these among them
};

struct BitCheck {
    bool isInPlc = false;  // the bits are as they were written
    bool isAlone = false;  // no bit changed but ours
    std::string text;      // what happened, unless all is well
};

BitCheck checkBits(const BitWrite& write);

}  // namespace ac500::host

#endif
