#ifndef ZOR_COMMON_IPV6_ADDRESS_H
#define ZOR_COMMON_IPV6_ADDRESS_H

/// \file
/// CIpv6Address, the IPv6 address value type.

#include "BigEndian.h"
#include "DiUnsigned.h"
#include "Export.h"
#include "IpAddress.h"
#include "MacAddress.h"

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

namespace zor::common {

/// An IPv6 address: sixteen bytes in network order, seen as one 128-bit number, and a flag for its text form.
///
/// Arithmetic wraps modulo 2^128 and reports nothing. Distinct objects may be used from distinct threads.
/// \code
/// CIpv6Address address;
/// std::string error;
/// if (!address.CopyFromString("2001:db8::1", &error)) { /* error says why */ }
/// address.GetNextIp(64, 1, 1).ToString();    // "2001:db8:0:1::1", one /64 further
/// address.RoundUpToPrefix(64).ToString();    // "2001:db8:0:1::"
/// \endcode
///
/// The flag, GetFormatLast4BytesAsIpv4(), records that the address was written with a dotted IPv4 tail, so that
/// ToString() prints it in the same way. It belongs to the object and not to the number: `==` ignores it, Equals()
/// compares it. Each operation has a documented effect on it:
///
/// | operation | the flag of the result |
/// |---|---|
/// | constructors from bytes or numbers | false |
/// | copying, CopyFormatting() | that of the source |
/// | CopyFromString() | whether the text has a "." |
/// | SetIpv4CompatibleAddr(), SetIpv4MappedAddr() | true |
/// | CreateStepMaskFromPrefixLength() | false |
/// | CopyFrom(), `+=`, `-=`, `*=`, bitwise `\|=` and `&=`, Not(), shifts, SetHost(), SetNetwork(), SetHostAddress(), SetEui64(), SetEui64WithLinkLocal() | as it was |
/// | `~`, `*`, bitwise `\|` and `&`, GetHost(), GetNetwork() | that of this (the left) operand |
/// | `+`, `-`, `/`, `%`, both results of Divide(), GetNextIp() | false |
/// | `++`, `--`, `/=`, `%=` | false, on this object |
/// | RoundUpToPrefix(), Subtract() | false; that of this object where they return it as it is |
class ZOR_COMMON_API CIpv6Address {
public:
    /// \name Construction and copying
    /// \{

    constexpr CIpv6Address() noexcept = default; ///< The zero address "::".

    /// Reads sixteen bytes, as CopyFrom(const unsigned char*) does.
    constexpr CIpv6Address(const unsigned char* bytes) noexcept { CopyFrom(bytes); }

    /// A plain 0 could be a null pointer, so it does not compile.
    CIpv6Address(std::nullptr_t) = delete;

    /// The bytes in the order they are written.
    constexpr CIpv6Address(unsigned char b0, unsigned char b1, unsigned char b2, unsigned char b3, unsigned char b4,
                           unsigned char b5, unsigned char b6, unsigned char b7, unsigned char b8, unsigned char b9,
                           unsigned char b10, unsigned char b11, unsigned char b12, unsigned char b13,
                           unsigned char b14, unsigned char b15) noexcept
        : mBytes{b0, b1, b2, b3, b4, b5, b6, b7, b8, b9, b10, b11, b12, b13, b14, b15}
    {
    }

    /// Bytes 0 to 7 from \a high and 8 to 15 from \a low, each most significant byte first.
    constexpr CIpv6Address(unsigned long high, unsigned long low) noexcept { CopyFrom(high, low); }

    /// Writes exactly sixteen bytes in network order.
    constexpr void CopyTo(unsigned char* out) const noexcept { detail::CopyBytes<16>(out, mBytes); }

    /// Reads exactly sixteen bytes in network order.
    constexpr void CopyFrom(const unsigned char* bytes) noexcept { detail::CopyBytes<16>(mBytes, bytes); }

    /// The same sixteen raw bytes; this is not a text form, see CopyFromString().
    void CopyFrom(const char* bytes) noexcept { CopyFrom(reinterpret_cast<const unsigned char*>(bytes)); }

    /// Bytes 0 to 7 from \a high and 8 to 15 from \a low, each most significant byte first.
    constexpr void CopyFrom(unsigned long high, unsigned long low) noexcept { SetNumber({high, low}); }

    /// \}
    /// \name Text
    /// \{

