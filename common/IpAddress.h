#ifndef ZOR_COMMON_IP_ADDRESS_H
#define ZOR_COMMON_IP_ADDRESS_H

/// \file
/// CIpAddress, the IPv4 address value type.

#include "BigEndian.h"
#include "Export.h"

#include <cstddef>
#include <iosfwd>
#include <string>

namespace zor::common {

/// An IPv4 address, seen as one 32-bit number: the first dotted part is its most significant byte.
///
/// Addresses count, compare and combine like numbers, print as dotted decimal, and split into network and
/// host part by a prefix length. Arithmetic wraps modulo 2^32 and reports nothing. An address is four bytes
/// that copy like an integer; distinct objects may be used from distinct threads.
/// \code
/// CIpAddress address;
/// std::string error;
/// if (!address.CopyFromString("10.0.0.255", &error)) { /* error says why */ }
/// ++address;                           // 10.0.1.0
/// address.GetNetwork(16).ToString();   // "10.0.0.0"
/// \endcode
///
/// A prefix length counts bits from the top. Two operations differ from what their names suggest: \ref operator%
/// returns the quotient, and \ref GetNetwork of length 0 returns the whole address. They stay, because existing callers
/// rely on their results.
class ZOR_COMMON_API CIpAddress {
public:
    /// \name Construction and copying
    /// \{

    constexpr CIpAddress() noexcept = default; ///< 0.0.0.0

    /// Reads four bytes, as CopyFrom(const unsigned char*) does.
    constexpr CIpAddress(const unsigned char* bytes) noexcept : mValue(detail::LoadBig32(bytes)) {}

    /// The address a.b.c.d.
    constexpr CIpAddress(unsigned char a, unsigned char b, unsigned char c, unsigned char d) noexcept
        : mValue(static_cast<unsigned int>(a) << 24 | static_cast<unsigned int>(b) << 16 |
                 static_cast<unsigned int>(c) << 8 | d)
    {
    }

    /// The number as it is, no byte swap: 0x0a000001 is 10.0.0.1.
    constexpr CIpAddress(unsigned int value) noexcept : mValue(value) {}

    /// Writes exactly four bytes in network order.
    constexpr void CopyTo(unsigned char* out) const noexcept { detail::StoreBig32(out, mValue); }

    /// Reads exactly four bytes in network order.
    constexpr void CopyFrom(const unsigned char* bytes) noexcept { mValue = detail::LoadBig32(bytes); }

    /// The same four raw bytes; this is not a text form, see CopyFromString().
    void CopyFrom(const char* bytes) noexcept { CopyFrom(reinterpret_cast<const unsigned char*>(bytes)); }

    /// Takes the number as it is, no byte swap.
    constexpr void CopyFrom(unsigned int value) noexcept { mValue = value; }

    /// A shared object with the value 0.0.0.0. Several threads may call it at once, also before main().
    static const CIpAddress& GetZeroIp() noexcept;

    /// \}
    /// \name Text
    /// \{

    /// Reads dotted decimal as leniently as sscanf("%u.%u.%u.%u"): white space and a sign before a number are accepted,
    /// leading zeros are decimal, and text after the fourth number is ignored. Each number must be at most 255; a
    /// number that fits 64 bits is first cut to its low 32 bits, so 4294967297 is read as 1. White space does not
    /// depend on the locale. FromChars() reads strictly.
    ///
    /// \param text   the text; characters after a NUL are ignored.
    /// \param error  may be null; replaced only on failure, by
    ///               `invalid ip address "TEXT": should be dotted decimal`, with the whole text.
    /// \return       whether \a text was an address; if not, this address is unchanged.
    bool CopyFromString(const std::string& text, std::string* error);

    /// Four decimal numbers without leading zeros, joined by ".": 192.168.0.1.
    std::string ToString() const;

    /// \}
    /// \name Comparison
    /// By the 32-bit number: 9.255.255.255 < 10.0.0.0.
    /// \{

    constexpr bool operator==(const CIpAddress& other) const noexcept { return mValue == other.mValue; }
    constexpr bool operator!=(const CIpAddress& other) const noexcept { return mValue != other.mValue; }
    constexpr bool operator<(const CIpAddress& other) const noexcept { return mValue < other.mValue; }
    constexpr bool operator>(const CIpAddress& other) const noexcept { return mValue > other.mValue; }
    constexpr bool operator<=(const CIpAddress& other) const noexcept { return mValue <= other.mValue; }
    constexpr bool operator>=(const CIpAddress& other) const noexcept { return mValue >= other.mValue; }

