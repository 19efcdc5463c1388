#ifndef ZOR_COMMON_ADDRESS_PREFIX_H
#define ZOR_COMMON_ADDRESS_PREFIX_H

/// \file
/// Prefix, a network as a value.

#include "BigEndian.h"
#include "IpAddress.h"
#include "Ipv6Address.h"
#include "MacAddress.h"
#include "WorldWideName.h"

#include <cstdint>

namespace zor::common {

/// A network: an address and the number of leading bits that all of its members share.
///
/// A plain record. The host bits of `network` may be set; AddressRange::Network() clears them. `length` is from 0,
/// which means all addresses, to the width of the address in bits; functions clamp a length outside this range.
template <class Address>
struct Prefix {
    Address network; ///< The address; usually its host bits are zero.
    int length = 0;  ///< The prefix length in bits.

    /// Whether addresses and lengths are equal; the formatting flag of an IPv6 address is ignored.
    friend constexpr bool operator==(const Prefix& left, const Prefix& right) noexcept
    {
        return left.network == right.network && left.length == right.length;
    }
    friend constexpr bool operator!=(const Prefix& left, const Prefix& right) noexcept { return !(left == right); }
};

namespace detail {

/// An address type as a number: its width in bits, and both ways. Numbers are never wider than that.
template <class Address>
struct AddressNumber;

template <>
struct AddressNumber<CIpAddress> {
    using Type = std::uint32_t;
    static constexpr int kBits = 32;

    static constexpr Type Of(const CIpAddress& address) noexcept
    {
        unsigned char bytes[4] = {};
        address.CopyTo(bytes);
        return LoadBig32(bytes);
    }
    static constexpr CIpAddress ToAddress(Type number) noexcept { return number; }
};

template <>
struct AddressNumber<CMacAddress> {
    using Type = std::uint64_t;
    static constexpr int kBits = 48;

    static constexpr Type Of(const CMacAddress& address) noexcept { return address.ToU64(); }
    static constexpr CMacAddress ToAddress(Type number) noexcept { return number; }
};

template <>
struct AddressNumber<CWorldWideName> {
    using Type = std::uint64_t;
    static constexpr int kBits = 64;

    static constexpr Type Of(const CWorldWideName& name) noexcept { return name.ToU64(); }
    static constexpr CWorldWideName ToAddress(Type number) noexcept { return number; }
};

template <>
struct AddressNumber<CIpv6Address> {
    using Type = Uint128;
    static constexpr int kBits = 128;

    static constexpr Type Of(const CIpv6Address& address) noexcept
    {
        unsigned char bytes[16] = {};
        address.CopyTo(bytes);
        return LoadBig128(bytes);
    }
    static constexpr CIpv6Address ToAddress(Type number) noexcept { return {number.high, number.low}; }
};

/// The prefix length of a type that is nearest to \a length.
template <class Address>
constexpr int NearestLength(int length) noexcept
{
    constexpr int kBits = AddressNumber<Address>::kBits;
    return length < 0 ? 0 : length < kBits ? length : kBits;
}

} // namespace detail

} // namespace zor::common

#endif // ZOR_COMMON_ADDRESS_PREFIX_H
