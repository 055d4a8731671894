#include "kp/ipaddr6.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <arpa/inet.h>
#include <random>
#include <vector>

namespace TEST_FILE {

IPAddr6 parsed(std::string_view text) {
    IPAddr6 address;
    EXPECT_TRUE(address.parse(text)) << text;
    return address;
}

std::vector<unsigned char> bytesOf(IPAddr6 const& address) {
    return {address.bytes().begin(), address.bytes().end()};
}

TEST(IPAddr6, DefaultIsAllZeroAndNoAddress) {
    IPAddr6 none;
    EXPECT_TRUE(none.empty());
    EXPECT_FALSE(none.isIPv4());
    EXPECT_EQ(bytesOf(none), std::vector<unsigned char>(16));
    EXPECT_EQ(none.str(true), "::");
    EXPECT_EQ(none.str(false), "::");
}

TEST(IPAddr6, IPv4IsHeldInMappedForm) {
    std::vector<unsigned char> const mapped = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 192, 0, 2, 1};
    unsigned char const quad[] = {192, 0, 2, 1};
    IPAddr6 fromBytes, fromNumber;
    fromBytes.setIPv4(quad);
    fromNumber.setIPv4(0xc0000201);
    EXPECT_EQ(bytesOf(fromBytes), mapped);
    EXPECT_EQ(fromNumber, fromBytes);
    EXPECT_TRUE(fromBytes.isIPv4());
    EXPECT_FALSE(fromBytes.empty());
    EXPECT_TRUE(std::equal(quad, quad + 4, fromBytes.ipv4Bytes().begin()));
}

TEST(IPAddr6, ZeroIPv4IsAnAddress) {
    IPAddr6 address;
    address.setIPv4(0);
    EXPECT_TRUE(address.isIPv4());
    EXPECT_FALSE(address.empty());
    EXPECT_EQ(address.str(true), "0.0.0.0");
}

TEST(IPAddr6, SetIPv4ReplacesAllBytesAndTakesItsOwn) {
    IPAddr6 address = parsed("2001:db8:1:2:3:4:c000:201");
    EXPECT_FALSE(address.isIPv4());
    address.setIPv4(address.ipv4Bytes());
    EXPECT_EQ(address, parsed("192.0.2.1"));
    IPAddr6 fromFront = parsed("c633:6405::1");
    fromFront.setIPv4(fromFront.bytes().first<4>());
    EXPECT_EQ(fromFront.str(true), "198.51.100.5");
}

TEST(IPAddr6, OnlyTheMappedPrefixIsIPv4) {
    EXPECT_TRUE(parsed("::ffff:0:0").isIPv4());
    for (char const* text : {"::1", "::192.0.2.1", "::fffe:c000:201", "::ffff:0:c000:201", "1::ffff:c000:201",
                             "64:ff9b::192.0.2.1"})
        EXPECT_FALSE(parsed(text).isIPv4()) << text;
}

TEST(IPAddr6, TheFlagChoosesThePlainFormOfIPv4) {
    IPAddr6 const address = parsed("192.0.2.1");
    EXPECT_EQ(address.str(true), "192.0.2.1");
    EXPECT_EQ(address.str(false), "::ffff:192.0.2.1");
    EXPECT_EQ(parsed("255.255.255.255").str(true), "255.255.255.255");
}

TEST(IPAddr6, Rfc5952Text) {
    std::pair<char const*, char const*> const forms[] = {
        {"2001:0db8::0001", "2001:db8::1"},               // 4.1: no leading zeros
        {"2001:db8:0:0:0:0:2:1", "2001:db8::2:1"},        // 4.2.1: as short as possible
        {"2001:db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1"}, // 4.2.2: not for one group
        {"2001:0:0:1:0:0:0:1", "2001:0:0:1::1"},          // 4.2.3: the longest run
        {"2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},    // 4.2.3: the first of equals
        {"2001:DB8:AAAA:BBBB:CCCC:DDDD:EEEE:AAAA", "2001:db8:aaaa:bbbb:cccc:dddd:eeee:aaaa"}, // 4.3
        {"0:0:0:0:0:0:0:1", "::1"},
        {"1:0:0:0:0:0:0:0", "1::"},
        {"0:0:1:0:0:0:0:0", "0:0:1::"},
        {"1:0:0:0:0:0:0:1", "1::1"},
        {"0:1:0:1:0:1:0:1", "0:1:0:1:0:1:0:1"},
        {"::192.0.2.1", "::c000:201"}, // 5: only a known prefix gets a quad
    };
    for (auto [given, expected] : forms)
        for (bool flag : {false, true})
            EXPECT_EQ(parsed(given).str(flag), expected);
}

TEST(IPAddr6, TextReadsBackForEveryPatternOfZeroGroups) {
    std::mt19937 random(2);
    for (unsigned pattern = 0; pattern < 256; ++pattern) {
        std::array<unsigned char, 16> bytes{};
        for (unsigned group = 0; group < 8; ++group)
            if ((pattern >> group & 1) != 0) {
                bytes[2 * group] = static_cast<unsigned char>(random());
                bytes[2 * group + 1] = static_cast<unsigned char>(random() | 1);
            }
        IPAddr6 const address(bytes);
        EXPECT_EQ(parsed(address.str(true)), address) << address.str(true);
        EXPECT_EQ(parsed(address.str(false)), address);
        // The C library writes the same text but for the IPv4-compatible prefix ::/96.
        char text[INET6_ADDRSTRLEN];
        ASSERT_NE(inet_ntop(AF_INET6, bytes.data(), text, sizeof text), nullptr);
        if ((pattern & 0x3f) != 0) {
            EXPECT_EQ(address.str(true), text);
        }
    }
}

TEST(IPAddr6, ParseRefusesEverythingElseAndChangesNothing) {
    std::string_view const bad[] = {"",
                                    ":",
                                    ":::",
                                    "1::2::3",
                                    "1:2:3:4:5:6:7",
                                    "1:2:3:4:5:6:7:8:9",
                                    "12345::",
                                    "g::",
                                    "::1%eth0",
                                    "::/64",
                                    "[::1]",
                                    " ::1",
                                    "::1 ",
                                    "192.0.2",
                                    "192.0.2.1.1",
                                    "192.0.2.256",
                                    "192.0.2.01",
                                    "192.0.2.-1",
                                    "0xc0000201",
                                    "3221225985",
                                    "192.0.2.1\n",
                                    "example.com",
                                    std::string_view("::1\0", 4),
                                    std::string_view("192.0.2.1\0.evil", 15)};
    for (std::string_view text : bad) {
        IPAddr6 address = parsed("2001:db8::1");
        EXPECT_FALSE(address.parse(text)) << text;
        EXPECT_EQ(address, parsed("2001:db8::1"));
    }
    EXPECT_FALSE(IPAddr6().parse(std::string(100000, ':')));
    EXPECT_FALSE(IPAddr6().parse(std::string(100000, '1')));
}

TEST(IPAddr6, ParsesTheLongestForm) {
    EXPECT_EQ(parsed("0000:0000:0000:0000:0000:ffff:192.168.100.228").str(true), "192.168.100.228");
}

TEST(IPAddr6, ComparesBytes) {
    EXPECT_EQ(parsed("::ffff:192.0.2.1"), parsed("192.0.2.1"));
    EXPECT_NE(parsed("::1"), IPAddr6());
    EXPECT_LT(parsed("2001:db8::1"), parsed("2001:db8::2"));
}

} // namespace TEST_FILE
