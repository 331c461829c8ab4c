#include "tools/record/event_codec.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "tools/record/record_codec.h"

namespace ac500::record {

namespace {

// An item begins with one of these, or with the position of its struct in `What`.
constexpr unsigned kClockOp = 0;
constexpr unsigned kRunOp = 17;
constexpr unsigned kOpMask = 0x3F;
constexpr unsigned kOtherThread = 0x40;
constexpr unsigned kHasExtras = 0x80;

static_assert(std::variant_size_v<What> == kRunOp, "an op for each struct");

template <typename Struct, std::size_t at = 0>
constexpr unsigned opOf() {
    if constexpr (std::is_same_v<Struct, std::variant_alternative_t<at, What>>) {
        return at;
    } else {
        return opOf<Struct, at + 1>();
    }
}

// The system's clock is told again when it has moved by so much against the other one.
constexpr std::int64_t kClockDriftUs = 1000;
// Bounds of what is remembered, the same on both sides: no bytes, however they were made, let a reader take much more
// memory than they take themselves.
constexpr std::size_t kMostReceived = std::size_t{1} << 20;
constexpr std::size_t kMostKeptReplies = std::size_t{1} << 24;  // bytes, of one segment

enum BytesForm : unsigned { kLiteral = 0, kAsReceived = 1, kAsLastReply = 2, kPatchedLastReply = 3 };

enum GetValueFlag : unsigned { kSameAnswer = 1, kLabelChanged = 2 };

enum CallbackKind : unsigned { kVarDone = 0, kCommFailed = 1 };

std::int64_t difference(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b));
}

std::int64_t sum(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}

std::uint64_t hashOf(const ValueQuestion& question) {
    std::uint64_t hash = 0xCBF29CE484222325U ^ static_cast<std::uint32_t>(question.count);
    for (const char16_t unit : question.label) {
        hash = (hash ^ unit) * 0x100000001B3U;
    }
    return hash;
}

void keepReply(SegmentMemory& memory, std::string_view reply) {
    if (memory.lastFrame == 0 || reply.empty()) {
        return;
    }
    if (memory.lastReplies.size() <= memory.lastFrame) {
        memory.lastReplies.resize(memory.lastFrame + 1);
    }
    std::string& kept = memory.lastReplies[memory.lastFrame];
    if (memory.keptBytes - kept.size() + reply.size() <= kMostKeptReplies) {
        memory.keptBytes = memory.keptBytes - kept.size() + reply.size();
        kept = reply;
    }
}

std::string_view lastReply(const SegmentMemory& memory) {
    return memory.lastFrame < memory.lastReplies.size() ? std::string_view(memory.lastReplies[memory.lastFrame])
                                                        : std::string_view();
}

void keepReceived(SegmentMemory& memory, const Connection& connection) {
    if (connection.step == ConnectionStep::Received) {
        memory.received += connection.bytes;
        if (memory.received.size() > kMostReceived) {
            memory.received.clear();
        }
    } else {
        memory.received.clear();
    }
}

// How many bytes from the front are equal. REQUIRES: equally many.
std::size_t equalBytes(std::string_view a, std::string_view b) {
    std::size_t at = 0;
    while (at + sizeof(std::uint64_t) <= a.size() &&
           std::memcmp(a.data() + at, b.data() + at, sizeof(std::uint64_t)) == 0) {
        at += sizeof(std::uint64_t);
    }
    while (at < a.size() && a[at] == b[at]) {
        ++at;
    }
    return at;
}

// What is to be written over `base` to make `bytes` of it. REQUIRES: equally many.
std::string patches(std::string_view base, std::string_view bytes) {
    constexpr std::size_t kWorthItsHead = 3;  // so many equal bytes end a patch
    std::string out;
    std::size_t at = 0;
    for (;;) {
        const std::size_t equal = equalBytes(base.substr(at), bytes.substr(at));
        const std::size_t begin = at + equal;
        if (begin == bytes.size()) {
            return out;
        }
        std::size_t end = begin;
        std::size_t equalInRow = 0;
        while (end < bytes.size() && equalInRow < kWorthItsHead) {
            equalInRow = base[end] == bytes[end] ? equalInRow + 1 : 0;
            ++end;
        }
        end -= equalInRow;
        putNumber(out, equal);
        putBytes(out, bytes.substr(begin, end - begin));
        at = end;
    }
}

