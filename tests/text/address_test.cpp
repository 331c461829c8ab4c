#include "tools/text/address.h"

#include <gtest/gtest.h>

namespace ac500::text {
namespace {

std::string parsed(const std::string& text) {
    const std::optional<Address> address = parseAddress(text);
    return address ? address->host + (address->port ? " " + std::to_string(*address->port) : " -") : "none";
}

TEST(Address, HostAndPort) {
    EXPECT_EQ(parsed("192.168.0.10:1201"), "192.168.0.10 1201");
    EXPECT_EQ(parsed("plc.local:65535"), "plc.local 65535");
    EXPECT_EQ(parsed("plc.local:0"), "plc.local 0");
    EXPECT_EQ(parsed("plc.local"), "plc.local -");
}

TEST(Address, WithColonsStandsInBrackets) {
    EXPECT_EQ(parsed("[::1]:502"), "::1 502");
    EXPECT_EQ(parsed("[::1]"), "::1 -");
    for (const char* text : {"::1", "::1:502", "[::1", "[::1]502", "[::1]:", "[]:502", "[", "fe80::1:1201"}) {
        EXPECT_EQ(parsed(text), "none") << text;
    }
}

TEST(Address, WhatIsNoPortIsRefused) {
    for (const char* text : {"", ":1201", "plc:", "plc:65536", "plc:12x", "plc:-1", "plc:+1", "plc: 1"}) {
        EXPECT_EQ(parsed(text), "none") << text;
    }
}

TEST(Address, WithABlankOrAControlCharacterIsNone) {
    for (const char* text : {"a b c", " plc", "plc ", "plc\t", "pl\nc:1201", "[::1 ]:502", "plc\x7f"}) {
        EXPECT_EQ(parsed(text), "none") << text;
    }
    EXPECT_EQ(parsed(std::string("plc\0x", 5)), "none");
    EXPECT_EQ(parsed("pl\xC3\xA4tz:1201"), "pl\xC3\xA4tz 1201") << "a name may be written in any language";
}

TEST(Address, IsPrintedAsItIsTaken) {
    EXPECT_EQ(addressText("192.168.0.10", 1201), "192.168.0.10:1201");
    EXPECT_EQ(addressText("::1", 1201), "[::1]:1201");
}

TEST(Address, NumbersAreToldFromNames) {
    for (const char* numeric : {"127.0.0.1", "192.168.0.10", "::1", "fe80::1"}) {
        EXPECT_TRUE(isNumericAddress(numeric)) << numeric;
    }
    for (const char* name : {"", "plc", "plc.local", "127.0.0", "127.0.0.1.", "[::1]", "1:2"}) {
        EXPECT_FALSE(isNumericAddress(name)) << name;
    }
}

}  // namespace
}  // namespace ac500::text
