// What the driver does in every state of a connection when the PLC answers with each fault. The values are what the
// host's contract promises (docs/host-guide.md, docs/status-codes.md, docs/quirks.md), worked out by hand, row by row.
//
// The scene of all rows: two WORDs read cyclically in one request (reply: 18 bytes), two one-shot reads (18 bytes) or
// two writes (8 bytes); the handshake replies have 206 and 36 bytes. Behind the one-shot reads and the writes waits a
// third, too long to go with them ("more"). One failed reply is tolerated.
#ifndef AC500_TESTS_FAULTS_DRIVER_ROWS_H
#define AC500_TESTS_FAULTS_DRIVER_ROWS_H

#include "tests/faults/rows.h"

namespace ac500::test {

struct DriverRow {
    State state;
    Kind fault;
    // The status of each call of DataCom for this one request, in order; "0x17" are seventeen zeros. A 0 says "keep
    // receiving" as long as bytes come, and "will be sent again" after the last.
    const char* statuses;
    const char* flags;      // connected, commFailed, retryCount
    const char* callbacks;  // in order
    const char* lists;      // entries of the cyclic list, the one-shot reads and the writes
    const char* image;      // the bytes of the first variable concerned, "--" for one that is absent
    const char* next;       // the frame that ComCommunication offers then
    // What the guide asks of the host now: "keep" the connection, or "drop" it, and the statuses of the empty replies
    // with which it has the driver give the request up (none when the driver has done so).
    const char* link;
};

constexpr char kNone[] = "";
constexpr char kOnceDone[] = "varDone(7, 2, 22, 1); varDone(7, 2, 21, 1)";
constexpr char kOnceLost[] = "varDone(7, 2, 22, 2); varDone(7, 2, 21, 2); commFail(empty, 2, 1)";
constexpr char kWritten[] = "varDone(7, 1, 12, 1); varDone(7, 1, 11, 1)";
constexpr char kWriteLost[] = "varDone(7, 1, 12, 2); varDone(7, 1, 11, 2); commFail(empty, 1, 1)";
constexpr char kThirdOnceLost[] = "varDone(7, 2, 23, 2); commFail(empty, 2, 1)";
constexpr char kThirdWriteLost[] = "varDone(7, 1, 13, 2); commFail(empty, 1, 1)";
constexpr char kCyclicLost[] = "commFail(empty, 0, 1)";

constexpr DriverRow kDriverRows[] = {
    // The status word of a handshake reply does not count, nor does its service code.
    {State::BeforeHello, Kind::Delay, "1 1", "0 0 0", kNone, "2 0 0", "-- --", "symbols", "keep"},
    {State::BeforeHello, Kind::Silence, "0", "0 0 1", kNone, "2 0 0", "-- --", "hello", "drop 41"},
    {State::BeforeHello, Kind::Late, "0", "0 0 1", kNone, "2 0 0", "-- --", "hello", "drop 41"},
    {State::BeforeHello, Kind::Truncate, "0 0", "0 0 1", kNone, "2 0 0", "-- --", "hello", "drop 41"},
    {State::BeforeHello, Kind::Length, "0 0", "0 0 1", kNone, "2 0 0", "-- --", "hello", "drop 41"},
    {State::BeforeHello, Kind::Status, "1 1", "0 0 0", kNone, "2 0 0", "-- --", "symbols", "keep"},
    {State::BeforeHello, Kind::Fragments, "0x205 1 1", "0 0 0", kNone, "2 0 0", "-- --", "symbols", "keep"},
    {State::BeforeHello, Kind::Glue, "0 0", "0 0 1", kNone, "2 0 0", "-- --", "hello", "drop 41"},
    {State::BeforeHello, Kind::Reset, "0", "0 0 1", kNone, "2 0 0", "-- --", "hello", "drop 41"},
    {State::BeforeHello, Kind::Restart, "0", "0 0 1", kNone, "2 0 0", "-- --", "hello", "drop 41"},
    {State::BeforeHello, Kind::Repeat, "1 1", "0 0 0", kNone, "2 0 0", "-- --", "symbols", "drop 0 41"},
    // The first 100 bytes have come.
    {State::WithinHello, Kind::Delay, "0 1 1", "0 0 0", kNone, "2 0 0", "-- --", "symbols", "keep"},
    {State::WithinHello, Kind::Silence, "0 0", "0 0 1", kNone, "2 0 0", "-- --", "hello", "drop 41"},
    {State::WithinHello, Kind::Late, "0 0", "0 0 1", kNone, "2 0 0", "-- --", "hello", "drop 41"},
    {State::WithinHello, Kind::Truncate, "0 0 0", "0 0 1", kNone, "2 0 0", "-- --", "hello", "drop 41"},
    {State::WithinHello, Kind::Length, "0 0 0", "0 0 1", kNone, "2 0 0", "-- --", "hello", "drop 41"},
    {State::WithinHello, Kind::Status, "0 1 1", "0 0 0", kNone, "2 0 0", "-- --", "symbols", "keep"},
    {State::WithinHello, Kind::Fragments, "0x106 1 1", "0 0 0", kNone, "2 0 0", "-- --", "symbols", "keep"},
    {State::WithinHello, Kind::Glue, "0 0 0", "0 0 1", kNone, "2 0 0", "-- --", "hello", "drop 41"},
    {State::WithinHello, Kind::Reset, "0 0", "0 0 1", kNone, "2 0 0", "-- --", "hello", "drop 41"},
    {State::WithinHello, Kind::Restart, "0 0", "0 0 1", kNone, "2 0 0", "-- --", "hello", "drop 41"},
    {State::WithinHello, Kind::Repeat, "0 1 1", "0 0 0", kNone, "2 0 0", "-- --", "symbols", "drop 0 41"},
    // The session begins with the second reply.
    {State::BeforeSymbols, Kind::Delay, "1 1", "1 0 0", kNone, "2 0 0", "-- --", "cyclic", "keep"},
    {State::BeforeSymbols, Kind::Silence, "0", "0 0 1", kNone, "2 0 0", "-- --", "symbols", "drop 41"},
    {State::BeforeSymbols, Kind::Late, "0", "0 0 1", kNone, "2 0 0", "-- --", "symbols", "drop 41"},
    {State::BeforeSymbols, Kind::Truncate, "0 0", "0 0 1", kNone, "2 0 0", "-- --", "symbols", "drop 41"},
    {State::BeforeSymbols, Kind::Length, "0 0", "0 0 1", kNone, "2 0 0", "-- --", "symbols", "drop 41"},
    {State::BeforeSymbols, Kind::Status, "1 1", "1 0 0", kNone, "2 0 0", "-- --", "cyclic", "keep"},
    {State::BeforeSymbols, Kind::Fragments, "0x35 1 1", "1 0 0", kNone, "2 0 0", "-- --", "cyclic", "keep"},
    {State::BeforeSymbols, Kind::Glue, "0 0", "0 0 1", kNone, "2 0 0", "-- --", "symbols", "drop 41"},
    {State::BeforeSymbols, Kind::Reset, "0", "0 0 1", kNone, "2 0 0", "-- --", "symbols", "drop 41"},
    {State::BeforeSymbols, Kind::Restart, "0", "0 0 1", kNone, "2 0 0", "-- --", "symbols", "drop 41"},
    {State::BeforeSymbols, Kind::Repeat, "1 1", "1 0 0", kNone, "2 0 0", "-- --", "cyclic", "drop 0 41"},
    // The first 10 bytes have come.
    {State::WithinSymbols, Kind::Delay, "0 1 1", "1 0 0", kNone, "2 0 0", "-- --", "cyclic", "keep"},
    {State::WithinSymbols, Kind::Silence, "0 0", "0 0 1", kNone, "2 0 0", "-- --", "symbols", "drop 41"},
    {State::WithinSymbols, Kind::Late, "0 0", "0 0 1", kNone, "2 0 0", "-- --", "symbols", "drop 41"},
    {State::WithinSymbols, Kind::Truncate, "0 0 0", "0 0 1", kNone, "2 0 0", "-- --", "symbols", "drop 41"},
    {State::WithinSymbols, Kind::Length, "0 0 0", "0 0 1", kNone, "2 0 0", "-- --", "symbols", "drop 41"},
    {State::WithinSymbols, Kind::Status, "0 1 1", "1 0 0", kNone, "2 0 0", "-- --", "cyclic", "keep"},
    {State::WithinSymbols, Kind::Fragments, "0x26 1 1", "1 0 0", kNone, "2 0 0", "-- --", "cyclic", "keep"},
    {State::WithinSymbols, Kind::Glue, "0 0 0", "0 0 1", kNone, "2 0 0", "-- --", "symbols", "drop 41"},
    {State::WithinSymbols, Kind::Reset, "0 0", "0 0 1", kNone, "2 0 0", "-- --", "symbols", "drop 41"},
    {State::WithinSymbols, Kind::Restart, "0 0", "0 0 1", kNone, "2 0 0", "-- --", "symbols", "drop 41"},
    {State::WithinSymbols, Kind::Repeat, "0 1 1", "1 0 0", kNone, "2 0 0", "-- --", "cyclic", "drop 0 41"},
    // Nothing was received yet. A refused reply is measured before it fails.
    {State::AfterSymbols, Kind::Delay, "1 1", "1 0 0", kNone, "2 0 0", "12 34", "cyclic", "keep"},
    {State::AfterSymbols, Kind::Silence, "0", "1 0 1", kNone, "2 0 0", "-- --", "cyclic", "drop 41"},
    {State::AfterSymbols, Kind::Late, "0", "1 0 1", kNone, "2 0 0", "-- --", "cyclic", "drop 41"},
    {State::AfterSymbols, Kind::Truncate, "0 0", "1 0 1", kNone, "2 0 0", "-- --", "cyclic", "drop 41"},
    {State::AfterSymbols, Kind::Length, "0 0", "1 0 1", kNone, "2 0 0", "-- --", "cyclic", "drop 41"},
    {State::AfterSymbols, Kind::Status, "1 0", "1 0 1", kNone, "2 0 0", "-- --", "cyclic", "keep"},
    {State::AfterSymbols, Kind::Fragments, "0x17 1 1", "1 0 0", kNone, "2 0 0", "12 34", "cyclic", "keep"},
    {State::AfterSymbols, Kind::Glue, "0 0", "1 0 1", kNone, "2 0 0", "-- --", "cyclic", "drop 41"},
    {State::AfterSymbols, Kind::Reset, "0", "1 0 1", kNone, "2 0 0", "-- --", "cyclic", "drop 41"},
    {State::AfterSymbols, Kind::Restart, "0", "1 0 1", kNone, "2 0 0", "-- --", "cyclic", "drop 41"},
    {State::AfterSymbols, Kind::Repeat, "1 1", "1 0 0", kNone, "2 0 0", "12 34", "cyclic", "drop 0 41"},
    // The variable was 12 34 and is 43 21 now.
    {State::CyclicPending, Kind::Delay, "1 1", "1 0 0", kNone, "2 0 0", "43 21", "cyclic", "keep"},
    {State::CyclicPending, Kind::Silence, "0", "1 0 1", kNone, "2 0 0", "12 34", "cyclic", "drop 41"},
    {State::CyclicPending, Kind::Late, "0", "1 0 1", kNone, "2 0 0", "12 34", "cyclic", "drop 41"},
    {State::CyclicPending, Kind::Truncate, "0 0", "1 0 1", kNone, "2 0 0", "12 34", "cyclic", "drop 41"},
    {State::CyclicPending, Kind::Length, "0 0", "1 0 1", kNone, "2 0 0", "12 34", "cyclic", "drop 41"},
    {State::CyclicPending, Kind::Status, "1 0", "1 0 1", kNone, "2 0 0", "12 34", "cyclic", "keep"},
    {State::CyclicPending, Kind::Fragments, "0x17 1 1", "1 0 0", kNone, "2 0 0", "43 21", "cyclic", "keep"},
    {State::CyclicPending, Kind::Glue, "0 0", "1 0 1", kNone, "2 0 0", "12 34", "cyclic", "drop 41"},
    {State::CyclicPending, Kind::Reset, "0", "1 0 1", kNone, "2 0 0", "12 34", "cyclic", "drop 41"},
    {State::CyclicPending, Kind::Restart, "0", "1 0 1", kNone, "2 0 0", "12 34", "cyclic", "drop 41"},
    {State::CyclicPending, Kind::Repeat, "1 1", "1 0 0", kNone, "2 0 0", "43 21", "cyclic", "drop 0 41"},
    // One-shot reads are reported from the last to the first; the third stays.
    {State::OncePending, Kind::Delay, "1 1", "1 0 0", kOnceDone, "2 1 0", "9A BC", "more", "keep"},
    {State::OncePending, Kind::Silence, "0", "1 0 1", kNone, "2 3 0", "-- --", "once", "drop 41"},
    {State::OncePending, Kind::Late, "0", "1 0 1", kNone, "2 3 0", "-- --", "once", "drop 41"},
    {State::OncePending, Kind::Truncate, "0 0", "1 0 1", kNone, "2 3 0", "-- --", "once", "drop 41"},
    {State::OncePending, Kind::Length, "0 0", "1 0 1", kNone, "2 3 0", "-- --", "once", "drop 41"},
    {State::OncePending, Kind::Status, "1 0", "1 0 1", kNone, "2 3 0", "-- --", "once", "keep"},
    {State::OncePending, Kind::Fragments, "0x17 1 1", "1 0 0", kOnceDone, "2 1 0", "9A BC", "more", "keep"},
    {State::OncePending, Kind::Glue, "0 0", "1 0 1", kNone, "2 3 0", "-- --", "once", "drop 41"},
    {State::OncePending, Kind::Reset, "0", "1 0 1", kNone, "2 3 0", "-- --", "once", "drop 41"},
    {State::OncePending, Kind::Restart, "0", "1 0 1", kNone, "2 3 0", "-- --", "once", "drop 41"},
    {State::OncePending, Kind::Repeat, "1 1", "1 0 0", kOnceDone, "2 1 0", "9A BC", "more", "drop 0 41"},
    // The first variable of a write is in the image since the request was built.
    {State::WritePending, Kind::Delay, "1 1", "1 0 0", kWritten, "2 0 1", "DE F0", "more", "keep"},
    {State::WritePending, Kind::Silence, "0", "1 0 1", kNone, "2 0 3", "DE F0", "write", "drop 41"},
    {State::WritePending, Kind::Late, "0", "1 0 1", kNone, "2 0 3", "DE F0", "write", "drop 41"},
    {State::WritePending, Kind::Truncate, "0 0", "1 0 1", kNone, "2 0 3", "DE F0", "write", "drop 41"},
    {State::WritePending, Kind::Length, "0 0", "1 0 1", kNone, "2 0 3", "DE F0", "write", "drop 41"},
    {State::WritePending, Kind::Status, "1 0", "1 0 1", kNone, "2 0 3", "DE F0", "write", "keep"},
    {State::WritePending, Kind::Fragments, "0x7 1 1", "1 0 0", kWritten, "2 0 1", "DE F0", "more", "keep"},
    {State::WritePending, Kind::Glue, "0 0", "1 0 1", kNone, "2 0 3", "DE F0", "write", "drop 41"},
    {State::WritePending, Kind::Reset, "0", "1 0 1", kNone, "2 0 3", "DE F0", "write", "drop 41"},
    {State::WritePending, Kind::Restart, "0", "1 0 1", kNone, "2 0 3", "DE F0", "write", "drop 41"},
    {State::WritePending, Kind::Repeat, "1 1", "1 0 0", kWritten, "2 0 1", "DE F0", "more", "drop 0 41"},
    // A good reply does not clear the count of failed ones.
    {State::RetryingHello, Kind::Delay, "1 1", "0 0 1", kNone, "2 0 0", "-- --", "symbols", "keep"},
    {State::RetryingHello, Kind::Silence, "41", "0 1 0", kCyclicLost, "2 0 0", "-- --", "hello", "drop"},
    {State::RetryingHello, Kind::Late, "41", "0 1 0", kCyclicLost, "2 0 0", "-- --", "hello", "drop"},
    {State::RetryingHello, Kind::Truncate, "0 41", "0 1 0", kCyclicLost, "2 0 0", "-- --", "hello", "drop"},
    {State::RetryingHello, Kind::Length, "0 41", "0 1 0", kCyclicLost, "2 0 0", "-- --", "hello", "drop"},
    {State::RetryingHello, Kind::Status, "1 1", "0 0 1", kNone, "2 0 0", "-- --", "symbols", "keep"},
    {State::RetryingHello, Kind::Fragments, "0x205 1 1", "0 0 1", kNone, "2 0 0", "-- --", "symbols", "keep"},
    {State::RetryingHello, Kind::Glue, "0 41", "0 1 0", kCyclicLost, "2 0 0", "-- --", "hello", "drop"},
    {State::RetryingHello, Kind::Reset, "41", "0 1 0", kCyclicLost, "2 0 0", "-- --", "hello", "drop"},
    {State::RetryingHello, Kind::Restart, "41", "0 1 0", kCyclicLost, "2 0 0", "-- --", "hello", "drop"},
    {State::RetryingHello, Kind::Repeat, "1 1", "0 0 1", kNone, "2 0 0", "-- --", "symbols", "drop 41"},
    // Given up here, the handshake begins with its first frame.
    {State::RetryingSymbols, Kind::Delay, "1 1", "1 0 1", kNone, "2 0 0", "-- --", "cyclic", "keep"},
    {State::RetryingSymbols, Kind::Silence, "41", "0 1 0", kCyclicLost, "2 0 0", "-- --", "hello", "drop"},
    {State::RetryingSymbols, Kind::Late, "41", "0 1 0", kCyclicLost, "2 0 0", "-- --", "hello", "drop"},
    {State::RetryingSymbols, Kind::Truncate, "0 41", "0 1 0", kCyclicLost, "2 0 0", "-- --", "hello", "drop"},
    {State::RetryingSymbols, Kind::Length, "0 41", "0 1 0", kCyclicLost, "2 0 0", "-- --", "hello", "drop"},
    {State::RetryingSymbols, Kind::Status, "1 1", "1 0 1", kNone, "2 0 0", "-- --", "cyclic", "keep"},
    {State::RetryingSymbols, Kind::Fragments, "0x35 1 1", "1 0 1", kNone, "2 0 0", "-- --", "cyclic", "keep"},
    {State::RetryingSymbols, Kind::Glue, "0 41", "0 1 0", kCyclicLost, "2 0 0", "-- --", "hello", "drop"},
    {State::RetryingSymbols, Kind::Reset, "41", "0 1 0", kCyclicLost, "2 0 0", "-- --", "hello", "drop"},
    {State::RetryingSymbols, Kind::Restart, "41", "0 1 0", kCyclicLost, "2 0 0", "-- --", "hello", "drop"},
    {State::RetryingSymbols, Kind::Repeat, "1 1", "1 0 1", kNone, "2 0 0", "-- --", "cyclic", "drop 41"},
    // The frame was measured with its first reply: one call processes, and no reply differs in length.
    {State::RetryingCyclic, Kind::Delay, "1", "1 0 1", kNone, "2 0 0", "43 21", "cyclic", "keep"},
    {State::RetryingCyclic, Kind::Silence, "71", "0 1 0", kCyclicLost, "2 0 0", "12 34", "hello", "drop"},
    {State::RetryingCyclic, Kind::Late, "71", "0 1 0", kCyclicLost, "2 0 0", "12 34", "hello", "drop"},
    {State::RetryingCyclic, Kind::Truncate, "71", "0 1 0", kCyclicLost, "2 0 0", "12 34", "hello", "drop"},
    {State::RetryingCyclic, Kind::Length, "71", "0 1 0", kCyclicLost, "2 0 0", "12 34", "hello", "drop"},
    {State::RetryingCyclic, Kind::Status, "11", "0 1 0", kCyclicLost, "2 0 0", "12 34", "hello", "keep"},
    {State::RetryingCyclic, Kind::Fragments, "1", "1 0 1", kNone, "2 0 0", "43 21", "cyclic", "keep"},
    {State::RetryingCyclic, Kind::Glue, "71", "0 1 0", kCyclicLost, "2 0 0", "12 34", "hello", "drop"},
    {State::RetryingCyclic, Kind::Reset, "71", "0 1 0", kCyclicLost, "2 0 0", "12 34", "hello", "drop"},
    {State::RetryingCyclic, Kind::Restart, "71", "0 1 0", kCyclicLost, "2 0 0", "12 34", "hello", "drop"},
    {State::RetryingCyclic, Kind::Repeat, "1", "1 0 1", kNone, "2 0 0", "43 21", "cyclic", "drop 41"},
    // The code of a refusal is 11 and the hostId. Given up, the third goes without a report.
    {State::RetryingOnce, Kind::Delay, "1", "1 0 1", kOnceDone, "2 1 0", "9A BC", "more", "keep"},
    {State::RetryingOnce, Kind::Silence, "71", "0 1 0", kOnceLost, "2 0 0", "-- --", "hello", "drop"},
    {State::RetryingOnce, Kind::Late, "71", "0 1 0", kOnceLost, "2 0 0", "-- --", "hello", "drop"},
    {State::RetryingOnce, Kind::Truncate, "71", "0 1 0", kOnceLost, "2 0 0", "-- --", "hello", "drop"},
    {State::RetryingOnce, Kind::Length, "71", "0 1 0", kOnceLost, "2 0 0", "-- --", "hello", "drop"},
    {State::RetryingOnce, Kind::Status, "13", "0 1 0", kOnceLost, "2 0 0", "-- --", "hello", "keep"},
    {State::RetryingOnce, Kind::Fragments, "1", "1 0 1", kOnceDone, "2 1 0", "9A BC", "more", "keep"},
    {State::RetryingOnce, Kind::Glue, "71", "0 1 0", kOnceLost, "2 0 0", "-- --", "hello", "drop"},
    {State::RetryingOnce, Kind::Reset, "71", "0 1 0", kOnceLost, "2 0 0", "-- --", "hello", "drop"},
    {State::RetryingOnce, Kind::Restart, "71", "0 1 0", kOnceLost, "2 0 0", "-- --", "hello", "drop"},
    {State::RetryingOnce, Kind::Repeat, "1", "1 0 1", kOnceDone, "2 1 0", "9A BC", "more", "drop 41"},
    // A write that failed stays in the image.
    {State::RetryingWrite, Kind::Delay, "1", "1 0 1", kWritten, "2 0 1", "DE F0", "more", "keep"},
    {State::RetryingWrite, Kind::Silence, "71", "0 1 0", kWriteLost, "2 0 0", "DE F0", "hello", "drop"},
    {State::RetryingWrite, Kind::Late, "71", "0 1 0", kWriteLost, "2 0 0", "DE F0", "hello", "drop"},
    {State::RetryingWrite, Kind::Truncate, "71", "0 1 0", kWriteLost, "2 0 0", "DE F0", "hello", "drop"},
    {State::RetryingWrite, Kind::Length, "71", "0 1 0", kWriteLost, "2 0 0", "DE F0", "hello", "drop"},
    {State::RetryingWrite, Kind::Status, "12", "0 1 0", kWriteLost, "2 0 0", "DE F0", "hello", "keep"},
    {State::RetryingWrite, Kind::Fragments, "1", "1 0 1", kWritten, "2 0 1", "DE F0", "more", "keep"},
    {State::RetryingWrite, Kind::Glue, "71", "0 1 0", kWriteLost, "2 0 0", "DE F0", "hello", "drop"},
    {State::RetryingWrite, Kind::Reset, "71", "0 1 0", kWriteLost, "2 0 0", "DE F0", "hello", "drop"},
    {State::RetryingWrite, Kind::Restart, "71", "0 1 0", kWriteLost, "2 0 0", "DE F0", "hello", "drop"},
    {State::RetryingWrite, Kind::Repeat, "1", "1 0 1", kWritten, "2 0 1", "DE F0", "more", "drop 41"},
};

// What it costs to lose the connection in a state in which a request is not given up yet, by what the driver offers then.
struct LossRow {
    State state;
    const char* next;
    const char* callbacks;
    const char* lists;
};

constexpr LossRow kLossRows[] = {
    {State::BeforeHello, "hello", kCyclicLost, "2 0 0"},
    {State::WithinHello, "hello", kCyclicLost, "2 0 0"},
    {State::BeforeSymbols, "symbols", kCyclicLost, "2 0 0"},
    {State::WithinSymbols, "symbols", kCyclicLost, "2 0 0"},
    {State::AfterSymbols, "cyclic", kCyclicLost, "2 0 0"},
    {State::CyclicPending, "cyclic", kCyclicLost, "2 0 0"},
    {State::OncePending, "once", kOnceLost, "2 0 0"},
    {State::WritePending, "write", kWriteLost, "2 0 0"},
    // The reply was good, and its repeat is what the connection is lost for.
    {State::BeforeHello, "symbols", kCyclicLost, "2 0 0"},
    {State::WithinHello, "symbols", kCyclicLost, "2 0 0"},
    {State::BeforeSymbols, "cyclic", kCyclicLost, "2 0 0"},
    {State::WithinSymbols, "cyclic", kCyclicLost, "2 0 0"},
    {State::OncePending, "more", kThirdOnceLost, "2 0 0"},
    {State::WritePending, "more", kThirdWriteLost, "2 0 0"},
    {State::RetryingHello, "symbols", kCyclicLost, "2 0 0"},
    {State::RetryingSymbols, "cyclic", kCyclicLost, "2 0 0"},
    {State::RetryingCyclic, "cyclic", kCyclicLost, "2 0 0"},
    {State::RetryingOnce, "more", kThirdOnceLost, "2 0 0"},
    {State::RetryingWrite, "more", kThirdWriteLost, "2 0 0"},
};

}  // namespace ac500::test

#endif