void putOptionalText(std::string& to, const std::optional<Text>& text) {
    putU8(to, text ? 1 : 0);
    if (text) {
        putText(to, *text);
    }
}

std::optional<Text> getOptionalText(ByteSource& from) {
    return from.u8() != 0 ? std::optional<Text>(from.text()) : std::nullopt;
}

void putWordChanges(std::string& to, const std::vector<SettingsWord>& words) {
    putNumber(to, words.size());
    for (const SettingsWord& word : words) {
        putU8(to, word.index);
        putSigned(to, word.value);
    }
}

std::vector<SettingsWord> getWordChanges(ByteSource& from) {
    std::vector<SettingsWord> words;
    const std::size_t count = from.count();
    for (std::size_t i = 0; i < count && !from.failed(); ++i) {
        const unsigned index = from.u8();
        if (index >= kSettingsWords) {
            from.fail();
        }
        words.push_back({static_cast<std::uint8_t>(index), from.i32()});
    }
    return words;
}

std::string questionBytes(const ValueQuestion& question) {
    std::string bytes;
    putText(bytes, question.label);
    putSigned(bytes, question.unused1);
    putU8(bytes, question.argument ? 1 : 0);
    if (question.argument) {
        putText(bytes, *question.argument);
    }
    putSigned(bytes, question.unused2);
    putSigned(bytes, question.count);
    return bytes;
}

ValueQuestion questionOf(const GetValue& call) {
    return {call.label, call.unused1, call.argument ? std::optional<std::u16string_view>(*call.argument) : std::nullopt,
            call.unused2, call.count};
}

ValueAnswer answerOf(const GetValue& call) {
    return {call.result, call.out, call.labelAfter};
}

}  // namespace

const char* nameOf(const What& what) {
    static constexpr std::array<const char*, std::variant_size_v<What>> kNames = {
        "SegmentStart",  "SetComInfo",  "RegisterCallbacks", "SetLocalRegisters", "PassSymbols", "RebuildReadList",
        "AddCyclicRead", "AddOnceRead", "AddWrite",          "NextRequest",       "TakeReply",   "GetValue",
        "SetValue",      "ResolveTag",  "SettingsChanged",   "Connection",        "Note"};
    return kNames[what.index()];
}

// ---------------------------------------------------------------------------------------------------------------------
// Encoding
// ---------------------------------------------------------------------------------------------------------------------

void EventEncoder::restart(const Moment& moment) {
    numbers_.clear();
    blobs_.clear();
    slots_.clear();
    slotNumbers_.clear();
    expectedSlot_ = 0;
    memory_ = SegmentMemory();
    memory_.monotonicUs = moment.monotonicUs;
    memory_.utcOffsetUs = difference(moment.utcUs, moment.monotonicUs);
    memory_.thread = moment.thread;
    run_ = Run();
    out_.clear();
}

std::string EventEncoder::take() {
    endRun();
    return std::exchange(out_, std::string());
}

void EventEncoder::begin(unsigned op, const Moment& moment, bool hasExtras) {
    const std::int64_t offset = difference(moment.utcUs, moment.monotonicUs);
    const std::int64_t drift = difference(offset, memory_.utcOffsetUs);
    if (drift >= kClockDriftUs || drift <= -kClockDriftUs) {
        putU8(out_, kClockOp);
        putSigned(out_, drift);
        memory_.utcOffsetUs = offset;
    }
    const bool isOtherThread = moment.thread != memory_.thread;
    putU8(out_, op | (isOtherThread ? kOtherThread : 0U) | (hasExtras ? kHasExtras : 0U));
    putSigned(out_, difference(moment.monotonicUs, memory_.monotonicUs));
    if (isOtherThread) {
        putNumber(out_, moment.thread);
    }
    memory_.monotonicUs = moment.monotonicUs;
    memory_.thread = moment.thread;
}

