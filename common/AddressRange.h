#ifndef ZOR_COMMON_ADDRESS_RANGE_H
#define ZOR_COMMON_ADDRESS_RANGE_H

/// \file
/// AddressRange, a run of addresses with iterators, an index and subnets; Summarize().

#include "AddressPrefix.h"
#include "BigEndian.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <type_traits>
#include <vector>

#if __cplusplus >= 202002L
#include <ranges>
#endif

namespace zor::common {

namespace detail {

// What numbers of all widths are asked for. One of 32 bits takes part as one of 64.

constexpr std::uint64_t LowWord(std::uint64_t number) noexcept
{
    return number;
}
constexpr std::uint64_t LowWord(Uint128 number) noexcept
{
    return number.low;
}
constexpr bool FitsWord(std::uint64_t /*number*/) noexcept
{
    return true;
}
constexpr bool FitsWord(Uint128 number) noexcept
{
    return number.high == 0;
}

/// The number whose low \a count bits, 0 to 128, are set.
template <class Number>
constexpr Number LowBits(int count) noexcept
{
    return count == 0 ? 0 : static_cast<Number>(~std::uint64_t{0} >> (64 - count));
}
template <>
constexpr Uint128 LowBits<Uint128>(int count) noexcept
{
    return ~TopBits128(static_cast<unsigned int>(128 - count));
}

/// \a number times 2^count; 0 where no bit of it is left.
template <class Number>
constexpr Number ShiftedLeft(std::uint64_t number, int count) noexcept
{
    return static_cast<Number>(count >= 64 ? 0 : number << count);
}
template <>
constexpr Uint128 ShiftedLeft<Uint128>(std::uint64_t number, int count) noexcept
{
    return Uint128{0, number} << count;
}

/// How many of the lowest bits are zero; \a bits for the number 0.
constexpr int TrailingZeros(std::uint64_t number, int bits) noexcept
{
    return number == 0 ? bits : __builtin_ctzll(number);
}
constexpr int TrailingZeros(Uint128 number, int bits) noexcept
{
    return number.low != 0 ? __builtin_ctzll(number.low) : number.high != 0 ? 64 + __builtin_ctzll(number.high) : bits;
}

/// The largest n for which \a number + 1 is at least 2^n.
constexpr int FloorLog2OfNext(std::uint64_t number) noexcept
{
    return number == ~std::uint64_t{0} ? 64 : 63 - __builtin_clzll(number + 1);
}
constexpr int FloorLog2OfNext(Uint128 number) noexcept
{
    if (number.high == 0) return FloorLog2OfNext(number.low);
    const Uint128 next = number + Uint128{0, 1};
    return next.high == 0 ? 128 : 127 - __builtin_clzll(next.high);
}

/// A place among the numbers of a type, or behind the last one: for types that leave a word room for that.
struct NarrowPlace {
    std::uint64_t number = 0;

    constexpr NarrowPlace() noexcept = default;
    constexpr explicit NarrowPlace(std::uint64_t value) noexcept : number(value) {}

    constexpr std::uint64_t LowWord() const noexcept { return number; }
    constexpr void Next() noexcept { ++number; }
    constexpr void Previous() noexcept { --number; }
    constexpr void Move(std::ptrdiff_t count) noexcept { number += static_cast<std::uint64_t>(count); }

    friend constexpr bool operator==(NarrowPlace left, NarrowPlace right) noexcept
    {
        return left.number == right.number;
    }
    friend constexpr bool operator<(NarrowPlace left, NarrowPlace right) noexcept { return left.number < right.number; }
};

/// The same for the wider types: 129 bits.
struct WidePlace {
    Uint128 number = {0, 0};
    bool behind = false;

    constexpr WidePlace() noexcept = default;
    constexpr explicit WidePlace(std::uint64_t value) noexcept : number{0, value} {}
    constexpr explicit WidePlace(Uint128 value) noexcept : number(value) {}

    constexpr std::uint64_t LowWord() const noexcept { return number.low; }
    constexpr void Next() noexcept
    {
        if (++number.low == 0 && ++number.high == 0) behind = !behind;
    }
    constexpr void Previous() noexcept
    {
        if (number.low-- == 0 && number.high-- == 0) behind = !behind;
    }
    constexpr void Move(std::ptrdiff_t count) noexcept
    {
        const Uint128 before = number;
        number = number + Uint128{count < 0 ? ~std::uint64_t{0} : 0, static_cast<std::uint64_t>(count)};
        if (count < 0 ? before < number : number < before) behind = !behind;
    }

