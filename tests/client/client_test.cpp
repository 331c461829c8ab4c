// Opening, browsing, reading and writing.

#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

#include "tests/client/client_plant.h"
#include "tests/client/plain_c.h"

namespace ac500::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StrEq;

TEST_F(ClientTest, AProgramInPlainCReads) {
    simulator.write(1, 4, std::string("\x00\x2A", 2));
    double value = 0;
    ASSERT_EQ(plain_c_read(file.path(), addressOf(simulator).c_str(), &settings, "Main.int", &value), AC500_OK)
        << error();
    EXPECT_EQ(value, 42.0);
}

TEST_F(ClientTest, ValuesOfEveryKindGoThereAndBack) {
    open();
    EXPECT_EQ(ac500_write_bool(plc, "Main.on", 1), AC500_OK) << error();
    EXPECT_EQ(ac500_write_int64(plc, "Main.sint", -128), AC500_OK) << error();
    EXPECT_EQ(ac500_write_uint64(plc, "Main.word", 0xBEEF), AC500_OK) << error();
    EXPECT_EQ(ac500_write_double(plc, "Main.int", -7), AC500_OK) << error();
    EXPECT_EQ(ac500_write_int64(plc, "Main.lint", std::numeric_limits<std::int64_t>::min()), AC500_OK) << error();
    EXPECT_EQ(ac500_write_uint64(plc, "Main.ulint", std::numeric_limits<std::uint64_t>::max()), AC500_OK) << error();
    EXPECT_EQ(ac500_write_double(plc, "Main.real", 0.1), AC500_OK) << error();
    EXPECT_EQ(ac500_write_double(plc, "Main.lreal", 0.1), AC500_OK) << error();
    EXPECT_EQ(ac500_write_string(plc, "Main.name", "pump, \"1\""), AC500_OK) << error();
    EXPECT_EQ(ac500_write_text(plc, "Main.time", "T#1m30s"), AC500_OK) << error();
    EXPECT_EQ(ac500_write_int64(plc, "Main.moment", 1700000000), AC500_OK) << error();
    EXPECT_EQ(ac500_write_double(plc, "Main.level", 2.5), AC500_OK) << error();
    EXPECT_EQ(ac500_write_text(plc, "Main.mode", "automatic"), AC500_OK) << error();
    EXPECT_EQ(ac500_write_bool(plc, "Main.word.0", 0), AC500_OK) << error();

    EXPECT_EQ(inPlc(0, 6), "0180BEEEFFF9");
    EXPECT_EQ(inPlc(16, 8), "8000000000000000");
    EXPECT_EQ(inPlc(24, 8), "FFFFFFFFFFFFFFFF");
    EXPECT_EQ(inPlc(32, 4), "3DCCCCCD");
    EXPECT_EQ(inPlc(40, 8), "3FB999999999999A");
    EXPECT_EQ(inPlc(50, 10), "70756D702C2022312200");
    EXPECT_EQ(inPlc(64, 4), "00015F90");
    EXPECT_EQ(inPlc(68, 4), "6553F100");
    EXPECT_EQ(inPlc(72, 3), "015E02");

    std::int32_t truth = 0;
    EXPECT_EQ(ac500_read_bool(plc, "Main.on", &truth), AC500_OK) << error();
    EXPECT_EQ(truth, 1);
    std::int64_t whole = 0;
    EXPECT_EQ(ac500_read_int64(plc, "Main.lint", &whole), AC500_OK) << error();
    EXPECT_EQ(whole, std::numeric_limits<std::int64_t>::min());
    std::uint64_t natural = 0;
    EXPECT_EQ(ac500_read_uint64(plc, "Main.ulint", &natural), AC500_OK) << error();
    EXPECT_EQ(natural, 18446744073709551615U);
    double number = 0;
    EXPECT_EQ(ac500_read_double(plc, "Main.level", &number), AC500_OK) << error();
    EXPECT_EQ(number, 2.5);
    EXPECT_EQ(ac500_read_double(plc, "Main.real", &number), AC500_OK) << error();
    EXPECT_EQ(number, 0.100000001490116119384765625);
    char string[10] = "";
    EXPECT_EQ(ac500_read_string(plc, "Main.name", string, sizeof string), AC500_OK) << error();
    EXPECT_STREQ(string, "pump, \"1\"");
    EXPECT_EQ(text("Main.level"), "2.50 m");
    EXPECT_EQ(text("Main.mode"), "automatic");
    EXPECT_EQ(text("Main.time"), "T#1m30s");
}