    /// Reads the forms of RFC 4291: eight groups of up to four hex digits, "::" once for a run of zero groups, and
    /// a dotted decimal tail in place of the last two groups, which sets the flag. FromChars() reads strictly.
    ///
    /// More texts than these are accepted: an empty group is zero (1:2:3:4:5:6:7: ends in one), "::" may stand for no
    /// group at all, and of the numbers of a dotted tail only the low 8 bits are used. The text is expanded to eight
    /// groups, each padded with zeros to four characters, and then read as by sscanf: "%2x" for each byte and "%d" for
    /// the tail. A group of five digits fails, unless it is the last group, whose first four digits are used.
    ///
    /// Cut off a prefix length or a zone first, because text after an address cannot reliably be distinguished from its
    /// last group. After four characters of that group, or after a dotted tail, the text is ignored, except that a "."
    /// or ":" in it still has its meaning; after a shorter group the text is read as part of the group ("::1/64" is
    /// rejected, "::1 and" is ::10a).
    ///
    /// \param error  may be null; replaced only on failure, by `invalid ipv6 address "TEXT"`, with the whole text.
    /// \return       whether \a text was an address; if not, this address and its flag are unchanged.
    bool CopyFromString(const std::string& text, std::string* error);

    /// Lower-case groups without leading zeros. The first of the longest runs of zero groups is written "::", even if
    /// it is a single group. With the flag set, an IPv4-compatible or IPv4-mapped address ends in dotted decimal:
    /// `::ffff:192.168.0.1`. For other addresses the flag has no effect.
    std::string ToString() const;

    /// \}
    /// \name The formatting flag
    /// \{

    /// Whether ToString() writes the last four bytes as dotted decimal, if the address has such a form.
    constexpr bool GetFormatLast4BytesAsIpv4() const noexcept { return mFormatLast4BytesAsIpv4; }
    /// Sets the flag; the bytes stay.
    constexpr void SetFormatLast4BytesAsIpv4(bool flag) noexcept { mFormatLast4BytesAsIpv4 = flag; }

    /// Takes the flag of \a other; the bytes stay.
    constexpr void CopyFormatting(const CIpv6Address& other) noexcept
    {
        mFormatLast4BytesAsIpv4 = other.mFormatLast4BytesAsIpv4;
    }

    /// Whether the flags are equal.
    constexpr bool FormattingEquals(const CIpv6Address& other) const noexcept
    {
        return mFormatLast4BytesAsIpv4 == other.mFormatLast4BytesAsIpv4;
    }

    /// Whether bytes and flags are equal.
    constexpr bool Equals(const CIpv6Address& other) const noexcept
    {
        return *this == other && FormattingEquals(other);
    }

    /// Makes \a record one byte long: 1 with the flag set, 0 without.
    void EncodeFormatting(std::vector<unsigned char>& record) const;

    /// Sets the flag to whether the first byte is not 0; an empty record changes nothing.
    void DecodeFormatting(const std::vector<unsigned char>& record) noexcept;

    /// \}
    /// \name Comparison
    /// By the 128-bit number, that is byte by byte from the first one; the flag is ignored.
    /// \{

    constexpr bool operator==(const CIpv6Address& other) const noexcept { return Number() == other.Number(); }
    constexpr bool operator!=(const CIpv6Address& other) const noexcept { return !(*this == other); }
    constexpr bool operator<(const CIpv6Address& other) const noexcept { return Number() < other.Number(); }
    constexpr bool operator>(const CIpv6Address& other) const noexcept { return other < *this; }
    constexpr bool operator<=(const CIpv6Address& other) const noexcept { return !(other < *this); }
    constexpr bool operator>=(const CIpv6Address& other) const noexcept { return !(*this < other); }

    /// \}
    /// \name Arithmetic
    /// Results wrap modulo 2^128. The quotient by zero is 0, the remainder by zero is the dividend.
    /// \{

    /// Adds 1, clears the flag and returns a copy.
    constexpr CIpv6Address operator++() noexcept { return *this = *this + CIpv6Address(0, 1); }

    /// Subtracts 1, clears the flag and returns a copy.
    constexpr CIpv6Address operator--() noexcept { return *this = *this - CIpv6Address(0, 1); }

    constexpr CIpv6Address& operator+=(const CIpv6Address& other) noexcept
    {
        SetNumber(Number() + other.Number());
        return *this;
    }

    constexpr CIpv6Address& operator-=(const CIpv6Address& other) noexcept
    {
        SetNumber(Number() - other.Number());
        return *this;
    }

