#include "tools/replay/event_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <variant>

#include "core/codes.h"
#include "tools/driver/recorded_values.h"
#include "tools/wire/frame.h"

namespace ac500::replay {

namespace {

using namespace record;

constexpr std::size_t kShownItems = 3;
constexpr std::size_t kShownBytes = 16;

struct NameOfCall {
    const char* operator()(const SegmentStart&) const { return "segment"; }
    const char* operator()(const SetComInfo&) const { return "SetComInfo"; }
    const char* operator()(const RegisterCallbacks&) const { return "RegistCallBackFuncIntf"; }
    const char* operator()(const SetLocalRegisters&) const { return "FlashLocalRegister"; }
    const char* operator()(const PassSymbols&) const { return "PassVarName_2"; }
    const char* operator()(const RebuildReadList&) const { return "ReCreatReadVarList"; }
    const char* operator()(const AddCyclicRead&) const { return "AddListReadVar"; }
    const char* operator()(const AddOnceRead&) const { return "AddListOnceReadVar"; }
    const char* operator()(const AddWrite&) const { return "AddListWriteVar"; }
    const char* operator()(const NextRequest&) const { return "ComCommunication"; }
    const char* operator()(const TakeReply&) const { return "DataCom"; }
    const char* operator()(const GetValue&) const { return "GetRegisterData"; }
    const char* operator()(const SetValue&) const { return "SetRegisterData"; }
    const char* operator()(const ResolveTag&) const { return "get_label_address_info"; }
    const char* operator()(const SettingsChanged&) const { return "settings"; }
    const char* operator()(const Connection&) const { return "connection"; }
    const char* operator()(const Note&) const { return "note"; }
};

std::string varText(const VarRecord& var) {
    return fmt::format("{} ({}, {}), area {} at {}, {} bytes", utf8Of(var.labelName), var.hostId, var.hostSubId,
                       var.area, var.offset, var.size);
}

std::string taggedText(const Text& label, const std::optional<Text>& argument, std::int32_t count) {
    return fmt::format("{}{}, {}", utf8Of(label), argument && !argument->empty() ? " with " + utf8Of(*argument) : "",
                       count);
}

std::string rewritten(const Text& before, const Text& after) {
    return before == after ? "" : ", name " + utf8Of(after);
}

struct TextOfEvent {
    std::string operator()(const SegmentStart& segment) const {
        const char* begin = segment.begin == SegmentBegin::Fresh        ? "of a fresh driver"
                            : segment.begin == SegmentBegin::Checkpoint ? "with what the driver held"
                                                                        : "of a driver whose state is not known";
        return fmt::format("{}{}", begin, segment.isContinuation ? ", without a gap" : "");
    }
    std::string operator()(const SetComInfo& call) const {
        return fmt::format("(maxRequestWords {}, retryLimit {}, accessMode {}, stationId {})", call.settings[4],
                           call.settings[7], call.settings[16], call.settings[18]);
    }
    std::string operator()(const RegisterCallbacks& call) const {
        return fmt::format("({}, {})", call.varDone ? "varDone" : "null", call.commFailed ? "commFailed" : "null");
    }
    std::string operator()(const SetLocalRegisters& call) const {
        return fmt::format("({}, {}, {})", call.lb ? "LB" : "null", call.lw ? "LW" : "null", call.rwi ? "RWI" : "null");
    }
    std::string operator()(const PassSymbols& call) const {
        return call.labels ? fmt::format("({} scopes)", call.labels->size()) : "(null)";
    }
    std::string operator()(const RebuildReadList& call) const {
        return fmt::format("({}) -> {} requests", call.tags ? fmt::format("{} tags", call.tags->size()) : "null",
                           call.result);
    }
    std::string operator()(const AddCyclicRead& call) const {
        return fmt::format("({}) -> {}", varText(call.var), call.result);
    }
    std::string operator()(const AddOnceRead& call) const {
        return fmt::format("({}, {} elements for ({}, {})) -> {}", utf8Of(call.var.labelName), call.var.size,
                           call.var.hostId, call.var.hostSubId, call.result);
    }
    std::string operator()(const AddWrite& call) const {
        return fmt::format("({}: {}) -> {}", varText(call.var), hexText(call.var.data, 0, kShownBytes), call.result);
    }
    std::string operator()(const NextRequest& call) const {
        return "() -> " + (call.frame ? requestText(call.frame->frame) : std::string("nothing to send"));
    }
    std::string operator()(const TakeReply& call) const {
        return fmt::format("({}{}) -> status {}", replyText(call.reply),
                           static_cast<std::size_t>(call.received) == call.reply.size()
                               ? ""
                               : fmt::format(", given as {} bytes", call.received),
                           statusText(call.result.status));
    }
    std::string operator()(const GetValue& call) const {
        return fmt::format("({}) -> {}, {} bytes: {}{}", taggedText(call.label, call.argument, call.count), call.result,
                           call.out.size(), hexText(call.out, 0, kShownBytes), rewritten(call.label, call.labelAfter));
    }
    std::string operator()(const SetValue& call) const {
        return fmt::format("({} for ({}, {}): {}) -> {}{}", taggedText(call.label, call.argument, call.count),
                           call.hostId, call.hostSubId, hexText(call.in, 0, kShownBytes), call.result,
                           rewritten(call.label, call.labelAfter));
    }
    std::string operator()(const ResolveTag& call) const {
        return fmt::format("({}) -> {}: type {}, area {} at {}", utf8Of(call.tag), call.result, call.after[0],
                           call.after[9], call.after[1]);
    }
    std::string operator()(const SettingsChanged& change) const {
        std::string text;
        for (const SettingsWord& word : change.words) {
            text += fmt::format("{}{} = {}", text.empty() ? "" : ", ", settingName(word.index), word.value);
        }
        return text;
    }
    std::string operator()(const Connection& connection) const {
        const auto because = [&connection](const char* what) {
            return connection.text.empty() ? std::string(what) : fmt::format("{}: {}", what, connection.text);
        };
        switch (connection.step) {
            case ConnectionStep::Connecting:
                return "to " + connection.text;
            case ConnectionStep::Connected:
                return "is open";
            case ConnectionStep::NotConnected:
                return because("failed");
            case ConnectionStep::Sent:
                return "sent " + requestText(connection.bytes);
            case ConnectionStep::SendFailed:
                return "could not send " + requestText(connection.bytes);
            case ConnectionStep::Received:
                return fmt::format("brought {} bytes: {}", connection.bytes.size(),
                                   hexText(connection.bytes, 0, kShownBytes));
            case ConnectionStep::Ended:
                return because("ended");
            case ConnectionStep::Closed:
                return "closed by the host";
        }
        return "?";
    }
    std::string operator()(const Note& note) const { return note.id.empty() ? note.text : note.id + ": " + note.text; }
};

const char* statusName(std::int32_t status) {
    switch (status) {
        case kStatusPending:
            return "pending: incomplete, or to be sent again";
        case kStatusAccepted:
        case kStatusAcceptedOther:
            return "accepted";
        case kStatusHandshakeRejected:
            return "handshake rejected";
        default:
            break;
    }
    const auto isOf = [status](int base) { return status > base && status <= base + kLargestHostIdInCode + 1; };
    return isOf(kRefusedBase)  ? "given up: refused"
           : isOf(kEmptyBase)  ? "given up: no reply"
           : isOf(kLengthBase) ? "given up: length differs"
                               : "unknown";
}

}  // namespace

const char* callName(const What& what) {
    return std::visit(NameOfCall(), what);
}

std::string eventText(const Event& event) {
    const std::string what = std::visit(TextOfEvent(), event.what);
    std::string text = callName(event.what);
    text += (!what.empty() && what.front() == '(' ? "" : " ") + what;
    for (const Callback& callback : event.callbacks) {
        text += "; " + callbackText(callback);
    }
    return text;
}

std::string sinceText(std::int64_t microseconds) {
    const std::uint64_t size =
        microseconds < 0 ? 0 - static_cast<std::uint64_t>(microseconds) : static_cast<std::uint64_t>(microseconds);
    return fmt::format("{}{}.{:06} s", microseconds < 0 ? '-' : '+', size / 1000000, size % 1000000);
}

std::string requestText(const Bytes& frame) {
    if (frame.size() <= wire::kServiceAt || !wire::mayBeginFrame(frame)) {
        return fmt::format("{} bytes that are no request", frame.size());
    }
    const auto service = static_cast<wire::Service>(wire::byteAt(frame.data(), wire::kServiceAt));
    std::string text = fmt::format("{} request of {} bytes", wire::serviceName(service), frame.size());
    const bool isWrite = service == wire::Service::Write;
    if ((!isWrite && service != wire::Service::Read) || frame.size() < wire::kItemsAt) {
        return text;
    }
    const std::uint32_t count = wire::getU32(frame.data() + wire::kItemCountAt);
    text += fmt::format(", {} {}", count, count == 1 ? "item" : "items");
    std::size_t at = wire::kItemsAt;
    std::size_t shown = 0;
    for (; shown < std::min<std::size_t>(count, kShownItems) && at + wire::kItemHeadBytes <= frame.size(); ++shown) {
        const wire::ByteRun item = wire::getItemHead(frame.data() + at);
        text += fmt::format("{} area {} at {}, {} bytes", shown == 0 ? ":" : ";", item.area, item.address, item.size);
        at += wire::kItemHeadBytes + (isWrite ? static_cast<std::size_t>(std::max<std::int64_t>(item.size, 0)) : 0);
    }
    return text + (shown < count ? "; ..." : "");
}

std::string replyText(const Bytes& reply) {
    if (reply.empty()) {
        return "no reply";
    }
    std::string text = fmt::format("reply of {} bytes", reply.size());
    if (reply.size() >= wire::kShortReplyBytes) {
        text += fmt::format(", status word {}", wire::getU16(reply.data() + wire::kStatusAt));
    }
    return text;
}

std::string statusText(std::int32_t status) {
    return fmt::format("{} ({})", status, statusName(status));
}

std::string hexText(const Bytes& bytes, std::size_t first, std::size_t most) {
    std::string text = first > 0 ? "..." : "";
    const std::size_t end = std::min(bytes.size(), first + most);
    for (std::size_t i = first; i < end; ++i) {
        text += fmt::format("{}{:02x}", text.empty() ? "" : " ", wire::byteAt(bytes.data(), i));
    }
    return text + (end < bytes.size() ? " ..." : "");
}

std::string utf8Of(const Text& text) {
    return host::fromRecord(text).toStdString();
}

std::string callbackText(const Callback& callback) {
    if (const auto* done = std::get_if<VarDone>(&callback)) {
        const char* outcome = done->outcome == kVariableDone     ? "done"
                              : done->outcome == kVariableFailed ? "failed"
                                                                 : "?";
        return fmt::format("varDone(station {}, {}, {}, {} {})", done->stationId,
                           static_cast<std::int32_t>(done->hostId), static_cast<std::int32_t>(done->hostSubId),
                           done->outcome, outcome);
    }
    const auto& failed = std::get<CommFailed>(callback);
    return fmt::format("commFailed({} variables, {}, {})", failed.listSize, static_cast<std::int32_t>(failed.hostId),
                       failed.one);
}

std::string settingName(std::size_t index) {
    switch (index) {
        case 4:
            return "maxRequestWords";
        case 6:
            return "comWord";
        case 7:
            return "retryLimit";
        case 8:
            return "retryCount";
        case 10:
            return "clearedWord40";
        case 11:
            return "frameTotal";
        case 12:
            return "frameDone";
        case 13:
            return "clearedWord52";
        case 14:
            return "aux3";
        case 15:
            return "aux4";
        case 16:
            return "accessMode";
        case 17:
            return "firstPassDone";
        case 18:
            return "stationId";
        default:
            return fmt::format("word {}", index);
    }
}

}  // namespace ac500::replay