TEST_F(ClientTest, ManyAtOnceComeInTheirOrderWithStateAndAge) {
    simulator.write(1, 80, std::string("\x00\x01\x00\x02\x00\x03", 6));
    simulator.write(1, 64, std::string("\x00\x00\x03\xE8", 4));
    open();
    const auto before =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
            .count();
    const char* const names[] = {"Main.recipe[1..3]", "Main.time", "Main.recipe[2]", "Main.time", "Main.names"};
    ac500_values* values = nullptr;
    ASSERT_EQ(ac500_read(plc, names, 5, &values), AC500_OK) << error();
    ASSERT_EQ(ac500_values_count(values), 5u);
    std::int64_t recipe[3] = {};
    EXPECT_EQ(ac500_get_int64s(values, 0, recipe, 3), AC500_OK) << error();
    EXPECT_THAT(recipe, ElementsAre(1, 2, 3));
    std::int64_t nanoseconds = 0;
    EXPECT_EQ(ac500_get_nanoseconds(values, 3, &nanoseconds, 1), AC500_OK) << error();
    EXPECT_EQ(nanoseconds, 1000000000);
    double number = 0;
    EXPECT_EQ(ac500_get_doubles(values, 2, &number, 1), AC500_OK) << error();
    EXPECT_EQ(number, 2.0);
    const char* strings[3] = {};
    EXPECT_EQ(ac500_get_strings(values, 4, strings, 3), AC500_OK) << error();
    EXPECT_THAT(strings, ElementsAre(StrEq(""), StrEq(""), StrEq("")));
    const ac500_value_info info = infoOf(values, 0);
    EXPECT_STREQ(info.name, "Main.recipe[1..3]");
    EXPECT_EQ(info.state, AC500_FRESH);
    EXPECT_EQ(info.kind, AC500_KIND_INT64);
    EXPECT_EQ(info.elements, 3);
    EXPECT_EQ(info.is_list, 1);
    EXPECT_EQ(info.is_known, 1);
    EXPECT_EQ(info.error, AC500_OK);
    EXPECT_GE(info.age_ms, 0);
    EXPECT_LT(info.age_ms, paced(5000));
    EXPECT_GE(info.received_unix_ms, before - 1);
    EXPECT_LT(info.received_unix_ms, before + paced(5000));
    EXPECT_EQ(ac500_free_values(values), AC500_OK);
    EXPECT_EQ(ac500_free_values(values), AC500_USAGE);
    EXPECT_THAT(error(), HasSubstr("this is no set of values"));
}

TEST_F(ClientTest, AThousandElementsByName) {
    open();
    std::vector<std::string> texts;
    std::vector<const char*> names;
    for (int i = 1; i <= 1000; ++i) {
        texts.push_back("Main.many[" + std::to_string(i) + "]");
    }
    for (const std::string& name : texts) {
        names.push_back(name.c_str());
    }
    simulator.write(1, 4000 + 2 * 999, std::string("\x03\xE8", 2));
    ac500_values* values = nullptr;
    ASSERT_EQ(ac500_read(plc, names.data(), names.size(), &values), AC500_OK) << error();
    std::int64_t last = 0;
    EXPECT_EQ(ac500_get_int64s(values, 999, &last, 1), AC500_OK) << error();
    EXPECT_EQ(last, 1000);
    EXPECT_EQ(ac500_free_values(values), AC500_OK);
}