    /// \}
    /// \name Arithmetic
    /// All results wrap modulo 2^32. Division by zero gives 0.
    /// \{

    /// Adds 1 and returns a copy of the new value: 255.255.255.255 becomes 0.0.0.0.
    constexpr CIpAddress operator++() noexcept { return ++mValue; }

    /// Subtracts 1 and returns a copy of the new value: 0.0.0.0 becomes 255.255.255.255.
    constexpr CIpAddress operator--() noexcept { return --mValue; }

    constexpr CIpAddress& operator+=(const CIpAddress& other) noexcept
    {
        mValue += other.mValue;
        return *this;
    }

    constexpr CIpAddress& operator-=(const CIpAddress& other) noexcept
    {
        mValue -= other.mValue;
        return *this;
    }

    constexpr CIpAddress& operator*=(unsigned int factor) noexcept
    {
        mValue *= factor;
        return *this;
    }

    constexpr CIpAddress& operator/=(const CIpAddress& divisor) noexcept
    {
        mValue = divisor.mValue == 0 ? 0 : mValue / divisor.mValue;
        return *this;
    }

    /// The quotient, the same as `/=`; the other address types give the remainder.
    constexpr CIpAddress& operator%=(const CIpAddress& divisor) noexcept { return *this /= divisor; }

    constexpr CIpAddress operator+(const CIpAddress& other) const noexcept { return mValue + other.mValue; }
    constexpr CIpAddress operator-(const CIpAddress& other) const noexcept { return mValue - other.mValue; }
    constexpr CIpAddress operator*(unsigned int factor) const noexcept { return mValue * factor; }
    constexpr CIpAddress operator/(const CIpAddress& divisor) const noexcept { return CIpAddress(*this) /= divisor; }

    /// The quotient, the same as `/`; the other address types give the remainder.
    constexpr CIpAddress operator%(const CIpAddress& divisor) const noexcept { return *this / divisor; }

    /// \}
    /// \name Bits
    /// Each bit by itself.
    /// \{

    constexpr CIpAddress& operator|=(const CIpAddress& other) noexcept
    {
        mValue |= other.mValue;
        return *this;
    }

    constexpr CIpAddress& operator&=(const CIpAddress& other) noexcept
    {
        mValue &= other.mValue;
        return *this;
    }

    constexpr CIpAddress operator|(const CIpAddress& other) const noexcept { return mValue | other.mValue; }
    constexpr CIpAddress operator&(const CIpAddress& other) const noexcept { return mValue & other.mValue; }

    constexpr void Not() noexcept { mValue = ~mValue; }                 ///< Complements every bit in place.
    constexpr CIpAddress operator~() const noexcept { return ~mValue; } ///< The complement, as a new value.

    /// \}
    /// \name Bytes
    /// Byte 0 is the first dotted part. A negative index selects byte 0, one above 3 selects byte 3.
    /// \{

    constexpr unsigned char operator[](int i) const noexcept
    {
        return static_cast<unsigned char>(mValue >> (24 - 8 * detail::ClampIndex(i, 4)));
    }

    /// The byte itself: writing it changes that part of the address.
    unsigned char& operator[](int i) noexcept
    {
        const int index = detail::ClampIndex(i, 4);
        const int place = detail::kIsLittleEndian ? 3 - index : index;
        return reinterpret_cast<unsigned char*>(&mValue)[place];
    }

    /// \}
    /// \name Prefixes
    /// A length above 32 counts as 32, except for GetNetmask() and IsAddressReserved(). The result for length 0 differs
    /// between the operations; each one documents it.
    /// \{

    static constexpr unsigned char GetMaxPrefixLength() noexcept { return 32; } ///< The whole address, in bits.

    /// The mask of the top \a length bits, with the shift taken modulo 32 and no clamping: 0 gives
    /// 255.255.255.255 and 33 gives 128.0.0.0. CreateMaskFromPrefixLength() clamps.
    static constexpr CIpAddress GetNetmask(unsigned char length) noexcept { return 0xffffffffu << HostBits(length); }

    /// Becomes the mask of the top \a length bits; 0 gives 0.0.0.0.
    constexpr void CreateMaskFromPrefixLength(unsigned char length) noexcept { mValue = Mask(length); }

    /// Becomes the mask of the host bits, the complement of CreateMaskFromPrefixLength(). The step mask of
    /// CIpv6Address has the low \a length bits instead.
    constexpr void CreateStepMaskFromPrefixLength(unsigned char length) noexcept { mValue = ~Mask(length); }

