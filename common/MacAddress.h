#ifndef ZOR_COMMON_MAC_ADDRESS_H
#define ZOR_COMMON_MAC_ADDRESS_H

/// \file
/// CMacAddress, the 48-bit MAC address value type.

#include "BigEndian.h"
#include "Export.h"
#include "IpAddress.h"

#include <cstddef>
#include <iosfwd>
#include <string>

namespace zor::common {

class CIpv6Address;

/// A MAC address: six bytes in transmission order, seen as one 48-bit number with byte 0 most significant.
///
/// Arithmetic wraps modulo 2^48 and reports nothing. Distinct objects may be used from distinct threads, except for
/// ToString(), `<<`, `>>` and CopyFromString(): the style of the text is one setting of the whole process, without a
/// lock, and every successful CopyFromString() sets it to the style of the text that was read. So all addresses print
/// in the style that was read last. ToChars() and FromChars() neither read nor set this style.
/// \code
/// CMacAddress address;
/// address.ToString();                                    // "0000.0000.0000", the initial style
/// address.CopyFromString("00-11-22-33-44-ff", nullptr);  // all now print like this text
/// ++address;
/// address.ToString();                                    // "00-11-22-33-45-00"
/// \endcode
class ZOR_COMMON_API CMacAddress {
public:
    /// How ToString() prints.
    struct FormatStyle {
        int mGrouping = 0;     ///< 1: six groups of two hex digits; anything else: three groups of four.
        char mSeparator = '.'; ///< The character between groups.
    };

    /// \name Construction and copying
    /// \{

    constexpr CMacAddress() noexcept = default; ///< All bytes zero.

    /// Reads six bytes, as CopyFrom(const unsigned char*) does.
    constexpr CMacAddress(const unsigned char* bytes) noexcept { CopyFrom(bytes); }

    /// The bytes in the order they are written.
    constexpr CMacAddress(unsigned char a, unsigned char b, unsigned char c, unsigned char d, unsigned char e,
                          unsigned char f) noexcept
        : mBytes{a, b, c, d, e, f}
    {
    }

    /// The low 48 bits of \a value; byte 5 is the lowest one.
    constexpr CMacAddress(unsigned long value) noexcept { CopyFrom(value); }

    /// Writes exactly six bytes in network order.
    constexpr void CopyTo(unsigned char* out) const noexcept { detail::CopyBytes<6>(out, mBytes); }

    /// Reads exactly six bytes in network order.
    constexpr void CopyFrom(const unsigned char* bytes) noexcept { detail::CopyBytes<6>(mBytes, bytes); }

    /// The same six raw bytes; this is not a text form, see CopyFromString().
    void CopyFrom(const char* bytes) noexcept { CopyFrom(reinterpret_cast<const unsigned char*>(bytes)); }

    /// The low 48 bits of \a value; the 16 bits above them are dropped.
    constexpr void CopyFrom(unsigned long value) noexcept { detail::StoreBig48(mBytes, value); }

    /// The address as a number, byte 0 most significant.
    constexpr unsigned long ToU64() const noexcept { return detail::LoadBig48(mBytes); }

    /// \}
    /// \name Text
    /// \{

    /// Reads six groups of one byte or three groups of 16 bits, in hexadecimal, and on success makes their form
    /// the style of every CMacAddress in the process.
    ///
    /// The first character that is not a hex digit is the separator; it must not be NUL or "%", and a text without a
    /// separator fails. The groups are read as by sscanf with "%x" and that separator between them: a group may have
    /// any number of digits and, except for the first, a sign or an 0x prefix; text after the last group is ignored.
    /// The low 32 bits of a group, as a signed number, must be at most 255 (or 65535), and its low 8 (or 16) bits are
    /// used. Three groups of any width are read as groups of 16 bits: 1:2:3 is 00:01:00:02:00:03. FromChars() reads
    /// strictly.
    ///
    /// \param error  may be null; replaced only on failure, by `invalid mac address "TEXT": should be 6 hex bytes`,
    ///               with the whole text.
    /// \return       whether \a text was an address; if not, this address and the style are unchanged.
    bool CopyFromString(const std::string& text, std::string* error);

    /// Lower-case hex digits in the style of the process: 00:1a:2b:3c:4d:5e or 001a.2b3c.4d5e.
    std::string ToString() const;

    /// Sets the style in which every CMacAddress prints. There is no lock: set, read and print in one thread at a time.
    static void SetFormatStyle(const FormatStyle& style) noexcept { mFormatStyle = style; }

    /// The style of the process, as it was set or read last. There is no lock.
    static FormatStyle GetFormatStyle() noexcept { return mFormatStyle; }

    /// \}
    /// \name Comparison
    /// By the 48-bit number, that is byte by byte from the first one.
    /// \{

    constexpr bool operator==(const CMacAddress& other) const noexcept { return ToU64() == other.ToU64(); }
    constexpr bool operator!=(const CMacAddress& other) const noexcept { return ToU64() != other.ToU64(); }
    constexpr bool operator<(const CMacAddress& other) const noexcept { return ToU64() < other.ToU64(); }
    constexpr bool operator>(const CMacAddress& other) const noexcept { return ToU64() > other.ToU64(); }
    constexpr bool operator<=(const CMacAddress& other) const noexcept { return ToU64() <= other.ToU64(); }
    constexpr bool operator>=(const CMacAddress& other) const noexcept { return ToU64() >= other.ToU64(); }

    /// \}
    /// \name Arithmetic
    /// All results wrap modulo 2^48. The quotient by zero is 0, the remainder by zero is the dividend.
    /// \{

    /// Adds 1 and returns a copy of the new value: ff:ff:ff:ff:ff:ff becomes 00:00:00:00:00:00.
    constexpr CMacAddress operator++() noexcept { return *this = ToU64() + 1; }

