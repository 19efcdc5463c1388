#include "Families.h"
#include "Rows.h"

#include <common/AddressRange.h>
#include <common/AddressText.h>

#include <arpa/inet.h>
#include <netinet/ether.h>

#include <algorithm>
#include <array>
#include <string_view>

#if HAVE_ASIO
#include <asio/ip/address_v4.hpp>
#include <asio/ip/address_v4_range.hpp>
#include <asio/ip/address_v6.hpp>
#include <asio/ip/address_v6_range.hpp>
#endif
#if HAVE_FMT
#include <fmt/compile.h>
#include <fmt/format.h>
#endif

namespace zor::common::bench {

namespace {

__extension__ typedef unsigned __int128 Wide;

CIpAddress Ipv4(std::uint64_t random)
{
    return static_cast<unsigned int>(random >> 32);
}

/// The hosts of a few networks, as a list of devices has them: their texts are much alike.
CIpAddress Ipv4Host(std::uint64_t random)
{
    return {10, 0, static_cast<unsigned char>(random % 4), static_cast<unsigned char>(100 + random / 4 % 100)};
}

/// No group is zero, so that all libraries print it alike.
CIpv6Address Ipv6Full(std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    CIpv6Address address;
    for (int i = 0; i < 16; i += 2) {
        const auto group = static_cast<unsigned int>(random() & 0xffff) >> random() % 4 * 4 | 1;
        address[i] = static_cast<unsigned char>(group >> 8);
        address[i + 1] = static_cast<unsigned char>(group);
    }
    return address;
}

CIpv6Address Ipv6Gap(std::uint64_t seed)
{
    CIpv6Address address = Ipv6Full(seed | 1);
    const int start = 2 + static_cast<int>(seed % 3);
    for (int i = 2 * start; i < 2 * start + 4 + static_cast<int>(seed / 3 % 3) * 2; ++i) address[i] = 0;
    return address;
}

CIpv6Address Ipv6Dotted(std::uint64_t random)
{
    CIpv6Address address;
    address.SetIpv4MappedAddr(Ipv4(random | 0x0100000000000000));
    return address;
}

CMacAddress Mac(std::uint64_t random)
{
    return random;
}

CWorldWideName Name(std::uint64_t random)
{
    return random;
}

/// Twelve hosts over and over, which a branch predictor learns.
template <class Make>
auto LearntInputs(Make make)
{
    std::size_t i = 0;
    return Inputs([i, make](std::uint64_t) mutable { return make(i++ % 12 * 0x9e3779b97f4a7c15); });
}

template <class Address>
std::string Text(const Address& address)
{
    char text[kMaxTextSize<Address>];
    return {text, ToChars(text, text + sizeof text, address)};
}

template <class Address>
Address ReadStrictly(const std::string& text)
{
    Address address;
    FromChars(text.data(), text.data() + text.size(), address);
    return address;
}

template <class Address>
Address ReadLeniently(const std::string& text)
{
    Address address;
    address.CopyFromString(text, nullptr);
    return address;
}

void ReadIpv4Row(const char* name, const std::vector<std::string>& texts)
{
    Row row(name, 0.9, texts, ReadStrictly<CIpAddress>);
    row.Beside("CopyFromString", ReadLeniently<CIpAddress>).Against("inet_pton", [](const std::string& text) {
        in_addr address{};
        inet_pton(AF_INET, text.c_str(), &address);
        return ntohl(address.s_addr);
    });
#if HAVE_ASIO
    row.Against("asio", [](const std::string& text) {
        asio::error_code error;
        return asio::ip::make_address_v4(text, error).to_uint();
    });
#else
    row.Missing("asio");
#endif
}

void ReadIpv6Row(const char* name, CIpv6Address (*make)(std::uint64_t))
{
    Row row(name, 0.9, Inputs([make](std::uint64_t random) { return Text(make(random)); }), ReadStrictly<CIpv6Address>);
    row.Beside("CopyFromString", ReadLeniently<CIpv6Address>).Against("inet_pton", [](const std::string& text) {
        unsigned char bytes[16] = {};
        inet_pton(AF_INET6, text.c_str(), bytes);
        return CIpv6Address(bytes);
    });
#if HAVE_ASIO
    row.Against("asio", [](const std::string& text) {
        asio::error_code error;
        return CIpv6Address(asio::ip::make_address_v6(text, error).to_bytes().data());
    });
#else
    row.Missing("asio");
#endif
}

void ReadRows()
{
    ReadIpv4Row("IPv4 read strictly", Inputs([](std::uint64_t random) { return Text(Ipv4(random)); }));
    ReadIpv4Row("IPv4 read strictly, learnt",
                LearntInputs([](std::uint64_t random) { return Text(Ipv4Host(random)); }));
    ReadIpv6Row("IPv6 read strictly, full", Ipv6Full);
    ReadIpv6Row("IPv6 read strictly, with ::", Ipv6Gap);
    ReadIpv6Row("IPv6 read strictly, dotted tail", Ipv6Dotted);
    Row("MAC read strictly", 0.9, Inputs([](std::uint64_t random) { return Text(Mac(random)); }),
        ReadStrictly<CMacAddress>)
        .Beside("CopyFromString", ReadLeniently<CMacAddress>)
        .Against("ether_aton_r", [](const std::string& text) {
            ether_addr address{};
            ether_aton_r(text.c_str(), &address);
            return CMacAddress(static_cast<const unsigned char*>(address.ether_addr_octet));
        });
    Row("World Wide Name read strictly", 0.9, Inputs([](std::uint64_t random) { return Text(Name(random)); }),
        ReadStrictly<CWorldWideName>)
        .Beside("CopyFromString", ReadLeniently<CWorldWideName>);
}

/// A print into a buffer that is used again.
template <class Print>
auto IntoBuffer(Print print)
{
    return [print, buffer = std::array<char, 64>()](const auto& address) mutable {
        return std::string_view(buffer.data(), static_cast<std::size_t>(print(buffer.data(), address) - buffer.data()));
    };
}

constexpr auto kPrint = [](char* out, const auto& address) { return ToChars(out, out + 64, address); };
constexpr auto kToString = [](const auto& address) { return address.ToString(); };

void PrintIpv6Row(const char* name, CIpv6Address (*make)(std::uint64_t))
{
    Row(name, 0.7, Inputs(make), IntoBuffer(kPrint))
        .Beside("ToString", kToString)
        .Against("inet_ntop", IntoBuffer([](char* out, const CIpv6Address& address) {
                     inet_ntop(AF_INET6, &address[0], out, 64);
                     return out + std::string_view(out).size();
                 }));
}

void PrintRows()
{
    Row ipv4("IPv4 print into a buffer", 0.7, Inputs(Ipv4), IntoBuffer(kPrint));
    ipv4.Beside("ToString", kToString).Against("inet_ntop", IntoBuffer([](char* out, const CIpAddress& address) {
                                                   unsigned char bytes[4];
                                                   address.CopyTo(bytes);
                                                   inet_ntop(AF_INET, bytes, out, 64);
                                                   return out + std::string_view(out).size();
                                               }));
#if HAVE_FMT
    ipv4.Against("{fmt}", IntoBuffer([](char* out, const CIpAddress& address) {
                     return fmt::format_to(out, FMT_COMPILE("{}.{}.{}.{}"), address[0], address[1], address[2],
                                           address[3]);
                 }));
#else
    ipv4.Missing("{fmt}");
#endif
    PrintIpv6Row("IPv6 print into a buffer, full", Ipv6Full);
    PrintIpv6Row("IPv6 print into a buffer, with ::", Ipv6Gap);
    PrintIpv6Row("IPv6 print into a buffer, dotted tail", Ipv6Dotted);
    CMacAddress::SetFormatStyle({1, ':'});
    Row("MAC print into a buffer", 0.7, Inputs(Mac), IntoBuffer(kPrint)).Beside("ToString", [](const CMacAddress& mac) {
        CMacAddress::SetFormatStyle({1, ':'}); // which is that of the process
        return mac.ToString();
    });
    CWorldWideName::SetFormatStyle({0, ':'});
    Row("World Wide Name print into a buffer", 0.7, Inputs(Name), IntoBuffer(kPrint)).Beside("ToString", kToString);
}

/// A list of addresses, a line each, with eleven that are none.
std::string List()
{
    std::string list;
    std::size_t line = 0;
    for (const CIpAddress& address : Inputs(Ipv4, 100000)) {
        list += Text(address);
        list += ++line % 9000 == 0 ? "x\n" : "\n";
    }
    return list;
}

/// What a program finds in a list.
struct Findings {
    std::uint64_t sum = 0;
    std::size_t faults = 0, lastLine = 0;

