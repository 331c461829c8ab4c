#include <fmt/format.h>

#include <sys/stat.h>
#include <sys/utsname.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>
#include <optional>

#include "tools/console/time_text.h"
#include "tools/host/commands.h"
#include "tools/host/exit_codes.h"
#include "tools/host/print.h"
#include "tools/host/replayed_record.h"
#include "tools/host/scanned_record.h"
#include "tools/host/terminal.h"
#include "tools/record/record_writer.h"
#include "tools/replay/apart.h"
#include "tools/replay/event_text.h"
#include "tools/replay/moment.h"
#include "tools/replay/shrink.h"
#include "tools/replay/wire_capture.h"
#include "tools/text/text.h"

namespace ac500::host {

using record::Event;

namespace {

// What led to a divergence: so many events before it, without those that change nothing.
constexpr std::size_t kEventsBefore = 12;
constexpr std::size_t kLongestEventText = 400;
// What is shrunk has to be in memory, some hundred bytes for each.
constexpr std::size_t kMostShrunkEvents = std::size_t{1} << 20;

// ---------------------------------------------------------------------------------------------------------------------
// Words
// ---------------------------------------------------------------------------------------------------------------------

std::string utcOf(std::int64_t utcUs) {
    return console::utcText(console::WallTime(std::chrono::microseconds(utcUs)));
}

// Texts of a record may come from anywhere.
std::string shown(std::string text) {
    if (text.size() > kLongestEventText) {
        text.resize(kLongestEventText);
        text += "...";
    }
    return text::withoutControls(std::move(text));
}

std::string numberAndTime(const ScannedRecord& record, const Event& event) {
    return fmt::format("#{} {}", event.number, replay::sinceText(event.monotonicUs - record.first().monotonicUs));
}

std::string eventLine(const ScannedRecord& record, const Event& event) {
    return numberAndTime(record, event) + "  " + shown(replay::eventText(event));
}

const char* endName(record::EndKind kind) {
    switch (kind) {
        case record::EndKind::Complete:
            return "complete";
        case record::EndKind::Cut:
            return "cut";
        case record::EndKind::Damaged:
            return "damaged";
    }
    return "?";
}

std::string drivenBy(const record::RunInfo& run) {
    std::string text = run.program.empty() ? "a program that is not told" : run.program;
    text += run.driver.empty() ? "" : " with " + run.driver;
    text += run.driverBuild.empty() ? "" : " (build " + run.driverBuild + ")";
    text += run.architecture.empty() ? "" : ", " + run.architecture;
    text += run.qtVersion.empty() ? "" : ", Qt " + run.qtVersion;
    return shown(text);
}

// Asking for values and names changes nothing that later answers show.
bool leadsTo(const Event& event) {
    return !std::holds_alternative<record::GetValue>(event.what) &&
           !std::holds_alternative<record::ResolveTag>(event.what);
}

std::vector<std::string> linesOf(const ScannedRecord& record, const std::vector<Event>& events) {
    std::vector<std::string> lines;
    for (const Event& event : events) {
        lines.push_back(eventLine(record, event));
    }
    return lines;
}

// ---------------------------------------------------------------------------------------------------------------------
// Files
// ---------------------------------------------------------------------------------------------------------------------

// A file that is written piece by piece.
class FileWriter {
public:
    explicit FileWriter(const std::string& name) : name_(name) {
        errno = 0;
        file_.open(name, std::ios::binary | std::ios::trunc);
        keepError();
    }

    void write(const std::string& piece) {
        errno = 0;
        file_ << piece;
        keepError();
    }

    bool close(Failure* failure) {
        errno = 0;
        file_.close();
        keepError();
        if (!file_) {
            *failure = {FailureKind::Output, fmt::format("{}: cannot be written: {}", name_, std::strerror(error_))};
        }
        return !failure->occurred();
    }

private:
    void keepError() { error_ = error_ == 0 && !file_ ? errno : error_; }

    const std::string name_;
    std::ofstream file_;
    int error_ = 0;
};

bool writeFile(const std::string& fileName, const std::string& content, Failure* failure) {
    FileWriter file(fileName);
    file.write(content);
    return file.close(failure);
}

std::optional<ScannedRecord> openRecord(const Options& options, Failure* failure) {
    std::string error;
    std::optional<ScannedRecord> record = ScannedRecord::open(options.replay.file, &error);
    if (!record) {
        *failure = {FailureKind::File, error};
    } else if (record->events() == 0) {
        *failure = {FailureKind::File, options.replay.file + ": holds no events"};
        record.reset();
    }
    return record;
}

// ---------------------------------------------------------------------------------------------------------------------
// Replaying
// ---------------------------------------------------------------------------------------------------------------------

class Replaying {
public:
    Replaying(CommandContext& context, ScannedRecord record)
        : context_(context), options_(context.options()), record_(std::move(record)), driver_(options_.driver) {}

