// Signals at given times: every expected value is worked out by hand.
#include "tools/simulator/signal_generator.h"

#include <gtest/gtest.h>

#include <set>

#include "tests/simulator/support.h"
#include "tools/simulator/pattern.h"

namespace ac500::sim {

using symbol_file::TypeCode;

namespace {

Signal signal(Signal::Kind kind, double minimum, double maximum, int periodMs, double step = 1) {
    Signal signal;
    signal.kind = kind;
    signal.minimum = minimum;
    signal.maximum = maximum;
    signal.periodMs = periodMs;
    signal.step = step;
    return signal;
}

Element intAt(std::int64_t address) {
    Element element;
    element.code = TypeCode::Int;
    element.area = 1;
    element.address = address;
    return element;
}

TEST(SignalValue, ConstantStays) {
    EXPECT_EQ(signalValueAt(signal(Signal::Kind::Constant, 42, 0, 1000), 123456), 42);
}

TEST(SignalValue, CounterStepsWithEachWholePeriodAndStartsAgain) {
    const Signal counter = signal(Signal::Kind::Counter, 10, 14, 500, 2);  // 10, 12, 14, 10, ...
    EXPECT_EQ(signalValueAt(counter, 0), 10);
    EXPECT_EQ(signalValueAt(counter, 499), 10);
    EXPECT_EQ(signalValueAt(counter, 500), 12);
    EXPECT_EQ(signalValueAt(counter, 1000), 14);
    EXPECT_EQ(signalValueAt(counter, 1500), 10);
}

TEST(SignalValue, CounterDoesNotPassTheMaximum) {
    const Signal counter = signal(Signal::Kind::Counter, 0, 5, 1, 2);  // 0, 2, 4, 0, ...
    EXPECT_EQ(signalValueAt(counter, 2), 4);
    EXPECT_EQ(signalValueAt(counter, 3), 0);
}

TEST(SignalValue, CounterWithNegativeStepStartsAtTheMaximum) {
    const Signal counter = signal(Signal::Kind::Counter, 0, 2, 1, -1);  // 2, 1, 0, 2, ...
    EXPECT_EQ(signalValueAt(counter, 0), 2);
    EXPECT_EQ(signalValueAt(counter, 2), 0);
    EXPECT_EQ(signalValueAt(counter, 3), 2);
}

TEST(SignalValue, CounterWithStepZeroStandsStill) {
    EXPECT_EQ(signalValueAt(signal(Signal::Kind::Counter, 3, 9, 1, 0), 1000), 3);
}

TEST(SignalValue, RampRisesAndFallsBack) {
    const Signal ramp = signal(Signal::Kind::Ramp, -10, 30, 1000);
    EXPECT_EQ(signalValueAt(ramp, 0), -10);
    EXPECT_EQ(signalValueAt(ramp, 250), 0);
    EXPECT_EQ(signalValueAt(ramp, 750), 20);
    EXPECT_EQ(signalValueAt(ramp, 1000), -10);
}

TEST(SignalValue, SineSwingsAroundTheMiddle) {
    const Signal sine = signal(Signal::Kind::Sine, 20, 40, 4000);
    EXPECT_NEAR(signalValueAt(sine, 0), 30, 1e-9);
    EXPECT_NEAR(signalValueAt(sine, 1000), 40, 1e-9);
    EXPECT_NEAR(signalValueAt(sine, 2000), 30, 1e-9);
    EXPECT_NEAR(signalValueAt(sine, 3000), 20, 1e-9);
    EXPECT_NEAR(signalValueAt(sine, 4333), 35, 0.01);  // a twelfth of a turn: half the way up
}

TEST(SignalValue, SquareIsLowThenHigh) {
    const Signal square = signal(Signal::Kind::Square, 1, 9, 1000);
    EXPECT_EQ(signalValueAt(square, 0), 1);
    EXPECT_EQ(signalValueAt(square, 499), 1);
    EXPECT_EQ(signalValueAt(square, 500), 9);
    EXPECT_EQ(signalValueAt(square, 1000), 1);
}

TEST(SignalValue, PeriodZeroDoesNotDivideByZero) {
    EXPECT_EQ(signalValueAt(signal(Signal::Kind::Ramp, 1, 9, 0), 5), 1);
}

class SignalGeneratorTest : public testing::Test {
protected:
    SignalGeneratorTest() { memory_.addArea(1, 16); }

    std::string word(std::int64_t address) const { return hex(memory_.read({1, address, 2})); }

