#ifndef ZOR_COMMON_TESTS_CHECKSUM_CHECKS_H
#define ZOR_COMMON_TESTS_CHECKSUM_CHECKS_H

/// \file
/// Checksums, compared with a sum that is written out word by word.

#include "Random.h"

#include <common/ChecksumField.h>
#include <common/Wildcards.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace zor::common::test {

/// What a field of a frame should hold.
inline unsigned int PlainChecksum(const ChecksumField& field, const std::string& frame)
{
    std::uint64_t sum = field.initial;
    for (const ByteSpan& span : field.covered) {
        for (std::size_t i = 0; i < span.size; ++i) {
            const std::size_t at = span.offset + i;
            const auto byte = at == field.at || at == field.at + 1 ? 0u : static_cast<unsigned char>(frame[at]);
            sum += i % 2 == 0 ? byte * 256u : byte;
        }
    }
    while (sum > 0xffff) sum = (sum & 0xffff) + (sum >> 16);
    const auto result = static_cast<unsigned int>(field.complement ? 0xffff - sum : sum);
    return result == 0 && field.zeroIsAllOnes ? 0xffff : result;
}

/// Sets the fields of a frame, one after the other.
inline void SetChecksums(const std::vector<ChecksumField>& fields, std::string& frame)
{
    for (const ChecksumField& field : fields) {
        const unsigned int checksum = PlainChecksum(field, frame);
        frame[field.at] = static_cast<char>(checksum >> 8);
        frame[field.at + 1] = static_cast<char>(checksum & 0xff);
    }
}

/// A field of a frame of so many bytes, which should be at least 2.
inline ChecksumField DrawChecksum(Random& random, std::size_t size)
{
    ChecksumField field;
    field.at = random.Below(size - 1);
    for (std::size_t i = random.Below(4); i > 0; --i) {
        const std::size_t offset = random.Below(size + 1);
        field.covered.push_back({offset, random.Below(size - offset + 1)});
    }
    field.initial = static_cast<std::uint32_t>(random.Below(3) == 0 ? random.Number() : random.Below(2) * 0xffff);
    field.zeroIsAllOnes = random.Below(2) == 0;
    field.complement = random.Below(4) != 0;
    return field;
}

/// Bytes that are replaced leave the checksum right.
inline void CheckAdjustment(Random& random)
{
    std::string frame(2 + random.Below(80), '\0');
    for (char& c : frame) c = random.Below(4) == 0 ? '\0' : static_cast<char>(random.Byte());
    const ChecksumField field = DrawChecksum(random, frame.size());
    SetChecksums({field}, frame);
    const std::size_t offset = random.Below(frame.size());
    std::string is(random.Below(frame.size() - offset + 1), '\0');
    for (char& c : is) c = random.Below(4) == 0 ? '\0' : static_cast<char>(random.Byte());

    std::string expected = frame;
    expected.replace(offset, is.size(), is);
    expected.replace(field.at, 2, frame, field.at, 2); // which the field's own bytes keep
    std::uint64_t sum = field.initial;
    bool isCovered = false;
    for (const ByteSpan& span : field.covered) {
        for (std::size_t at = span.offset; at < span.offset + span.size; ++at) {
            if (at == field.at || at == field.at + 1) continue;
            sum += static_cast<unsigned char>(expected[at]);
            isCovered = isCovered || (at >= offset && at < offset + is.size());
        }
    }
    AdjustChecksum(field, reinterpret_cast<unsigned char*>(frame.data()), offset,
                   reinterpret_cast<const unsigned char*>(is.data()), is.size());
    if (sum == 0) expected.replace(field.at, 2, frame, field.at, 2); // both forms of 0 are right
    if (isCovered && sum != 0) SetChecksums({field}, expected);
    ASSERT_EQ(frame, expected) << "from " << offset << ", field at " << field.at;
}

/// The checksums of a frame and of all that is left of it when it is cut: within the frame, apart, and and
/// none but those of the uncut one, as lengths are those of the headers.
inline void CheckFoundChecksums(Random& random)
{
    static constexpr const char* kFrames[] = {
        // Two tags, IPv4 with an option, UDP.
        "81000064 88a80005 0800 46000028 00000000 40110000 0a000001 0a000002 01010100 04000035 00100000 "
        "3132333435363738",
        // IPv6, a routing header, destination options, TCP.
        "86dd 60000000 002c2b40 20010db8000000000000000000000001 20010db8000000000000000000000002 3c00010400000000"
        "0601000000000000 0000000000000000 04000050 00000001 00000002 50102000 00000000",
    };
    std::string frame;
    Wildcards::ConvertAsciiHexToBin(std::string("020000000001 020000000002 ") + kFrames[random.Below(2)], frame);
    for (std::size_t edits = random.Below(5); edits > 0; --edits) {
        frame[12 + random.Below(frame.size() - 12)] =
            static_cast<char>(random.Below(2) == 0 ? random.Below(8) : random.Byte());
    }
    frame += random.Text("p", random.Below(20)); // padding
    if (random.Below(4) == 0) frame = random.Mutated(frame, "p");
    std::vector<ChecksumField> whole;
    for (std::size_t size = frame.size() + 1; size-- > 0;) {
        const std::vector<unsigned char> bytes(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(size));
        const std::vector<ChecksumField> found = FindChecksums(bytes.data(), size);
        if (size == frame.size()) whole = found;
        ASSERT_LE(found.size(), 2u);
        for (const ChecksumField& field : found) {
            bool isInside = false;
            for (const ByteSpan& span : field.covered) {
                ASSERT_LE(span.offset + span.size, size);
                isInside = isInside || (field.at >= span.offset && field.at + 2 <= span.offset + span.size);
            }
            ASSERT_TRUE(isInside) << "a header holds its checksum";
        }
        for (const ChecksumField& field : found) {
            ASSERT_NE(std::find(whole.begin(), whole.end(), field), whole.end()) << "cut to " << size;
        }
    }
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_CHECKSUM_CHECKS_H
