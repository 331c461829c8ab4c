// Results of name resolution, as they cross to the host. docs/status-codes.md tells an engineer what each means.
#ifndef AC500_SYMBOLS_RESOLUTION_CODE_H
#define AC500_SYMBOLS_RESOLUTION_CODE_H

namespace ac500 {

enum ResolutionCode {
    kResolved = 0,
    kNotFound = 1,  // name incomplete, variable unknown, wrong number of indices, index on a non-array
    kUnknownScope = 2,
    kBadIndex = 3,  // an index is no number or below the lower bound, or the bounds are incomplete
    kEmptyTag = 6,
    kUnknownMember = 7,
    kNoElementType = 10,  // scope, structure or bit-addressable variable without its element type
    kTooFewComponents = 11,
    kNoArea = 12
};

}  // namespace ac500

#endif
