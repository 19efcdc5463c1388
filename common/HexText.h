#ifndef ZOR_COMMON_HEX_TEXT_H
#define ZOR_COMMON_HEX_TEXT_H

/// \file
/// Internal: a short text sorted into hex digits and separators.

#include "WideSteps.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace zor::common::detail {

/// A text of fewer than kRoom characters and the values of its digits.
struct HexText {
    static constexpr std::size_t kRoom = 48;

    HexText(const std::string& text, char separator) noexcept : size(static_cast<int>(text.size()))
    {
        char padded[kRoom] = {};
        text.copy(padded, kRoom);
#pragma GCC unroll 3
        for (std::size_t i = 0; i < kRoom; i += kHexScanStep) {
            const HexScan step = ScanHex(padded + i, separator, values + i);
            scan.digits |= step.digits << i;
            scan.separators |= step.separators << i;
        }
    }

    bool IsSeparator(int i) const noexcept
    {
        return (scan.separators >> i & 1) != 0;
    }

    /// How far the next separator, or else the end of the text, is from \a i on.
    int DistanceToSeparator(int i) const noexcept
    {
        return __builtin_ctzll((scan.separators | BitOf(size)) >> i);
    }

    /// The place behind the last separator; 0 where there is none.
    int EndOfLastSeparator() const noexcept
    {
        return scan.separators == 0 ? 0 : 64 - __builtin_clzll(scan.separators);
    }

    /// The first character that is neither a digit nor the separator, or the end of the text.
    int FirstOther() const noexcept
    {
        return __builtin_ctzll(~(scan.digits | scan.separators));
    }

    int size;
    HexScan scan;
    unsigned char values[kRoom + 3]; ///< Four can be read from any place on; behind the text they say nothing.

private:
    static std::uint64_t BitOf(int i) noexcept
    {
        return std::uint64_t{1} << i;
    }
};

} // namespace zor::common::detail

#endif // ZOR_COMMON_HEX_TEXT_H
