#include "tests/reference/run.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/detail/TestListenerAdapter.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <random>
#include <sstream>

#include "tests/reference/records.h"

namespace ac500::test {

namespace {

// Of a run without further wishes: the same every time, so that what it reaches is no matter of luck.
constexpr std::uint64_t kDefaultSteps = 40000;
constexpr std::uint64_t kDefaultSeed = 1;
constexpr int kSequencesPerRound = 60;

std::uint64_t environmentNumber(const char* name, std::uint64_t otherwise) {
    const char* text = std::getenv(name);
    if (text == nullptr || *text == '\0') {
        return otherwise;
    }
    char* end = nullptr;
    const std::uint64_t number = std::strtoull(text, &end, 10);
    if (*end != '\0') {
        std::cerr << name << " is \"" << text << "\": give a decimal number\n";
        std::exit(2);
    }
    return number;
}

std::uint64_t seedOfRun() {
    static const std::uint64_t seed = environmentNumber("AC500_REFERENCE_SEED", kDefaultSeed);
    return seed;
}

rc::Gen<Sequence> sequences(std::size_t numbers) {
    const auto number = rc::gen::resize(rc::kNominalSize, rc::gen::arbitrary<std::uint32_t>());
    return rc::gen::container<Sequence>(rc::gen::container<Step>(numbers, number));
}

// Runs one round, which its seed determines. False, with the shrunken failure printed, when one failed.
bool runRound(const RandomTest& test, std::uint64_t seed, Figures* figures) {
    rc::detail::TestParams params;
    params.seed = seed;
    params.maxSuccess = kSequencesPerRound;
    params.maxSize = test.longest;
    std::string lastDifference;
    const auto property = [&] {
        const Sequence sequence = *sequences(test.numbers);
        try {
            test.run(sequence, *figures);
        } catch (const Difference& difference) {
            lastDifference = difference.what();
            RC_FAIL(lastDifference);
        } catch (const reference::LeftOpen&) {
            RC_FAIL("the sequence leads where no behaviour is promised");
        }
    };
    // Not by rc::check, which would let RC_PARAMS in the environment choose another seed.
    rc::detail::TestListenerAdapter listener;
    const auto result =
        rc::detail::checkProperty(rc::detail::toProperty(property), rc::detail::TestMetadata(), params, listener, {});
    if (result.is<rc::detail::SuccessResult>()) {
        return true;
    }
    std::ostringstream text;
    if (result.is<rc::detail::FailureResult>()) {
        const auto& failure = result.get<rc::detail::FailureResult>();
        if (failure.description.find(lastDifference) == std::string::npos) {
            text << "The shrunk sequence alone passes: something outlives the driver object. The last difference was:\n"
                 << lastDifference << "\n";
        }
        text << failure.description << "\nshrunk in " << failure.reproduce.shrinkPath.size() << " steps\n";
    } else {
        rc::detail::printResultMessage(result, text);
    }
    ADD_FAILURE() << text.str() << "replay with: AC500_REFERENCE_SEED=" << seed
                  << " AC500_REFERENCE_STEPS=1 reference_test --gtest_filter=Reference." << test.name;
    return false;
}

}  // namespace

std::string noise(std::uint32_t seed, int count) {
    std::string bytes(static_cast<std::size_t>(count > 0 ? count : 0), '\0');
    if (seed != 0) {
        std::minstd_rand generator(seed);
        for (char& byte : bytes) {
            byte = static_cast<char>((generator() >> 8) & 0xFF);
        }
    }
    return bytes;
}

void check(const RandomTest& test) {
    const std::uint64_t all = environmentNumber("AC500_REFERENCE_STEPS", kDefaultSteps);
    const std::uint64_t wanted = std::max<std::uint64_t>(all * static_cast<std::uint64_t>(test.percent) / 100, 1);
    const auto started = std::chrono::steady_clock::now();
    std::cout << test.name << ": seed " << seedOfRun() << std::endl;
    Figures figures;
    for (std::uint64_t round = 0; figures.steps() < wanted; ++round) {
        const std::uint64_t before = figures.steps();
        std::cout << test.name << ": round seed " << seedOfRun() + round << " at step " << before << std::endl;
        if (!runRound(test, seedOfRun() + round, &figures)) {
            return;
        }
        ASSERT_GT(figures.steps(), before) << "a round compared nothing: the sequences are empty";
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - started;
    std::cout << test.name << ": compared " << figures.steps() << " steps in " << seconds.count() << " s" << std::endl;
    for (const auto& state : figures.states()) {
        std::cout << test.name << ": state " << state.second << " " << state.first << std::endl;
    }
    EXPECT_GE(figures.steps(), wanted);
    if (all < kDefaultSteps) {
        return;  // a replay: too short to reach everything
    }
    for (const std::string& state : test.states) {
        EXPECT_GT(figures.states().count(state), 0u) << "the random sequences never reached: " << state;
    }
    EXPECT_EQ(figures.states().size(), test.states.size()) << "a state is counted that is not on the list of states";
}

}  // namespace ac500::test
