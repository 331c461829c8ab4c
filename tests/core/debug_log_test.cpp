// The optional message handler. The log file is shared with every other process of this machine: the tests append to it,
// look for lines that only they can have written, and remove nothing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <QtCore/QDir>

#include <ctime>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "core/host_interface.h"

namespace {

// The time that this process believes in, in seconds and microseconds since 1970 UTC; negative: the true time.
timeval fakeNow = {-1, 0};

}  // namespace

// Takes the place of the C library's function for the whole process, the Qt library included.
extern "C" __attribute__((visibility("default"))) int gettimeofday(timeval* now, void*) noexcept {
    if (fakeNow.tv_sec >= 0) {
        *now = fakeNow;
        return 0;
    }
    timespec precise = timespec();
    clock_gettime(CLOCK_REALTIME, &precise);
    now->tv_sec = precise.tv_sec;
    now->tv_usec = precise.tv_nsec / 1000;
    return 0;
}

namespace {

class DebugLogTest : public ::testing::Test {
protected:
    DebugLogTest() {
        timespec now = timespec();
        clock_gettime(CLOCK_REALTIME, &now);
        token = "log test " + std::to_string(getpid()) + " " + std::to_string(now.tv_sec) + std::to_string(now.tv_nsec);
        setTimeZone("UTC0");
        logStart = logSize();
    }
    ~DebugLogTest() override { fakeNow = {-1, 0}; }

    static void setTimeZone(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }

    static std::streamoff logSize() {
        std::ifstream file("/tmp/debug.log", std::ios::ate);
        return file.is_open() ? static_cast<std::streamoff>(file.tellg()) : 0;
    }

    // Every line that the log gained since the test began and that ends with ":" and this message.
    std::vector<std::string> linesOf(const std::string& message) const {
        std::ifstream file("/tmp/debug.log");
        file.seekg(logStart);
        std::vector<std::string> found;
        const std::string ending = ":" + message;
        for (std::string line; std::getline(file, line);) {
            const bool longEnough = line.size() >= ending.size();
            if (longEnough && line.compare(line.size() - ending.size(), ending.size(), ending) == 0) {
                found.push_back(line);
            }
        }
        return found;
    }

    static int openFiles() { return QDir("/proc/self/fd").entryList(QDir::NoDotAndDotDot | QDir::AllEntries).size(); }

    std::string token;
    std::streamoff logStart;
};

TEST_F(DebugLogTest, LineIsTimeColonMessageWithMillisecondsUnpadded) {  // quirk 34
    fakeNow = {1704164645, 6000};                                       // 2024-01-02 03:04:05.006 UTC
    const std::string message = "abc " + token;
    customMessageHandler(QtDebugMsg, message.c_str());
    EXPECT_THAT(linesOf(message), ::testing::ElementsAre("2024.01.02.03:04:05.6:" + message));
}

TEST_F(DebugLogTest, MillisecondsTakeAsManyDigitsAsTheyNeed) {  // quirk 34
    const std::string whole = "whole " + token;
    fakeNow = {1704164645, 0};
    customMessageHandler(QtDebugMsg, whole.c_str());
    const std::string tens = "tens " + token;
    fakeNow = {1704164645, 60999};
    customMessageHandler(QtDebugMsg, tens.c_str());
    const std::string hundreds = "hundreds " + token;
    fakeNow = {1704164645, 999999};
    customMessageHandler(QtDebugMsg, hundreds.c_str());
    EXPECT_THAT(linesOf(whole), ::testing::ElementsAre("2024.01.02.03:04:05.0:" + whole));
    EXPECT_THAT(linesOf(tens), ::testing::ElementsAre("2024.01.02.03:04:05.60:" + tens));
    EXPECT_THAT(linesOf(hundreds), ::testing::ElementsAre("2024.01.02.03:04:05.999:" + hundreds));
}

TEST_F(DebugLogTest, HoursRunToTwentyThree) {
    fakeNow = {1735689599, 123000};  // 2024-12-31 23:59:59.123 UTC
    customMessageHandler(QtDebugMsg, token.c_str());
    EXPECT_THAT(linesOf(token), ::testing::ElementsAre("2024.12.31.23:59:59.123:" + token));
}

TEST_F(DebugLogTest, TimeIsLocal) {
    setTimeZone("XYZ-5:30");  // five and a half hours ahead of UTC
    fakeNow = {1704164645, 6000};
    customMessageHandler(QtDebugMsg, token.c_str());
    EXPECT_THAT(linesOf(token), ::testing::ElementsAre("2024.01.02.08:34:05.6:" + token));
}

TEST_F(DebugLogTest, TrueTimeHasTheSameForm) {
    customMessageHandler(QtDebugMsg, token.c_str());
    const std::vector<std::string> found = linesOf(token);
    ASSERT_EQ(found.size(), 1u);
    const std::regex form(R"(20\d\d\.[01]\d\.[0-3]\d\.[0-2]\d:[0-5]\d:[0-5]\d\.(0|[1-9]\d{0,2}):)" + token);
    EXPECT_TRUE(std::regex_match(found[0], form)) << found[0];
}

TEST_F(DebugLogTest, EveryTypeOfMessageIsWrittenAlike) {
    fakeNow = {1704164645, 6000};
    for (QtMsgType type : {QtDebugMsg, QtWarningMsg, QtCriticalMsg, QtFatalMsg}) {
        customMessageHandler(type, token.c_str());
    }
    const std::string line = "2024.01.02.03:04:05.6:" + token;
    EXPECT_THAT(linesOf(token), ::testing::ElementsAre(line, line, line, line));
}

TEST_F(DebugLogTest, MessagesAreAppendedInOrder) {
    fakeNow = {1704164645, 6000};
    customMessageHandler(QtDebugMsg, token.c_str());
    fakeNow = {1704164646, 7000};
    customMessageHandler(QtDebugMsg, token.c_str());
    EXPECT_THAT(linesOf(token),
                ::testing::ElementsAre("2024.01.02.03:04:05.6:" + token, "2024.01.02.03:04:06.7:" + token));
}

TEST_F(DebugLogTest, FileIsClosedAfterEachMessage) {
    const int before = openFiles();
    customMessageHandler(QtDebugMsg, token.c_str());
    customMessageHandler(QtDebugMsg, token.c_str());
    EXPECT_EQ(openFiles(), before);
}

TEST_F(DebugLogTest, FileThatCannotBeOpenedIsIgnored) {
    // A sanitizer needs a descriptor when it sees a class for the first time.
    customMessageHandler(QtDebugMsg, "before");
    rlimit allowed = rlimit();
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &allowed), 0);
    rlimit none = allowed;
    none.rlim_cur = 0;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    customMessageHandler(QtDebugMsg, token.c_str());
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &allowed), 0);
    EXPECT_THAT(linesOf(token), ::testing::IsEmpty());
}

}  // namespace
