#include "tools/host/plc_examination.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <utility>

#include "core/codes.h"
#include "tools/explain/code_table.h"
#include "tools/host/name_lookup.h"
#include "tools/host/program_guard.h"
#include "tools/host/reply_verdict.h"
#include "tools/symbol_file/label_records.h"
#include "tools/text/shell_word.h"

namespace ac500::host {

using doctor::ConnectAnswer;
using doctor::ConnectOutcome;
using doctor::Grade;
using doctor::ReceiveAnswer;
using doctor::ReceiveOutcome;
using doctor::RouteAnswer;
using doctor::Subject;
using doctor::TcpProbe;

namespace {

constexpr char kTimeOver[] = "the time of --within is over";
constexpr char kInterrupted[] = "interrupted";
constexpr Milliseconds kGlance{50};       // how often a wait looks whether the user has ended it
constexpr int kMostTurnsOfARefusal = 10;  // of a driver that tolerates no failed reply

// What is worth a try where it was too short.
constexpr std::int64_t kLongTimeoutMs = 10000;
constexpr std::int64_t kDayMs = std::int64_t{24} * 60 * 60 * 1000;
constexpr int kLongSeconds = 300;
constexpr int kMostSeconds = 3600;

std::int64_t longerTimeoutMs(Milliseconds timeout) {
    return std::min(std::max<std::int64_t>(kLongTimeoutMs, 2 * timeout.count()), kDayMs);
}

int longerSeconds(int seconds) {
    return std::min(std::max(kLongSeconds, 2 * seconds), kMostSeconds);
}

std::string areaText(const SymbolFile& file, int number) {
    for (const symbol_file::Area& area : file.areas) {
        if (area.number == number && !area.name.empty()) {
            return fmt::format("{} ({})", number, area.name);
        }
    }
    return std::to_string(number);
}

std::int64_t largestRun(const std::vector<ByteRun>& runs) {
    std::int64_t largest = 0;
    for (const ByteRun& run : runs) {
        largest = std::max(largest, run.size);
    }
    return largest;
}

// Did the received runs bring all of it? Each run of a tag comes in one request, or in several that follow each other.
bool isCovered(const ByteRun& run, const std::vector<ByteRun>& received) {
    ByteRun rest = run;
    bool isShorter = true;
    while (rest.size > 0 && isShorter) {
        isShorter = false;
        for (const ByteRun& one : received) {
            if (one.area == rest.area && one.address <= rest.address && rest.address < one.address + one.size) {
                const std::int64_t end = std::min(rest.address + rest.size, one.address + one.size);
                rest.size -= end - rest.address;
                rest.address = end;
                isShorter = true;
            }
        }
    }
    return rest.size <= 0;
}

bool areCovered(const Tag& tag, const std::vector<ByteRun>& received) {
    const std::vector<ByteRun> runs = tag.byteRuns();
    return std::all_of(runs.begin(), runs.end(), [&](const ByteRun& run) { return isCovered(run, received); });
}

std::string requestText(const RequestFrame& request) {
    return fmt::format("{} request", wire::serviceName(request.service));
}

std::string hexText(int statusWord) {
    return fmt::format("0x{:04X}", statusWord);
}

}  // namespace

PlcExamination::PlcExamination(const DriverFunctions* driver, const TagTable& tags, const Clock& clock,
                               const ExaminationSettings& settings)
    : driver_(driver), tags_(tags), clock_(clock), settings_(settings), probe_(settings.isInterrupted) {
    if (driver_ == nullptr) {
        return;
    }
    reports_.emplace(*driver_);
    access_.emplace(*driver_, 2 * settings.maxRequestWords);
    comInfo_.maxRequestWords = settings.maxRequestWords;
    comInfo_.accessMode = kAccessPlc;
    driver_->setComInfo(&comInfo_);
    driver_->setLocalRegisters(nullptr, nullptr, nullptr);
    QList<Label_Type_Info> records = labelRecords(tags_.file());
    driver_->passSymbols(&records);
}

std::vector<doctor::CheckLine> PlcExamination::run(const std::vector<Tag>& tags) {
    const std::vector<std::string> addresses = lookUpName();
    figures_.addresses = addresses;
    findRoute(addresses);
    const bool isConnected = connect(addresses);
    if (driver_ == nullptr && whyNot_.empty()) {
        whyNot_ = "there is no driver to ask";
        nextStep_ = settings_.call.with("--driver", "PATH").doctor();
    }
    openSession(tags);
    if (settings_.handshake) {
        compareHandshake();
    }
    if (settings_.whyNoAreas.empty()) {
        readProgram();
        readAreas();
        readLargest();
        readTags(tags);
    } else {
        add(Subject::Area, Grade::NotTried, "the memory areas", settings_.whyNoAreas,
            settings_.call.with("--symbols", "FILE").doctor());
    }
    if (isConnected) {
        probe_.close();
        addTraffic(TrafficStep::Kind::Closed);
    }
    return lines_;
}

// ---------------------------------------------------------------------------------------------------------------------
// Up to the connection
// ---------------------------------------------------------------------------------------------------------------------

std::vector<std::string> PlcExamination::lookUpName() {
    const std::string& host = settings_.plc.host;
    if (doctor::isAddress(host)) {
        add(Subject::Name, Grade::Pass, host + " is an address");
        return {host};
    }
    NameLookup lookup;
    lookup.start(host);
    const Time end = clock_.now() + waitFrom(clock_.now());
    std::optional<NameAnswer> answer;
    while (!answer && clock_.now() < end && !settings_.isInterrupted()) {
        answer = lookup.wait(kGlance);
    }
    if (answer && !answer->addresses.empty()) {
        add(Subject::Name, Grade::Pass, fmt::format("{} is {}", host, fmt::join(answer->addresses, ", ")));
        return answer->addresses;
    }
    if (!answer && isCutShort()) {
        addNotTried(Subject::Name, host);
        return {};
    }
    whyNot_ = "the name was not found";
    if (answer) {
        add(Subject::Name, Grade::Fail, fmt::format("{}: {}", host, answer->failure),
            "no name service, and no line in /etc/hosts, knows this name", "getent hosts " + text::shellWord(host));
    } else {
        add(Subject::Name, Grade::Fail, fmt::format("{}: no answer from the name service in time", host),
            "the name service cannot be reached; an address works without it", "cat /etc/resolv.conf");
    }
    return {};
}

void PlcExamination::findRoute(const std::vector<std::string>& addresses) {
    if (!whyNot_.empty()) {
        addNotTried(Subject::Route, "the way to it");
        return;
    }
    std::string reason;
    for (const std::string& address : addresses) {
        const RouteAnswer route = TcpProbe::route(address, settings_.plc.port);
        if (route.exists) {
            figures_.addresses.push_back(route.local);
            add(Subject::Route, Grade::Pass, fmt::format("to {} from {}", address, route.local));
            return;
        }
        reason = route.reason;
    }
    whyNot_ = "there is no way to it";
    add(Subject::Route, Grade::Fail, fmt::format("no way to {}: {}", addresses.front(), reason),
        "this machine has no network that leads there", "ip route get " + addresses.front());
}

bool PlcExamination::connect(const std::vector<std::string>& addresses) {
    if (!whyNot_.empty()) {
        addNotTried(Subject::Port, settings_.plc.text());
        return false;
    }
    ConnectAnswer answer;
    for (const std::string& address : addresses) {
        const Time begin = clock_.now();
        answer = probe_.connect(address, settings_.plc.port, waitFrom(begin));
        if (answer.outcome == ConnectOutcome::Connected) {
            figures_.address = address;
            addTraffic(TrafficStep::Kind::Connected);
            add(Subject::Port, Grade::Pass,
                fmt::format("{} accepts connections ({:.1f} ms)", settings_.plc.text(),
                            static_cast<double>((clock_.now() - begin).count()) / 1000));
            return true;
        }
        addTraffic(TrafficStep::Kind::NotConnected);
    }
    const bool isAnswered = answer.outcome == ConnectOutcome::Refused || answer.outcome == ConnectOutcome::Unreachable;
    if (!isAnswered && isCutShort()) {
        addNotTried(Subject::Port, settings_.plc.text());
        return false;
    }
    whyNot_ = "there is no connection";
    const std::string plc = settings_.plc.text();
    switch (answer.outcome) {
        case ConnectOutcome::Refused:
            add(Subject::Port, Grade::Fail, plc + " refuses",
                "the machine answers, and nothing listens on this port: another port, or the PLC's communication is "
                "not "
                "started",
                atAnotherPort());
            break;
        case ConnectOutcome::Silent:
            add(Subject::Port, Grade::Fail, plc + " is silent",
                "nothing comes back: the PLC is off, another machine has the address, or a firewall drops what is sent",
                "ping " + addresses.front());
            break;
        case ConnectOutcome::Unreachable:
            add(Subject::Port, Grade::Fail, fmt::format("{} is unreachable: {}", plc, answer.reason),
                "a router, or this machine, knows no way, or nobody has this address in the network it leads to",
                "ip route get " + addresses.front());
            break;
        case ConnectOutcome::Connected:
        case ConnectOutcome::Failed:
            add(Subject::Port, Grade::Fail, fmt::format("{}: {}", plc, answer.reason),
                "the connection ended before it was one", "ping " + addresses.front());
            break;
    }
    return false;
}

// ---------------------------------------------------------------------------------------------------------------------
// The session
// ---------------------------------------------------------------------------------------------------------------------

// A driver without work opens no session.
bool PlcExamination::openSession(const std::vector<Tag>& work) {
    if (whyNot_.empty()) {
        std::vector<Tag> some = work;
        for (std::size_t i = 0; some.empty() && i < tags_.leaves().size(); ++i) {
            std::string ignored;
            if (const std::optional<Tag> tag = tags_.find(tags_.leaves()[i].tag, &ignored)) {
                some.push_back(*tag);
            }
        }
        access_->rebuildCyclicList(some);
    }
    return openSessionStep(Subject::Hello, wire::Service::Hello) &&
           openSessionStep(Subject::Session, wire::Service::Symbols);
}

// A hint, no proof: nothing fails by it.
void PlcExamination::compareHandshake() {
    const std::string what = "the replies to the handshake: ";
    const std::string file = text::shellWord(settings_.handshakeFile);
    if (!whyNot_.empty()) {
        addNotTried(Subject::Program, what + "not compared");
        return;
    }
    if (!settings_.handshake->isUsable()) {
        add(Subject::Program, Grade::NotTried, what + "not compared", "all of them were learned in one run of the PLC",
            "restart the PLC with the same program, then " + settings_.call.ofPlc("guard learn " + file));
        return;
    }
    const std::string difference = settings_.handshake->difference(handshakeReplies_).value_or("");
    if (difference.empty()) {
        add(Subject::Program, Grade::Pass, what + "as they were learned");
    } else {
        const std::string words = what + "otherwise than was learned";
        add(Subject::Program, Grade::Warn, words + ": " + difference,
            "perhaps another program is in the PLC than the one that was learned", "ac500-host guard show " + file);
        lines_.back().textWithoutValues = words;
    }
}

bool PlcExamination::openSessionStep(Subject subject, wire::Service service) {
    const bool isFirst = subject == Subject::Hello;
    const std::string what = isFirst ? "first request of the handshake" : "second request of the handshake";
    if (!whyNot_.empty()) {
        addNotTried(subject, what);
        if (isFirst) {
            addNotTried(Subject::Session, "second request of the handshake");
        }
        return false;
    }
    const Exchange exchange = exchangeNext();
    if (exchange.end == End::Good && exchange.request.service == service) {
        add(subject, Grade::Pass, fmt::format("{}: answered with {} bytes", what, exchange.replyBytes));
        return true;
    }
    if (exchange.end == End::NothingToSend || exchange.end == End::Good) {
        whyNot_ = "the driver opens no session";
        add(subject, Grade::Fail, what + ": the driver does not ask for it",
            "the symbol file holds nothing that the driver reads", settings_.call.ofSymbols("check"));
    } else {
        addFailure(subject, what, exchange);
    }
    if (isFirst) {
        addNotTried(Subject::Session, "second request of the handshake");
    }
    return false;
}

// ---------------------------------------------------------------------------------------------------------------------
// Reads
// ---------------------------------------------------------------------------------------------------------------------

void PlcExamination::readProgram() {
    const ProgramGuard guard(tags_);
    const std::string what = "which program is in the PLC";
    if (!guard.isActive()) {
        add(Subject::Program, Grade::NotTried, what, "the symbol file has no guard", "see docs/guard.md");
        return;
    }
    if (!whyNot_.empty()) {
        addNotTried(Subject::Program, what);
        return;
    }
    std::vector<ByteRun> received;
    const Exchange exchange = readOnce(guard.tags(), &received, true);
    if (exchange.end != End::Good) {
        addFailure(Subject::Program, what + ", by its guard", exchange);
        return;
    }
    std::vector<HostValues> found;
    for (const Tag& tag : guard.tags()) {
        found.push_back(access_->imageValues(tag));
    }
    const std::string difference = guard.differences(found);
    if (difference.empty()) {
        add(Subject::Program, Grade::Pass, "the one that the symbols describe");
    } else {
        add(Subject::Program, Grade::Fail, "another one: " + difference,
            "nothing is written, and values are marked: variables may have moved",
            "ac500-host symbols diff " + text::shellWord(settings_.symbolsFile) +
                " NEW  # NEW: the symbol file of the program that the PLC runs");
        lines_.back().textWithoutValues = "another one: " + guard.differencesWithoutValues(found);
    }
}

void PlcExamination::readAreas() {
    for (const symbol_file::Area& area : tags_.file().areas) {
        const std::string text = areaText(tags_.file(), area.number);
        const std::vector<Tag> tags = tagsOfArea(area.number);
        if (!whyNot_.empty()) {
            addNotTried(Subject::Area, text);
        } else if (tags.empty()) {
            add(Subject::Area, Grade::NotTried, text + ": no variable lies in it", "there is nothing to read",
                settings_.call.ofSymbols("tags"));
        } else {
            readArea(area.number, tags);
        }
    }
}

void PlcExamination::readArea(int area, const std::vector<Tag>& tags) {
    const auto smallest = std::min_element(tags.begin(), tags.end(), [](const Tag& a, const Tag& b) {
        return largestRun(a.byteRuns()) < largestRun(b.byteRuns());
    });
    std::vector<ByteRun> received;
    const Exchange exchange = readOnce({*smallest}, &received, true);
    const std::string what = fmt::format("{}: {}", areaText(tags_.file(), area), smallest->text);
    if (exchange.end == End::Good) {
        goodAreas_.push_back(area);
        add(Subject::Area, Grade::Pass, what + " was read");
    } else {
        addFailure(Subject::Area, what, exchange);
    }
}

void PlcExamination::readLargest() {
    const std::string limit = fmt::format("requests of up to {} words", settings_.maxRequestWords);
    if (!whyNot_.empty()) {
        addNotTried(Subject::Limit, limit);
        return;
    }
    const std::vector<Tag> window = largestWindow();
    if (window.empty()) {
        add(Subject::Limit, Grade::NotTried, limit + ": nothing can be read", "no area was read",
            settings_.call.ofSymbols("check"));
        return;
    }
    std::vector<ByteRun> received;
    const Exchange exchange = readOnce(window, &received, true);
    if (exchange.end == End::Good) {
        add(Subject::Limit, Grade::Pass, fmt::format("{}: {} bytes came in one piece", limit, largestRun(received)));
        return;
    }
    if (exchange.end == End::Refused && readOnce({lastPieceOf(window)}, &received, true).end != End::Good) {
        add(Subject::Limit, Grade::NotTried,
            limit + ": the PLC refuses " + lastPieceOf(window).text + " by itself, too",
            "not the size is refused but the place: the symbols are those of another program",
            "ac500-host explain " + hexText(exchange.statusWord));
        return;
    }
    Exchange tooLarge = exchange;
    if (exchange.end == End::Refused || exchange.end == End::Unusable) {
        tooLarge.meaning =
            "the smaller reads before it were answered: the PLC does not take requests as large as "
            "--max-request-words says";
        tooLarge.next =
            settings_.call.with("--max-request-words", std::to_string(std::max(1, settings_.maxRequestWords / 2)))
                .doctor();
    }
    addFailure(Subject::Limit, fmt::format("{}: {} bytes in one piece", limit, largestRun(exchange.request.items)),
               tooLarge);
}

// All at once first, for a thousand tags take few requests; then one by one those that were not among what came.
void PlcExamination::readTags(const std::vector<Tag>& tags) {
    std::vector<ByteRun> received;
    if (whyNot_.empty() && tags.size() > 1) {
        readOnce(tags, &received, false);
    }
    for (const Tag& tag : tags) {
        if (areCovered(tag, received)) {
            add(Subject::Tag, Grade::Pass, tag.text + " was read");
        } else if (!whyNot_.empty()) {
            addNotTried(Subject::Tag, tag.text);
        } else {
            readTag(tag);
        }
    }
}

void PlcExamination::readTag(const Tag& tag) {
    std::vector<ByteRun> received;
    const Exchange exchange = readOnce({tag}, &received, true);
    if (exchange.end == End::Good && areCovered(tag, received)) {
        add(Subject::Tag, Grade::Pass, tag.text + " was read");
    } else if (exchange.end == End::NothingToSend || exchange.end == End::Good) {
        add(Subject::Tag, Grade::Fail, tag.text + ": the driver does not ask for all of it",
            "its type is not transferred, or its index lies outside the array",
            settings_.call.ofSymbols("check " + text::shellWord(tag.text)));
    } else {
        addFailure(Subject::Tag, tag.text, exchange);
    }
}

PlcExamination::Exchange PlcExamination::readOnce(const std::vector<Tag>& tags, std::vector<ByteRun>* runs,
                                                  bool stopsAtRefusal) {
    const int items = access_->rebuildCyclicList(tags);
    Exchange exchange;
    exchange.end = End::NothingToSend;
    for (int asked = 0; asked < items;) {
        exchange = exchangeNext();
        const bool isRead = exchange.request.service == wire::Service::Read;
        if (exchange.end == End::Good && isRead) {
            runs->insert(runs->end(), exchange.request.items.begin(), exchange.request.items.end());
        } else if (exchange.end != End::Good && (exchange.end != End::Refused || stopsAtRefusal)) {
            return exchange;
        }
        asked += isRead ? static_cast<int>(exchange.request.items.size()) : 0;
    }
    return exchange;
}

// What lies last of them, in as few bytes as a tag can name.
Tag PlcExamination::lastPieceOf(const std::vector<Tag>& tags) const {
    const Tag& last = tags.back();
    std::string ignored;
    const std::optional<Tag> element =
        last.isIndexed ? tags_.find(last.elementName(last.elements - 1), &ignored) : std::nullopt;
    return element.value_or(last);
}

// In the order of addresses; what one tag can name.
std::vector<Tag> PlcExamination::tagsOfArea(int area) const {
    std::vector<Tag> tags;
    for (const Leaf& leaf : tags_.leaves()) {
        std::string ignored;
        std::optional<Tag> tag = leaf.area == area ? tags_.find(leaf.tag, &ignored) : std::nullopt;
        if (tag) {
            tags.push_back(std::move(*tag));
        }
    }
    std::stable_sort(tags.begin(), tags.end(), [](const Tag& a, const Tag& b) {
        return a.byteRuns().front().address < b.byteRuns().front().address;
    });
    return tags;
}

// The tags of an area that was read whose bytes, from the first to the last, are the most that one request may have.
std::vector<Tag> PlcExamination::largestWindow() const {
    const std::int64_t most = 2 * std::int64_t{settings_.maxRequestWords};
    std::vector<Tag> largest;
    std::int64_t largestSpan = 0;
    for (const int area : goodAreas_) {
        const std::vector<Tag> tags = tagsOfArea(area);
        std::vector<ByteRun> runs;
        for (const Tag& tag : tags) {
            ByteRun all = tag.byteRuns().front();
            for (const ByteRun& run : tag.byteRuns()) {
                all.size = std::max(all.size, run.address + run.size - all.address);
            }
            runs.push_back(all);
        }
        std::size_t first = 0;
        for (std::size_t last = 0; last < tags.size(); ++last) {
            while (first < last && runs[last].address + runs[last].size - runs[first].address > most) {
                ++first;
            }
            const std::int64_t span = std::min(most, runs[last].address + runs[last].size - runs[first].address);
            if (span > largestSpan) {
                largestSpan = span;
                const auto begin = tags.begin() + static_cast<std::ptrdiff_t>(first);
                largest.assign(begin, tags.begin() + static_cast<std::ptrdiff_t>(last) + 1);
            }
        }
    }
    return largest;
}

// ---------------------------------------------------------------------------------------------------------------------
// One request
// ---------------------------------------------------------------------------------------------------------------------

PlcExamination::Exchange PlcExamination::exchangeNext() {
    Exchange exchange;
    if (!whyNot_.empty()) {
        exchange.end = End::Unusable;
        exchange.problem = whyNot_;
        return exchange;
    }
    if (isCutShort()) {
        exchange.end = End::TimeOver;
        return exchange;
    }
    Protocol* frame = driver_->nextRequest();
    if (frame == nullptr) {
        exchange.end = End::NothingToSend;
        return exchange;
    }
    exchange.request = parseRequest(frame->frame);
    const bool isHarmless =
        wire::isHandshake(exchange.request.service) || exchange.request.service == wire::Service::Read;
    if (!isHarmless) {
        exchange.end = End::Unusable;
        exchange.problem = "the driver wants to send something else than a read; it is not sent";
        whyNot_ = exchange.problem;
        return exchange;
    }
    exchange = sendAndReceive(frame, std::move(exchange));
    if (exchange.end == End::Unusable) {
        whyNot_ = "the connection cannot be used any more";
    }
    return exchange;
}

PlcExamination::Exchange PlcExamination::sendAndReceive(Protocol* frame, Exchange exchange) {
    exchange.end = End::Unusable;
    const ReceiveAnswer before = assembler_.received() == 0 ? probe_.receive(Milliseconds(0)) : ReceiveAnswer{};
    if (assembler_.received() > 0 || before.outcome == ReceiveOutcome::Data) {
        exchange.problem = "bytes came that nobody had asked for";
        exchange.meaning = "a device in between repeats or delays replies, or two programs use one connection";
        exchange.next = "tshark -i any -f 'tcp port " + std::to_string(settings_.plc.port) + "'";
        return exchange;
    }
    const std::string bytes(frame->frame.constData(), static_cast<std::size_t>(frame->frame.size()));
    const Time begin = clock_.now();
    const bool isSent = before.outcome != ReceiveOutcome::Closed && probe_.send(bytes, waitFrom(begin));
    if (!isSent && before.outcome != ReceiveOutcome::Closed && isCutShort()) {
        exchange.end = End::TimeOver;
        return exchange;
    }
    if (!isSent) {
        exchange.problem = "the connection was closed" + (before.reason.empty() ? "" : ": " + before.reason);
        exchange.meaning = "what listens there takes no more connections, or is no PLC of this kind";
        exchange.next = "close other programs that use the PLC, then " + settings_.call.doctor();
        return exchange;
    }
    ++figures_.requests;
    figures_.bytesSent += static_cast<std::int64_t>(bytes.size());
    addTraffic(TrafficStep::Kind::Sent, bytes);
    if (receiveReply(&exchange)) {
        figures_.longestReply = std::max(figures_.longestReply, clock_.now() - begin);
        judge(frame, &exchange);
    }
    return exchange;
}

// However the bytes trickle, the time is that of the whole reply.
bool PlcExamination::receiveReply(Exchange* exchange) {
    const Time begin = clock_.now();
    const Time end = begin + waitFrom(begin);
    const std::string what = requestText(exchange->request);
    while (!assembler_.isComplete()) {
        const Milliseconds left = std::chrono::ceil<Milliseconds>(std::max(end - clock_.now(), Time(0)));
        const ReceiveAnswer answer = left.count() > 0 ? probe_.receive(left) : ReceiveAnswer{};
        if (answer.outcome == ReceiveOutcome::Data) {
            figures_.bytesReceived += static_cast<std::int64_t>(answer.bytes.size());
            addTraffic(TrafficStep::Kind::Received, answer.bytes);
            assembler_.append(QByteArray(answer.bytes.data(), static_cast<int>(answer.bytes.size())));
            if (!assembler_.mayBeReply()) {
                exchange->problem = fmt::format("the answer to the {} begins with other bytes than a reply does", what);
                exchange->meaning = "what listens there is no AC500 with this runtime";
                exchange->next = "look which device has this address and port";
                return false;
            }
            continue;
        }
        if (answer.outcome == ReceiveOutcome::Closed) {
            exchange->problem =
                fmt::format("the connection was closed instead of an answer to the {}: {}", what, answer.reason);
            exchange->meaning = wire::isHandshake(exchange->request.service)
                                    ? "all connections of the PLC are taken, or it is no PLC of this kind"
                                    : "the PLC has restarted, or something in between ends connections";
            exchange->next = "close other programs that use the PLC, then " + settings_.call.doctor();
            return false;
        }
        const auto waited = std::chrono::duration_cast<Milliseconds>(clock_.now() - begin).count();
        if (clock_.now() < end && !settings_.isInterrupted()) {
            continue;
        }
        // The PLC had less time than a reply may take: that says nothing of it.
        if (clock_.now() - begin < settings_.timeout && isCutShort()) {
            exchange->end = End::TimeOver;
            return false;
        }
        const int received = assembler_.received();
        exchange->problem =
            received == 0 ? fmt::format("no answer to the {} within {} ms", what, waited)
                          : fmt::format("{} of {} bytes of the answer to the {} came within {} ms", received,
                                        assembler_.announced() < 0 ? "unknown" : std::to_string(assembler_.announced()),
                                        what, waited);
        exchange->meaning = received == 0
                                ? "the PLC accepts connections and does not answer: it is stopped or overloaded, or "
                                  "something else listens there"
                                : "the answer comes too slowly, or is shorter than its length field says";
        exchange->next = settings_.call.with("--timeout", std::to_string(longerTimeoutMs(settings_.timeout))).doctor();
        return false;
    }
    return true;
}

void PlcExamination::judge(Protocol* frame, Exchange* exchange) {
    const QByteArray reply = assembler_.takeReply();
    exchange->replyBytes = reply.size();
    if (exchange->request.service == wire::Service::Hello) {
        handshakeReplies_.hello = reply.toStdString();
    } else if (exchange->request.service == wire::Service::Symbols) {
        handshakeReplies_.symbols = reply.toStdString();
    }
    const ReplyVerdict verdict = judgeReply(exchange->request, reply);
    if (verdict.verdict == Verdict::Refused) {
        ++figures_.refusals;
        exchange->statusWord = verdict.statusWord;
        giveToDriver(frame, reply);  // it opens a session again before its next read
        exchange->end = End::Refused;
        return;
    }
    if (verdict.verdict != Verdict::Good) {
        exchange->problem = fmt::format("{}: {}", requestText(exchange->request), verdict.text);
        exchange->meaning = "a device in between changes replies, or what answers is no PLC of this kind";
        exchange->next = "look for a gateway in between";
        return;
    }
    if (!giveToDriver(frame, reply)) {
        exchange->problem = fmt::format("the driver takes no answer of {} bytes to the {}", reply.size(),
                                        requestText(exchange->request));
        exchange->meaning = explain::briefOf(explain::Group::Status, kStatusHandshakeRejected);
        exchange->next = "ac500-host explain 201";
        return;
    }
    ++figures_.goodReplies;
    exchange->end = End::Good;
}

// As a host does: once to measure, once to be taken. After a refusal until the driver has given the request up.
bool PlcExamination::giveToDriver(Protocol* frame, QByteArray reply) {
    if (frame->replyLength == kNotMeasured) {
        driver_->takeReply(&reply, reply.size());
    }
    int status = driver_->takeReply(&reply, reply.size())->status;
    for (int turn = 0; status == kStatusPending && turn < kMostTurnsOfARefusal; ++turn) {
        status = driver_->takeReply(&reply, reply.size())->status;
    }
    return isAccepted(status);
}

bool PlcExamination::ranOutOfTime() const {
    return whyNot_ == kTimeOver;
}

// Is it to end now? Says so of all that follows.
bool PlcExamination::isCutShort() {
    if (!settings_.isInterrupted() && !isTimeOver()) {
        return false;
    }
    whyNot_ = settings_.isInterrupted() ? kInterrupted : kTimeOver;
    return true;
}

Milliseconds PlcExamination::waitFrom(Time begin) const {
    const Milliseconds left = std::chrono::ceil<Milliseconds>(std::max(settings_.deadline - begin, Time(0)));
    return std::min(settings_.timeout, left);
}

// ---------------------------------------------------------------------------------------------------------------------
// Lines
// ---------------------------------------------------------------------------------------------------------------------

void PlcExamination::add(Subject subject, Grade grade, const std::string& text, const std::string& meaning,
                         const std::string& next) {
    lines_.push_back({subject, grade, text, meaning, next, {}});
    nextStep_ = grade == Grade::Fail ? next : nextStep_;
}

void PlcExamination::addFailure(Subject subject, const std::string& what, const Exchange& exchange) {
    if (exchange.end == End::TimeOver) {
        addNotTried(subject, what);
    } else if (exchange.end == End::Refused) {
        const explain::Code* known = explain::findCode(explain::Group::PlcStatus, exchange.statusWord);
        const std::string words = known == nullptr ? "" : fmt::format(" ({})", known->brief);
        add(subject, Grade::Fail,
            fmt::format("{}: refused with status word {}{}", what, hexText(exchange.statusWord), words),
            exchange.meaning.empty()
                ? "the PLC understands the request and does not carry it out: the symbols are mostly "
                  "those of another program"
                : exchange.meaning,
            exchange.next.empty() ? "ac500-host explain " + hexText(exchange.statusWord) : exchange.next);
    } else {
        add(subject, Grade::Fail, exchange.problem.empty() ? what : fmt::format("{}: {}", what, exchange.problem),
            exchange.meaning, exchange.next);
    }
}

void PlcExamination::addNotTried(Subject subject, const std::string& what) {
    add(subject, Grade::NotTried, what, whyNot_,
        whyNot_ == kInterrupted ? settings_.call.doctor()
        : whyNot_ == kTimeOver || nextStep_.empty()
            ? settings_.call.with("--within", std::to_string(longerSeconds(settings_.withinSeconds))).doctor()
            : nextStep_);
}

// The usual one, unless that is the one where nobody listens.
std::string PlcExamination::atAnotherPort() const {
    const Endpoint usual{settings_.plc.host, Endpoint().port};
    if (settings_.plc.port != usual.port) {
        return settings_.call.with("--plc", usual.text()).doctor();
    }
    std::string other = usual.text();
    other.replace(other.rfind(':') + 1, std::string::npos, "PORT");
    return settings_.call.with("--plc", other).doctor() + "  # PORT: as the PLC's configuration says";
}

void PlcExamination::addTraffic(TrafficStep::Kind kind, const std::string& bytes) {
    traffic_.push_back({kind, std::chrono::system_clock::now(), bytes});
}

}  // namespace ac500::host