    /// Subtracts 1 and returns a copy of the new value.
    constexpr CMacAddress operator--() noexcept { return *this = ToU64() - 1; }

    constexpr CMacAddress& operator+=(const CMacAddress& other) noexcept { return *this = *this + other; }
    constexpr CMacAddress& operator-=(const CMacAddress& other) noexcept { return *this = *this - other; }
    constexpr CMacAddress& operator*=(unsigned long factor) noexcept { return *this = *this * factor; }
    constexpr CMacAddress& operator/=(const CMacAddress& divisor) noexcept { return *this = *this / divisor; }
    constexpr CMacAddress& operator%=(const CMacAddress& divisor) noexcept { return *this = *this % divisor; }

    constexpr CMacAddress operator+(const CMacAddress& other) const noexcept { return ToU64() + other.ToU64(); }
    constexpr CMacAddress operator-(const CMacAddress& other) const noexcept { return ToU64() - other.ToU64(); }
    constexpr CMacAddress operator*(unsigned long factor) const noexcept { return ToU64() * factor; }

    constexpr CMacAddress operator/(const CMacAddress& divisor) const noexcept
    {
        const unsigned long number = divisor.ToU64();
        return number == 0 ? 0 : ToU64() / number;
    }

    /// The remainder; with CIpAddress this operator gives the quotient.
    constexpr CMacAddress operator%(const CMacAddress& divisor) const noexcept
    {
        const unsigned long number = divisor.ToU64();
        return number == 0 ? ToU64() : ToU64() % number;
    }

    /// \}
    /// \name Bits
    /// Each bit by itself.
    /// \{

    constexpr CMacAddress& operator|=(const CMacAddress& other) noexcept { return *this = *this | other; }
    constexpr CMacAddress& operator&=(const CMacAddress& other) noexcept { return *this = *this & other; }
    constexpr CMacAddress operator|(const CMacAddress& other) const noexcept { return ToU64() | other.ToU64(); }
    constexpr CMacAddress operator&(const CMacAddress& other) const noexcept { return ToU64() & other.ToU64(); }

    constexpr void Not() noexcept { CopyFrom(~ToU64()); }                 ///< Complements every bit in place.
    constexpr CMacAddress operator~() const noexcept { return ~ToU64(); } ///< The complement, as a new value.

    /// Shifts all bits \a count places towards the most significant end and fills with zeros. A count of 48 or more
    /// clears the address, a negative count does nothing.
    constexpr void ShiftLeft(int count) noexcept
    {
        if (count > 0) CopyFrom(count < 48 ? ToU64() << count : 0);
    }

    /// As ShiftLeft(), towards the less significant end.
    constexpr void ShiftRight(int count) noexcept
    {
        if (count > 0) CopyFrom(count < 48 ? ToU64() >> count : 0);
    }

    /// \}
    /// \name Bytes
    /// Byte 0 is the first byte in the text. A negative index selects byte 0, an index above 5 selects byte 5.
    /// \{

    constexpr unsigned char operator[](int i) const noexcept { return mBytes[detail::ClampIndex(i, 6)]; }
    constexpr unsigned char& operator[](int i) noexcept { return mBytes[detail::ClampIndex(i, 6)]; }

    /// \}
    /// \name Prefixes
    /// \{

    /// The top \a length bits kept, the rest cleared. A length above 48 counts as 48, and 0 gives zero.
    constexpr CMacAddress GetNetwork(unsigned char length) const noexcept
    {
        return length >= 48 ? ToU64() : ToU64() & ~(~0ul >> 16 >> length);
    }

    /// \}
    /// \name Classification
    /// \{

    /// Whether at most one bit is set: true for the zero address too.
    constexpr bool IsPowerOf2() const noexcept { return (ToU64() & (ToU64() - 1)) == 0; }

    /// Whether the individual/group bit, the lowest one of byte 0, is set (IEEE 802).
    constexpr bool IsGroupBitSet() const noexcept { return (mBytes[0] & 1) != 0; }

    /// \}
    /// \name Well-known addresses
    /// \{

    /// Becomes ff:ff:ff:ff:ff:ff.
    constexpr void SetBroadcastAddr() noexcept { CopyFrom(~0ul); }

    /// Becomes 01:00:5e and the low 23 bits of \a group, the Ethernet address of an IPv4 group (RFC 1112). \a group is
    /// not checked to be a multicast address.
    constexpr void SetMulticastAddr(const CIpAddress& group) noexcept
    {
        *this = {0x01, 0x00, 0x5e, static_cast<unsigned char>(group[1] & 0x7f), group[2], group[3]};
    }

    /// Becomes 33:33 and the last four bytes of \a group, the Ethernet address of an IPv6 group (RFC 2464). \a group is
    /// not checked to be a multicast address.
    void SetMulticastAddr(const CIpv6Address& group) noexcept;

    /// \}

private:
    static FormatStyle mFormatStyle;

    unsigned char mBytes[6] = {};
};

/// Writes ToString().
ZOR_COMMON_API std::ostream& operator<<(std::ostream& out, const CMacAddress& address);

/// Reads one word delimited by white space and passes it to CopyFromString(). A word that is an address also sets the
/// style; any other word leaves \a address unchanged and the stream good.
ZOR_COMMON_API std::istream& operator>>(std::istream& in, CMacAddress& address);

} // namespace zor::common

/// The 48-bit number; equal addresses have one hash.
template <>
struct std::hash<zor::common::CMacAddress> {
    std::size_t operator()(const zor::common::CMacAddress& address) const noexcept { return address.ToU64(); }
};

#endif // ZOR_COMMON_MAC_ADDRESS_H
