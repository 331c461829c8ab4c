#include "tools/host/commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <numeric>
#include <utility>

#include "tools/console/time_text.h"
#include "tools/host/condition.h"
#include "tools/host/csv_output.h"
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
    metrics::Histogram reads;  // round trips of cyclic reads
    std::vector<TagValue> values;
    Milliseconds elapsed;
    Time now;
};

const char* linkText(const SessionStatus& status) {
    return status.isOnline ? "online" : loopStateName(status.state);
}

double inMs(Time time) {
    return static_cast<double>(time.count()) / 1000.0;
}

// `plc`: its address. What a gateway measured is that of all who use it, and nobody of them resets it.
std::vector<std::string> headParts(const std::string& plc, bool canReset, const Picture& picture) {
    const Statistics& statistics = picture.status.statistics;
    const double cycleMs = static_cast<double>(statistics.cycleTimes().median.count()) / 1000.0;
    std::vector<std::string> parts{
        linkText(picture.status),
        fitWidth(plc, kLongestAddress),
        fmt::format("{:.1f} s", static_cast<double>(picture.elapsed.count()) / 1000.0),
        fmt::format("cycle {:.1f} ms", cycleMs),
        fmt::format("reconnects {}", statistics.reconnects()),
        fmt::format("retries {}", statistics.retries),
        fmt::format("frames {}", statistics.framesSent),
        "Ctrl-C ends",
        fmt::format("read p50 {:.1f} p99 {:.1f} ms", inMs(picture.reads.p50()), inMs(picture.reads.p99()))};
    if (canReset) {
        parts.emplace_back("r Enter: reset");
    }
    return parts;
}

// What went wrong last, while it matters and for some time after.
std::string failureLine(const Picture& picture) {
    const Failure& doubt = picture.status.program.doubt;
    if (doubt.occurred() && picture.status.isOnline) {
        return fmt::format("{}: {}", failureKindName(doubt.kind), doubt.text);
    }
    const std::optional<SessionEvent>& last = picture.status.lastFailure;
    if (!last || (picture.status.isOnline && picture.now - last->time > kFailureShown)) {
        return std::string();
    }
    const double age = static_cast<double>((picture.now - last->time).count()) / 1e6;
    return fmt::format("{:.1f} s ago: {}: {}", age, failureKindName(last->failure.kind), last->failure.text);
}

LivePicture livePicture(const CommandContext& context, const std::vector<Tag>& tags, const Picture& picture) {
    LivePicture live{headParts(context.plc(), context.gateway() == nullptr, picture), {}, failureLine(picture)};
    for (std::size_t i = 0; i < tags.size(); ++i) {
        const TagValue& value = picture.values[i];
        live.rows.push_back({tags[i].text, valueText(tags[i], value), value.state, ageText(value)});
    }
    return live;
}

Failure suspicionOf(const std::vector<TagValue>& values) {
    const auto suspect =
        std::find_if(values.begin(), values.end(), [](const TagValue& value) { return value.suspicion.occurred(); });
    return suspect == values.end() ? Failure() : suspect->suspicion;
}

// Which of the tags a line or document is about.
using Rows = std::vector<std::size_t>;

void printLines(const std::vector<Tag>& tags, const Picture& picture, const Rows& rows) {
    const std::string time = console::timeText();
    for (const std::size_t i : rows) {
        const TagValue& value = picture.values[i];
        const std::string failure = value.failure.text.empty() ? "" : "  " + value.failure.text;
        printLine(fmt::format("{}  {}  {}  {}  {}{}", time, tags[i].text, valueText(tags[i], value),
                              valueStateName(value.state), ageText(value), failure));
    }
}

void printAsCsv(const std::vector<Tag>& tags, const Picture& picture, const Rows& rows) {
    const std::string time = console::utcText();
    for (const std::size_t i : rows) {
        for (const std::string& row : valueCsv(tags[i], picture.values[i])) {
            printLine(time + "," + row);
        }
    }
}

