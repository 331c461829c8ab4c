// From reports to messages: topics and payloads as docs/broker.md describes them, cut so that each fits a largest size.
// Constant after construction, but for the numbers that it is given; safe to share between threads.
#ifndef AC500_TOOLS_BROKER_MESSAGE_FORMAT_H
#define AC500_TOOLS_BROKER_MESSAGE_FORMAT_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/broker/broker_settings.h"
#include "tools/broker/message.h"
#include "tools/broker/report_filter.h"
#include "tools/host/tag.h"

namespace ac500::broker {

// Of every payload in JSON. It changes when a program that reads them has to; keys may be added without.
constexpr int kFormatVersion = 1;

// What the fixed header, the lengths and the packet's number add to topic and payload in a PUBLISH packet at most, without
// properties of MQTT 5 but for an expiry: 5 + 2 + 2 + 1 + 5.
constexpr std::size_t kPacketOverheadBytes = 15;

class MessageFormat {
public:
    struct Settings {
        std::string topic;  // PREFIX
        std::string plc;    // as people know it
        Format format = Format::Json;
        Batch batch = Batch::Pass;
        std::size_t largestMessage = 131072;  // bytes of topic and payload together
    };
    struct FormattedTag {
        host::Tag tag;
        std::string name;   // "Main.motor[2].speed"
        std::string scope;  // "Main"
    };
    // When a batch of reports came to be.
    struct Pass {
        std::uint64_t number = 0;  // of the pass over the tags
        bool isClockSet = true;
        std::int64_t utcMs = 0;
        host::Time now{0};  // the same moment on the gateway's clock; received times count from `start`
        host::Time start{0};
    };
    using TakeSequence = std::function<std::int64_t()>;

    MessageFormat(Settings settings, std::vector<FormattedTag> tags);

    const Settings& settings() const { return settings_; }

    // The messages of these reports, in their order; each takes a number, in the order of the messages. A report that does
    // not fit the largest message by itself takes one, too, and becomes a gap. Report::tag is a place in the list of tags.
    struct Formatted {
        std::vector<Message> messages;  // for Outbox::add()
        std::vector<Gap> gaps;          // for Outbox::addGap()
    };
    Formatted values(const std::vector<Report>& reports, const Pass& pass, const TakeSequence& takeSequence) const;
    // On PREFIX/values, in the format of the settings.
    Message gap(const Gap& gap, std::int64_t sequence, std::int64_t utcMs) const;

    std::string valuesTopic() const { return settings_.topic + "/values"; }
    // PREFIX/values/NAME, with what a topic may not hold, or would part, as %XX.
    std::string valuesTopic(const std::string& name) const;

private:
    // One report, to be joined with others; a line of line protocol has its message's number inside.
    struct Part {
        std::vector<std::pair<std::string, std::string>> lines;  // what stands before the number, and behind it
        std::size_t bytes = 0;                                   // at most
    };
    Part partOf(const Report& report, const Pass& pass) const;
    Part jsonPartOf(const Report& report, const Pass& pass) const;
    Part linePartOf(const Report& report, const Pass& pass) const;
    std::string payload(const std::vector<Part>& parts, const Pass& pass, std::int64_t sequence) const;
    void addMessages(const std::string& topic, const std::vector<const Report*>& reports, const Pass& pass,
                     const TakeSequence& takeSequence, Formatted* formatted) const;

    const Settings settings_;
    const std::vector<FormattedTag> tags_;
};

// ---------------------------------------------------------------------------------------------------------------------
// Status and info: always JSON, retained
// ---------------------------------------------------------------------------------------------------------------------

enum class DoorState {
    Up,            // the PLC answers
    PlcAway,       // the gateway is there, its PLC is not
    OtherProgram,  // the PLC has another program than the symbols describe
    Ended,         // the gateway was ended
    Gone,          // the will: nobody knows more
};
// "up", "plc away", "other program", "ended", "gone".
const char* doorStateName(DoorState state);

struct DoorStatus {
    std::string plc;
    DoorState state = DoorState::Up;
    std::optional<std::int64_t> sinceUtcMs;  // not of the will
    std::string session;                     // names this run of the gateway
    std::string text;                        // why, for people; empty: nothing to add
};
std::string statusJson(const DoorStatus& status);

struct DoorInfo {
    std::string plc;
    std::string build;         // of the gateway
    std::string symbols;       // fingerprint of the symbol file
    std::string settingsHash;  // of the settings file: equal files have equal ones
    std::size_t tags = 0;      // that are published
    Format format = Format::Json;
    Batch batch = Batch::Pass;
    std::int64_t startedUtcMs = 0;
    std::string session;
};
std::string infoJson(const DoorInfo& info);

}  // namespace ac500::broker

#endif
