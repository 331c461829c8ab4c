#include "tools/gateway/gateway_settings.h"

#include <arpa/inet.h>
#include <fmt/format.h>

#include <cstdlib>
#include <filesystem>
#include <tuple>
#include <utility>

#include "tools/settings/settings.h"
#include "tools/settings/settings_file.h"
#include "tools/symbol_file/json_document.h"
#include "tools/symbol_file/json_reader.h"
#include "tools/text/address.h"
#include "tools/text/checksum.h"

namespace ac500::gateway {

using symbol_file::inQuotes;
using symbol_file::IntegerRange;
using symbol_file::JsonNode;
using symbol_file::JsonValue;
using symbol_file::ObjectReader;
using symbol_file::ParsedJson;
using symbol_file::ProblemList;

namespace {

constexpr std::size_t kMostPatterns = 10000;
constexpr std::size_t kLongestSocketPath = 107;  // what the address of a socket holds, but for its end
constexpr IntegerRange kTrendRange{65536, 1073741824};
constexpr IntegerRange kExpiryRangeMs{100, 60000};
constexpr IntegerRange kViewersRange{1, 1000};
constexpr IntegerRange kRecordRange{record::RecorderSettings::kLeastMemoryBytes, 1073741824};
constexpr IntegerRange kRingRange{record::RecorderSettings::kLeastRingBytes, 1099511627776};
constexpr const char* kRecordName = "ac500-gateway.record";

using OptionalNode = std::optional<JsonNode>;

class GatewayReader {
public:
    GatewayReader(const JsonValue& document, std::filesystem::path folder)
        : root_(
              {&document, ""},
              {"$schema",     "version", "name",  "plc",  "symbols", "driver", "cycle",  "timeout", "max-request-words",
               "retry-limit", "tags",    "trend", "page", "write",   "tokens", "socket", "audit",   "handshake",
               "record",      "broker"},
              &problems_),
          folder_(std::move(folder)) {}

    LoadedGatewaySettings read() {
        if (root_.isObject()) {
            readVersion();
            readPlc();
            readTags();
            readRecord();
            readPage();
            readSocket();
            settings_.tokens = path(root_.find("tokens"));
            readBroker();
            checkWhoWrites();
        }
        return {std::move(settings_), problems_.inLineOrder()};
    }

private:
    void readVersion() {
        readText(root_.find("$schema"), &problems_);
        readInteger(root_.find("version"), {kFormatVersion, kFormatVersion}, &problems_);
    }

    void readPlc() {
        PlantSettings& plant = settings_.plant;
        plant.name = readText(root_.find("name"), &problems_).value_or("");
        plant.symbols = path(root_.require("symbols", "give the path of the symbol file"));
        plant.driver = path(root_.find("driver"));
        plant.audit = path(root_.find("audit"));
        plant.handshake = path(root_.find("handshake"));
        readAddressOfPlc(root_.require("plc", "give its address, e.g. \"192.168.0.10:1201\""));
        host::SessionSettings& session = plant.session;
        session.loop.cycle = milliseconds("cycle", settings::kCycleRangeMs, session.loop.cycle);
        session.loop.replyTimeout = milliseconds("timeout", settings::kWaitRangeMs, session.loop.replyTimeout);
        session.loop.connectTimeout = session.loop.replyTimeout;
        session.maxRequestWords = number("max-request-words", settings::kRequestWordsRange, session.maxRequestWords);
        session.retryLimit = number("retry-limit", settings::kRetryRange, session.retryLimit);
    }

    void readAddressOfPlc(const OptionalNode& node) {
        const std::optional<std::string> text = readText(node, &problems_);
        const std::optional<text::Address> parsed = text ? text::parseAddress(*text) : std::nullopt;
        if (text && (!parsed || parsed->port == 0)) {
            problems_.add(*node,
                          inQuotes(*text) + " is no HOST:PORT; write e.g. \"192.168.0.10:1201\" or \"[::1]:1201\"");
        } else if (parsed) {
            host::Endpoint& plc = settings_.plant.session.loop.plc;
            plc.host = parsed->host;
            plc.port = parsed->port.value_or(plc.port);
        }
    }

