#include "Families.h"
#include "Rows.h"

#include <common/IpAddress.h>

#include <arpa/inet.h>

#include <array>
#include <cstdio>

#if HAVE_ASIO
#include <asio/ip/address_v4.hpp>
#include <asio/ip/address_v4_iterator.hpp>
#include <asio/ip/network_v4.hpp>
#endif
#if HAVE_FMT
#include <fmt/compile.h>
#include <fmt/format.h>
#endif

namespace zor::common::bench {

namespace {

unsigned int Random32(std::uint64_t random)
{
    return static_cast<unsigned int>(random >> 32);
}

std::string Canonical(std::uint64_t random)
{
    return CIpAddress(Random32(random)).ToString();
}

/// What only sscanf reads: blanks, signs, leading zeros and text behind the address.
std::string Lenient(std::uint64_t random)
{
    static constexpr std::array kForms = {" %u.%u.%u.%u",   "%u. %u.%u.%u",   "+%u.%u.%u.%u",
                                          "000%u.%u.%u.%u", "%u.%u.%u.%u/24", "%u.%u.%u.%u:8080"};
    const unsigned int address = Random32(random);
    char text[64];
    std::snprintf(text, sizeof text, kForms[random % kForms.size()], address >> 24, address >> 16 & 0xff,
                  address >> 8 & 0xff, address & 0xff);
    return text;
}

/// Slips of people who type: a number above 255, a part missing, a letter.
std::string Rejected(std::uint64_t random)
{
    static constexpr std::array kForms = {"%u.%u.%u.256", "%u.%u.%u", "%u.%u.%uO.%u", "%u,%u.%u.%u", "host-%u.%u.%u"};
    const unsigned int address = Random32(random);
    char text[64];
    std::snprintf(text, sizeof text, kForms[random % kForms.size()], address >> 24, address >> 16 & 0xff,
                  address >> 8 & 0xff, address & 0xff);
    return text;
}

CIpAddress Parse(const std::string& text)
{
    CIpAddress address;
    address.CopyFromString(text, nullptr);
    return address;
}

unsigned int ParseByInetPton(const std::string& text)
{
    in_addr address{};
    inet_pton(AF_INET, text.c_str(), &address);
    return ntohl(address.s_addr);
}

unsigned int ParseByScan(const std::string& text)
{
    unsigned int n[4];
    if (std::sscanf(text.c_str(), "%u.%u.%u.%u", &n[0], &n[1], &n[2], &n[3]) != 4) return 0;
    if (n[0] > 255 || n[1] > 255 || n[2] > 255 || n[3] > 255) return 0;
    return n[0] << 24 | n[1] << 16 | n[2] << 8 | n[3];
}

void TextRows()
{
    Row parse("IPv4 parse, canonical", 0.6, Inputs(Canonical), Parse);
    parse.Against("inet_pton", ParseByInetPton);
#if HAVE_ASIO
    parse.Against("asio", [](const std::string& text) {
        asio::error_code error;
        return asio::ip::make_address_v4(text, error).to_uint();
    });
#else
    parse.Missing("asio");
#endif

    Row print("IPv4 print", 0.4, Inputs(Random32), [](unsigned int number) { return CIpAddress(number).ToString(); });
    print.Against("inet_ntop", [](unsigned int number) {
        const in_addr address = {htonl(number)};
        char text[INET_ADDRSTRLEN];
        return std::string(inet_ntop(AF_INET, &address, text, sizeof text));
    });
#if HAVE_FMT
    print.Against("{fmt}", [](unsigned int number) {
        return fmt::format(FMT_COMPILE("{}.{}.{}.{}"), number >> 24, number >> 16 & 0xff, number >> 8 & 0xff,
                           number & 0xff);
    });
#else
    print.Missing("{fmt}");
#endif

    Row("IPv4 parse, lenient forms", 1.05, Inputs(Lenient), Parse).Against("sscanf", ParseByScan);

    Row("IPv4 parse, rejected with a message", 1.0, Inputs(Rejected), [](const std::string& text) {
        std::string error;
        CIpAddress address;
        address.CopyFromString(text, &error);
        return error;
    }).Against("inet_pton", [](const std::string& text) {
        in_addr address{};
        if (inet_pton(AF_INET, text.c_str(), &address) == 1) return std::string();
        return "invalid ip address \"" + text + "\": should be dotted decimal";
    });
}

void ArithmeticRows()
{
    // One step and the network of the result, as a generator of flows does.
    Row step("IPv4 step and mask", 1.0, Inputs(Random32), [](unsigned int number) {
        CIpAddress address(number);
        ++address;
        return address.GetNetwork(24);
    });
#if HAVE_ASIO
    step.Against("asio", [](unsigned int number) {
        asio::ip::address_v4_iterator next{asio::ip::address_v4(number)};
        ++next;
        return asio::ip::network_v4(*next, 24).network().to_uint();
    });
#else
    step.Missing("asio");
#endif
}

} // namespace

void IpAddressRows()
{
    TextRows();
    ArithmeticRows();
}

} // namespace zor::common::bench