void EventEncoder::endRun() {
    if (run_.count == 0) {
        return;
    }
    const Run run = std::exchange(run_, Run());
    begin(kRunOp, run.moment, false);
    putNumber(out_, run.first);
    putNumber(out_, run.count);
}

void EventEncoder::add(const Event& event) {
    const Moment moment{event.monotonicUs, event.utcUs, event.thread};
    const auto* value = std::get_if<GetValue>(&event.what);
    const bool hasExtras = !event.callbacks.empty() || !event.settingsAfter.empty();
    if (value != nullptr && !hasExtras) {
        addGetValue(moment, questionOf(*value), answerOf(*value));
        return;
    }
    endRun();
    if (value != nullptr) {
        begin(opOf<GetValue>(), moment, true);
        bool isNew = false;
        const ValueQuestion question = questionOf(*value);
        const std::size_t slot = slotOf(question, &isNew);
        putNumber(out_, isNew ? 0 : slot + 1);
        if (isNew) {
            putBytes(out_, questionBytes(question));
        }
        putU8(out_, kLabelChanged);
        putNumber(out_, value->result);
        putBytes(out_, value->out);
        putText(out_, value->labelAfter);
        slots_[slot] = *value;
    } else {
        begin(static_cast<unsigned>(event.what.index()), moment, hasExtras);
        std::visit([this](const auto& what) { body(what); }, event.what);
    }
    if (hasExtras) {
        extras(event);
    }
}

std::size_t EventEncoder::slotOf(const ValueQuestion& question, bool* isNew) {
    *isNew = false;
    if (isExpected(question)) {
        return expectedSlot_;
    }
    const std::uint64_t hash = hashOf(question);
    const auto [first, end] = slotNumbers_.equal_range(hash);
    for (auto found = first; found != end; ++found) {
        if (isSameQuestion(slots_[found->second], question)) {
            return found->second;
        }
    }
    *isNew = true;
    slots_.push_back({});
    GetValue& added = slots_.back();
    added.label = question.label;
    added.unused1 = question.unused1;
    added.argument = question.argument ? std::optional<Text>(*question.argument) : std::nullopt;
    added.unused2 = question.unused2;
    added.count = question.count;
    slotNumbers_.emplace(hash, slots_.size() - 1);
    return slots_.size() - 1;
}

void EventEncoder::addToRun(std::size_t slot, const Moment& moment) {
    if (slot != run_.first + run_.count || !isInRun(moment.monotonicUs, moment.thread)) {
        endRun();
        run_ = {slot, 0, moment};
    }
    ++run_.count;
}

void EventEncoder::addGetValue(const Moment& moment, const ValueQuestion& question, const ValueAnswer& answer) {
    bool isNew = false;
    const std::size_t slot = slotOf(question, &isNew);
    addAnswer(slot, isNew, moment, answer);
}

void EventEncoder::addExpected(const Moment& moment, const ValueAnswer& answer) {
    addAnswer(expectedSlot_, false, moment, answer);
}

void EventEncoder::addAnswer(std::size_t slot, bool isNew, const Moment& moment, const ValueAnswer& answer) {
    GetValue& last = slots_[slot];
    expectedSlot_ = slot + 1;
    if (!isNew && isSameAnswer(last, answer)) {
        addToRun(slot, moment);
        return;
    }
    endRun();
    begin(opOf<GetValue>(), moment, false);
    putNumber(out_, isNew ? 0 : slot + 1);
    if (isNew) {
        putBytes(out_, questionBytes(questionOf(last)));
    }
    const bool labelChanged = answer.labelAfter != last.label;
    putU8(out_, labelChanged ? kLabelChanged : 0U);
    putNumber(out_, answer.result);
    putBytes(out_, answer.out);
    if (labelChanged) {
        putText(out_, answer.labelAfter);
    }
    last.result = answer.result;
    last.out = answer.out;
    last.labelAfter = answer.labelAfter;
}

