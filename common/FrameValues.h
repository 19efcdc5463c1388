#ifndef ZOR_COMMON_FRAME_VALUES_H
#define ZOR_COMMON_FRAME_VALUES_H

/// \file
/// What a field of a frame can show: a constant, or values that follow from the index. Part of FrameBuilder.h.

#include "BigEndian.h"
#include "IpAddress.h"
#include "Ipv6Address.h"
#include "MacAddress.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace zor::common {

class FrameBuilder;

/// The step of a counting field: a number, negative to count down, or an IPv6 address for steps of 2^64 and more, such
/// as from one /64 network to the next. A number of 2^63 and more counts as the negative number that equals it modulo
/// 2^64.
class CountingStep {
public:
    /// A number, as it is.
    constexpr CountingStep(std::int64_t number) noexcept // implicit, so that a number serves as a step
        : mNumber{number < 0 ? ~std::uint64_t{0} : 0, static_cast<std::uint64_t>(number)}
    {
    }
    /// An address as a 128-bit number; a number above 2^127 - 1 counts down.
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

/// The value of a field that counts: its value after t changes is first + t * step, modulo the width of the field.
/// \code
/// Counting<std::uint16_t>(1024, 60000);                 // ports from 1024 to 61023
/// Counting(CIpAddress(10, 0, 0, 250), 250, -1);         // down to 10.0.0.1
/// Counting(CIpv6Address(0x20010db800000000, 1), 16, CIpv6Address(1, 0)); // the same host in 16 networks
/// \endcode
/// \tparam Value  an integer or one of CMacAddress, CIpAddress and CIpv6Address.
template <class Value>
struct Counting {
    /// \param from    the value at index 0.
    /// \param values  how many values there are before the first one comes back; 0 means without end, so that the field
    ///                wraps at its width.
    /// \param by      is added at each change of the value.
    /// \param again   how often a value is shown again before the next one, so that it lasts \a again + 1 indexes.
    constexpr Counting(const Value& from, std::uint64_t values, CountingStep by = 1, std::uint64_t again = 0) noexcept
        : first(from), count(values), step(by), repeat(again)
    {
    }

    Value first;          ///< The value at index 0.
    std::uint64_t count;  ///< How many values there are; 0 means without end.
    CountingStep step;    ///< Is added at each change of the value.
    std::uint64_t repeat; ///< How often a value is shown again.
};

/// The value of a field that goes through a list, and starts again after the last value. A value may be in the list
/// more than once.
/// \code
/// OneOf<std::uint16_t>({53, 123, 443});
/// OneOf({CIpAddress(10, 0, 0, 1), CIpAddress(10, 9, 0, 1)}, 1); // each one twice
/// \endcode
/// \tparam Value  as for Counting.
template <class Value>
struct OneOf {
    /// \param list   at least one value.
    /// \param again  how often a value is shown again before the next one.
    OneOf(std::initializer_list<Value> list, std::uint64_t again = 0) : values(list), repeat(again) {}

    /// The same for values in a vector.
    OneOf(std::vector<Value> list, std::uint64_t again = 0) : values(std::move(list)), repeat(again) {}

    std::vector<Value> values; ///< In the order in which they are shown.
    std::uint64_t repeat;      ///< How often a value is shown again.
};

/// Values of a field in another order, as Shuffled() gives them.
/// \tparam Values  Counting or OneOf.
template <class Values>
struct ShuffledValues {
    Values values;      ///< What is shown.
    std::uint64_t seed; ///< Which of the orders.
};

/// Values in an order that looks random: the t-th value shown is number IndexOrder(count, seed).GetIndexAt(t) of \a
/// values, so each of them is shown once before the order starts again. A count of 0 means all values up to where the
/// field wraps.
/// \code
/// Shuffled(Counting(CIpAddress(10, 0, 0, 0), 1 << 24), 42); // all hosts of a network, in the order of seed 42
/// \endcode
/// \param values  what is shown.
/// \param seed    which of the orders.
template <class Value>
ShuffledValues<Counting<Value>> Shuffled(Counting<Value> values, std::uint64_t seed = 0)
{
    return {std::move(values), seed};
}

/// The same of a list.
template <class Value>
ShuffledValues<OneOf<Value>> Shuffled(OneOf<Value> values, std::uint64_t seed = 0)
{
    return {std::move(values), seed};
}

namespace detail {

/// Values in memory row by row.
struct FrameTable {
    std::size_t columns = 1;
    std::vector<Uint128> cells;

