#ifndef ZOR_COMMON_GENERIC_FIELD_MODIFIER_IMPL_H
#define ZOR_COMMON_GENERIC_FIELD_MODIFIER_IMPL_H

/// \file
/// CGenericFieldModifierImpl, which finds a value's position in a stepped sequence.

#include "Ipv6Address.h"

namespace zor::common {

/// A stepped sequence of values. There is one of IPv6 addresses, for other types it is only declared.
///
/// \tparam Value  the type of the values.
/// \tparam Delta  the type of the step.
template <class Value, class Delta>
class CGenericFieldModifierImpl;

/// A sequence of IPv6 addresses: at position p it has start + p / (repeat count + 1) * step in the bits of the
/// mask, and start in the others.
/// \code
/// const CIpv6Address start(0, 1), step(0, 2), all(~0ul, ~0ul);
/// CGenericFieldModifierImpl<CIpv6Address, CIpv6Address> modifier(start, all, step, 4);
/// modifier.FindFirstPositionOf(CIpv6Address(0, 7));    // 15: each address stands five times
/// modifier.FindFirstPositionOf(CIpv6Address(0, 8));    // 0xffffffff: never
/// \endcode
template <>
class CGenericFieldModifierImpl<CIpv6Address, CIpv6Address> {
public:
    /// \param mask         the bits that the sequence changes.
    /// \param repeatCount  how many times more each value stands before the next one.
    CGenericFieldModifierImpl(const CIpv6Address& start, const CIpv6Address& mask, const CIpv6Address& step,
                              unsigned int repeatCount) noexcept
        : mStart(start), mMask(mask), mStep(step), mRepeatCount(repeatCount)
    {
    }

    /// The first position of \a value, compared in the bits of the mask alone.
    ///
    /// \return  0xffffffff if it never occurs. The position is taken modulo 2^32: of the number of steps the low 32
    ///          bits count, and their product with repeat count + 1 wraps.
    ///
    /// Whether \a value occurs is whether its distance from the start is a multiple of the step, both cut to the
    /// bits of the mask; steps that carry out of a mask with gaps are not followed.
    unsigned int FindFirstPositionOf(const CIpv6Address& value) const noexcept
    {
        CIpv6Address distance = value - mStart;
        distance &= mMask;
        if (distance.IsZero()) return 0;
        CIpv6Address step = mStep;
        step &= mMask;
        if (step.IsZero()) return kNotFound;
        CIpv6Address remainder;
        const CIpv6Address steps = distance.Divide(step, remainder);
        if (!remainder.IsZero()) return kNotFound;
        unsigned int count = 0;
        for (int i = 12; i < 16; ++i) count = count << 8 | steps[i];
        return count * (mRepeatCount + 1);
    }

private:
    static constexpr unsigned int kNotFound = 0xffffffff;

    CIpv6Address mStart;
    CIpv6Address mMask;
    CIpv6Address mStep;
    unsigned int mRepeatCount;
};

} // namespace zor::common

#endif // ZOR_COMMON_GENERIC_FIELD_MODIFIER_IMPL_H
