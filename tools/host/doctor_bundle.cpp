#include "tools/host/doctor_bundle.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <QtCore/QtGlobal>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <set>

#include "tools/console/time_text.h"
#include "tools/doctor/elf_identity.h"
#include "tools/doctor/local_checks.h"
#include "tools/host/needed_libraries.h"
#include "tools/replay/capture_file.h"
#include "tools/text/text.h"

namespace ac500::host {

using doctor::ArchiveEntry;
using doctor::CheckLine;
using doctor::Disguise;
using doctor::Grade;
using doctor::Subject;

namespace {

namespace fs = std::filesystem;

constexpr char kFolder[] = "ac500-doctor/";

// Of more tags than this only those are shown that did not pass.
constexpr std::ptrdiff_t kMostTagLines = 20;

// Parts of paths that every machine has.
const std::set<std::string>& commonPathWords() {
    static const std::set<std::string> words = {
        "usr", "lib",  "lib64", "local",          "bin", "opt", "tmp", "home", "var", "etc",   "root",
        "so",  "json", "share", "libac500driver", "gz",  "tar", "mnt", "srv",  "rec", "record"};
    return words;
}

// ---------------------------------------------------------------------------------------------------------------------
// Other names
// ---------------------------------------------------------------------------------------------------------------------

void learnPath(const std::string& path, Disguise* disguise) {
    if (path.size() < 2) {
        return;
    }
    disguise->learn("path", path);
    for (const std::string& part : text::split(path, '/')) {
        for (const std::string& word : text::split(part, '.')) {
            if (commonPathWords().count(text::lowerCase(word)) == 0 && word.size() > 1) {
                disguise->learnWords("path", word);
            }
        }
    }
}

// Also as it is without links and dots.
void learnPathInFull(const std::string& path, Disguise* disguise) {
    learnPath(path, disguise);
    std::error_code failed;
    const fs::path full = fs::weakly_canonical(path, failed);
    if (!path.empty() && !failed) {
        learnPath(full.string(), disguise);
    }
}

void learnThisMachine(Disguise* disguise) {
    utsname system{};
    if (::uname(&system) == 0) {
        disguise->learn("host", system.nodename);
        const std::string node = system.nodename;
        disguise->learn("host", node.substr(0, node.find('.')));
    }
    for (const char* variable : {"USER", "LOGNAME", "SUDO_USER"}) {
        const char* value = std::getenv(variable);
        disguise->learn("user", value == nullptr ? "" : value);
    }
    const passwd* user = ::getpwuid(::getuid());
    if (user != nullptr) {
        disguise->learn("user", user->pw_name);
        learnPathInFull(user->pw_dir, disguise);
    }
    const char* home = std::getenv("HOME");
    learnPathInFull(home == nullptr ? "" : home, disguise);
    std::error_code ignored;
    learnPathInFull(fs::current_path(ignored).string(), disguise);
    // One that is not installed may be anything.
    const doctor::LocaleState locale = doctor::localeState();
    if (!locale.exists) {
        disguise->learn("locale", locale.name);
        disguise->learnWords("locale", locale.name);
    }
}

void learnHost(const std::string& host, Disguise* disguise) {
    disguise->learn("host", host);
    disguise->learnWords("host", host);
}

// What a file of handshake replies says of the PLC and the symbols that it was learned with. Any text may stand there.
void learnOrigin(const guard::HandshakeOrigin& origin, Disguise* disguise) {
    const std::optional<Endpoint> plc = parseEndpoint(origin.plc);
    learnHost(plc ? plc->host : origin.plc, disguise);
    learnPath(origin.symbols, disguise);
}

Disguise learnAll(const Options& options, const VisitReport& report) {
    Disguise disguise;
    learnHost(options.plc.host, &disguise);
    disguise.learn("address", report.figures.address);
    for (const std::string& address : report.figures.addresses) {
        disguise.learn("address", address);
    }
    learnThisMachine(&disguise);
    learnOrigin(report.learnedOf, &disguise);
    for (const std::string& path :
         {options.symbols, options.driver, report.driverFile, options.doctor.bundle, options.handshake,
          options.record.file, options.record.ringFile, options.record.saveFile}) {
        learnPathInFull(path, &disguise);
    }
    for (const std::vector<std::string>& tags : {options.arguments, report.listed}) {
        for (const std::string& tag : tags) {
            disguise.learnWords("name", tag);
        }
    }
    if (report.symbols != nullptr) {
        for (const Leaf& leaf : symbol_file::listLeaves(*report.symbols)) {
            disguise.learnWords("name", leaf.tag);
        }
        for (const symbol_file::Area& area : report.symbols->areas) {
            disguise.learn("name", area.name);
            disguise.learnWords("name", area.name);
        }
    }
    return disguise;
}

// What was found, without what values and replies were.
std::vector<CheckLine> withoutValues(std::vector<CheckLine> lines) {
    for (CheckLine& line : lines) {
        line.text = line.textWithoutValues.empty() ? line.text : line.textWithoutValues;
    }
    return lines;
}

// Other names in what was found; the words of the doctor itself stay what programs look for.
std::vector<CheckLine> disguised(std::vector<CheckLine> lines, Disguise* disguise) {
    for (CheckLine& line : lines) {
        // What a loader says of a file is in words that nobody foresees.
        const bool mayQuote =
            (line.subject == Subject::Symbols || line.subject == Subject::Driver) && line.grade == Grade::Fail;
        line.text = mayQuote ? "left out: it may quote names" : disguise->apply(line.text);
        line.meaning = disguise->apply(line.meaning);
        line.next = disguise->apply(line.next);
    }
    return lines;
}

// ---------------------------------------------------------------------------------------------------------------------
// Files
// ---------------------------------------------------------------------------------------------------------------------

std::string jsonText(const Json& json) {
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string settingsText(const Options& options, const std::function<std::string(const std::string&)>& named) {
    Json json;
    json["symbols"] = named(options.symbols);
    json["driver"] = named(options.driver);
    json["plc_host"] = named(options.plc.host);
    json["plc_port"] = options.plc.port;
    json["timeout_ms"] = options.timeoutMs;
    json["within_s"] = options.doctor.withinSeconds;
    json["max_request_words"] = options.maxRequestWords;
    json["simulator"] = options.simulator;
    return jsonText(json);
}

std::string versionsText(const VisitReport& report, const std::function<std::string(const std::string&)>& named) {
    utsname system{};
    ::uname(&system);
    Json json;
    json["program"] = AC500_VERSION;
    json["program_machine"] = doctor::thisMachine();
    json["qt"] = qVersion();
    std::error_code failed;
    const std::uintmax_t bytes = report.driverFile.empty() ? 0 : fs::file_size(report.driverFile, failed);
    json["driver_found"] = !report.driverFile.empty();
    json["driver_bytes"] = failed ? 0 : bytes;
    json["driver_machine"] = report.driverFile.empty() ? "" : doctor::elfIdentity(report.driverFile).text;
    json["driver_qt"] = report.driverFile.empty() ? 0 : qtVersionAmong(neededLibraries(report.driverFile));
    json["system"] = system.sysname;
    json["kernel"] = named(system.release);
    json["machine"] = system.machine;
    return jsonText(json);
}

std::string statisticsText(const ExaminationFigures& figures) {
    Json json;
    json["requests"] = figures.requests;
    json["good_replies"] = figures.goodReplies;
    json["refusals"] = figures.refusals;
    json["bytes_sent"] = figures.bytesSent;
    json["bytes_received"] = figures.bytesReceived;
    json["longest_reply_us"] = figures.longestReply.count();
    return jsonText(json);
}

std::string addressBytes(const std::string& address) {
    unsigned char bytes[sizeof(in6_addr)];
    if (::inet_pton(AF_INET, address.c_str(), bytes) == 1) {
        return std::string(reinterpret_cast<const char*>(bytes), sizeof(in_addr));
    }
    if (::inet_pton(AF_INET6, address.c_str(), bytes) == 1) {
        return std::string(reinterpret_cast<const char*>(bytes), sizeof(in6_addr));
    }
    return "";
}

std::string captureText(const std::vector<TrafficStep>& traffic, const std::string& address, std::uint16_t port) {
    replay::CaptureFile capture("ac500-host " AC500_VERSION, {addressBytes(address), port});
    for (const TrafficStep& step : traffic) {
        const auto time = std::chrono::duration_cast<std::chrono::microseconds>(step.time.time_since_epoch()).count();
        switch (step.kind) {
            case TrafficStep::Kind::Connected:
                capture.connected(time);
                break;
            case TrafficStep::Kind::NotConnected:
                capture.connectionRefused(time);
                break;
            case TrafficStep::Kind::Sent:
                capture.carried(time, replay::Side::Host, step.bytes);
                break;
            case TrafficStep::Kind::Received:
                capture.carried(time, replay::Side::Plc, step.bytes);
                break;
            case TrafficStep::Kind::Closed:
                capture.closed(time, replay::Side::Host);
                break;
        }
    }
    return capture.content();
}

// ---------------------------------------------------------------------------------------------------------------------
// Zeros in the capture
// ---------------------------------------------------------------------------------------------------------------------

void zeroFrom(std::string& bytes, std::size_t first) {
    std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(std::min(first, bytes.size())), bytes.end(), '\0');
}

// From which byte of the reply on nothing is kept.
std::size_t keptBytes(wire::Service service, bool keepsValues) {
    if (wire::isHandshake(service)) {
        return wire::kShortReplyBytes;
    }
    return keepsValues ? std::string::npos : static_cast<std::size_t>(wire::kReadReplyHeadBytes);
}

}  // namespace

std::vector<TrafficStep> withoutContents(const std::vector<TrafficStep>& traffic, bool keepsValues) {
    std::vector<TrafficStep> steps = traffic;
    wire::Service service = wire::Service::Hello;
    std::string reply;  // since the last request, as it came
    for (TrafficStep& step : steps) {
        if (step.kind == TrafficStep::Kind::Sent) {
            service = parseRequest(QByteArray(step.bytes.data(), static_cast<int>(step.bytes.size()))).service;
            reply.clear();
            if (!wire::isHandshake(service)) {
                zeroFrom(step.bytes, step.bytes.size() - std::min<std::size_t>(step.bytes.size(), wire::kSessionBytes));
            }
        } else if (step.kind == TrafficStep::Kind::Received) {
            const std::size_t before = reply.size();
            reply += step.bytes;
            // What does not look like a reply may be anything; what comes behind a whole one, too.
            const bool isReply = wire::mayBeginFrame(reply);
            const std::size_t whole =
                reply.size() < static_cast<std::size_t>(wire::kEnvelopeBytes)
                    ? reply.size()
                    : wire::kEnvelopeBytes + std::size_t{wire::getU16(reply.data() + wire::kLowLengthAt)};
            const std::size_t kept = isReply ? std::min(keptBytes(service, keepsValues), whole) : 0;
            zeroFrom(step.bytes, kept > before ? kept - before : 0);
        }
    }
    return steps;
}

std::string visitText(const std::vector<CheckLine>& lines) {
    const auto tags =
        std::count_if(lines.begin(), lines.end(), [](const CheckLine& line) { return line.subject == Subject::Tag; });
    std::string all;
    std::string lastNext;
    const auto addLine = [&all](const std::string& line) { all += text::withoutControls(line) + "\n"; };
    for (const CheckLine& line : lines) {
        if (line.subject == Subject::Tag && line.grade == Grade::Pass && tags > kMostTagLines) {
            continue;
        }
        const bool isTried = line.grade != Grade::NotTried;
        addLine(fmt::format("{:<9}  {:<7}  {}{}", doctor::gradeName(line.grade), doctor::subjectName(line.subject),
                            line.text, isTried ? "" : ": " + line.meaning));
        if (isTried && !line.meaning.empty()) {
            addLine(fmt::format("{:20}means: {}", "", line.meaning));
        }
        // A next step that several lines share is told once.
        if (!line.next.empty() && line.next != lastNext) {
            addLine(fmt::format("{:20}next:  {}", "", line.next));
            lastNext = line.next;
        }
    }
    return all;
}

std::string visitSummary(const std::vector<CheckLine>& lines, Time took, int withinSeconds) {
    return fmt::format("{}; took {:.1f} s of at most {} s\n", doctor::tallyText(doctor::countLines(lines)),
                       static_cast<double>(took.count()) / 1e6, withinSeconds);
}

Json visitJson(const std::vector<CheckLine>& lines, Time took, int withinSeconds) {
    const doctor::Tally tally = doctor::countLines(lines);
    Json json = newDocument();
    json["time"] = console::utcText();
    json["took_ms"] = std::chrono::duration_cast<Milliseconds>(took).count();
    json["within_s"] = withinSeconds;
    json["lines"] = Json::array();
    for (const CheckLine& line : lines) {
        json["lines"].push_back({{"subject", doctor::subjectName(line.subject)},
                                 {"grade", doctor::gradeName(line.grade)},
                                 {"text", line.text},
                                 {"meaning", line.meaning},
                                 {"next", line.next}});
    }
    json["passed"] = tally.passed;
    json["warned"] = tally.warned;
    json["failed"] = tally.failed;
    json["not_tried"] = tally.notTried;
    return json;
}

std::string bundleContents(const Bundle& bundle) {
    std::string contents;
    for (const ArchiveEntry& entry : bundle.entries) {
        contents += fmt::format("  {:<34}{:>8} bytes  {}\n", entry.name, entry.content.size(), entry.about);
    }
    for (const std::string& what : bundle.leftOut) {
        contents += "  left out: " + what + "\n";
    }
    return contents;
}

Bundle makeBundle(const Options& options, const VisitReport& report) {
    Bundle bundle;
    const bool isDisguised = options.doctor.withoutNames;
    if (isDisguised) {
        bundle.disguise = learnAll(options, report);
    }
    const auto named = [&](const std::string& text) { return isDisguised ? bundle.disguise.apply(text) : text; };
    const bool isWhole = !isDisguised && !options.doctor.withoutValues;
    std::vector<CheckLine> lines = isWhole ? report.lines : withoutValues(report.lines);
    if (isDisguised) {
        lines = disguised(std::move(lines), &bundle.disguise);
    }
    const std::vector<TrafficStep> traffic =
        isWhole ? report.traffic : withoutContents(report.traffic, !options.doctor.withoutValues);
    const int within = options.doctor.withinSeconds;
    const auto add = [&bundle](const char* name, const char* about, std::string content) {
        bundle.entries.push_back({std::string(kFolder) + name, std::move(content), about});
    };
    add("doctor.txt", "what the doctor found", visitText(lines) + visitSummary(lines, report.took, within));
    add("doctor.json", "the same for programs", jsonText(visitJson(lines, report.took, within)));
    add("settings.json", "how it was called", settingsText(options, named));
    add("versions.json", "program, driver, Qt, kernel, machine", versionsText(report, named));
    add("statistics.json", "requests, replies, bytes, times", statisticsText(report.figures));
    if (report.traffic.empty()) {
        bundle.leftOut.push_back("a capture, for there was no connection");
    } else {
        add("capture.pcapng",
            isWhole ? "what went over the wire" : "what went over the wire, with zeros for what is not told",
            captureText(traffic, isDisguised ? "" : report.figures.address, options.plc.port));
    }
    if (!isWhole) {
        bundle.leftOut.push_back("a record of the driver's calls, which holds names and values all through");
    } else if (report.record.empty()) {
        bundle.leftOut.push_back("a record of the driver's calls, for none was made");
    } else {
        add("driver.rec", "the driver's calls, for ac500-host replay", report.record);
    }
    return bundle;
}

}  // namespace ac500::host
