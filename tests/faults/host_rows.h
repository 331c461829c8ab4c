// What a careful host makes of each fault in each state, over TCP: docs/host-guide.md in numbers, worked out by hand.
// A fault strikes a reply as a whole here: there is nothing within a handshake reply but what the faults themselves do.
//
// One failed reply is tolerated. "Retrying" is the second attempt at the same thing: of a read or write on the same
// connection, after a refusal; of a handshake frame on a new connection, after silence, because nothing but a refusal
// leaves a connection as it was. The driver gives up a second handshake frame at once, as no connection can bring its
// reply any more; it goes on offering the first, which opens a session anywhere.
//
// A repeat comes when all is well already, between two passes or into the next one; it costs the connection. What is
// given up then is the cyclic read that the driver has next.
#ifndef AC500_TESTS_FAULTS_HOST_ROWS_H
#define AC500_TESTS_FAULTS_HOST_ROWS_H

#include "tests/faults/rows.h"

namespace ac500::test {

struct HostRow {
    State state;
    Kind fault;
    // When all is well again: connections made and handshakes completed in all, then what is not 0 of the failures that
    // the host counted.
    const char* statistics;
    // What the driver did meanwhile: the statuses of DataCom that say anything else than "good so far", and its callbacks,
    // in order. An order before the fault and one after it are reported "done".
    const char* driver;
    // How the one-shot read or the write ended that met the fault; "-" in states without one.
    const char* outcome;
};

constexpr char kSmooth[] = "";
constexpr char kSentAgain[] = "0";
constexpr char kGivenUp[] = "0 commFail(0) 41";
constexpr char kGivenUpTwice[] = "0 commFail(0) 41 0 commFail(0) 41";
constexpr char kDone[] = "done done done";
constexpr char kDoneSentAgain[] = "done 0 done done";
constexpr char kDoneGivenUp[] = "done done 0 commFail(0) 41 done";
constexpr char kDoneSentAgainGivenUp[] = "done 0 done commFail(0) 41 done";
constexpr char kOnceLost[] = "done 0 lost commFail(2) 41 done";
constexpr char kWriteLost[] = "done 0 lost commFail(1) 41 done";
constexpr char kRefused[] = "0 commFail(0) 11";
constexpr char kOnceRefused[] = "done 0 lost commFail(2) 13 done";
constexpr char kWriteRefused[] = "done 0 lost commFail(1) 12 done";

constexpr HostRow kHostRows[] = {
    // The driver keeps the frame and offers it on the next connection.
    {State::BeforeHello, Kind::Delay, "1 connection, 1 handshake", kSmooth, "-"},
    {State::BeforeHello, Kind::Silence, "2 connections, 1 handshake, timeouts 1, retries 1", kSentAgain, "-"},
    {State::BeforeHello, Kind::Late, "2 connections, 1 handshake, timeouts 1, retries 1", kSentAgain, "-"},
    {State::BeforeHello, Kind::Truncate, "2 connections, 1 handshake, timeouts 1, retries 1", kSentAgain, "-"},
    {State::BeforeHello, Kind::Length, "2 connections, 1 handshake, timeouts 1, retries 1", kSentAgain, "-"},
    {State::BeforeHello, Kind::Status, "1 connection, 1 handshake", kSmooth, "-"},
    {State::BeforeHello, Kind::Fragments, "1 connection, 1 handshake", kSmooth, "-"},
    {State::BeforeHello, Kind::Glue, "2 connections, 1 handshake, bad replies 1, retries 1", kSentAgain, "-"},
    {State::BeforeHello, Kind::Reset, "2 connections, 1 handshake, retries 1", kSentAgain, "-"},
    {State::BeforeHello, Kind::Restart, "2 connections, 1 handshake, retries 1", kSentAgain, "-"},
    {State::BeforeHello, Kind::Repeat, "2 connections, 2 handshakes, bad replies 1, abandoned 1", kGivenUp, "-"},
    // Half a handshake is worth nothing on another connection.
    {State::BeforeSymbols, Kind::Delay, "1 connection, 1 handshake", kSmooth, "-"},
    {State::BeforeSymbols, Kind::Silence, "2 connections, 1 handshake, timeouts 1, abandoned 1", kGivenUp, "-"},
    {State::BeforeSymbols, Kind::Late, "2 connections, 1 handshake, timeouts 1, abandoned 1", kGivenUp, "-"},
    {State::BeforeSymbols, Kind::Truncate, "2 connections, 1 handshake, timeouts 1, abandoned 1", kGivenUp, "-"},
    {State::BeforeSymbols, Kind::Length, "2 connections, 1 handshake, timeouts 1, abandoned 1", kGivenUp, "-"},
    {State::BeforeSymbols, Kind::Status, "1 connection, 1 handshake", kSmooth, "-"},
    {State::BeforeSymbols, Kind::Fragments, "1 connection, 1 handshake", kSmooth, "-"},
    {State::BeforeSymbols, Kind::Glue, "2 connections, 1 handshake, bad replies 1, abandoned 1", kGivenUp, "-"},
    {State::BeforeSymbols, Kind::Reset, "2 connections, 1 handshake, abandoned 1", kGivenUp, "-"},
    {State::BeforeSymbols, Kind::Restart, "2 connections, 1 handshake, abandoned 1", kGivenUp, "-"},
    {State::BeforeSymbols, Kind::Repeat, "2 connections, 2 handshakes, bad replies 1, abandoned 1", kGivenUp, "-"},
    // A session that outlived its connection is opened anew.
    {State::AfterSymbols, Kind::Delay, "1 connection, 1 handshake", kSmooth, "-"},
    {State::AfterSymbols, Kind::Silence, "2 connections, 2 handshakes, timeouts 1, abandoned 1", kGivenUp, "-"},
    {State::AfterSymbols, Kind::Late, "2 connections, 2 handshakes, timeouts 1, abandoned 1", kGivenUp, "-"},
    {State::AfterSymbols, Kind::Truncate, "2 connections, 2 handshakes, timeouts 1, abandoned 1", kGivenUp, "-"},
    {State::AfterSymbols, Kind::Length, "2 connections, 2 handshakes, timeouts 1, abandoned 1", kGivenUp, "-"},
    {State::AfterSymbols, Kind::Status, "1 connection, 1 handshake, refusals 1, retries 1", kSentAgain, "-"},
    {State::AfterSymbols, Kind::Fragments, "1 connection, 1 handshake", kSmooth, "-"},
    {State::AfterSymbols, Kind::Glue, "2 connections, 2 handshakes, bad replies 1, abandoned 1", kGivenUp, "-"},
    {State::AfterSymbols, Kind::Reset, "2 connections, 2 handshakes, abandoned 1", kGivenUp, "-"},
    {State::AfterSymbols, Kind::Restart, "2 connections, 2 handshakes, abandoned 1", kGivenUp, "-"},
    {State::AfterSymbols, Kind::Repeat, "2 connections, 2 handshakes, bad replies 1, abandoned 1", kGivenUp, "-"},
    // The same in a later pass.
    {State::CyclicPending, Kind::Delay, "1 connection, 1 handshake", kSmooth, "-"},
    {State::CyclicPending, Kind::Silence, "2 connections, 2 handshakes, timeouts 1, abandoned 1", kGivenUp, "-"},
    {State::CyclicPending, Kind::Late, "2 connections, 2 handshakes, timeouts 1, abandoned 1", kGivenUp, "-"},
    {State::CyclicPending, Kind::Truncate, "2 connections, 2 handshakes, timeouts 1, abandoned 1", kGivenUp, "-"},
    {State::CyclicPending, Kind::Length, "2 connections, 2 handshakes, timeouts 1, abandoned 1", kGivenUp, "-"},
    {State::CyclicPending, Kind::Status, "1 connection, 1 handshake, refusals 1, retries 1", kSentAgain, "-"},
    {State::CyclicPending, Kind::Fragments, "1 connection, 1 handshake", kSmooth, "-"},
    {State::CyclicPending, Kind::Glue, "2 connections, 2 handshakes, bad replies 1, abandoned 1", kGivenUp, "-"},
    {State::CyclicPending, Kind::Reset, "2 connections, 2 handshakes, abandoned 1", kGivenUp, "-"},
    {State::CyclicPending, Kind::Restart, "2 connections, 2 handshakes, abandoned 1", kGivenUp, "-"},
    {State::CyclicPending, Kind::Repeat, "2 connections, 2 handshakes, bad replies 1, abandoned 1", kGivenUp, "-"},
    // A read that the driver gives up has failed.
    {State::OncePending, Kind::Delay, "1 connection, 1 handshake", kDone, "done"},
    {State::OncePending, Kind::Silence, "2 connections, 2 handshakes, timeouts 1, abandoned 1", kOnceLost, "failed"},
    {State::OncePending, Kind::Late, "2 connections, 2 handshakes, timeouts 1, abandoned 1", kOnceLost, "failed"},
    {State::OncePending, Kind::Truncate, "2 connections, 2 handshakes, timeouts 1, abandoned 1", kOnceLost, "failed"},
    {State::OncePending, Kind::Length, "2 connections, 2 handshakes, timeouts 1, abandoned 1", kOnceLost, "failed"},
    {State::OncePending, Kind::Status, "1 connection, 1 handshake, refusals 1, retries 1", kDoneSentAgain, "done"},
    {State::OncePending, Kind::Fragments, "1 connection, 1 handshake", kDone, "done"},
    {State::OncePending, Kind::Glue, "2 connections, 2 handshakes, bad replies 1, abandoned 1", kOnceLost, "failed"},
    {State::OncePending, Kind::Reset, "2 connections, 2 handshakes, abandoned 1", kOnceLost, "failed"},
    {State::OncePending, Kind::Restart, "2 connections, 2 handshakes, abandoned 1", kOnceLost, "failed"},
    {State::OncePending, Kind::Repeat, "2 connections, 2 handshakes, bad replies 1, abandoned 1", kDoneGivenUp, "done"},
    // So has a write, although the PLC has carried it out.
    {State::WritePending, Kind::Delay, "1 connection, 1 handshake", kDone, "done"},
    {State::WritePending, Kind::Silence, "2 connections, 2 handshakes, timeouts 1, abandoned 1", kWriteLost, "failed"},
    {State::WritePending, Kind::Late, "2 connections, 2 handshakes, timeouts 1, abandoned 1", kWriteLost, "failed"},
    {State::WritePending, Kind::Truncate, "2 connections, 2 handshakes, timeouts 1, abandoned 1", kWriteLost, "failed"},
    {State::WritePending, Kind::Length, "2 connections, 2 handshakes, timeouts 1, abandoned 1", kWriteLost, "failed"},
    {State::WritePending, Kind::Status, "1 connection, 1 handshake, refusals 1, retries 1", kDoneSentAgain, "done"},
    {State::WritePending, Kind::Fragments, "1 connection, 1 handshake", kDone, "done"},
    {State::WritePending, Kind::Glue, "2 connections, 2 handshakes, bad replies 1, abandoned 1", kWriteLost, "failed"},
    {State::WritePending, Kind::Reset, "2 connections, 2 handshakes, abandoned 1", kWriteLost, "failed"},
    {State::WritePending, Kind::Restart, "2 connections, 2 handshakes, abandoned 1", kWriteLost, "failed"},
    {State::WritePending, Kind::Repeat, "2 connections, 2 handshakes, bad replies 1, abandoned 1", kDoneGivenUp,
     "done"},
    // The second failure makes the driver give up.
    {State::RetryingHello, Kind::Delay, "2 connections, 1 handshake, timeouts 1, retries 1", kSentAgain, "-"},
    {State::RetryingHello, Kind::Silence, "3 connections, 1 handshake, timeouts 2, retries 1, abandoned 1", kGivenUp,
     "-"},
    {State::RetryingHello, Kind::Late, "3 connections, 1 handshake, timeouts 2, retries 1, abandoned 1", kGivenUp, "-"},
    {State::RetryingHello, Kind::Truncate, "3 connections, 1 handshake, timeouts 2, retries 1, abandoned 1", kGivenUp,
     "-"},
    {State::RetryingHello, Kind::Length, "3 connections, 1 handshake, timeouts 2, retries 1, abandoned 1", kGivenUp,
     "-"},
    {State::RetryingHello, Kind::Status, "2 connections, 1 handshake, timeouts 1, retries 1", kSentAgain, "-"},
    {State::RetryingHello, Kind::Fragments, "2 connections, 1 handshake, timeouts 1, retries 1", kSentAgain, "-"},
    {State::RetryingHello, Kind::Glue, "3 connections, 1 handshake, timeouts 1, bad replies 1, retries 1, abandoned 1",
     kGivenUp, "-"},
    {State::RetryingHello, Kind::Reset, "3 connections, 1 handshake, timeouts 1, retries 1, abandoned 1", kGivenUp,
     "-"},
    {State::RetryingHello, Kind::Restart, "3 connections, 1 handshake, timeouts 1, retries 1, abandoned 1", kGivenUp,
     "-"},
    {State::RetryingHello, Kind::Repeat,
     "3 connections, 2 handshakes, timeouts 1, bad replies 1, retries 1, abandoned 1", kGivenUp, "-"},
    // Each connection begins with the first frame; nothing is sent again.
    {State::RetryingSymbols, Kind::Delay, "2 connections, 1 handshake, timeouts 1, abandoned 1", kGivenUp, "-"},
    {State::RetryingSymbols, Kind::Silence, "3 connections, 1 handshake, timeouts 2, abandoned 2", kGivenUpTwice, "-"},
    {State::RetryingSymbols, Kind::Late, "3 connections, 1 handshake, timeouts 2, abandoned 2", kGivenUpTwice, "-"},
    {State::RetryingSymbols, Kind::Truncate, "3 connections, 1 handshake, timeouts 2, abandoned 2", kGivenUpTwice, "-"},
    {State::RetryingSymbols, Kind::Length, "3 connections, 1 handshake, timeouts 2, abandoned 2", kGivenUpTwice, "-"},
    {State::RetryingSymbols, Kind::Status, "2 connections, 1 handshake, timeouts 1, abandoned 1", kGivenUp, "-"},
    {State::RetryingSymbols, Kind::Fragments, "2 connections, 1 handshake, timeouts 1, abandoned 1", kGivenUp, "-"},
    {State::RetryingSymbols, Kind::Glue, "3 connections, 1 handshake, timeouts 1, bad replies 1, abandoned 2",
     kGivenUpTwice, "-"},
    {State::RetryingSymbols, Kind::Reset, "3 connections, 1 handshake, timeouts 1, abandoned 2", kGivenUpTwice, "-"},
    {State::RetryingSymbols, Kind::Restart, "3 connections, 1 handshake, timeouts 1, abandoned 2", kGivenUpTwice, "-"},
    {State::RetryingSymbols, Kind::Repeat, "3 connections, 2 handshakes, timeouts 1, bad replies 1, abandoned 2",
     kGivenUpTwice, "-"},
    // The first refusal's status word is one that may pass. The second refusal is the end of the request and of the session,
    // not of the connection, and the driver gets to see it.
    {State::RetryingCyclic, Kind::Delay, "1 connection, 1 handshake, refusals 1, retries 1", kSentAgain, "-"},
    {State::RetryingCyclic, Kind::Silence,
     "2 connections, 2 handshakes, timeouts 1, refusals 1, retries 1, abandoned 1", kGivenUp, "-"},
    {State::RetryingCyclic, Kind::Late, "2 connections, 2 handshakes, timeouts 1, refusals 1, retries 1, abandoned 1",
     kGivenUp, "-"},
    {State::RetryingCyclic, Kind::Truncate,
     "2 connections, 2 handshakes, timeouts 1, refusals 1, retries 1, abandoned 1", kGivenUp, "-"},
    {State::RetryingCyclic, Kind::Length, "2 connections, 2 handshakes, timeouts 1, refusals 1, retries 1, abandoned 1",
     kGivenUp, "-"},
    {State::RetryingCyclic, Kind::Status, "1 connection, 2 handshakes, refusals 2, retries 1, abandoned 1", kRefused,
     "-"},
    {State::RetryingCyclic, Kind::Fragments, "1 connection, 1 handshake, refusals 1, retries 1", kSentAgain, "-"},
    {State::RetryingCyclic, Kind::Glue,
     "2 connections, 2 handshakes, refusals 1, bad replies 1, retries 1, abandoned 1", kGivenUp, "-"},
    {State::RetryingCyclic, Kind::Reset, "2 connections, 2 handshakes, refusals 1, retries 1, abandoned 1", kGivenUp,
     "-"},
    {State::RetryingCyclic, Kind::Restart, "2 connections, 2 handshakes, refusals 1, retries 1, abandoned 1", kGivenUp,
     "-"},
    {State::RetryingCyclic, Kind::Repeat,
     "2 connections, 2 handshakes, refusals 1, bad replies 1, retries 1, abandoned 1", kGivenUp, "-"},
    // The same for one-shot reads.
    {State::RetryingOnce, Kind::Delay, "1 connection, 1 handshake, refusals 1, retries 1", kDoneSentAgain, "done"},
    {State::RetryingOnce, Kind::Silence, "2 connections, 2 handshakes, timeouts 1, refusals 1, retries 1, abandoned 1",
     kOnceLost, "failed"},
    {State::RetryingOnce, Kind::Late, "2 connections, 2 handshakes, timeouts 1, refusals 1, retries 1, abandoned 1",
     kOnceLost, "failed"},
    {State::RetryingOnce, Kind::Truncate, "2 connections, 2 handshakes, timeouts 1, refusals 1, retries 1, abandoned 1",
     kOnceLost, "failed"},
    {State::RetryingOnce, Kind::Length, "2 connections, 2 handshakes, timeouts 1, refusals 1, retries 1, abandoned 1",
     kOnceLost, "failed"},
    {State::RetryingOnce, Kind::Status, "1 connection, 2 handshakes, refusals 2, retries 1, abandoned 1", kOnceRefused,
     "failed"},
    {State::RetryingOnce, Kind::Fragments, "1 connection, 1 handshake, refusals 1, retries 1", kDoneSentAgain, "done"},
    {State::RetryingOnce, Kind::Glue, "2 connections, 2 handshakes, refusals 1, bad replies 1, retries 1, abandoned 1",
     kOnceLost, "failed"},
    {State::RetryingOnce, Kind::Reset, "2 connections, 2 handshakes, refusals 1, retries 1, abandoned 1", kOnceLost,
     "failed"},
    {State::RetryingOnce, Kind::Restart, "2 connections, 2 handshakes, refusals 1, retries 1, abandoned 1", kOnceLost,
     "failed"},
    {State::RetryingOnce, Kind::Repeat,
     "2 connections, 2 handshakes, refusals 1, bad replies 1, retries 1, abandoned 1", kDoneSentAgainGivenUp, "done"},
    // The same for writes.
    {State::RetryingWrite, Kind::Delay, "1 connection, 1 handshake, refusals 1, retries 1", kDoneSentAgain, "done"},
    {State::RetryingWrite, Kind::Silence, "2 connections, 2 handshakes, timeouts 1, refusals 1, retries 1, abandoned 1",
     kWriteLost, "failed"},
    {State::RetryingWrite, Kind::Late, "2 connections, 2 handshakes, timeouts 1, refusals 1, retries 1, abandoned 1",
     kWriteLost, "failed"},
    {State::RetryingWrite, Kind::Truncate,
     "2 connections, 2 handshakes, timeouts 1, refusals 1, retries 1, abandoned 1", kWriteLost, "failed"},
    {State::RetryingWrite, Kind::Length, "2 connections, 2 handshakes, timeouts 1, refusals 1, retries 1, abandoned 1",
     kWriteLost, "failed"},
    {State::RetryingWrite, Kind::Status, "1 connection, 2 handshakes, refusals 2, retries 1, abandoned 1",
     kWriteRefused, "failed"},
    {State::RetryingWrite, Kind::Fragments, "1 connection, 1 handshake, refusals 1, retries 1", kDoneSentAgain, "done"},
    {State::RetryingWrite, Kind::Glue, "2 connections, 2 handshakes, refusals 1, bad replies 1, retries 1, abandoned 1",
     kWriteLost, "failed"},
    {State::RetryingWrite, Kind::Reset, "2 connections, 2 handshakes, refusals 1, retries 1, abandoned 1", kWriteLost,
     "failed"},
    {State::RetryingWrite, Kind::Restart, "2 connections, 2 handshakes, refusals 1, retries 1, abandoned 1", kWriteLost,
     "failed"},
    {State::RetryingWrite, Kind::Repeat,
     "2 connections, 2 handshakes, refusals 1, bad replies 1, retries 1, abandoned 1", kDoneSentAgainGivenUp, "done"},
};

}  // namespace ac500::test

#endif
