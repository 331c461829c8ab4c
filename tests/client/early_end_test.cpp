// Programs that end without closing anything, each this program, started anew for the one test, and some that fork. An
// emulated program can do neither, so these run natively alone.
#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>

#include "tests/client/client_plant.h"
#include "tests/support/child_process.h"
#include "tools/client/ac500_simulator.h"

namespace ac500::test {
namespace {

class EarlyEndTest : public ClientTest {
protected:
    EarlyEndTest() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

// The threads of the library use the driver, which the end of the program destroys.
TEST_F(EarlyEndTest, AProgramMayEndWithoutClosing) {
    EXPECT_EXIT(
        {
            open();
            std::int64_t number = 0;
            const bool isRead = ac500_read_int64(plc, "Main.int", &number) == AC500_OK;
            const char* const name = "Main.int";
            ac500_subscription* subscription = nullptr;
            ac500_subscribe(plc, &name, 1, 0, nullptr, nullptr, &subscription);
            std::exit(isRead ? 5 : 6);
        },
        testing::ExitedWithCode(5), "");
}

TEST_F(EarlyEndTest, AProgramMayEndWithoutStoppingASimulator) {
    EXPECT_EXIT(
        {
            ac500_simulator* own = nullptr;
            const bool isStarted = ac500_simulator_start(file.path(), nullptr, &own) == AC500_OK &&
                                   ac500_open(file.path(), ac500_simulator_address(own), &settings, &plc) == AC500_OK;
            std::int64_t number = 0;
            std::exit(isStarted && ac500_read_int64(plc, "Main.int", &number) == AC500_OK ? 5 : 6);
        },
        testing::ExitedWithCode(5), "");
}

// A library of its own, which nothing but dlopen() holds: this program is linked with the other one.
class LibraryCopy {
public:
    explicit LibraryCopy(const std::string& function) : path_("/tmp/" + function + std::to_string(::getpid()) + ".so") {
        Dl_info about{};
        EXPECT_NE(dladdr(dlsym(RTLD_DEFAULT, function.c_str()), &about), 0);
        std::filesystem::copy_file(about.dli_fname, path_, std::filesystem::copy_options::overwrite_existing);
        handle_ = dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL);
        EXPECT_NE(handle_, nullptr) << dlerror();
    }
    ~LibraryCopy() { std::filesystem::remove(path_); }
    LibraryCopy(const LibraryCopy&) = delete;
    LibraryCopy& operator=(const LibraryCopy&) = delete;

