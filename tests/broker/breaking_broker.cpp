#include "tests/broker/breaking_broker.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <optional>
#include <string>

#include "tests/support/pace.h"

namespace ac500::test {

namespace {

// CONNACK: fixed header, two bytes, no session is there, accepted
const std::string kAnswer("\x20\x02\x00\x00", 4);

// The same of MQTT 5, without properties.
const std::string kAnswerOfMqtt5("\x20\x03\x00\x00\x00", 5);
const std::string kTaken("\x00", 1);
const std::string kNotAuthorized("\x87", 1);

struct Packet {
    std::size_t end = 0;
    bool isPublication = false;  // with QoS 1
    std::string topic;
    std::string identifier;  // as it was sent
};

// Nothing while it is not there as a whole.
std::optional<Packet> packetAt(const std::string& bytes, std::size_t place) {
    const auto at = [&bytes](std::size_t where) { return static_cast<unsigned char>(bytes.at(where)); };
    std::size_t length = 0;
    std::size_t body = place + 1;
    for (unsigned shift = 0; body < bytes.size(); shift += 7) {
        const unsigned digit = at(body++);
        length |= std::size_t{digit & 0x7f} << shift;
        if (digit < 0x80) {
            if (body + length > bytes.size()) {
                return std::nullopt;
            }
            Packet packet;
            packet.end = body + length;
            packet.isPublication = at(place) >> 4 == 3;
            if (packet.isPublication) {
                const std::size_t topicLength = at(body) * 256u + at(body + 1);
                packet.topic = bytes.substr(body + 2, topicLength);
                packet.identifier = bytes.substr(body + 2 + topicLength, 2);
            }
            return packet;
        }
    }
    return std::nullopt;
}

bool isReadable(int descriptor, int timeoutMs) {
    pollfd wait{descriptor, POLLIN, 0};
    return ::poll(&wait, 1, timeoutMs) == 1;
}

void sendBytes(int connection, const std::string& bytes) {
    (void)!::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

}  // namespace

BreakingBroker::BreakingBroker(BreakingStep step)
    : step_(step), listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address);
    ::listen(listener_, 8);
    ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
}

BreakingBroker::~BreakingBroker() {
    isEnding_ = true;
    thread_.join();
    ::close(listener_);
}

void BreakingBroker::serve() {
    while (!isEnding_) {
        if (isReadable(listener_, 20)) {
            const int connection = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            talk(connection);
            ::close(connection);
            ++broken_;
        }
    }
}

std::string BreakingBroker::received() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return received_;
}

bool BreakingBroker::takeBytes(int connection) {
    char bytes[4096];
    const ssize_t size = ::recv(connection, bytes, sizeof bytes, 0);
    if (size > 0) {
        const std::lock_guard<std::mutex> lock(mutex_);
        received_.append(bytes, static_cast<std::size_t>(size));
    }
    return size > 0;
}

bool BreakingBroker::waitForBytes(int connection) {
    return isReadable(connection, paced(1000)) && takeBytes(connection);
}

void BreakingBroker::takeAllButStatuses(int connection) {
    sendBytes(connection, kAnswerOfMqtt5);
    std::size_t place = received().size();  // behind CONNECT
    int refused = 0;
    while (!isEnding_ && (!isReadable(connection, 20) || takeBytes(connection))) {
        const std::string bytes = received();
        while (const std::optional<Packet> packet = packetAt(bytes, place)) {
            place = packet->end;
            if (packet->isPublication) {
                const bool isRefused = packet->topic.find("/status") != std::string::npos && refused < 2;
                refused += isRefused ? 1 : 0;
                sendBytes(connection, "\x40\x03" + packet->identifier + (isRefused ? kNotAuthorized : kTaken));
            }
        }
    }
}

void BreakingBroker::talk(int connection) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        received_.clear();
    }
    if (step_ == BreakingStep::Accepted || !waitForBytes(connection)) {
        return;
    }
    switch (step_) {
        case BreakingStep::Accepted:
        case BreakingStep::Greeted:
            return;
        case BreakingStep::HalfAnswered:
            sendBytes(connection, kAnswer.substr(0, 2));
            return;
        case BreakingStep::Answered:
            sendBytes(connection, kAnswer);
            return;
        case BreakingStep::Given:
            sendBytes(connection, kAnswer);
            waitForBytes(connection);
            return;
        case BreakingStep::Garbled:
            sendBytes(connection, std::string(64, '\xff'));
            return;
        case BreakingStep::Refusing:
            takeAllButStatuses(connection);
            return;
        case BreakingStep::Silent:
            sendBytes(connection, kAnswer);
            while (!isEnding_ && (!isReadable(connection, 20) || takeBytes(connection))) {
            }
            return;
    }
}

}  // namespace ac500::test
