#include "tools/host/plant_values.h"

#include <cmath>
#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/pace.h"

namespace ac500::host {
namespace {

constexpr char kNoted[] = R"~({
  "format": "ac500-symbols", "version": 1,
  "areas": [{"number": 1, "bytes": 4096}, {"number": 3, "bytes": 8}],
  "types": {"Pair": {"size": 4, "members": [{"name": "a", "type": "INT", "offset": 0}]}},
  "scopes": [{"name": "Main", "variables": [
    {"name": "plain", "type": "INT", "area": 1, "offset": 0},
    {"name": "celsius", "type": "INT", "area": 1, "offset": 2, "unit": "°C", "scale": {"factor": 0.1, "offset": -40}, "min": -30.5, "max": 120},
    {"name": "thirds", "type": "INT", "area": 1, "offset": 4, "scale": {"factor": 0.3333333333333333}},
    {"name": "fine", "type": "UDINT", "area": 1, "offset": 8, "scale": {"factor": -1e-6, "offset": 1000}},
    {"name": "hundreds", "type": "UINT", "area": 1, "offset": 12, "scale": {"factor": 1e2}, "unit": "1/min"},
    {"name": "padded", "type": "UINT", "area": 1, "offset": 14, "scale": {"factor": 0.50}},
    {"name": "speed", "type": "REAL", "area": 1, "offset": 16, "unit": "km/h", "scale": {"factor": 3.6}, "max": 100},
    {"name": "share", "type": "LREAL", "area": 1, "offset": 24, "unit": "%", "scale": {"factor": 100}},
    {"name": "real", "type": "REAL", "area": 1, "offset": 32, "min": -0.1, "max": 0.1},
    {"name": "big", "type": "ULINT", "area": 1, "offset": 40, "min": 9007199254740993, "max": 18446744073709551614},
    {"name": "small", "type": "LINT", "area": 1, "offset": 48, "min": -9007199254740993, "max": -5},
    {"name": "mode", "type": "INT", "area": 1, "offset": 56, "names": {"-1": "fault", "0": "off", "1": "by hand", "2": "automatic"}, "max": 10},
    {"name": "valve", "type": "BOOL", "area": 1, "offset": 58, "names": {"0": "closed", "1": "open"}},
    {"name": "modes", "type": "BYTE", "area": 1, "offset": 60, "array": [[1, 3]], "names": {"0": "off", "16#FF": "all"}},
    {"name": "levels", "type": "INT", "area": 1, "offset": 64, "array": [[1, 3]], "unit": "m", "scale": {"factor": 0.01}},
    {"name": "delay", "type": "TIME", "area": 1, "offset": 72, "min": "T#100ms", "max": "T#1h"},
    {"name": "day", "type": "DATE", "area": 1, "offset": 76},
    {"name": "count", "type": "INT", "area": 1, "offset": 80, "unit": "0"},
    {"name": "fixed", "type": "Pair", "area": 1, "offset": 84, "readOnly": true},
    {"name": "flags", "type": "WORD", "area": 1, "offset": 88, "bits": true, "unit": "x", "max": 5},
    {"name": "sealed", "type": "WORD", "area": 1, "offset": 90, "bits": true, "readOnly": true},
    {"name": "code", "type": "STRING(5)", "area": 1, "offset": 100},
    {"name": "balance", "type": "INT", "area": 1, "offset": 106, "scale": {"factor": 0.1, "offset": -0.3}},
    {"name": "mirrored", "type": "INT", "area": 1, "offset": 108, "scale": {"factor": -0.1, "offset": -0.0}},
    {"name": "loss", "type": "REAL", "area": 1, "offset": 112, "scale": {"factor": -2, "offset": -0.0}},
    {"name": "drift", "type": "LREAL", "area": 1, "offset": 120, "scale": {"factor": -2, "offset": -0.0}},
    {"name": "lamp", "type": "BIT", "area": 3, "bit": 4, "names": {"0": "dark", "1": "lit"}}
  ]}]})~";

const TagTable& notedTags() {
    static const TagTable table([] {
        symbol_file::LoadedSymbolFile loaded = symbol_file::parseSymbolFile(kNoted);
        for (const symbol_file::Problem& problem : loaded.problems) {
            ADD_FAILURE() << describe("noted", problem);
        }
        return loaded.file;
    }());
    return table;
}

