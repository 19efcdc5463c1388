#ifndef ZOR_COMMON_ADDRESS_LITERALS_H
#define ZOR_COMMON_ADDRESS_LITERALS_H

/// \file
/// Literals for addresses: "10.0.0.1"_ip4.

#include "AddressText.h"

#include <cstddef>
#include <stdexcept>

/// C++20 can require that a literal is evaluated at compile time.
#if __cplusplus >= 202002L
#define ZOR_COMMON_LITERAL consteval
#else
#define ZOR_COMMON_LITERAL constexpr
#endif

#ifdef __clang__ // with -Weverything it would warn that C++17 has no such keyword
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wc++20-compat"
#endif

namespace zor::common {

namespace detail {

template <class Address>
constexpr Address AddressOfLiteral(const char* text, std::size_t size)
{
    Address address;
    const TextResult read = FromChars(text, text + size, address);
    if (read.fault != TextFault::None) throw std::invalid_argument(Describe(read.fault)); // or it does not compile
    return address;
}

} // namespace detail

/// The literals. Each accepts what FromChars() accepts. A text that is not an address does not compile in C++20. In
/// C++17 it does not compile where a constant is required; elsewhere it throws std::invalid_argument with the words of
/// Describe().
/// \code
/// using namespace zor::common::literals;
/// constexpr CIpAddress gateway = "10.0.0.1"_ip4;
/// const auto hosts = AddressRange("10.0.0.2"_ip4, "10.0.0.254"_ip4);
/// \endcode
namespace literals {

/// An IPv4 address.
ZOR_COMMON_LITERAL CIpAddress operator""_ip4(const char* text, std::size_t size)
{
    return detail::AddressOfLiteral<CIpAddress>(text, size);
}

/// An IPv6 address; a dotted tail sets its formatting flag.
ZOR_COMMON_LITERAL CIpv6Address operator""_ip6(const char* text, std::size_t size)
{
    return detail::AddressOfLiteral<CIpv6Address>(text, size);
}

/// A MAC address. The style that MAC addresses share stays as it is.
ZOR_COMMON_LITERAL CMacAddress operator""_mac(const char* text, std::size_t size)
{
    return detail::AddressOfLiteral<CMacAddress>(text, size);
}

/// A World Wide Name.
ZOR_COMMON_LITERAL CWorldWideName operator""_wwn(const char* text, std::size_t size)
{
    return detail::AddressOfLiteral<CWorldWideName>(text, size);
}

} // namespace literals

} // namespace zor::common

#ifdef __clang__
#pragma clang diagnostic pop
#endif

#undef ZOR_COMMON_LITERAL

#endif // ZOR_COMMON_ADDRESS_LITERALS_H
