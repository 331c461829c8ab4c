// The records of the C interfaces, byte by byte on x86-64 and on 32-bit ARM: what programs were compiled with stays.
#include <gtest/gtest.h>

#include <cstddef>

#include "tools/client/ac500_client.h"
#include "tools/client/ac500_simulator.h"

namespace ac500::test {
namespace {

// The second is for pointers of 4 bytes.
constexpr std::size_t bytes(std::size_t on64, std::size_t on32) {
    return sizeof(void*) == 8 ? on64 : on32;
}

TEST(Layout, OfRecordsIsAsItWasShipped) {
    EXPECT_EQ(sizeof(ac500_settings), bytes(48, 36));
    EXPECT_EQ(offsetof(ac500_settings, simulator), bytes(36, 28));
    EXPECT_EQ(offsetof(ac500_settings, handshake), bytes(40, 32));
    EXPECT_EQ(sizeof(ac500_status), bytes(1208, 1208));
    EXPECT_EQ(offsetof(ac500_status, handshake_text), bytes(696, 696));
    EXPECT_EQ(offsetof(ac500_status, last_failure_text), bytes(184, 184));
    EXPECT_EQ(sizeof(ac500_tag_info), bytes(88, 72));
    EXPECT_EQ(offsetof(ac500_tag_info, value_names), bytes(80, 64));
    EXPECT_EQ(sizeof(ac500_value_info), bytes(72, 64));
    EXPECT_EQ(offsetof(ac500_value_info, error_text), bytes(64, 56));
    EXPECT_EQ(sizeof(ac500_write_outcome), bytes(32, 20));
    EXPECT_EQ(offsetof(ac500_write_outcome, error_text), bytes(24, 16));
    EXPECT_EQ(sizeof(ac500_simulator_settings), bytes(32, 24));
    EXPECT_EQ(offsetof(ac500_simulator_settings, fault_count), bytes(24, 20));
    EXPECT_EQ(sizeof(ac500_simulator_counters), bytes(56, 56));
    EXPECT_EQ(offsetof(ac500_simulator_counters, faults), bytes(48, 48));
}

}  // namespace
}  // namespace ac500::test