void EventEncoder::extras(const Event& event) {
    putNumber(out_, event.callbacks.size());
    for (const Callback& callback : event.callbacks) {
        if (const auto* done = std::get_if<VarDone>(&callback)) {
            putU8(out_, kVarDone);
            putNumber(out_, done->stationId);
            putNumber(out_, done->hostId);
            putNumber(out_, done->hostSubId);
            putNumber(out_, done->outcome);
        } else if (const auto* failed = std::get_if<CommFailed>(&callback)) {
            putU8(out_, kCommFailed);
            putNumber(out_, failed->listSize);
            putNumber(out_, failed->hostId);
            putNumber(out_, failed->one);
        }
    }
    putWordChanges(out_, event.settingsAfter);
}

std::size_t EventEncoder::putShared(std::string_view bytes) {
    const auto found = numbers_.find(bytes);
    if (found != numbers_.end()) {
        putNumber(out_, found->second);
        return found->second;
    }
    putNumber(out_, 0);
    putBytes(out_, bytes);
    blobs_.emplace_back(bytes);
    numbers_.emplace(blobs_.back(), blobs_.size());
    return blobs_.size();
}

template <typename Part>
void EventEncoder::putSharedPart(const Part& part) {
    scratch_.clear();
    put(scratch_, part);
    putShared(scratch_);
}

void EventEncoder::likeLastReply(std::string_view bytes) {
    const std::string_view base = lastReply(memory_);
    if (!bytes.empty() && base == bytes) {
        putU8(out_, kAsLastReply);
        return;
    }
    if (!bytes.empty() && base.size() == bytes.size()) {
        const std::string changed = patches(base, bytes);
        if (changed.size() < bytes.size()) {
            putU8(out_, kPatchedLastReply);
            putBytes(out_, changed);
            return;
        }
    }
    putU8(out_, kLiteral);
    putBytes(out_, bytes);
}

void EventEncoder::replyBytes(std::string_view reply) {
    if (!reply.empty() && memory_.received == reply) {
        putU8(out_, kAsReceived);
    } else {
        likeLastReply(reply);
    }
    keepReply(memory_, reply);
}

void EventEncoder::body(const SetComInfo& call) {
    putWords(out_, call.settings);
}

void EventEncoder::body(const RegisterCallbacks& call) {
    putU8(out_, (call.varDone ? 1U : 0U) | (call.commFailed ? 2U : 0U));
}

void EventEncoder::body(const SetLocalRegisters& call) {
    putU8(out_, (call.lb ? 1U : 0U) | (call.lw ? 2U : 0U) | (call.rwi ? 4U : 0U));
}

void EventEncoder::body(const PassSymbols& call) {
    putU8(out_, call.labels ? 1 : 0);
    if (call.labels) {
        putSharedPart(*call.labels);
    }
}

void EventEncoder::body(const RebuildReadList& call) {
    putU8(out_, call.tags ? 1 : 0);
    if (call.tags) {
        putNumber(out_, call.tags->size());
        for (const TagRecord& tag : *call.tags) {
            put(out_, tag);
        }
    }
    putSigned(out_, call.result);
}

void EventEncoder::body(const AddCyclicRead& call) {
    putSharedPart(call.var);
    putSigned(out_, call.result);
}

void EventEncoder::body(const AddOnceRead& call) {
    putSharedPart(call.var);
    putSharedPart(call.varAfter);
    putSigned(out_, call.result);
}

void EventEncoder::body(const AddWrite& call) {
    putSharedPart(call.var);
    putSigned(out_, call.result);
}

void EventEncoder::body(const NextRequest& call) {
    putU8(out_, call.frame ? 1 : 0);
    memory_.lastFrame = 0;
    memory_.lastFrameBytes.clear();
    if (call.frame) {
        scratch_.clear();
        put(scratch_, *call.frame);
        memory_.lastFrame = putShared(scratch_);
        memory_.lastFrameBytes = call.frame->frame;
    }
    putNumber(out_, call.frameNumber);
}

