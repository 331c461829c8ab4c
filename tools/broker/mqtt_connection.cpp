#include "tools/broker/mqtt_connection.h"

#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "tools/broker/reason_text.h"

namespace ac500::broker {

namespace {

// The library looks after its keep-alive when it is called; it reckons in seconds.
constexpr host::Milliseconds kCare{500};
// More than that need not be on its way: the broker's answer comes within a few milliseconds.
constexpr std::size_t kMostInFlight = 20;
// Two clients of one identifier push each other out as fast as they connect.
constexpr host::Milliseconds kMoment{10000};
constexpr int kFirstReasonCode = 128;  // of MQTT 5; below are the library's own
constexpr int kRefused311 = 128;       // the one refusal of a subscription that MQTT 3.1.1 has

// Who is at the other end that ends a connection without a word?
constexpr char kWrongPort[] = "; is that the port of MQTT, with TLS or without as \"servers\" says?";
constexpr char kWrongTls[] =
    "; is that a port with TLS, and does the broker ask for a certificate of this client, or take the one that "
    "\"certificate\" names?";

constexpr char kNoRights[] =
    "; it had acknowledged nothing: may this client publish below \"topic\", and has another the same \"client\"?";
constexpr char kTakenOver[] = " after a moment; has another the same \"client\"?";

// Once in the process, before anything else of the library.
void prepareLibrary() {
    struct Library {
        Library() { mosquitto_lib_init(); }
        ~Library() { mosquitto_lib_cleanup(); }
    };
    static const Library library;
}

class Properties {
public:
    Properties() = default;
    ~Properties() { mosquitto_property_free_all(&list_); }
    Properties(const Properties&) = delete;
    Properties& operator=(const Properties&) = delete;

    void addNumber(int identifier, std::uint32_t value) { mosquitto_property_add_int32(&list_, identifier, value); }
    const mosquitto_property* list() const { return list_; }

private:
    mosquitto_property* list_ = nullptr;
};

std::optional<std::uint32_t> numberIn(const mosquitto_property* properties, int identifier) {
    std::uint32_t value = 0;
    const bool isThere = mosquitto_property_read_int32(properties, identifier, &value, false) != nullptr;
    return isThere ? std::optional<std::uint32_t>(value) : std::nullopt;
}

}  // namespace

// What the library calls, within work().
struct MqttConnection::Hooks {
    static MqttConnection& of(void* self) { return *static_cast<MqttConnection*>(self); }

