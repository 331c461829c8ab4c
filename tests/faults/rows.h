// What every table of this folder is about: the faults of the simulated PLC and the states that one can strike in.
#ifndef AC500_TESTS_FAULTS_ROWS_H
#define AC500_TESTS_FAULTS_ROWS_H

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tools/simulator/fault_rule.h"

namespace ac500::test {

// The state of the conversation when the PLC answers with a fault. "Retrying" is a request of which the last reply that
// the retry limit tolerates has failed already.
enum class State {
    BeforeHello,    // the first handshake frame is out, nothing has come back
    WithinHello,    // some bytes of the first handshake reply have come
    BeforeSymbols,  // the first handshake reply was accepted, the second frame is out
    WithinSymbols,
    AfterSymbols,   // connected, the first request is out: nothing was received on this session yet
    CyclicPending,  // a later cyclic read is out
    OncePending,
    WritePending,
    RetryingHello,
    RetryingSymbols,
    RetryingCyclic,
    RetryingOnce,
    RetryingWrite,
};

using Kind = sim::FaultKind;

inline std::string nameOf(State state) {
    switch (state) {
        case State::BeforeHello:
            return "BeforeHello";
        case State::WithinHello:
            return "WithinHello";
        case State::BeforeSymbols:
            return "BeforeSymbols";
        case State::WithinSymbols:
            return "WithinSymbols";
        case State::AfterSymbols:
            return "AfterSymbols";
        case State::CyclicPending:
            return "CyclicPending";
        case State::OncePending:
            return "OncePending";
        case State::WritePending:
            return "WritePending";
        case State::RetryingHello:
            return "RetryingHello";
        case State::RetryingSymbols:
            return "RetryingSymbols";
        case State::RetryingCyclic:
            return "RetryingCyclic";
        case State::RetryingOnce:
            return "RetryingOnce";
        case State::RetryingWrite:
            return "RetryingWrite";
    }
    return "?";
}

inline std::string nameOf(Kind fault) {
    switch (fault) {
        case Kind::None:
            return "None";
        case Kind::Delay:
            return "Delay";
        case Kind::Silence:
            return "Silence";
        case Kind::Late:
            return "Late";
        case Kind::Truncate:
            return "Truncate";
        case Kind::Length:
            return "WrongLength";
        case Kind::Status:
            return "WrongStatus";
        case Kind::Fragments:
            return "Fragments";
        case Kind::Glue:
            return "Glue";
        case Kind::Reset:
            return "Reset";
        case Kind::Restart:
            return "Restart";
        case Kind::Repeat:
            return "Repeat";
    }
    return "?";
}

// Every kind of fault that the simulator knows, asked of the simulator itself: a new kind is missed in the tables.
inline std::vector<Kind> allFaults() {
    std::vector<Kind> kinds;
    for (std::uint16_t number = 1; sim::faultTraits(number) != nullptr; ++number) {
        kinds.push_back(static_cast<Kind>(number));
    }
    return kinds;
}

// "State_Fault" of each row that a table of `states` lacks or has twice; empty for a complete table.
template <typename Row, std::size_t count>
std::string gapsIn(const Row (&table)[count], const std::vector<State>& states) {
    std::multiset<std::pair<State, Kind>> present;
    for (const Row& row : table) {
        present.insert({row.state, row.fault});
    }
    std::string gaps;
    for (const State state : states) {
        for (const Kind fault : allFaults()) {
            const std::size_t rows = present.count({state, fault});
            if (rows != 1) {
                gaps += nameOf(state) + "_" + nameOf(fault) + (rows == 0 ? " is missing\n" : " is there twice\n");
            }
        }
    }
    return gaps;
}

}  // namespace ac500::test

#endif