    /// Multiplies byte by byte into one 16-bit sum for each byte of the result. A sum above 65535 loses its carry, so
    /// the product is exact only if no sum gets that large: `::ffff` times 0xffff gives `::fefe:1`. This stays, because
    /// existing callers rely on the results.
    constexpr CIpv6Address& operator*=(unsigned long factor) noexcept
    {
        std::uint16_t columns[16] = {};
        for (int shift = 0; factor != 0; ++shift, factor >>= 8) {
            const unsigned int digit = factor & 0xff;
            for (int i = shift; i < 16; ++i) {
                columns[i - shift] = static_cast<std::uint16_t>(columns[i - shift] + mBytes[i] * digit);
            }
        }
        std::uint16_t sum = 0;
        for (int i = 15; i >= 0; --i) {
            sum = static_cast<std::uint16_t>(sum + columns[i]);
            mBytes[i] = static_cast<unsigned char>(sum);
            sum >>= 8;
        }
        return *this;
    }

    CIpv6Address& operator/=(const CIpv6Address& divisor) noexcept { return *this = *this / divisor; }

    /// The remainder; with CIpAddress this operator gives the quotient.
    CIpv6Address& operator%=(const CIpv6Address& divisor) noexcept { return *this = *this % divisor; }

    constexpr CIpv6Address operator+(const CIpv6Address& other) const noexcept
    {
        return FromNumber(Number() + other.Number());
    }
    constexpr CIpv6Address operator-(const CIpv6Address& other) const noexcept
    {
        return FromNumber(Number() - other.Number());
    }

    /// The product of `*=`, with its narrow sums.
    constexpr CIpv6Address operator*(unsigned long factor) const noexcept { return CIpv6Address(*this) *= factor; }

    CIpv6Address operator/(const CIpv6Address& divisor) const noexcept;
    CIpv6Address operator%(const CIpv6Address& divisor) const noexcept;

    /// Returns the quotient and sets \a remainder, which may be this address or \a divisor.
    CIpv6Address Divide(const CIpv6Address& divisor, CIpv6Address& remainder) const noexcept;

    /// \}
    /// \name Bits
    /// Each bit by itself.
    /// \{

    constexpr CIpv6Address& operator|=(const CIpv6Address& other) noexcept
    {
        SetNumber(Number() | other.Number());
        return *this;
    }

    constexpr CIpv6Address& operator&=(const CIpv6Address& other) noexcept
    {
        SetNumber(Number() & other.Number());
        return *this;
    }

    constexpr CIpv6Address operator|(const CIpv6Address& other) const noexcept { return CIpv6Address(*this) |= other; }
    constexpr CIpv6Address operator&(const CIpv6Address& other) const noexcept { return CIpv6Address(*this) &= other; }

    constexpr void Not() noexcept { SetNumber(~Number()); } ///< Complements every bit in place.

    /// The complement, as a new value.
    constexpr CIpv6Address operator~() const noexcept
    {
        CIpv6Address result(*this);
        result.Not();
        return result;
    }

    /// Shifts all bits \a count places towards the most significant end and fills with zeros. A count of 128 or more
    /// clears the address, a negative count does nothing.
    constexpr void ShiftLeft(int count) noexcept { SetNumber(Number() << count); }

    /// As ShiftLeft(), towards the less significant end.
    constexpr void ShiftRight(int count) noexcept { SetNumber(Number() >> count); }

    /// \}
    /// \name Bytes
    /// Byte 0 is the first byte in the text. A negative index selects byte 0, an index above 15 selects byte 15.
    /// \{

    constexpr const unsigned char& operator[](int i) const noexcept { return mBytes[detail::ClampIndex(i, 16)]; }
    constexpr unsigned char& operator[](int i) noexcept { return mBytes[detail::ClampIndex(i, 16)]; }

    /// \}
    /// \name Prefixes
    /// A prefix length counts network bits from the top. Lengths above 128 count as 128, negative ones as 0.
    /// \{

    /// The host part: the top \a length bits cleared.
    constexpr CIpv6Address GetHost(unsigned char length) const noexcept
    {
        return WithNumber(Number() & ~detail::TopBits128(length));
    }

    /// The network part: the top \a length bits kept, the rest cleared. 0 gives zero (CIpAddress::GetNetwork of
    /// length 0 returns the whole address instead).
    constexpr CIpv6Address GetNetwork(unsigned char length) const noexcept
    {
        return WithNumber(Number() & detail::TopBits128(length));
    }

