// The steps that the inputs of the conversation and host_calls targets are made of: one byte each, modulo their number,
// followed by arguments as FuzzInput reads them. Numbers are never reused: the corpus holds them.
#ifndef AC500_TESTS_FUZZ_STEPS_H
#define AC500_TESTS_FUZZ_STEPS_H

#include <string>

#include "protocol/protocol.h"

namespace ac500::fuzz {

// The first byte of a conversation is its retry limit, modulo 4.
enum ConversationStep {
    kAddCyclicRead = 0,      // area u8, offset and size between
    kAddWrite = 1,           // area u8, offset between, type u8, hostId u8, size between, count u8, bytes
    kAddOnceRead = 2,        // area u8, offset between, hostId u8, size between
    kNext = 3,               // ComCommunication
    kDeliver = 4,            // DataCom: length u16, bytes
    kDeliverMiscounted = 5,  // received between, length u16, bytes
    kDeliverNothing = 6,
    kAnswerWell = 7,   // the good reply to the pending frame: fill byte
    kAnswerBadly = 8,  // the same with a byte changed or the end cut: fill byte, position u16, byte
    kClearCyclicReads = 9,
    kConversationSteps = 10
};

// Host calls begin with the settings: retry limit u8, request words between -1 and 400, access mode u8.
enum HostCall {
    kCallReadCyclically = 0,  // count u8, then per tag: count between, line tag, line argument
    kCallReadOnce = 1,        // count between, hostId u8, line tag, line argument
    kCallWriteValue = 2,      // count between, hostId u8, length u8, bytes, line tag, line argument
    kCallReadValue = 3,       // count between, line tag, line argument
    kCallNext = 4,
    kCallDeliver = 5,  // length u16, bytes
    kCallDeliverNothing = 6,
    kCallAnswerWell = 7,   // fill byte
    kCallStation = 8,      // station i32, enable u8
    kCallStatusCode = 9,   // number i32
    kCallSort = 10,        // count u8, then per entry: offset i32, size i32, area u8
    kCallMerge = 11,       // limit between, count u8, then per entry: offset i32, size between
    kCallCut = 12,         // total between, limit between, offset i32
    kCallChecksums = 13,   // length u8, bytes
    kCallDigits = 14,      // number i32
    kCallRefresh = 15,     // symbol records once more, settings once more, register areas, fixed answers
    kCallAddPlanned = 16,  // list u8, offset between, size between
    kCallIndexList = 17,   // dimensions i32, count u8, bounds i32 each, line index list
    kCallAccessMode = 18,  // u8
    kHostCalls = 19
};

// A reply that the driver accepts for this request, its data bytes all `fill`; empty for null.
std::string goodReplyTo(const Protocol* request, char fill);

}  // namespace ac500::fuzz

#endif
