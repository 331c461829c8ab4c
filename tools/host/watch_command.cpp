#include "tools/host/commands.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <chrono>

#include "tools/host/print.h"
#include "tools/host/terminal.h"

namespace ac500::host {

namespace {

constexpr Milliseconds kFailureShown{10000};
constexpr char kBold[] = "\x1b[1m";
constexpr char kPlain[] = "\x1b[0m";

// One look at everything that is shown.
struct Picture {
    SessionStatus status;
    std::vector<TagValue> values;
    Milliseconds elapsed;
    Time now;
};

std::string timeOfDay() {
    const auto now = std::chrono::system_clock::now();
    const auto inSecond = std::chrono::duration_cast<Milliseconds>(now.time_since_epoch()).count() % 1000;
    return fmt::format("{:%H:%M:%S}.{:03}", fmt::localtime(std::chrono::system_clock::to_time_t(now)), inSecond);
}

const char* linkText(const SessionStatus& status) {
    return status.isOnline ? "online" : loopStateName(status.state);
}

const char* colorOf(ValueState state) {
    switch (state) {
        case ValueState::Fresh:
            return "\x1b[32m";
        case ValueState::Stale:
        case ValueState::WritePending:
            return "\x1b[33m";
        case ValueState::WriteFailed:
            return "\x1b[31m";
        case ValueState::NeverReceived:
            return "\x1b[2m";
    }
    return kPlain;
}

std::vector<std::string> rowOf(const Tag& tag, const TagValue& value) {
    return {tag.text, valueText(tag, value), valueStateName(value.state), ageText(value), value.failure.text};
}

std::string headline(const Options& options, const Picture& picture) {
    const Statistics& statistics = picture.status.statistics;
    const CycleTimes cycle = statistics.cycleTimes();
    return fmt::format("{}  {}  {:.1f} s  frames {}  retries {}  reconnects {}  cycle {:.1f} ms  (Ctrl-C ends)",
                       options.plc.text(), linkText(picture.status),
                       static_cast<double>(picture.elapsed.count()) / 1000.0, statistics.framesSent, statistics.retries,
                       statistics.reconnects(), static_cast<double>(cycle.median.count()) / 1000.0);
}

// What went wrong last, while it matters and for some time after.
std::string failureLine(const Picture& picture) {
    const std::optional<SessionEvent>& last = picture.status.lastFailure;
    if (!last || (picture.status.isOnline && picture.now - last->time > kFailureShown)) {
        return std::string();
    }
    const double age = static_cast<double>((picture.now - last->time).count()) / 1e6;
    return fmt::format("{:.1f} s ago: {}: {}", age, failureKindName(last->failure.kind), last->failure.text);
}

// Rows that do not fit the height are counted instead of shown.
std::vector<std::string> tableLines(const Options& options, const std::vector<Tag>& tags, const Picture& picture) {
    const TerminalSize size = terminalSize();
    std::vector<std::vector<std::string>> rows{{"TAG", "VALUE", "STATE", "AGE", ""}};
    for (std::size_t i = 0; i < tags.size(); ++i) {
        rows.push_back(rowOf(tags[i], picture.values[i]));
    }
    std::vector<std::string> lines;
    lines.push_back(kBold + fitWidth(headline(options, picture), size.columns) + kPlain);
    const std::vector<std::string> table = alignColumns(rows);
    const std::size_t most = static_cast<std::size_t>(std::max(2, size.rows - 4));
    for (std::size_t i = 0; i < table.size() && i < most; ++i) {
        const char* color = i == 0 ? kBold : colorOf(picture.values[i - 1].state);
        lines.push_back(color + fitWidth(table[i], size.columns) + kPlain);
    }
    if (table.size() > most) {
        lines.push_back(fmt::format("... and {} more", table.size() - most));
    }
    lines.push_back(fitWidth(failureLine(picture), size.columns));
    return lines;
}

void printLines(const std::vector<Tag>& tags, const Picture& picture) {
    const std::string time = timeOfDay();
    for (std::size_t i = 0; i < tags.size(); ++i) {
        const TagValue& value = picture.values[i];
        const std::string failure = value.failure.text.empty() ? "" : "  " + value.failure.text;
        printLine(fmt::format("{}  {}  {}  {}  {}{}", time, tags[i].text, valueText(tags[i], value),
                              valueStateName(value.state), ageText(value), failure));
    }
    flushOutput();
}

void printAsJson(const std::vector<Tag>& tags, const Picture& picture) {
    Json json;
    json["elapsed_ms"] = picture.elapsed.count();
    json["link"] = linkText(picture.status);
    json["values"] = Json::array();
    for (std::size_t i = 0; i < tags.size(); ++i) {
        json["values"].push_back(tagValueJson(tags[i], picture.values[i]));
    }
    printJsonLine(json);
    flushOutput();
}

class Watch {
public:
    Watch(CommandContext& context, const std::vector<Tag>& tags)
        : context_(context), tags_(tags), received_(tags.size(), false), started_(clock_.now()) {}

    int run() {
        while (!isOver()) {
            show();
            waitForNext();
        }
        show();
        hasReader_ = flushOutput();
        return exitCode();
    }

private:
    Milliseconds elapsed() const { return std::chrono::duration_cast<Milliseconds>(clock_.now() - started_); }

    bool isOver() const {
        const double seconds = context_.options().seconds;
        return wasInterrupted() || !hasReader_ ||
               (seconds > 0 && static_cast<double>(elapsed().count()) >= seconds * 1000);
    }

    void show() {
        Picture picture{context_.session().status(), {}, elapsed(), clock_.now()};
        for (std::size_t i = 0; i < tags_.size(); ++i) {
            picture.values.push_back(context_.session().value(tags_[i]));
            received_[i] = received_[i] || picture.values[i].isKnown;
        }
        if (context_.options().json) {
            printAsJson(tags_, picture);
        } else if (outputIsTerminal()) {
            live_.draw(tableLines(context_.options(), tags_, picture));
        } else {
            printLines(tags_, picture);
        }
    }

    void waitForNext() {
        const Time next = clock_.now() + Milliseconds(context_.options().intervalMs);
        while (!isOver() && clock_.now() < next) {
            context_.tellEvents();
            hasReader_ = flushOutput();
            const Milliseconds left = std::chrono::ceil<Milliseconds>(next - clock_.now());
            context_.session().waitForChange(std::min(CommandContext::kGlance, std::max(left, Milliseconds(1))));
        }
    }

    // An output that failed is told by the caller, and what was not received until then is of no interest.
    int exitCode() const {
        if (!hasReader_) {
            return 0;
        }
        for (std::size_t i = 0; i < tags_.size(); ++i) {
            if (!received_[i]) {
                const std::optional<SessionEvent> last = context_.session().status().lastFailure;
                const Failure failure = last ? last->failure : Failure{FailureKind::Request, "no reply yet"};
                complain({failure.kind, tags_[i].text + ": never received: " + failure.text});
                return exitCodeOf(failure.kind);
            }
        }
        return 0;
    }

    CommandContext& context_;
    const std::vector<Tag>& tags_;
    SteadyClock clock_;
    std::vector<bool> received_;
    bool hasReader_ = true;
    const Time started_;
    LiveLines live_;
};

}  // namespace

int runWatch(CommandContext& context) {
    std::vector<Tag> tags;
    Failure failure;
    if (!context.findTags(context.options().arguments, &tags, &failure) || !context.startSession(tags, &failure)) {
        return context.cannotBegin(failure);
    }
    return Watch(context, tags).run();
}

}  // namespace ac500::host