    void readTags() {
        PlantSettings& plant = settings_.plant;
        const OptionalNode tags = root_.require("tags", "name the tags that are read, e.g. [\"Main\"]");
        plant.tags = patterns(tags);
        if (tags && tags->value->kind == JsonValue::Kind::Array && tags->value->items.empty()) {
            problems_.add(*tags, "is empty, so that there is nothing to read; name tags, e.g. [\"Main\"]");
        }
        if (const OptionalNode node = root_.find("trend")) {
            const ObjectReader trend(*node, {"tags", "bytes"}, &problems_);
            plant.keptTags = patterns(trend.find("tags"));
            plant.trendBytes = static_cast<std::size_t>(readInteger(trend.find("bytes"), kTrendRange, &problems_)
                                                            .value_or(static_cast<std::int64_t>(plant.trendBytes)));
        }
        if (const OptionalNode node = root_.find("write")) {
            const ObjectReader write(*node, {"tags", "expires"}, &problems_);
            writable_ = write.find("tags");
            plant.writableTags = patterns(writable_);
            plant.writeExpires = host::Milliseconds(
                readInteger(write.find("expires"), kExpiryRangeMs, &problems_).value_or(plant.writeExpires.count()));
        }
    }

    // The minutes are kept unless it says otherwise.
    void readRecord() {
        PlantSettings& plant = settings_.plant;
        const char* state = std::getenv("STATE_DIRECTORY");  // where a service may write
        plant.record.saveFile = ((state == nullptr ? folder_ : std::filesystem::path(state)) / kRecordName).string();
        const OptionalNode node = root_.find("record");
        if (!node) {
            return;
        }
        if (node->value->kind == JsonValue::Kind::Boolean && !node->value->boolean) {
            plant.record.memoryBytes = 0;
            return;
        }
        const ObjectReader record(*node, {"memory", "save", "atFailure", "ring", "ringBytes"}, &problems_);
        if (!record.isObject()) {
            return;
        }
        plant.record.memoryBytes =
            static_cast<std::size_t>(readInteger(record.find("memory"), kRecordRange, &problems_)
                                         .value_or(static_cast<std::int64_t>(plant.record.memoryBytes)));
        if (const OptionalNode save = record.find("save")) {
            plant.record.saveFile = path(save);
        }
        plant.savesAtFailure = readBoolean(record.find("atFailure"), &problems_).value_or(false);
        const OptionalNode ring = record.find("ring");
        const OptionalNode ringBytes = record.find("ringBytes");
        plant.record.ringFile = path(ring);
        plant.record.ringBytes = static_cast<std::size_t>(readInteger(ringBytes, kRingRange, &problems_).value_or(0));
        if (ring.has_value() != ringBytes.has_value()) {
            problems_.add(*node, std::string("\"") + (ring ? "ringBytes" : "ring") +
                                     "\" is missing; a ring has a path and a size");
        }
    }

    void readPage() {
        const OptionalNode node = root_.find("page");
        if (!node) {
            return;
        }
        if (node->value->kind == JsonValue::Kind::Boolean && !node->value->boolean) {
            settings_.page.reset();
            return;
        }
        const ObjectReader page(*node, {"listen", "hosts", "certificate", "key", "viewers", "viewersPerAddress"},
                                &problems_);
        if (!page.isObject()) {
            return;
        }
        PageSettings& to = *settings_.page;
        listen_ = page.find("listen");
        readListen(&to);
        to.hosts = hosts(page.find("hosts"));
        to.certificate = path(page.find("certificate"));
        to.key = path(page.find("key"));
        if (to.certificate.empty() != to.key.empty()) {
            const char* missing = to.key.empty() ? "key" : "certificate";
            problems_.add(*node, std::string("\"") + missing + "\" is missing; TLS takes a certificate and its key");
        }
        to.viewers = number(page.find("viewers"), to.viewers);
        to.viewersPerAddress = number(page.find("viewersPerAddress"), to.viewersPerAddress);
    }

    std::vector<std::string> hosts(const OptionalNode& node) {
        std::vector<std::string> hosts;
        for (const JsonNode& each : readArray(node, &problems_)) {
            const std::optional<std::string> host = readText(each, &problems_);
            if (host && !text::parseAddress(*host)) {
                problems_.add(each,
                              inQuotes(*host) + " is no host; write e.g. \"mixer.example\" or \"mixer.example:8500\"");
            } else if (host) {
                hosts.push_back(*host);
            }
        }
        return hosts;
    }