void EventEncoder::body(const TakeReply& call) {
    putNumber(out_, call.frameNumber);
    replyBytes(call.reply);
    putSigned(out_, call.received);
    putSharedPart(call.result);
}

void EventEncoder::body(const SetValue& call) {
    putText(out_, call.label);
    putSigned(out_, call.unused1);
    putOptionalText(out_, call.argument);
    putSigned(out_, call.unused2);
    putBytes(out_, call.in);
    putSigned(out_, call.count);
    putSigned(out_, call.hostId);
    putSigned(out_, call.hostSubId);
    putNumber(out_, call.result);
    putText(out_, call.labelAfter);
}

void EventEncoder::body(const ResolveTag& call) {
    putText(out_, call.tag);
    putWords(out_, call.before);
    putWords(out_, call.after);
    putSigned(out_, call.result);
}

void EventEncoder::body(const SettingsChanged& change) {
    putWordChanges(out_, change.words);
}

void EventEncoder::body(const Connection& connection) {
    putU8(out_, static_cast<unsigned>(connection.step));
    putBytes(out_, connection.text);
    if (connection.step == ConnectionStep::Sent && connection.bytes == memory_.lastFrameBytes) {
        putU8(out_, kAsLastReply);
    } else if (connection.step == ConnectionStep::Received) {
        likeLastReply(connection.bytes);
    } else {
        putU8(out_, kLiteral);
        putBytes(out_, connection.bytes);
    }
    keepReceived(memory_, connection);
}

void EventEncoder::body(const Note& note) {
    putU8(out_, static_cast<unsigned>(note.kind));
    putBytes(out_, note.id);
    putBytes(out_, note.text);
}

// ---------------------------------------------------------------------------------------------------------------------
// Decoding
// ---------------------------------------------------------------------------------------------------------------------

void EventDecoder::restart(const Moment& moment) {
    *this = EventDecoder();
    memory_.monotonicUs = moment.monotonicUs;
    memory_.utcOffsetUs = difference(moment.utcUs, moment.monotonicUs);
    memory_.thread = moment.thread;
}

void EventDecoder::begin(std::string_view bytes, std::uint64_t firstNumber) {
    source_ = ByteSource(bytes);
    number_ = firstNumber;
    runLeft_ = 0;
}

std::optional<Event> EventDecoder::next() {
    if (runLeft_ > 0) {
        return runEvent();
    }
    while (!source_.atEnd() && !source_.failed()) {
        std::optional<Event> event = step();
        if (event && !source_.failed()) {
            return event;
        }
    }
    return std::nullopt;
}

Event EventDecoder::runEvent() {
    Event event;
    event.number = number_++;
    event.monotonicUs = memory_.monotonicUs;
    event.utcUs = sum(memory_.monotonicUs, memory_.utcOffsetUs);
    event.thread = memory_.thread;
    event.what = slots_[runSlot_++];
    --runLeft_;
    return event;
}

std::optional<Event> EventDecoder::step() {
    const unsigned head = source_.u8();
    const unsigned op = head & kOpMask;
    if (op == kClockOp) {
        memory_.utcOffsetUs = sum(memory_.utcOffsetUs, source_.signedNumber());
        return std::nullopt;
    }
    if (op > kRunOp) {
        source_.fail();
        return std::nullopt;
    }
    memory_.monotonicUs = sum(memory_.monotonicUs, source_.signedNumber());
    if ((head & kOtherThread) != 0) {
        memory_.thread = source_.u32();
    }
    if (op == kRunOp) {
        runSlot_ = static_cast<std::size_t>(source_.numberUpTo(slots_.size()));
        runLeft_ = static_cast<std::size_t>(source_.numberUpTo(std::min(kLongestRun, slots_.size() - runSlot_)));
        if (runLeft_ == 0) {
            source_.fail();
        }
        return source_.failed() ? std::nullopt : std::optional<Event>(runEvent());
    }
    Event event;
    event.monotonicUs = memory_.monotonicUs;
    event.utcUs = sum(memory_.monotonicUs, memory_.utcOffsetUs);
    event.thread = memory_.thread;
    event.what = body(op);
    if ((head & kHasExtras) != 0) {
        extras(&event);
    }
    event.number = number_++;
    return event;
}

