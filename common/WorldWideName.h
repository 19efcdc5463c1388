#ifndef ZOR_COMMON_WORLD_WIDE_NAME_H
#define ZOR_COMMON_WORLD_WIDE_NAME_H

/// \file
/// CWorldWideName, the 64-bit World Wide Name value type.

#include "BigEndian.h"
#include "Export.h"

#include <cstddef>
#include <iosfwd>
#include <string>

namespace zor::common {

/// A World Wide Name of a Fibre Channel port: eight bytes, seen as one 64-bit number with byte 0 most
/// significant.
///
/// Arithmetic wraps modulo 2^64 and reports nothing. Distinct objects may be used from distinct threads, except for
/// ToString(), `<<`, `>>` and CopyFromString(): the separator of the text is one setting of the whole process, without
/// a lock, and every successful CopyFromString() sets it to the separator that was read. ToChars() and FromChars()
/// neither read nor set it.
/// \code
/// CWorldWideName name(0x20000025b5000001);
/// name.ToString();                                           // "20:00:00:25:b5:00:00:01", the initial style
/// name.CopyFromString("20-00-00-25-b5-00-00-ff", nullptr);   // all now print with dashes
/// ++name;
/// name.ToString();                                           // "20-00-00-25-b5-00-01-00"
/// \endcode
class ZOR_COMMON_API CWorldWideName {
public:
    /// How ToString() prints.
    struct FormatStyle {
        int mGrouping = 0;     ///< Not used when printing; CopyFromString() sets it to 0.
        char mSeparator = ':'; ///< The character between bytes.
    };

    /// \name Construction and copying
    /// \{

    constexpr CWorldWideName() noexcept = default; ///< All bytes zero.

    /// Reads eight bytes, as CopyFrom(const unsigned char*) does.
    constexpr CWorldWideName(const unsigned char* bytes) noexcept { CopyFrom(bytes); }

    /// The bytes in the order they are written.
    constexpr CWorldWideName(unsigned char a, unsigned char b, unsigned char c, unsigned char d, unsigned char e,
                             unsigned char f, unsigned char g, unsigned char h) noexcept
        : mBytes{a, b, c, d, e, f, g, h}
    {
    }

    /// The number \a value; byte 7 is its lowest one.
    constexpr CWorldWideName(unsigned long value) noexcept { CopyFrom(value); }

    /// Writes exactly eight bytes in network order.
    constexpr void CopyTo(unsigned char* out) const noexcept { detail::CopyBytes<8>(out, mBytes); }

    /// Reads exactly eight bytes in network order.
    constexpr void CopyFrom(const unsigned char* bytes) noexcept { detail::CopyBytes<8>(mBytes, bytes); }

    /// The same eight raw bytes; this is not a text form, see CopyFromString().
    void CopyFrom(const char* bytes) noexcept { CopyFrom(reinterpret_cast<const unsigned char*>(bytes)); }

    /// Takes the number; byte 7 is its lowest one.
    constexpr void CopyFrom(unsigned long value) noexcept { detail::StoreBig64(mBytes, value); }

    /// The name as a number, byte 0 most significant.
    constexpr unsigned long ToU64() const noexcept { return detail::LoadBig64(mBytes); }

    /// \}
    /// \name Text
    /// \{

    /// Reads eight bytes in hexadecimal and on success makes their separator that of every CWorldWideName in the
    /// process.
    ///
    /// The first character that is not a hex digit is the separator; it must not be NUL or "%", and a text without a
    /// separator fails. The bytes are read as by sscanf with "%x" and that separator between them: a byte may have any
    /// number of digits and, except for the first, a sign or an 0x prefix; text after the last byte is ignored. The low
    /// 32 bits of a byte's number, as a signed number, must be at most 255, and its low 8 bits are used. FromChars()
    /// reads strictly.
    ///
    /// \param error  may be null; replaced only on failure, by
    ///               `invalid World Wide Number "TEXT": should be 8 hex bytes`, with the whole text.
    /// \return       whether \a text was a name; if not, this name and the style are unchanged.
    bool CopyFromString(const std::string& text, std::string* error);

    /// Two lower-case hex digits for each byte, joined by the separator of the process: 20:00:00:25:b5:00:00:01.
    std::string ToString() const;

    /// Sets the style in which every CWorldWideName prints. There is no lock: set, read and print in one thread at a
    /// time.
    static void SetFormatStyle(const FormatStyle& style) noexcept { mFormatStyle = style; }

    /// The style of the process, as it was set or read last. There is no lock.
    static FormatStyle GetFormatStyle() noexcept { return mFormatStyle; }

    /// \}
    /// \name Comparison
    /// By the 64-bit number, that is byte by byte from the first one.
    /// \{

