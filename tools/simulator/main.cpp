// ac500-sim: the simulated PLC as a program. The command line, the lifetime and the messages; the rest is the library.
#include <algorithm>
#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <unistd.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QSocketNotifier>

#include <fmt/format.h>

#include "tools/console/end_signals.h"
#include "tools/console/standard_streams.h"
#include "tools/console/time_text.h"
#include "tools/events/log_line.h"
#include "tools/simulator/options.h"
#include "tools/simulator/reserved_variables.h"
#include "tools/simulator/tcp_server.h"
#include "tools/text/address.h"

namespace {

using namespace ac500;
using namespace ac500::sim;
using namespace ac500::symbol_file;
using events::EventId;

constexpr int kSecondProgram = 2;        // that of --load
constexpr double kLongestTimerMs = 2e9;  // in milliseconds an int holds

// Lines appear at once, also in a pipe. False: they do not, and the program is to end.
bool print(const std::string& line) {
    console::standardOutput().write("ac500-sim: " + line + "\n");
    console::standardOutput().flush();
    return console::standardOutput().isGood();
}

events::LogFormat logFormat = events::LogFormat::Text;
std::optional<events::Level> logLevel;  // of the events that are told; nothing: none is

bool isTold(EventId event) {
    return logLevel && events::rowOf(event).level >= *logLevel;
}

void tell(const SimulatorEvent& event) {
    const auto now = std::chrono::system_clock::now();
    if (logFormat == events::LogFormat::Json) {
        console::tell(events::jsonLine("ac500-sim", {event.event, now, event.text, {}, 0, std::nullopt, event.client}));
        return;
    }
    const std::string client = event.client == 0 ? "" : fmt::format("client {}: ", event.client);
    console::tell(console::timeText(now) + " ac500-sim: " + client + event.text + "\n");
}

void tellIfWanted(const SimulatorEvent& event) {
    if (isTold(event.event)) {
        tell(event);
    }
}

void complain(const std::string& line) {
    tell({EventId::CommandFailed, 0, line});
}

void complainAll(const std::string& fileName, const std::vector<Problem>& problems,
                 EventId event = EventId::CommandFailed) {
    for (const Problem& problem : problems) {
        tell({event, 0, describe(fileName, problem)});
    }
}

// Says a result on the standard output, and with JSON also as an event. False: it cannot be written.
bool printEvent(EventId event, const std::string& line) {
    if (logFormat == events::LogFormat::Json) {
        tellIfWanted({event, 0, line});
    }
    return print(line);
}

std::string counted(std::uint64_t count, const char* what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

std::string servingLine(const Options& options, const SymbolFile& file) {
    return fmt::format("serving {}: {}, {}, {}; {} in area {} is the simulator's own; seed {}, {}", options.symbols,
                       counted(file.areas.size(), "area"), counted(listLeaves(file).size(), "tag"),
                       counted(file.signals.size(), "signal"), kReservedScope, kReservedArea, options.seed,
                       counted(options.faults.size(), "fault rule"));
}

std::string summaryLine(const Counters& counters) {
    return fmt::format("ended after {}, {} ({} hello, {} symbols, {} read, {} write, {} other), {} refused, {}",
                       counted(counters.connections, "connection"), counted(counters.requests(), "request"),
                       counters.hello, counters.symbols, counters.reads, counters.writes, counters.others,
                       counters.refused, counted(counters.faults, "fault"));
}

void runUntilEnd(QCoreApplication& application, int signalFile, double runSeconds) {
    QSocketNotifier notifier(signalFile, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &application, &QCoreApplication::quit);
    if (runSeconds > 0) {
        QTimer::singleShot(static_cast<int>(runSeconds * 1000), &application, &QCoreApplication::quit);
    }
    application.exec();
}

bool listen(TcpServer& server, const Options& options) {
    const QHostAddress address(QString::fromStdString(options.address));
    if (address.isNull()) {
        complain("\"" + options.address + "\" is no IP address; --address takes one like 127.0.0.1 or [::1]");
        return false;
    }
    if (!address.isLoopback()) {
        tell({EventId::ServerExposed, 0,
              "warning: " + text::addressText(options.address, options.port) +
                  " can be reached by other machines, and anyone there can write"});
    }
    std::string error;
    if (!server.listen(address, options.port, &error)) {
        complain(fmt::format("cannot listen on {}: {}; choose another --port, or 0 for a free one",
                             text::addressText(options.address, options.port), error));
        return false;
    }
    return true;
}

// True when there is none to be added, too.
bool addSecondProgram(const Options& options, PlcModel* model) {
    if (options.load.empty()) {
        return true;
    }
    const LoadedSymbolFile loaded = loadSymbolFile(options.load);
    std::vector<Problem> problems = loaded.problems;
    if (problems.empty()) {
        model->addProgram(loaded.file, &problems);
    }
    complainAll(options.load, problems);
    return problems.empty();
}

int serve(QCoreApplication& application, const Options& options, const SymbolFile& file) {
    PlcModel model(file, {options.seed, options.faults, options.verbose, options.mostReplyBytes});
    complainAll(options.symbols, model.problems());
    complainAll(options.symbols, model.warnings(), EventId::SymbolsDoubtful);
    if (!model.problems().empty() || !addSecondProgram(options, &model)) {
        return kExitSymbolFile;
    }
    std::mutex modelMutex;
    TcpSettings settings;
    settings.events = tellIfWanted;
    settings.limits = options.limits;
    TcpServer server(model, modelMutex, settings);
    const int signalFile = console::blockEndSignals();
    if (!listen(server, options)) {
        return kExitCannotListen;
    }
    if (options.loadAt >= 0) {
        QTimer::singleShot(static_cast<int>(std::min(options.loadAt * 1000, kLongestTimerMs)), &server,
                           [&server] { server.load(kSecondProgram); });
    }
    if (printEvent(EventId::ServerListening,
                   "listening on " + text::addressText(server.address().toString().toStdString(), server.port())) &&
        print(servingLine(options, file))) {
        runUntilEnd(application, signalFile, options.runSeconds);
        server.close();
        printEvent(EventId::ServerEnded, summaryLine(model.counters()));
    }
    ::close(signalFile);
    return kExitGood;
}

void tellUsage(const ParsedOptions& parsed) {
    if (parsed.exitCode == kExitGood) {
        console::standardOutput().write(parsed.text);
    } else if (logFormat == events::LogFormat::Json) {
        complain(parsed.text.substr(0, parsed.text.find_last_not_of('\n') + 1));
    } else {
        console::tell(parsed.text);
    }
}

int run(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    logFormat = events::asksForJson(arguments) ? events::LogFormat::Json : events::LogFormat::Text;
    const ParsedOptions parsed = parseOptions(arguments);
    if (!parsed.run) {
        tellUsage(parsed);
        return parsed.exitCode;
    }
    logFormat = parsed.options.logFormat;
    if (!parsed.options.quiet) {
        logLevel = parsed.options.logLevel;
    }
    const LoadedSymbolFile loaded = loadSymbolFile(parsed.options.symbols);
    if (!loaded.problems.empty()) {
        complainAll(parsed.options.symbols, loaded.problems);
        return kExitSymbolFile;
    }
    QCoreApplication application(argc, argv);
    return serve(application, parsed.options, loaded.file);
}

// The exit code, once what is left of the output is written.
int closeOutput(int exitCode) {
    console::Output& output = console::standardOutput();
    output.flush();
    if (output.isGood() || exitCode != kExitGood) {
        return exitCode;
    }
    if (output.isReaderGone()) {
        return console::kExitReaderGone;
    }
    complain("the standard output cannot be written: " + output.failure());
    return kExitNoOutput;
}

}  // namespace

int main(int argc, char** argv) {
    ac500::console::prepareStandardStreams();
    return closeOutput(run(argc, argv));
}