    template <typename Function>
    Function* function(const char* name, Function* /*alike*/) const {
        return reinterpret_cast<Function*>(dlsym(handle_, name));
    }
    void close() { EXPECT_EQ(dlclose(handle_), 0) << dlerror(); }
    bool isLoaded() const { return dlopen(path_.c_str(), RTLD_NOW | RTLD_NOLOAD) != nullptr; }

private:
    const std::string path_;
    void* handle_ = nullptr;
};

TEST_F(EarlyEndTest, AProgramMayUnloadTheLibraryWhileAPlcIsOpen) {
    LibraryCopy copy("ac500_open");
    const auto openIt = copy.function("ac500_open", &ac500_open);
    const auto readIt = copy.function("ac500_read_int64", &ac500_read_int64);
    const auto closeIt = copy.function("ac500_close", &ac500_close);
    ASSERT_NE(openIt, nullptr);
    ASSERT_NE(openIt, &ac500_open) << "it is the library of this program";
    ac500_plc* other = nullptr;
    std::int64_t value = -1;
    ASSERT_EQ(openIt(file.path(), addressOf(simulator).c_str(), &settings, &other), AC500_OK);
    ASSERT_EQ(readIt(other, "Main.int", &value), AC500_OK);
    copy.close();
    ASSERT_TRUE(copy.isLoaded());
    EXPECT_EQ(readIt(other, "Main.int", &value), AC500_OK);
    EXPECT_EQ(closeIt(other), AC500_OK);
}

TEST_F(EarlyEndTest, AProgramMayUnloadTheLibraryOfTheSimulatorWhileOneRuns) {
    LibraryCopy copy("ac500_simulator_start");
    const auto startIt = copy.function("ac500_simulator_start", &ac500_simulator_start);
    const auto addressIt = copy.function("ac500_simulator_address", &ac500_simulator_address);
    const auto stopIt = copy.function("ac500_simulator_stop", &ac500_simulator_stop);
    ASSERT_NE(startIt, nullptr);
    ASSERT_NE(startIt, &ac500_simulator_start) << "it is the library of this program";
    ac500_simulator* other = nullptr;
    ASSERT_EQ(startIt(file.path(), nullptr, &other), AC500_OK);
    copy.close();
    ASSERT_TRUE(copy.isLoaded());
    std::int64_t value = -1;
    ASSERT_EQ(ac500_open(file.path(), addressIt(other), &settings, &plc), AC500_OK) << error();
    EXPECT_EQ(ac500_read_int64(plc, "Main.int", &value), AC500_OK) << error();
    EXPECT_EQ(stopIt(other), AC500_OK);
}

// Forks are not tried with the address sanitizer: its allocator has locks of its own, which nobody lets go of in a child.
#ifndef __SANITIZE_ADDRESS__

// It would wait for threads that are not there.
TEST_F(EarlyEndTest, TheChildOfAForkIsToldThatItCannotUseThePlc) {
    open();
    std::int64_t value = 0;
    ASSERT_EQ(ac500_read_int64(plc, "Main.int", &value), AC500_OK) << error();
    ac500_subscription* subscription = nullptr;
    const char* const name = "Main.int";
    ASSERT_EQ(ac500_subscribe(plc, &name, 1, 0, nullptr, nullptr, &subscription), AC500_OK) << error();
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(20);
        ac500_values* values = nullptr;
        const bool isRefused =
            ac500_read_int64(plc, "Main.int", &value) == AC500_USAGE &&
            error() == "this PLC was opened before a fork(): the child cannot use it; open one in the child" &&
            ac500_next_event(subscription, 1000, &values) == AC500_USAGE &&
            ac500_unsubscribe(subscription) == AC500_USAGE && ac500_close(plc) == AC500_USAGE;
        ac500_plc* own = nullptr;
        const bool hasOwn = ac500_open(file.path(), addressOf(simulator).c_str(), &settings, &own) == AC500_OK &&
                            ac500_read_int64(own, "Main.int", &value) == AC500_OK && ac500_close(own) == AC500_OK;
        ::_exit(isRefused ? (hasOwn ? 0 : 2) : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(ac500_read_int64(plc, "Main.int", &value), AC500_OK) << "the parent goes on: " << error();
}
// The child gets the locks of the library as they are at the moment of the fork.
TEST_F(EarlyEndTest, AForkMayComeWhileOtherThreadsCall) {
    open();
    const std::string tagName = "Main.int";
    std::atomic<bool> isOver{false};
    std::vector<std::thread> callers;
    for (int i = 0; i < 3; ++i) {
        callers.emplace_back([&] {
            while (!isOver) {
                ac500_tag* found = nullptr;
                if (ac500_find_tag(plc, tagName.c_str(), &found) == AC500_OK) {
                    ac500_free_tag(found);
                }
            }
        });
    }
    int status = 0;
    for (int i = 0; i < sized(100) && status == 0; ++i) {
        const pid_t child = ::fork();
        if (child == 0) {
            ::alarm(60);
            ac500_writes* writes = nullptr;
            const bool isRefused = ac500_new_writes(plc, &writes) == AC500_USAGE && ac500_close(plc) == AC500_USAGE;
            ::_exit(isRefused ? 0 : 1);
        }
        ASSERT_EQ(::waitpid(child, &status, 0), child);
    }
    isOver = true;
    for (std::thread& caller : callers) {
        caller.join();
    }
    EXPECT_EQ(status, 0) << "14 is a child that hung";
}

TEST_F(EarlyEndTest, TheChildOfAForkLeavesASimulatorAlone) {
    ac500_simulator* own = nullptr;
    ASSERT_EQ(ac500_simulator_start(file.path(), nullptr, &own), AC500_OK) << ac500_simulator_last_error();
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(60);
        const bool isRefused =
            ac500_simulator_inject(own, "reset") == AC500_USAGE && ac500_simulator_stop(own) == AC500_USAGE;
        ac500_plc* there = nullptr;
        std::int64_t value = -1;
        const bool isReached = ac500_open(file.path(), ac500_simulator_address(own), &settings, &there) == AC500_OK &&
                               ac500_read_int64(there, "Main.int", &value) == AC500_OK &&
                               ac500_close(there) == AC500_OK;
        ::_exit(isRefused ? (isReached ? 0 : 2) : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(ac500_simulator_stop(own), AC500_OK) << ac500_simulator_last_error();
}

// As a program that calls exit() does; what its checkers of memory make of it does not matter here.
TEST_F(EarlyEndTest, TheChildOfAForkMayEndWhileTheSimulatorOfItsParentRuns) {
    ac500_simulator* own = nullptr;
    ASSERT_EQ(ac500_simulator_start(file.path(), nullptr, &own), AC500_OK) << ac500_simulator_last_error();
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(60);
        std::exit(0);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status)) << "it hung";
    EXPECT_EQ(ac500_simulator_stop(own), AC500_OK) << ac500_simulator_last_error();
}

// The end of the child destroys the parent's copies of the driver, and what Qt has: none of their locks may be held there. The
// simulator is in a process of its own, as its thread is in no gate.
TEST_F(EarlyEndTest, AForkMayComeAtAnyMomentOfASession) {
    ChildProcess program;
    ASSERT_TRUE(program.start(kSimulatorProgram, {"--symbols", file.path(), "--port", "0", "--quiet"}));
    const std::string line = program.takeLine(paced(20000));
    const std::string address = line.substr(line.rfind(' ') + 1);
    settings.cycle_ms = 1;
    const char* const names[] = {"Main.int", "Main.real", "Main.lint"};
    testing::internal::CaptureStderr();
    int status = 0;
    for (int i = 0; i < sized(200) && status == 0; ++i) {
        ac500_plc* busy = nullptr;
        ac500_subscription* subscription = nullptr;
        ASSERT_EQ(ac500_open(file.path(), address.c_str(), &settings, &busy), AC500_OK) << error();
        ASSERT_EQ(ac500_subscribe(busy, names, 3, 0, nullptr, nullptr, &subscription), AC500_OK) << error();
        std::this_thread::sleep_for(std::chrono::microseconds(50 * i));
        const pid_t child = ::fork();
        if (child == 0) {
            ::alarm(20);
            std::exit(0);
        }
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_EQ(ac500_close(busy), AC500_OK);
    }
    EXPECT_EQ(status, 0) << "14 is a child that hung";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "a lock was held";
}
#endif

}  // namespace
}  // namespace ac500::test