    bool operator==(const Findings& other) const
    {
        return sum == other.sum && faults == other.faults && lastLine == other.lastLine;
    }
};

template <class Read>
Findings ReadList(const std::string& list, Read read)
{
    Findings findings;
    const char* next = list.data();
    const char* const end = next + list.size();
    for (std::size_t line = 1; next != end; ++line) {
        const char* const newline = std::find(next, end, '\n');
        unsigned int number = 0;
        if (read(next, newline, number)) {
            findings.sum += number;
        } else {
            ++findings.faults;
            findings.lastLine = line;
        }
        next = newline + (newline != end ? 1 : 0);
    }
    return findings;
}

void ListRow()
{
    Row row("a list of 100,000 IPv4 addresses", 1.0, std::vector<std::string>{List()}, [](const std::string& list) {
        return ReadList(list, [](const char* first, const char* last, unsigned int& number) {
            CIpAddress address;
            if (FromChars(first, last, address).fault != TextFault::None) return false;
            number = detail::AddressNumber<CIpAddress>::Of(address);
            return true;
        });
    });
#if HAVE_ASIO
    row.Against("asio", [](const std::string& list) {
        return ReadList(list, [](const char* first, const char* last, unsigned int& number) {
            asio::error_code error;
            const std::string_view text(first, static_cast<std::size_t>(last - first));
            number = asio::ip::make_address_v4(text, error).to_uint();
            return !error;
        });
    });
#else
    row.Missing("asio");
#endif
}

/// Takes each number into a sum that no compiler can do without the walk.
std::uint64_t Mixed(std::uint64_t sum, std::uint64_t number)
{
    return (sum ^ number) * 0x9e3779b97f4a7c15;
}

void WalkRows()
{
    constexpr unsigned int kSteps = 10000;
    const auto firsts = [] { return Inputs([](std::uint64_t random) { return random >> 1; }, 16); };
    Row ipv4("IPv4 range of 10,000 walked", 1.05, firsts(), [](std::uint64_t random) {
        const CIpAddress first = Ipv4(random);
        std::uint64_t sum = 0;
        for (const CIpAddress address : AddressRange<CIpAddress>(first, first + (kSteps - 1))) {
            sum = Mixed(sum, std::hash<CIpAddress>()(address));
        }
        return sum;
    });
    ipv4.Beside("a loop over integers", [](std::uint64_t random) {
        const auto first = static_cast<unsigned int>(random >> 32);
        std::uint64_t sum = 0;
        for (unsigned int number = first; number != first + kSteps; ++number) sum = Mixed(sum, number);
        return sum;
    });
#if HAVE_ASIO
    ipv4.Against("asio", [](std::uint64_t random) {
        const auto first = static_cast<unsigned int>(random >> 32);
        std::uint64_t sum = 0;
        for (const auto& address :
             asio::ip::address_v4_range(asio::ip::address_v4(first), asio::ip::address_v4(first + kSteps))) {
            sum = Mixed(sum, address.to_uint());
        }
        return sum;
    });
#else
    ipv4.Missing("asio");
#endif
    Row("IPv6 range of 10,000 walked", 1.05, firsts(), [](std::uint64_t random) {
        const CIpv6Address first(random, ~std::uint64_t{0} - 5000);
        std::uint64_t sum = 0;
        for (const CIpv6Address address : AddressRange<CIpv6Address>(first, first + CIpv6Address(0, kSteps - 1))) {
            sum = Mixed(sum, std::hash<CIpv6Address>()(address));
        }
        return sum;
    }).Beside("addresses of a loop over unsigned __int128", [](std::uint64_t random) {
        const Wide first = static_cast<Wide>(random) << 64 | (~std::uint64_t{0} - 5000);
        std::uint64_t sum = 0;
        for (Wide number = first; number != first + kSteps; ++number) {
            const CIpv6Address address(static_cast<std::uint64_t>(number >> 64), static_cast<std::uint64_t>(number));
            sum = Mixed(sum, std::hash<CIpv6Address>()(address));
        }
        return sum;
    });
}

std::vector<AddressRange<CIpAddress>> Networks(std::size_t count)
{
    return Inputs(
        [](std::uint64_t random) {
            return AddressRange<CIpAddress>::Network(Ipv4(random), 24 + static_cast<int>(random % 9));
        },
        count);
}

void SummaryRows()
{
    // Both give the lowest address of all networks.
    using Pairs = std::vector<std::pair<unsigned int, unsigned int>>;
    const auto networks = Networks(1000000);
    Pairs pairs;
    for (const auto& network : networks) {
        const auto number = [](const CIpAddress& address) { return detail::AddressNumber<CIpAddress>::Of(address); };
        pairs.emplace_back(number(network.GetFirst()), number(network.GetLast()));
    }
    Row("a million IPv4 networks summarised", 1.5, Steps(1), [networks](std::uint32_t) {
        return Summarize(networks).front().network;
    }).Beside("std::sort of as many pairs", [pairs](std::uint32_t) {
        Pairs sorted = pairs;
        std::sort(sorted.begin(), sorted.end());
        return CIpAddress(sorted.front().first);
    });
    Growth("IPv4 networks summarised", 125000,
           [](std::size_t count) { return [networks = Networks(count)] { return Summarize(networks).size(); }; });
}

} // namespace

void AddressTextRows()
{
    ReadRows();
    PrintRows();
    ListRow();
}

void AddressRangeRows()
{
    WalkRows();
    SummaryRows();
}

} // namespace zor::common::bench
