// Events as bytes, and back. Encoder and decoder keep the same account of what was said before in the segment, so that
// what repeats, which is nearly everything a polling host does, takes a few bytes.
#ifndef AC500_TOOLS_RECORD_EVENT_CODEC_H
#define AC500_TOOLS_RECORD_EVENT_CODEC_H

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tools/record/byte_stream.h"
#include "tools/record/equal_bytes.h"
#include "tools/record/event.h"

namespace ac500::record {

// When and where an event happened.
struct Moment {
    std::int64_t monotonicUs = 0;
    std::int64_t utcUs = 0;
    std::uint32_t thread = 0;
};

// A GetValue that lies in the caller's memory: the one call that comes a thousand times in a cycle.
struct ValueQuestion {
    std::u16string_view label;
    std::int32_t unused1 = 0;
    std::optional<std::u16string_view> argument;
    std::int32_t unused2 = 0;
    std::int32_t count = 0;
};
struct ValueAnswer {
    std::uint32_t result = 0;
    std::string_view out;
    std::u16string_view labelAfter;
};

// What both sides know of the segment so far.
struct SegmentMemory {
    std::int64_t monotonicUs = 0;
    std::int64_t utcOffsetUs = 0;
    std::uint32_t thread = 0;
    std::size_t lastFrame = 0;             // number of the shared bytes of the frame offered last; 0: none
    std::string lastFrameBytes;            // what is to be sent of it
    std::vector<std::string> lastReplies;  // by number of shared bytes
    std::size_t keptBytes = 0;             // of lastReplies
    std::string received;                  // since the last sending
};

constexpr std::size_t kLongestRun = 4096;  // of values asked for in a row, in one item

class EventEncoder {
public:
    // A new segment: what was said before is forgotten. `moment`: what times are counted from.
    void restart(const Moment& moment);

    // REQUIRES: the event is no segment start.
    void add(const Event& event);
    void addGetValue(const Moment& moment, const ValueQuestion& question, const ValueAnswer& answer);

    // The same in two steps, for what comes most often. Is this value the one that was asked for next the last time, too?
    bool isExpected(const ValueQuestion& question) const;
    // REQUIRES (both): isExpected() said so of the question, and no value was added since.
    void addExpected(const Moment& moment, const ValueAnswer& answer);
    // The same when one more is all there is to say: the answer is the last one, and hardly later than the one before.
    // Otherwise returns false, and has done nothing.
    bool addRepeated(std::int64_t monotonicUs, std::uint32_t thread, const ValueAnswer& answer);

    // Bytes that take() would yield, without the calls that are still being counted.
    std::size_t size() const { return out_.size(); }
    // What was encoded since the last time.
    std::string take();

private:
    void begin(unsigned op, const Moment& moment, bool hasExtras);
    void endRun();
    void extras(const Event& event);
    void replyBytes(std::string_view reply);
    void likeLastReply(std::string_view bytes);

    void body(const SegmentStart&) {}
    void body(const SetComInfo& call);
    void body(const RegisterCallbacks& call);
    void body(const SetLocalRegisters& call);
    void body(const PassSymbols& call);
    void body(const RebuildReadList& call);
    void body(const AddCyclicRead& call);
    void body(const AddOnceRead& call);
    void body(const AddWrite& call);
    void body(const NextRequest& call);
    void body(const TakeReply& call);
    void body(const GetValue&) {}
    void body(const SetValue& call);
    void body(const ResolveTag& call);
    void body(const SettingsChanged& change);
    void body(const Connection& connection);
    void body(const Note& note);
    // Returns the number of the shared bytes, from 1.
    std::size_t putShared(std::string_view bytes);
    template <typename Part>
    void putSharedPart(const Part& part);

    // Values that are asked for at nearly the same time share one.
    static constexpr std::int64_t kRunLengthUs = 1000;
    bool isInRun(std::int64_t monotonicUs, std::uint32_t thread) const;
    std::size_t slotOf(const ValueQuestion& question, bool* isNew);
    void addAnswer(std::size_t slot, bool isNew, const Moment& moment, const ValueAnswer& answer);
    void addToRun(std::size_t slot, const Moment& moment);