TEST_F(ClientTest, WhatDoesNotFitIsRefusedAndNotSent) {
    open();
    ASSERT_EQ(ac500_wait_online(plc, 10000), AC500_OK) << error();
    EXPECT_EQ(ac500_write_int64(plc, "Main.sint", 128), AC500_USAGE);
    EXPECT_EQ(error(), "Main.sint: 128 does not fit into SINT: -128 to 127");
    EXPECT_EQ(ac500_write_double(plc, "Main.int", 0.5), AC500_USAGE);
    EXPECT_EQ(error(), "Main.int: INT takes whole numbers");
    EXPECT_EQ(ac500_write_int64(plc, "Main.int", 1001), AC500_USAGE);
    EXPECT_THAT(error(), HasSubstr("1000"));
    EXPECT_EQ(ac500_write_int64(plc, "Main.fixed", 1), AC500_USAGE);
    EXPECT_THAT(error(), HasSubstr("read-only"));
    EXPECT_EQ(ac500_write_string(plc, "Main.int", "1"), AC500_USAGE);
    EXPECT_EQ(ac500_write_int64(plc, "Main.name", 1), AC500_USAGE);
    EXPECT_EQ(ac500_write_string(plc, "Main.name", "eleven char"), AC500_USAGE);
    EXPECT_EQ(ac500_write_bool(plc, "Main.on", 2), AC500_USAGE);
    EXPECT_EQ(ac500_write_double(plc, "Main.real", 1e300), AC500_USAGE);
    EXPECT_EQ(ac500_write_double(plc, "Main.real", std::nan("")), AC500_USAGE);
    EXPECT_THAT(error(), HasSubstr("AC500_ALLOW_NOT_FINITE"));
    EXPECT_EQ(ac500_write_int64(plc, "Main.recipe", 1), AC500_USAGE);
    EXPECT_EQ(error(), "Main.recipe: it has 10 element(s), not 1");
    EXPECT_EQ(ac500_write_int64(plc, "Main.nothing", 1), AC500_NAME);
    EXPECT_EQ(simulator.counters().writes, 0u);
}

TEST_F(ClientTest, ANumberThatIsTooLargeForWhatIsAskedIsNotGiven) {
    simulator.write(1, 24, std::string(8, '\xFF'));
    open();
    std::int64_t whole = 7;
    EXPECT_EQ(ac500_read_int64(plc, "Main.ulint", &whole), AC500_USAGE);
    EXPECT_EQ(whole, 7);
    std::int32_t truth = 7;
    EXPECT_EQ(ac500_read_bool(plc, "Main.int", &truth), AC500_USAGE);
    EXPECT_EQ(truth, 7);
    char small[3] = "ab";
    EXPECT_EQ(ac500_read_text(plc, "Main.ulint", small, sizeof small), AC500_USAGE);
    EXPECT_EQ(error(), "the buffer has 3 bytes, and 21 are needed");
    EXPECT_STREQ(small, "ab");
}

TEST_F(ClientTest, WrongNamesAreToldAll) {
    open();
    const char* const names[] = {"Main.intt", "Main.int", "Main.recipe[11]"};
    ac500_values* values = nullptr;
    EXPECT_EQ(ac500_read(plc, names, 3, &values), AC500_NAME);
    EXPECT_THAT(error(), HasSubstr("Main.intt"));
    EXPECT_THAT(error(), HasSubstr("Main.int"));
    EXPECT_THAT(error(), HasSubstr("\n"));
    EXPECT_THAT(error(), HasSubstr("Main.recipe[11]"));
    EXPECT_EQ(values, nullptr);
}

