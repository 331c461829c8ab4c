#include "tools/broker/broker_settings.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <tuple>
#include <utility>

#include <arpa/inet.h>

#include "tools/selection/pattern.h"
#include "tools/text/address.h"
#include "tools/text/text.h"

namespace ac500::broker {

using host::Milliseconds;
using symbol_file::inQuotes;
using symbol_file::IntegerRange;
using symbol_file::JsonNode;
using symbol_file::JsonValue;
using symbol_file::ObjectReader;
using symbol_file::ProblemList;

namespace {

using OptionalNode = std::optional<JsonNode>;

constexpr std::size_t kMostServers = 16;
constexpr std::size_t kMostEntries = 10000;
constexpr std::size_t kMostRules = 1000;
constexpr std::size_t kLongestTopic = 200;   // bytes; the names of tags come behind it
constexpr std::size_t kLongestClient = 200;  // bytes
constexpr std::int64_t kDayMs = 24 * 60 * 60 * 1000;
constexpr IntegerRange kIntervalRangeMs{0, kDayMs};
constexpr IntegerRange kMessageRange{1024, 16777216};
constexpr IntegerRange kStoreRange{1048576, 1099511627776};
constexpr IntegerRange kMemoryRange{65536, 1073741824};
constexpr IntegerRange kDaysRange{1, 3650};
constexpr IntegerRange kRateRange{1, 100000};
constexpr IntegerRange kKeepAliveRange{5, 65535};

constexpr std::uint16_t kPlainPort = 1883;
constexpr std::uint16_t kTlsPort = 8883;

std::optional<Server> serverOf(const std::string& text) {
    Server server;
    const std::string plain = "mqtt://";
    const std::string tls = "mqtts://";
    server.hasTls = text.compare(0, tls.size(), tls) == 0;
    if (!server.hasTls && text.compare(0, plain.size(), plain) != 0) {
        return std::nullopt;
    }
    const std::string rest = text.substr(server.hasTls ? tls.size() : plain.size());
    const std::optional<text::Address> address = text::parseAddress(rest);
    if (!address || address->port == 0 || rest.find_first_of("/@?#") != std::string::npos) {
        return std::nullopt;
    }
    server.host = address->host;
    server.port = address->port.value_or(server.hasTls ? kTlsPort : kPlainPort);
    return server;
}

// Why a topic cannot begin with this; empty: it can.
std::string problemOfTopic(const std::string& topic) {
    if (topic.empty()) {
        return "is empty; give what all topics begin with, e.g. \"plant/mixer\"";
    }
    if (topic.size() > kLongestTopic) {
        return "is longer than " + std::to_string(kLongestTopic) +
               " bytes; names of tags come behind it, so shorten it";
    }
    if (topic.find_first_of("+#") != std::string::npos) {
        return inQuotes(topic) + " holds + or #, which only subscribers may use; remove it";
    }
    if (topic.front() == '$') {
        return inQuotes(topic) + " begins with $, which brokers keep for themselves; choose another name";
    }
    if (topic.front() == '/' || topic.back() == '/') {
        return inQuotes(topic) + " begins or ends with a slash; remove it";
    }
    for (std::size_t i = 0; i < topic.size(); ++i) {
        if (text::controlBytesAt(topic, i) > 0) {
            return inQuotes(topic) + " holds a control character; remove it";
        }
    }
    return "";
}

class BrokerReader {
public:
    BrokerReader(const JsonNode& node, std::filesystem::path folder, ProblemList* problems)
        : problems_(problems),
          root_(node,
                {"servers", "protocol", "client", "topic", "ca", "certificate", "key", "user", "passwordFile",
                 "plainPassword", "format", "batch", "retained", "tags", "report", "largestMessage", "store",
                 "commands", "keepAlive"},
                problems),
          folder_(std::move(folder)) {}

