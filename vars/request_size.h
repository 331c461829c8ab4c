// Sizes in bytes: of the run that a read of a resolved tag takes, and of the largest request.
#ifndef AC500_VARS_REQUEST_SIZE_H
#define AC500_VARS_REQUEST_SIZE_H

#include "symbols/control_information.h"

namespace ac500 {

// The bytes of a read.
struct ReadExtent {
    bool transferable;  // false: the type cannot be read, the rest is 0
    int dataType;       // as resolved; a bit-addressed boolean is read as words, type 16
    int startByte;
    int lengthBytes;  // 0 or less: nothing to read
    bool askedFor;    // false: the count is below 0, the length is 0
};

// `requested` is the host's count: elements, 16-bit words for 32- and 64-bit values and strings. An array is read to
// the end of its innermost dimension at most, a scalar as one value whatever the count, a string as asked (quirk 13). A
// count below 0 asks for nothing.
ReadExtent readExtent(const ControlInformationM& info, int requested);

// The largest request that the host's settings allow, in bytes; 0 or less when they make no sense: nothing may be queued
// then. After SetComInfo.
int maxRequestBytes();

}  // namespace ac500

#endif
