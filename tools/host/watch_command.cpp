#include "tools/host/commands.h"

#include <fmt/format.h>

#include <chrono>

#include "tools/console/time_text.h"
#include "tools/host/live_table.h"
#include "tools/host/print.h"
#include "tools/host/terminal.h"

namespace ac500::host {

namespace {

constexpr Milliseconds kFailureShown{10000};
constexpr int kLongestAddress = 40;  // in the head line; there are parts behind it

// One look at everything that is shown.
struct Picture {
    SessionStatus status;
    std::vector<TagValue> values;
    Milliseconds elapsed;
    Time now;
};

const char* linkText(const SessionStatus& status) {
    return status.isOnline ? "online" : loopStateName(status.state);
}

std::vector<std::string> headParts(const Options& options, const Picture& picture) {
    const Statistics& statistics = picture.status.statistics;
    const double cycleMs = static_cast<double>(statistics.cycleTimes().median.count()) / 1000.0;
    return {linkText(picture.status),
            fitWidth(options.plc.text(), kLongestAddress),
            fmt::format("{:.1f} s", static_cast<double>(picture.elapsed.count()) / 1000.0),
            fmt::format("cycle {:.1f} ms", cycleMs),
            fmt::format("reconnects {}", statistics.reconnects()),
            fmt::format("retries {}", statistics.retries),
            fmt::format("frames {}", statistics.framesSent),
            "Ctrl-C ends"};
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

LivePicture livePicture(const Options& options, const std::vector<Tag>& tags, const Picture& picture) {
    LivePicture live{headParts(options, picture), {}, failureLine(picture)};
    for (std::size_t i = 0; i < tags.size(); ++i) {
        const TagValue& value = picture.values[i];
        live.rows.push_back({tags[i].text, valueText(tags[i], value), value.state, ageText(value)});
    }
    return live;
}

void printLines(const std::vector<Tag>& tags, const Picture& picture) {
    const std::string time = console::timeText();
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
    json["time"] = console::utcText();
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
        : context_(context),
          tags_(tags),
          received_(tags.size(), false),
          started_(clock_.now()),
          isLive_(!context.options().json && outputIsScreen()) {}

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
        } else if (isLive_) {
            followOthers();
            const LiveStyle style{wantsColors(), hasKeyboard()};
            live_.draw(liveTable(livePicture(context_.options(), tags_, picture), terminalSize(), style, &pager_));
        } else {
            printLines(tags_, picture);
        }
    }

    // What a shell wrote while the program was stopped stays.
    void followOthers() {
        if (wasContinued()) {
            live_.leave();
        }
    }

    void waitForNext() {
        const Time next = clock_.now() + Milliseconds(context_.options().intervalMs);
        while (!isOver() && clock_.now() < next && !wasPageTurned()) {
            tellEvents();
            hasReader_ = flushOutput();
            const Milliseconds left = std::chrono::ceil<Milliseconds>(next - clock_.now());
            context_.session().waitForChange(std::min(CommandContext::kGlance, std::max(left, Milliseconds(1))));
        }
    }

    // Messages go where the table stands; the next picture follows them.
    void tellEvents() {
        if (isLive_ && context_.hasEventsToTell()) {
            followOthers();
            live_.erase();
        }
        context_.tellEvents();
    }

    bool wasPageTurned() {
        if (!isLive_) {
            return false;
        }
        const std::vector<std::string> lines = typedLines();
        for (const std::string& line : lines) {
            live_.lineWasTyped();
            pager_.turn(line);
        }
        return !lines.empty();
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
    const bool isLive_;
    LiveLines live_;
    Pager pager_;
};

}  // namespace

int runWatch(CommandContext& context) {
    std::vector<Tag> tags;
    Failure failure;
    if (!context.chooseTags(&tags, &failure) || !context.startSession(tags, &failure)) {
        return context.cannotBegin(failure);
    }
    return Watch(context, tags).run();
}

}  // namespace ac500::host
