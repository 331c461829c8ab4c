// Times that tests let run out, and how often random tests try. A program under an emulator, a checked one above all,
// needs many times as long for every step: what is a long silence for others is its ordinary pace.
#ifndef AC500_TESTS_SUPPORT_PACE_H
#define AC500_TESTS_SUPPORT_PACE_H

namespace ac500::test {

// `milliseconds` as a natively compiled program would need them, made to fit this one.
constexpr int paced(int milliseconds) {
    return milliseconds * AC500_TEST_PACE;
}

// So many rounds of a random test; a fifth of them where all is checked under the emulator, as the same rounds run there
// unchecked and here checked.
constexpr int rounds(int count) {
#if defined(AC500_EMULATED) && defined(__SANITIZE_ADDRESS__)
    return count / 5;
#else
    return count;
#endif
}

// Of a test of size, `count` things; a tenth of them where sanitizers or the emulator make every step ten times as long:
// the whole size, and what it takes, is shown by the optimised suite.
constexpr int sized(int count) {
#if defined(AC500_EMULATED) || defined(__SANITIZE_ADDRESS__)
    return count / 10;
#else
    return count;
#endif
}

}  // namespace ac500::test

#endif
