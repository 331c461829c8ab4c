// Everything that happens to a session or a simulated PLC and is told has an id and a level, which stand in one table.
// docs/events.md is the same table for people, and a test holds one against the other.
//
// Programs outside know events by their ids: an id that was released is never renamed, and never gets another meaning.
#ifndef AC500_TOOLS_EVENTS_EVENT_TABLE_H
#define AC500_TOOLS_EVENTS_EVENT_TABLE_H

#include <optional>
#include <string>
#include <vector>

namespace ac500::events {

enum class Level {
    Debug,    // each step of ordinary work
    Info,     // changes of state that nobody need do anything about
    Warning,  // something went wrong, and the program goes on
    Error,    // a program could not do what it was asked for
};

// "debug", "info", "warning", "error".
const char* levelName(Level level);
std::optional<Level> levelOf(const std::string& name);

// In the order of the table.
enum class EventId {
    LinkConnected,
    LinkUnreachable,
    LinkLost,
    LinkClosed,
    LinkRestored,
    SessionOpened,
    SessionRejected,
    SessionEnded,
    ReplyTimeout,
    ReplyRefused,
    ReplyBad,
    ReplyUnasked,
    ReplyRejected,
    RequestGivenUp,
    ListRebuilt,
    WriteDone,
    WriteFailed,
    ReadFailed,
    ProgramOther,
    ProgramUnreadable,
    ProgramExpected,
    ProgramHandshake,
    ValueOverwritten,
    LatencyReset,
    EventsLost,
    BrokerConnected,
    BrokerLost,
    BrokerRefused,
    BrokerStore,
    BrokerCommand,
    SettingsTaken,
    SettingsRefused,
    CommandNote,
    CommandFailed,
    ServerListening,
    ServerExposed,
    ServerEnded,
    SymbolsDoubtful,
    ProgramLoaded,
    ClientConnected,
    ClientTurnedAway,
    ClientEvicted,
    ClientStalled,
    ClientDisconnected,
    RequestAnswered,
    RequestRefused,
    FaultApplied,
};

struct EventRow {
    EventId event;
    const char* id;  // "link.lost"
    Level level;
    const char* meaning;
};

// One row for each event.
const std::vector<EventRow>& eventTable();
const EventRow& rowOf(EventId event);

}  // namespace ac500::events

#endif