TEST_F(ClientTest, TagsTellWhatIsKnownOfThem) {
    open();
    ac500_tag_list* list = nullptr;
    ASSERT_EQ(ac500_browse(plc, nullptr, &list), AC500_OK) << error();
    EXPECT_EQ(ac500_tag_list_count(list), 20u);  // grid by its two rows
    ac500_tag_info info{};
    ASSERT_EQ(ac500_tag_list_get(list, 0, &info, sizeof info), AC500_OK);
    EXPECT_STREQ(info.name, "Main.on");
    EXPECT_STREQ(info.type, "BOOL");
    EXPECT_STREQ(info.comment, "is it running?");
    EXPECT_EQ(info.kind, AC500_KIND_BOOL);
    EXPECT_EQ(ac500_tag_list_get(list, 20, &info, sizeof info), AC500_USAGE);
    EXPECT_EQ(ac500_free_tag_list(list), AC500_OK);
    EXPECT_EQ(ac500_tag_list_count(list), 0u);

    ASSERT_EQ(ac500_browse(plc, "Main.l*", &list), AC500_OK) << error();
    ASSERT_EQ(ac500_tag_list_count(list), 3u);
    ASSERT_EQ(ac500_tag_list_get(list, 2, &info, sizeof info), AC500_OK);
    EXPECT_STREQ(info.name, "Main.level");
    EXPECT_STREQ(info.type, "INT");
    EXPECT_STREQ(info.unit, "m");
    EXPECT_EQ(info.kind, AC500_KIND_DOUBLE);
    EXPECT_EQ(info.has_minimum, 0);
    EXPECT_EQ(info.has_maximum, 1);
    EXPECT_EQ(info.maximum, 9.5);
    EXPECT_EQ(ac500_free_tag_list(list), AC500_OK);
    EXPECT_EQ(ac500_browse(plc, "Main.zz*", &list), AC500_NAME);

    ac500_tag* mode = tag("Main.mode");
    ASSERT_EQ(ac500_get_tag_info(mode, &info, sizeof info), AC500_OK);
    EXPECT_STREQ(info.value_names, "0=off, 1=manual, 2=automatic");
    EXPECT_EQ(info.elements, 1);
    EXPECT_EQ(info.is_list, 0);
    ac500_tag* fixed = tag("Main.fixed");
    ASSERT_EQ(ac500_get_tag_info(fixed, &info, sizeof info), AC500_OK);
    EXPECT_EQ(info.is_readonly, 1);
    ac500_tag* name = tag("Main.name");
    ASSERT_EQ(ac500_get_tag_info(name, &info, sizeof info), AC500_OK);
    EXPECT_STREQ(info.type, "STRING(10)");
    for (ac500_tag* one : {mode, fixed, name}) {
        EXPECT_EQ(ac500_free_tag(one), AC500_OK);
    }
}

TEST_F(ClientTest, WritesGoTogetherAndEachTellsItsOutcome) {
    open();
    ac500_tag* recipe = tag("Main.recipe[1..3]");
    ac500_tag* names = tag("Main.names[2]");
    ac500_tag* bit = tag("Main.word.15");
    ac500_tag* time = tag("Main.time");
    ac500_writes* writes = nullptr;
    ASSERT_EQ(ac500_new_writes(plc, &writes), AC500_OK);
    const std::int64_t numbers[] = {10, -20, 30};
    const char* const word[] = {"four"};
    const std::int32_t truth[] = {1};
    const std::int64_t nanoseconds[] = {1500000000};
    EXPECT_EQ(ac500_add_int64s(writes, recipe, numbers, 3), AC500_OK) << error();
    EXPECT_EQ(ac500_add_strings(writes, names, word, 1), AC500_OK) << error();
    EXPECT_EQ(ac500_add_bools(writes, bit, truth, 1), AC500_OK) << error();
    EXPECT_EQ(ac500_add_nanoseconds(writes, time, nanoseconds, 1), AC500_OK) << error();
    EXPECT_EQ(ac500_add_int64s(writes, recipe, numbers, 2), AC500_USAGE);
    const std::int64_t oddTime[] = {1};
    EXPECT_EQ(ac500_add_nanoseconds(writes, time, oddTime, 1), AC500_USAGE);
    EXPECT_EQ(ac500_writes_count(writes), 4u);
    ac500_write_outcome outcome{};
    ASSERT_EQ(ac500_get_outcome(writes, 0, &outcome, sizeof outcome), AC500_OK);
    EXPECT_EQ(outcome.outcome, AC500_PENDING);
    EXPECT_EQ(outcome.result, AC500_NOTHING);
    ASSERT_EQ(ac500_send_writes(writes, AC500_READ_BACK), AC500_OK) << error();
    for (std::size_t i = 0; i < 4; ++i) {
        ASSERT_EQ(ac500_get_outcome(writes, i, &outcome, sizeof outcome), AC500_OK);
        EXPECT_EQ(outcome.outcome, AC500_DONE) << outcome.error_text;
        EXPECT_EQ(outcome.result, AC500_OK) << outcome.error_text;
    }
    EXPECT_EQ(inPlc(80, 6), "000AFFEC001E");
    EXPECT_EQ(inPlc(105, 5), "666F757200");
    EXPECT_EQ(inPlc(2, 2), "8000");
    EXPECT_EQ(inPlc(64, 4), "000005DC");

    EXPECT_EQ(ac500_add_text(writes, recipe, "1, 2, 3"), AC500_OK) << error();
    EXPECT_EQ(ac500_send_writes(writes, 0), AC500_USAGE);
    EXPECT_THAT(error(), HasSubstr("overlap"));
    EXPECT_EQ(ac500_send_writes(writes, 4), AC500_USAGE);
    EXPECT_EQ(ac500_free_writes(writes), AC500_OK);
    for (ac500_tag* one : {recipe, names, bit, time}) {
        ac500_free_tag(one);
    }
}