void EventDecoder::extras(Event* event) {
    const std::size_t callbacks = source_.count();
    for (std::size_t i = 0; i < callbacks && !source_.failed(); ++i) {
        const unsigned kind = source_.u8();
        const std::uint32_t first = source_.u32();
        const std::uint32_t second = source_.u32();
        const std::uint32_t third = source_.u32();
        if (kind == kVarDone) {
            event->callbacks.emplace_back(VarDone{first, second, third, source_.u32()});
        } else if (kind == kCommFailed) {
            event->callbacks.emplace_back(CommFailed{first, second, third});
        } else {
            source_.fail();
        }
    }
    event->settingsAfter = getWordChanges(source_);
}

std::string_view EventDecoder::shared() {
    const std::size_t number = static_cast<std::size_t>(source_.numberUpTo(blobs_.size()));
    if (number == 0) {
        const std::string_view bytes = source_.bytes();
        if (source_.failed()) {
            return {};
        }
        blobs_.emplace_back(bytes);
        lastShared_ = blobs_.size();
    } else {
        lastShared_ = number;
    }
    return blobs_[lastShared_ - 1];
}

VarRecord EventDecoder::sharedVar() {
    ByteSource bytes(shared());
    VarRecord var = getVar(bytes);
    if (bytes.failed() || !bytes.atEnd()) {
        source_.fail();
    }
    return var;
}

std::string EventDecoder::likeLastReply() {
    const std::string_view base = lastReply(memory_);
    switch (source_.u8()) {
        case kLiteral:
            return std::string(source_.bytes());
        case kAsReceived:
            return memory_.received;
        case kAsLastReply:
            return std::string(base);
        case kPatchedLastReply: {
            std::string bytes(base);
            ByteSource changes(source_.bytes());
            std::size_t at = 0;
            while (!changes.atEnd() && !changes.failed()) {
                at += static_cast<std::size_t>(changes.numberUpTo(bytes.size() - at));
                const std::string_view patch = changes.bytes();
                if (patch.size() > bytes.size() - at) {
                    changes.fail();
                    break;
                }
                bytes.replace(at, patch.size(), patch);
                at += patch.size();
            }
            if (changes.failed()) {
                source_.fail();
            }
            return bytes;
        }
        default:
            source_.fail();
            return std::string();
    }
}

std::string EventDecoder::replyBytes() {
    std::string reply = likeLastReply();
    keepReply(memory_, reply);
    return reply;
}

GetValue EventDecoder::getValue() {
    std::size_t slot = static_cast<std::size_t>(source_.numberUpTo(slots_.size()));
    if (slot == 0) {
        ByteSource bytes(source_.bytes());
        GetValue call;
        call.label = bytes.text();
        call.unused1 = bytes.i32();
        call.argument = getOptionalText(bytes);
        call.unused2 = bytes.i32();
        call.count = bytes.i32();
        if (bytes.failed() || !bytes.atEnd()) {
            source_.fail();
        }
        slots_.push_back(std::move(call));
        slot = slots_.size();
    }
    GetValue& call = slots_[slot - 1];
    const unsigned flags = source_.u8();
    if ((flags & kSameAnswer) == 0) {
        call.result = source_.u32();
        call.out = source_.bytes();
        call.labelAfter = (flags & kLabelChanged) != 0 ? source_.text() : call.label;
    }
    return call;
}