    friend constexpr bool operator==(const WidePlace& left, const WidePlace& right) noexcept
    {
        return left.number == right.number && left.behind == right.behind;
    }
    friend constexpr bool operator<(const WidePlace& left, const WidePlace& right) noexcept
    {
        return left.behind != right.behind ? right.behind : left.number < right.number;
    }
};

} // namespace detail

/// The addresses from one to another, both included.
///
/// A range is two numbers and is as cheap to copy. Distinct objects may be used from distinct threads, and one object
/// from several threads that do not assign to it. It works like a random-access container, but it computes addresses
/// and does not store them: iterators return values, and stay valid after the range is destroyed. In C++20 it is a
/// std::ranges::view, so views such as `| std::views::reverse` apply.
/// \code
/// const auto hosts = AddressRange<CIpAddress>::Network(CIpAddress(10, 0, 0, 0), 22);
/// for (const CIpAddress host : hosts) { /* 10.0.0.0 to 10.0.3.255 */ }
/// hosts.GetAt(256);                                  // 10.0.1.0
/// hosts.GetPositionOf(CIpAddress(10, 0, 2, 7));      // 519
/// hosts.GetSubnet(24, 3);                            // 10.0.3.0 to 10.0.3.255
/// \endcode
///
/// A range may end in ff...ff and may be the whole address space. Prefix lengths count bits from the top and are
/// clamped to the range from 0 to the width of the address. Unlike in CIpAddress::GetNetwork(), a length of 0 means all
/// addresses for each type. IPv6 addresses from a range have no formatting flag.
template <class Address>
class AddressRange {
    using Traits = detail::AddressNumber<Address>;
    using Number = typename Traits::Type;
    using Place = std::conditional_t<(Traits::kBits < 64), detail::NarrowPlace, detail::WidePlace>;

public:
    /// A random-access iterator that returns addresses by value. `difference_type` is std::ptrdiff_t, so a difference
    /// is defined only below 2^63. Iterators of different ranges compare by their addresses.
    class Iterator {
    public:
        using value_type = Address;             ///< The address type.
        using difference_type = std::ptrdiff_t; ///< The distance of two iterators.
        using reference = Address;              ///< Addresses are computed, so there is no object to refer to.
        using iterator_category = std::random_access_iterator_tag; ///< Steps of any length take the same time.

        /// The result of `->`: an address that lives as long as the expression.
        class pointer {
        public:
            constexpr const Address* operator->() const noexcept { return &mAddress; } ///< The address.

        private:
            friend class Iterator;
            constexpr explicit pointer(const Address& address) noexcept : mAddress(address) {}

            Address mAddress;
        };

        constexpr Iterator() noexcept = default; ///< At the first address of the type.

        /// \name Random access
        /// As with a pointer into an array of all addresses of the type, or one past its end.
        /// \{

        /// The address at this position. Must not be called past the last address of the type.
        constexpr Address operator*() const noexcept
        {
            if constexpr (Traits::kBits > 64) {
                return Traits::ToAddress(mPlace.number);
            } else {
                return Traits::ToAddress(static_cast<Number>(mPlace.LowWord()));
            }
        }
        constexpr pointer operator->() const noexcept { return pointer(**this); } ///< For members of the address.
        /// The address \a n steps ahead.
        constexpr Address operator[](difference_type n) const noexcept { return *(*this + n); }