    int run() {
        Failure failure;
        if (!findMoment(&failure) || !findTags(&failure)) {
            return context_.cannotBegin(failure);
        }
        if (!options_.replay.pcap.empty()) {
            return writeCapture();
        }
        std::string error;
        if (!driver_.load(&error)) {
            return context_.cannotBegin({FailureKind::File, error});
        }
        return !options_.replay.shrink.empty() ? writeShrunk() : replay();
    }

private:
    bool findMoment(Failure* failure) {
        events_ = record_.events();
        const std::string& until = options_.replay.until;
        if (until.empty()) {
            return true;
        }
        const auto belongs = replay::untilMoment(until, record_.excerpt(0, 0, leadsTo).event);
        if (!belongs) {
            *failure = {FailureKind::Usage,
                        fmt::format("--until {}: is no moment; write the number of an event (1234), a "
                                    "time since the beginning (12.5s, 300ms), or a time in UTC "
                                    "(14:03:12.5, 2026-11-22T14:03:12Z)",
                                    until)};
            return false;
        }
        events_ = record_.countWhile(*belongs);
        return true;
    }

    bool findTags(Failure* failure) { return options_.arguments.empty() || context_.chooseTags(&tags_, failure); }

    // ---- the whole of it

    int replay() {
        if (!options_.json) {
            printHead();
        }
        ReplayWish wish;
        wish.events = events_;
        wish.speed = options_.replay.speed;
        wish.tags = tags_;
        wish.maxRequestBytes = 2 * options_.maxRequestWords;
        wish.wantsAnswers = !options_.replay.makeTest.empty();
        record_.reader().rewind();
        const ReplayedRecord replayed =
            replayRecord(runHere(), record_.reader(), driver_, wish, [this](std::size_t position) { tell(position); });
        tell(replayed.position);
        Failure failure;
        if (!replayed.problem.empty()) {
            failure = {FailureKind::File, options_.replay.file + ": " + replayed.problem};
        } else if (const std::string lack = whatIsMissing(replayed); !lack.empty()) {
            failure = {FailureKind::File, lack + (wish.wantsAnswers ? "; no test was made" : "")};
        } else if (wish.wantsAnswers && replayed.signal == 0 && !replayed.wasInterrupted) {
            makeTest(replayed, &failure);
        }
        if (options_.json) {
            printDocument(replayed, failure);
        } else {
            printResult(replayed);
        }
        if (failure.occurred()) {
            complain(failure);
            return exitCodeOf(failure.kind);
        }
        if (replayed.wasInterrupted) {
            return kExitInterrupted;
        }
        return replayed.isExact() || wish.wantsAnswers ? 0 : exitCodeOfFindings();
    }

    // Why what was compared, whatever came of it, does not stand for the record; empty: it does.
    std::string whatIsMissing(const ReplayedRecord& replayed) const {
        if (record_.isDamaged()) {
            return damage();
        }
        return replayed.calls > 0 || replayed.signal != 0 || replayed.wasInterrupted
                   ? ""
                   : options_.replay.file + ": no call could be compared";
    }

    // REQUIRES: the record is damaged.
    std::string damage() const {
        const bool isAtEnd = record_.end().kind == record::EndKind::Damaged;
        return isAtEnd
                   ? fmt::format("{}: the record is damaged behind event #{}: {}, at byte {}{}", options_.replay.file,
                                 record_.last().number, record_.end().reason, record_.end().offset,
                                 record_.end().file == options_.replay.file ? "" : " of " + record_.end().file)
                   : fmt::format(
                         "{}: the record is damaged: {}", options_.replay.file,
                         record_.remarks().empty() ? "a part of it is missing" : shown(record_.remarks().front()));
    }

    // Ends a command that made a file of what could be read.
    int endOfWriting(const Failure& failure) const {
        if (failure.occurred()) {
            complain(failure);
        }
        return exitCodeOf(failure.kind);
    }

    Failure damageFailure() const { return record_.isDamaged() ? Failure{FailureKind::File, damage()} : Failure{}; }

    // Of a record with the answers of this driver.
    record::RunInfo runHere() const {
        record::RunInfo run = record_.run();
        utsname system{};
        run.architecture = ::uname(&system) == 0 ? system.machine : "";
        run.driver = driver_.file();
        run.driverBuild.clear();
        run.qtVersion = qVersion();
        return run;
    }

