#include "Families.h"
#include "Rows.h"

#include <common/Ipv6Address.h>

#include <arpa/inet.h>
#include <endian.h>

#include <cstring>

#if HAVE_ASIO
#include <asio/ip/address_v6.hpp>
#include <asio/ip/address_v6_iterator.hpp>
#include <asio/ip/network_v6.hpp>
#endif
#if HAVE_BOOST
#include <boost/multiprecision/cpp_int.hpp>
#endif

namespace zor::common::bench {

namespace {

__extension__ typedef unsigned __int128 Wide;

/// A group of one to four digits, never zero.
unsigned int Group(std::mt19937_64& random)
{
    return static_cast<unsigned int>(random() & 0xffff) >> random() % 4 * 4 | 1;
}

void SetGroup(CIpv6Address& address, int i, unsigned int group)
{
    address[2 * i] = static_cast<unsigned char>(group >> 8);
    address[2 * i + 1] = static_cast<unsigned char>(group);
}

CIpv6Address Full(std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    CIpv6Address address;
    for (int i = 0; i < 8; ++i) SetGroup(address, i, Group(random));
    return address;
}

/// One run of two to seven zero groups, which all print the same way.
CIpv6Address Compressed(std::uint64_t seed)
{
    CIpv6Address address = Full(seed);
    const int length = 2 + static_cast<int>(seed % 6);
    const int start = static_cast<int>((seed >> 32) % static_cast<unsigned int>(9 - length));
    for (int i = start; i < start + length; ++i) SetGroup(address, i, 0);
    // An address of six or of five and ffff in front prints with a dotted tail elsewhere.
    if (address.IsIpv4CompatibleAddr() || address.IsIpv4MappedAddr()) address[0] = 0x20;
    return address;
}

/// IPv4-mapped and IPv4-compatible addresses, with the flag that makes them print as such.
CIpv6Address Dotted(std::uint64_t random)
{
    CIpv6Address address;
    const CIpAddress tail(static_cast<unsigned int>(random >> 32) | 0x01000000);
    if (random % 2 == 0) {
        address.SetIpv4MappedAddr(tail);
    } else {
        address.SetIpv4CompatibleAddr(tail);
    }
    return address;
}

/// What a program without an address class keeps.
struct Bytes {
    unsigned char bytes[16];