        /// Moves one step forward.
        constexpr Iterator& operator++() noexcept
        {
            mPlace.Next();
            return *this;
        }
        /// Moves one step forward; returns the old position.
        constexpr Iterator operator++(int) noexcept
        {
            const Iterator before = *this;
            mPlace.Next();
            return before;
        }
        /// Moves one step back.
        constexpr Iterator& operator--() noexcept
        {
            mPlace.Previous();
            return *this;
        }
        /// Moves one step back; returns the old position.
        constexpr Iterator operator--(int) noexcept
        {
            const Iterator before = *this;
            mPlace.Previous();
            return before;
        }
        /// Moves \a n steps forward.
        constexpr Iterator& operator+=(difference_type n) noexcept
        {
            mPlace.Move(n);
            return *this;
        }
        /// Moves \a n steps back.
        constexpr Iterator& operator-=(difference_type n) noexcept
        {
            mPlace.Move(static_cast<difference_type>(0 - static_cast<std::uint64_t>(n)));
            return *this;
        }
        friend constexpr Iterator operator+(Iterator it, difference_type n) noexcept { return it += n; }
        friend constexpr Iterator operator+(difference_type n, Iterator it) noexcept { return it += n; }
        friend constexpr Iterator operator-(Iterator it, difference_type n) noexcept { return it -= n; }
        friend constexpr difference_type operator-(const Iterator& left, const Iterator& right) noexcept
        {
            return static_cast<difference_type>(left.mPlace.LowWord() - right.mPlace.LowWord());
        }
        friend constexpr bool operator==(const Iterator& left, const Iterator& right) noexcept
        {
            return left.mPlace == right.mPlace;
        }
        friend constexpr bool operator!=(const Iterator& left, const Iterator& right) noexcept
        {
            return !(left == right);
        }
        friend constexpr bool operator<(const Iterator& left, const Iterator& right) noexcept
        {
            return left.mPlace < right.mPlace;
        }
        friend constexpr bool operator>(const Iterator& left, const Iterator& right) noexcept { return right < left; }
        friend constexpr bool operator<=(const Iterator& left, const Iterator& right) noexcept
        {
            return !(right < left);
        }
        friend constexpr bool operator>=(const Iterator& left, const Iterator& right) noexcept
        {
            return !(left < right);
        }

        /// \}

    private:
        friend class AddressRange;
        constexpr explicit Iterator(const Place& place) noexcept : mPlace(place) {}

        Place mPlace;
    };

    /// \name Construction
    /// \{

    constexpr AddressRange() noexcept : mFirst(One()), mLast(HostMask(0)) {} ///< Empty.

    /// From \a first to \a last, both included; empty if \a first is above \a last.
    constexpr AddressRange(const Address& first, const Address& last) noexcept
        : mFirst(Traits::Of(first)), mLast(Traits::Of(last))
    {
    }

    /// The network with a prefix length that contains \a of; 0 means all addresses.
    static constexpr AddressRange Network(const Address& of, int prefixLength) noexcept
    {
        const int hostBits = Traits::kBits - detail::NearestLength<Address>(prefixLength);
        return OfNumbers(Traits::Of(of) & ~HostMask(hostBits), hostBits);
    }

    /// The network of a prefix, whose host bits are ignored.
    static constexpr AddressRange Network(const Prefix<Address>& prefix) noexcept
    {
        return Network(prefix.network, prefix.length);
    }

    /// \}
    /// \name Addresses
    /// \{

    constexpr bool IsEmpty() const noexcept { return mLast < mFirst; } ///< Whether it has no address.

    constexpr Address GetFirst() const noexcept { return Traits::ToAddress(mFirst); } ///< As given, even if empty.
    constexpr Address GetLast() const noexcept { return Traits::ToAddress(mLast); }   ///< As given, even if empty.

    /// The number of addresses; nothing for 2^64 and more.
    constexpr std::optional<std::uint64_t> GetSize() const noexcept
    {
        if (IsEmpty()) return 0;
        const Number steps = mLast - mFirst;
        if (!detail::FitsWord(steps) || detail::LowWord(steps) == ~std::uint64_t{0}) return std::nullopt;
        return detail::LowWord(steps) + 1;
    }

    /// Whether an address belongs to the range.
    constexpr bool Contains(const Address& address) const noexcept
    {
        const Number number = Traits::Of(address);
        return !(number < mFirst || mLast < number);
    }

    /// The address at a position, counted from 0. Positions beyond the range continue and wrap at the width of the
    /// address.
    constexpr Address GetAt(std::uint64_t n) const noexcept
    {
        return Traits::ToAddress(mFirst + detail::ShiftedLeft<Number>(n, 0));
    }

    /// The position of an address; nothing if it does not belong to the range, or if the position is 2^64 or more.
    constexpr std::optional<std::uint64_t> GetPositionOf(const Address& address) const noexcept
    {
        if (!Contains(address)) return std::nullopt;
        const Number steps = Traits::Of(address) - mFirst;
        if (!detail::FitsWord(steps)) return std::nullopt;
        return detail::LowWord(steps);
    }

    /// Whether both ranges have the same addresses.
    friend constexpr bool operator==(const AddressRange& left, const AddressRange& right) noexcept
    {
        if (left.IsEmpty() || right.IsEmpty()) return left.IsEmpty() && right.IsEmpty();
        return left.mFirst == right.mFirst && left.mLast == right.mLast;
    }
    friend constexpr bool operator!=(const AddressRange& left, const AddressRange& right) noexcept
    {
        return !(left == right);
    }

