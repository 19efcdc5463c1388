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

inline std::vector<unsigned char>::iterator AppendPlainVarint(std::uint64_t value, std::vector<unsigned char>& out)
{
    for (; value >= 0x80; value >>= 7) out.push_back(static_cast<unsigned char>(value | 0x80));
    out.push_back(static_cast<unsigned char>(value));
    return out.end();
}

inline std::uint64_t Zigzag(std::int64_t value)
{
    const auto doubled = static_cast<std::uint64_t>(value) * 2;
    return value < 0 ? ~doubled : doubled;
}

inline std::uint64_t PlainMsbUint(const unsigned char* bytes, std::size_t count)
{
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t shifted = std::uint32_t{bytes[i]} << 8 * (count - 1 - i) % 32;
        value |= static_cast<std::uint64_t>(std::int64_t{static_cast<std::int32_t>(shifted)});
    }
    return value;
}

/// Values of all kinds appended one after the other, with much, little or no room left.
inline void CheckEncoder(Random& random)
{
    using Encoder = GoogleProtoBufEncoder;
    std::vector<unsigned char> out, expected;
    for (std::size_t values = 1 + random.Below(12); values > 0; --values) {
        if (random.Below(3) == 0) {
            const std::size_t room = out.size() + random.Below(12);
            out.shrink_to_fit();
            out.reserve(room);
        }
        const std::uint64_t value = random.Number() >> random.Below(64);
        const auto low = static_cast<std::uint32_t>(value);
        const auto isSigned = static_cast<std::int64_t>(random.Below(2) == 0 ? value : 0 - value);
        const auto isSigned32 = static_cast<std::int32_t>(isSigned);
        const std::string text = random.Text("ab\xff", random.Below(random.Below(8) == 0 ? 300 : 24));
        const bool ownBytes = out.size() < 300 && random.Below(8) == 0; // of the output itself
        const auto* const bytes = ownBytes ? out.data() : reinterpret_cast<const unsigned char*>(text.data());
        const std::size_t count = ownBytes ? out.size() : text.size();
        std::uint64_t expectedValue = value;
        switch (random.Below(10)) {
        case 0: Encoder::encodeUint64(value, out); break;
        case 1: Encoder::encodeUint32(low, out), expectedValue = low; break;
        case 2: Encoder::encodeInt64(isSigned, out), expectedValue = static_cast<std::uint64_t>(isSigned); break;
        case 3: Encoder::encodeInt32(isSigned32, out), expectedValue = static_cast<std::uint64_t>(isSigned32); break;
        case 4: Encoder::encodeSint64(isSigned, out), expectedValue = Zigzag(isSigned); break;
        case 5: Encoder::encodeSint32(isSigned32, out), expectedValue = Zigzag(isSigned32); break;
        case 6: Encoder::encodeTag(low, low >> 7, out), expectedValue = (low << 3) + (low >> 7) % 4; break;
        case 7:
            expectedValue = PlainMsbUint(bytes, std::min<std::size_t>(count, 8));
            Encoder::encodeMsbUint(bytes, static_cast<std::uint32_t>(count), out);
            break;
        case 8:
            Encoder::encodeString(text, out);
            expected.insert(AppendPlainVarint(text.size(), expected), text.begin(), text.end());
            ASSERT_EQ(out, expected);
            continue;
        default:
            const std::vector<unsigned char> copy(bytes, bytes + count);
            Encoder::encodeBytes(ownBytes ? out : copy, out);
            expected.insert(AppendPlainVarint(count, expected), copy.begin(), copy.end());
            ASSERT_EQ(out, expected);
            continue;
        }
        AppendPlainVarint(expectedValue, expected);
        ASSERT_EQ(out, expected);
    }
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_ENCODER_CHECKS_H
