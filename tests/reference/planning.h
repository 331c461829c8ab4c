// From tags to requests: how many bytes a tag takes, sorting, merging, cutting.
#ifndef AC500_TESTS_REFERENCE_PLANNING_H
#define AC500_TESTS_REFERENCE_PLANNING_H

#include <vector>

#include "tests/reference/records.h"

namespace reference {

// The run of bytes to read for `wanted` elements at a resolved place.
struct Extent {
    std::int32_t dataType = 0;
    std::int32_t offset = 0;
    std::int32_t bytes = 0;
    bool nothingAsked = false;  // the count is below 0: no bytes, and no place among the tags that are merged
};

// False when the type cannot be transferred.
bool readExtent(const Place& place, std::int32_t wanted, Extent* extent);

void sortByOffset(std::vector<Variable>* list);

// Appends the requests for one area's sorted list. Variables that open a run are left with what remains of them.
void mergeArea(std::vector<Variable>* sorted, std::int32_t maxBytes, std::vector<Variable>* requests);

// Cuts `variable` into requests and appends them; leaves it with the values of the last one.
void cutIntoPieces(std::int32_t total, std::int32_t maxBytes, Variable* variable, std::vector<Variable>* requests);

}  // namespace reference

#endif