    SegmentMemory memory_;
    std::deque<std::string> blobs_;
    std::unordered_map<std::string_view, std::size_t> numbers_;  // of blobs_
    std::vector<GetValue> slots_;
    std::unordered_multimap<std::uint64_t, std::size_t> slotNumbers_;
    std::size_t expectedSlot_ = 0;  // the one after the last that was asked for

    // Values that were asked for one after another, each with the answer of the last time. While there are any, the slot
    // after them is the expected one.
    struct Run {
        std::size_t first = 0;
        std::size_t count = 0;
        Moment moment;
    };
    Run run_;
    std::string out_;
    std::string scratch_;
};

// ---------------------------------------------------------------------------------------------------------------------
// What happens a thousand times in a cycle, to be compiled into where it is called
// ---------------------------------------------------------------------------------------------------------------------

[[gnu::always_inline]] inline bool isSameQuestion(const GetValue& a, const ValueQuestion& b) {
    return a.count == b.count && a.unused1 == b.unused1 && a.unused2 == b.unused2 && areSameTexts(a.label, b.label) &&
           a.argument.has_value() == b.argument.has_value() &&
           (!a.argument || (a.argument->empty() && b.argument->empty()) || areSameTexts(*a.argument, *b.argument));
}

[[gnu::always_inline]] inline bool isSameAnswer(const GetValue& a, const ValueAnswer& b) {
    return a.result == b.result && areSameBytes(a.out, b.out) && areSameTexts(a.labelAfter, b.labelAfter);
}

[[gnu::always_inline]] inline bool EventEncoder::isExpected(const ValueQuestion& question) const {
    const auto expected = slots_.begin() + static_cast<std::ptrdiff_t>(expectedSlot_);
    return expected != slots_.end() && isSameQuestion(*expected, question);
}

[[gnu::always_inline]] inline bool EventEncoder::isInRun(std::int64_t monotonicUs, std::uint32_t thread) const {
    const std::uint64_t sinceFirst =
        static_cast<std::uint64_t>(monotonicUs) - static_cast<std::uint64_t>(run_.moment.monotonicUs);
    return run_.count > 0 && run_.count < kLongestRun && thread == run_.moment.thread &&
           static_cast<std::int64_t>(sinceFirst) < kRunLengthUs;
}

[[gnu::always_inline]] inline bool EventEncoder::addRepeated(std::int64_t monotonicUs, std::uint32_t thread,
                                                             const ValueAnswer& answer) {
    if (!isSameAnswer(slots_[expectedSlot_], answer) || !isInRun(monotonicUs, thread)) {
        return false;
    }
    ++run_.count;
    ++expectedSlot_;
    return true;
}

class EventDecoder {
public:
    void restart(const Moment& moment);

    // The events of one chunk, one after another. `bytes` must stay until the chunk is at its end. `firstNumber`: of its
    // first event.
    void begin(std::string_view bytes, std::uint64_t firstNumber);
    // Nothing at the end of the chunk, and when its bytes make no sense: then failed().
    std::optional<Event> next();
    bool failed() const { return source_.failed(); }
    // Of the event after the last one.
    std::uint64_t nextNumber() const { return number_; }

private:
    Event decodeOne();
    Event runEvent();
    What body(unsigned op);
    void extras(Event* event);
    std::string_view shared();
    std::string replyBytes();
    std::string likeLastReply();
    VarRecord sharedVar();
    GetValue getValue();
    std::optional<Event> step();

    ByteSource source_{std::string_view()};
    std::uint64_t number_ = 0;
    SegmentMemory memory_;
    std::deque<std::string> blobs_;
    std::vector<GetValue> slots_;
    std::size_t lastShared_ = 0;
    std::size_t runSlot_ = 0;
    std::size_t runLeft_ = 0;
};

}  // namespace ac500::record

#endif
