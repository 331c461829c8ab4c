#include "tools/broker/mqtt_client.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace ac500::broker {

namespace {

constexpr std::size_t kLongestPassword = 4096;

short readinessOf(const std::vector<pollfd>& waits, int descriptor) {
    const auto found =
        std::find_if(waits.begin(), waits.end(), [&](const pollfd& one) { return one.fd == descriptor; });
    return found == waits.end() ? short{0} : found->revents;
}

}  // namespace

std::optional<std::string> readPassword(const std::string& path, std::string* problem) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat facts {};
    if (file < 0 || ::fstat(file, &facts) != 0) {
        *problem = path + ": " + std::strerror(errno);
        if (file >= 0) {
            ::close(file);
        }
        return std::nullopt;
    }
    if (!S_ISREG(facts.st_mode) || (facts.st_mode & 077) != 0) {
        *problem = path + ": others can read this password, or it is no file; chmod 600 it";
        ::close(file);
        return std::nullopt;
    }
    std::string text(kLongestPassword, '\0');
    const ssize_t size = ::read(file, text.data(), text.size());
    const int error = errno;
    ::close(file);
    if (size < 0) {
        *problem = path + ": " + std::strerror(error);
        return std::nullopt;
    }
    text.resize(static_cast<std::size_t>(size));
    text.resize(std::min(text.find_first_of("\r\n"), text.size()));
    return text;
}

MqttClient::Settings MqttClient::settingsOf(const BrokerSettings& settings) {
    Settings of;
    of.servers = settings.servers;
    of.protocol = settings.protocol;
    of.client = settings.client;
    of.ca = settings.ca;
    of.certificate = settings.certificate;
    of.key = settings.key;
    of.user = settings.user;
    of.passwordFile = settings.passwordFile;
    of.keepAliveSeconds = settings.keepAliveSeconds;
    return of;
}

MqttClient::MqttClient(Settings settings)
    : settings_(std::move(settings)), pause_(settings_.pause), pauseEnds_(host::Time(0)) {}

MqttClient::~MqttClient() = default;

void MqttClient::setSettings(Settings settings) {
    nextSettings_ = std::move(settings);
}

void MqttClient::reconnect(host::Time now) {
    connection_.reset();
    lookup_.reset();
    addresses_.clear();
    if (nextSettings_) {
        settings_ = *std::exchange(nextSettings_, std::nullopt);
    }
    server_ = 0;
    pauseEnds_ = now;
}

void MqttClient::giveUp(host::Time now) {
    if (connection_ != nullptr) {
        noteDuration(now);
        connection_.reset();
        pauseBeforeNext(now);
    }
}

void MqttClient::disconnect() {
    if (isConnected()) {
        connection_->disconnect();
    }
    connection_.reset();
    lookup_.reset();
    pauseEnds_.reset();
    isOver_ = true;
}

void MqttClient::addWaits(std::vector<pollfd>* waits) const {
    if (connection_ != nullptr && connection_->descriptor() >= 0) {
        waits->push_back({connection_->descriptor(), connection_->waitsFor(), 0});
    }
    if (lookup_ != nullptr && lookup_->descriptor() >= 0) {
        waits->push_back({lookup_->descriptor(), POLLIN, 0});
    }
}

std::optional<host::Time> MqttClient::whenNext() const {
    if (connection_ != nullptr) {
        return connection_->isEnded() ? host::Time(0) : connection_->whenNext();
    }
    if (lookup_ != nullptr) {
        return lookup_->isDone() ? std::optional<host::Time>(host::Time(0)) : std::nullopt;
    }
    return pauseEnds_;
}

void MqttClient::work(const std::vector<pollfd>& waits, host::Time now) {
    if (isOver_) {
        return;
    }
    if (pauseEnds_ && now >= *pauseEnds_) {
        pauseEnds_.reset();
        beginLookup();
    }
    if (lookup_ != nullptr && lookup_->isDone()) {
        const AddressLookup::Answer answer = lookup_->answer();
        lookup_.reset();
        addresses_.assign(answer.addresses.rbegin(), answer.addresses.rend());
        if (addresses_.empty()) {
            fail("the address of " + server().host + " cannot be found: " + answer.problem, now);
        } else {
            tryAddress(now);
        }
    } else if (connection_ != nullptr) {
        connection_->work(readinessOf(waits, connection_->descriptor()), now);
    }
    takeFrom(now);
}

void MqttClient::beginLookup() {
    if (nextSettings_) {
        const bool isSameList = nextSettings_->servers == settings_.servers;
        settings_ = *std::exchange(nextSettings_, std::nullopt);
        server_ = isSameList ? server_ : 0;
    }
    lookup_ = std::make_unique<AddressLookup>(server().host);
}

// REQUIRES: there is an address to try
void MqttClient::tryAddress(host::Time now) {
    MqttConnection::Settings to;
    to.server = server();
    to.address = addresses_.back();
    to.protocol = settings_.protocol;
    to.client = settings_.client;
    to.ca = settings_.ca;
    to.certificate = settings_.certificate;
    to.key = settings_.key;
    to.user = settings_.user;
    to.keepAliveSeconds = settings_.keepAliveSeconds;
    to.willTopic = settings_.willTopic;
    to.will = settings_.will;
    to.connectTime = settings_.connectTime;
    to.silence = settings_.silence;
    addresses_.pop_back();
    if (!settings_.passwordFile.empty()) {
        std::string problem;
        const std::optional<std::string> password = readPassword(settings_.passwordFile, &problem);
        if (!password) {
            fail(problem, now);
            return;
        }
        to.password = *password;
    }
    connection_ = std::make_unique<MqttConnection>(std::move(to), now);
}

// What the connection tells, until it has told its end.
void MqttClient::takeFrom(host::Time now) {
    while (connection_ != nullptr) {
        std::vector<MqttEvent> events = connection_->takeEvents();
        if (events.empty()) {
            return;
        }
        for (MqttEvent& event : events) {
            if (event.kind == MqttEvent::Kind::Ended) {
                const bool wasOpen = connection_->openedAt().has_value();
                noteDuration(now);
                connection_.reset();
                if (!wasOpen && !addresses_.empty()) {
                    tryAddress(now);
                } else {
                    fail(event.text, now);
                }
                break;
            }
            connections_ += event.kind == MqttEvent::Kind::Connected ? 1 : 0;
            events_.push_back(std::move(event));
        }
    }
}

void MqttClient::fail(const std::string& text, host::Time now) {
    MqttEvent event;
    event.kind = MqttEvent::Kind::Ended;
    event.text = server().text() + ": " + text;
    events_.push_back(std::move(event));
    pauseBeforeNext(now);
}

void MqttClient::pauseBeforeNext(host::Time now) {
    addresses_.clear();
    server_ = (server_ + 1) % settings_.servers.size();
    pauseEnds_ = now + pause_.next();
}

void MqttClient::noteDuration(host::Time now) {
    if (connection_->openedAt()) {
        pause_.connectionLasted(std::chrono::duration_cast<host::Milliseconds>(now - *connection_->openedAt()));
    }
}

std::vector<MqttEvent> MqttClient::takeEvents() {
    return std::exchange(events_, {});
}

}  // namespace ac500::broker