    /// Replaces the host part by that of \a host; 0 copies all of \a host (CIpAddress::SetHost changes nothing).
    constexpr void SetHost(const CIpv6Address& host, unsigned char length) noexcept
    {
        const detail::Uint128 mask = detail::TopBits128(length);
        SetNumber((Number() & mask) | (host.Number() & ~mask));
    }

    /// Replaces the network part by that of \a network; 0 changes nothing (CIpAddress::SetNetwork copies all of it).
    constexpr void SetNetwork(const CIpv6Address& network, unsigned char length) noexcept
    {
        const detail::Uint128 mask = detail::TopBits128(length);
        SetNumber((Number() & ~mask) | (network.Number() & mask));
    }

    /// Whether the top \a length bits are equal; 0 gives true.
    constexpr bool OnSameSubnet(int length, const CIpv6Address& other) const noexcept
    {
        return (Number() >> HostBits(length)) == (other.Number() >> HostBits(length));
    }

    /// Becomes the mask of the low \a length bits: 8 gives `::ff`. The step mask of CIpAddress has the host bits of
    /// a prefix of that length instead.
    constexpr void CreateStepMaskFromPrefixLength(unsigned char length) noexcept
    {
        *this = FromNumber(~detail::Uint128{0, 0} >> (128 - length));
    }

    /// The smallest multiple of 2^(128 - length) that is not below this address; zero above the last multiple.
    CIpv6Address RoundUpToPrefix(int length) const noexcept;

    /// This address plus step * count subnets of a prefix length: the product, taken modulo 2^32, times 2^(128 -
    /// length) is added, modulo 2^128.
    constexpr CIpv6Address GetNextIp(int length, unsigned int step, unsigned int count) const noexcept
    {
        return FromNumber(Number() + (detail::Uint128{0, step * count} << HostBits(length)));
    }

    /// This address minus step * count subnets, in the same way. For a length below 32 it returns this address
    /// unchanged if the distance reaches into byte 0 or above, where GetNextIp() has no such limit. For a length of 32
    /// and more the difference wraps.
    CIpv6Address Subtract(int length, unsigned int step, unsigned int count) const noexcept;

    /// The number of the subnet, counted in blocks of \a n: the low 32 bits of this address shifted right by
    /// 128 - length, divided by \a n. \a n = 0 gives 0.
    unsigned int Divide(int length, unsigned int n) const noexcept;

    /// The position of the subnet in its block: the remainder of the same division. \a n = 0 gives the dividend.
    unsigned int GetOffset(int length, unsigned int n) const noexcept;

    /// Replaces x, the number in bytes 12 to 15, by (x AND value) OR (NOT value with its lowest set bit cleared),
    /// in 32 bits.
    constexpr void SetHostAddress(unsigned int value) noexcept
    {
        const unsigned int number = detail::LoadBig32(mBytes + 12);
        detail::StoreBig32(mBytes + 12, (number & value) | (~value & (0xfffffffe - value)));
    }

    /// \}
    /// \name Classification
    /// \{

    constexpr bool IsZero() const noexcept { return Number() == detail::Uint128{0, 0}; } ///< The address "::".
    constexpr bool IsNonZero() const noexcept { return !IsZero(); }                      ///< Any address except "::".

    /// ::1
    constexpr bool IsLoopbackAddr() const noexcept { return Number() == detail::Uint128{0, 1}; }

    /// ff00::/8
    constexpr bool IsMulticastAddr() const noexcept { return mBytes[0] == 0xff; }

    /// The same as IsMulticastAddr(), whatever the length: IPv6 has no broadcast.
    constexpr bool IsBroadcastAddr(unsigned char /*length*/) const noexcept { return IsMulticastAddr(); }

    /// fe80::/10
    constexpr bool IsLinkLocalAddr() const noexcept { return mBytes[0] == 0xfe && (mBytes[1] & 0xc0) == 0x80; }

    /// ::/96 (RFC 4291, 2.5.5.1), including the zero address and ::1.
    constexpr bool IsIpv4CompatibleAddr() const noexcept { return (Number() >> 32) == detail::Uint128{0, 0}; }

    /// `::ffff:0:0/96` (RFC 4291, 2.5.5.2)
    constexpr bool IsIpv4MappedAddr() const noexcept { return (Number() >> 32) == detail::Uint128{0, 0xffff}; }

