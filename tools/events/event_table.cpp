#include "tools/events/event_table.h"

#include <iterator>

namespace ac500::events {

namespace {

constexpr Level kLevels[] = {Level::Debug, Level::Info, Level::Warning, Level::Error};

// In the order of EventId.
constexpr EventRow kRows[] = {
    // The host
    {EventId::LinkConnected, "link.connected", Level::Info, "The TCP connection to the PLC is made."},
    {EventId::LinkUnreachable, "link.unreachable", Level::Warning,
     "No TCP connection could be made; it is tried again after a pause."},
    {EventId::LinkLost, "link.lost", Level::Warning, "The other side, or something on the way, ended the connection."},
    {EventId::LinkClosed, "link.closed", Level::Info,
     "The connection is closed, for the reason that the event before tells."},
    {EventId::LinkRestored, "link.restored", Level::Info,
     "Values come in again after the connection or the session was lost."},
    {EventId::SessionOpened, "session.opened", Level::Info, "The PLC has answered both handshakes."},
    {EventId::SessionRejected, "session.rejected", Level::Warning,
     "The driver rejects the reply to a handshake; the connection is closed."},
    {EventId::SessionEnded, "session.ended", Level::Info, "The host ends its work with the PLC."},
    {EventId::ReplyTimeout, "reply.timeout", Level::Warning,
     "A reply did not come, or not whole, in time; the connection is closed."},
    {EventId::ReplyRefused, "reply.refused", Level::Warning,
     "The PLC refuses a request: the status word of its reply is not 0."},
    {EventId::ReplyBad, "reply.bad", Level::Warning, "A reply cannot be the answer to its request and counts as none."},
    {EventId::ReplyUnasked, "reply.unasked", Level::Warning,
     "Bytes arrived that nobody asked for; the connection is closed."},
    {EventId::ReplyRejected, "reply.rejected", Level::Warning,
     "The driver rejects a reply that the host took for good."},
    {EventId::RequestGivenUp, "request.given_up", Level::Info,
     "The driver has given up a request; a new handshake follows."},
    {EventId::ListRebuilt, "list.rebuilt", Level::Info, "What is read in every cycle has changed."},
    {EventId::WriteDone, "write.done", Level::Info, "The PLC has accepted a write."},
    {EventId::WriteFailed, "write.failed", Level::Warning, "A write has failed, or it is not known what became of it."},
    {EventId::ReadFailed, "read.failed", Level::Warning, "A one-shot read has failed."},
    {EventId::ProgramOther, "program.other", Level::Warning,
     "The guard says that another program is in the PLC; writes are held and values marked."},
    {EventId::ProgramUnreadable, "program.unreadable", Level::Warning,
     "The PLC refuses to read the guard; writes are held and values marked."},
    {EventId::ProgramExpected, "program.expected", Level::Info,
     "The guard is as the symbols say again; nothing is held any more."},
    {EventId::ProgramHandshake, "program.handshake", Level::Warning,
     "The PLC answers the handshake otherwise than was learned: perhaps another program; nothing is held."},
    {EventId::ValueOverwritten, "value.overwritten", Level::Warning,
     "A variable that nobody else is to write was changed, and not by this host."},
    {EventId::LatencyReset, "latency.reset", Level::Info, "The measured times were reset, on somebody's word."},
    {EventId::EventsLost, "events.lost", Level::Warning,
     "Events were dropped before anybody took them: more came than are kept."},
    // The gateway
    {EventId::BrokerConnected, "broker.connected", Level::Info, "The gateway is connected to a broker."},
    {EventId::BrokerLost, "broker.lost", Level::Warning,
     "The connection to a broker has ended or cannot be made; it is tried again, and values are kept."},
    {EventId::BrokerRefused, "broker.refused", Level::Warning,
     "The broker does not take what is published, or a subscription; the text says what to do."},
    {EventId::BrokerStore, "broker.store", Level::Warning,
     "What is kept for the broker cannot be stored, or was set aside or dropped; or it can be stored again."},
    {EventId::BrokerCommand, "broker.command", Level::Info, "A command came by the broker, and this became of it."},
    {EventId::SettingsTaken, "settings.taken", Level::Info,
     "The settings file was read again and taken over; what needs a restart is named."},
    {EventId::SettingsRefused, "settings.refused", Level::Warning,
     "The settings file was read again and is wrong; the old settings stay in force."},
    // Both
    {EventId::CommandNote, "command.note", Level::Info, "Nothing failed, but the user should know."},
    {EventId::CommandFailed, "command.failed", Level::Error, "The program could not do what it was asked for."},
    // The simulated PLC
    {EventId::ServerListening, "server.listening", Level::Info, "Clients can connect; the address is told."},
    {EventId::ServerExposed, "server.exposed", Level::Warning, "Other machines can connect, and write."},
    {EventId::ServerEnded, "server.ended", Level::Info, "The simulated PLC has ended; what it did is told."},
    {EventId::SymbolsDoubtful, "symbols.doubtful", Level::Warning,
     "The simulated PLC does otherwise than the author of the symbol file may think."},
    {EventId::ProgramLoaded, "program.loaded", Level::Info, "The simulated PLC runs another program from now on."},
    {EventId::ClientConnected, "client.connected", Level::Info, "A client has connected."},
    {EventId::ClientTurnedAway, "client.turned_away", Level::Warning,
     "A connection was closed at once, because all places are taken."},
    {EventId::ClientEvicted, "client.evicted", Level::Warning, "A client that asks nothing makes room for another."},
    {EventId::ClientStalled, "client.stalled", Level::Warning,
     "A client sent half a request, or does not take its replies, and is closed."},
    {EventId::ClientDisconnected, "client.disconnected", Level::Info, "The connection of a client has ended."},
    {EventId::RequestAnswered, "request.answered", Level::Debug, "A request was answered as it should be."},
    {EventId::RequestRefused, "request.refused", Level::Warning,
     "A request was answered with a status word other than 0."},
    {EventId::FaultApplied, "fault.applied", Level::Info, "A good reply met a fault that was asked for."},
};

}  // namespace

const char* levelName(Level level) {
    switch (level) {
        case Level::Debug:
            return "debug";
        case Level::Info:
            return "info";
        case Level::Warning:
            return "warning";
        case Level::Error:
            return "error";
    }
    return "?";
}

std::optional<Level> levelOf(const std::string& name) {
    for (const Level level : kLevels) {
        if (name == levelName(level)) {
            return level;
        }
    }
    return std::nullopt;
}

const std::vector<EventRow>& eventTable() {
    static const std::vector<EventRow> table(std::begin(kRows), std::end(kRows));
    return table;
}

const EventRow& rowOf(EventId event) {
    return eventTable()[static_cast<std::size_t>(event)];
}

}  // namespace ac500::events
