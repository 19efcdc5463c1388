#include "Families.h"
#include "Rows.h"

#include <common/MacAddress.h>

#include <netinet/ether.h>

#include <cstdio>

#if HAVE_FMT
#include <fmt/compile.h>
#include <fmt/format.h>
#endif

namespace zor::common::bench {

namespace {

constexpr CMacAddress::FormatStyle kSixGroups = {1, ':'};
constexpr CMacAddress::FormatStyle kThreeGroups = {0, '.'};

CMacAddress FromBytes(const std::uint8_t* bytes)
{
    return {bytes};
}

auto Texts(const CMacAddress::FormatStyle& style)
{
    CMacAddress::SetFormatStyle(style);
    return Inputs([](std::uint64_t random) { return CMacAddress(random).ToString(); });
}

CMacAddress Parse(const std::string& text)
{
    CMacAddress address;
    address.CopyFromString(text, nullptr);
    return address;
}

void ParseRows()
{
    Row("MAC parse, six groups", 0.5, Texts(kSixGroups), Parse)
        .Against("ether_aton_r",
                 [](const std::string& text) {
                     ether_addr address{};
                     ether_aton_r(text.c_str(), &address);
                     return FromBytes(address.ether_addr_octet);
                 })
        .Against("sscanf", [](const std::string& text) {
            unsigned int n[6] = {};
            std::sscanf(text.c_str(), "%x:%x:%x:%x:%x:%x", &n[0], &n[1], &n[2], &n[3], &n[4], &n[5]);
            unsigned char bytes[6];
            for (int i = 0; i < 6; ++i) bytes[i] = static_cast<unsigned char>(n[i]);
            return FromBytes(bytes);
        });

    Row("MAC parse, three groups", 0.1, Texts(kThreeGroups), Parse).Against("sscanf", [](const std::string& text) {
        unsigned int n[3] = {};
        std::sscanf(text.c_str(), "%x.%x.%x", &n[0], &n[1], &n[2]);
        return CMacAddress(static_cast<unsigned long>(n[0]) << 32 | static_cast<unsigned long>(n[1]) << 16 | n[2]);
    });
}

/// The style is one of the whole process, so each print sets the one of its row.
template <class Print>
void PrintRow(const char* name, const CMacAddress::FormatStyle& style, Print print)
{
    Row row(name, 0.15, Inputs([](std::uint64_t random) { return CMacAddress(random); }),
            [style](const CMacAddress& address) {
                CMacAddress::SetFormatStyle(style);
                return address.ToString();
            });
#if HAVE_FMT
    row.Against("{fmt}", print);
#else
    static_cast<void>(print);
    row.Missing("{fmt}");
#endif
}

void PrintRows()
{
#if HAVE_FMT
    PrintRow("MAC print, six groups", kSixGroups, [](const CMacAddress& address) {
        return fmt::format(FMT_COMPILE("{:02x}:{:02x}:{:02x}:{:02x}:{:02x}:{:02x}"), address[0], address[1], address[2],
                           address[3], address[4], address[5]);
    });
    PrintRow("MAC print, three groups", kThreeGroups, [](const CMacAddress& address) {
        const unsigned long number = address.ToU64();
        return fmt::format(FMT_COMPILE("{:04x}.{:04x}.{:04x}"), static_cast<unsigned int>(number >> 32),
                           static_cast<unsigned int>(number >> 16 & 0xffff),
                           static_cast<unsigned int>(number & 0xffff));
    });
#else
    PrintRow("MAC print, six groups", kSixGroups, nullptr);
    PrintRow("MAC print, three groups", kThreeGroups, nullptr);
#endif
}

} // namespace

void MacAddressRows()
{
    ParseRows();
    PrintRows();
}

} // namespace zor::common::bench