// NOLINTNEXTLINE(readability-function-size): one short case for each kind of event
What EventDecoder::body(unsigned op) {
    ByteSource& from = source_;
    switch (op) {
        case opOf<SetComInfo>():
            return SetComInfo{getWords<kSettingsWords>(from)};
        case opOf<RegisterCallbacks>(): {
            const unsigned flags = from.u8();
            return RegisterCallbacks{(flags & 1) != 0, (flags & 2) != 0};
        }
        case opOf<SetLocalRegisters>(): {
            const unsigned flags = from.u8();
            return SetLocalRegisters{(flags & 1) != 0, (flags & 2) != 0, (flags & 4) != 0};
        }
        case opOf<PassSymbols>(): {
            PassSymbols call;
            if (from.u8() != 0) {
                ByteSource bytes(shared());
                call.labels = getLabels(bytes);
                if (bytes.failed() || !bytes.atEnd()) {
                    from.fail();
                }
            }
            return call;
        }
        case opOf<RebuildReadList>(): {
            RebuildReadList call;
            if (from.u8() != 0) {
                const std::size_t tags = from.count();
                call.tags.emplace();
                for (std::size_t i = 0; i < tags && !from.failed(); ++i) {
                    call.tags->push_back(getTag(from));
                }
            }
            call.result = from.i32();
            return call;
        }
        case opOf<AddCyclicRead>(): {
            AddCyclicRead call;
            call.var = sharedVar();
            call.result = from.i32();
            return call;
        }
        case opOf<AddOnceRead>(): {
            AddOnceRead call;
            call.var = sharedVar();
            call.varAfter = sharedVar();
            call.result = from.i32();
            return call;
        }
        case opOf<AddWrite>(): {
            AddWrite call;
            call.var = sharedVar();
            call.result = from.i32();
            return call;
        }
        case opOf<NextRequest>(): {
            NextRequest call;
            memory_.lastFrame = 0;
            memory_.lastFrameBytes.clear();
            if (from.u8() != 0) {
                ByteSource bytes(shared());
                call.frame = getFrame(bytes);
                if (bytes.failed() || !bytes.atEnd()) {
                    from.fail();
                }
                memory_.lastFrame = lastShared_;
                memory_.lastFrameBytes = call.frame->frame;
            }
            call.frameNumber = from.u32();
            return call;
        }
        case opOf<TakeReply>(): {
            TakeReply call;
            call.frameNumber = from.u32();
            call.reply = replyBytes();
            call.received = from.i32();
            call.result = sharedVar();
            return call;
        }
        case opOf<GetValue>():
            return getValue();
        case opOf<SetValue>(): {
            SetValue call;
            call.label = from.text();
            call.unused1 = from.i32();
            call.argument = getOptionalText(from);
            call.unused2 = from.i32();
            call.in = from.bytes();
            call.count = from.i32();
            call.hostId = from.i32();
            call.hostSubId = from.i32();
            call.result = from.u32();
            call.labelAfter = from.text();
            return call;
        }
        case opOf<ResolveTag>(): {
            ResolveTag call;
            call.tag = from.text();
            call.before = getWords<10>(from);
            call.after = getWords<10>(from);
            call.result = from.i32();
            return call;
        }
        case opOf<SettingsChanged>():
            return SettingsChanged{getWordChanges(from)};
        case opOf<Connection>(): {
            Connection connection;
            const unsigned step = from.u8();
            if (step > static_cast<unsigned>(ConnectionStep::Closed)) {
                from.fail();
            }
            connection.step = static_cast<ConnectionStep>(step);
            connection.text = from.bytes();
            if (connection.step == ConnectionStep::Sent) {
                connection.bytes = from.u8() == kLiteral ? std::string(from.bytes()) : memory_.lastFrameBytes;
            } else {
                connection.bytes = likeLastReply();
            }
            keepReceived(memory_, connection);
            return connection;
        }
        case opOf<Note>(): {
            Note note;
            const unsigned kind = from.u8();
            if (kind > static_cast<unsigned>(NoteKind::Remark)) {
                from.fail();
            }
            note.kind = static_cast<NoteKind>(kind);
            note.id = from.bytes();
            note.text = from.bytes();
            return note;
        }
        default:
            from.fail();
            return Note{};
    }
}

}  // namespace ac500::record
