// What a record holds: every call into the driver with its arguments and answers, the callbacks in it, what went over the
// connection, and what the host noted. docs/record-format.md has the same in bytes.
//
// Plain values of fixed widths, without Qt and without anything of one machine: no pointers, no layouts, no byte order. What
// the host tells apart by pointers is numbered. Texts are UTF-16 code units, as the driver has them, so that any text comes
// back as it was; bytes are bytes.
#ifndef AC500_TOOLS_RECORD_EVENT_H
#define AC500_TOOLS_RECORD_EVENT_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace ac500::record {

using Bytes = std::string;
using Text = std::u16string;

// ---------------------------------------------------------------------------------------------------------------------
// The records that host and driver exchange; their fields are those of the driver's headers
// ---------------------------------------------------------------------------------------------------------------------

constexpr std::size_t kSettingsWords = 19;
using SettingsWords = std::array<std::int32_t, kSettingsWords>;  // ComInfo, in order of offsets
using ResolutionWords = std::array<std::int32_t, 10>;            // ControlInformationM, in order of offsets

struct VarRecord {  // RW_VAR
    std::int32_t hostId = 0;
    std::int32_t hostSubId = 0;
    std::int32_t writeFlag = 0;
    std::int32_t aux3 = 0;
    std::int32_t aux4 = 0;
    std::int32_t status = 0;
    Text labelName;
    Text labelArg;
    std::int32_t dataType = 0;
    std::int32_t offset = 0;
    std::int32_t comWord = 0;
    std::int32_t size = 0;
    std::int32_t resolveResult = 0;
    std::int32_t area = 0;
    Bytes data;
};

struct FrameRecord {  // Protocol
    Bytes frame;
    std::int32_t frameLength = 0;
    std::int32_t replyLength = 0;
    std::int32_t replyDataOffset = 0;
    std::int32_t minReplyLength = 0;
    VarRecord var;
    std::array<std::int32_t, 3> reserved{};
};

struct TagRecord {  // HostTag
    std::int32_t hostWord0 = 0;
    std::int32_t hostWord1 = 0;
    Text argument;
    Text tagName;
    std::int32_t count = 0;
};

struct LabelRecord {  // Label_Type_Info
    Text name;
    std::uint16_t type = 0;
    std::int32_t offset = 0;
    std::int32_t dimensions = 0;
    std::uint32_t memberCount = 0;
    std::vector<std::int32_t> arrayBounds;
    std::vector<LabelRecord> members;
    std::vector<LabelRecord> elementType;
    Text typeName;
    std::int32_t extra1 = 0;
    std::int32_t extra2 = 0;
    std::vector<std::int32_t> areaList;
    std::vector<Text> textList;
};

// ---------------------------------------------------------------------------------------------------------------------
// Calls into the driver: arguments first, then what came back
// ---------------------------------------------------------------------------------------------------------------------

struct SetComInfo {
    SettingsWords settings{};  // as handed over; what the driver changed of them stands in Event::settingsAfter
};

struct RegisterCallbacks {
    bool varDone = true;  // is there one?
    bool commFailed = true;
};

struct SetLocalRegisters {
    bool lb = false;  // null or not: the driver never looks behind them
    bool lw = false;
    bool rwi = false;
};

struct PassSymbols {
    std::optional<std::vector<LabelRecord>> labels;  // nothing: a null pointer
};

struct RebuildReadList {
    std::optional<std::vector<TagRecord>> tags;  // nothing: a null pointer

    std::int32_t result = 0;
};

struct AddCyclicRead {
    VarRecord var;

    std::int32_t result = 0;
};

struct AddOnceRead {
    VarRecord var;

    VarRecord varAfter;
    std::int32_t result = 0;
};

struct AddWrite {
    VarRecord var;

    std::int32_t result = 0;
};

// ComCommunication.
struct NextRequest {
    std::optional<FrameRecord> frame;  // nothing: null
    // Of the frame: 1 for the first of a run, one more for each that is another object than the one offered before. 0
    // without a frame.
    std::uint32_t frameNumber = 0;
};

// DataCom.
struct TakeReply {
    std::uint32_t frameNumber = 0;  // of the frame offered last: the one that it answers; 0 when there was none
    Bytes reply;
    std::int32_t received = 0;

    VarRecord result;
};

struct GetValue {
    Text label;
    std::int32_t unused1 = 0;
    std::optional<Text> argument;  // nothing: a null pointer
    std::int32_t unused2 = 0;
    std::int32_t count = 0;

    std::uint32_t result = 0;
    Bytes out;
    Text labelAfter;
};

struct SetValue {
    Text label;
    std::int32_t unused1 = 0;
    std::optional<Text> argument;  // nothing: a null pointer
    std::int32_t unused2 = 0;
    Bytes in;
    std::int32_t count = 0;
    std::int32_t hostId = 0;
    std::int32_t hostSubId = 0;

    std::uint32_t result = 0;
    Text labelAfter;
};

// get_label_address_info(QString const&, ControlInformationM&).
struct ResolveTag {
    Text tag;
    ResolutionWords before{};

