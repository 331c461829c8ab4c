#include "tools/broker/load_estimate.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <map>
#include <numeric>

#include "tools/symbol_file/symbol_file.h"

namespace ac500::broker {

using host::HostValue;
using host::HostValues;
using symbol_file::TypeKind;

namespace {

// What a message takes of a store beside its texts: its number, its times, the row and its place in the index.
constexpr double kRowBytes = 64;
// Numbers as wide as they get in a gateway that has run for years.
constexpr std::int64_t kWideSequence = 1000000000000;
constexpr std::uint64_t kWidePass = 10000000000U;
constexpr host::Time kWideUptime{std::chrono::hours(24 * 3650)};
constexpr std::int64_t kAnyUtcMs = 1800000000000;

constexpr std::size_t kTenth = 10;

// Texts are full of plain letters.
HostValue widest(const host::ValueForm& form) {
    if (host::isBoolean(form)) {
        return false;
    }
    if (host::isString(form)) {
        return std::string(static_cast<std::size_t>(form.stringCharacters), 'W');
    }
    if (form.code == host::TypeCode::Real) {
        return -std::numeric_limits<float>::min();
    }
    if (form.code == host::TypeCode::Lreal) {
        return -std::numeric_limits<double>::min();
    }
    const symbol_file::IntegerLimits limits = symbol_file::integerLimits(form.code);
    if (symbol_file::kindOf(form.code) == TypeKind::Signed) {
        return static_cast<std::int64_t>(limits.smallest);
    }
    return static_cast<std::uint64_t>(limits.largest);
}

Report widestReport(const LoadQuestion& question, std::size_t tag) {
    Report report;
    report.tag = tag;
    report.state = host::ValueState::Fresh;
    const host::Tag& of = question.tags[tag].tag;
    report.values = HostValues(static_cast<std::size_t>(of.elements), widest(of.form));
    report.received = kWideUptime;
    report.receivedUtcMs = kAnyUtcMs;
    return report;
}

MessageFormat::Formatted formed(const MessageFormat& format, const std::vector<Report>& reports) {
    MessageFormat::Pass pass;
    pass.number = kWidePass;
    pass.utcMs = kAnyUtcMs;
    pass.now = kWideUptime;
    return format.values(reports, pass, [] { return kWideSequence; });
}

std::size_t payloadAndTopicBytes(const Message& message) {
    return message.topic.size() + message.payload.size();
}

std::size_t payloadAndTopicBytes(const std::vector<Message>& messages) {
    return std::accumulate(messages.begin(), messages.end(), std::size_t{0},
                           [](std::size_t sum, const Message& message) { return sum + payloadAndTopicBytes(message); });
}

// How often a tag is told in a second at most.
double rateOf(const LoadQuestion& question, std::size_t tag) {
    const host::Milliseconds apart = std::max(question.cycle, question.terms[tag].smallestInterval);
    return 1000.0 / static_cast<double>(std::max<std::int64_t>(apart.count(), 1));
}

double keptSeconds(const KeepSettings& keep, const Load& load) {
    const bool hasStore = !keep.file.empty();
    const double bound = static_cast<double>(hasStore ? keep.bytes : keep.memoryBytes);
    const double age = static_cast<double>(keep.age.count()) / 1000;
    const double perSecond = load.bytesPerSecond + load.messagesPerSecond * kRowBytes;
    return perSecond > 0 ? std::min(bound / perSecond, age) : age;
}

// The reports of one topic together: tags that are told at different rates share messages when they can, so that there are as
// many messages as the one with the highest rate makes; bytes count as often as each tag is told.
void addTopic(const LoadQuestion& question, const MessageFormat& format, const std::vector<Report>& reports,
              Load* load) {
    const std::vector<Message> together = formed(format, reports).messages;
    double highest = 0;
    double bytes = 0;
    double bytesAtRate = 0;
    for (const Report& report : reports) {
        const double alone = static_cast<double>(payloadAndTopicBytes(formed(format, {report}).messages));
        const double rate = rateOf(question, report.tag);
        highest = std::max(highest, rate);
        bytes += alone;
        bytesAtRate += alone * rate;
    }
    load->messagesPerSecond += static_cast<double>(together.size()) * highest;
    load->bytesPerSecond += bytes > 0 ? static_cast<double>(payloadAndTopicBytes(together)) * bytesAtRate / bytes : 0;
}

Load loadOf(const LoadQuestion& question, const MessageFormat& format, std::size_t step) {
    std::map<std::string, std::vector<Report>> topics;
    Load load;
    for (std::size_t tag = 0; tag < question.tags.size(); tag += step) {
        const MessageFormat::FormattedTag& of = question.tags[tag];
        const Batch batch = question.format.batch;
        const std::string name = batch == Batch::Scope ? of.scope : batch == Batch::Tag ? of.name : "";
        topics[name].push_back(widestReport(question, tag));
        ++load.tags;
    }
    for (const auto& topic : topics) {
        addTopic(question, format, topic.second, &load);
    }
    load.keptSeconds = keptSeconds(question.keep, load);
    return load;
}

std::string bytesText(double bytes) {
    if (bytes >= 1e6) {
        return fmt::format("{:.1f} MB", bytes / 1e6);
    }
    return bytes >= 1e3 ? fmt::format("{:.1f} kB", bytes / 1e3) : fmt::format("{:.0f} bytes", bytes);
}

std::string durationText(double seconds) {
    constexpr double kHour = 3600;
    constexpr double kDay = 24 * kHour;
    if (seconds >= 2 * kDay) {
        return fmt::format("{:.1f} days", seconds / kDay);
    }
    return seconds >= 2 * kHour ? fmt::format("{:.1f} hours", seconds / kHour)
                                : fmt::format("{:.0f} minutes", seconds / 60);
}

std::string loadLine(const std::string& what, const KeepSettings& keep, const Load& load) {
    return fmt::format("broker: {}: {:.1f} messages and {} a second; the {} for {}", what, load.messagesPerSecond,
                       bytesText(load.bytesPerSecond), keep.file.empty() ? "memory is enough" : "store is enough",
                       durationText(load.keptSeconds));
}

}  // namespace

LoadEstimate estimateLoad(const LoadQuestion& question) {
    const MessageFormat format(question.format, question.tags);
    LoadEstimate estimate;
    estimate.everything = loadOf(question, format, 1);
    estimate.tenth = loadOf(question, format, kTenth);
    std::vector<Report> all;
    for (std::size_t tag = 0; tag < question.tags.size(); ++tag) {
        all.push_back(widestReport(question, tag));
    }
    const MessageFormat::Formatted together = formed(format, all);
    for (const Message& message : together.messages) {
        estimate.largestMessage = std::max(estimate.largestMessage, payloadAndTopicBytes(message));
    }
    estimate.tooLarge = together.gaps.size();
    return estimate;
}

std::vector<std::string> loadLines(const LoadQuestion& question, const LoadEstimate& estimate) {
    std::vector<std::string> lines;
    lines.push_back(loadLine(fmt::format("all {} tags changing in each pass", estimate.everything.tags), question.keep,
                             estimate.everything));
    lines.push_back(loadLine(fmt::format("a tenth of them, {}", estimate.tenth.tags), question.keep, estimate.tenth));
    lines.push_back(fmt::format("broker: the largest message has {} bytes with its topic; {} are allowed",
                                estimate.largestMessage, question.format.largestMessage));
    if (estimate.tooLarge > 0) {
        lines.push_back(fmt::format(
            "broker: {} tags do not fit a message even alone, and would be told as gaps; raise \"largestMessage\"",
            estimate.tooLarge));
    }
    return lines;
}

}  // namespace ac500::broker
