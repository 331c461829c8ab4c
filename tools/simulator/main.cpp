// ac500-sim: the simulated PLC as a program. The command line, the lifetime and the messages; the rest is the library.
#include <csignal>
#include <mutex>
#include <string>
#include <vector>

#include <sys/signalfd.h>
#include <unistd.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QSocketNotifier>

#include <fmt/format.h>

#include "tools/console/standard_streams.h"
#include "tools/console/time_text.h"
#include "tools/simulator/options.h"
#include "tools/simulator/reserved_variables.h"
#include "tools/simulator/tcp_server.h"
#include "tools/text/address.h"

namespace {

using namespace ac500;
using namespace ac500::sim;
using namespace ac500::symbol_file;

// Lines appear at once, also in a pipe. False: they do not, and the program is to end.
bool print(const std::string& line) {
    console::standardOutput().write("ac500-sim: " + line + "\n");
    console::standardOutput().flush();
    return console::standardOutput().isGood();
}

void complain(const std::string& line) {
    console::tell(console::timeText() + " ac500-sim: " + line + "\n");
}

void complainAll(const std::string& fileName, const std::vector<Problem>& problems) {
    for (const Problem& problem : problems) {
        complain(describe(fileName, problem));
    }
}

// SIGINT and SIGTERM become an event of the loop instead of an interruption anywhere. -1 when that fails.
int blockSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

EventSink eventSink(const Options& options) {
    if (options.quiet) {
        return EventSink();
    }
    return [verbose = options.verbose](EventLevel level, const std::string& text) {
        if (verbose || level == EventLevel::Note) {
            complain(text);
        }
    };
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
        complain("warning: " + text::addressText(options.address, options.port) +
                 " can be reached by other machines, and anyone there can write");
    }
    std::string error;
    if (!server.listen(address, options.port, &error)) {
        complain(fmt::format("cannot listen on {}: {}; choose another --port, or 0 for a free one",
                             text::addressText(options.address, options.port), error));
        return false;
    }
    return true;
}

int serve(QCoreApplication& application, const Options& options, const SymbolFile& file) {
    PlcModel model(file, {options.seed, options.faults, options.verbose});
    complainAll(options.symbols, model.problems());
    complainAll(options.symbols, model.warnings());
    if (!model.problems().empty()) {
        return kExitSymbolFile;
    }
    std::mutex modelMutex;
    TcpSettings settings;
    settings.events = eventSink(options);
    settings.limits = options.limits;
    TcpServer server(model, modelMutex, settings);
    const int signalFile = blockSignals();
    if (!listen(server, options)) {
        return kExitCannotListen;
    }
    if (print("listening on " + text::addressText(server.address().toString().toStdString(), server.port())) &&
        print(servingLine(options, file))) {
        runUntilEnd(application, signalFile, options.runSeconds);
        server.close();
        print(summaryLine(model.counters()));
    }
    ::close(signalFile);
    return kExitGood;
}

void tellUsage(const ParsedOptions& parsed) {
    if (parsed.exitCode == kExitGood) {
        console::standardOutput().write(parsed.text);
    } else {
        console::tell(parsed.text);
    }
}

int run(int argc, char** argv) {
    const ParsedOptions parsed = parseOptions(std::vector<std::string>(argv + 1, argv + argc));
    if (!parsed.run) {
        tellUsage(parsed);
        return parsed.exitCode;
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
