#ifndef ZOR_COMMON_FIELD_TYPE_HELPER_H
#define ZOR_COMMON_FIELD_TYPE_HELPER_H

/// \file
/// CConstFieldTypeHelper and CFieldTypeHelper, integers and addresses as bytes in network order.

#include "Export.h"
#include "IpAddress.h"
#include "Ipv6Address.h"
#include "MacAddress.h"
#include "WorldWideName.h"

#include <stdexcept>
#include <string>
#include <type_traits>

namespace zor::common {

/// Whether the host stores the most significant byte of a number first.
ZOR_COMMON_API bool IsBigEndianPlatform() noexcept;

namespace detail {

/// Describes a type for its view: the size in bytes and, for an integer, the end of its error text. Types without an
/// entry have no view.
template <class T>
struct FieldType;

template <>
struct FieldType<unsigned char> {
    static constexpr int kSize = 1;
    static constexpr const char* kRangeError = " is not expected value of 0 for uint8 type";
};

template <>
struct FieldType<signed char> {
    static constexpr int kSize = 1;
    static constexpr const char* kRangeError = " is not expected value of 0 for int8 type";
};

template <>
struct FieldType<unsigned short> {
    static constexpr int kSize = 2;
    static constexpr const char* kRangeError = " is not in range 0-1 for uint16_t type";
};

template <>
struct FieldType<short> {
    static constexpr int kSize = 2;
    static constexpr const char* kRangeError = " is not in range 0-1 for int16_t type";
};

template <>
struct FieldType<unsigned int> {
    static constexpr int kSize = 4;
    static constexpr const char* kRangeError = " is not in range 0-3 for uint32_t type";
};

template <>
struct FieldType<int> {
    static constexpr int kSize = 4;
    static constexpr const char* kRangeError = " is not in range 0-3 for int32_t type";
};

template <>
struct FieldType<unsigned long> {
    static constexpr int kSize = 8;
    static constexpr const char* kRangeError = " is not in range 0-7 for uint64_t type";
};

template <>
struct FieldType<long> {
    static constexpr int kSize = 8;
    static constexpr const char* kRangeError = " is not in range 0-7 for int64_t type";
};

template <>
struct FieldType<CIpAddress> {
    static constexpr int kSize = 4;
};

template <>
struct FieldType<CIpv6Address> {
    static constexpr int kSize = 16;
};

template <>
struct FieldType<CMacAddress> {
    static constexpr int kSize = 6;
};

template <>
struct FieldType<CWorldWideName> {
    static constexpr int kSize = 8;
};

/// Throws unless \a index is that of a byte of the integer type T.
template <class T>
void CheckIndex(int index)
{
    static_assert(sizeof(T) == FieldType<T>::kSize, "the integer types have their widths of x86-64 Linux");
    if (index < 0 || index >= FieldType<T>::kSize) {
        throw std::out_of_range("index " + std::to_string(index) + FieldType<T>::kRangeError);
    }
}

} // namespace detail

/// Reads a value byte by byte in network order, whatever the host's byte order: index 0 is the most significant
/// byte.
///
/// There are views of the integers `unsigned char`, `signed char`, and signed and unsigned `short`, `int` and `long`,
/// and of the four address types; a view of another type does not compile. A view is a pointer: the value must outlive
/// it, and the view always shows its present bytes.
/// \code
/// const unsigned short port = 0x1234;
/// CConstFieldTypeHelper<unsigned short> bytes(port);
/// bytes[0];                                // 0x12
/// bytes[1];                                // 0x34
/// bytes[2];                                // throws std::out_of_range
/// \endcode
///
/// An index outside of an integer throws `std::out_of_range` with a text such as `index 2 is not in range 0-1 for
/// uint16_t type`; for integers of one byte it is `index 1 is not expected value of 0 for uint8 type`. The type is
/// named `uint8`, `int8`, `uint16_t`, `int16_t`, `uint32_t`, `int32_t`, `uint64_t` or `int64_t`. A view of an address
/// takes the nearest byte instead and throws nothing.
template <class T>
class CConstFieldTypeHelper {
    static_assert(detail::FieldType<T>::kSize > 0, "there are views of integers and addresses only");

public:
    /// \param value  must outlive the view; not null.
    constexpr CConstFieldTypeHelper(const T* value) noexcept : mValue(value) {}
    constexpr CConstFieldTypeHelper(const T& value) noexcept : mValue(&value) {} ///< The same; not for temporaries.

    /// The byte at \a index.
    unsigned char operator[](int index) const
    {
        if constexpr (std::is_integral_v<T>) {
            detail::CheckIndex<T>(index);
            const unsigned long bits = static_cast<std::make_unsigned_t<T>>(*mValue);
            return static_cast<unsigned char>(bits >> 8 * (GetSize() - 1 - index));
        } else {
            return (*mValue)[index];
        }
    }

    /// How many bytes the value has.
    constexpr int GetSize() const noexcept { return detail::FieldType<T>::kSize; }

private:
    const T* mValue;
};

/// As CConstFieldTypeHelper, for reading and writing.
/// \code
/// unsigned int number = 0;
/// CFieldTypeHelper<unsigned int> bytes(number);
/// bytes[0] = 0xab;    // number is 0xab000000
/// \endcode
template <class T>
class CFieldTypeHelper {
    static_assert(detail::FieldType<T>::kSize > 0, "there are views of integers and addresses only");

public:
    /// \param value  must outlive the view; not null.
    constexpr CFieldTypeHelper(T* value) noexcept : mValue(value) {}
    constexpr CFieldTypeHelper(T& value) noexcept : mValue(&value) {} ///< The same.

    /// The byte at \a index, inside the value. Throws as CConstFieldTypeHelper does.
    unsigned char& operator[](int index)
    {
        if constexpr (std::is_integral_v<T>) {
            detail::CheckIndex<T>(index);
            auto* bytes = reinterpret_cast<unsigned char*>(mValue);
            if constexpr (sizeof(T) == 1) {
                return *bytes;
            } else {
                return bytes[IsBigEndianPlatform() ? index : GetSize() - 1 - index];
            }
        } else {
            return (*mValue)[index];
        }
    }

    /// How many bytes the value has.
    constexpr int GetSize() const noexcept { return detail::FieldType<T>::kSize; }

private:
    T* mValue;
};

} // namespace zor::common

#endif // ZOR_COMMON_FIELD_TYPE_HELPER_H