Tag noted(const std::string& text) {
    std::string error;
    const std::optional<Tag> tag = notedTags().find(text, &error);
    EXPECT_TRUE(tag) << error;
    return tag.value_or(Tag());
}

// What the PLC gets for a text, as numbers; or the reason why it gets nothing.
std::string written(const std::string& text, const std::string& value) {
    const Tag tag = noted(text);
    std::string error;
    const std::optional<HostValues> values = parsePlantValues(tag, value, &error);
    return values ? formatValues(tag.form, *values) : error;
}

std::string shownFor(const std::string& text, const HostValues& inPlc) {
    return formatPlantValues(noted(text), inPlc);
}

HostValues signedValue(std::int64_t value) {
    return {value};
}

HostValues unsignedValue(std::uint64_t value) {
    return {value};
}

TEST(PlantValues, AreScaledWithTheDecimalsOfTheScale) {
    EXPECT_EQ(shownFor("Main.celsius", signedValue(615)), "21.5 °C");
    EXPECT_EQ(shownFor("Main.celsius", signedValue(400)), "0.0 °C");
    EXPECT_EQ(shownFor("Main.celsius", signedValue(3)), "-39.7 °C");
    EXPECT_EQ(shownFor("Main.fine", unsignedValue(1)), "999.999999");
    EXPECT_EQ(shownFor("Main.hundreds", unsignedValue(15)), "1500 1/min");
    EXPECT_EQ(shownFor("Main.padded", unsignedValue(3)), "1.50");
    EXPECT_EQ(shownFor("Main.thirds", signedValue(3)), "1");
    EXPECT_EQ(shownFor("Main.plain", signedValue(-5)), "-5");
}

TEST(PlantValues, ThatAreScaledAreFloatsWhateverTypeThePlcHas) {
    EXPECT_EQ(written("Main.celsius", "REAL#21.5"), "615");
    EXPECT_EQ(written("Main.celsius", "lreal#21.5 °C"), "615");
    EXPECT_EQ(written("Main.celsius", "INT#615"),
              "INT#615 is a value of type INT; what is scaled is written as a number, such as 12.5, or as REAL#12.5");
    EXPECT_EQ(written("Main.celsius", "16#1F"), "\"16#1F\" is no number; write it as 12.5 or 1e-3");
}

TEST(PlantValues, OfZeroHaveNoSign) {
    EXPECT_EQ(shownFor("Main.balance", signedValue(3)), "0.0");
    EXPECT_EQ(shownFor("Main.balance", signedValue(2)), "-0.1");
    EXPECT_EQ(shownFor("Main.mirrored", signedValue(0)), "0.0");
    EXPECT_EQ(shownFor("Main.loss", {0.0F}), "0");
    EXPECT_EQ(shownFor("Main.drift", {0.0}), "0");
    for (const HostValues& number :
         {plantValues(noted("Main.balance"), signedValue(3)), plantValues(noted("Main.mirrored"), signedValue(0)),
          plantValues(noted("Main.loss"), {0.0F}), plantValues(noted("Main.drift"), {0.0})}) {
        EXPECT_FALSE(std::signbit(std::get<double>(number.front())));
    }
}

TEST(PlantValues, AreRoundedToTheNearestWithHalvesAwayFromZero) {
    EXPECT_EQ(written("Main.celsius", "21.5"), "615");
    EXPECT_EQ(written("Main.celsius", "21.54"), "615");
    EXPECT_EQ(written("Main.celsius", "21.55"), "616");
    EXPECT_EQ(written("Main.celsius", "21.5 °C"), "615");
    EXPECT_EQ(written("Main.celsius", "21.5°C"), "615");
    EXPECT_EQ(written("Main.levels[1]", "0.005"), "1");
    EXPECT_EQ(written("Main.levels[1]", "-0.005"), "-1");
    EXPECT_EQ(written("Main.levels[1]", "1.005"), "101");
    EXPECT_EQ(written("Main.levels[1]", "-1.0049"), "-100");
    EXPECT_EQ(written("Main.hundreds", "1549"), "15");
}