    friend bool operator==(const CIpv6Address& left, const Bytes& right)
    {
        return std::memcmp(&left[0], right.bytes, 16) == 0;
    }
};

#if HAVE_ASIO
asio::ip::address_v6 ToAsio(const CIpv6Address& address)
{
    asio::ip::address_v6::bytes_type bytes;
    address.CopyTo(bytes.data());
    return asio::ip::address_v6(bytes);
}

Bytes ToBytes(const asio::ip::address_v6& address)
{
    Bytes result;
    std::memcpy(result.bytes, address.to_bytes().data(), 16);
    return result;
}
#endif

void ParseRow(const char* name, double atMost, CIpv6Address (*form)(std::uint64_t))
{
    Row row(name, atMost, Inputs([form](std::uint64_t random) { return form(random).ToString(); }),
            [](const std::string& text) {
                CIpv6Address address;
                address.CopyFromString(text, nullptr);
                return address;
            });
    row.Against("inet_pton", [](const std::string& text) {
        Bytes bytes{};
        inet_pton(AF_INET6, text.c_str(), bytes.bytes);
        return bytes;
    });
#if HAVE_ASIO
    row.Against("asio", [](const std::string& text) {
        asio::error_code error;
        return ToBytes(asio::ip::make_address_v6(text, error));
    });
#else
    row.Missing("asio");
#endif
}

void PrintRow(const char* name, double atMost, CIpv6Address (*form)(std::uint64_t))
{
    Row row(name, atMost, Inputs(form), [](const CIpv6Address& address) { return address.ToString(); });
    row.Against("inet_ntop", [](const CIpv6Address& address) {
        char text[INET6_ADDRSTRLEN];
        return std::string(inet_ntop(AF_INET6, &address[0], text, sizeof text));
    });
#if HAVE_ASIO
    row.Against("asio", [](const CIpv6Address& address) { return ToAsio(address).to_string(); });
#else
    row.Missing("asio");
#endif
}

void TextRows()
{
    ParseRow("IPv6 parse, full", 0.4, Full);
    ParseRow("IPv6 parse, with ::", 0.5, Compressed);
    ParseRow("IPv6 parse, dotted tail", 0.9, Dotted);
    PrintRow("IPv6 print, full", 0.2, Full);
    PrintRow("IPv6 print, with ::", 0.25, Compressed);
    PrintRow("IPv6 print, dotted tail", 0.25, Dotted);
}

// As a user writes it: the number of sixteen bytes in network order, and back.
Wide Load(const CIpv6Address& address)
{
    std::uint64_t high = 0;
    std::uint64_t low = 0;
    std::memcpy(&high, &address[0], 8);
    std::memcpy(&low, &address[8], 8);
    return static_cast<Wide>(be64toh(high)) << 64 | be64toh(low);
}

Bytes Store(Wide number)
{
    const std::uint64_t high = htobe64(static_cast<std::uint64_t>(number >> 64));
    const std::uint64_t low = htobe64(static_cast<std::uint64_t>(number));
    Bytes result;
    std::memcpy(result.bytes, &high, 8);
    std::memcpy(result.bytes + 8, &low, 8);
    return result;
}

void SteppingRows()
{
    // One step and the network of the result, as a generator of flows does.
    const auto ours = [](CIpv6Address address) {
        ++address;
        return address.GetNetwork(112);
    };
    Row step("IPv6 step and mask", 0.6, Inputs(Full), ours);
#if HAVE_ASIO
    step.Against("asio", [](const CIpv6Address& address) {
        asio::ip::address_v6_iterator next(ToAsio(address));
        ++next;
        return ToBytes(asio::ip::network_v6(*next, 112).network());
    });
#else
    step.Missing("asio");
#endif
    Row("IPv6 step and mask, beside a plain number", 0.6, Inputs(Full), ours)
        .Beside("unsigned __int128",
                [](const CIpv6Address& address) { return Store((Load(address) + 1) & ~Wide{0} << 16); });

    // Prefixes of every length from /32 to /128, and steps of up to 24 bits.
    struct Subnet {
        CIpv6Address address;
        int length;
        unsigned int step;
    };
    Row("IPv6 next subnet", 2.0, Inputs([](std::uint64_t random) {
            return Subnet{Full(random), 32 + static_cast<int>(random % 97), static_cast<unsigned int>(random >> 40)};
        }),
        [](const Subnet& subnet) { return subnet.address.GetNextIp(subnet.length, subnet.step, 1); })
        .Beside("unsigned __int128", [](const Subnet& subnet) {
            return Store(Load(subnet.address) + (Wide{subnet.step} << (128 - subnet.length)));
        });
}

/// A dividend and a divisor in the types of all peers.
struct Division {
    CIpv6Address dividend, divisor;
    Wide wideDividend, wideDivisor;
#if HAVE_BOOST
    boost::multiprecision::uint128_t boostDividend, boostDivisor;
#endif
};

template <class Number>
struct Quotient {
    Number quotient, remainder;
};

/// Made in place, as a user would who does not want to copy.
struct OurQuotient {
    CIpv6Address remainder, quotient;

    explicit OurQuotient(const Division& division) : quotient(division.dividend.Divide(division.divisor, remainder)) {}

    template <class Number>
    bool operator==(const Quotient<Number>& other) const
    {
        return quotient == Store(static_cast<Wide>(other.quotient)) &&
               remainder == Store(static_cast<Wide>(other.remainder));
    }
};

/// Random numbers of 128 bits by such of as many bits as said.
void DivisionRow(const char* name, double atMost, int divisorBits)
{
    const auto make = [divisorBits](std::uint64_t seed) {
        std::mt19937_64 random(seed);
        Division division;
        division.dividend = CIpv6Address(random(), random());
        division.divisor = CIpv6Address(random() | 1ul << 63, random());
        division.divisor.ShiftRight(128 - divisorBits);
        division.wideDividend = Load(division.dividend);
        division.wideDivisor = Load(division.divisor);
#if HAVE_BOOST
        division.boostDividend = division.wideDividend;
        division.boostDivisor = division.wideDivisor;
#endif
        return division;
    };
    Row row(name, atMost, Inputs(make), [](const Division& division) { return OurQuotient(division); });
    row.Against("unsigned __int128", [](const Division& division) {
        return Quotient<Wide>{division.wideDividend / division.wideDivisor,
                              division.wideDividend % division.wideDivisor};
    });
#if HAVE_BOOST
    row.Against("boost::multiprecision", [](const Division& division) {
        Quotient<boost::multiprecision::uint128_t> result;
        divide_qr(division.boostDividend, division.boostDivisor, result.quotient, result.remainder);
        return result;
    });
#else
    row.Missing("boost::multiprecision");
#endif
}

void DivisionRows()
{
    DivisionRow("IPv6 division, 16-bit divisors", 0.8, 16);
    DivisionRow("IPv6 division, 64-bit divisors", 0.8, 64);
    DivisionRow("IPv6 division, 128-bit divisors", 1.2, 128);
}

} // namespace

void Ipv6AddressRows()
{
    TextRows();
    SteppingRows();
    DivisionRows();
}

} // namespace zor::common::bench