    void readListen(PageSettings* to) {
        const std::optional<std::string> text = readText(listen_, &problems_);
        if (!text) {
            return;
        }
        const std::optional<text::Address> parsed = text::parseAddress(*text);
        if (!parsed || !text::isNumericAddress(parsed->host)) {
            problems_.add(*listen_,
                          inQuotes(*text) + " is no IP:PORT; write e.g. \"127.0.0.1:8500\" or \"[::1]:8500\"");
            return;
        }
        to->address = parsed->host;
        to->port = parsed->port.value_or(to->port);
    }

    void readSocket() {
        const OptionalNode node = root_.find("socket");
        if (!node) {
            return;
        }
        const ObjectReader socket(*node, {"path", "mode"}, &problems_);
        if (!socket.isObject()) {
            return;
        }
        SocketSettings to;
        const OptionalNode path = socket.require("path", "give the path of the socket");
        to.path = this->path(path);
        if (to.path.size() > kLongestSocketPath) {
            problems_.add(*path, "is longer than " + std::to_string(kLongestSocketPath) +
                                     " bytes, which no socket's address holds; choose another folder");
        }
        readMode(socket.find("mode"), &to);
        settings_.socket = to;
    }

    void readMode(const OptionalNode& node, SocketSettings* to) {
        const std::optional<std::string> text = readText(node, &problems_);
        if (!text) {
            return;
        }
        const bool isOctal = (text->size() == 3 || (text->size() == 4 && text->front() == '0')) &&
                             text->find_first_not_of("01234567") == std::string::npos;
        if (!isOctal) {
            problems_.add(*node, inQuotes(*text) + " are no permissions; write e.g. \"0660\"");
            return;
        }
        to->mode = static_cast<unsigned>(std::stoul(*text, nullptr, 8));
    }

    void readBroker() {
        const OptionalNode node = root_.find("broker");
        if (!node) {
            return;
        }
        const PlantSettings& plant = settings_.plant;
        const std::string name = plant.name.empty() ? plant.session.loop.plc.text() : plant.name;
        settings_.broker = broker::readBrokerSettings(*node, folder_, name, &problems_);
        if (!settings_.broker->commandTags.empty() && plant.writableTags.empty()) {
            problems_.add(*node,
                          "commands may write tags that \"write.tags\" names, and it names none; name them there, too");
        }
    }

    bool takesCommands() const { return settings_.broker && !settings_.broker->commandTags.empty(); }

    // A page that others reach has to know them, and so has whatever writes.
    void checkWhoWrites() {
        if (!settings_.tokens.empty()) {
            return;
        }
        if (settings_.page && !settings_.page->isLocal() && listen_) {
            problems_.add(*listen_,
                          "can be reached by other machines; name a file of tokens for those who may look "
                          "(\"tokens\"), or listen on 127.0.0.1");
        }
        if (writable_ && !settings_.plant.writableTags.empty() && !settings_.socket && !takesCommands()) {
            problems_.add(*writable_,
                          "nobody could write these: name a file of tokens (\"tokens\") for the page, a \"socket\" "
                          "for programs, or tags that commands may write (\"broker.commands\")");
        }
    }

    // Empty: it is not given, or wrong.
    std::string path(const OptionalNode& node) {
        const std::optional<std::string> text = readText(node, &problems_);
        if (text && text->empty()) {
            problems_.add(*node, "is empty; give a path, or remove the key");
            return {};
        }
        return text ? (folder_ / *text).string() : std::string();
    }

    std::vector<std::string> texts(const OptionalNode& node) {
        std::vector<std::string> found;
        for (const JsonNode& item : readArray(node, &problems_)) {
            const std::optional<std::string> text = readText(item, &problems_);
            if (text && text->empty()) {
                problems_.add(item, "is empty; remove it");
            } else if (text) {
                found.push_back(*text);
            }
        }
        return found;
    }

    std::vector<std::string> patterns(const OptionalNode& node) {
        std::vector<std::string> found = texts(node);
        if (found.size() > kMostPatterns) {
            problems_.add(*node, "has more than " + std::to_string(kMostPatterns) + " entries; use patterns");
        }
        return found;
    }

