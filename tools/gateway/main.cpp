// ac500-gateway: the session with one PLC, and the doors to it. The command line, the lifetime and the messages; the rest is
// the library.
#include <poll.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "tools/broker/broker_trial.h"
#include "tools/broker/load_estimate.h"
#include "tools/console/end_signals.h"
#include "tools/console/standard_streams.h"
#include "tools/gateway/broker_door.h"
#include "tools/gateway/broker_tags.h"
#include "tools/gateway/gateway_settings.h"
#include "tools/gateway/local_door.h"
#include "tools/gateway/log.h"
#include "tools/gateway/options.h"
#include "tools/gateway/page_door.h"
#include "tools/gateway/plant.h"
#include "tools/gateway/service_manager.h"
#include "tools/gateway/settings_lock.h"
#include "tools/http/certificate_files.h"
#include "tools/http/token_file.h"
#include "tools/record/save_signal.h"
#include "tools/text/text.h"

namespace {

using namespace ac500;
using namespace ac500::gateway;
using events::EventId;
using host::Failure;
using host::FailureKind;

// So often events are told and the service manager gets its beat, when it wants one.
constexpr int kTickMs = 200;
// The manager of services is told often enough that a beat may be late.
constexpr int kBeatsPerInterval = 3;
// Beyond its cycle a pass may take so long: a large list, a slow PLC.
constexpr host::Time kPassTime = std::chrono::seconds(30);

void print(const std::string& text) {
    console::standardOutput().write(text);
}

console::Signal waitForSignal(int descriptor) {
    pollfd waited{descriptor, POLLIN, 0};
    ::poll(&waited, 1, kTickMs);
    return console::takeSignal(descriptor);
}

constexpr const char* kServedByAnother = "another ac500-gateway serves by these settings; end it first";

bool loadSettings(const std::string& fileName, GatewaySettings* settings, Failure* failure) {
    LoadedGatewaySettings loaded = loadGatewaySettings(fileName);
    if (!loaded.problems.empty()) {
        std::string text;
        for (const symbol_file::Problem& problem : loaded.problems) {
            text += (text.empty() ? "" : "\n") + describe(fileName, problem);
        }
        *failure = {FailureKind::File, text};
        return false;
    }
    *settings = std::move(loaded.settings);
    return true;
}

int exitWith(const Log& log, const Failure& failure) {
    log.complain(failure);
    return exitCodeOf(failure.kind);
}

// What the main thread does while the others work: it tells events, and the service manager that all is well.
class Watch {
public:
    Watch(Plant& plant, const Log& log, const ServiceManager& manager)
        : plant_(plant),
          log_(log),
          manager_(manager),
          interval_(watchdogInterval(std::getenv("WATCHDOG_USEC"), std::getenv("WATCHDOG_PID"), ::getpid())),
          heartbeat_(2 * plant.settings().session.loop.cycle + kPassTime) {}

    void tick() {
        tellEvents();
        tellAuditProblems();
        tellOfRecords();
        const host::Time now = plant_.now();
        if (interval_ && now - lastLook_ >= *interval_ / kBeatsPerInterval) {
            lastLook_ = now;
            beat(now);
        }
    }

    void tellEvents() {
        for (const host::SessionEvent& event : plant_.eventsSince(eventsTold_)) {
            eventsTold_ = event.number + 1;
            log_.tell(event);
        }
    }

    // Did the audit lose the end of a write? It will say unknown.
    bool hasLostAudit() const { return auditProblemsTold_ > 0; }
    void tellAuditProblems() {
        const std::vector<std::string> problems = plant_.auditProblems();
        for (; auditProblemsTold_ < problems.size(); ++auditProblemsTold_) {
            log_.complain({FailureKind::Output, problems[auditProblemsTold_]});
        }
    }

