// Literals that must not compile, one a line; tests/support/CheckLiterals.cmake looks at what the compiler says.

#include <common/AddressLiterals.h>

using namespace zor::common::literals;

[[maybe_unused]] constexpr auto kIp = "10.0.0.1"_ip4;
[[maybe_unused]] constexpr auto kIpv6 = "::ffff:10.0.0.1"_ip6;
[[maybe_unused]] constexpr auto kMac = "001a.2b3c.4d5e"_mac;
[[maybe_unused]] constexpr auto kName = "20-00-00-25-b5-00-00-01"_wwn;

#ifdef WRONG_LITERALS
constexpr auto kWrong01 = ""_ip4;                           // wrong
constexpr auto kWrong02 = "10.0.0.256"_ip4;                 // wrong
constexpr auto kWrong03 = "10.0.0.01"_ip4;                  // wrong
constexpr auto kWrong04 = "10.0.0"_ip4;                     // wrong
constexpr auto kWrong05 = "10.0.0.1.2"_ip4;                 // wrong
constexpr auto kWrong06 = "10.0.0.1/24"_ip4;                // wrong
constexpr auto kWrong07 = " 10.0.0.1"_ip4;                  // wrong
constexpr auto kWrong08 = "::1"_ip4;                        // wrong
constexpr auto kWrong09 = ""_ip6;                           // wrong
constexpr auto kWrong10 = "1:2:3:4:5:6:7"_ip6;              // wrong
constexpr auto kWrong11 = "1::2::3"_ip6;                    // wrong
constexpr auto kWrong12 = "::12345"_ip6;                    // wrong
constexpr auto kWrong13 = "fe80::1%eth0"_ip6;               // wrong
constexpr auto kWrong14 = "::ffff:10.0.0.256"_ip6;          // wrong
constexpr auto kWrong15 = "10.0.0.1"_ip6;                   // wrong
constexpr auto kWrong16 = ""_mac;                           // wrong
constexpr auto kWrong17 = "00:1a:2b:3c:4d"_mac;             // wrong
constexpr auto kWrong18 = "00:1a:2b-3c:4d:5e"_mac;          // wrong
constexpr auto kWrong19 = "00.1a.2b.3c.4d.5e"_mac;          // wrong
constexpr auto kWrong20 = "001a2b3c4d5e"_mac;               // wrong
constexpr auto kWrong21 = "0:1a:2b:3c:4d:5e"_mac;           // wrong
constexpr auto kWrong22 = ""_wwn;                           // wrong
constexpr auto kWrong23 = "20:00:00:25:b5:00:00"_wwn;       // wrong
constexpr auto kWrong24 = "2000.0025.b500.0001"_wwn;        // wrong
constexpr auto kWrong25 = "20:00:00:25:b5:00:00:01:02"_wwn; // wrong
#if __cplusplus >= 202002L
void Use()
{
    static_cast<void>("10.0.0.256"_ip4); // wrong
}
#endif
#endif