TEST_F(ClientTest, AWriteWhoseExpectationDoesNotHoldIsNotSent) {
    simulator.write(1, 4, std::string("\x00\x05", 2));
    open();
    ac500_tag* number = tag("Main.int");
    ac500_writes* writes = nullptr;
    ASSERT_EQ(ac500_new_writes(plc, &writes), AC500_OK);
    ASSERT_EQ(ac500_add_text(writes, number, "6"), AC500_OK) << error();
    ASSERT_EQ(ac500_expect_text(writes, 0, "4"), AC500_OK) << error();
    EXPECT_EQ(ac500_expect_text(writes, 1, "4"), AC500_USAGE);
    EXPECT_NE(ac500_send_writes(writes, 0), AC500_OK);
    ac500_write_outcome outcome{};
    ASSERT_EQ(ac500_get_outcome(writes, 0, &outcome, sizeof outcome), AC500_OK);
    EXPECT_EQ(outcome.outcome, AC500_NOT_SENT);
    EXPECT_EQ(inPlc(4, 2), "0005");
    ASSERT_EQ(ac500_expect_text(writes, 0, "5"), AC500_OK) << error();
    EXPECT_EQ(ac500_send_writes(writes, 0), AC500_OK) << error();
    EXPECT_EQ(inPlc(4, 2), "0006");
    ac500_free_writes(writes);
    ac500_free_tag(number);
}

TEST_F(ClientTest, NotFiniteNumbersAreWrittenWhenTheyAreAllowed) {
    open();
    ac500_tag* real = tag("Main.real");
    ac500_writes* writes = nullptr;
    ASSERT_EQ(ac500_new_writes(plc, &writes), AC500_OK);
    const double infinity = std::numeric_limits<double>::infinity();
    ASSERT_EQ(ac500_add_doubles(writes, real, &infinity, 1), AC500_OK) << error();
    EXPECT_EQ(ac500_send_writes(writes, 0), AC500_USAGE);
    EXPECT_EQ(ac500_send_writes(writes, AC500_ALLOW_NOT_FINITE), AC500_OK) << error();
    EXPECT_EQ(inPlc(32, 4), "7F800000");
    ac500_free_writes(writes);
    ac500_free_tag(real);
}

TEST_F(ClientTest, TwoPlcsAtOnceAreKeptApart) {
    sim::EmbeddedSimulator otherSimulator(symbol_file::parseSymbolFile(kClientProgram).file);
    open();
    ac500_plc* other = nullptr;
    ASSERT_EQ(ac500_open(file.path(), addressOf(otherSimulator).c_str(), &settings, &other), AC500_OK) << error();
    EXPECT_EQ(ac500_write_int64(plc, "Main.int", 1), AC500_OK) << error();
    EXPECT_EQ(ac500_write_int64(other, "Main.int", 2), AC500_OK) << error();
    std::int64_t value = 0;
    EXPECT_EQ(ac500_read_int64(plc, "Main.int", &value), AC500_OK) << error();
    EXPECT_EQ(value, 1);
    EXPECT_EQ(ac500_read_int64(other, "Main.int", &value), AC500_OK) << error();
    EXPECT_EQ(value, 2);
    EXPECT_EQ(inPlc(4, 2), "0001");
    ac500_tag* mine = tag("Main.int");
    ac500_values* values = nullptr;
    EXPECT_EQ(ac500_read_tags(other, &mine, 1, &values), AC500_USAGE);
    EXPECT_EQ(error(), "Main.int: it was found on another PLC");
    EXPECT_EQ(ac500_read_tags(plc, &mine, 1, &values), AC500_OK) << error();
    ac500_free_values(values);
    EXPECT_EQ(ac500_close(other), AC500_OK);
    EXPECT_EQ(ac500_read_int64(plc, "Main.int", &value), AC500_OK) << error();
    EXPECT_EQ(value, 1);
    ac500_free_tag(mine);
}