    BrokerSettings read(const std::string& plc) {
        settings_.client = "ac500-" + plc;
        if (root_.isObject()) {
            readServers();
            readProtocol();
            readNames();
            readLogin();
            readMessages();
            readReport();
            readStore();
            readCommands();
            settings_.keepAliveSeconds = static_cast<int>(integer("keepAlive", kKeepAliveRange, 30));
            checkWhatGoesPlain();
        }
        return std::move(settings_);
    }

private:
    void readServers() {
        const OptionalNode list = root_.require("servers", "name a broker, e.g. [\"mqtts://broker.example:8883\"]");
        const std::vector<JsonNode> nodes = readArray(list, problems_);
        if (list && list->value->kind == JsonValue::Kind::Array && nodes.empty()) {
            problems_->add(*list, "is empty; name a broker, e.g. [\"mqtts://broker.example:8883\"]");
        }
        if (nodes.size() > kMostServers) {
            problems_->add(*list, "has more than " + std::to_string(kMostServers) + " entries; remove some");
        }
        for (const JsonNode& node : nodes) {
            const std::optional<std::string> text = readText(node, problems_);
            const std::optional<Server> server = text ? serverOf(*text) : std::nullopt;
            if (text && !server) {
                problems_->add(node, inQuotes(*text) +
                                         " is no broker; write e.g. \"mqtts://broker.example:8883\", or \"mqtt://...\" "
                                         "for one without TLS");
            } else if (server) {
                settings_.servers.push_back(*server);
                nodes_.push_back(node);
            }
        }
    }

    void readProtocol() {
        const OptionalNode node = root_.find("protocol");
        const std::optional<std::string> text = readText(node, problems_);
        if (!text) {
            return;
        }
        if (*text != "5" && *text != "3.1.1") {
            problems_->add(*node,
                           inQuotes(*text) + " is no version of MQTT that is spoken here; write \"5\" or \"3.1.1\"");
            return;
        }
        settings_.protocol = *text == "5" ? Protocol::Mqtt5 : Protocol::Mqtt311;
    }

    void readNames() {
        const OptionalNode topic = root_.require("topic", "give what all topics begin with, e.g. \"plant/mixer\"");
        if (const std::optional<std::string> text = readText(topic, problems_)) {
            const std::string problem = problemOfTopic(*text);
            if (!problem.empty()) {
                problems_->add(*topic, problem);
            }
            settings_.topic = *text;
        }
        const OptionalNode client = root_.find("client");
        if (const std::optional<std::string> text = readText(client, problems_)) {
            if (text->empty() || text->size() > kLongestClient) {
                problems_->add(*client, "has 1 to " + std::to_string(kLongestClient) +
                                            " bytes; give a name that no other client of the broker has");
            }
            settings_.client = *text;
        }
    }

    void readLogin() {
        settings_.ca = path(root_.find("ca"));
        settings_.certificate = path(root_.find("certificate"));
        settings_.key = path(root_.find("key"));
        if (settings_.certificate.empty() != settings_.key.empty()) {
            const char* missing = settings_.key.empty() ? "key" : "certificate";
            problems_->add(root_.node(),
                           std::string("\"") + missing + "\" is missing; a client's certificate goes with its key");
        }
        const OptionalNode user = root_.find("user");
        settings_.user = readText(user, problems_).value_or("");
        if (user && user->value->kind == JsonValue::Kind::String && settings_.user.empty()) {
            problems_->add(*user, "is empty; give a name, or remove the key");
        }
        const OptionalNode password = root_.find("passwordFile");
        settings_.passwordFile = path(password);
        if (password && !user) {
            problems_->add(*password, "goes with a \"user\"; give one, or remove the key");
        }
        settings_.allowsPlainPassword = boolean("plainPassword");
    }