    PlcMemory memory_;
};

TEST_F(SignalGeneratorTest, WritesTheValueOfTheTime) {
    SignalGenerator generator({{signal(Signal::Kind::Ramp, 0, 1000, 1000), intAt(2), Element()}}, 1);
    generator.advance(258, memory_);
    EXPECT_EQ(word(2), "01 02");
    generator.advance(1258, memory_);
    EXPECT_EQ(word(2), "01 02");
}

TEST_F(SignalGeneratorTest, WhatAClientWroteIsOverwritten) {
    SignalGenerator generator({{signal(Signal::Kind::Constant, 7, 0, 1000), intAt(0), Element()}}, 1);
    memory_.write(1, 0, byteString("12 34"));
    generator.advance(0, memory_);
    EXPECT_EQ(word(0), "00 07");
}

TEST_F(SignalGeneratorTest, TimeBeforeTheStartIsTheStart) {
    SignalGenerator generator({{signal(Signal::Kind::Ramp, 5, 1000, 1000), intAt(0), Element()}}, 1);
    generator.advance(-300, memory_);
    EXPECT_EQ(word(0), "00 05");
}

TEST_F(SignalGeneratorTest, EchoRepeatsWhatIsInItsSource) {
    Signal echo = signal(Signal::Kind::Echo, 0, 0, 1000);
    SignalGenerator generator({{echo, intAt(4), intAt(0)}}, 1);
    memory_.write(1, 0, byteString("12 34"));
    generator.advance(1, memory_);
    EXPECT_EQ(word(4), "12 34");
}

TEST_F(SignalGeneratorTest, PatternTakesTheGenerationOfTheTime) {
    SignalGenerator generator({{signal(Signal::Kind::Pattern, 0, 0, 200), intAt(2), Element()}}, 1);
    generator.advance(599, memory_);
    EXPECT_EQ(memory_.read({1, 2, 2}), patternBytes(intAt(2), 2));
    generator.advance(600, memory_);
    EXPECT_EQ(memory_.read({1, 2, 2}), patternBytes(intAt(2), 3));
    EXPECT_NE(patternBytes(intAt(2), 2), patternBytes(intAt(2), 3));
}

TEST_F(SignalGeneratorTest, AChainOfEchoesArrivesInOneAdvanceInAnyOrder) {
    Signal last = signal(Signal::Kind::Echo, 0, 0, 1000);
    last.tag = "Main.last";
    last.source = "Main.middle";
    Signal middle = last;
    middle.tag = "Main.middle";
    middle.source = "Main.first";
    Signal first = signal(Signal::Kind::Constant, 9, 0, 1000);
    first.tag = "Main.first";
    SignalGenerator generator({{last, intAt(4), intAt(2)}, {middle, intAt(2), intAt(0)}, {first, intAt(0), Element()}},
                              1);
    generator.advance(0, memory_);
    EXPECT_EQ(word(4), "00 09");
}

TEST_F(SignalGeneratorTest, EchoesInACircleDoNotHang) {
    Signal one = signal(Signal::Kind::Echo, 0, 0, 1000);
    one.tag = "Main.one";
    one.source = "Main.two";
    Signal two = one;
    two.tag = "Main.two";
    two.source = "Main.one";
    SignalGenerator generator({{one, intAt(0), intAt(2)}, {two, intAt(2), intAt(0)}}, 1);
    memory_.write(1, 0, byteString("00 05 00 05"));
    generator.advance(0, memory_);
    EXPECT_EQ(hex(memory_.read({1, 0, 4})), "00 05 00 05");
}

// The values of a random walk from 0 to 100, one step of at most 10 each second.
std::vector<std::string> walk(std::uint64_t seed, int stepMs) {
    PlcMemory memory;
    memory.addArea(1, 2);
    SignalGenerator generator({{signal(Signal::Kind::RandomWalk, 0, 100, 1000, 10), intAt(0), Element()}}, seed);
    std::vector<std::string> values;
    for (int now = 0; now <= 60000; now += stepMs) {
        generator.advance(now, memory);
        if (now % 10000 == 0) {
            values.push_back(hex(memory.read({1, 0, 2})));
        }
    }
    return values;
}

TEST_F(SignalGeneratorTest, RandomWalkStartsInTheMiddle) {
    EXPECT_EQ(walk(1, 1000).front(), "00 32");
}

TEST_F(SignalGeneratorTest, RandomWalkDependsOnSeedAndTimeOnly) {
    EXPECT_EQ(walk(7, 1000), walk(7, 1000));
    EXPECT_EQ(walk(7, 1000), walk(7, 10000)) << "asking less often must not change the walk";
    EXPECT_EQ(walk(7, 1000), walk(7, 500));
    EXPECT_NE(walk(7, 1000), walk(8, 1000));
}

TEST_F(SignalGeneratorTest, RandomWalkStaysInItsRangeAndMovesByAtMostItsStep) {
    Signal walking = signal(Signal::Kind::RandomWalk, 0, 20, 1000, 8);
    SignalGenerator generator({{walking, intAt(0), Element()}}, 3);
    double before = 10;
    std::set<double> seen;
    for (int second = 0; second < 500; ++second) {
        generator.advance(second * 1000, memory_);
        const double value = readNumber(memory_, intAt(0));
        EXPECT_GE(value, 0);
        EXPECT_LE(value, 20);
        EXPECT_LE(std::abs(value - before), 9) << "8 and the rounding of both ends";
        before = value;
        seen.insert(value);
    }
    EXPECT_EQ(seen.count(0), 1U);
    EXPECT_EQ(seen.count(20), 1U);
}

TEST_F(SignalGeneratorTest, ALongPauseCostsABoundedCatchUp) {
    SignalGenerator generator({{signal(Signal::Kind::RandomWalk, 0, 100, 1, 1), intAt(0), Element()}}, 1);
    generator.advance(std::int64_t{1} << 50, memory_);
    EXPECT_LE(readNumber(memory_, intAt(0)), 100);
}

}  // namespace
}  // namespace ac500::sim