    int number(const char* key, settings::SettingRange range, int otherwise) {
        return static_cast<int>(
            readInteger(root_.find(key), {range.smallest, range.largest}, &problems_).value_or(otherwise));
    }

    int number(const OptionalNode& node, int otherwise) {
        return static_cast<int>(readInteger(node, kViewersRange, &problems_).value_or(otherwise));
    }

    host::Milliseconds milliseconds(const char* key, settings::SettingRange range, host::Milliseconds otherwise) {
        return host::Milliseconds(
            readInteger(root_.find(key), {range.smallest, range.largest}, &problems_).value_or(otherwise.count()));
    }

    ProblemList problems_;  // before root_, which reports to it
    ObjectReader root_;
    const std::filesystem::path folder_;
    GatewaySettings settings_;
    OptionalNode listen_;
    OptionalNode writable_;
};

}  // namespace

bool operator==(const PageSettings& a, const PageSettings& b) {
    return std::tie(a.address, a.port, a.hosts, a.certificate, a.key, a.viewers, a.viewersPerAddress) ==
           std::tie(b.address, b.port, b.hosts, b.certificate, b.key, b.viewers, b.viewersPerAddress);
}

bool operator==(const SocketSettings& a, const SocketSettings& b) {
    return std::tie(a.path, a.mode) == std::tie(b.path, b.mode);
}

bool PageSettings::isLocal() const {
    in6_addr six{};
    in_addr four{};
    if (inet_pton(AF_INET, address.c_str(), &four) == 1) {
        return (ntohl(four.s_addr) >> 24) == 127;
    }
    return inet_pton(AF_INET6, address.c_str(), &six) == 1 && IN6_IS_ADDR_LOOPBACK(&six);
}

LoadedGatewaySettings loadGatewaySettings(const std::string& fileName) {
    LoadedGatewaySettings loaded;
    const std::optional<std::string> content = settings::readSettingsFile(fileName, &loaded.problems);
    return content ? parseGatewaySettings(*content, std::filesystem::path(fileName).parent_path().string()) : loaded;
}

LoadedGatewaySettings parseGatewaySettings(const std::string& text, const std::string& folder) {
    ParsedJson parsed = symbol_file::parseJson(text);
    if (!parsed.problems.empty()) {
        return {GatewaySettings(), std::move(parsed.problems)};
    }
    LoadedGatewaySettings loaded = GatewayReader(parsed.root, folder).read();
    text::Fnv1a hash;
    hash.add(text);
    loaded.settings.hash = fmt::format("{:016x}", hash.value());
    return loaded;
}

broker::SettingsChange compare(const GatewaySettings& running, const GatewaySettings& read) {
    broker::SettingsChange change;
    if (running.broker && read.broker) {
        change = compare(*running.broker, *read.broker);
    } else if (running.broker || read.broker) {
        change.restart.emplace_back("broker");
    }
    const auto note = [&change](const char* key, bool isSame) {
        if (!isSame) {
            change.restart.emplace_back(key);
        }
    };
    const PlantSettings& a = running.plant;
    const PlantSettings& b = read.plant;
    const host::LoopSettings& loopA = a.session.loop;
    const host::LoopSettings& loopB = b.session.loop;
    note("name", a.name == b.name);
    note("plc", loopA.plc.text() == loopB.plc.text());
    note("symbols", a.symbols == b.symbols);
    note("driver", a.driver == b.driver);
    note("cycle", loopA.cycle == loopB.cycle);
    note("timeout", loopA.replyTimeout == loopB.replyTimeout);
    note("max-request-words", a.session.maxRequestWords == b.session.maxRequestWords);
    note("retry-limit", a.session.retryLimit == b.session.retryLimit);
    note("handshake", a.handshake == b.handshake);
    note("tags", a.tags == b.tags);
    note("trend.tags", a.keptTags == b.keptTags);
    note("trend.bytes", a.trendBytes == b.trendBytes);
    note("write.tags", a.writableTags == b.writableTags);
    note("write.expires", a.writeExpires == b.writeExpires);
    note("audit", a.audit == b.audit);
    note("tokens", running.tokens == read.tokens);
    note("page", running.page == read.page);
    note("socket", running.socket == read.socket);
    return change;
}

}  // namespace ac500::gateway