TEST(PlantValues, OfAWholeTypeAreTheSameRawValueAfterTheyWereShownAndWritten) {
    constexpr std::int64_t kStep = 65536 / test::sized(65536);  // where all is checked, about every tenth
    for (const char* text : {"Main.celsius", "Main.thirds", "Main.levels[2]"}) {
        Tag tag = noted(text);
        tag.notes = [&] {  // without limits, every value can be written
            auto notes = std::make_shared<symbol_file::ValueNotes>(*tag.notes);
            notes->minimum.reset();
            notes->maximum.reset();
            return notes;
        }();
        for (std::int64_t raw = -32768; raw <= 32767; raw += kStep) {
            std::string error;
            const std::optional<HostValues> back =
                parsePlantValues(tag, formatPlantValues(tag, signedValue(raw)), &error);
            ASSERT_TRUE(back) << error;
            ASSERT_EQ(std::get<std::int64_t>(back->front()), raw) << text;
            const std::optional<HostValues> number = fromPlantValues(tag, plantValues(tag, signedValue(raw)), &error);
            ASSERT_TRUE(number) << error;
            ASSERT_EQ(std::get<std::int64_t>(number->front()), raw) << text;
        }
    }
    for (std::uint64_t raw = 0; raw <= 4294967295U; raw += 99991) {
        std::string error;
        const Tag fine = noted("Main.fine");
        const std::optional<HostValues> back =
            parsePlantValues(fine, formatPlantValues(fine, unsignedValue(raw)), &error);
        ASSERT_TRUE(back) << error;
        ASSERT_EQ(std::get<std::uint64_t>(back->front()), raw);
    }
    EXPECT_EQ(written("Main.fine", shownFor("Main.fine", unsignedValue(4294967295U))), "4294967295");
}

TEST(PlantValues, OfFloatsAreShownAsFloatsAndComeBack) {
    EXPECT_EQ(shownFor("Main.speed", {0.1F}), "0.36 km/h");
    EXPECT_EQ(shownFor("Main.speed", {10.0F}), "36 km/h");
    EXPECT_EQ(shownFor("Main.share", {0.25}), "25 %");
    const Tag speed = noted("Main.speed");
    for (float raw = 0.001F; raw < 27; raw *= 1.0173F) {
        std::string error;
        const std::optional<HostValues> back = parsePlantValues(speed, formatPlantValues(speed, {raw}), &error);
        ASSERT_TRUE(back) << error;
        ASSERT_EQ(std::get<float>(back->front()), raw);
    }
    EXPECT_EQ(shownFor("Main.speed", {std::numeric_limits<float>::quiet_NaN()}), "nan km/h");
    EXPECT_EQ(written("Main.speed", "nan"), "nan km/h is above the largest value, 100 km/h");
}

TEST(PlantValues, AreNumbersForPrograms) {
    EXPECT_EQ(std::get<double>(plantValues(noted("Main.celsius"), signedValue(3)).front()), -39.7);
    EXPECT_EQ(std::get<std::int64_t>(plantValues(noted("Main.mode"), signedValue(2)).front()), 2);
    std::string error;
    const std::optional<HostValues> raw = fromPlantValues(noted("Main.celsius"), {21.5}, &error);
    ASSERT_TRUE(raw);
    EXPECT_EQ(std::get<std::int64_t>(raw->front()), 615);
    const auto refusal = [](const char* text, const HostValues& values) {
        std::string why;
        EXPECT_FALSE(fromPlantValues(noted(text), values, &why));
        return why;
    };
    EXPECT_EQ(refusal("Main.celsius", {std::int64_t{5}}), "a scaled value is to be given as a floating-point number");
    EXPECT_EQ(refusal("Main.celsius", {120.1}), "120.1 °C is above the largest value, 120 °C");
    EXPECT_EQ(refusal("Main.plain", {true}), "the value is of another type than INT");
    EXPECT_EQ(refusal("Main.plain", {std::int64_t{40000}}), "40000 is out of range; INT goes from -32768 to 32767");
    EXPECT_EQ(refusal("Main.plain", {}), "1 values are needed; 0 given");
    EXPECT_EQ(refusal("Main.fixed.a", {std::int64_t{1}}), "it is read-only; the symbol file says so");
    EXPECT_EQ(refusal("Main.code", {std::string("123456")}), "the string has 6 characters; STRING(5) takes at most 5");
    EXPECT_EQ(refusal("Main.real", {std::numeric_limits<float>::quiet_NaN()}), "nan is below the smallest value, -0.1");
}