    /// \}
    /// \name Networks
    /// \{

    /// Subnet \a n with a prefix length, counted from 0, of a range that is a network. Empty if the range is not a
    /// network, if the length is below that of the network, and beyond the last subnet.
    constexpr AddressRange GetSubnet(int prefixLength, std::uint64_t n) const noexcept
    {
        const int hostBits = Traits::kBits - detail::NearestLength<Address>(prefixLength);
        const int ownBits = GetBlockBits(mFirst);
        if (IsEmpty() || !(mFirst + HostMask(ownBits) == mLast) || hostBits > ownBits) return {};
        if (ownBits - hostBits < 64 && n >> (ownBits - hostBits) != 0) return {};
        return OfNumbers(mFirst + detail::ShiftedLeft<Number>(n, hostBits), hostBits);
    }

    /// The least number of networks that together have exactly the addresses of the range, in ascending order.
    std::vector<Prefix<Address>> GetPrefixes() const
    {
        std::vector<Prefix<Address>> prefixes;
        AddPrefixes(prefixes);
        return prefixes;
    }

    /// \}
    /// \name Iterators
    /// \{

    constexpr Iterator begin() const noexcept { return Iterator(Place(mFirst)); } ///< At the first address.

    /// One past the last address, also if this is the last address of the type.
    constexpr Iterator end() const noexcept
    {
        Place place(IsEmpty() ? mFirst : mLast);
        if (!IsEmpty()) place.Next();
        return Iterator(place);
    }

    /// \}

private:
    template <class Any>
    friend std::vector<Prefix<Any>> Summarize(std::vector<AddressRange<Any>> ranges);

    static constexpr Number One() noexcept { return detail::ShiftedLeft<Number>(1, 0); }
    static constexpr Number HostMask(int bits) noexcept { return detail::LowBits<Number>(bits); }

    static constexpr AddressRange OfNumbers(Number first, int hostBits) noexcept
    {
        AddressRange range;
        range.mFirst = first;
        range.mLast = first + HostMask(hostBits);
        return range;
    }

    /// The host bits of the largest network that starts at a number of the range and does not leave it.
    constexpr int GetBlockBits(Number first) const noexcept
    {
        return std::min(detail::TrailingZeros(first, Traits::kBits), detail::FloorLog2OfNext(mLast - first));
    }

    void AddPrefixes(std::vector<Prefix<Address>>& prefixes) const
    {
        if (IsEmpty()) return;
        for (Number first = mFirst;; first = first + One()) {
            const int bits = GetBlockBits(first);
            prefixes.push_back({Traits::ToAddress(first), Traits::kBits - bits});
            first = first + HostMask(bits);
            if (first == mLast) return;
        }
    }

    Number mFirst;
    Number mLast;
};

/// The least number of networks that together have exactly the addresses of all ranges, in ascending order. Ranges may
/// overlap, touch, be empty and come in any order. Sorting takes most of the time: n log n for n ranges.
template <class Address>
std::vector<Prefix<Address>> Summarize(std::vector<AddressRange<Address>> ranges)
{
    using Range = AddressRange<Address>;
    ranges.erase(std::remove_if(ranges.begin(), ranges.end(), [](const Range& range) { return range.IsEmpty(); }),
                 ranges.end());
    std::sort(ranges.begin(), ranges.end(),
              [](const Range& left, const Range& right) { return left.mFirst < right.mFirst; });
    std::vector<Prefix<Address>> prefixes;
    prefixes.reserve(ranges.size());
    for (auto next = ranges.begin(); next != ranges.end();) {
        Range joined = *next;
        // What starts at the next number at the latest belongs to it; behind the last number nothing starts.
        for (++next;
             next != ranges.end() && !(joined.mLast < next->mFirst && joined.mLast + Range::One() < next->mFirst);
             ++next) {
            joined.mLast =
                std::max(joined.mLast, next->mLast, [](const auto& left, const auto& right) { return left < right; });
        }
        joined.AddPrefixes(prefixes);
    }
    return prefixes;
}

} // namespace zor::common

#if __cplusplus >= 202002L && defined(__cpp_lib_ranges)
/// A range copies in constant time.
template <class Address>
inline constexpr bool std::ranges::enable_view<zor::common::AddressRange<Address>> = true;

/// Its iterators do not need it.
template <class Address>
inline constexpr bool std::ranges::enable_borrowed_range<zor::common::AddressRange<Address>> = true;
#endif

#endif // ZOR_COMMON_ADDRESS_RANGE_H