    // The record is read along. With --events, those that were replayed since the last call; others would come out of step with --speed.
    void tell(std::size_t position) {
        if (!options_.replay.events || options_.json || position <= told_) {
            return;
        }
        while (told_ < position) {
            const std::optional<Event> event = record_.reader().next();
            if (!event) {
                break;
            }
            ++told_;
            printLine(eventLine(record_, *event));
        }
        flushOutput();
    }

    void printHead() {
        const ScannedRecord::Mark& first = record_.first();
        const ScannedRecord::Mark& last = record_.last();
        std::vector<std::vector<std::string>> rows{
            {"record",
             fmt::format("{}: {} events, {} calls, {:.3f} s from {} on", options_.replay.file, record_.events(),
                         record_.calls(), static_cast<double>(last.monotonicUs - first.monotonicUs) / 1e6,
                         utcOf(first.utcUs))},
            {"made by", drivenBy(record_.run())},
            {"replayed with", driver_.file()}};
        if (record_.end().kind != record::EndKind::Complete) {
            rows.push_back({"its end", fmt::format("{}: {}", endName(record_.end().kind), record_.end().reason)});
        }
        if (!record_.earlierRun().empty()) {
            rows.push_back({"earlier run", record_.earlierRun()});
        }
        for (const std::string& line : record_.latencies()) {
            rows.push_back({"measured", shown(line)});
        }
        printTable(rows);
        for (const std::string& remark : record_.remarks()) {
            note(shown(remark));
        }
    }

    std::string verdict(const ReplayedRecord& replayed) const {
        if (replayed.signal != 0) {
            return fmt::format("the driver ends with {}", replay::signalName(replayed.signal));
        }
        if (!replayed.problem.empty() || replayed.wasInterrupted) {
            return "not finished";
        }
        if (replayed.divergences > 0) {
            return fmt::format("{} of {} calls are answered otherwise than recorded", replayed.divergences,
                               replayed.calls);
        }
        if (replayed.calls == 0) {
            return "nothing was compared";
        }
        if (record_.isDamaged()) {
            return fmt::format("{} calls are answered as recorded; the rest of the record is damaged", replayed.calls);
        }
        const bool isCut = record_.end().kind == record::EndKind::Cut && events_ == record_.events();
        return fmt::format("exact{}: all {} calls are answered as recorded", isCut ? " as far as it goes" : "",
                           replayed.calls);
    }

    void printResult(const ReplayedRecord& replayed) {
        printTable({{"result", verdict(replayed)}});
        if (replayed.skipped > 0) {
            note(fmt::format("{} calls are left out: the record does not say what the driver held before them",
                             replayed.skipped));
        }
        if (replayed.first) {
            printDivergence(*replayed.first);
        } else if (replayed.signal != 0 && replayed.position < record_.events()) {
            const ScannedRecord::Excerpt excerpt = excerptAt(replayed.position);
            printTable({{"in", eventLine(record_, excerpt.event)}});
            printBefore(excerpt);
        }
        printValues(replayed);
        if (!test_.empty()) {
            printTable({{"test", test_}});
        }
    }

    void printDivergence(const ReplayedRecord::FirstDivergence& first) {
        const ScannedRecord::Excerpt excerpt = excerptAt(first.position);
        const Event& event = excerpt.event;
        printLine("");
        printLine("The first call that is answered otherwise:");
        printTable({{"  call", numberAndTime(record_, event) + "  " + replay::callName(event.what)},
                    {"  differs in", first.difference.field},
                    {"  expected", shown(first.difference.expected)},
                    {"  actual", shown(first.difference.actual)},
                    {"  recorded", shown(replay::eventText(event))},
                    {"  this driver", shown(first.actual)}});
        printBefore(excerpt);
    }

    ScannedRecord::Excerpt excerptAt(std::size_t position) const {
        return record_.excerpt(position, kEventsBefore, leadsTo);
    }

    void printBefore(const ScannedRecord::Excerpt& excerpt) {
        printLine("What led to it:");
        for (const std::string& line : linesOf(record_, excerpt.before)) {
            printLine("  " + line);
        }
    }

    void printValues(const ReplayedRecord& replayed) {
        if (tags_.empty() || replayed.values.size() != tags_.size()) {
            return;
        }
        const std::size_t last = std::min(std::max<std::size_t>(replayed.position, 1), record_.events()) - 1;
        const Event event = excerptAt(last).event;
        printLine("");
        printLine(fmt::format("Values at {}, {}:", numberAndTime(record_, event), utcOf(event.utcUs)));
        std::vector<std::vector<std::string>> rows;
        for (std::size_t i = 0; i < tags_.size(); ++i) {
            rows.push_back({tags_[i].text, replayed.values[i].text, replayed.values[i].age});
        }
        printTable(rows);
    }