    /// Whether at most one bit of bytes 0 to 3 is set. The other bytes are ignored, deliberately: true for 8000:: and
    /// 0:1::5, false for 3::.
    constexpr bool IsPowerOf2() const noexcept { return CIpAddress(mBytes).IsPowerOf2(); }

    /// \}
    /// \name IPv4 and MAC forms
    /// \{

    /// Becomes the IPv4-compatible address `::a.b.c.d` and sets the flag.
    constexpr void SetIpv4CompatibleAddr(const CIpAddress& address) noexcept
    {
        SetNumber({0, 0});
        address.CopyTo(mBytes + 12);
        mFormatLast4BytesAsIpv4 = true;
    }

    /// Becomes the IPv4-mapped address `::ffff:a.b.c.d` and sets the flag.
    constexpr void SetIpv4MappedAddr(const CIpAddress& address) noexcept
    {
        SetNumber({0, 0xffff00000000});
        address.CopyTo(mBytes + 12);
        mFormatLast4BytesAsIpv4 = true;
    }

    /// Becomes ::/64 with the modified EUI-64 interface identifier of \a mac (RFC 4291, appendix A): ff:fe in the
    /// middle and the universal/local bit inverted.
    constexpr void SetEui64(const CMacAddress& mac) noexcept
    {
        const std::uint64_t number = mac.ToU64();
        SetNumber({0, ((number & 0xffffff000000) << 16 | 0xfffe000000 | (number & 0xffffff)) ^ 0x0200000000000000});
    }

    /// As SetEui64(), in the link-local prefix fe80::/64.
    constexpr void SetEui64WithLinkLocal(const CMacAddress& mac) noexcept
    {
        SetEui64(mac);
        mBytes[0] = 0xfe;
        mBytes[1] = 0x80;
    }

    /// Sets \a mac to the address that was given to SetEui64(). The middle bytes are not checked to be ff:fe.
    constexpr void GetEui64(CMacAddress& mac) const noexcept
    {
        mac = CMacAddress(mBytes[8] ^ 0x02, mBytes[9], mBytes[10], mBytes[13], mBytes[14], mBytes[15]);
    }

    /// \}

private:
    static constexpr CIpv6Address FromNumber(detail::Uint128 number) noexcept { return {number.high, number.low}; }

    constexpr detail::Uint128 Number() const noexcept { return detail::LoadBig128(mBytes); }
    constexpr void SetNumber(detail::Uint128 number) noexcept { detail::StoreBig128(mBytes, number); }

    /// A copy, flag included, with another number.
    constexpr CIpv6Address WithNumber(detail::Uint128 number) const noexcept
    {
        CIpv6Address result = FromNumber(number);
        result.CopyFormatting(*this);
        return result;
    }

    static constexpr int HostBits(int length) noexcept { return length < 0 ? 128 : length < 128 ? 128 - length : 0; }

    unsigned char mBytes[16] = {};
    bool mFormatLast4BytesAsIpv4 = false;
};

/// The address as a number for di_unsigned's arithmetic: digit i is byte 15 - i.
ZOR_COMMON_API di_unsigned<unsigned int, unsigned char, 128> InDiFormat(const CIpv6Address& address) noexcept;

/// The address whose byte k is digit 15 - k, with its flag false; the number's overflow flag is ignored.
ZOR_COMMON_API CIpv6Address FromDiFormat(const di_unsigned<unsigned int, unsigned char, 128>& number) noexcept;

/// Writes ToString().
ZOR_COMMON_API std::ostream& operator<<(std::ostream& out, const CIpv6Address& address);

/// Reads one word delimited by white space and passes it to CopyFromString(): a word that is no address leaves
/// \a address unchanged and the stream good.
ZOR_COMMON_API std::istream& operator>>(std::istream& in, CIpv6Address& address);

} // namespace zor::common

/// Addresses that differ in one 64-bit half have distinct hashes; equal addresses have the same hash, whatever their flags.
template <>
struct std::hash<zor::common::CIpv6Address> {
    std::size_t operator()(const zor::common::CIpv6Address& address) const noexcept
    {
        unsigned char bytes[16];
        address.CopyTo(bytes);
        const zor::common::detail::Uint128 number = zor::common::detail::LoadBig128(bytes);
        return number.high * 0x9e3779b97f4a7c15 + number.low;
    }
};

#endif // ZOR_COMMON_IPV6_ADDRESS_H