TEST_F(ClientTest, StatusCountsAndNamesTheLastFailure) {
    open();
    ASSERT_EQ(ac500_wait_online(plc, 10000), AC500_OK) << error();
    ac500_status status{};
    ASSERT_EQ(ac500_get_status(plc, &status, sizeof status), AC500_OK);
    EXPECT_EQ(status.struct_size, sizeof status);
    EXPECT_EQ(status.is_online, 1);
    EXPECT_STREQ(status.state, "exchanging");
    EXPECT_EQ(status.connections, 1);
    EXPECT_EQ(status.handshakes, 1);
    EXPECT_GE(status.frames_sent, 2);  // those that open the session; what was asked for to open it may be out already
    EXPECT_EQ(status.last_failure, AC500_OK);
    EXPECT_EQ(status.last_failure_ms, -1);
    EXPECT_STREQ(status.last_failure_text, "");
    simulator.dropConnections();
    ASSERT_TRUE(eventually([&] {
        std::int64_t value = 0;
        return ac500_read_int64(plc, "Main.int", &value) == AC500_OK &&
               ac500_get_status(plc, &status, sizeof status) == AC500_OK && status.connections == 2;
    }));
    // Between two requests the connection is lost, during one the request.
    EXPECT_THAT(status.last_failure, testing::AnyOf(AC500_TCP, AC500_REQUEST));
    EXPECT_GE(status.last_failure_ms, 0);
    EXPECT_STRNE(status.last_failure_text, "");
    EXPECT_EQ(ac500_get_status(plc, &status, 8), AC500_USAGE);
}

TEST_F(ClientTest, AProgramThatKnowsLessOfARecordGetsThat) {
    // Of the first version; what stands behind it is not touched.
    ac500_settings old;
    std::memset(&old, 0x55, sizeof old);
    ASSERT_EQ(ac500_settings_init(&old, offsetof(ac500_settings, handshake)), AC500_OK) << error();
    EXPECT_EQ(old.struct_size, offsetof(ac500_settings, handshake));
    EXPECT_EQ(old.time_limit_ms, 5000);
    unsigned char behind[sizeof old.handshake];
    std::memcpy(behind, &old.handshake, sizeof behind);
    EXPECT_THAT(behind, testing::Each(0x55));
    old.driver = kDriver;
    ASSERT_EQ(ac500_open(file.path(), addressOf(simulator).c_str(), &old, &plc), AC500_OK) << error();
    ac500_status status;
    std::memset(&status, 0x55, sizeof status);
    ASSERT_EQ(ac500_get_status(plc, &status, offsetof(ac500_status, handshake_text)), AC500_OK) << error();
    EXPECT_EQ(status.struct_size, offsetof(ac500_status, handshake_text));
    EXPECT_EQ(status.handshake_text[0], 0x55);
    EXPECT_EQ(ac500_get_status(plc, &status, offsetof(ac500_status, handshake_text) - 1), AC500_USAGE);
}

// Of another PLC, whose reply to hello begins with other bytes.
constexpr char kLearnedHandshake[] = R"({
  "format": "ac500-handshake", "version": 1,
  "plc": "10.0.0.5:1201", "symbols": "plant.json", "program": "f052c5f6578bbb5d",
  "first": "2026-11-22T10:00:00.000Z", "last": "2026-11-22T11:00:00.000Z",
  "connections": 4, "sessions": ["35f9ffa7", "cf9817c8"],
  "replies": {"hello": "aabb*", "symbols": "bbbb*"}
})";