    Json recordJson() const {
        Json json;
        json["file"] = options_.replay.file;
        json["program"] = record_.run().program;
        json["driver"] = record_.run().driver;
        json["driver_build"] = record_.run().driverBuild;
        json["architecture"] = record_.run().architecture;
        json["qt_version"] = record_.run().qtVersion;
        json["settings"] = Json::object();
        for (const auto& [name, value] : record_.run().settings) {
            json["settings"][name] = value;
        }
        json["began"] = utcOf(record_.first().utcUs);
        json["seconds"] = static_cast<double>(record_.last().monotonicUs - record_.first().monotonicUs) / 1e6;
        json["events"] = record_.events();
        json["calls"] = record_.calls();
        json["end"] = endName(record_.end().kind);
        return json;
    }

    Json eventJson(const Event& event) const {
        Json json;
        json["event"] = event.number;
        json["seconds"] = static_cast<double>(event.monotonicUs - record_.first().monotonicUs) / 1e6;
        json["time"] = utcOf(event.utcUs);
        json["name"] = replay::callName(event.what);
        json["text"] = shown(replay::eventText(event));
        return json;
    }

    void printDocument(const ReplayedRecord& replayed, const Failure& failure) {
        Json json = newDocument();
        json["record"] = recordJson();
        json["replay"] = {{"driver", driver_.file()},
                          {"events", replayed.position},
                          {"calls", replayed.calls},
                          {"left_out", replayed.skipped},
                          {"diverging", replayed.divergences},
                          {"exact", replayed.isExact() && !replayed.wasInterrupted && !record_.isDamaged()},
                          {"verdict", verdict(replayed)}};
        if (replayed.signal != 0) {
            json["replay"]["signal"] = replay::signalName(replayed.signal);
        }
        if (replayed.first) {
            const ScannedRecord::Excerpt excerpt = excerptAt(replayed.first->position);
            json["divergence"] = eventJson(excerpt.event);
            json["divergence"]["field"] = replayed.first->difference.field;
            json["divergence"]["expected"] = replayed.first->difference.expected;
            json["divergence"]["actual"] = replayed.first->difference.actual;
            json["divergence"]["answered"] = shown(replayed.first->actual);
            json["divergence"]["before"] = linesOf(record_, excerpt.before);
        }
        if (!tags_.empty()) {
            json["values"] = Json::array();
            for (const HeldValue& value : replayed.values) {
                json["values"].push_back(value.json);
            }
        }
        if (options_.replay.events) {
            json["events"] = Json::array();
        }
        if (!test_.empty()) {
            json["test"] = test_;
        }
        if (failure.occurred()) {
            json["error"] = failureJson(failure);
        }
        if (!options_.replay.events) {
            printJson(json);
            return;
        }
        printJson(json, "events", [this, &replayed](const std::function<void(const Json&)>& show) {
            record_.each(replayed.position, [this, &show](const Event& event) { show(eventJson(event)); });
        });
    }

    // ---- files that are made of it

    int writeCapture() {
        FileWriter file(options_.replay.pcap);
        const replay::WireCapture capture = replay::captureOf(
            record_.run(), [this](const std::function<void(const Event&)>& see) { record_.each(events_, see); },
            [&file](const std::string& piece) { file.write(piece); });
        Failure failure;
        if (!file.close(&failure)) {
            return context_.cannotBegin(failure);
        }
        failure = damageFailure();
        if (options_.json) {
            Json json = newDocument();
            json["record"] = recordJson();
            json["capture"] = {{"file", options_.replay.pcap},
                               {"connections", capture.connections},
                               {"bytes_sent", capture.bytesSent},
                               {"bytes_received", capture.bytesReceived}};
            if (failure.occurred()) {
                json["error"] = failureJson(failure);
            }
            printJson(json);
        } else {
            printTable({{"capture", fmt::format("{}: {} connections, {} bytes sent, {} received", options_.replay.pcap,
                                                capture.connections, capture.bytesSent, capture.bytesReceived)}});
        }
        return endOfWriting(failure);
    }

