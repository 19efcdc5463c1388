#ifndef ZOR_COMMON_TESTS_FRAME_CHECKS_H
#define ZOR_COMMON_TESTS_FRAME_CHECKS_H

/// \file
/// Frames made of drawn layers, compared with the model of them.

#include "FindIndexChecks.h"
#include "FrameModel.h"

#include <common/FrameBuilder.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

namespace zor::common::test {

inline void CheckFrameBuilder(Random& random)
{
    ModelFrame model(random);
    for (std::size_t calls = 3 + random.Below(8); calls > 0; --calls) {
        random.Below(8) == 0 ? model.Cross() : model.Call();
        if (testing::Test::HasFailure()) return;
    }
    const FrameBuilder& builder = model.builder;
    const CompiledTemplate compiled = builder.Compile();
    const std::vector<ChecksumField> checksums = builder.GetChecksums();
    ASSERT_TRUE(compiled.IsFixedSize());
    ASSERT_EQ(compiled.GetMaxSize(), builder.GetSize());
    const auto text = builder.GetTemplate();
    const CompiledTemplate other = text ? CompiledTemplate(Wildcards(*text, "@"), checksums) : compiled;
    ASSERT_EQ(compiled, other);
    ASSERT_EQ(compiled.GetPeriod(), other.GetPeriod());
    ASSERT_EQ(compiled.GetChangingSpans(), other.GetChangingSpans());

    if (compiled.GetMaxSize() < 2000 && random.Below(4) == 0) {
        CheckBatches(random, compiled, [&](std::uint64_t index) { return ValueAt(compiled, index); });
    }
    if (random.Below(4) == 0) {
        ASSERT_NO_FATAL_FAILURE(CheckFinds(random, compiled));
    }
    for (const std::uint64_t index : {std::uint64_t{0}, std::uint64_t{1}, DrawIndex(random), random.Number()}) {
        const std::string frame = ValueAt(compiled, index);
        ASSERT_EQ(frame, ValueAt(other, index));
        for (const ModelField& field : model.fields) {
            ASSERT_EQ(ReadBig(frame, field.offset, field.size), field.At(index)) << field.name << " at " << index;
        }
        std::size_t sums = 0;
        for (const auto& [layer, at] : model.headers) {
            if (IsOneOf(layer, {Layer::Ipv4, Layer::Ipv4Fragment})) {
                ASSERT_EQ(ReadBig(frame, at + 2, 2), model.end - at);
            }
            if (layer == Layer::Ipv6) {
                ASSERT_EQ(ReadBig(frame, at + 4, 2), model.end - at - 40);
            }
            if (IsOneOf(layer, {Layer::Udp, Layer::UdpWithoutChecksum})) {
                ASSERT_EQ(ReadBig(frame, at + 4, 2), model.end - at);
            }
            if (layer == Layer::UdpWithoutChecksum) {
                ASSERT_EQ(ReadBig(frame, at + 6, 2), 0u);
            }
            if (layer == Layer::GtpU) {
                ASSERT_EQ(ReadBig(frame, at + 2, 2), model.end - at - 8);
            }
            sums += IsOneOf(
                layer, {Layer::Ipv4, Layer::Ipv4Fragment, Layer::Udp, Layer::Tcp, Layer::Icmp, Layer::GreWithChecksum});
        }
        ASSERT_EQ(checksums.size(), sums);
        for (const ChecksumField& field : checksums)
            ASSERT_EQ(ReadBig(frame, field.at, 2), PlainChecksum(field, frame));
        const auto* const bytes = reinterpret_cast<const unsigned char*>(frame.data());
        if (model.headers.empty() || model.headers[0].first != Layer::Ethernet) continue;
        // Those of the outermost packet; of a tunnel, that is not all.
        std::vector<ChecksumField> found = FindChecksums(bytes, frame.size());
        for (std::size_t i = 0; i < found.size(); ++i) {
            const bool isOurs = std::find(checksums.begin(), checksums.end(), found[i]) != checksums.end();
            ASSERT_TRUE(isOurs || ReadBig(frame, found[i].at, 2) == 0u) << "of UDP, which is switched off";
        }
        const auto isInner = [](const auto& header) {
            return IsOneOf(header.first, {Layer::Ethernet, Layer::Gre, Layer::GreWithChecksum, Layer::Mpls,
                                          Layer::Vxlan, Layer::GtpU});
        };
        const auto isIp = [](const auto& header) {
            return IsOneOf(header.first, {Layer::Ipv4, Layer::Ipv4Fragment, Layer::Ipv6});
        };
        const bool isTunnel = std::any_of(model.headers.begin() + 1, model.headers.end(), isInner) ||
                              std::count_if(model.headers.begin(), model.headers.end(), isIp) > 1;
        if (!isTunnel) {
            ASSERT_GE(found.size(), checksums.size());
        }
    }
    random.accepted += !checksums.empty();
}

/// What a captured frame is taken apart into. Only checksums that were wrong may change.
/// \param areRight  whether none is known to be.
inline FrameBuilder CheckTaken(Random& random, const std::string& frame, bool areRight)
{
    const std::vector<unsigned char> bytes(frame.begin(), frame.end()); // whose bounds are watched
    FrameBuilder taken = FrameBuilder::FromPacket(bytes.data(), bytes.size());
    const std::vector<ChecksumField> checksums = taken.GetChecksums();
    std::string expected = frame;
    for (const ChecksumField& field : checksums) {
        if (ReadBig(expected, field.at, 2) != PlainChecksum(field, expected)) SetChecksums({field}, expected);
    }
    EXPECT_EQ(ValueAt(taken.Compile(), 0), expected);
    EXPECT_TRUE(!areRight || expected == frame);
    for (ChecksumField field : FindChecksums(bytes.data(), bytes.size())) {
        const bool isNone = ReadBig(frame, field.at, 2) == 0 && field.zeroIsAllOnes;
        bool isFound = std::find(checksums.begin(), checksums.end(), field) != checksums.end();
        field.zeroIsAllOnes = true; // as any sender may write ffff
        isFound = isFound || std::find(checksums.begin(), checksums.end(), field) != checksums.end();
        EXPECT_TRUE(isFound || isNone) << "at " << field.at;
    }
    random.accepted += checksums.size() > 2;
    return taken;
}

/// Any bytes.
inline void CheckPacketBytes(Random& random)
{
    std::string frame;
    while (random.HasMore()) frame += static_cast<char>(random.Below(256));
    CheckTaken(random, frame, false);
}

/// A frame of a builder, and what is left of it after faults and cuts.
inline void CheckTakenPacket(Random& random)
{
    ModelFrame model(random);
    model.BeginPacket();
    for (std::size_t calls = 2 + random.Below(40); calls > 0; --calls) model.Call();
    if (model.builder.GetSize() > 5000) return;
    const std::string whole = ValueAt(model.builder.Compile(), DrawIndex(random));
    FrameBuilder taken = CheckTaken(random, whole, true);

    // Fields keep their names and places. One behind what nothing tells is not there.
    for (const ModelField& field : model.fields) {
        if (field.size > 6 || !field.list.empty() || field.name.substr(0, 6) == "number") continue;
        const std::uint64_t first = field.first & 0xffe;
        try {
            taken.Vary(field.name, Counting<std::uint64_t>(first, 2));
        } catch (const std::invalid_argument&) {
            continue;
        }
        const std::string varied = ValueAt(taken.Compile(), 1);
        const std::uint64_t shown = ReadBig(varied, field.offset, field.size);
        ASSERT_EQ(shown & (field.size == 1 ? 0xff : 0xfff), first + 1) << field.name;
        for (const ChecksumField& sum : taken.GetChecksums()) {
            ASSERT_EQ(ReadBig(varied, sum.at, 2), PlainChecksum(sum, varied)) << field.name;
        }
    }

    std::string frame = whole;
    for (std::size_t edits = random.Below(4); edits > 0; --edits) {
        frame[random.Below(frame.size())] = static_cast<char>(random.Below(2) == 0 ? random.Below(8) : random.Byte());
    }
    frame += random.Text("p", random.Below(3));
    frame.resize(frame.size() - random.Below(random.Below(4) == 0 ? frame.size() + 1 : 2));
    CheckTaken(random, frame, false);
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_FRAME_CHECKS_H
