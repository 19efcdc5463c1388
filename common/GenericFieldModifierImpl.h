#ifndef ZOR_COMMON_GENERIC_FIELD_MODIFIER_IMPL_H
#define ZOR_COMMON_GENERIC_FIELD_MODIFIER_IMPL_H

/// \file
/// CGenericFieldModifierImpl, which finds a value's position in a stepped sequence.

#include "Ipv6Address.h"

namespace zor::common {

/// A stepped sequence of values. It is defined for IPv6 addresses and only declared for other types.
///
/// \tparam Value  the type of the values.
/// \tparam Delta  the type of the step.
template <class Value, class Delta>
class CGenericFieldModifierImpl;

/// A sequence of IPv6 addresses. At position p, the bits within the mask are those of
/// start + p / (repeat count + 1) * step, and the other bits are those of start.
/// \code
/// const CIpv6Address start(0, 1), step(0, 2), all(~0ul, ~0ul);
/// CGenericFieldModifierImpl<CIpv6Address, CIpv6Address> modifier(start, all, step, 4);
/// modifier.FindFirstPositionOf(CIpv6Address(0, 7));    // 15: each address comes five times
/// modifier.FindFirstPositionOf(CIpv6Address(0, 8));    // 0xffffffff: never
/// \endcode
template <>
class CGenericFieldModifierImpl<CIpv6Address, CIpv6Address> {
public:
    /// \param mask         the bits that the sequence changes.
    /// \param repeatCount  how often each value is repeated before the next one.
    CGenericFieldModifierImpl(const CIpv6Address& start, const CIpv6Address& mask, const CIpv6Address& step,
                              unsigned int repeatCount) noexcept
        : mStart(start), mMask(mask), mStep(step), mRepeatCount(repeatCount)
    {
    }

    /// The first position of \a value. Only the bits within the mask are compared.
    ///
    /// \return  0xffffffff if it never occurs. The position is taken modulo 2^32: only the low 32 bits of the number of
    ///          steps are used, and their product with repeat count + 1 wraps.
    ///
    /// \a value occurs if its distance from the start is a multiple of the step, both cut to the bits of the mask.
    /// Carries across the gaps of a mask are not considered.
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
