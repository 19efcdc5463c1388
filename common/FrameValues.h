#ifndef ZOR_COMMON_FRAME_VALUES_H
#define ZOR_COMMON_FRAME_VALUES_H

/// \file
/// What a field of a frame may show: a constant, or values that follow from the index. Part of FrameBuilder.h.

#include "BigEndian.h"
#include "IpAddress.h"
#include "Ipv6Address.h"
#include "MacAddress.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace zor::common {

/// How far a counting field moves at each change: a number, negative to count down, or an IPv6 address for steps of 2^64
/// and more, such as from one /64 network to the next. A number of 2^63 and more is the negative one that is the same
/// modulo 2^64.
class CountingStep {
public:
    /// A number, as it is.
    constexpr CountingStep(std::int64_t number) noexcept // implicit, so that a number serves as a step
        : mNumber{number < 0 ? ~std::uint64_t{0} : 0, static_cast<std::uint64_t>(number)}
    {
    }
    /// The number that an address is; one above 2^127 - 1 counts down.
    CountingStep(const CIpv6Address& distance) noexcept
    {
        unsigned char bytes[16];
        distance.CopyTo(bytes);
        mNumber = {detail::LoadBig64(bytes), detail::LoadBig64(bytes + 8)};
    }

    /// The two's complement number.
    constexpr detail::Uint128 GetNumber() const noexcept { return mNumber; }

private:
    detail::Uint128 mNumber;
};

/// The value of a field that counts: turn t shows first + t * step, modulo the width of the field.
/// \code
/// Counting<std::uint16_t>(1024, 60000)                  // ports from 1024 to 61023
/// Counting(CIpAddress(10, 0, 0, 250), 250, -1)          // down to 10.0.0.1
/// Counting(CIpv6Address(0x20010db800000000, 1), 16, CIpv6Address(1, 0)) // the same host in 16 networks
/// \endcode
/// \tparam Value  an integer or one of CMacAddress, CIpAddress and CIpv6Address.
template <class Value>
struct Counting {
    /// \param from    what index 0 shows.
    /// \param turns   how many values there are before the first one shows again; 0 is without end, so that the field
    ///                wraps at its width.
    /// \param by      is added at each turn.
    /// \param again   how often a value is shown again before the next one; a turn lasts \a again + 1 indexes.
    constexpr Counting(const Value& from, std::uint64_t turns, CountingStep by = 1, std::uint64_t again = 0) noexcept
        : first(from), count(turns), step(by), repeat(again)
    {
    }

    Value first;          ///< What index 0 shows.
    std::uint64_t count;  ///< How many values there are; 0 is without end.
    CountingStep step;    ///< Added at each turn.
    std::uint64_t repeat; ///< How often a value is shown again.
};

namespace detail {

/// What a field shows, before it is known how wide the field is.
struct FrameValue {
    Uint128 first{0, 0};
    Uint128 step{0, 1};
    std::uint64_t count = 1;
    std::uint64_t repeat = 0;
    bool isCounting = false;
    bool isNegative = false;     ///< Whether the first value is a number below 0, which no field can show.
    std::size_t addressSize = 0; ///< Of an address, in bytes; 0 for numbers.
};

template <class Value>
constexpr void SetCounting(FrameValue& value, const Counting<Value>& counting) noexcept
{
    value.step = counting.step.GetNumber();
    value.count = counting.count;
    value.repeat = counting.repeat;
    value.isCounting = true;
}

} // namespace detail

/// A number in a header or in the payload: a constant, or one that counts. Whether it fits is checked by the layer that
/// takes it, so an integer of any type will do.
class FrameNumber {
public:
    /// A constant, of 0 or above.
    template <class Integer, std::enable_if_t<std::is_integral_v<Integer>, int> = 0>
    constexpr FrameNumber(Integer constant) noexcept : mTypeSize(sizeof(Integer))
    {
        mValue.first.low = static_cast<std::uint64_t>(constant);
        mValue.isNegative = constant < Integer{0};
    }

    /// A number that counts, from 0 or above.
    template <class Integer, std::enable_if_t<std::is_integral_v<Integer>, int> = 0>
    constexpr FrameNumber(const Counting<Integer>& counting) noexcept : FrameNumber(counting.first)
    {
        detail::SetCounting(mValue, counting);
    }

    /// For the layers: the number as one of 128 bits.
    constexpr const detail::FrameValue& GetValue() const noexcept { return mValue; }

    /// The bytes of the integer type that it was given as.
    constexpr std::size_t GetTypeSize() const noexcept { return mTypeSize; }

private:
    detail::FrameValue mValue;
    std::size_t mTypeSize;
};

/// An address in a header: a constant, or one that counts.
/// \tparam Address  CMacAddress, CIpAddress or CIpv6Address.
template <class Address>
class FrameAddress {
public:
    /// A constant.
    FrameAddress(const Address& constant) noexcept
    {
        unsigned char bytes[16] = {};
        constant.CopyTo(bytes + 16 - kSize);
        mValue.addressSize = kSize;
        mValue.first = {detail::LoadBig64(bytes), detail::LoadBig64(bytes + 8)};
    }
    /// An address that counts, as one number.
    FrameAddress(const Counting<Address>& counting) noexcept : FrameAddress(counting.first)
    {
        detail::SetCounting(mValue, counting);
    }

    /// For the layers: the address as one number of 128 bits.
    const detail::FrameValue& GetValue() const noexcept { return mValue; }

private:
    static constexpr std::size_t kSize = std::is_same_v<Address, CMacAddress>  ? 6
                                         : std::is_same_v<Address, CIpAddress> ? 4
                                                                               : 16;

    detail::FrameValue mValue;
};

/// What FrameBuilder::Vary() gives to a field: whatever a FrameNumber or a FrameAddress is made of. An address has to have
/// the size of the field.
class FrameVariation {
public:
    /// A number or an address that is a constant or counts.
    template <class Value, std::enable_if_t<std::is_convertible_v<const Value&, FrameNumber>, int> = 0>
    FrameVariation(const Value& value) : mValue(FrameNumber(value).GetValue())
    {
    }
    /// An Ethernet address.
    template <class Value, std::enable_if_t<std::is_convertible_v<const Value&, FrameAddress<CMacAddress>>, long> = 0>
    FrameVariation(const Value& value) : mValue(FrameAddress<CMacAddress>(value).GetValue())
    {
    }
    /// An IPv4 address.
    template <class Value, std::enable_if_t<std::is_convertible_v<const Value&, FrameAddress<CIpAddress>>, char> = 0>
    FrameVariation(const Value& value) : mValue(FrameAddress<CIpAddress>(value).GetValue())
    {
    }
    /// An IPv6 address.
    template <class Value, std::enable_if_t<std::is_convertible_v<const Value&, FrameAddress<CIpv6Address>>, bool> = 0>
    FrameVariation(const Value& value) : mValue(FrameAddress<CIpv6Address>(value).GetValue())
    {
    }

    /// For the builder: the value as a number of 128 bits.
    const detail::FrameValue& GetValue() const noexcept { return mValue; }

private:
    detail::FrameValue mValue;
};

} // namespace zor::common

#endif // ZOR_COMMON_FRAME_VALUES_H
