// Random values for tests of what is made of interfaces and addresses. They come from small pools,
// so that equal ones meet often; the names include those that try to break a text form. The same
// seed draws the same values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>

#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntryContent.h"
#include "Nimb/IpGenAddrWithMask.h"

namespace TestKit {

class RandomValues {
public:
    explicit RandomValues(std::uint32_t seed = 1) : random_(seed) {}

    std::size_t below(std::size_t end) { return random_() % end; }
    bool flip() { return below(2) == 0; }

    // A name of up to four pieces of text forms and odd bytes.
    std::string name() {
        static constexpr std::string_view pieces[] = {"Ethernet",
                                                      "1",
                                                      "2",
                                                      ";addr=",
                                                      ";virtualIp=",
                                                      "virtualIp=true",
                                                      ";subnet=",
                                                      ";addrWithMask=",
                                                      ";deprecated=",
                                                      "intfId=",
                                                      "'",
                                                      "\\",
                                                      "\\x41",
                                                      "})",
                                                      ", 'addr': ",
                                                      "10.0.0.1/24",
                                                      "{}",
                                                      "%s",
                                                      "\xff",
                                                      "\xc3",
                                                      "\n",
                                                      "\x7f",
                                                      {"\0", 1},
                                                      "a name of more than twenty-three bytes"};
        std::string name;
        for (std::size_t left = below(5); left > 0; --left) {
            name += pieces[below(std::size(pieces))];
        }
        return name;
    }
    Nimb::IntfId intfId() {
        static constexpr char const* common[] = {"", "Ethernet1", "Ethernet10", "Ethernet2"};
        return flip() ? Nimb::IntfId(common[below(std::size(common))]) : Nimb::IntfId(name());
    }

    Nimb::IpGenAddr addr() {
        switch (below(7)) {
            case 0:
                return {};
            case 1:
            case 2:
                return ip4();
            default:
                return ip6();
        }
    }
    Nimb::Ip4Addr ip4() {
        static constexpr std::uint8_t byte[] = {0, 1, 10, 255};
        return Nimb::Ip4Addr(Nimb::Ip4Bytes{byte[below(4)], byte[below(4)], 0, byte[below(4)]});
    }
    // Global and link-local ones; some have the storage bytes of an IPv4 address.
    Nimb::Ip6Addr ip6() {
        static constexpr std::uint8_t byte[] = {0, 1, 10, 255};
        Nimb::Ip6Bytes bytes{};
        switch (below(3)) {
            case 0:
                bytes = {0xfe, 0x80};
                break;
            case 1:
                bytes = {0x20, 0x01, 0x0d, 0xb8};
                break;
            default:
                bytes = {byte[below(4)], byte[below(4)], 0, byte[below(4)]};
                return Nimb::Ip6Addr(bytes);
        }
        bytes[15] = byte[below(4)];
        return Nimb::Ip6Addr(bytes);
    }
    std::uint8_t prefixLength(Nimb::AddressFamily family) {
        std::uint8_t const max = Nimb::maxPrefixLength(family);
        return flip() ? max : static_cast<std::uint8_t>(below(max + std::size_t{1}));
    }
    Nimb::IpGenAddrWithMask addrWithMask() {
        Nimb::IpGenAddr const address = addr();
        return {address, prefixLength(address.family())};
    }
    Nimb::IpGenPrefix subnet() { return addrWithMask().prefix(); }

    IpLib::IntfAddrEntryKey key() { return {intfId(), addr(), flip()}; }
    IpLib::IntfAddrEntryContent content() { return {key(), intfId(), subnet()}; }

private:
    std::mt19937 random_;
};

}  // namespace TestKit
