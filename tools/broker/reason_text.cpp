#include "tools/broker/reason_text.h"

#include <algorithm>
#include <array>

namespace ac500::broker {

namespace {

struct ReasonRow {
    int code;
    const char* meaning;
    const char* advice;  // empty: there is nothing to do but to wait
};

constexpr const char* kLookIntoLog = "look into the broker's log";
constexpr const char* kLoginAdvice = "compare \"user\" and \"passwordFile\" with the broker's list of users";
constexpr const char* kRightsAdvice =
    "give this user or client identifier rights on the topics below \"topic\" in the broker's list of rights";

constexpr std::array<ReasonRow, 5> kConnectReasons311{{
    {1, "the broker does not speak MQTT 3.1.1", "set \"protocol\" to \"5\""},
    {2, "the broker does not take this client identifier", "give another \"client\""},
    {3, "the broker is there, and not available", ""},
    {4, "user or password is wrong", kLoginAdvice},
    {5, "not authorized: the login is wrong or missing, or has no right to connect", kLoginAdvice},
}};

constexpr std::array<ReasonRow, 36> kReasons{{
    {16, "nobody has subscribed", ""},
    {128, "unspecified error", kLookIntoLog},
    {129, "malformed packet", kLookIntoLog},
    {130, "protocol error", kLookIntoLog},
    {131, "the broker has a reason of its own", kLookIntoLog},
    {132, "the broker does not speak MQTT 5", "set \"protocol\" to \"3.1.1\""},
    {133, "the broker does not take this client identifier", "give another \"client\""},
    {134, "user or password is wrong", kLoginAdvice},
    {135, "not authorized", kRightsAdvice},
    {136, "the broker is not available", ""},
    {137, "the broker is busy", ""},
    {138, "this client is banned", "ask who runs the broker"},
    {139, "the broker shuts down", ""},
    {140, "bad authentication method", kLookIntoLog},
    {141, "the broker heard nothing for too long", ""},
    {142, "another client with this identifier has connected", "give each gateway its own \"client\""},
    {143, "the broker does not take the topic of a subscription", "give another \"topic\""},
    {144, "the broker does not take the name of a topic", "give another \"topic\""},
    {145, "the number of a packet is in use", kLookIntoLog},
    {146, "the number of a packet is not known", kLookIntoLog},
    {147, "more messages at once than the broker takes", kLookIntoLog},
    {148, "a topic alias is not valid", kLookIntoLog},
    {149, "the packet is larger than the broker takes",
     "raise the broker's limit, or publish by scope or tag (\"batch\")"},
    {150, "messages come too fast for the broker", "give \"report\" larger dead bands or intervals"},
    {151, "a quota of the broker is exceeded", "raise the broker's limit"},
    {152, "somebody who runs the broker has ended the connection", "ask who runs the broker"},
    {153, "the broker does not take the form of the payload", kLookIntoLog},
    {154, "the broker does not keep messages (retain)",
     "set \"retained\" to false, and let the broker keep the status"},
    {155, "the broker does not take QoS 1", "use a broker that does"},
    {156, "another broker is to be used", "change \"servers\""},
    {157, "the broker has moved", "change \"servers\""},
    {158, "shared subscriptions are not supported", kLookIntoLog},
    {159, "connections come too fast for the broker", ""},
    {160, "the connection has lasted as long as the broker allows", ""},
    {161, "subscription identifiers are not supported", kLookIntoLog},
    {162, "wildcard subscriptions are not supported", kLookIntoLog},
}};

template <std::size_t size>
std::string textIn(const std::array<ReasonRow, size>& rows, int code) {
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const ReasonRow& one) { return one.code == code; });
    if (row == rows.end()) {
        return "reason " + std::to_string(code) + ", which has no name; " + kLookIntoLog;
    }
    const std::string advice = row->advice;
    return std::string(row->meaning) + " (" + std::to_string(code) + ")" + (advice.empty() ? "" : "; " + advice);
}

}  // namespace

std::string reasonText(int code) {
    return textIn(kReasons, code);
}

bool isForEver(int code) {
    constexpr int kTopicNameInvalid = 144;
    constexpr int kPacketTooLarge = 149;
    constexpr int kPayloadFormatInvalid = 153;
    return code == kTopicNameInvalid || code == kPacketTooLarge || code == kPayloadFormatInvalid;
}

std::string connectReasonText(Protocol protocol, int code) {
    if (protocol == Protocol::Mqtt311) {
        return textIn(kConnectReasons311, code);
    }
    // Of a login, not of rights on topics.
    return code == 135
               ? std::string("not authorized: the login is wrong or missing, or has no right to connect (135); ") +
                     kLoginAdvice
               : reasonText(code);
}

}  // namespace ac500::broker