TEST(PlantValues, KeepTheirLimitsAsTypedAndAsRounded) {
    EXPECT_EQ(written("Main.celsius", "120"), "1600");
    EXPECT_EQ(written("Main.celsius", "120.01"), "120.01 °C is above the largest value, 120 °C");
    EXPECT_EQ(written("Main.celsius", "-30.5"), "95");
    EXPECT_EQ(written("Main.celsius", "-30.6 °C"), "-30.6 °C is below the smallest value, -30.5 °C");
    EXPECT_EQ(written("Main.real", "0.1"), "0.1");
    EXPECT_EQ(written("Main.real", "0.10001"), "0.10001 is above the largest value, 0.1");
    EXPECT_EQ(written("Main.big", "9007199254740993"), "9007199254740993");
    EXPECT_EQ(written("Main.big", "9007199254740992"),
              "9007199254740992 is below the smallest value, 9007199254740993");
    EXPECT_EQ(written("Main.big", "18446744073709551615"),
              "18446744073709551615 is above the largest value, 18446744073709551614");
    EXPECT_EQ(written("Main.small", "-9007199254740994"),
              "-9007199254740994 is below the smallest value, -9007199254740993");
    EXPECT_EQ(written("Main.small", "-5"), "-5");
    EXPECT_EQ(written("Main.small", "-4"), "-4 is above the largest value, -5");
    EXPECT_EQ(written("Main.delay", "T#1h"), "T#1h");
    EXPECT_EQ(written("Main.delay", "T#1h1ms"), "T#1h1ms is above the largest value, T#1h");
    EXPECT_EQ(written("Main.delay", "99"), "T#99ms is below the smallest value, T#100ms");
    EXPECT_EQ(written("Main.levels[1]", "400"), "400 is out of range; INT with its scale goes from -327.68 to 327.67");
    EXPECT_EQ(written("Main.speed", "100.00001"), "100.00001 km/h is above the largest value, 100 km/h");
}

TEST(PlantValues, OfAnEnumerationGoByName) {
    EXPECT_EQ(shownFor("Main.mode", signedValue(2)), "automatic");
    EXPECT_EQ(shownFor("Main.mode", signedValue(7)), "7");
    EXPECT_EQ(written("Main.mode", "automatic"), "2");
    EXPECT_EQ(written("Main.mode", "BY HAND"), "1");
    EXPECT_EQ(written("Main.mode", "\"by hand\""), "1");
    EXPECT_EQ(written("Main.mode", "-1"), "-1");
    EXPECT_EQ(written("Main.mode", "7"), "7");
    EXPECT_EQ(written("Main.mode", "INT#16#2"), "2");
    EXPECT_EQ(written("Main.mode", "11"), "11 is above the largest value, 10");
    EXPECT_EQ(written("Main.mode", "automatc"), "\"automatc\" is no name of a value; did you mean automatic?");
    EXPECT_EQ(written("Main.mode", "sideways"),
              "\"sideways\" is no name of a value; its values are fault, off, by hand, automatic");
    EXPECT_EQ(written("Main.mode", "70000"), "70000 is out of range; INT goes from -32768 to 32767");
    EXPECT_EQ(shownFor("Main.valve", {true}), "open");
    EXPECT_EQ(written("Main.valve", "closed"), "FALSE");
    EXPECT_EQ(written("Main.valve", "TRUE"), "TRUE");
    EXPECT_EQ(written("Main.lamp", "lit"), "1");
    EXPECT_EQ(shownFor("Main.lamp", {false}), "dark");
    EXPECT_EQ(written("Main.modes", "off, all,16#10"), "0x00, 0xFF, 0x10");
    EXPECT_EQ(shownFor("Main.modes", {std::uint64_t{0}, std::uint64_t{255}, std::uint64_t{16}}), "off, all, 0x10");
}

TEST(PlantValues, InListsHaveTheirUnitOnce) {
    const HostValues levels = {std::int64_t{1}, std::int64_t{250}, std::int64_t{-3}};
    EXPECT_EQ(shownFor("Main.levels", levels), "0.01, 2.50, -0.03 m");
    EXPECT_EQ(written("Main.levels", "0.01, 2.50, -0.03 m"), "1, 250, -3");
    EXPECT_EQ(written("Main.levels", "1 m,2m,3"), "100, 200, 300");
    EXPECT_EQ(written("Main.levels", "1,2"), "3 values are needed, separated by commas; 2 given");
}

