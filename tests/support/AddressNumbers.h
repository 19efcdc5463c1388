#ifndef ZOR_COMMON_TESTS_ADDRESS_NUMBERS_H
#define ZOR_COMMON_TESTS_ADDRESS_NUMBERS_H

/// \file
/// Addresses of all types to and from the compiler's own numbers of 128 bits, byte by byte.

#include "Random.h"

#include <common/Ipv6Address.h>
#include <common/WorldWideName.h>

#include <type_traits>

namespace zor::common::test {

__extension__ typedef unsigned __int128 Wide;

template <class T>
constexpr int kSize = std::is_same_v<T, CIpAddress>     ? 4
                      : std::is_same_v<T, CMacAddress>  ? 6
                      : std::is_same_v<T, CIpv6Address> ? 16
                                                        : 8;

template <class T>
Wide NumberOf(const T& address)
{
    unsigned char bytes[kSize<T>];
    address.CopyTo(bytes);
    Wide number = 0;
    for (const unsigned char byte : bytes) number = number << 8 | byte;
    return number;
}

/// The address of the low bits of a number.
template <class T>
T FromNumber(Wide number)
{
    unsigned char bytes[kSize<T>];
    for (int i = kSize<T>; i-- > 0; number >>= 8) bytes[i] = static_cast<unsigned char>(number);
    return T(bytes);
}

template <class T>
T RandomAddress(Random& random)
{
    unsigned char bytes[kSize<T>];
    for (unsigned char& byte : bytes) byte = random.Byte();
    return T(bytes);
}

/// What \a change makes of an address.
template <class T, class Change>
T After(T address, Change change)
{
    change(address);
    return address;
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_ADDRESS_NUMBERS_H
