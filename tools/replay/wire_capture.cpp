#include "tools/replay/wire_capture.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <utility>
#include <variant>

#include "tools/replay/capture_file.h"

namespace ac500::replay {

namespace {

constexpr std::uint16_t kUsualPort = 1201;
constexpr std::size_t kLongestRemark = 1000;
constexpr std::size_t kBytesAtOnce = std::size_t{1} << 20;

// "10.0.0.5:1201", "[::1]:1201"; of a name, the address is not known.
CaptureAddress addressOf(const std::string& text) {
    CaptureAddress address;
    const std::size_t colon = text.rfind(':');
    std::string host = text.substr(0, colon);
    address.port = colon == std::string::npos
                       ? kUsualPort
                       : static_cast<std::uint16_t>(std::strtoul(text.c_str() + colon + 1, nullptr, 10));
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    }
    std::array<char, sizeof(in6_addr)> bytes{};
    if (::inet_pton(AF_INET, host.c_str(), bytes.data()) == 1) {
        address.bytes.assign(bytes.data(), sizeof(in_addr));
    } else if (::inet_pton(AF_INET6, host.c_str(), bytes.data()) == 1) {
        address.bytes.assign(bytes.data(), sizeof(in6_addr));
    }
    return address;
}

// What has to be known before the first packet.
struct Overview {
    std::optional<std::string> plc;  // the first that the host wanted a connection to
    bool hasConnections = false;
};

Overview overviewOf(const EventWalk& events) {
    Overview overview;
    events([&overview](const record::Event& event) {
        const auto* connection = std::get_if<record::Connection>(&event.what);
        if (connection == nullptr) {
            return;
        }
        overview.hasConnections = true;
        if (!overview.plc && connection->step == record::ConnectionStep::Connecting) {
            overview.plc = connection->text;
        }
    });
    return overview;
}

// Else the one of the settings.
CaptureAddress plcOf(const record::RunInfo& run, const Overview& overview) {
    if (overview.plc) {
        return addressOf(*overview.plc);
    }
    const auto setting =
        std::find_if(run.settings.begin(), run.settings.end(), [](const auto& pair) { return pair.first == "plc"; });
    return addressOf(setting == run.settings.end() ? "" : setting->second);
}

class Capturer {
public:
    Capturer(const record::RunInfo& run, const Overview& overview, std::function<void(const std::string&)> write)
        : file_(run.program, plcOf(run, overview)), isOfCalls_(!overview.hasConnections), write_(std::move(write)) {}

    void take(const record::Event& event) {
        if (const auto* connection = std::get_if<record::Connection>(&event.what)) {
            take(event.utcUs, *connection);
        } else if (const auto* note = std::get_if<record::Note>(&event.what)) {
            if (note->kind == record::NoteKind::Failure) {
                file_.remark(note->text.substr(0, kLongestRemark));
            }
        } else if (isOfCalls_) {
            takeCall(event);
        }
        if (file_.content().size() >= kBytesAtOnce) {
            write_(file_.take());
        }
    }

    WireCapture end() {
        write_(file_.take());
        return {file_.connections(), bytesSent_, bytesReceived_};
    }

private:
    void take(UtcMicroseconds time, const record::Connection& connection) {
        switch (connection.step) {
            case record::ConnectionStep::Connecting:
                return;
            case record::ConnectionStep::Connected:
                return file_.connected(time);
            case record::ConnectionStep::NotConnected:
                return connection.text.find("refused") != std::string::npos ? file_.connectionRefused(time)
                                                                            : file_.connectionUnanswered(time);
            case record::ConnectionStep::Sent:
            case record::ConnectionStep::SendFailed:
                return carried(time, Side::Host, connection.bytes);
            case record::ConnectionStep::Received:
                return carried(time, Side::Plc, connection.bytes);
            case record::ConnectionStep::Ended:
                return file_.closed(time, Side::Plc);
            case record::ConnectionStep::Closed:
                return file_.closed(time, Side::Host);
        }
    }

    // A request is offered again and again until it is answered, and each reply is given twice: to be measured first.
    void takeCall(const record::Event& event) {
        if (const auto* next = std::get_if<record::NextRequest>(&event.what)) {
            if (next->frame) {
                carried(event.utcUs, Side::Host, next->frame->frame);
                measured_.reset();
            }
        } else if (const auto* reply = std::get_if<record::TakeReply>(&event.what)) {
            if (measured_ != reply->reply) {
                carried(event.utcUs, Side::Plc, reply->reply);
            }
            measured_ = reply->reply;
        }
    }

    void carried(UtcMicroseconds time, Side from, const record::Bytes& bytes) {
        (from == Side::Host ? bytesSent_ : bytesReceived_) += bytes.size();
        file_.carried(time, from, bytes);
    }

    CaptureFile file_;
    const bool isOfCalls_;
    const std::function<void(const std::string&)> write_;
    std::optional<record::Bytes> measured_;
    std::size_t bytesSent_ = 0;
    std::size_t bytesReceived_ = 0;
};

}  // namespace

WireCapture captureOf(const record::RunInfo& run, const EventWalk& events,
                      const std::function<void(const std::string&)>& write) {
    Capturer capturer(run, overviewOf(events), write);
    events([&capturer](const record::Event& event) { capturer.take(event); });
    return capturer.end();
}

}  // namespace ac500::replay
