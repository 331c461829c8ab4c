// Cuts a run of array elements into calls of the driver that carry all of them. The driver limits the count of a call,
// in 16-bit words, to the number of elements of a row, and makes elements out of the words only then (quirk 24): a row of
// five 32-bit values cannot be transferred with one call, but with three.
#ifndef AC500_TOOLS_HOST_RUN_PLAN_H
#define AC500_TOOLS_HOST_RUN_PLAN_H

#include <vector>

namespace ac500::host {

struct RunChunk {
    int firstElement = 0;  // counted from the start of the run
    int elements = 0;
    int count = 0;  // the driver's `count` argument
};

struct Run {
    int elements = 1;
    int countPerElement = 1;  // value_codec.h
    int rowExtent = 0;        // elements of a row of the array; 0: no array, and one element
};

// Chunks in order, without gaps and overlaps. Nothing for a run of no elements.
std::vector<RunChunk> planRun(const Run& run);

}  // namespace ac500::host

#endif