TEST(PlantValues, AUnitOfDigitsDoesNotEatTheNumber) {
    EXPECT_EQ(written("Main.count", "100"), "100");
    EXPECT_EQ(written("Main.count", "100 0"), "100");
    EXPECT_EQ(written("Main.plain", "5 m"), "\"5 m\" is no whole number; write it as 31, 16#1F, 2#1_1111 or 0x1F");
}

TEST(PlantValues, OfReadOnlyVariablesAreNotWritten) {
    EXPECT_EQ(written("Main.fixed.a", "1"), "it is read-only; the symbol file says so");
    EXPECT_EQ(written("Main.sealed.b[3]", "1"), "it is read-only; the symbol file says so");
    EXPECT_EQ(written("Main.flags.b[3]", "1"), "1");
    EXPECT_EQ(written("Main.flags", "16#5 x"), "0x0005");
    EXPECT_EQ(written("Main.flags", "6"), "0x0006 x is above the largest value, 5 x");
}

TEST(PlantValues, ThatThePlcHoldsMayBeBeyondTheLimitsAndReadOnly) {
    const auto held = [](const char* name, const char* text) {
        const Tag tag = noted(name);
        std::string error;
        const std::optional<HostValues> values = parseHeldValues(tag, text, &error);
        return values ? formatValues(tag.form, *values) : error;
    };
    EXPECT_EQ(held("Main.celsius", "200.5 °C"), "2405");
    EXPECT_EQ(held("Main.celsius", "-31"), "90");
    EXPECT_EQ(held("Main.fixed.a", "7"), "7");
    EXPECT_EQ(held("Main.plain", "40000"), "40000 is out of range; INT goes from -32768 to 32767");
    EXPECT_EQ(held("Main.mode", "BY HAND"), "1");
}

TEST(PlantValues, InTheFormOfThePlcKeepTypeNumberAndLimitsToo) {
    const auto refusal = [](const char* name, const HostValues& values) {
        std::string error = "none";
        const bool mayBe = mayBeWritten(noted(name), values, &error);
        EXPECT_EQ(mayBe, error == "none");
        return error;
    };
    EXPECT_EQ(refusal("Main.celsius", {std::int64_t{1600}}), "none");
    EXPECT_EQ(refusal("Main.celsius", {std::int64_t{1601}}), "120.1 °C is above the largest value, 120 °C");
    EXPECT_EQ(refusal("Main.celsius", {std::int64_t{94}}), "-30.6 °C is below the smallest value, -30.5 °C");
    EXPECT_EQ(refusal("Main.plain", {std::uint64_t{1}}), "the value is of another type than INT");
    EXPECT_EQ(refusal("Main.plain", {std::int64_t{32768}}), "32768 is out of range; INT goes from -32768 to 32767");
    EXPECT_EQ(refusal("Main.levels", {std::int64_t{1}, std::int64_t{2}}), "3 values are needed; 2 given");
    EXPECT_EQ(refusal("Main.fixed.a", {std::int64_t{1}}), "it is read-only; the symbol file says so");
    EXPECT_EQ(refusal("Main.flags.b[3]", {true}), "none");
    EXPECT_EQ(refusal("Main.modes", {std::uint64_t{0}, std::uint64_t{255}, std::uint64_t{256}}),
              "0x100 is out of range; BYTE goes from 0 to 255");
}

TEST(PlantValues, SayWhetherPeopleSeeMoreThanPrograms) {
    EXPECT_TRUE(hasPlantForm(noted("Main.celsius")));
    EXPECT_TRUE(hasPlantForm(noted("Main.mode")));
    EXPECT_TRUE(hasPlantForm(noted("Main.day")));
    EXPECT_FALSE(hasPlantForm(noted("Main.plain")));
    EXPECT_FALSE(hasPlantForm(noted("Main.big")));
    EXPECT_FALSE(hasPlantForm(noted("Main.flags.b[3]")));
}

}  // namespace
}  // namespace ac500::host