    /// The host part, the low 32 - \a length bits; 0 gives the whole address.
    constexpr CIpAddress GetHost(unsigned char length) const noexcept { return mValue & ~Mask(length); }

    /// Replaces the host part by that of \a host; 0 changes nothing (CIpv6Address::SetHost copies all of \a host).
    constexpr void SetHost(const CIpAddress& host, unsigned char length) noexcept
    {
        const unsigned int mask = (1u << HostBits(Clamp(length))) - 1;
        mValue = (mValue & ~mask) | (host.mValue & mask);
    }

    /// The network part: the top \a length bits kept, the host bits cleared. 0 returns the whole address
    /// (CIpv6Address::GetNetwork of length 0 returns zero instead).
    constexpr CIpAddress GetNetwork(unsigned char length) const noexcept
    {
        return mValue & 0xffffffffu << HostBits(Clamp(length));
    }

    /// Replaces the network part by that of \a network; 0 copies all of \a network.
    constexpr void SetNetwork(const CIpAddress& network, unsigned char length) noexcept
    {
        const unsigned int mask = 0xffffffffu << HostBits(Clamp(length));
        mValue = (mValue & ~mask) | (network.mValue & mask);
    }

    /// Whether GetNetwork(length) of both addresses is equal; so 0 compares the whole addresses.
    constexpr bool OnSameSubnet(unsigned char length, const CIpAddress& other) const noexcept
    {
        return GetNetwork(length) == other.GetNetwork(length);
    }

    /// Whether all host bits are set, for a prefix length from 1 to 30; false for other lengths. Always true for
    /// addresses from 240.0.0.0 on.
    constexpr bool IsBroadcastAddr(unsigned char length) const noexcept
    {
        if (mValue >= 0xf0000000u) return true;
        return length >= 1 && length <= 30 && (mValue | Mask(length)) == 0xffffffffu;
    }

    /// Whether the host bits are all zero or all one. Lengths 0, 31, 32 and above always give true.
    constexpr bool IsAddressReserved(unsigned char length) const noexcept
    {
        if (length > 32) return true;
        const unsigned int mask = (1u << HostBits(length)) - 1;
        return (mValue & mask) == 0 || (mValue & mask) == mask;
    }

    /// \}
    /// \name Classification
    /// \{

    constexpr bool IsZero() const noexcept { return mValue == 0; }    ///< 0.0.0.0
    constexpr bool IsNonZero() const noexcept { return mValue != 0; } ///< Any address except 0.0.0.0.

    /// 127.0.0.0/8 (RFC 1122).
    constexpr bool IsLoopbackAddr() const noexcept { return mValue >> 24 == 127; }

    /// 224.0.0.0/4, that is 224.0.0.0 to 239.255.255.255 (RFC 1112).
    constexpr bool IsMulticastAddr() const noexcept { return mValue >> 28 == 14; }

    /// Whether at most one bit is set: true for 0.0.0.0 too.
    constexpr bool IsPowerOf2() const noexcept { return (mValue & (mValue - 1)) == 0; }

    /// \}

private:
    static constexpr unsigned char Clamp(unsigned char length) noexcept { return length < 32 ? length : 32; }

    /// The shift for a prefix length, taken modulo 32: lengths 0 and 32 both give 0.
    static constexpr int HostBits(unsigned char length) noexcept { return (32 - length) & 31; }

    static constexpr unsigned int Mask(unsigned char length) noexcept
    {
        return length == 0 ? 0 : 0xffffffffu << HostBits(Clamp(length));
    }

    unsigned int mValue = 0;
};

/// Writes ToString().
ZOR_COMMON_API std::ostream& operator<<(std::ostream& out, const CIpAddress& address);

/// Reads one word delimited by white space and passes it to CopyFromString(). A word that is not an address leaves
/// \a address unchanged and the stream good.
ZOR_COMMON_API std::istream& operator>>(std::istream& in, CIpAddress& address);

} // namespace zor::common

/// The 32-bit number; equal addresses have one hash.
template <>
struct std::hash<zor::common::CIpAddress> {
    std::size_t operator()(const zor::common::CIpAddress& address) const noexcept
    {
        unsigned char bytes[4];
        address.CopyTo(bytes);
        return zor::common::detail::LoadBig32(bytes);
    }
};

#endif // ZOR_COMMON_IP_ADDRESS_H
