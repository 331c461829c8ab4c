#include "tools/console/standard_streams.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string>

namespace ac500::console {
namespace {

class PipeOutput : public testing::Test {
protected:
    PipeOutput() {
        prepareStandardStreams();
        EXPECT_EQ(::pipe(ends_), 0);
    }
    ~PipeOutput() override {
        closeReader();
        ::close(ends_[1]);
    }

    void closeReader() {
        if (ends_[0] >= 0) {
            ::close(ends_[0]);
        }
        ends_[0] = -1;
    }
    std::string received() {
        char bytes[100];
        const ssize_t count = ::read(ends_[0], bytes, sizeof bytes);
        return std::string(bytes, count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    void makeNonBlocking() {
        for (const int end : ends_) {
            ::fcntl(end, F_SETFL, O_NONBLOCK);
        }
    }

    int ends_[2] = {-1, -1};
};

TEST_F(PipeOutput, KeepsTextUntilItIsFlushed) {
    makeNonBlocking();
    Output output(ends_[1]);
    output.write("a\n");
    output.write("b\n");
    EXPECT_EQ(received(), "");
    output.flush();
    EXPECT_EQ(received(), "a\nb\n");
    EXPECT_TRUE(output.isGood());
}

TEST_F(PipeOutput, MuchTextIsWrittenWithoutFlushing) {
    makeNonBlocking();
    Output output(ends_[1]);
    output.write(std::string(65535, 'x'));
    EXPECT_EQ(received(), "");
    output.write("x");  // that is all a pipe holds
    EXPECT_EQ(received(), std::string(100, 'x'));
}

TEST_F(PipeOutput, AReaderThatWentAwayShowsWhenTextIsWritten) {
    Output output(ends_[1]);
    closeReader();
    output.write("a\n");
    EXPECT_TRUE(output.isGood());
    output.flush();
    EXPECT_FALSE(output.isGood());
    EXPECT_TRUE(output.isReaderGone());
}

TEST_F(PipeOutput, AReaderThatWentAwayShowsWhenItIsLookedFor) {
    Output output(ends_[1]);
    output.lookForReader();
    EXPECT_TRUE(output.isGood());
    closeReader();
    output.lookForReader();
    EXPECT_TRUE(output.isReaderGone());
}

void ignoreAlarm(int) {}

TEST_F(PipeOutput, ASignalEndsTheWaitForAReaderThatTakesNothing) {
    makeNonBlocking();  // whether a write may block makes no difference
    struct sigaction action {};
    action.sa_handler = ignoreAlarm;
    ASSERT_EQ(::sigaction(SIGALRM, &action, nullptr), 0);
    ::alarm(1);
    Output output(ends_[1]);
    output.write(std::string(1024 * 1024, 'x'));
    EXPECT_TRUE(output.wasInterrupted());
}

TEST(FullOutput, SaysWhyItFailedAndWritesNothingMore) {
    const int full = ::open("/dev/full", O_WRONLY);
    ASSERT_GE(full, 0);
    Output output(full);
    output.write("a\n");
    output.flush();
    EXPECT_FALSE(output.isGood());
    EXPECT_FALSE(output.isReaderGone());
    EXPECT_EQ(output.failure(), "No space left on device");
    ::close(full);
    output.write("b\n");
    output.flush();
    EXPECT_EQ(output.failure(), "No space left on device");
}

TEST(StandardStreams, OneThatCameClosedIsNotTakenByWhatIsOpenedNext) {
    const int kept = ::dup(STDIN_FILENO);
    ::close(STDIN_FILENO);
    prepareStandardStreams();
    const int opened = ::open("/dev/null", O_RDWR);
    EXPECT_GT(opened, STDERR_FILENO);
    char byte = 0;
    EXPECT_EQ(::read(STDIN_FILENO, &byte, 1), -1);
    ::close(opened);
    ::dup2(kept, STDIN_FILENO);
    ::close(kept);
}

// The standard error output is this pipe for a while, full and unread.
TEST_F(PipeOutput, AMessageThatNobodyTakesIsLostAndTheNextReaderGetsTheNext) {
    makeNonBlocking();
    const std::string filling(4096, 'x');
    while (::write(ends_[1], filling.data(), filling.size()) > 0) {
    }
    const int standardError = ::dup(STDERR_FILENO);
    ASSERT_EQ(::dup2(ends_[1], STDERR_FILENO), STDERR_FILENO);
    const auto begun = std::chrono::steady_clock::now();
    for (int i = 0; i < 20; ++i) {
        tell("lost\n");  // all of them together wait about as long as the first
    }
    const auto waited = std::chrono::steady_clock::now() - begun;
    while (received().size() == 100) {
    }
    tell("found\n");
    EXPECT_EQ(received(), "found\n");
    ::dup2(standardError, STDERR_FILENO);
    ::close(standardError);
    EXPECT_LT(waited, std::chrono::seconds(15));
}

}  // namespace
}  // namespace ac500::console