// `overwritten`: events of this kind since the document before.
void printAsJson(const std::vector<Tag>& tags, const Picture& picture, const Rows& rows,
                 const std::vector<SessionEvent>& overwritten) {
    Json json = newDocument();
    json["time"] = console::utcText();
    json["elapsed_ms"] = picture.elapsed.count();
    json["link"] = linkText(picture.status);
    json["values"] = Json::array();
    for (const std::size_t i : rows) {
        json["values"].push_back(tagValueJson(tags[i], picture.values[i]));
    }
    for (const SessionEvent& event : overwritten) {
        json["overwritten"].push_back(
            {{"time", console::utcText(event.wallTime)}, {"tag", overwrittenTag(event)}, {"message", event.message()}});
    }
    printJsonLine(json);
}

// What is watched, and when it is shown.
struct WatchPlan {
    std::vector<Tag> tags;
    std::vector<Milliseconds> intervals;  // of each tag, between two lines about it
    std::optional<Condition> condition;   // lines only while it holds
};

class Watch {
public:
    Watch(CommandContext& context, const WatchPlan& plan)
        : context_(context),
          plan_(plan),
          tags_(plan.tags),
          received_(tags_.size(), false),
          due_(tags_.size(), clock_.now()),
          shown_(tags_.size()),
          started_(clock_.now()),
          isLive_(isTable(context.options()) && outputIsScreen()) {}