    static void connected(mosquitto*, void* self, int code, int, const mosquitto_property* properties) {
        of(self).opened(code, properties);
    }
    static void disconnected(mosquitto*, void* self, int code, const mosquitto_property*) {
        of(self).end(of(self).textOf(code));
    }
    static void published(mosquitto*, void* self, int packet, int code, const mosquitto_property*) {
        of(self).acknowledged(packet, code);
    }
    static void subscribed(mosquitto*, void* self, int, int count, const int* granted, const mosquitto_property*) {
        of(self).subscribed(count > 0 ? granted[0] : kRefused311);
    }
    static void arrived(mosquitto*, void* self, const mosquitto_message* message,
                        const mosquitto_property* properties) {
        of(self).arrived(*message, properties);
    }
    static void logged(mosquitto*, void* self, int level, const char* text) {
        if (level == MOSQ_LOG_ERR || level == MOSQ_LOG_WARNING) {
            of(self).complaint_ = text;
        }
    }
};

MqttConnection::MqttConnection(Settings settings, host::Time now)
    : settings_(std::move(settings)),
      begun_(now),
      mosquitto_((prepareLibrary(), mosquitto_new(settings_.client.c_str(), true, this)), mosquitto_destroy),
      now_(now),
      caredAt_(now) {
    if (mosquitto_ == nullptr) {
        end(errno == EINVAL ? "\"" + settings_.client + "\" can be no client identifier; give another \"client\""
                            : std::string("there is no memory for a connection"));
        return;
    }
    if (prepare()) {
        check(mosquitto_connect_bind_async(mosquitto_.get(), settings_.address.c_str(), settings_.server.port,
                                           settings_.keepAliveSeconds, nullptr));
    }
}

MqttConnection::~MqttConnection() = default;

bool MqttConnection::prepare() {
    mosquitto* const to = mosquitto_.get();
    mosquitto_connect_v5_callback_set(to, &Hooks::connected);
    mosquitto_disconnect_v5_callback_set(to, &Hooks::disconnected);
    mosquitto_publish_v5_callback_set(to, &Hooks::published);
    mosquitto_subscribe_v5_callback_set(to, &Hooks::subscribed);
    mosquitto_message_v5_callback_set(to, &Hooks::arrived);
    mosquitto_log_callback_set(to, &Hooks::logged);
    mosquitto_int_option(to, MOSQ_OPT_PROTOCOL_VERSION,
                         settings_.protocol == Protocol::Mqtt5 ? MQTT_PROTOCOL_V5 : MQTT_PROTOCOL_V311);
    mosquitto_int_option(to, MOSQ_OPT_TCP_NODELAY, 1);
    if (!settings_.user.empty() &&
        !check(mosquitto_username_pw_set(to, settings_.user.c_str(), settings_.password.c_str()))) {
        return false;
    }
    if (!settings_.willTopic.empty() &&
        !check(mosquitto_will_set(to, settings_.willTopic.c_str(), static_cast<int>(settings_.will.size()),
                                  settings_.will.data(), 1, true))) {
        return false;
    }
    return !settings_.server.hasTls || prepareTls();
}

bool MqttConnection::prepareTls() {
    std::string problem;
    tls_ = TlsContext::make({settings_.server.host, settings_.ca, settings_.certificate, settings_.key}, &problem);
    if (tls_ == nullptr) {
        end(problem);
        return false;
    }
    // With a context of ours the library checks no names of its own, which would be those of the address.
    return check(mosquitto_int_option(mosquitto_.get(), MOSQ_OPT_SSL_CTX_WITH_DEFAULTS, 0)) &&
           check(mosquitto_void_option(mosquitto_.get(), MOSQ_OPT_SSL_CTX, tls_->context()));
}

int MqttConnection::descriptor() const {
    return isEnded_ ? -1 : mosquitto_socket(mosquitto_.get());
}

short MqttConnection::waitsFor() const {
    if (isEnded_) {
        return 0;
    }
    if (!hasConnected_) {
        return POLLOUT;
    }
    return static_cast<short>(POLLIN | (mosquitto_want_write(mosquitto_.get()) ? POLLOUT : 0));
}

host::Time MqttConnection::whenNext() const {
    if (!hasConnected_) {
        return begun_ + settings_.connectTime;  // the library has nothing to look after yet
    }
    host::Time when = caredAt_ + kCare;
    if (!isOpen_) {
        when = std::min<host::Time>(when, begun_ + settings_.connectTime);
    } else if (!inFlight_.empty()) {
        when = std::min<host::Time>(when, inFlight_.front().sent + settings_.silence);
    }
    return when;
}

void MqttConnection::work(short ready, host::Time now) {
    now_ = now;
    if (!isEnded_ && ready != 0 && !hasConnected_) {
        finishConnecting();
    }
    if (!isEnded_ && hasConnected_ && ready != 0) {
        // Reading also goes on with a TLS handshake.
        check(mosquitto_loop_read(mosquitto_.get(), 1));
        if (!isEnded_ && mosquitto_want_write(mosquitto_.get())) {
            check(mosquitto_loop_write(mosquitto_.get(), 1));
        }
    }
    if (!isEnded_ && hasConnected_ && now - caredAt_ >= kCare) {
        caredAt_ = now;
        check(mosquitto_loop_misc(mosquitto_.get()));
    }
    if (!isEnded_ && !isOpen_ && now - begun_ >= settings_.connectTime) {
        end(hasConnected_ ? std::string("it does not answer as a broker does") + hint()
                          : "it does not answer; is there a broker, and does a firewall let the port through?");
    }
    if (isOpen() && !inFlight_.empty() && now - inFlight_.front().sent >= settings_.silence) {
        end("the broker has acknowledged nothing for " + std::to_string(settings_.silence.count() / 1000) + " s");
    }
}

// The library would take a connection that failed for one that was lost, without a reason.
void MqttConnection::finishConnecting() {
    int error = 0;
    socklen_t size = sizeof error;
    ::getsockopt(descriptor(), SOL_SOCKET, SO_ERROR, &error, &size);
    if (error != 0) {
        end(systemText(error));
        return;
    }
    hasConnected_ = true;
}

std::vector<MqttEvent> MqttConnection::takeEvents() {
    return std::exchange(events_, {});
}

bool MqttConnection::check(int code) {
    if (code == MOSQ_ERR_SUCCESS || code == MOSQ_ERR_CONN_PENDING) {
        return !isEnded_;
    }
    end(textOf(code));
    return false;
}

void MqttConnection::end(const std::string& text) {
    if (isEnded_) {
        return;
    }
    isEnded_ = true;
    MqttEvent event;
    event.kind = MqttEvent::Kind::Ended;
    event.text = text;
    add(std::move(event));
}

// To whom ends a connection without a word.
const char* MqttConnection::hint() const {
    if (isOpen_) {
        return !hasAcknowledged_ ? kNoRights : now_ - *openedAt_ < kMoment ? kTakenOver : "";
    }
    return tls_ != nullptr ? kWrongTls : kWrongPort;
}

std::string MqttConnection::systemText(int error) const {
    const bool isWordless = error == ECONNRESET || error == EPIPE || error == EPROTO;  // EPROTO: an alert of TLS
    return std::string(std::strerror(error)) + (isWordless ? hint() : "");
}

std::string MqttConnection::textOf(int code) const {
    const int error = errno;
    if (tls_ != nullptr && !tls_->refusal().empty()) {
        return tls_->refusal();
    }
    if (code >= kFirstReasonCode) {
        return "the broker has ended the connection: " + reasonText(code);
    }
    switch (code) {
        case MOSQ_ERR_SUCCESS:
            return "the connection was ended";
        case MOSQ_ERR_ERRNO:
            return systemText(error);
        case MOSQ_ERR_TLS:
        case MOSQ_ERR_TLS_HANDSHAKE:
            return "TLS: " + (complaint_.empty() ? "the broker has ended it" : complaint_) + kWrongTls;
        case MOSQ_ERR_KEEPALIVE:
            return "the broker has not answered for " + std::to_string(settings_.keepAliveSeconds) + " s";
        case MOSQ_ERR_CONN_LOST:
            return (isOpen_ ? "the connection was lost" : "it ended the connection before it had answered") +
                   std::string(hint());
        default:
            return mosquitto_strerror(code);
    }
}

void MqttConnection::opened(int code, const mosquitto_property* properties) {
    if (code != 0) {
        end("the broker refuses the connection: " + connectReasonText(settings_.protocol, code));
        return;
    }
    std::uint16_t receiveMaximum = 0;
    if (mosquitto_property_read_int16(properties, MQTT_PROP_RECEIVE_MAXIMUM, &receiveMaximum, false) != nullptr) {
        mostInFlight_ = std::min<std::size_t>(kMostInFlight, receiveMaximum);
    }
    largestPacket_ = numberIn(properties, MQTT_PROP_MAXIMUM_PACKET_SIZE);
    isOpen_ = true;
    openedAt_ = now_;
    MqttEvent event;
    event.kind = MqttEvent::Kind::Connected;
    add(std::move(event));
}

void MqttConnection::acknowledged(int packet, int code) {
    const auto found =
        std::find_if(inFlight_.begin(), inFlight_.end(), [&](const InFlight& one) { return one.packet == packet; });
    if (found == inFlight_.end()) {
        return;
    }
    hasAcknowledged_ = true;
    MqttEvent event;
    event.kind = code >= kFirstReasonCode ? MqttEvent::Kind::Refused : MqttEvent::Kind::Acknowledged;
    event.number = found->number;
    event.code = code;
    event.text = code >= kFirstReasonCode ? reasonText(code) : "";
    inFlight_.erase(found);
    add(std::move(event));
}

void MqttConnection::subscribed(int code) {
    MqttEvent event;
    event.kind = code >= kFirstReasonCode ? MqttEvent::Kind::SubscriptionRefused : MqttEvent::Kind::Subscribed;
    event.code = code;
    // MQTT 3.1.1 has one refusal, which is nearly always for want of rights.
    event.text = code < kFirstReasonCode
                     ? ""
                     : reasonText(settings_.protocol == Protocol::Mqtt5 ? code : MQTT_RC_NOT_AUTHORIZED);
    add(std::move(event));
}

void MqttConnection::arrived(const mosquitto_message& message, const mosquitto_property* properties) {
    MqttEvent event;
    event.kind = MqttEvent::Kind::Arrived;
    event.message.topic = message.topic;
    event.message.payload.assign(static_cast<const char*>(message.payload),
                                 static_cast<std::size_t>(message.payloadlen));
    event.message.isRetained = message.retain;
    event.message.expirySeconds = numberIn(properties, MQTT_PROP_MESSAGE_EXPIRY_INTERVAL);
    add(std::move(event));
}

bool MqttConnection::publish(const Publication& publication, host::Time now, std::string* problem) {
    now_ = now;
    problem->clear();
    Properties properties;
    if (publication.expirySeconds && settings_.protocol == Protocol::Mqtt5) {
        properties.addNumber(MQTT_PROP_MESSAGE_EXPIRY_INTERVAL, *publication.expirySeconds);
    }
    int packet = 0;
    const int code = mosquitto_publish_v5(mosquitto_.get(), &packet, publication.topic.c_str(),
                                          static_cast<int>(publication.payload.size()), publication.payload.data(), 1,
                                          publication.isRetained, properties.list());
    switch (code) {
        case MOSQ_ERR_SUCCESS:
            inFlight_.push_back({packet, publication.number, now});
            return true;
        case MOSQ_ERR_OVERSIZE_PACKET:
        case MOSQ_ERR_PAYLOAD_SIZE:
            *problem = reasonText(MQTT_RC_PACKET_TOO_LARGE);
            return false;
        case MOSQ_ERR_RETAIN_NOT_SUPPORTED:
            *problem = reasonText(MQTT_RC_RETAIN_NOT_SUPPORTED);
            return false;
        case MOSQ_ERR_QOS_NOT_SUPPORTED:
            *problem = reasonText(MQTT_RC_QOS_NOT_SUPPORTED);
            return false;
        case MOSQ_ERR_INVAL:
        case MOSQ_ERR_MALFORMED_UTF8:
            *problem = reasonText(MQTT_RC_TOPIC_NAME_INVALID);
            return false;
        default:
            // What the broker said before it went comes first: it may be why.
            mosquitto_loop_read(mosquitto_.get(), 1);
            check(code);
            return false;
    }
}

// With MQTT 5 the broker says of each message whether it was published as retained, also when it comes at once.
void MqttConnection::subscribe(const std::string& topic) {
    const int options = settings_.protocol == Protocol::Mqtt5 ? MQTT_SUB_OPT_RETAIN_AS_PUBLISHED : 0;
    check(mosquitto_subscribe_v5(mosquitto_.get(), nullptr, topic.c_str(), 1, options, nullptr));
}

void MqttConnection::disconnect() {
    mosquitto_disconnect(mosquitto_.get());
    if (!isEnded_) {
        mosquitto_loop_write(mosquitto_.get(), 1);
    }
    end("the connection was ended");
}

}  // namespace ac500::broker
