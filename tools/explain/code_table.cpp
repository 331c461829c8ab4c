#include "tools/explain/code_table.h"

#include <algorithm>
#include <cstdio>

namespace ac500::explain {

namespace {

constexpr char kNone[] = "";

// Of the records' codes the masks, from here on, are written in base 16.
constexpr int kFirstMask = 0xFF;

constexpr char kNeverProduced[] = "Reserved by `GetDriverReturnValue` for an outcome that this driver never produces.";
constexpr char kLoadSymbols[] = "Load the symbols of the program that the PLC runs now.";

constexpr Code kStatusCodes[] = {
    {Group::Status, 0, 0, "kStatusPending", "incomplete, or bad and to be sent again",
     "The reply is incomplete so far, or it was bad and the same frame will be sent again.",
     "Normal while receiving; otherwise see the host's own log for what was wrong.",
     "Keep receiving, or send the frame that `ComCommunication` offers again.", kNone},
    {Group::Status, 1, 1, "kStatusAccepted", "reply accepted, or measured", "Reply accepted, or only measured.", kNone,
     "After measuring, call again with the same bytes; after processing, go on.", kNone},
    {Group::Status, 100, 100, "kStatusAcceptedOther", "reply accepted",
     "Reply accepted. Treated like 1; this driver never produces it.", kNone, "Go on.", kNone},
    {Group::Status, 201, 201, "kStatusHandshakeRejected", "a handshake reply was rejected",
     "A handshake reply was rejected: first reply with a payload below 200 bytes, or second below 30. The queue is "
     "empty; the next `ComCommunication` with work starts the handshake again.",
     "The peer is no AC500 with this runtime, a gateway answers in its place, or the PLC refuses more connections.",
     "Check address and port; close other programming or panel connections to the PLC; see whether the PLC holds a "
     "boot "
     "project.",
     kNone},
    {Group::Status, 11, 22, "kRefusedBase", "the PLC refused the request",
     "The PLC refused the request, or the reply was no data reply (retries exhausted). The status word of the reply "
     "was "
     "not 0. The driver's status does not tell it: take it from the reply, offset 6.",
     "Wrong session bytes after a PLC restart, an area or address that the PLC does not have, symbols of another "
     "program "
     "version.",
     "Tell it as a refusal, with the PLC's status word. Load the current symbol information; set up a new connection.",
     kNone},
    {Group::Status, 41, 41, "kStatusEmptyReply", "no reply came, before one was measured",
     "No reply came to a frame that was not measured yet, whatever the `hostId` (retries exhausted).", "As 41 - 52.",
     "As 41 - 52.", kNone},
    {Group::Status, 41, 52, "kEmptyBase", "no reply came",
     "No reply came, or the host handed over an empty one (retries exhausted). A refusal that is handed over as it "
     "came "
     "gives 11 - 22 instead (host guide).",
     "Cable, switch, PLC stopped or overloaded, timeout too short.",
     "Check the link and the PLC's state; raise the reply timeout.", kNone},
    {Group::Status, 71, 71, "kStatusLengthMismatch", "the reply is not as long as its length field says",
     "The reply to a measured frame is not complete by its length field, whatever the `hostId` (retries exhausted).",
     "As 71 - 82.", "As 71 - 82.", kNone},
    {Group::Status, 71, 82, "kLengthBase", "the reply has not the length that was measured",
     "The reply's length is not what was measured before, or not what its length field says (retries exhausted).",
     "A retried frame got a reply of another length (quirk 9), or a device in between cuts or joins replies.",
     "Hand replies that are known to be bad over as empty ones (host guide); look for a gateway in between.", kNone},
    {Group::Status, 111, 122, "kReserved5Base", "reserved, never produced", kNeverProduced, kNone, kNone, kNone},
    {Group::Status, 141, 152, "kReserved6Base", "reserved, never produced", kNeverProduced, kNone, kNone, kNone},
    {Group::Status, 171, 182, "kReserved7Base", "reserved, never produced", kNeverProduced, kNone, kNone, kNone},
    {Group::Status, 200, 200, "kStatusUnknownOutcome", "an outcome that does not exist",
     "`GetDriverReturnValue` was asked for an outcome that does not exist.", "A host calling it directly.", kNone,
     kNone},
};

constexpr Code kResolutionCodes[] = {
    {Group::Resolution, 0, 0, "kResolved", "resolved", "Resolved.", kNone, kNone, kNone},
    {Group::Resolution, 1, 1, "kNotFound",
     "the variable does not exist, the name is incomplete, or the number of indices is wrong",
     "Name incomplete, variable not in its scope, wrong number of indices, or an index on something that is no array. "
     "From "
     "index rewriting also: the element lies beyond the array, or a fixed index where a placeholder is expected.",
     "`Main.motor` without a member; `Main.values` without `[ ]` on an array of two dimensions; a variable removed "
     "from the "
     "PLC program.",
     "Complete the name; load the current symbols.", kNone},
    {Group::Resolution, 2, 2, "kUnknownScope", "there is no such scope",
     "The first component is not in the table of scopes.",
     "Misspelt scope (case counts), or the symbols were never handed over.",
     "Check spelling; call `PassVarName_2` first.", kNone},
    {Group::Resolution, 3, 3, "kBadIndex", "an index is missing, is no number, or lies below the lower bound",
     "An index is no number, lies below the lower bound, or the array's bounds are incomplete.",
     "`Main.temps` without `[ ]` on a one-dimensional array; `[0]` on an array that starts at 1.",
     "Give an index from the lower bound on.", kNone},
    {Group::Resolution, 6, 6, "kEmptyTag", "the tag is empty", "The tag is empty.",
     "An unassigned field on a panel page.", "Assign a tag.", kNone},
    {Group::Resolution, 7, 7, "kUnknownMember", "the structure has no such member",
     "The structure has no such member, or lies more than 100 structures deep.",
     "Misspelt member, or the structure changed in the PLC program.", "Check spelling; load the current symbols.",
     kNone},
    {Group::Resolution, 10, 10, "kNoElementType", "the symbol record has no element type",
     "A scope or a variable of type 12 has no element type. From index rewriting also: a bit-addressable variable has "
     "none, "
     "and the bit is to be counted (`Main.flags.b[%%]`); a bit that is named by its number needs none.",
     "The host built the symbol records incompletely.",
     "Correct the host's decoder ([worked records](host-interface.md#worked-records)).", kNone},
    {Group::Resolution, 11, 11, "kTooFewComponents", "a tag needs a scope and a variable", "Fewer than two components.",
     "`Main` alone.", "Write scope and variable.", kNone},
    {Group::Resolution, 12, 12, "kNoArea", "the symbol record names no memory area",
     "The variable carries no memory area.", "The host built the symbol records incompletely.",
     "Correct the host's decoder.", kNone},
};

constexpr Code kPlcStatusCodes[] = {
    {Group::PlcStatus, 0x0000, 0x0000, kNone, "good", "The PLC has carried the request out.", kNone, kNone, kNone},
    {Group::PlcStatus, 0x0101, 0x0101, kNone, "wrong magic",
     "The stream does not go on with `BB BB`; the connection is closed.",
     "Something else than the driver sends on this connection, or bytes were lost on the way.",
     "Look for a gateway in between; capture the connection.", kNone},
    {Group::PlcStatus, 0x0102, 0x0102, kNone, "request too long",
     "The length field says more than 65535; the connection is closed.",
     "As 0x0101: nothing that the driver makes is so long.", "As 0x0101.", kNone},
    {Group::PlcStatus, 0x0103, 0x0103, kNone, "bad length",
     "The request is longer or shorter than what stands in it says.",
     "A host that builds or changes frames by itself; bytes lost on the way.",
     "Send the frames of `ComCommunication` as they are.", kNone},
    {Group::PlcStatus, 0x0104, 0x0104, kNone, "unknown service", "The service code is none that is served.",
     "Another program asks for something else than reads and writes.", "Find out who else uses the connection.", kNone},
    {Group::PlcStatus, 0x0201, 0x0201, kNone, "wrong session bytes",
     "The request carries the session bytes of an earlier connection or of an earlier run of the PLC.",
     "The PLC has restarted.", "Set up a new connection; `ac500-host` does by itself.", kNone},
    {Group::PlcStatus, 0x0202, 0x0202, kNone, "unknown file",
     "The PLC has no file of the name that the handshake asks for.", "The PLC's program was loaded without symbols.",
     "Load the PLC's program with its symbol file.", kNone},
    {Group::PlcStatus, 0x0301, 0x0301, kNone, "unknown area", "The PLC has no such memory area.",
     "Symbols of another program or of another PLC.", kLoadSymbols, kNone},
    {Group::PlcStatus, 0x0302, 0x0302, kNone, "item out of range", "An item does not lie within its memory area.",
     "Symbols of another program version; an index beyond the array, which the driver does not look at.",
     "Load the symbols of the program that the PLC runs now; `ac500-host check` finds indices out of bounds.", kNone},
    {Group::PlcStatus, 0x0303, 0x0303, kNone, "reply too long", "The reply would be longer than a frame can be.",
     "More is asked for at once than the PLC answers.", "Lower `maxRequestWords` (`--max-request-words`).", kNone},
    {Group::PlcStatus, 0x0304, 0x0304, kNone, "read-only variable",
     "A write to a variable of the simulated PLC itself that only it sets.",
     "One of the simulated PLC's counters was written, as `Sim.requests`.", "Write `Sim.fault_...` only.", kNone},
    {Group::PlcStatus, 0x0305, 0x0305, kNone, "bad value",
     "A write to `Sim.fault_kind` that would arm a fault, argument or service that does not exist.",
     "A wrong number; `ac500-sim --help` lists the right ones.", "Write an argument that the kind takes first.", kNone},
    {Group::PlcStatus, 0x0F01, 0x0F01, kNone, "injected fault",
     "A reply that the simulated PLC spoils on request; behind it comes the whole good reply.",
     "A fault of kind `status`, from `--fault` or `Sim.fault_kind`.",
     "None: `ac500-host` sends a read again; of a write it says that the PLC may or may not have it.", kNone},
};

constexpr Code kHostExitCodes[] = {
    {Group::HostExit, 0, 0, kNone, "everything was done", kNone, kNone, kNone, kNone},
    {Group::HostExit, 1, 1, "usage", "the command line or a value is wrong", kNone,
     "An option, or a value that does not fit its type.", "`ac500-host --help`, or with the command: `read --help`.",
     kNone},
    {Group::HostExit, 2, 2, "file", "the driver, the symbol file or another file cannot be used", kNone,
     "The driver library, the symbol file, the settings file or a list.",
     "See the path, and the line that the message names; `ac500-host doctor` tries driver and symbols.", kNone},
    {Group::HostExit, 3, 3, "name", "a tag does not exist; check, plan --expect, symbols diff: something is wrong",
     kNone, "A tag that does not resolve. Without a message: a command that looks for mistakes has found some.",
     "See the near names in the message, and `ac500-host tags`.", kNone},
    {Group::HostExit, 4, 4, "tcp", "there is no connection to the PLC", kNone,
     "The PLC is off, address or port are wrong, a firewall is between.", "`ac500-host doctor` tells these apart.",
     kNone},
    {Group::HostExit, 5, 5, "handshake", "the PLC, or what answers in its place, opens no session", kNone,
     "Something else listens there; all connections of the PLC are taken.",
     "Check address and port; close other connections to the PLC.", kNone},
    {Group::HostExit, 6, 6, "request", "reading or writing failed", kNone,
     "The PLC refused, a reply did not come, a write failed, or a value differs when it is read back.",
     "`ac500-host explain` the status word in the message; see whether the symbols match the program in the PLC.",
     kNone},
    {Group::HostExit, 7, 7, "output", "the standard output, or a file that was asked for, cannot be written", kNone,
     "The disk that it goes to is full, or the folder may not be written.", "Make room, or write elsewhere.", kNone},
    {Group::HostExit, 8, 8, "program", "another program is in the PLC than the symbols describe", kNone,
     "A download: the guard of the symbol file has another number in the PLC, or the PLC refuses to read it.",
     "Load the symbols of the program that the PLC runs; `ac500-host symbols diff OLD NEW` tells what moved.", kNone},
    {Group::HostExit, 130, 130, kNone, "ended by Ctrl-C before it was done", kNone, "Ctrl-C.", kNone, kNone},
    {Group::HostExit, 141, 141, kNone, "ended because nobody reads its output any more", kNone,
     "A pipe whose reader has ended, as in `watch ... | head -1`.", kNone, kNone},
};

constexpr Code kSimExitCodes[] = {
    {Group::SimExit, 0, 0, kNone, "ended by a signal or --run-seconds", kNone, kNone, kNone, kNone},
    {Group::SimExit, 1, 1, kNone, "wrong usage", kNone, "The command line is wrong.", "`ac500-sim --help`.", kNone},
    {Group::SimExit, 2, 2, kNone, "symbol file", "The symbol file cannot be used.",
     "See the line that the message names.", "Correct the file; docs/symbol-file.md describes it.", kNone},
    {Group::SimExit, 3, 3, kNone, "cannot listen", "The address or port cannot be listened on.",
     "Another program has the port, or the address is none of this machine.",
     "Choose another `--port`; 0 takes a free one.", kNone},
    {Group::SimExit, 4, 4, kNone, "the standard output cannot be written", kNone, "The disk that it goes to is full.",
     "Make room, or write elsewhere.", kNone},
    {Group::SimExit, 141, 141, kNone, "nobody reads it any more", "Nobody reads the standard output any more.",
     "A pipe whose reader has ended.", kNone, kNone},
};

constexpr char kVariableCallback[] = "`varDoneCallback`";
constexpr char kCommunicationCallback[] = "`commFailCallback`";

constexpr Code kCallbackCodes[] = {
    {Group::Callback, 1, 1, "kVariableDone", "the PLC has it",
     "Every queued request of this variable has been accepted by the PLC.", kNone, kNone, kVariableCallback},
    {Group::Callback, 2, 2, "kVariableFailed", "the request was abandoned",
     "The request was abandoned; the PLC may or may not have carried out a write whose reply was lost, and has not "
     "taken "
     "one that it refused.",
     kNone, kNone, kVariableCallback},
    {Group::Callback, 1, 1, "kCommunicationFailed", "a request was abandoned", kNone, kNone, kNone,
     kCommunicationCallback},
};

constexpr char kHandshakeCheck[] = "`handshake_data_check`";
constexpr char kReceptionCheck[] = "`infinite_length_data_reception`";
constexpr char kDataCheck[] = "`CheckGetData`";

constexpr Code kReplyCheckCodes[] = {
    {Group::ReplyCheck, 0, 0, "kHandshakeAccepted", "accepted", kNone, kNone, kNone, kHandshakeCheck},
    {Group::ReplyCheck, 1, 1, "kHandshakeNotExpected", "no handshake reply is expected", kNone, kNone, kNone,
     kHandshakeCheck},
    {Group::ReplyCheck, 8, 8, "kHandshakeTooShort", "shorter than an envelope", kNone, kNone, kNone, kHandshakeCheck},
    {Group::ReplyCheck, 9, 9, "kOpenReplyTooSmall", "first reply too small", kNone, kNone, kNone, kHandshakeCheck},
    {Group::ReplyCheck, 13, 13, "kSymbolFileReplyTooSmall", "second reply too small", kNone, kNone, kNone,
     kHandshakeCheck},
    {Group::ReplyCheck, 0, 0, "kReceptionComplete", "complete", kNone, kNone, kNone, kReceptionCheck},
    {Group::ReplyCheck, 8, 8, "kReceptionIncomplete", "incomplete", kNone, kNone, kNone, kReceptionCheck},
    {Group::ReplyCheck, 0, 0, "kBadDataReply", "bad", kNone, kNone, kNone, kDataCheck},
    {Group::ReplyCheck, 1, 1, "kGoodReadReply", "good reply to a read", kNone, kNone, kNone, kDataCheck},
    {Group::ReplyCheck, 2, 2, "kGoodWriteReply", "good reply to a write", kNone, kNone, kNone, kDataCheck},
};

constexpr Code kOutcomeCodes[] = {
    {Group::Outcome, 0, 0, "kReplyGood", "good", kNone, kNone, kNone, "1"},
    {Group::Outcome, 1, 1, "kReplyRefused", "the PLC refused the request, or the reply is no data reply", kNone, kNone,
     kNone, "11 - 22"},
    {Group::Outcome, 2, 2, "kReplyEmpty", "nothing was received", kNone, kNone, kNone, "41 - 52"},
    {Group::Outcome, 3, 3, "kReplyLengthDiffers", "not the length that was measured", kNone, kNone, kNone, "71 - 82"},
    {Group::Outcome, 4, 4, "kReplyOutcome4", "never produced", kNone, kNone, kNone, "100"},
    {Group::Outcome, 5, 5, "kReplyOutcome5", "never produced", kNone, kNone, kNone, "111 - 122"},
    {Group::Outcome, 6, 6, "kReplyOutcome6", "never produced", kNone, kNone, kNone, "141 - 152"},
    {Group::Outcome, 7, 7, "kReplyOutcome7", "never produced", kNone, kNone, kNone, "171 - 182"},
};

// The numbers are those of the client library.
constexpr Code kWriteCodes[] = {
    {Group::Write, 0, 0, "pending", "not decided yet", "The write has not ended yet.", kNone, kNone, kNone},
    {Group::Write, 1, 1, "done", "the PLC has accepted it", "The PLC has accepted the write.", kNone, kNone, kNone},
    {Group::Write, 2, 2, "refused", "the PLC has said no", "The PLC has said no, to all of the write.",
     "An area or address that the PLC does not have, or a variable that cannot be written; the reason has the status "
     "word.",
     "`ac500-host explain` the status word; see whether the symbols match the program in the PLC.", kNone},
    {Group::Write, 3, 3, "not sent", "nothing of it went out", "Nothing of the write went out, and nothing of it will.",
     "A condition that does not hold, an expiry, a link that is down, another program in the PLC, an audit that cannot "
     "be "
     "kept; the reason says which.",
     "Remove the reason, and write again if the value is still wanted.", kNone},
    {Group::Write, 4, 4, "unknown", "nobody knows whether the PLC has it",
     "The write went out, or a part of it, and nobody knows what the PLC made of it. It is not sent again.",
     "The reply was lost, spoilt or perhaps another's.", "Read the value, and decide.", kNone},
};

constexpr Code kStateCodes[] = {
    {Group::State, 0, 0, "never received", "the PLC has not sent it yet", "The PLC has not sent the value yet.",
     "There is no connection, or the PLC refuses to read it.", "`ac500-host doctor` tells which.", kNone},
    {Group::State, 1, 1, "fresh", "received, and not old", "The value was received, and is not old.", kNone, kNone,
     kNone},
    {Group::State, 2, 2, "stale", "older than three cycles, or the connection is down",
     "The value is older than three cycles and than two seconds, or the connection is down.",
     "The link is down, or the PLC is slow.", "`ac500-host status` tells.", kNone},
    {Group::State, 3, 3, "write pending", "a write is on its way",
     "A write is on its way, or was accepted and the value not read again yet.", kNone, kNone, kNone},
    {Group::State, 4, 4, "write failed", "the last write failed",
     "The last write failed; shown for ten seconds, and until the value was read again.",
     "The outcome of the write and its reason say it.", "`ac500-host explain` the outcome.", kNone},
    {Group::State, 5, 5, "suspect", "perhaps from another program than the symbols describe",
     "The value was received, but perhaps from another program than the symbols describe; nothing is written then.",
     "A download: the guard of the symbol file has another number in the PLC, or cannot be read.",
     "Load the symbols of the program that the PLC runs; `ac500-host symbols diff OLD NEW` tells what moved.", kNone},
};

constexpr char kReplyLength[] = "`Protocol::replyLength`";
constexpr char kAccessMode[] = "`ComInfo::accessMode`";
constexpr char kTypeWord[] = "`Label_Type_Info::type`";
constexpr char kTypeCode[] = "type code";

constexpr Code recordCode(int number, const char* name, const char* place, const char* brief) {
    return {Group::Record, number, number, name, brief, kNone, kNone, kNone, place};
}

constexpr Code kRecordCodes[] = {
    recordCode(-1, "kNotMeasured", kReplyLength, "the reply was not measured yet"),
    recordCode(0, "kAccessImage", kAccessMode, "written values stay in the byte image, as for any value but 2"),
    recordCode(2, "kAccessPlc", kAccessMode, "written values go to the PLC"),
    recordCode(0x00FF, "kTypeCodeMask", kTypeWord, "the bits of the type code"),
    recordCode(0x0100, "kArrayFlag", kTypeWord, "an array"),
    recordCode(0x0200, "kStructureFlag", kTypeWord, "a structure type"),
    recordCode(0x0400, "kBitsFlag", kTypeWord, "single bits of the variable may be named"),
    recordCode(1, "kBoolType", kTypeCode, "BOOL"),
    recordCode(2, "kSintType", kTypeCode, "SINT"),
    recordCode(3, "kIntType", kTypeCode, "INT"),
    recordCode(4, "kUintType", kTypeCode, "UINT"),
    recordCode(5, "kDintType", kTypeCode, "DINT"),
    recordCode(6, "kUdintType", kTypeCode, "UDINT"),
    recordCode(7, "kRealType", kTypeCode, "REAL"),
    recordCode(8, "kLintType", kTypeCode, "LINT"),
    recordCode(9, "kLrealType", kTypeCode, "LREAL"),
    recordCode(10, "kStringType", kTypeCode, "STRING"),
    recordCode(11, "kCstringType", kTypeCode, "CSTRING"),
    recordCode(12, "kStructureType", kTypeCode, "structure"),
    recordCode(13, "kBitAddressedType", kTypeCode, "BIT"),
    recordCode(14, "kUsintType", kTypeCode, "USINT"),
    recordCode(15, "kByteType", kTypeCode, "BYTE"),
    recordCode(16, "kWordType", kTypeCode, "WORD"),
    recordCode(17, "kDwordType", kTypeCode, "DWORD"),
    recordCode(18, "kLwordType", kTypeCode, "LWORD"),
    recordCode(21, "kUlintType", kTypeCode, "ULINT"),
};

template <std::size_t size>
void append(const Code (&codes)[size], std::vector<Code>* all) {
    all->insert(all->end(), codes, codes + size);
}

std::vector<Code> joined() {
    std::vector<Code> all;
    append(kStatusCodes, &all);
    append(kResolutionCodes, &all);
    append(kPlcStatusCodes, &all);
    append(kHostExitCodes, &all);
    append(kSimExitCodes, &all);
    append(kCallbackCodes, &all);
    append(kReplyCheckCodes, &all);
    append(kOutcomeCodes, &all);
    append(kWriteCodes, &all);
    append(kStateCodes, &all);
    append(kRecordCodes, &all);
    return all;
}

std::string hexText(int number) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%04X", static_cast<unsigned>(number));
    return text;
}

}  // namespace

