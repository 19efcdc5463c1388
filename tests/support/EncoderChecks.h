#ifndef ZOR_COMMON_TESTS_ENCODER_CHECKS_H
#define ZOR_COMMON_TESTS_ENCODER_CHECKS_H

/// \file
/// The encoder, checked against one push_back a byte on what a test or a fuzzer draws.

#include "Random.h"

#include <common/GoogleProtoBuf.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace zor::common::test {

inline void AppendPlainVarint(std::uint64_t value, std::vector<unsigned char>& out)
{
    for (; value >= 0x80; value >>= 7) out.push_back(static_cast<unsigned char>(value | 0x80));
    out.push_back(static_cast<unsigned char>(value));
}

/// Values of all kinds appended one after the other, with much, little or no room left.
inline void CheckEncoder(Random& random)
{
    using Encoder = GoogleProtoBufEncoder;
    std::vector<unsigned char> out, expected;
    for (std::size_t values = 1 + random.Below(12); values > 0; --values) {
        if (random.Below(3) == 0) {
            const std::size_t room = out.size() + random.Below(12);
            std::vector<unsigned char> exact;
            exact.reserve(room);
            exact.insert(exact.end(), out.begin(), out.end());
            out.swap(exact);
        }
        const std::uint64_t value = random.Number() >> random.Below(64);
        const auto low = static_cast<std::uint32_t>(value);
        const auto isSigned = static_cast<std::int64_t>(random.Below(2) == 0 ? value : 0 - value);
        const auto isSigned32 = static_cast<std::int32_t>(isSigned);
        const std::string text = random.Text("ab\xff", random.Below(random.Below(8) == 0 ? 300 : 24));
        std::uint64_t expectedValue = value;
        switch (random.Below(9)) {
        case 0: Encoder::encodeUint64(value, out); break;
        case 1: Encoder::encodeUint32(low, out), expectedValue = low; break;
        case 2: Encoder::encodeInt64(isSigned, out), expectedValue = static_cast<std::uint64_t>(isSigned); break;
        case 3:
            Encoder::encodeInt32(isSigned32, out);
            expectedValue = static_cast<std::uint64_t>(std::int64_t{isSigned32});
            break;
        case 4:
            Encoder::encodeSint64(isSigned, out);
            expectedValue =
                isSigned < 0 ? ~(static_cast<std::uint64_t>(isSigned) * 2) : static_cast<std::uint64_t>(isSigned) * 2;
            break;
        case 5:
            Encoder::encodeSint32(isSigned32, out);
            expectedValue = static_cast<std::uint32_t>(isSigned32 < 0 ? ~(static_cast<std::uint32_t>(isSigned32) * 2)
                                                                      : static_cast<std::uint32_t>(isSigned32) * 2);
            break;
        case 6: Encoder::encodeTag(low, low >> 7, out), expectedValue = (low << 3) + (low >> 7) % 4; break;
        case 7: {
            const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
            Encoder::encodeMsbUint(bytes, static_cast<std::uint32_t>(text.size()), out);
            expectedValue = 0;
            const std::size_t count = std::min<std::size_t>(text.size(), 8);
            for (std::size_t i = 0; i < count; ++i) {
                const std::uint32_t shifted = std::uint32_t{bytes[i]} << 8 * (count - 1 - i) % 32;
                expectedValue |= static_cast<std::uint64_t>(std::int64_t{static_cast<std::int32_t>(shifted)});
            }
            break;
        }
        default:
            if (random.Below(2) == 0) {
                Encoder::encodeString(text, out);
            } else {
                Encoder::encodeBytes(std::vector<unsigned char>(text.begin(), text.end()), out);
            }
            AppendPlainVarint(text.size(), expected);
            expected.insert(expected.end(), text.begin(), text.end());
            ASSERT_EQ(out, expected);
            continue;
        }
        AppendPlainVarint(expectedValue, expected);
        ASSERT_EQ(out, expected);
    }
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_ENCODER_CHECKS_H