    void readMessages() {
        const OptionalNode format = root_.find("format");
        if (const std::optional<std::string> text = readText(format, problems_)) {
            if (*text != "json" && *text != "influx") {
                problems_->add(*format, inQuotes(*text) + " is no format; write \"json\" or \"influx\"");
            }
            settings_.format = *text == "influx" ? Format::Influx : Format::Json;
        }
        const OptionalNode batch = root_.find("batch");
        if (const std::optional<std::string> text = readText(batch, problems_)) {
            if (*text != "pass" && *text != "scope" && *text != "tag") {
                problems_->add(*batch, inQuotes(*text) + " is no batch; write \"pass\", \"scope\" or \"tag\"");
            }
            settings_.batch = *text == "tag" ? Batch::Tag : *text == "scope" ? Batch::Scope : Batch::Pass;
        }
        settings_.isRetained = boolean("retained");
        settings_.largestMessage = static_cast<std::size_t>(
            integer("largestMessage", kMessageRange, static_cast<std::int64_t>(settings_.largestMessage)));
        const OptionalNode tags = root_.find("tags");
        settings_.tags = entries(tags);
        if (tags && tags->value->kind == JsonValue::Kind::Array && tags->value->items.empty()) {
            problems_->add(*tags, "is empty; name tags, or remove the key to publish all that are read");
        }
    }

    void readReport() {
        const OptionalNode list = root_.find("report");
        const std::vector<JsonNode> nodes = readArray(list, problems_);
        if (nodes.size() > kMostRules) {
            problems_->add(*list, "has more than " + std::to_string(kMostRules) + " entries; use patterns");
            return;
        }
        for (const JsonNode& node : nodes) {
            const ObjectReader rule(node, {"tags", "deadBand", "smallestInterval", "largestInterval"}, problems_);
            if (rule.isObject()) {
                settings_.report.push_back(ruleOf(rule));
            }
        }
    }

    ReportRule ruleOf(const ObjectReader& from) {
        ReportRule rule;
        const OptionalNode tags = from.require("tags", "name the tags that this is for, e.g. [\"Main\"]");
        rule.tags = entries(tags);
        if (tags && tags->value->kind == JsonValue::Kind::Array && tags->value->items.empty()) {
            problems_->add(*tags, "is empty; name the tags that this is for, e.g. [\"Main\"]");
        }
        const OptionalNode band = from.find("deadBand");
        rule.terms.deadBand = readNumber(band, problems_).value_or(0);
        if (!(rule.terms.deadBand >= 0) || !std::isfinite(rule.terms.deadBand)) {
            problems_->add(*band, "is no dead band; give a number from 0 on, in the unit of the tag");
        }
        rule.terms.smallestInterval = interval(from.find("smallestInterval"));
        const OptionalNode largest = from.find("largestInterval");
        rule.terms.largestInterval = interval(largest);
        if (largest && rule.terms.largestInterval.count() > 0 &&
            rule.terms.largestInterval < rule.terms.smallestInterval) {
            problems_->add(*largest, "is less than \"smallestInterval\"; give more, or 0 for none");
        }
        return rule;
    }

    void readStore() {
        const OptionalNode node = root_.find("store");
        if (!node) {
            return;
        }
        const ObjectReader store(*node, {"file", "bytes", "days", "memory", "backlogRate"}, problems_);
        if (!store.isObject()) {
            return;
        }
        KeepSettings& keep = settings_.keep;
        keep.file = path(store.find("file"));
        keep.bytes = readInteger(store.find("bytes"), kStoreRange, problems_).value_or(keep.bytes);
        keep.memoryBytes = readInteger(store.find("memory"), kMemoryRange, problems_).value_or(keep.memoryBytes);
        keep.backlogRate =
            static_cast<int>(readInteger(store.find("backlogRate"), kRateRange, problems_).value_or(keep.backlogRate));
        if (const std::optional<std::int64_t> days = readInteger(store.find("days"), kDaysRange, problems_)) {
            keep.age = Milliseconds(*days * kDayMs);
        }
        const bool isForFileAlone = store.find("bytes") || store.find("days");
        if (keep.file.empty() && isForFileAlone && !store.find("file")) {
            problems_->add(*node, "\"file\" is missing; give the path of the store, or remove \"bytes\" and \"days\"");
        }
    }

    void readCommands() {
        const OptionalNode node = root_.find("commands");
        if (!node) {
            return;
        }
        const ObjectReader commands(*node, {"tags"}, problems_);
        if (commands.isObject()) {
            settings_.commandTags =
                entries(commands.require("tags", "name the tags that commands may write; each also in \"write.tags\""));
        }
    }