    void tellOfRecords() {
        for (const host::RunRecorder::Message& message : plant_.takeRecorderMessages()) {
            if (message.isProblem) {
                log_.complain({FailureKind::Output, message.text});
            } else {
                log_.tell(EventId::CommandNote, message.text);
            }
        }
    }

private:
    // A loop that waits for its next pass is made to turn.
    void beat(host::Time now) {
        const host::SessionStatus status = plant_.status();
        const bool isAway = !status.isOnline && status.lastFailure;
        if (heartbeat_.beats({plant_.session().changes(), status.statistics.cycles(), isAway}, now)) {
            manager_.tellBeat();
        }
        plant_.session().checkDeadlines();
    }

    Plant& plant_;
    const Log& log_;
    const ServiceManager& manager_;
    const std::optional<host::Time> interval_;
    Heartbeat heartbeat_;
    host::Time lastLook_{0};
    std::size_t eventsTold_ = 0;
    std::size_t auditProblemsTold_ = 0;
};

// Null, and *failure says why, when the page cannot be served. REQUIRES: the settings have one
// `programs`, `broker`: null when there is no socket, and no broker.
std::unique_ptr<PageDoor> openPage(Plant& plant, const LocalDoor* programs, const BrokerDoor* broker,
                                   const GatewaySettings& settings, const Log& log, Failure* failure) {
    std::string error;
    PageDoor::Parts parts{plant, *settings.page, settings.tokens,
                          [&log](EventId event, const std::string& text) { log.tell(event, text); },
                          [programs] { return programs == nullptr ? 0 : programs->clients(); }};
    if (broker != nullptr) {
        parts.broker = [broker] { return broker->figures(); };
    }
    std::unique_ptr<PageDoor> page = PageDoor::open(parts, &error);
    if (page == nullptr) {
        *failure = {FailureKind::Tcp, "the page: " + error};
    }
    return page;
}

// Null, and *failure says why, when there can be no door. REQUIRES: the settings have a broker
std::unique_ptr<BrokerDoor> openBroker(Plant& plant, const GatewaySettings& settings, const Log& log,
                                       Failure* failure) {
    BrokerDoor::Parts parts{plant, *settings.broker, settings.hash, AC500_VERSION,
                            [&log](EventId event, const std::string& text) { log.tell(event, text); }};
    return BrokerDoor::open(std::move(parts), failure);
}

// Reads the settings again when it is told to. What is in force stays so when they are wrong.
class Reload {
public:
    Reload(std::string fileName, GatewaySettings settings, SettingsLock& lock, BrokerDoor* broker, const Log& log)
        : fileName_(std::move(fileName)), running_(std::move(settings)), lock_(lock), broker_(broker), log_(log) {}

    void readAgain() {
        GatewaySettings read;
        Failure failure;
        std::error_code ignored;
        // Reading a pipe would wait for whoever writes into it, while a PLC and a service manager wait for us.
        if (std::filesystem::exists(fileName_, ignored) && !std::filesystem::is_regular_file(fileName_, ignored)) {
            refuse({FailureKind::File, fileName_ + ": is no regular file"});
            return;
        }
        if (!lock_.take(fileName_)) {
            refuse({FailureKind::File, fileName_ + ": " + kServedByAnother});
            return;
        }
        if (!loadSettings(fileName_, &read, &failure)) {
            refuse(failure);
            return;
        }
        const broker::SettingsChange change = compare(running_, read);
        if (broker_ != nullptr && read.broker && !broker_->reload(*read.broker, read.hash, &failure)) {
            refuse(failure);
            return;
        }
        if (running_.broker && read.broker) {
            running_.broker = broker::takenOver(*running_.broker, *read.broker);
        }
        log_.tell(EventId::SettingsTaken,
                  fmt::format("{}: {}{}", fileName_,
                              change.taken.empty() ? std::string("nothing to take over")
                                                   : fmt::format("taken over: {}", fmt::join(change.taken, ", ")),
                              change.restart.empty()
                                  ? ""
                                  : fmt::format("; restart the gateway for: {}", fmt::join(change.restart, ", "))));
    }

private:
    void refuse(const Failure& failure) {
        for (const std::string& text : text::split(failure.text, '\n')) {
            log_.tell(EventId::SettingsRefused, "the old settings stay in force: " + text);
        }
    }