const std::vector<Group>& allGroups() {
    static const std::vector<Group> groups = {Group::Status,  Group::Resolution, Group::PlcStatus,  Group::HostExit,
                                              Group::SimExit, Group::Callback,   Group::ReplyCheck, Group::Outcome,
                                              Group::Write,   Group::State,      Group::Record};
    return groups;
}

const std::vector<Code>& allCodes() {
    static const std::vector<Code> codes = joined();
    return codes;
}

const Code* findCode(Group group, int number) {
    const std::vector<Code>& codes = allCodes();
    const auto found = std::find_if(codes.begin(), codes.end(), [&](const Code& code) {
        return code.group == group && code.first <= number && number <= code.last;
    });
    return found == codes.end() ? nullptr : &*found;
}

const char* briefOf(Group group, int number) {
    const Code* code = findCode(group, number);
    return code == nullptr ? "a code that has no meaning" : code->brief;
}

const char* groupKey(Group group) {
    switch (group) {
        case Group::Status:
            return "status";
        case Group::Resolution:
            return "resolution";
        case Group::PlcStatus:
            return "plc";
        case Group::HostExit:
            return "exit";
        case Group::SimExit:
            return "sim-exit";
        case Group::Callback:
            return "callback";
        case Group::ReplyCheck:
            return "check";
        case Group::Outcome:
            return "outcome";
        case Group::Write:
            return "write";
        case Group::State:
            return "state";
        case Group::Record:
            return "record";
    }
    return "?";
}

const char* groupTitle(Group group) {
    switch (group) {
        case Group::Status:
            return "status of a request, from the driver";
        case Group::Resolution:
            return "answer of the driver to a tag name";
        case Group::PlcStatus:
            return "status word of a reply, as the simulated PLC gives it";
        case Group::HostExit:
            return "exit code of ac500-host";
        case Group::SimExit:
            return "exit code of ac500-sim";
        case Group::Callback:
            return "last argument of a callback";
        case Group::ReplyCheck:
            return "result of checking a reply";
        case Group::Outcome:
            return "outcome that GetDriverReturnValue takes";
        case Group::Write:
            return "outcome of a write";
        case Group::State:
            return "state of a value";
        case Group::Record:
            return "code in a shared record";
    }
    return "?";
}

std::string numberText(const Code& code) {
    const bool isHex = code.group == Group::PlcStatus || (code.group == Group::Record && code.first >= kFirstMask);
    if (isHex) {
        return hexText(code.first);
    }
    const std::string first = std::to_string(code.first);
    return code.last == code.first ? first : first + " - " + std::to_string(code.last);
}

}  // namespace ac500::explain