    // A password that goes over a network in plain text is everybody's.
    void checkWhatGoesPlain() {
        bool hasTls = false;
        for (std::size_t i = 0; i < settings_.servers.size(); ++i) {
            const Server& server = settings_.servers[i];
            hasTls = hasTls || server.hasTls;
            if (!settings_.user.empty() && !settings_.allowsPlainPassword && !server.hasTls && !server.isLoopback()) {
                problems_->add(nodes_[i], inQuotes(server.text()) +
                                              " would get user and password in plain text; use mqtts://, or say "
                                              "\"plainPassword\": true");
            }
        }
        const OptionalNode ca = root_.find("ca");
        const OptionalNode of = ca ? ca : root_.find("certificate");
        if (of && !hasTls && !settings_.servers.empty()) {
            problems_->add(*of, "is of use with TLS alone, and no server has it; write mqtts:// in \"servers\"");
        }
    }

    // Empty: it is not given, or wrong.
    std::string path(const OptionalNode& node) {
        const std::optional<std::string> text = readText(node, problems_);
        if (text && text->empty()) {
            problems_->add(*node, "is empty; give a path, or remove the key");
            return {};
        }
        return text ? (folder_ / *text).string() : std::string();
    }

    std::vector<std::string> entries(const OptionalNode& node) {
        std::vector<std::string> found;
        for (const JsonNode& item : readArray(node, problems_)) {
            const std::optional<std::string> text = readText(item, problems_);
            if (text && text->empty()) {
                problems_->add(item, "is empty; remove it");
            } else if (text && text->size() > selection::Pattern::kLongest) {
                problems_->add(
                    item, "is longer than " + std::to_string(selection::Pattern::kLongest) + " bytes; use a pattern");
            } else if (text) {
                found.push_back(*text);
            }
        }
        if (found.size() > kMostEntries) {
            problems_->add(*node, "has more than " + std::to_string(kMostEntries) + " entries; use patterns");
        }
        return found;
    }

    Milliseconds interval(const OptionalNode& node) {
        return Milliseconds(readInteger(node, kIntervalRangeMs, problems_).value_or(0));
    }

    std::int64_t integer(const char* key, IntegerRange range, std::int64_t otherwise) {
        return readInteger(root_.find(key), range, problems_).value_or(otherwise);
    }

    bool boolean(const char* key) { return readBoolean(root_.find(key), problems_).value_or(false); }

