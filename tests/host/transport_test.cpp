#include "tools/host/transport.h"

#include <gtest/gtest.h>

namespace ac500::host {
namespace {

std::string parsed(const std::string& text) {
    const std::optional<Endpoint> endpoint = parseEndpoint(text);
    return endpoint ? endpoint->host + " " + std::to_string(endpoint->port) : "none";
}

TEST(Endpoint, HostAndPort) {
    EXPECT_EQ(parsed("192.168.0.10:1201"), "192.168.0.10 1201");
    EXPECT_EQ(parsed("plc.local:65535"), "plc.local 65535");
}

TEST(Endpoint, TheUsualPortIs1201) {
    EXPECT_EQ(parsed("192.168.0.10"), "192.168.0.10 1201");
    EXPECT_EQ(parsed("[::1]"), "::1 1201");
}

TEST(Endpoint, AddressesWithColonsStandInBrackets) {
    EXPECT_EQ(parsed("[::1]:502"), "::1 502");
    EXPECT_EQ(parsed("[::1"), "none");
    EXPECT_EQ(parsed("::1"), "none");
    EXPECT_EQ((Endpoint{"::1", 502}).text(), "[::1]:502");
    EXPECT_EQ(parsed("[::1]502"), "none");
}

TEST(Endpoint, WhatIsNoPortIsRefused) {
    for (const char* text : {"", ":1201", "plc:", "plc:0", "plc:65536", "plc:12x", "plc:-1"}) {
        EXPECT_EQ(parsed(text), "none") << text;
    }
}

}  // namespace
}  // namespace ac500::host
