// The library for programs, by way of a gateway.
#include <chrono>
#include <functional>
#include <thread>

#include "tests/via/held_gateway.h"
#include "tools/client/ac500_client.h"

namespace ac500 {
namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::StartsWith;
using via::Json;

class ClientViaTest : public test::DoorTest {
protected:
    void openPlc(const char* symbols = nullptr) {
        openDoor();
        ASSERT_EQ(ac500_open(symbols, ("unix:" + path()).c_str(), nullptr, &plc), AC500_OK) << ac500_last_error();
    }
    ~ClientViaTest() override { ac500_close(plc); }

    std::string read(const char* name) const {
        char text[100] = "";
        const ac500_result result = ac500_read_text(plc, name, text, sizeof text);
        return result == AC500_OK ? text : std::string(ac500_result_name(result)) + ": " + ac500_last_error();
    }

    ac500_plc* plc = nullptr;
};

TEST_F(ClientViaTest, ReadsAndWritesWithTheSymbolsOfTheGateway) {
    settings.tags = {"Main.int"};
    openPlc();
    put("Main.int", 12);
    put("Pump.speed", -3);
    EXPECT_EQ(read("Main.int"), "12");
    EXPECT_EQ(read("Pump.speed"), "-3") << "which the gateway does not poll";
    EXPECT_EQ(ac500_write_int64(plc, "Pump.speed", 2), AC500_USAGE) << "its settings do not let it be written";
    EXPECT_THAT(ac500_last_error(), HasSubstr("not written through this gateway"));
    EXPECT_THAT(read("Main.nothing"), StartsWith("name: "));
}

TEST_F(ClientViaTest, AWriteIsDoneAndOneOfAnotherOldValueIsNotSent) {
    openPlc(settings.symbols.c_str());
    EXPECT_EQ(ac500_write_double(plc, "Main.level", 2.5), AC500_OK) << ac500_last_error();
    EXPECT_EQ(read("Main.level"), "2.50 m");
    ac500_tag* tag = nullptr;
    ac500_writes* writes = nullptr;
    ASSERT_EQ(ac500_find_tag(plc, "Main.int", &tag), AC500_OK);
    ASSERT_EQ(ac500_new_writes(plc, &writes), AC500_OK);
    ASSERT_EQ(ac500_add_text(writes, tag, "5"), AC500_OK);
    ASSERT_EQ(ac500_expect_text(writes, 0, "4"), AC500_OK);
    EXPECT_EQ(ac500_send_writes(writes, 0), AC500_REQUEST);
    ac500_write_outcome outcome;
    ASSERT_EQ(ac500_get_outcome(writes, 0, &outcome, sizeof outcome), AC500_OK);
    EXPECT_EQ(outcome.outcome, AC500_NOT_SENT);
    EXPECT_STREQ(outcome.error_text, "not sent: it was 4 when you looked, it is 0 now");
    EXPECT_EQ(ac500_free_writes(writes), AC500_OK);
    EXPECT_EQ(ac500_free_tag(tag), AC500_OK);
}

TEST_F(ClientViaTest, ASubscriptionTellsOfChanges) {
    openPlc();
    put("Main.int", 1);
    const char* name = "Main.int";
    ac500_subscription* subscription = nullptr;
    ASSERT_EQ(ac500_subscribe(plc, &name, 1, AC500_ON_CHANGE, nullptr, nullptr, &subscription), AC500_OK);
    for (const std::int64_t expected : {1, 2, 3}) {
        put("Main.int", static_cast<double>(expected));
        EXPECT_TRUE(test::eventually([&] {
            ac500_values* values = nullptr;
            std::int64_t value = 0;
            const bool isIt = ac500_next_event(subscription, 1000, &values) == AC500_OK &&
                              ac500_get_int64s(values, 0, &value, 1) == AC500_OK && value == expected;
            ac500_free_values(values);
            return isIt;
        })) << expected;
    }
    EXPECT_EQ(ac500_unsubscribe(subscription), AC500_OK);
}

TEST_F(ClientViaTest, AGatewayThatGoesIsToldWithinTheTimeLimit) {
    openPlc();
    EXPECT_EQ(read("Main.int"), "0");
    door->close();
    EXPECT_THAT(read("Main.int"), StartsWith("tcp: "));
    EXPECT_NE(ac500_write_int64(plc, "Main.int", 1), AC500_OK);
    EXPECT_EQ(ac500_close(plc), AC500_OK);
    plc = nullptr;
}

// What a busy machine may add to a time limit.
constexpr std::chrono::milliseconds kGrace(test::paced(1500));

TEST_F(ClientViaTest, AGatewayThatHangsTakesNoLongerThanTheTimeLimit) {
    openDoor();
    const Json hello = test::RawClient(path()).hear();
    const std::string heldPath = folder.path() + "/held.sock";
    test::HeldGateway gateway(heldPath);
    ac500_settings limited{};
    ASSERT_EQ(ac500_settings_init(&limited, sizeof limited), AC500_OK);
    limited.time_limit_ms = 1000;
    std::thread doorman([&] { EXPECT_TRUE(gateway.letIn(hello)); });
    const ac500_result opened = ac500_open(nullptr, ("unix:" + heldPath).c_str(), &limited, &plc);
    doorman.join();
    ASSERT_EQ(opened, AC500_OK) << ac500_last_error();

    const auto took = [](const std::function<void()>& call) {
        const auto begun = std::chrono::steady_clock::now();
        call();
        return std::chrono::steady_clock::now() - begun;
    };
    const auto limit = std::chrono::milliseconds(limited.time_limit_ms) + kGrace;
    const char* name = "Main.int";
    ac500_tag* tag = nullptr;
    EXPECT_LT(took([&] { EXPECT_EQ(ac500_find_tag(plc, name, &tag), AC500_OK) << ac500_last_error(); }), limit);
    ac500_subscription* subscription = nullptr;
    EXPECT_LT(took([&] {
                  EXPECT_EQ(ac500_subscribe(plc, &name, 1, AC500_ON_CHANGE, nullptr, nullptr, &subscription), AC500_OK)
                      << ac500_last_error();
              }),
              limit);
    EXPECT_LT(took([&] {
                  EXPECT_THAT(read(name), AnyOf(HasSubstr("Main.int: not received within 1000 ms"),
                                                HasSubstr("Main.int: the gateway at " + heldPath)));
              }),
              limit);
    EXPECT_LT(took([&] { EXPECT_EQ(ac500_write_int64(plc, name, 1), AC500_TCP); }), limit);
    EXPECT_THAT(ac500_last_error(), StartsWith("Main.int: not sent: the gateway at " + heldPath + " "));
    EXPECT_EQ(ac500_free_tag(tag), AC500_OK);
    EXPECT_EQ(ac500_close(plc), AC500_OK);
    plc = nullptr;
    EXPECT_TRUE(gateway.hear("write").empty());
}

TEST_F(ClientViaTest, AnAddressThatLeadsNowhereSaysWhy) {
    ac500_plc* none = nullptr;
    EXPECT_EQ(ac500_open(nullptr, ("unix:" + path()).c_str(), nullptr, &none), AC500_TCP);
    EXPECT_THAT(ac500_last_error(), StartsWith("no gateway is reached at " + path() + ": No such file or directory; "));
    EXPECT_EQ(ac500_open(nullptr, "unix:", nullptr, &none), AC500_USAGE);
    EXPECT_EQ(ac500_open(nullptr, "127.0.0.1", nullptr, &none), AC500_USAGE);
    EXPECT_EQ(none, nullptr);
}

}  // namespace
}  // namespace ac500
