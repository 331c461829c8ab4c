// Times that tests let run out. A program under an emulator, a checked one above all, needs many times as long for every
// step: what is a long silence for others is its ordinary pace.
#ifndef AC500_TESTS_SUPPORT_PACE_H
#define AC500_TESTS_SUPPORT_PACE_H

namespace ac500::test {

// `milliseconds` as a natively compiled program would need them, made to fit this one.
constexpr int paced(int milliseconds) {
    return milliseconds * AC500_TEST_PACE;
}

}  // namespace ac500::test

#endif