    std::size_t CountRows() const noexcept { return cells.size() / columns; }
};

/// What a field shows, before it is known how wide the field is.
struct FrameValue {
    Uint128 first{0, 0};
    Uint128 step{0, 1};
    std::uint64_t count = 1;
    std::uint64_t repeat = 0;
    bool isCounting = false;
    bool isNegative = false;                 ///< Whether the first value is a number below 0, which no field can show.
    std::size_t addressSize = 0;             ///< Of an address, in bytes; 0 for numbers.
    std::shared_ptr<const FrameTable> table; ///< Of a list. The first value is then that of its first row.
    bool isShuffled = false;
    std::uint64_t seed = 0;
};

template <class Value>
void SetCounting(FrameValue& value, const Counting<Value>& counting) noexcept
{
    value.step = counting.step.GetNumber();
    value.count = counting.count;
    value.repeat = counting.repeat;
    value.isCounting = true;
}

/// Makes a value that is a constant the first one of a list.
/// \param numberOf  gives each of the values as a constant.
template <class Value, class NumberOf>
void SetList(FrameValue& value, const OneOf<Value>& list, NumberOf numberOf)
{
    FrameTable table;
    table.cells.reserve(list.values.size());
    for (const Value& each : list.values) {
        const FrameValue number = numberOf(each);
        value.isNegative = value.isNegative || number.isNegative;
        table.cells.push_back(number.first);
    }
    value.first = table.cells.empty() ? Uint128{0, 0} : table.cells.front();
    value.step = {0, 0};
    value.count = table.cells.size();
    value.repeat = list.repeat;
    value.isCounting = true;
    value.table = std::make_shared<const FrameTable>(std::move(table));
}

template <class Values>
void SetOrder(FrameValue& value, const ShuffledValues<Values>& shuffled) noexcept
{
    value.isShuffled = true;
    value.seed = shuffled.seed;
}

} // namespace detail

/// A number in a header or in the payload: a constant, or a number that counts. The layer that takes it checks whether
/// it fits, so an integer of any type will do.
class FrameNumber {
public:
    /// A constant, of 0 or above.
    template <class Integer, std::enable_if_t<std::is_integral_v<Integer>, int> = 0>
    FrameNumber(Integer constant) noexcept : mTypeSize(sizeof(Integer))
    {
        mValue.first.low = static_cast<std::uint64_t>(constant);
        mValue.isNegative = constant < Integer{0};
    }

    /// A number that counts, from 0 or above.
    template <class Integer, std::enable_if_t<std::is_integral_v<Integer>, int> = 0>
    FrameNumber(const Counting<Integer>& counting) noexcept : FrameNumber(counting.first)
    {
        detail::SetCounting(mValue, counting);
    }

    /// A number that goes through a list, of 0 and above.
    template <class Integer, std::enable_if_t<std::is_integral_v<Integer>, int> = 0>
    FrameNumber(const OneOf<Integer>& list) : FrameNumber(Integer{0})
    {
        detail::SetList(mValue, list, [](Integer each) { return FrameNumber(each).GetValue(); });
    }

    /// Numbers in another order.
    template <class Values, std::enable_if_t<std::is_constructible_v<FrameNumber, const Values&>, int> = 0>
    FrameNumber(const ShuffledValues<Values>& shuffled) : FrameNumber(shuffled.values)
    {
        detail::SetOrder(mValue, shuffled);
    }

    /// For the layers: the number as one of 128 bits.
    const detail::FrameValue& GetValue() const noexcept { return mValue; }

    /// The size in bytes of the integer type that the number was given as.
    std::size_t GetTypeSize() const noexcept { return mTypeSize; }

private:
    detail::FrameValue mValue;
    std::size_t mTypeSize;
};

/// An address in a header: a constant, or an address that counts.
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

    /// An address that goes through a list.
    FrameAddress(const OneOf<Address>& list) : FrameAddress(Address())
    {
        detail::SetList(mValue, list, [](const Address& each) { return FrameAddress(each).GetValue(); });
    }
    /// Addresses in another order.
    template <class Values, std::enable_if_t<std::is_constructible_v<FrameAddress, const Values&>, int> = 0>
    FrameAddress(const ShuffledValues<Values>& shuffled) : FrameAddress(shuffled.values)
    {
        detail::SetOrder(mValue, shuffled);
    }

    /// For the layers: the address as one number of 128 bits.
    const detail::FrameValue& GetValue() const noexcept { return mValue; }

private:
    static constexpr std::size_t kSize = std::is_same_v<Address, CMacAddress>  ? 6
                                         : std::is_same_v<Address, CIpAddress> ? 4
                                                                               : 16;

    detail::FrameValue mValue;
};

/// What FrameBuilder::Vary() gives to a field: anything that makes a FrameNumber or a FrameAddress. An address must
/// have the size of the field.
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
    friend class FrameBuilder;

    detail::FrameValue mValue;
};

/// A value in a table: an integer or an address.
class FrameCell {
public:
    /// A number of 0 or above, or an address.
    template <class Value,
              std::enable_if_t<std::is_integral_v<Value> || std::is_same_v<Value, CMacAddress> ||
                                   std::is_same_v<Value, CIpAddress> || std::is_same_v<Value, CIpv6Address>,
                               int> = 0>
    FrameCell(const Value& value) : FrameCell(FrameVariation(value).GetValue())
    {
    }

    /// For the builder: the value as a number of 128 bits.
    detail::Uint128 GetNumber() const noexcept { return mNumber; }
    bool IsNegative() const noexcept { return mIsNegative; }             ///< Whether it is a number below 0.
    std::size_t GetAddressSize() const noexcept { return mAddressSize; } ///< In bytes; 0 for numbers.

private:
    explicit FrameCell(const detail::FrameValue& value)
        : mNumber(value.first), mAddressSize(static_cast<std::uint8_t>(value.addressSize)),
          mIsNegative(value.isNegative)
    {
    }

    detail::Uint128 mNumber;
    std::uint8_t mAddressSize;
    bool mIsNegative;
};

} // namespace zor::common

#endif // ZOR_COMMON_FRAME_VALUES_H
