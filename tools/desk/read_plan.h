// ReadPlan says what reading a list of tags costs. It is made of the requests that the driver itself wants sent in one
// pass over the list: what is counted here is what would go over the wire, and nothing is planned a second time. Pure
// functions of plain values.
#ifndef AC500_TOOLS_DESK_READ_PLAN_H
#define AC500_TOOLS_DESK_READ_PLAN_H

#include <cstdint>
#include <string>
#include <vector>

#include "tools/desk/byte_runs.h"

namespace ac500::desk {

// A request of the driver, and the size of its good reply; both with their envelopes.
struct Request {
    std::vector<ByteRun> items;
    std::int64_t requestBytes = 0;
    std::int64_t replyBytes = 0;
};

// What the driver wanted sent from the rebuilding of its list on until every entry of the list had been read once. It
// fills its last request from the head of the list, so that some entries may be read twice.
struct ObservedPass {
    std::vector<Request> requests;
    int listItems = 0;  // entries of the driver's cyclic list
};

// The bytes that must have been received before the value of a tag is known.
struct WantedTag {
    std::string tag;
    std::vector<ByteRun> runs;
};

// Bytes that no tag wants, and that are asked for because it costs less than one more request. The tags that end before
// and begin behind them are what the gap is there for; of several the first of the list.
struct Gap {
    ByteRun bytes;
    std::string tagBefore;
    std::string tagBehind;
};

struct RequestFigures {
    int items = 0;
    int itemsAgain = 0;  // of these, how many the pass had read before
    std::int64_t bytesAsked = 0;
    std::int64_t bytesWanted = 0;
    std::int64_t requestBytes = 0;
    std::int64_t replyBytes = 0;
};

struct ReadPlan {
    int tags = 0;
    int items = 0;  // entries of the driver's cyclic list
    std::vector<RequestFigures> requests;
    std::int64_t bytesAsked = 0;      // of all entries, each once
    std::int64_t bytesWanted = 0;     // a byte that several tags want counts once
    std::int64_t bytesReadAlong = 0;  // the gaps
    std::int64_t bytesSent = 0;       // on the wire in one pass, envelopes included
    std::int64_t bytesReceived = 0;
    std::vector<Gap> gaps;  // by area and address

    // Of the bytes asked for, how many are wanted: 0 to 1.
    double fill() const;
};

ReadPlan makeReadPlan(const ObservedPass& pass, const std::vector<WantedTag>& wanted);

// What one request takes, whatever its size.
struct RequestTime {
    double roundTripMs = 0;  // of the network
    double plcMs = 0;        // in the PLC

    double totalMs() const { return roundTripMs + plcMs; }
};

// One request after the other, as the wire has it.
double passMs(std::size_t requests, const RequestTime& time);

// The same as ac500-host measures it: behind the last reply it looks for so long whether anything else comes that the last
// request is two replies old, and 5 ms at least.
double passWithLookMs(std::size_t requests, const RequestTime& time);

}  // namespace ac500::desk

#endif
