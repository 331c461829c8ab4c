// What the driver would do, told by the driver from disk: requests of a pass, and what a name leads to.
#include "tools/host/offline_driver.h"

#include <gtest/gtest.h>

#include "core/codes.h"
#include "tests/desk/run_text.h"
#include "tests/end_to_end/plant.h"

namespace ac500 {
namespace {

using desk::ObservedPass;
using host::OfflineDriver;
using host::Tag;

// A thousand variables without a gap: 800 of four bytes, then 200 of two, 3,600 bytes.
constexpr char kThousand[] = R"({
  "format": "ac500-symbols", "version": 1,
  "areas": [{"number": 1, "bytes": 65536}],
  "scopes": [{"name": "Main", "variables": [
    {"name": "wide", "type": "DINT", "area": 1, "offset": 0, "array": [[1, 800]]},
    {"name": "narrow", "type": "INT", "area": 1, "offset": 3200, "array": [[1, 200]]}
  ]}]})";

class OfflineDriverTest : public testing::Test {
protected:
    explicit OfflineDriverTest(const char* program = kProgram) : table(programOf(program)) {
        std::string error;
        library = host::DriverLibrary::load(test::kDriver, &error);
        EXPECT_NE(library, nullptr) << error;
        driver = std::make_unique<OfflineDriver>(library->functions(), table);
        EXPECT_TRUE(driver->start(&error)) << error;
    }

    std::vector<Tag> tags(const std::vector<std::string>& texts) const {
        std::vector<Tag> found;
        for (const std::string& text : texts) {
            std::string error;
            found.push_back(table.find(text, &error).value_or(Tag()));
            EXPECT_EQ(error, "");
        }
        return found;
    }

    ObservedPass pass(const std::vector<Tag>& list, int maxRequestWords) const {
        std::string error;
        const std::optional<ObservedPass> observed = driver->observePass(list, maxRequestWords, &error);
        EXPECT_TRUE(observed) << error;
        return observed.value_or(ObservedPass());
    }

    const host::TagTable table;
    std::unique_ptr<host::DriverLibrary> library;
    std::unique_ptr<OfflineDriver> driver;
};

TEST_F(OfflineDriverTest, RequestsAreThoseThatTheDriverWantsSent) {
    const ObservedPass observed = pass(tags({"Main.int", "Main.word", "Main.bit", "Main.names[2]"}), 100);
    EXPECT_EQ(observed.listItems, 3);
    ASSERT_EQ(observed.requests.size(), 1u);
    // INT at 4 and WORD at 8 in one run; the word of the BIT 21; then the string in an array, by its address.
    EXPECT_EQ(test::runText(observed.requests[0].items), "1:4+6 3:2+2 1:581+80");
    EXPECT_EQ(observed.requests[0].requestBytes, 46) << "16 and 10 for each item";
    EXPECT_EQ(observed.requests[0].replyBytes, 103) << "12, and each item with its lead byte";
}

TEST_F(OfflineDriverTest, TheLastRequestIsFilledFromTheHeadOfTheList) {
    const ObservedPass observed = pass(tags({"Main.left", "Main.right"}), 100);
    EXPECT_EQ(observed.listItems, 4) << "two arrays of 400 bytes in items of 200";
    ASSERT_EQ(observed.requests.size(), 2u);
    EXPECT_EQ(test::runText(observed.requests[0].items), "1:2000+200 1:2200+200 1:4000+200");
    EXPECT_EQ(test::runText(observed.requests[1].items), "1:4200+200 1:2000+200 1:2200+200");
}

TEST_F(OfflineDriverTest, EveryPassBeginsWithItsOwnListAndSize) {
    const std::vector<Tag> list = tags({"Main.left"});
    EXPECT_EQ(test::runText(pass(list, 100).requests[0].items), "1:2000+200 1:2200+200");
    EXPECT_EQ(test::runText(pass(list, 200).requests[0].items), "1:2000+400");
    EXPECT_EQ(test::runText(pass(tags({"Main.int"}), 200).requests[0].items), "1:4+2");
    EXPECT_EQ(pass({}, 100).requests.size(), 0u);
    EXPECT_EQ(test::runText(pass(list, 100).requests[0].items), "1:2000+200 1:2200+200");
}

TEST_F(OfflineDriverTest, TheLargestSizesAreTaken) {
    const ObservedPass observed = pass(tags({"Main.many"}), 32000);
    EXPECT_EQ(test::runText(observed.requests.at(0).items), "2:0+2000");
}

TEST_F(OfflineDriverTest, ANameIsAnsweredWithTheDriversCode) {
    EXPECT_EQ(driver->resolve("Main.int").code, kResolved);
    EXPECT_EQ(driver->resolve("Main.int").info.address, 4);
    EXPECT_EQ(driver->resolve("Main.in").code, kNotFound);
    EXPECT_EQ(driver->resolve("Mian.int").code, kUnknownScope);
    EXPECT_EQ(driver->resolve("Main.motors[1].sped").code, kUnknownMember);
    EXPECT_EQ(driver->resolve("Main").code, kTooFewComponents);
    EXPECT_EQ(driver->resolve("").code, kEmptyTag);
    EXPECT_EQ(driver->resolve("Main.ints[x]").code, kBadIndex);
}

TEST_F(OfflineDriverTest, ATagThatIsReadIsTransferred) {
    for (const char* text : {"Main.int", "Main.bit", "Main.names[1]", "Main.dints", "Main.word.b[3]"}) {
        EXPECT_TRUE(driver->transfers(tags({text}).front())) << text;
    }
}

TEST_F(OfflineDriverTest, OneDriverAnswersOneAtATime) {
    std::string error;
    EXPECT_FALSE(OfflineDriver(library->functions(), table).start(&error));
    EXPECT_EQ(error, "a session of this process uses the driver");
}

class ThousandTagsTest : public OfflineDriverTest {
protected:
    ThousandTagsTest() : OfflineDriverTest(kThousand) {
        std::vector<std::string> texts;
        for (int i = 1; i <= 800; ++i) {
            texts.push_back("Main.wide[" + std::to_string(i) + "]");
        }
        for (int i = 1; i <= 200; ++i) {
            texts.push_back("Main.narrow[" + std::to_string(i) + "]");
        }
        list = tags(texts);
    }

    std::vector<Tag> list;
};

// A request takes items while they and their lead bytes stay below 800 bytes.
TEST_F(ThousandTagsTest, MoreWordsMayTakeMoreRequests) {
    struct Row {
        int words;
        int items;
        std::size_t requests;
    };
    const Row rows[] = {
        {99, 19, 5},   // 18 items of 198 bytes and one of 36; four a request (4 x 199 = 796)
        {100, 18, 6},  // 18 items of 200 bytes; three a request (4 x 201 = 804)
        {250, 8, 7},   // 7 items of 500 bytes, each a request (2 x 501), and 100 bytes with the last of them (602)
        {399, 5, 5},   // 4 items of 798 bytes (799), and one of 408, which goes with none of them
        {500, 4, 4},   // 3 items of 1000 bytes and one of 600
    };
    for (const Row& row : rows) {
        const ObservedPass observed = pass(list, row.words);
        EXPECT_EQ(observed.listItems, row.items) << row.words << " words";
        EXPECT_EQ(observed.requests.size(), row.requests) << row.words << " words";
    }
}

}  // namespace
}  // namespace ac500