    constexpr bool operator==(const CWorldWideName& other) const noexcept { return ToU64() == other.ToU64(); }
    constexpr bool operator!=(const CWorldWideName& other) const noexcept { return ToU64() != other.ToU64(); }
    constexpr bool operator<(const CWorldWideName& other) const noexcept { return ToU64() < other.ToU64(); }
    constexpr bool operator>(const CWorldWideName& other) const noexcept { return ToU64() > other.ToU64(); }
    constexpr bool operator<=(const CWorldWideName& other) const noexcept { return ToU64() <= other.ToU64(); }
    constexpr bool operator>=(const CWorldWideName& other) const noexcept { return ToU64() >= other.ToU64(); }

    /// \}
    /// \name Arithmetic
    /// All results wrap modulo 2^64. The quotient by zero is 0, the remainder by zero is the dividend.
    /// \{

    /// Adds 1 and returns a copy of the new value.
    constexpr CWorldWideName operator++() noexcept { return *this = ToU64() + 1; }

    /// Subtracts 1 and returns a copy of the new value.
    constexpr CWorldWideName operator--() noexcept { return *this = ToU64() - 1; }

    constexpr CWorldWideName& operator+=(const CWorldWideName& other) noexcept { return *this = *this + other; }
    constexpr CWorldWideName& operator-=(const CWorldWideName& other) noexcept { return *this = *this - other; }
    constexpr CWorldWideName& operator*=(unsigned long factor) noexcept { return *this = *this * factor; }
    constexpr CWorldWideName& operator/=(const CWorldWideName& divisor) noexcept { return *this = *this / divisor; }
    constexpr CWorldWideName& operator%=(const CWorldWideName& divisor) noexcept { return *this = *this % divisor; }

    constexpr CWorldWideName operator+(const CWorldWideName& other) const noexcept { return ToU64() + other.ToU64(); }
    constexpr CWorldWideName operator-(const CWorldWideName& other) const noexcept { return ToU64() - other.ToU64(); }
    constexpr CWorldWideName operator*(unsigned long factor) const noexcept { return ToU64() * factor; }

    constexpr CWorldWideName operator/(const CWorldWideName& divisor) const noexcept
    {
        const unsigned long number = divisor.ToU64();
        return number == 0 ? 0 : ToU64() / number;
    }

    /// The remainder; with CIpAddress this operator gives the quotient.
    constexpr CWorldWideName operator%(const CWorldWideName& divisor) const noexcept
    {
        const unsigned long number = divisor.ToU64();
        return number == 0 ? ToU64() : ToU64() % number;
    }

    /// \}
    /// \name Bits
    /// Each bit by itself.
    /// \{

    constexpr CWorldWideName& operator|=(const CWorldWideName& other) noexcept { return *this = *this | other; }
    constexpr CWorldWideName& operator&=(const CWorldWideName& other) noexcept { return *this = *this & other; }
    constexpr CWorldWideName operator|(const CWorldWideName& other) const noexcept { return ToU64() | other.ToU64(); }
    constexpr CWorldWideName operator&(const CWorldWideName& other) const noexcept { return ToU64() & other.ToU64(); }

    constexpr void Not() noexcept { CopyFrom(~ToU64()); }                    ///< Complements every bit in place.
    constexpr CWorldWideName operator~() const noexcept { return ~ToU64(); } ///< The complement, as a new value.

    /// \}
    /// \name Bytes
    /// Byte 0 is the first byte in the text. A negative index selects byte 0, an index above 7 selects byte 7.
    /// \{

    constexpr unsigned char operator[](int i) const noexcept { return mBytes[detail::ClampIndex(i, 8)]; }
    constexpr unsigned char& operator[](int i) noexcept { return mBytes[detail::ClampIndex(i, 8)]; }

    /// \}
    /// \name Classification
    /// \{

    /// Whether at most one bit is set: true for the zero name too.
    constexpr bool IsPowerOf2() const noexcept { return (ToU64() & (ToU64() - 1)) == 0; }

    /// \}

private:
    static FormatStyle mFormatStyle;

    unsigned char mBytes[8] = {};
};

/// Writes ToString().
ZOR_COMMON_API std::ostream& operator<<(std::ostream& out, const CWorldWideName& name);

/// Reads one word delimited by white space and passes it to CopyFromString(). A word that is a name also sets the
/// style; any other word leaves \a name unchanged and the stream good.
ZOR_COMMON_API std::istream& operator>>(std::istream& in, CWorldWideName& name);

} // namespace zor::common

/// The 64-bit number; equal names have one hash.
template <>
struct std::hash<zor::common::CWorldWideName> {
    std::size_t operator()(const zor::common::CWorldWideName& name) const noexcept { return name.ToU64(); }
};

#endif // ZOR_COMMON_WORLD_WIDE_NAME_H
