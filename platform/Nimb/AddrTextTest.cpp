#include "Nimb/AddrText.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>

#include <cstring>
#include <optional>
#include <random>
#include <string>

#include "Zin/Errors.h"
#include "Zin/Format.h"

namespace Nimb {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Property;
using ::testing::Throws;

auto failsAt(std::size_t offset, std::string const& expected) {
    return Throws<Zin::ParseError>(
        AllOf(Property(&Zin::ParseError::offset, offset),
              Property(&Zin::ParseError::expected, HasSubstr(expected))));
}

Ip4Bytes parseIp4(std::string_view text) {
    AddrReader reader(text);
    Ip4Bytes const address = reader.ip4();
    reader.end();
    return address;
}

Ip6Bytes parseIp6(std::string_view text) {
    AddrReader reader(text);
    Ip6Bytes const address = reader.ip6();
    reader.end();
    return address;
}

std::uint8_t parsePrefixLength(std::string_view text, std::uint8_t max) {
    AddrReader reader(text);
    std::uint8_t const length = reader.prefixLength(max);
    reader.end();
    return length;
}

std::string print(auto const& bytes) { return std::string(std::string_view(AddrText() << bytes)); }

// What the C library reads in the text.
template <class Bytes>
std::optional<Bytes> systemParse(int family, std::string const& text) {
    Bytes bytes{};
    if (text.find('\0') != std::string::npos || inet_pton(family, text.c_str(), &bytes) != 1) {
        return std::nullopt;
    }
    return bytes;
}

template <class Parse>
auto tryParse(Parse parse, std::string const& text) -> std::optional<decltype(parse(text))> {
    try {
        return parse(text);
    } catch (Zin::ParseError const&) {
        return std::nullopt;
    }
}

TEST(AddrText, PrintsIpv4AsADottedQuad) {
    EXPECT_EQ(print(Ip4Bytes{}), "0.0.0.0");
    EXPECT_EQ(print(Ip4Bytes{10, 0, 200, 255}), "10.0.200.255");
}

TEST(AddrText, PrintsIpv6InItsCanonicalForm) {
    auto const canonical = [](char const* text) { return print(parseIp6(text)); };

    EXPECT_EQ(canonical("0:0:0:0:0:0:0:0"), "::");
    EXPECT_EQ(canonical("0:0:0:0:0:0:0:1"), "::1");
    EXPECT_EQ(canonical("1:0:0:0:0:0:0:0"), "1::");
    EXPECT_EQ(canonical("2001:0DB8:0:0:8:800:200C:417A"), "2001:db8::8:800:200c:417a");
    // One zero group is not shortened.
    EXPECT_EQ(canonical("2001:db8::1:1:1:1:1"), "2001:db8:0:1:1:1:1:1");
    // The longest run is; of equally long ones the first.
    EXPECT_EQ(canonical("2001:0:0:1:0:0:0:1"), "2001:0:0:1::1");
    EXPECT_EQ(canonical("2001:db8:0:0:1:0:0:1"), "2001:db8::1:0:0:1");
    // An IPv4 address in IPv6 storage shows as one.
    EXPECT_EQ(canonical("::ffff:c000:0280"), "::ffff:192.0.2.128");
    EXPECT_EQ(canonical("::fffe:c000:0280"), "::fffe:c000:280");
    EXPECT_EQ(canonical("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"),
              "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff");
}

// Agreement of the two readers over many nearly well-formed texts, made by changing good ones.
TEST(AddrReader, ReadsWhatTheSystemReads) {
    std::vector<std::string> const seeds{"10.0.0.1",
                                         "255.255.255.255",
                                         "0.0.0.0",
                                         "::",
                                         "::1",
                                         "1::",
                                         "fe80::1",
                                         "2001:db8:1:2:3:4:5:6",
                                         "1:2:3:4:5:6:7::",
                                         "::2:3:4:5:6:7:8",
                                         "::ffff:1.2.3.4",
                                         "1:2:3:4:5:6:1.2.3.4",
                                         "1:2:3:4:5::1.2.3.4",
                                         "ABCD:ef01::2345"};
    std::string_view const alphabet = "0123456789abcdefABCDEFg:::....:: /%-+";
    std::mt19937 random(1);
    auto const below = [&random](std::size_t end) { return random() % end; };
    int wellFormed = 0;
    for (int i = 0; i < 60000; ++i) {
        std::string text = seeds[below(seeds.size())];
        for (std::size_t changes = below(4); changes > 0; --changes) {
            char const c = alphabet[below(alphabet.size())];
            switch (std::size_t const at = below(text.size() + 1); below(3)) {
                case 0:
                    text.insert(at, 1, c);
                    break;
                case 1:
                    text.erase(at, 1);
                    break;
                default:
                    if (at < text.size()) {
                        text[at] = c;
                    }
            }
        }

        auto const ip4 = tryParse(parseIp4, text);
        auto const ip6 = tryParse(parseIp6, text);

        ASSERT_EQ(ip4, systemParse<Ip4Bytes>(AF_INET, text)) << text;
        ASSERT_EQ(ip6, systemParse<Ip6Bytes>(AF_INET6, text)) << text;
        wellFormed += ip4.has_value() || ip6.has_value();
    }
    EXPECT_GT(wellFormed, 15000);
}

// Numbers that come out right only where they overflow, and forms with a number in front or behind
// too many, each of them where any number of a good text stands.
TEST(AddrReader, ReadsWhatTheSystemReadsWhereANumberOrAGroupIsBeyondWhatFits) {
    std::vector<std::string> const beyond{"256",
                                          "257",
                                          "4294967295",
                                          "4294967296",
                                          "4294967297",
                                          "65536",
                                          "65537",
                                          "18446744073709551616",
                                          "18446744073709551617",
                                          "340282366920938463463374607431768211457",
                                          "00000001",
                                          "10000",
                                          "10001",
                                          "100000000",
                                          "100000001",
                                          "1:1",
                                          "1.1",
                                          "1.2.3.4",
                                          "1.2.3.4:5",
                                          "::",
                                          "1::1",
                                          "1:1:1:1:1",
                                          "1:1.2.3.4",
                                          "",
                                          "-1"};
    std::vector<std::string> const good{"1.0.0.1",
                                        "1:2:3:4:5:6:7:8",
                                        "1:2:3:4:5:6:7.8.9.10",
                                        "::1",
                                        "1::",
                                        "::7.8.9.10",
                                        "1:2:3:4:5::7.8.9.10",
                                        "1:2:3:4:5:6::7.8.9.10",
                                        "1:2:3:4:5:6:7::7.8.9.10",
                                        "1:2:3:4:5:6:7:7.8.9.10",
                                        "1:2:3:4:5:6:7:8:7.8.9.10",
                                        "1:2:3:4:5:6:7::8",
                                        "::1:2:3:4:5:6:7.8.9.10"};
    for (std::string const& text : good) {
        for (std::size_t from = 0; from <= text.size(); ++from) {
            for (std::size_t size = 0; size <= 3 && from + size <= text.size(); ++size) {
                for (std::string const& number : beyond) {
                    // Of just its own size on the heap, where a sanitizer sees its end.
                    std::string changed = text;
                    changed.replace(from, size, number);
                    ASSERT_EQ(tryParse(parseIp4, changed), systemParse<Ip4Bytes>(AF_INET, changed))
                        << changed;
                    ASSERT_EQ(tryParse(parseIp6, changed), systemParse<Ip6Bytes>(AF_INET6, changed))
                        << changed;
                }
            }
        }
    }
}

TEST(AddrReader, ReadsWhatTheSystemReadsInRandomTextsOfItsCharacters) {
    std::mt19937 random(2);
    int wellFormed = 0;
    for (int i = 0; i < 100000; ++i) {
        std::string text;
        for (auto parts = random() % 10; parts > 0; --parts) {
            switch (random() % 4) {
                case 0:
                    text += ':';
                    break;
                case 1:
                    text += '.';
                    break;
                default:
                    text += fmt::format("{:x}", random() >> (12 + random() % 20));
            }
            if (random() % 2 == 0) {
                text += text.find('.') == std::string::npos ? ':' : '.';
            }
        }
        ASSERT_EQ(tryParse(parseIp4, text), systemParse<Ip4Bytes>(AF_INET, text)) << text;
        auto const ip6 = tryParse(parseIp6, text);
        ASSERT_EQ(ip6, systemParse<Ip6Bytes>(AF_INET6, text)) << text;
        wellFormed += ip6.has_value();
    }
    EXPECT_GT(wellFormed, 100);
}

TEST(AddrText, EveryIpv6AddressReadsBackAsItselfAndAsTheSystemReadsIt) {
    std::mt19937 random(1);
    for (int i = 0; i < 50000; ++i) {
        Ip6Bytes bytes{};
        for (std::size_t group = 0; group < 8; ++group) {
            // Mostly zeros, so that runs of all lengths come up.
            if (random() % 3 == 0) {
                bytes[2 * group] = static_cast<std::uint8_t>(random() >> (random() % 9));
                bytes[2 * group + 1] = static_cast<std::uint8_t>(random());
            }
        }
        std::string const text = print(bytes);

        ASSERT_EQ(parseIp6(text), bytes) << text;
        ASSERT_EQ(systemParse<Ip6Bytes>(AF_INET6, text), bytes) << text;
    }
}

TEST(AddrReader, SaysWhatIsWrongWithAnIpv4AddressAndWhere) {
    EXPECT_THAT([] { parseIp4(""); }, failsAt(0, "0 to 255"));
    EXPECT_THAT([] { parseIp4("10.0.0"); }, failsAt(6, "\".\""));
    EXPECT_THAT([] { parseIp4("10.0.0.256"); }, failsAt(7, "0 to 255"));
    EXPECT_THAT([] { parseIp4("10.00.0.1"); }, failsAt(3, "0 to 255"));
    EXPECT_THAT([] { parseIp4("10.0.0.1 "); }, failsAt(8, "end"));
    EXPECT_THAT([] { parseIp4("99999999999999999999.0.0.1"); }, failsAt(0, "0 to 255"));
}

TEST(AddrReader, SaysWhatIsWrongWithAnIpv6AddressAndWhere) {
    EXPECT_THAT([] { parseIp6(""); }, failsAt(0, "hexadecimal"));
    EXPECT_THAT([] { parseIp6("1:2:3"); }, failsAt(5, "eight groups"));
    EXPECT_THAT([] { parseIp6("1:2:3:"); }, failsAt(6, "hexadecimal"));
    EXPECT_THAT([] { parseIp6(":1::"); }, failsAt(0, "hexadecimal"));
    EXPECT_THAT([] { parseIp6("12345::"); }, failsAt(0, "hexadecimal"));
    EXPECT_THAT([] { parseIp6("1::2::3"); }, failsAt(5, "hexadecimal"));
    EXPECT_THAT([] { parseIp6("1:2:3:4::5:6:7:8"); }, failsAt(16, "fewer than eight"));
    EXPECT_THAT([] { parseIp6("fe80::1%eth0"); }, failsAt(7, "end"));
    EXPECT_THAT([] { parseIp6("::1.2.3"); }, failsAt(7, "\".\""));
}

TEST(AddrReader, ReadsAPrefixLengthUpToTheMaximum) {
    EXPECT_EQ(parsePrefixLength("/0", 32), 0);
    EXPECT_EQ(parsePrefixLength("/32", 32), 32);
    EXPECT_EQ(parsePrefixLength("/128", 128), 128);
    EXPECT_THAT([] { parsePrefixLength("/33", 32); }, failsAt(1, "0 to 32"));
    EXPECT_THAT([] { parsePrefixLength("/129", 128); }, failsAt(1, "0 to 128"));
    EXPECT_THAT([] { parsePrefixLength("/256", 128); }, failsAt(1, "0 to 128"));
    EXPECT_THAT([] { parsePrefixLength("/4294967296", 32); }, failsAt(1, "0 to 32"));
    EXPECT_THAT([] { parsePrefixLength("/18446744073709551624", 128); }, failsAt(1, "0 to 128"));
    EXPECT_THAT([] { parsePrefixLength("/-0", 32); }, failsAt(1, "0 to 32"));
    EXPECT_THAT([] { parsePrefixLength("/08", 32); }, failsAt(1, "0 to 32"));
    EXPECT_THAT([] { parsePrefixLength("/", 32); }, failsAt(1, "0 to 32"));
    EXPECT_THAT([] { parsePrefixLength("", 32); }, failsAt(0, "prefix length"));
    EXPECT_THAT([] { parsePrefixLength("/8/", 32); }, failsAt(2, "end"));
}

}  // namespace
}  // namespace Nimb