TEST_F(ClientTest, StatusTellsWhenThePlcAnswersTheHandshakeOtherwiseThanWasLearned) {
    const SymbolFileOnDisk handshake(kLearnedHandshake);
    settings.handshake = handshake.path();
    open();
    ac500_status status{};
    ASSERT_EQ(ac500_get_status(plc, &status, sizeof status), AC500_OK);
    EXPECT_THAT(status.handshake_text, testing::StartsWith("was learned with plant.json as it was then"));
    EXPECT_THAT(status.handshake_text, HasSubstr("; was learned of 10.0.0.5:1201, which may be another PLC"));
    ASSERT_EQ(ac500_wait_online(plc, 10000), AC500_OK) << error();
    ASSERT_EQ(ac500_get_status(plc, &status, sizeof status), AC500_OK);
    EXPECT_THAT(status.handshake_text,
                testing::StartsWith("the PLC answers the handshake otherwise than was learned: the reply to hello: "
                                    "byte 0 is bb, it was aa each time; "));
    std::int64_t value = 0;
    EXPECT_EQ(ac500_read_int64(plc, "Main.int", &value), AC500_OK) << "nothing is held: " << error();
    ac500_plc* none = nullptr;
    settings.handshake = "/nowhere/plc.handshake";
    EXPECT_EQ(ac500_open(file.path(), "127.0.0.1:1", &settings, &none), AC500_FILE);
    EXPECT_THAT(error(), HasSubstr("/nowhere/plc.handshake: cannot be read"));
}

TEST_F(ClientTest, TheSimulatorsOwnVariablesAreThereOnDemand) {
    settings.simulator = 1;
    open();
    std::uint64_t boots = 0;
    EXPECT_EQ(ac500_read_uint64(plc, "Sim.boot_count", &boots), AC500_OK) << error();
    EXPECT_EQ(boots, 1u);
}

TEST_F(ClientTest, WhatCannotBeOpenedIsToldByItsLayer) {
    const std::string address = addressOf(simulator);
    EXPECT_EQ(ac500_open("/nowhere/plant.json", address.c_str(), &settings, &plc), AC500_FILE);
    EXPECT_THAT(error(), HasSubstr("/nowhere/plant.json"));
    EXPECT_EQ(ac500_open(file.path(), "127.0.0.1:0", &settings, &plc), AC500_USAGE);
    EXPECT_EQ(ac500_open(file.path(), "", &settings, &plc), AC500_USAGE);
    settings.cycle_ms = -1;
    EXPECT_EQ(ac500_open(file.path(), address.c_str(), &settings, &plc), AC500_USAGE);
    EXPECT_EQ(error(), "cycle_ms is -1: give 0 to 86400000");
    settings.cycle_ms = 0;
    settings.driver = "/nowhere/libac500driver.so";
    EXPECT_EQ(ac500_open(file.path(), address.c_str(), &settings, &plc), AC500_FILE);
    EXPECT_THAT(error(), HasSubstr("/nowhere/libac500driver.so"));
    settings.struct_size = 8;
    EXPECT_EQ(ac500_open(file.path(), address.c_str(), &settings, &plc), AC500_USAGE);
    EXPECT_EQ(plc, nullptr);
}

TEST(Words, AreThoseOfTheCommandLine) {
    EXPECT_STREQ(ac500_result_name(AC500_OK), "ok");
    EXPECT_STREQ(ac500_result_name(AC500_HANDSHAKE), "handshake");
    EXPECT_STREQ(ac500_result_name(AC500_CLOSED), "closed");
    EXPECT_STREQ(ac500_result_name(AC500_NOTHING), "nothing");
    EXPECT_STREQ(ac500_result_name(AC500_PROGRAM), "program");
    EXPECT_STREQ(ac500_result_name(13), "?");
    EXPECT_STREQ(ac500_result_name(-1), "?");
    EXPECT_STREQ(ac500_state_name(AC500_NEVER_RECEIVED), "never received");
    EXPECT_STREQ(ac500_state_name(AC500_WRITE_FAILED), "write failed");
    EXPECT_STREQ(ac500_state_name(9), "?");
    EXPECT_STREQ(ac500_outcome_name(AC500_NOT_SENT), "not sent");
    EXPECT_STREQ(ac500_outcome_name(9), "?");
}

}  // namespace
}  // namespace ac500::test
