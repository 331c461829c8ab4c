#include "tools/broker/reason_text.h"

#include <gtest/gtest.h>

namespace ac500::broker {
namespace {

TEST(ReasonTextTest, ACodeIsToldInWordsWithWhatToDo) {
    EXPECT_EQ(reasonText(135),
              "not authorized (135); give this user or client identifier rights on the topics below \"topic\" in the "
              "broker's list of rights");
    EXPECT_EQ(reasonText(139), "the broker shuts down (139)");
}

TEST(ReasonTextTest, OfALoginTheSameCodeMeansTheLogin) {
    EXPECT_EQ(connectReasonText(Protocol::Mqtt5, 135),
              "not authorized: the login is wrong or missing, or has no right to connect (135); compare \"user\" and "
              "\"passwordFile\" with the broker's list of users");
    EXPECT_EQ(connectReasonText(Protocol::Mqtt311, 5),
              "not authorized: the login is wrong or missing, or has no right to connect (5); compare \"user\" and "
              "\"passwordFile\" with the broker's list of users");
}

TEST(ReasonTextTest, AnOldOrANewBrokerIsToldWithTheProtocolThatItSpeaks) {
    EXPECT_EQ(connectReasonText(Protocol::Mqtt5, 132),
              "the broker does not speak MQTT 5 (132); set \"protocol\" to \"3.1.1\"");
    EXPECT_EQ(connectReasonText(Protocol::Mqtt311, 1),
              "the broker does not speak MQTT 3.1.1 (1); set \"protocol\" to \"5\"");
}

TEST(ReasonTextTest, ACodeWithoutANameStaysANumber) {
    EXPECT_EQ(reasonText(200), "reason 200, which has no name; look into the broker's log");
    EXPECT_EQ(connectReasonText(Protocol::Mqtt311, 9), "reason 9, which has no name; look into the broker's log");
}

// All that MQTT 5 has of CONNACK, PUBACK, SUBACK and DISCONNECT: 128 to 162 without a hole.
TEST(ReasonTextTest, EveryRefusalOfMqttHasAName) {
    for (int code = 128; code <= 162; ++code) {
        EXPECT_EQ(reasonText(code).find("which has no name"), std::string::npos) << code;
    }
}

TEST(ReasonTextTest, WantOfRightsMayEndATooLargePacketStaysTooLarge) {
    EXPECT_FALSE(isForEver(135));
    EXPECT_FALSE(isForEver(151));
    EXPECT_TRUE(isForEver(149));
    EXPECT_TRUE(isForEver(153));
}

}  // namespace
}  // namespace ac500::broker