    ResolutionWords after{};
    std::int32_t result = 0;
};

// ---------------------------------------------------------------------------------------------------------------------
// What is no call
// ---------------------------------------------------------------------------------------------------------------------

struct SettingsWord {
    std::uint8_t index = 0;  // into SettingsWords
    std::int32_t value = 0;
};

// The host changed its settings record since the last call: comes before the call that is the first to see it.
struct SettingsChanged {
    std::vector<SettingsWord> words;
};

enum class ConnectionStep : std::uint8_t {
    Connecting = 0,  // text: the address
    Connected = 1,
    NotConnected = 2,  // text: why
    Sent = 3,          // bytes: what was sent
    SendFailed = 4,    // bytes: what was to be sent; how much of it got out is not known
    Received = 5,      // bytes: what arrived, in the pieces in which the host took it
    Ended = 6,         // by the PLC or by an error; text: why
    Closed = 7,        // by the host
};

struct Connection {
    ConnectionStep step = ConnectionStep::Connecting;
    Bytes bytes;
    std::string text;  // UTF-8
};

enum class NoteKind : std::uint8_t {
    Failure = 0,  // something failed; id: of the event, as docs/events.md has it
    Event = 1,    // something else happened; id: likewise
    Trigger = 2,  // why the record was saved
    Remark = 3,   // of the recorder itself: what it could not record
};

struct Note {
    NoteKind kind = NoteKind::Event;
    std::string id;    // UTF-8
    std::string text;  // UTF-8
};

// A run of the byte image.
struct ImageRun {
    std::int32_t area = 0;
    std::uint32_t address = 0;  // bytes
    Bytes bytes;
};

// The state of the driver between two calls at which it has no open request, no pending write and no pending one-shot read:
// what a fresh driver must be brought to, to go on from here (tools/driver/driver_restore.h does it, with calls alone).
struct Checkpoint {
    SettingsWords settings{};
    bool hasCallbacks = false;
    std::vector<std::vector<LabelRecord>> symbols;  // every list that was passed, in order; repeated ones once
    std::vector<VarRecord> readList;                // in its order at this moment
    std::array<std::uint8_t, 4> sessionBytes{};     // as they end a request
    bool isConnected = false;                       // the handshake is done
    bool hasFailed = false;                         // a request was given up, and no good reply came since
    std::vector<ImageRun> image;                    // in ascending order
};

enum class SegmentBegin : std::uint8_t {
    Fresh = 0,       // with the first call into a driver that was loaded just before
    Checkpoint = 1,  // with what a fresh driver can be brought to
    Unknown = 2,     // the state of the driver was not to be had: nothing can be replayed before the next segment
};

// A record is a row of segments. Those that follow one another without a gap need no checkpoint to be replayed: it is there
// for when what came before is lost.
struct SegmentStart {
    SegmentBegin begin = SegmentBegin::Fresh;
    bool isContinuation = false;  // nothing is missing between this and what was read before it
    std::optional<Checkpoint> checkpoint;
};

// ---------------------------------------------------------------------------------------------------------------------

// A callback of the driver; the call that it came in is the event that holds it.
struct VarDone {
    std::uint32_t stationId = 0;
    std::uint32_t hostId = 0;
    std::uint32_t hostSubId = 0;
    std::uint32_t outcome = 0;
};
struct CommFailed {
    std::uint32_t listSize = 0;
    std::uint32_t hostId = 0;
    std::uint32_t one = 0;
};
using Callback = std::variant<VarDone, CommFailed>;

using What = std::variant<SegmentStart, SetComInfo, RegisterCallbacks, SetLocalRegisters, PassSymbols, RebuildReadList,
                          AddCyclicRead, AddOnceRead, AddWrite, NextRequest, TakeReply, GetValue, SetValue, ResolveTag,
                          SettingsChanged, Connection, Note>;

struct Event {
    std::uint64_t number = 0;      // in the run, from 0; a segment start has that of the event after it
    std::int64_t monotonicUs = 0;  // of a clock that never goes back; when the call began, of a GetValue: ended
    std::int64_t utcUs = 0;        // since 1970, as the system's clock said; it may jump
    std::uint32_t thread = 0;      // 0: the first that called; then in the order of their first calls
    What what;
    std::vector<Callback> callbacks;          // calls only: what the driver reported in it, in order
    std::vector<SettingsWord> settingsAfter;  // calls only: what the driver changed in the settings record
};

// What a record says of its run.
struct RunInfo {
    std::uint64_t runId = 0;   // the same in all parts of a ring
    std::string program;       // "ac500-host 1.2.3", UTF-8 like all of these
    std::string driver;        // path of the library
    std::string driverBuild;   // its build id in hexadecimal digits; empty: it has none
    std::string architecture;  // "x86_64", "armv7l"
    std::string qtVersion;
    std::vector<std::pair<std::string, std::string>>
        settings;  // of the command, by option name, without values of tags
};

// "GetValue", "NextRequest", ...: the name of the struct.
const char* nameOf(const What& what);

}  // namespace ac500::record

#endif
