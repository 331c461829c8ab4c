// The C interface of the client, used by eight threads over two PLCs, of which one is closed under their feet.
#include "tools/client/ac500_client.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/places.h"
#include "tests/threads/model_plc.h"
#include "tests/threads/plant.h"

namespace ac500::test {
namespace {

void countEvent(void* user, ac500_subscription*, ac500_values* values) {
    *static_cast<std::atomic<std::size_t>*>(user) += ac500_values_count(values);
}

TEST(ClientThreads, EightThreadsWorkOnTwoPlcs) {
    const std::string path = "/tmp/ac500-client-threads-" + std::to_string(getpid());
    std::ofstream(path) << kProgram;
    const symbol_file::SymbolFile file = symbol_file::parseSymbolFile(kProgram).file;
    ModelPlc first(file);
    ModelPlc second(file);
    ac500_settings settings{};
    ac500_settings_init(&settings, sizeof settings);
    settings.driver = kDriver;
    settings.cycle_ms = 1;
    settings.time_limit_ms = 60000;
    ac500_plc* plcs[2] = {};
    ASSERT_EQ(ac500_open(path.c_str(), first.address().c_str(), &settings, &plcs[0]), AC500_OK) << ac500_last_error();
    ASSERT_EQ(ac500_open(path.c_str(), second.address().c_str(), &settings, &plcs[1]), AC500_OK) << ac500_last_error();

    std::atomic<int> failures{0};
    std::atomic<int> roundsOfSecond{0};
    // What a call on the second PLC may come to: it is closed while they work.
    const auto expect = [&](ac500_result result, int plc) {
        const bool isClosed = plc == 1 && (result == AC500_CLOSED || result == AC500_USAGE);
        if (result != AC500_OK && !isClosed) {
            ADD_FAILURE() << ac500_result_name(result) << ": " << ac500_last_error();
            ++failures;
        }
        return result == AC500_OK;
    };
    const auto writeAndRead = [&](int plc) {
        for (int round = 1; round <= 20; ++round) {
            std::int64_t value = 0;
            expect(ac500_write_int64(plcs[plc], "Main.words[1]", round), plc);
            expect(ac500_read_int64(plcs[plc], "Main.words[1]", &value), plc);
            roundsOfSecond += plc;
        }
    };
    const auto readMany = [&](int plc) {
        const char* const names[] = {"Main.beat", "Main.words", "Main.text"};
        for (int round = 0; round < 20; ++round) {
            ac500_values* values = nullptr;
            if (expect(ac500_read(plcs[plc], names, 3, &values), plc)) {
                const char* text = nullptr;
                ac500_get_text(values, 1, &text);
                ac500_free_values(values);
            }
        }
    };
    const auto watch = [&](int plc) {
        for (int round = 0; round < 10; ++round) {
            const char* const names[] = {"Main.beat", "Main.words"};
            std::atomic<std::size_t> told{0};
            ac500_subscription* subscription = nullptr;
            if (!expect(ac500_subscribe(plcs[plc], names, 2, AC500_ON_RECEPTION, countEvent, &told, &subscription),
                        plc)) {
                return;
            }
            for (int look = 0; look < 200 && told < 2; ++look) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            ac500_unsubscribe(subscription);
        }
    };
    const auto lookAround = [&](int plc) {
        for (int round = 0; round < 20; ++round) {
            ac500_status status{};
            expect(ac500_get_status(plcs[plc], &status, sizeof status), plc);
            ac500_tag* tag = nullptr;
            if (expect(ac500_find_tag(plcs[plc], "Main.beat", &tag), plc)) {
                ac500_values* values = nullptr;
                if (expect(ac500_latest(plcs[plc], &tag, 1, &values), plc)) {
                    ac500_free_values(values);
                }
                ac500_free_tag(tag);
            }
        }
    };
    std::vector<std::thread> threads;
    for (const int plc : {0, 1}) {
        threads.emplace_back([&, plc] { writeAndRead(plc); });
        threads.emplace_back([&, plc] { readMany(plc); });
        threads.emplace_back([&, plc] { watch(plc); });
        threads.emplace_back([&, plc] { lookAround(plc); });
    }
    while (roundsOfSecond < 5) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(ac500_close(plcs[1]), AC500_OK);
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(ac500_close(plcs[0]), AC500_OK);
    EXPECT_EQ(failures, 0);
    std::remove(path.c_str());
}

}  // namespace
}  // namespace ac500::test
