#include "tools/replay/replay_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/replay/scripted_record.h"
#include "tools/replay/event_text.h"

namespace {

using namespace ac500;
using namespace ac500::test;
using replay::ReplayRun;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

class ReplayRunTest : public testing::Test {
protected:
    ReplayRunTest() : record_(answeredBy(driver_, scriptedCalls())) { EXPECT_THAT(record_, SizeIs(kEventsInScript)); }

    template <typename Call>
    Call& call(ScriptedEvent event) {
        return std::get<Call>(record_[event].what);
    }

    // To the end.
    std::unique_ptr<ReplayRun> replayed() {
        auto run = std::make_unique<ReplayRun>(record_, driver_.fresh());
        while (run->step()) {
        }
        return run;
    }

    ShippedDriver driver_;
    std::vector<record::Event> record_;
};

// What the driver answered stands in docs/wire-format.md and docs/host-guide.md, too.
TEST_F(ReplayRunTest, MakesTheCallsOfTheRecord) {
    const auto textAt = [this](ScriptedEvent event) { return replay::eventText(record_[event]); };
    EXPECT_EQ(textAt(kReadList), "ReCreatReadVarList(1 tags) -> 1 requests");
    EXPECT_EQ(textAt(kAskHello), "ComCommunication() -> hello request of 20 bytes");
    EXPECT_EQ(textAt(kTakeHello), "DataCom(reply of 206 bytes, status word 0) -> status 1 (accepted)");
    EXPECT_EQ(textAt(kAskSymbols), "ComCommunication() -> symbols request of 23 bytes");
    EXPECT_EQ(textAt(kAskRead), "ComCommunication() -> read request of 26 bytes, 1 item: area 3 at 20, 2 bytes");
    EXPECT_EQ(replay::hexText(call<record::NextRequest>(kAskRead).frame->frame, 0, 100),
              "bb bb 00 00 00 14 2e 00 00 00 00 01 00 03 00 00 00 14 00 00 00 02 04 03 02 01");
    EXPECT_EQ(textAt(kGetValue), "GetRegisterData(Main.speed, 1) -> 1, 2 bytes: 34 12");
    EXPECT_EQ(textAt(kResolve), "get_label_address_info(Main.speed) -> 0: type 3, area 3 at 20");
    EXPECT_EQ(textAt(kWrite), "SetRegisterData(Main.speed, 1 for (1, 77): 78 56) -> 1");
    EXPECT_EQ(textAt(kTakeWrite),
              "DataCom(reply of 8 bytes, status word 0) -> status 1 (accepted); varDone(station 0, 1, 77, 1 done)");
    ASSERT_THAT(record_[kTakeRead].settingsAfter, SizeIs(1));
    EXPECT_EQ(record_[kTakeRead].settingsAfter[0].index, 12);  // frameDone
    EXPECT_EQ(record_[kTakeRead].settingsAfter[0].value, 1);
}

TEST_F(ReplayRunTest, FindsTheSameDriverExact) {
    const std::unique_ptr<ReplayRun> run = replayed();
    EXPECT_FALSE(run->firstDivergence());
    EXPECT_EQ(run->divergences(), 0u);
    EXPECT_EQ(run->calls(), kEventsInScript - 1u);
    EXPECT_EQ(run->position(), static_cast<std::size_t>(kEventsInScript));
    EXPECT_EQ(run->problem(), "");
}

TEST_F(ReplayRunTest, ShowsTheFirstAnswerOfAnotherDriverThatDiffers) {
    driver_.change = [](host::DriverFunctions* functions) {
        functions->getValue = [real = functions->getValue](QString* label, qint32 a, QString* argument, qint32 b,
                                                           QByteArray* out, qint32 count) {
            const quint32 result = real(label, a, argument, b, out, count);
            (*out)[1] = static_cast<char>((*out)[1] ^ 0x01);
            return result;
        };
    };
    const std::unique_ptr<ReplayRun> run = replayed();
    ASSERT_TRUE(run->firstDivergence());
    EXPECT_EQ(run->firstDivergence()->position, static_cast<std::size_t>(kGetValue));
    EXPECT_EQ(run->firstDivergence()->difference.field, "value, byte 1");
    EXPECT_EQ(run->firstDivergence()->difference.expected, "2 bytes: 34 12");
    EXPECT_EQ(run->firstDivergence()->difference.actual, "2 bytes: 34 13");
    EXPECT_EQ(replay::eventText(run->firstDivergence()->actual), "GetRegisterData(Main.speed, 1) -> 1, 2 bytes: 34 13");
    EXPECT_EQ(run->divergences(), 1u);
    EXPECT_EQ(run->position(), static_cast<std::size_t>(kEventsInScript));  // it goes on
}

TEST_F(ReplayRunTest, CountsEveryCallThatDiffers) {
    call<record::NextRequest>(kAskRead).frame->frame[25] = '\x09';
    record_[kTakeWrite].callbacks.clear();
    const std::unique_ptr<ReplayRun> run = replayed();
    ASSERT_TRUE(run->firstDivergence());
    EXPECT_EQ(run->firstDivergence()->position, static_cast<std::size_t>(kAskRead));
    EXPECT_EQ(run->divergences(), 2u);
}

TEST_F(ReplayRunTest, ObeysWhatTheHostChangedInItsSettings) {
    record::SettingsChanged change;
    change.words = {{16, 0}};  // accessMode: values stay in the image
    record_.insert(record_.begin() + kWrite, eventOf(change));
    ReplayRun run(record_, driver_.fresh());
    while (run.position() <= kWrite + 1) {
        ASSERT_TRUE(run.step());
    }
    EXPECT_EQ(replay::eventText(run.answered()), "SetRegisterData(Main.speed, 1 for (1, 77): 78 56) -> 0");
}

TEST_F(ReplayRunTest, TakesAFreshDriverForEachRunOfTheRecord) {
    const std::vector<record::Event> once = record_;
    record_.insert(record_.end(), once.begin(), once.end());
    driver_.loaded = 0;
    const std::unique_ptr<ReplayRun> run = replayed();
    EXPECT_EQ(run->problem(), "");
    EXPECT_FALSE(run->firstDivergence());
    EXPECT_EQ(driver_.loaded, 2);
    EXPECT_EQ(run->calls(), 2 * (kEventsInScript - 1u));
}

TEST_F(ReplayRunTest, LeavesOutWhatBeginsInTheUnknown) {
    const std::vector<record::Event> once = record_;
    std::get<record::SegmentStart>(record_[kBegin].what).begin = record::SegmentBegin::Unknown;
    record_.insert(record_.end(), once.begin(), once.end());
    const std::unique_ptr<ReplayRun> run = replayed();
    EXPECT_EQ(run->skipped(), kEventsInScript - 1u);
    EXPECT_EQ(run->calls(), kEventsInScript - 1u);
    EXPECT_FALSE(run->firstDivergence());
}

TEST_F(ReplayRunTest, DoesNotMakeCallsThatADriverIsNotMadeFor) {
    record_.erase(record_.begin() + kRegister);
    const std::unique_ptr<ReplayRun> run = replayed();
    EXPECT_EQ(run->problem(),
              "event 6: the driver has no callbacks: RegistCallBackFuncIntf was not called, or with null");
    EXPECT_EQ(run->position(), kAskHello - 1u);
}

TEST_F(ReplayRunTest, SaysWhenThereIsNoDriver) {
    ReplayRun run(record_, [](std::string* error) -> const host::DriverFunctions* {
        *error = "gone";
        return nullptr;
    });
    EXPECT_FALSE(run.step());
    EXPECT_EQ(run.problem(), "gone");
    EXPECT_FALSE(run.step());
}

// ---------------------------------------------------------------------------------------------------------------------
// Comparing
// ---------------------------------------------------------------------------------------------------------------------

struct FieldRow {
    const char* name;
    ScriptedEvent event;
    void (*change)(record::Event&);
    const char* field;
    const char* expected;
    const char* actual;
};

template <typename Call>
Call& in(record::Event& event) {
    return std::get<Call>(event.what);
}

const FieldRow kFieldRows[] = {
    {"number of requests", kReadList, [](record::Event& event) { in<record::RebuildReadList>(event).result = 2; },
     "result", "1", "2"},
    {"nothing to send", kAskRead, [](record::Event& event) { in<record::NextRequest>(event).frame.reset(); }, "request",
     "read request of 26 bytes, 1 item: area 3 at 20, 2 bytes", "nothing to send"},
    {"another item", kAskRead, [](record::Event& event) { in<record::NextRequest>(event).frame->frame[17] = '\x15'; },
     "request", "read request of 26 bytes, 1 item: area 3 at 20, 2 bytes",
     "read request of 26 bytes, 1 item: area 3 at 21, 2 bytes"},
    {"another session byte", kAskRead,
     [](record::Event& event) { in<record::NextRequest>(event).frame->frame[22] = '\x05'; }, "frame, byte 22",
     "26 bytes: ... 00 00 00 02 04 03 02 01", "26 bytes: ... 00 00 00 02 05 03 02 01"},
    {"a shorter frame", kAskRead, [](record::Event& event) { in<record::NextRequest>(event).frame->frame.resize(25); },
     "request", "read request of 26 bytes, 1 item: area 3 at 20, 2 bytes",
     "read request of 25 bytes, 1 item: area 3 at 20, 2 bytes"},
    {"length of the frame", kAskRead,
     [](record::Event& event) { in<record::NextRequest>(event).frame->frameLength = 0; }, "frameLength", "26", "0"},
    {"length of the reply", kAskRead,
     [](record::Event& event) { in<record::NextRequest>(event).frame->replyLength = 0; }, "replyLength", "-1", "0"},
    {"begin of the data", kAskRead,
     [](record::Event& event) { in<record::NextRequest>(event).frame->replyDataOffset = 0; }, "replyDataOffset", "12",
     "0"},
    {"shortest reply", kAskHello,
     [](record::Event& event) { in<record::NextRequest>(event).frame->minReplyLength = 0; }, "minReplyLength", "6",
     "0"},
    {"reserved word", kAskRead, [](record::Event& event) { in<record::NextRequest>(event).frame->reserved[2] = 1; },
     "reserved word", "0", "1"},
    {"variable of the frame", kAskRead,
     [](record::Event& event) { in<record::NextRequest>(event).frame->var.labelName = u"x"; }, "var.labelName",
     "\"Main.speed\"", "\"x\""},
    {"status", kTakeRead, [](record::Event& event) { in<record::TakeReply>(event).result.status = 71; },
     "result.status", "1 (accepted)", "71 (given up: length differs)"},
    {"data of the result", kTakeRead, [](record::Event& event) { in<record::TakeReply>(event).result.data = "\x01"; },
     "result.data, byte 0", "0 bytes: ", "1 bytes: 01"},
    {"value", kGetValue, [](record::Event& event) { in<record::GetValue>(event).out += '\0'; }, "value, byte 2",
     "2 bytes: 34 12", "3 bytes: 34 12 00"},
    {"name", kGetValue, [](record::Event& event) { in<record::GetValue>(event).labelAfter = u"y"; }, "name",
     "\"Main.speed\"", "\"y\""},
    {"word of the resolution", kResolve, [](record::Event& event) { in<record::ResolveTag>(event).after[3] = 1; },
     "word 3 of the answer", "0", "1"},
    {"pending writes", kWrite, [](record::Event& event) { in<record::SetValue>(event).result = 0; }, "result", "1",
     "0"},
    {"callbacks", kTakeWrite,
     [](record::Event& event) {
         event.callbacks.emplace_back(record::CommFailed{0, 1, 1});
     },
     "callbacks", "varDone(station 0, 1, 77, 1 done)",
     "varDone(station 0, 1, 77, 1 done), commFailed(0 variables, 1, 1)"},
    {"settings record", kTakeRead, [](record::Event& event) { event.settingsAfter[0].value = 9; },
     "settings record, frameDone", "set to 1", "set to 9"},
};

TEST_F(ReplayRunTest, ComparesEveryField) {
    for (const FieldRow& row : kFieldRows) {
        SCOPED_TRACE(row.name);
        record::Event other = record_[row.event];
        row.change(other);
        const std::optional<replay::Difference> difference = replay::firstDifference(record_[row.event], other);
        ASSERT_TRUE(difference);
        EXPECT_EQ(difference->field, row.field);
        EXPECT_EQ(difference->expected, row.expected);
        EXPECT_EQ(difference->actual, row.actual);
    }
}

TEST_F(ReplayRunTest, ComparesNeitherTimesNorThreadsNorPlacesInMemory) {
    record::Event other = record_[kAskRead];
    other.monotonicUs += 1;
    other.utcUs -= 1;
    other.thread = 7;
    in<record::NextRequest>(other).frameNumber += 3;
    EXPECT_FALSE(replay::firstDifference(record_[kAskRead], other));
}

// ---------------------------------------------------------------------------------------------------------------------
// What no host does
// ---------------------------------------------------------------------------------------------------------------------

TEST(AdmissionTest, LimitsWhatCallsMakeTheDriverKeep) {
    replay::Admission admission({100, 150});
    record::GetValue value;
    value.argument = u"";
    value.count = 101;
    EXPECT_EQ(admission.problemOf(eventOf(value)), "101 elements at once; at most 100 are replayed");
    value.count = 100;
    EXPECT_EQ(admission.problemOf(eventOf(value)), "");
    value.count = -5;
    EXPECT_EQ(admission.problemOf(eventOf(value)), "");
    value.count = 51;
    EXPECT_EQ(admission.problemOf(eventOf(value)), "more than 150 elements in all");
}

TEST(AdmissionTest, WantsSettingsCallbacksAndArguments) {
    replay::Admission admission({});
    EXPECT_EQ(admission.problemOf(eventOf(record::NextRequest())),
              "the driver has no settings record: SetComInfo was not called");
    EXPECT_EQ(admission.problemOf(eventOf(record::SetComInfo())), "");
    record::RegisterCallbacks one;
    one.commFailed = false;
    EXPECT_EQ(admission.problemOf(eventOf(one)), "");
    EXPECT_THAT(admission.problemOf(eventOf(record::TakeReply())), HasSubstr("no callbacks"));
    EXPECT_EQ(admission.problemOf(eventOf(record::RegisterCallbacks())), "");
    EXPECT_EQ(admission.problemOf(eventOf(record::TakeReply())), "");
    EXPECT_EQ(admission.problemOf(eventOf(record::GetValue())), "the argument is null, which the driver does not take");
    admission.restart();
    EXPECT_THAT(admission.problemOf(eventOf(record::TakeReply())), HasSubstr("no settings record"));
}

}  // namespace