    int writeShrunk() {
        if (events_ > kMostShrunkEvents) {
            return context_.cannotBegin(
                {FailureKind::File, fmt::format("{}: has {} events, and at most {} can be shrunk; end it sooner with "
                                                "--until",
                                                options_.replay.file, events_, kMostShrunkEvents)});
        }
        std::vector<Event> events;
        events.reserve(events_);
        record_.each(events_, [&events](const Event& event) { events.push_back(event); });
        replay::ShrinkSettings settings;
        settings.limit = Milliseconds(static_cast<std::int64_t>(options_.replay.shrinkSeconds * 1000));
        settings.isCancelled = wasInterrupted;
        std::string error;
        const std::optional<replay::ShrunkRecord> shrunk = replay::shrink(events, driver_.fresh(), settings, &error);
        if (!shrunk) {
            return context_.cannotBegin({FailureKind::File, options_.replay.file + ": " + error});
        }
        record::RecordWriter writer(record_.run());
        for (const Event& event : shrunk->events) {
            writer.add(event);
        }
        writer.close();
        Failure failure;
        if (!writeFile(options_.replay.shrink, writer.bytes(), &failure)) {
            return context_.cannotBegin(failure);
        }
        const std::string proof = shrunk->isOneMinimal
                                      ? "1-minimal: none of them can be left out"
                                      : "perhaps not the least: the time was over; try a longer --shrink-seconds";
        failure = damageFailure();
        if (options_.json) {
            Json json = newDocument();
            json["record"] = recordJson();
            json["shrunk"] = {{"file", options_.replay.shrink},      {"failure", shown(shrunk->failure)},
                              {"calls_before", shrunk->callsBefore}, {"calls", shrunk->callsAfter},
                              {"one_minimal", shrunk->isOneMinimal}, {"trials", shrunk->trials}};
            if (failure.occurred()) {
                json["error"] = failureJson(failure);
            }
            printJson(json);
        } else {
            printTable({{"failure", shown(shrunk->failure)},
                        {"shrunk", fmt::format("{}: {} of {} calls are left after {} trials", options_.replay.shrink,
                                               shrunk->callsAfter, shrunk->callsBefore, shrunk->trials)},
                        {"", proof}});
        }
        return endOfWriting(failure);
    }

    // A record and a script beside it, that wants the answers of this driver.
    void makeTest(const ReplayedRecord& replayed, Failure* failure) {
        namespace fs = std::filesystem;
        const fs::path folder = options_.replay.makeTest;
        const std::string name = fs::path(options_.replay.file).stem().string();
        std::error_code error;
        fs::create_directories(folder, error);
        if (error) {
            *failure = {FailureKind::Output, fmt::format("{}: cannot be made: {}", folder.string(), error.message())};
            return;
        }
        const std::string recordFile = (folder / (name + ".rec")).string();
        const std::string script = (folder / (name + ".sh")).string();
        if (!writeFile(recordFile, replayed.answers, failure) || !writeFile(script, scriptOf(name), failure)) {
            return;
        }
        if (::chmod(script.c_str(), 0755) != 0) {
            *failure = {FailureKind::Output, fmt::format("{}: {}", script, std::strerror(errno))};
            return;
        }
        test_ = script;
        if (replayed.divergences > 0) {
            note(fmt::format("{} answers differ from the record: the test wants those of {}", replayed.divergences,
                             driver_.file()));
        }
    }

    // Of the record itself nothing is quoted: it may hold anything.
    static std::string scriptOf(const std::string& name) {
        std::string quoted = "'";
        for (const char c : name + ".rec") {
            quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
        }
        quoted += "'";
        return "#!/bin/sh\n"
               "# Every call of the record beside this file is answered as recorded. Needs nothing but ac500-host and "
               "the\n"
               "# driver, neither a PLC nor a network; AC500_HOST names another program, AC500_DRIVER another driver.\n"
               "# Ends with 0 when all answers are the same, with 3 when one differs, with 2 when the record is "
               "damaged or "
               "empty.\n"
               "exec \"${AC500_HOST:-ac500-host}\" replay \"$(dirname \"$0\")\"/" +
               quoted + "\n";
    }

    CommandContext& context_;
    const Options& options_;
    const ScannedRecord record_;
    ReplayDriver driver_;
    std::size_t events_ = 0;  // that are replayed
    std::vector<Tag> tags_;
    std::size_t told_ = 0;
    std::string test_;  // the script that was made
};

}  // namespace

int runReplay(CommandContext& context) {
    Failure failure;
    try {
        std::optional<ScannedRecord> record = openRecord(context.options(), &failure);
        if (!record) {
            return context.cannotBegin(failure);
        }
        return Replaying(context, std::move(*record)).run();
    } catch (const std::bad_alloc&) {
        return context.cannotBegin(
            {FailureKind::File, context.options().replay.file + ": the memory of this machine is too small for it"});
    }
}

}  // namespace ac500::host