    const std::string fileName_;
    GatewaySettings running_;
    SettingsLock& lock_;
    BrokerDoor* const broker_;  // null: there is none
    const Log& log_;
};

// The exit code. `broker`: null when there is none; ended before the plant, whose end it would tell as the PLC's.
int serveUntilSignal(Plant& plant, BrokerDoor* broker, Reload& reload, const Log& log, const ServiceManager& manager,
                     int signals) {
    Watch watch(plant, log, manager);
    for (console::Signal signal = console::Signal::None; signal != console::Signal::End;) {
        signal = waitForSignal(signals);
        if (signal == console::Signal::Reload) {
            reload.readAgain();
        }
        watch.tick();
    }
    manager.tellStopping();
    if (broker != nullptr) {
        broker->end();
    }
    plant.stop();
    watch.tellEvents();
    watch.tellAuditProblems();
    watch.tellOfRecords();
    return watch.hasLostAudit() ? exitCodeOf(FailureKind::Output) : 0;
}

LocalDoorSettings doorSettings(const GatewaySettings& settings) {
    LocalDoorSettings door;
    door.path = settings.socket->path;
    door.mode = settings.socket->mode;
    door.build = AC500_VERSION;
    return door;
}

int serve(const Options& options, const Log& log) {
    const int signals = console::blockEndAndReloadSignals();
    record::catchSaveSignal();
    GatewaySettings settings;
    Failure failure;
    if (!loadSettings(options.settings, &settings, &failure)) {
        return exitWith(log, failure);
    }
    SettingsLock lock;
    if (!lock.take(options.settings)) {
        return exitWith(log, {FailureKind::File, options.settings + ": " + kServedByAnother});
    }
    const std::unique_ptr<Plant> plant = Plant::open(settings.plant, &failure);
    if (plant == nullptr || !plant->start(&failure)) {
        return exitWith(log, failure);
    }
    std::unique_ptr<LocalDoor> localDoor;
    if (settings.socket) {
        localDoor = std::make_unique<LocalDoor>(*plant, doorSettings(settings));
        if (!localDoor->open(&failure)) {
            return exitWith(log, failure);
        }
    }
    std::unique_ptr<BrokerDoor> broker;
    if (settings.broker && (broker = openBroker(*plant, settings, log, &failure)) == nullptr) {
        return exitWith(log, failure);
    }
    const ServiceManager manager = ServiceManager::ofProcess();
    std::unique_ptr<PageDoor> page;
    if (settings.page && (page = openPage(*plant, localDoor.get(), broker.get(), settings, log, &failure)) == nullptr) {
        return exitWith(log, failure);
    }
    const std::string serving = fmt::format("serving {} tags of {}{}", plant->tags().size(), plant->name(),
                                            page == nullptr ? "" : " at " + page->url());
    print("ac500-gateway: " + serving + "\n");
    console::standardOutput().flush();
    manager.tellReady();
    manager.tellStatus(serving);
    Reload reload(options.settings, settings, lock, broker.get(), log);
    const int exitCode = serveUntilSignal(*plant, broker.get(), reload, log, manager, signals);
    page.reset();
    ::close(signals);
    return exitCode;
}

int makeToken(const Options& options, const Log& log) {
    const std::optional<http::Right> right = http::rightOf(options.right);
    const std::optional<http::NewToken> made = right ? http::makeToken(options.name, *right) : std::nullopt;
    if (!made) {
        return exitWith(log, {FailureKind::Usage, "the name of a token is 1 to 32 letters, digits, - and _"});
    }
    print(fmt::format("token, for {} alone, shown once:\n{}\nline for the file of tokens:\n{}\n", options.name,
                      made->token, made->line));
    return 0;
}

// The files by which people sign in and browsers know the page.
bool checkFilesOfPage(const GatewaySettings& settings, Failure* failure) {
    std::string problem = settings.tokens.empty() ? "" : http::TokenFile(settings.tokens).problem();
    const bool hasTls = settings.page && !settings.page->certificate.empty();
    if (problem.empty() && hasTls) {
        http::CertificateFiles(settings.page->certificate, settings.page->key).current(&problem);
    }
    if (!problem.empty()) {
        *failure = {FailureKind::File, problem};
    }
    return problem.empty();
}

// What the broker would have to bear. Nothing when the settings name no tags that it can have; *failure then says which.
std::optional<broker::LoadQuestion> loadOfBroker(const Plant& plant, const broker::BrokerSettings& settings,
                                                 Failure* failure) {
    const std::optional<BrokerTags> tags = brokerTags(plant, settings, failure);
    if (!tags) {
        return std::nullopt;
    }
    broker::LoadQuestion question;
    question.tags = formattedTags(plant, *tags);
    question.terms = tags->terms;
    question.format = {settings.topic, plant.name(), settings.format, settings.batch, settings.largestMessage};
    question.keep = settings.keep;
    question.cycle = plant.settings().session.loop.cycle;
    return question;
}

// What `check` says of the brokers, of which it tries each when it is asked to. The exit code.
int checkBroker(const Plant& plant, const broker::BrokerSettings& settings, bool triesBroker, const Log& log) {
    Failure failure;
    const std::optional<broker::LoadQuestion> question = loadOfBroker(plant, settings, &failure);
    if (!question) {
        return exitWith(log, failure);
    }
    const broker::LoadEstimate load = broker::estimateLoad(*question);
    for (const std::string& line : broker::loadLines(*question, load)) {
        print(line + "\n");
    }
    if (!triesBroker) {
        return 0;
    }
    broker::TrialTerms terms;
    terms.largestMessage = load.largestMessage;
    terms.tell = [](const broker::TrialLine& line) {
        print(fmt::format("{}: {}: {}: {}\n", line.server, line.step, line.isGood ? "good" : "wrong", line.text));
        console::standardOutput().flush();
    };
    return broker::tryBrokers(settings, terms) ? 0 : exitCodeOf(FailureKind::Tcp);
}

int check(const Options& options, const Log& log) {
    GatewaySettings settings;
    Failure failure;
    if (!loadSettings(options.settings, &settings, &failure) || !checkFilesOfPage(settings, &failure)) {
        return exitWith(log, failure);
    }
    const std::unique_ptr<Plant> plant = Plant::open(settings.plant, &failure);
    if (plant == nullptr || !plant->checkDriver(&failure)) {
        return exitWith(log, failure);
    }
    if (options.triesBroker && !settings.broker) {
        return exitWith(log, {FailureKind::Usage, "--broker: " + options.settings + " names no broker (\"broker\")"});
    }
    std::size_t kept = 0;
    std::size_t writable = 0;
    for (const PlantTag& tag : plant->tags()) {
        kept += tag.isKept ? 1 : 0;
        writable += tag.isWritable ? 1 : 0;
    }
    print(fmt::format("{}: good; {} tags are read, {} of them kept for trends, {} writable; symbols {}\n",
                      options.settings, plant->tags().size(), kept, writable, plant->fingerprint()));
    return settings.broker ? checkBroker(*plant, *settings.broker, options.triesBroker, log) : 0;
}

int run(const std::vector<std::string>& arguments) {
    const ParsedOptions parsed = parseOptions(arguments);
    const Log log(events::asksForJson(arguments) ? events::LogFormat::Json : parsed.options.logFormat,
                  parsed.options.logLevel);
    if (!parsed.run && parsed.exitCode == 0) {
        print(parsed.text);
        return 0;
    }
    if (!parsed.run && !events::asksForJson(arguments)) {
        console::tell(parsed.text);
        return parsed.exitCode;
    }
    if (!parsed.run) {
        return exitWith(log, {FailureKind::Usage, parsed.text.substr(0, parsed.text.find_last_not_of('\n') + 1)});
    }
    switch (parsed.options.command) {
        case Command::Serve:
            return serve(parsed.options, log);
        case Command::Check:
            return check(parsed.options, log);
        case Command::Token:
            return makeToken(parsed.options, log);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    console::prepareStandardStreams();
    const int exitCode = run({argv + 1, argv + argc});
    console::Output& output = console::standardOutput();
    output.flush();
    if (output.isGood() || exitCode != 0) {
        return exitCode;
    }
    return output.isReaderGone() ? console::kExitReaderGone : exitCodeOf(FailureKind::Output);
}