    int run() {
        if (context_.options().csv) {
            printLine(std::string("time,") + kValueCsvHeader);
        }
        while (!isOver()) {
            show(dueRows());
            waitForNext();
        }
        show(allRows());
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

    // Lines that may carry a part of the tags are no table.
    static bool isTable(const Options& options) {
        return !options.json && !options.csv && !options.onChange && options.when.empty();
    }

    Rows allRows() const {
        Rows rows(tags_.size());
        std::iota(rows.begin(), rows.end(), std::size_t{0});
        return rows;
    }

    Rows dueRows() {
        const Time now = clock_.now();
        Rows rows;
        for (std::size_t i = 0; i < tags_.size(); ++i) {
            if (due_[i] <= now) {
                rows.push_back(i);
                due_[i] = now + plan_.intervals[i];
            }
        }
        return rows;
    }

    Time nextDue() const { return *std::min_element(due_.begin(), due_.end()); }

    void show(Rows rows) {
        Picture picture{context_.session().status(), {}, {}, elapsed(), clock_.now()};
        if (isLive_) {
            picture.reads = context_.session().latencies().of(LatencyKind::CyclicRead);
        }
        for (std::size_t i = 0; i < tags_.size(); ++i) {
            picture.values.push_back(context_.session().value(tags_[i]));
            received_[i] = received_[i] || picture.values[i].isKnown;
        }
        suspicion_ = suspicionOf(picture.values);
        if (isLive_) {
            followOthers();
            const LiveStyle style{wantsColors(), hasKeyboard()};
            live_.draw(liveTable(livePicture(context_, tags_, picture), terminalSize(), style, &pager_));
            return;
        }
        tellSuspicion();
        if (!conditionHolds()) {
            rows.clear();
        }
        if (context_.options().onChange) {
            keepChanged(picture, &rows);
        }
        const std::vector<SessionEvent> overwritten = takeOverwritten();
        if (!rows.empty() || !overwritten.empty()) {
            printRows(picture, rows, overwritten);
        }
        flushOutput();
    }

    // When it begins, and once; a live table says it as long as it lasts.
    void tellSuspicion() {
        if (suspicion_.occurred() && !isSuspicionTold_) {
            complain(suspicion_);
        }
        isSuspicionTold_ = suspicion_.occurred();
    }

    // Documents have all that lines tell on the standard error output.
    std::vector<SessionEvent> takeOverwritten() {
        std::vector<SessionEvent> overwritten;
        if (!context_.options().json) {
            return overwritten;
        }
        for (const SessionEvent& event : context_.session().eventsSince(eventsSeen_)) {
            eventsSeen_ = event.number + 1;
            if (event.event == events::EventId::ValueOverwritten) {
                overwritten.push_back(event);
            }
        }
        return overwritten;
    }

    void printRows(const Picture& picture, const Rows& rows, const std::vector<SessionEvent>& overwritten) const {
        if (context_.options().json) {
            printAsJson(tags_, picture, rows, overwritten);
        } else if (context_.options().csv) {
            printAsCsv(tags_, picture, rows);
        } else {
            printLines(tags_, picture, rows);
        }
    }

    bool conditionHolds() const {
        if (!plan_.condition) {
            return true;
        }
        const TagValue value = context_.session().value(plan_.condition->tag());
        return value.isKnown && plan_.condition->holds(value.values);
    }

    // Those whose value or state is another than the last one that was shown.
    void keepChanged(const Picture& picture, Rows* rows) {
        const auto isUnchanged = [&](std::size_t i) {
            const TagValue& value = picture.values[i];
            const std::string now = std::string(valueStateName(value.state)) + " " + valueText(tags_[i], value);
            return std::exchange(shown_[i], now) == now;
        };
        rows->erase(std::remove_if(rows->begin(), rows->end(), isUnchanged), rows->end());
    }

    // What a shell wrote while the program was stopped stays.
    void followOthers() {
        if (wasContinued()) {
            live_.leave();
        }
    }

    void waitForNext() {
        const Time next = isLive_ ? clock_.now() + Milliseconds(context_.options().intervalMs) : nextDue();
        while (!isOver() && clock_.now() < next && !wasPageTurned()) {
            context_.resetIfAsked();
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
            if (line == "r") {
                context_.session().resetLatencies();
            } else {
                pager_.turn(line);
            }
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
        if (suspicion_.occurred() && !isSuspicionTold_) {
            complain(suspicion_);
        }
        return exitCodeOf(suspicion_.kind);
    }

    CommandContext& context_;
    const WatchPlan& plan_;
    const std::vector<Tag>& tags_;
    SteadyClock clock_;
    std::vector<bool> received_;
    std::vector<Time> due_;           // when the next line about each tag is due
    std::vector<std::string> shown_;  // with --on-change: state and value of each as they were last shown
    Failure suspicion_;               // why values of the last picture may be from another program
    bool isSuspicionTold_ = false;
    std::size_t eventsSeen_ = 0;  // for documents
    bool hasReader_ = true;
    const Time started_;
    const bool isLive_;
    LiveLines live_;
    Pager pager_;
};

bool planWatch(const CommandContext& context, WatchPlan* plan, Failure* failure) {
    const Options& options = context.options();
    std::vector<selection::ChosenTag> chosen;
    if (!context.chooseTags(selection::entriesOf(options.arguments, std::cin), selection::Expansion::Allowed, &chosen,
                            failure) ||
        !context.findTags(chosen, &plan->tags, failure)) {
        return false;
    }
    for (const selection::ChosenTag& one : chosen) {
        plan->intervals.emplace_back(one.intervalMs.value_or(options.intervalMs));
    }
    if (!options.when.empty()) {
        plan->condition = Condition::parse(context.tags(), options.when, failure);
    }
    return options.when.empty() || plan->condition;
}

}  // namespace

int runWatch(CommandContext& context) {
    WatchPlan plan;
    Failure failure;
    if (!planWatch(context, &plan, &failure)) {
        return context.cannotBegin(failure);
    }
    std::vector<Tag> polled = plan.tags;
    if (plan.condition) {
        polled.push_back(plan.condition->tag());
    }
    if (!context.startSession(polled, &failure)) {
        return context.cannotBegin(failure);
    }
    return Watch(context, plan).run();
}

}  // namespace ac500::host
