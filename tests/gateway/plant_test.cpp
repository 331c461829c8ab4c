// The board, the writes and the listeners of the gateway's session.
#include <atomic>

#include "tests/gateway/gateway_plant.h"

namespace ac500::test {
namespace {

using gateway::BoardEntry;
using gateway::Plant;
using gateway::PlantTag;
using gateway::PlantWrite;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class PlantTest : public GatewayTest {
protected:
    // Ordered, and waited for: "done", "refused", "not sent".
    std::string outcomeOf(const PlantWrite& write) {
        host::Failure failure;
        const std::optional<host::WriteTicket> ticket = plant->write(write, &failure);
        if (!ticket) {
            return failure.text;
        }
        host::WriteReport report;
        EXPECT_TRUE(eventually([&] {
            report = plant->report(*ticket).value_or(host::WriteReport());
            return report.outcome != host::WriteOutcome::Pending;
        }));
        return report.failure.occurred() ? report.failure.text : writeOutcomeName(report.outcome);
    }
};

TEST_F(PlantTest, TagsSayWhatPeopleKnowOfThem) {
    settings.tags = {"Main.on", "Main.level", "Main.recipe"};
    settings.keptTags = {"Main.level"};
    settings.writableTags = {"Pump.speed"};
    start();
    ASSERT_EQ(plant->tags().size(), 4u);
    const PlantTag& on = plant->tags()[0];
    EXPECT_EQ(on.name, "Main.on");
    EXPECT_EQ(on.scope, "Main");
    EXPECT_EQ(on.type, "BOOL");
    EXPECT_EQ(on.description, "is it running?");
    EXPECT_FALSE(on.isKept);
    const PlantTag& level = plant->tags()[1];
    EXPECT_EQ(level.unit, "m");
    EXPECT_TRUE(level.isKept);
    EXPECT_FALSE(level.isWritable);
    EXPECT_EQ(plant->tags()[2].type, "3 x INT");
    const PlantTag& speed = plant->tags()[3];
    EXPECT_EQ(speed.name, "Pump.speed");
    EXPECT_EQ(speed.scope, "Pump");
    EXPECT_TRUE(speed.isWritable);
    EXPECT_EQ(plant->numberOf("Pump.speed"), 3u);
    EXPECT_EQ(plant->numberOf("Main.int"), std::nullopt);
}

TEST_F(PlantTest, UnknownTagsAreToldWithTheSettingThatNamesThem) {
    settings.writableTags = {"Main.nit"};
    host::Failure failure;
    EXPECT_EQ(Plant::open(settings, &failure), nullptr);
    EXPECT_EQ(failure.kind, host::FailureKind::Name);
    EXPECT_THAT(failure.text, HasSubstr("write.tags: "));
    EXPECT_THAT(failure.text, HasSubstr("Main.int"));
}

TEST_F(PlantTest, BoardHasTheLatestValuesAsReadShowsThem) {
    start();
    put("Main.level", 314);
    put("Main.mode", 2);
    put("Main.recipe[2]", 7);
    EXPECT_TRUE(eventuallyShown("Main.level", "fresh 2.14 m")) << shown("Main.level");
    EXPECT_TRUE(eventuallyShown("Main.mode", "fresh automatic")) << shown("Main.mode");
    EXPECT_TRUE(eventuallyShown("Main.recipe", "fresh 0 g, 7 g, 0 g")) << shown("Main.recipe");
    EXPECT_TRUE(eventuallyShown("Main.word", "fresh 0x0000")) << shown("Main.word");
}

TEST_F(PlantTest, OnlyWhatChangedSinceTheRevisionIsTold) {
    start();
    const std::size_t integer = number("Main.int");
    const std::size_t speed = number("Pump.speed");
    ASSERT_TRUE(eventuallyShown("Pump.speed", "fresh 0"));
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 0"));
    const std::uint64_t before = plant->revision();
    put("Main.int", 5);
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 5"));
    const std::vector<BoardEntry> changed = plant->changedSince(before, {speed, integer});
    ASSERT_EQ(changed.size(), 1u);
    EXPECT_EQ(changed[0].first, integer);
    EXPECT_THAT(changed[0].second.texts, ElementsAre("5"));
    EXPECT_GT(changed[0].second.revision, before);
    EXPECT_THAT(plant->changedSince(plant->revision(), {speed, integer}), IsEmpty());
}

TEST_F(PlantTest, ReceptionsAloneAreNoChange) {
    start();
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 0"));
    const std::size_t integer = number("Main.int");
    const host::Time first = plant->received({integer}).front().value();
    const std::uint64_t revision = plant->revision();
    EXPECT_TRUE(eventually([&] { return plant->received({integer}).front().value() > first; }));
    EXPECT_THAT(plant->changedSince(revision, {integer}), IsEmpty());
}

TEST_F(PlantTest, ThePassIsOneThatTheBoardHas) {
    settings.session.loop.cycle = host::Milliseconds(30);
    start();
    const std::vector<std::size_t> tags = {number("Main.int"), number("Pump.speed")};
    const auto ended = [this] { return static_cast<std::uint64_t>(plant->status().statistics.cycles()); };
    for (int times = 0; times < 10; ++times) {
        // The latest moment when the next pass had not ended, so that the one behind it had not begun.
        host::Time before = plant->now();
        const std::uint64_t begun = ended();
        ASSERT_TRUE(eventually([&] {
            for (host::Time now = plant->now(); now - before < host::Milliseconds(100); now = plant->now()) {
                if (ended() != begun) {
                    return true;
                }
                before = now;
            }
            return false;
        }));
        // As soon as the board is said to have that one, so that nothing has time to follow.
        ASSERT_TRUE(eventually([&] {
            const host::Time until = plant->now() + host::Milliseconds(100);
            while (plant->pass() < begun + 2 && plant->now() < until) {
            }
            return plant->pass() >= begun + 2;
        }));
        for (const std::optional<host::Time>& received : plant->received(tags)) {
            ASSERT_GE(received.value_or(host::Time(0)), before);
        }
    }
}

TEST_F(PlantTest, ListenersAreWokenByAChange) {
    start();
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 0"));
    std::atomic<int> wakes{0};
    const int listener = plant->addListener([&] { ++wakes; });
    EXPECT_TRUE(eventually([&] { return wakes > 0; }));
    plant->removeListener(listener);
    const int before = wakes;
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(wakes, before);
}

TEST_F(PlantTest, ValuesGrowStaleWhenTheLinkIsLost) {
    start();
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 0"));
    simulator.stop();
    EXPECT_TRUE(eventuallyShown("Main.int", "stale 0")) << shown("Main.int");
}

TEST_F(PlantTest, NothingIsWrittenUnlessTheSettingsNameTheTag) {
    start();
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 0"));
    EXPECT_EQ(outcomeOf({number("Main.int"), {std::int64_t{5}}, {}, {}, "", "anna"}),
              "Main.int is not written through this gateway; its settings name the tags that are (write.tags)");
}

TEST_F(PlantTest, WritesReachThePlcAndTheBoard) {
    settings.writableTags = {"Main.int"};
    start();
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 0"));
    EXPECT_EQ(outcomeOf({number("Main.int"), {std::int64_t{5}}, host::HostValues{std::int64_t{0}}, {}, "n1", "anna"}),
              "done");
    EXPECT_TRUE(eventuallyShown("Main.int", "fresh 5")) << shown("Main.int");
}

TEST_F(PlantTest, AWriteIsNotSentWhenTheValueWasAnother) {
    settings.writableTags = {"Main.int"};
    start();
    put("Main.int", 7);
    EXPECT_EQ(outcomeOf({number("Main.int"), {std::int64_t{5}}, host::HostValues{std::int64_t{0}}, {}, "", "anna"}),
              "not sent: it was 0 when you looked, it is 7 now");
}

TEST_F(PlantTest, CommaAndPointAreBothDecimalSigns) {
    settings.writableTags = {"Main"};
    start();
    std::string error;
    for (const char* text : {"2.14", "2,14", "2,14 m"}) {
        const std::optional<host::HostValues> values = plant->parse(number("Main.level"), text, &error);
        ASSERT_TRUE(values) << text << ": " << error;
        EXPECT_THAT(plant->textsOf(number("Main.level"), *values), ElementsAre("2.14 m")) << text;
    }
    EXPECT_EQ(plant->parse(number("Main.level"), "1.002,14", &error), std::nullopt);
    EXPECT_EQ(plant->parse(number("Main.int"), "1,5", &error), std::nullopt);
    const std::optional<host::HostValues> list = plant->parse(number("Main.recipe"), "1, 2, 3", &error);
    ASSERT_TRUE(list) << error;
    EXPECT_THAT(plant->textsOf(number("Main.recipe"), *list), ElementsAre("1 g", "2 g", "3 g"));
}

TEST_F(PlantTest, ShownTextsCanBeTakenBack) {
    start();
    std::string error;
    EXPECT_EQ(plant->valuesOf(number("Main.level"), {"2.14 m"}, &error), host::HostValues{std::int64_t{314}}) << error;
    EXPECT_EQ(plant->valuesOf(number("Main.mode"), {"automatic"}, &error), host::HostValues{std::uint64_t{2}}) << error;
    EXPECT_EQ(plant->valuesOf(number("Main.recipe"), {"1 g"}, &error), std::nullopt);
    EXPECT_EQ(error, "Main.recipe has 3 element(s), and 1 were given");
}

TEST_F(PlantTest, PartsOfWritableTagsMayBeWrittenAndNothingBeside) {
    settings.writableTags = {"Main.recipe[1..2]", "Main.word.3"};
    start();
    const auto mayWrite = [&](const char* name) {
        std::string error;
        host::Failure failure;
        const std::optional<host::Tag> tag = plant->symbols().find(name, &error);
        EXPECT_TRUE(tag) << error;
        return tag && plant->mayWrite(*tag, &failure);
    };
    EXPECT_TRUE(mayWrite("Main.recipe[1..2]"));
    EXPECT_TRUE(mayWrite("Main.recipe[2]"));
    EXPECT_FALSE(mayWrite("Main.recipe[3]"));
    EXPECT_FALSE(mayWrite("Main.recipe"));
    EXPECT_TRUE(mayWrite("Main.word.3"));
    EXPECT_TRUE(mayWrite("Main.word.b[3]"));
    EXPECT_FALSE(mayWrite("Main.word.4"));
    EXPECT_FALSE(mayWrite("Main.word"));
    EXPECT_FALSE(mayWrite("Main.int"));
}

TEST_F(PlantTest, ProgramsCanHaveOtherTagsReadForAWhile) {
    settings.tags = {"Main.int"};
    start();
    std::string error;
    const host::Tag speed = plant->symbols().find("Pump.speed", &error).value();
    const int polling = plant->startPolling({speed});
    EXPECT_TRUE(eventually([&] { return plant->session().isKnown(speed); }));
    plant->stopPolling(polling);
    EXPECT_TRUE(eventuallyShown("Main.int", "fresh 0"));
}

TEST_F(PlantTest, TrendsHaveASampleForEachReceptionAndAGapForALoss) {
    settings.tags = {"Main.int"};
    settings.keptTags = {"Main.level"};
    start();
    put("Main.level", 314);
    ASSERT_TRUE(eventuallyShown("Main.level", "fresh 2.14 m"));
    const std::size_t series = plant->tags()[number("Main.level")].series;
    const auto samples = [&] {
        const host::Milliseconds end =
            std::chrono::duration_cast<host::Milliseconds>(plant->now()) + host::Milliseconds(1);
        return plant->trend().samples(series, {host::Milliseconds(0), end}, 100000);
    };
    const std::size_t before = samples().size();
    ASSERT_TRUE(eventually([&] { return samples().size() >= before + 5; }));
    const std::vector<gateway::TrendSample> some = samples();
    EXPECT_EQ(some.back().value, 2.14);
    EXPECT_EQ(some.back().state, gateway::SampleState::Good);
    EXPECT_LT(some[some.size() - 2].at, some.back().at);
    simulator.stop();
    EXPECT_TRUE(eventually([&] { return samples().back().state == gateway::SampleState::Gap; }));
    const std::size_t withGap = samples().size();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(samples().size(), withGap);
}

// A failed write is what people are told of the tag meanwhile; the trend has a gap all the same.
TEST_F(PlantTest, ATrendHasAGapAlsoWhereAFailedWriteHidesThatTheValueIsStale) {
    settings.tags = {"Main.int"};
    settings.keptTags = {"Main.level"};
    settings.writableTags = {"Main.level"};
    settings.session.retryLimit = 0;
    settings.session.loop.replyTimeout = host::Milliseconds(60000);
    start();
    ASSERT_TRUE(eventuallyShown("Main.level", "fresh -1.00 m")) << shown("Main.level");
    const std::int64_t handshakes = plant->status().statistics.handshakes;
    simulator.inject({sim::FaultKind::Status, 5}, 1000, sim::Service::Write);
    PlantWrite write;
    write.tag = number("Main.level");
    write.values = {std::int64_t{300}};
    EXPECT_THAT(outcomeOf(write), HasSubstr("refused"));
    const std::size_t series = plant->tags()[number("Main.level")].series;
    const auto last = [&] {
        const host::Milliseconds end = std::chrono::duration_cast<host::Milliseconds>(plant->now());
        return plant->trend().samples(series, {host::Milliseconds(0), end + host::Milliseconds(1)}, 100000).back();
    };
    const auto isReadAgain = [&] {
        const host::SessionStatus status = plant->status();
        return status.isOnline && status.statistics.handshakes > handshakes &&
               last().state == gateway::SampleState::Good;
    };
    ASSERT_TRUE(eventually(isReadAgain)) << "the refusal costs the session, which begins anew";
    simulator.inject({sim::FaultKind::Delay, 20000}, 1, sim::Service::Read);
    EXPECT_TRUE(eventually([&] { return last().state == gateway::SampleState::Gap; }));
    EXPECT_TRUE(plant->status().isOnline);
    EXPECT_THAT(shown("Main.level"), HasSubstr("write failed"));
}

TEST_F(PlantTest, TextsAndListsAreNotKept) {
    settings.keptTags = {"Main"};
    start();
    EXPECT_FALSE(plant->tags()[number("Main.name")].isKept);
    EXPECT_FALSE(plant->tags()[number("Main.recipe")].isKept);
    EXPECT_TRUE(plant->tags()[number("Main.on")].isKept);
}

TEST_F(PlantTest, MoreTrendsThanFitAreRefused) {
    settings.keptTags = {"Main"};
    settings.trendBytes = 100;
    host::Failure failure;
    EXPECT_EQ(Plant::open(settings, &failure), nullptr);
    EXPECT_EQ(failure.text, "trend.bytes: 7 tags need 1680 bytes at least; keep fewer (trend.tags)");
}

TEST_F(PlantTest, TimeLineTellsTheLifeOfTheConnection) {
    start();
    const auto states = [&] {
        std::string text;
        for (const gateway::TimeSpan& span : plant->timeLine().spans()) {
            text += std::string(text.empty() ? "" : ", ") + connectionStateName(span.connection.state);
        }
        return text;
    };
    EXPECT_TRUE(eventually([&] { return states() == "connecting, up" || states() == "up"; })) << states();
    simulator.stop();
    EXPECT_TRUE(eventually([&] {
        return plant->timeLine().current()->connection.state == gateway::ConnectionState::Retrying;
    })) << states();
    EXPECT_THAT(plant->timeLine().current()->connection.text, HasSubstr("Connection refused"));
}

TEST_F(PlantTest, PictureOfThePlanIsADrawing) {
    start();
    host::Failure failure;
    const std::optional<std::string> svg = plant->planSvg(&failure);
    ASSERT_TRUE(svg) << failure.text;
    EXPECT_THAT(*svg, testing::StartsWith("<svg "));
    EXPECT_THAT(*svg, HasSubstr("for 10 tags"));
    EXPECT_EQ(plant->planSvg(&failure), svg);
    EXPECT_TRUE(eventuallyShown("Main.int", "fresh 0"));
}

TEST_F(PlantTest, WritesAreAuditedUnderTheNameThatOrdersThem) {
    settings.writableTags = {"Main.int"};
    settings.audit = folder.path() + "/audit.jsonl";
    start();
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 0"));
    EXPECT_EQ(outcomeOf({number("Main.int"), {std::int64_t{5}}, {}, {}, "n1", "anna"}), "done");
    const auto audit = [this] {
        std::ifstream file(settings.audit);
        return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    };
    EXPECT_THAT(audit(), HasSubstr("\"user\":\"anna\""));
    // The outcome is told at once; its line may still be on its way to the disk.
    EXPECT_TRUE(eventually([&] { return audit().find("\"outcome\":\"done\"") != std::string::npos; })) << audit();
}

TEST_F(PlantTest, ExpiredWritesAreNotSent) {
    settings.writableTags = {"Main.int"};
    start();
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 0"));
    EXPECT_THAT(outcomeOf({number("Main.int"), {std::int64_t{5}}, {}, host::Milliseconds(0), "", "anna"}),
                testing::StartsWith("not sent: "));
}

class GuardedPlantTest : public GatewayTest {
protected:
    GuardedPlantTest() : GatewayTest(guardedSymbols(7)) { settings.tags = {"Main"}; }
};

TEST_F(GuardedPlantTest, AnotherProgramMakesValuesSuspectOnTheBoardInTheTrendAndOnTheTimeLine) {
    settings.keptTags = {"Main.int"};
    start();
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 0"));
    EXPECT_EQ(plant->valueCounts().suspect, 0u);
    simulator.load(simulator.addProgram(symbol_file::parseSymbolFile(guardedSymbols(8)).file));
    EXPECT_TRUE(eventuallyShown("Main.int", "suspect 0")) << shown("Main.int");
    EXPECT_TRUE(eventually([&] { return plant->valueCounts().suspect > 0; }));
    EXPECT_EQ(plant->timeLine().current()->connection.state, gateway::ConnectionState::OtherProgram);
    const host::Milliseconds end = std::chrono::duration_cast<host::Milliseconds>(plant->now()) + host::Milliseconds(1);
    EXPECT_EQ(plant->trend().samples(0, {host::Milliseconds(0), end}, 100000).back().state,
              gateway::SampleState::Suspect);
}

}  // namespace
}  // namespace ac500::test
