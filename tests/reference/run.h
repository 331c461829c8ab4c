// Random sequences of steps, run until a number of steps has been compared; a failing sequence is shrunk and printed.
//
// A step is a row of numbers, from which a test draws what it does; 0 stands for the simplest choice, so that shrinking
// towards 0 simplifies. AC500_REFERENCE_STEPS says how many steps all tests of a program compare together,
// AC500_REFERENCE_SEED where the random numbers start; both have defaults, so that a plain run is always the same one.
#ifndef AC500_TESTS_REFERENCE_RUN_H
#define AC500_TESTS_REFERENCE_RUN_H

#include <cstdint>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace ac500::test {

using Step = std::vector<std::uint32_t>;
using Sequence = std::vector<Step>;

// Thrown where driver and reference differ.
struct Difference : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Draws from a step; draws past its end give 0.
class Choices {
public:
    explicit Choices(const Step& step) : step_(step) {}

    std::uint32_t number() { return next_ < step_.size() ? step_[next_++] : 0; }

    // 0 to limit - 1.
    int below(int limit) { return static_cast<int>(number() % static_cast<std::uint32_t>(limit)); }

    int between(int least, int most) { return least + below(most - least + 1); }

    bool oneIn(int n) { return below(n) == n - 1; }

    template <typename T>
    const T& of(const std::vector<T>& values) {
        return values[static_cast<std::size_t>(below(static_cast<int>(values.size())))];
    }

private:
    const Step& step_;
    std::size_t next_ = 0;
};

// `count` bytes that look random, always the same for a seed; zeros for seed 0.
std::string noise(std::uint32_t seed, int count);

// What a test has seen so far.
class Figures {
public:
    void countStep() { ++steps_; }
    void reached(const char* state) { ++states_[state]; }

    [[nodiscard]] std::uint64_t steps() const { return steps_; }
    [[nodiscard]] const std::map<std::string, std::uint64_t>& states() const { return states_; }

private:
    std::uint64_t steps_ = 0;
    std::map<std::string, std::uint64_t> states_;
};

struct RandomTest {
    std::string name;
    int percent;          // of all steps
    std::size_t numbers;  // of one step
    int longest;          // sequence, in steps
    std::function<void(const Sequence& sequence, Figures& figures)> run;
    std::vector<std::string> states;  // each must be reached
};

// Runs the test for its part of the steps and reports to GoogleTest.
void check(const RandomTest& test);

}  // namespace ac500::test

#endif