    ProblemList* problems_;
    ObjectReader root_;
    const std::filesystem::path folder_;
    BrokerSettings settings_;
    std::vector<JsonNode> nodes_;  // as settings_.servers
};

// What can be taken over while the door is open, and at the next connection at the latest.
template <typename Value>
void note(const char* key, const Value& running, const Value& read, std::vector<std::string>* keys) {
    if (!(running == read)) {
        keys->push_back(std::string("broker.") + key);
    }
}

}  // namespace

bool Server::isLoopback() const {
    in6_addr six{};
    in_addr four{};
    if (inet_pton(AF_INET, host.c_str(), &four) == 1) {
        return (ntohl(four.s_addr) >> 24) == 127;
    }
    if (inet_pton(AF_INET6, host.c_str(), &six) == 1) {
        return IN6_IS_ADDR_LOOPBACK(&six);
    }
    return text::lowerCase(host) == "localhost";
}

std::string Server::text() const {
    return (hasTls ? "mqtts://" : "mqtt://") + text::addressText(host, port);
}

bool operator==(const Server& a, const Server& b) {
    return std::tie(a.host, a.port, a.hasTls) == std::tie(b.host, b.port, b.hasTls);
}

bool operator==(const ReportTerms& a, const ReportTerms& b) {
    return std::tie(a.deadBand, a.smallestInterval, a.largestInterval) ==
           std::tie(b.deadBand, b.smallestInterval, b.largestInterval);
}

bool operator==(const ReportRule& a, const ReportRule& b) {
    return std::tie(a.tags, a.terms) == std::tie(b.tags, b.terms);
}

bool operator==(const KeepSettings& a, const KeepSettings& b) {
    return std::tie(a.file, a.bytes, a.memoryBytes, a.age, a.backlogRate) ==
           std::tie(b.file, b.bytes, b.memoryBytes, b.age, b.backlogRate);
}

const char* protocolName(Protocol protocol) {
    return protocol == Protocol::Mqtt5 ? "5" : "3.1.1";
}

const char* formatName(Format format) {
    return format == Format::Json ? "json" : "influx";
}

const char* batchName(Batch batch) {
    switch (batch) {
        case Batch::Pass:
            return "pass";
        case Batch::Scope:
            return "scope";
        case Batch::Tag:
            return "tag";
    }
    return "";
}

BrokerSettings readBrokerSettings(const JsonNode& node, const std::filesystem::path& folder, const std::string& plc,
                                  ProblemList* problems) {
    return BrokerReader(node, folder, problems).read(plc);
}

SettingsChange compare(const BrokerSettings& running, const BrokerSettings& read) {
    SettingsChange change;
    note("servers", running.servers, read.servers, &change.taken);
    note("ca", running.ca, read.ca, &change.taken);
    note("certificate", running.certificate, read.certificate, &change.taken);
    note("key", running.key, read.key, &change.taken);
    note("user", running.user, read.user, &change.taken);
    note("passwordFile", running.passwordFile, read.passwordFile, &change.taken);
    note("plainPassword", running.allowsPlainPassword, read.allowsPlainPassword, &change.taken);
    change.needsNewConnection = !change.taken.empty();
    note("format", running.format, read.format, &change.taken);
    note("batch", running.batch, read.batch, &change.taken);
    note("retained", running.isRetained, read.isRetained, &change.taken);
    note("tags", running.tags, read.tags, &change.taken);
    note("report", running.report, read.report, &change.taken);
    note("largestMessage", running.largestMessage, read.largestMessage, &change.taken);
    note("store.bytes", running.keep.bytes, read.keep.bytes, &change.taken);
    note("store.days", running.keep.age, read.keep.age, &change.taken);
    note("store.memory", running.keep.memoryBytes, read.keep.memoryBytes, &change.taken);
    note("store.backlogRate", running.keep.backlogRate, read.keep.backlogRate, &change.taken);
    note("commands", running.commandTags, read.commandTags, &change.taken);
    note("protocol", running.protocol, read.protocol, &change.restart);
    note("client", running.client, read.client, &change.restart);
    note("topic", running.topic, read.topic, &change.restart);
    note("store.file", running.keep.file, read.keep.file, &change.restart);
    note("keepAlive", running.keepAliveSeconds, read.keepAliveSeconds, &change.restart);
    return change;
}

BrokerSettings takenOver(const BrokerSettings& running, const BrokerSettings& read) {
    BrokerSettings taken = read;
    taken.protocol = running.protocol;
    taken.client = running.client;
    taken.topic = running.topic;
    taken.keep.file = running.keep.file;
    taken.keepAliveSeconds = running.keepAliveSeconds;
    return taken;
}

std::vector<std::size_t> chosenTags(const std::vector<std::string>& entries, const std::vector<std::string>& names,
                                    const std::string& key, std::vector<std::string>* problems) {
    std::vector<char> isChosen(names.size(), 0);
    for (const std::string& entry : entries) {
        const selection::Pattern pattern(entry);
        bool isFound = false;
        for (std::size_t i = 0; i < names.size(); ++i) {
            if (pattern.matchesWhole(names[i])) {
                isChosen[i] = 1;
                isFound = true;
            }
        }
        if (!isFound) {
            problems->push_back(key + ": " + inQuotes(entry) +
                                " stands for none of the tags that are read; name it in \"tags\", too, or remove it");
        }
    }
    std::vector<std::size_t> chosen;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (isChosen[i] != 0) {
            chosen.push_back(i);
        }
    }
    return chosen;
}

}  // namespace ac500::broker
