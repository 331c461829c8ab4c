// What brokers answer by number, in words, with what to do about it.
#ifndef AC500_TOOLS_BROKER_REASON_TEXT_H
#define AC500_TOOLS_BROKER_REASON_TEXT_H

#include <string>

#include "tools/broker/broker_settings.h"

namespace ac500::broker {

// Of the reply to CONNECT: a return code of MQTT 3.1.1, or a reason code of MQTT 5.
std::string connectReasonText(Protocol protocol, int code);
// A reason code of MQTT 5, as in PUBACK, SUBACK and DISCONNECT.
std::string reasonText(int code);
// Will the broker refuse the same message again, whenever it comes?
bool isForEver(int code);

}  // namespace ac500::broker

#endif
