#ifndef ZOR_COMMON_TESTS_FRAME_CHECKS_H
#define ZOR_COMMON_TESTS_FRAME_CHECKS_H

/// \file
/// Frames made of drawn layers, compared with a model that knows where fields and lengths stand.

#include "FindIndexChecks.h"

#include <common/FrameBuilder.h>
#include <common/IndexOrder.h>

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace zor::common::test {

/// A field that counts, byte for byte.
struct ModelField {
    std::string name;
    std::size_t offset, size;
    std::uint64_t first, step, count, repeat; // of an IPv6 address the low 8 bytes
    std::vector<std::uint64_t> list = {};     // in place of first and step
    std::optional<IndexOrder> order = {};

    std::uint64_t At(std::uint64_t index) const
    {
        std::uint64_t turn = repeat == ~std::uint64_t{0} ? 0 : index / (repeat + 1);
        if (count != 0) turn %= count;
        if (order) turn = order->GetIndexAt(turn);
        if (!list.empty()) return list[turn];
        return (first + turn * step) & (size >= 8 ? ~std::uint64_t{0} : (std::uint64_t{1} << 8 * size) - 1);
    }
};

inline std::uint64_t ReadBig(const std::string& bytes, std::size_t offset, std::size_t size)
{
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < size; ++i) number = number << 8 | static_cast<unsigned char>(bytes[offset + i]);
    return number;
}

/// A builder beside what is known of it.
class ModelFrame {
public:
    explicit ModelFrame(Random& random) : mRandom(random) {}

    FrameBuilder builder;
    std::vector<ModelField> fields;
    std::vector<std::pair<char, std::size_t>> headers; ///< Of the accepted layers: what they are, and where.
    std::size_t end = 0;                               ///< Without padding.
    bool isPacket = false;                             ///< Whether it matters as bytes alone.

    /// Makes a drawn call. One that is refused has to leave the builder as it was.
    void Call()
    {
        const FrameBuilder before = builder;
        mPending.clear();
        char kind = 0;
        try {
            kind = Draw();
        } catch (const std::invalid_argument& error) {
            EXPECT_NE(std::string(error.what()).find(": "), std::string::npos) << error.what();
            if (isPacket) return;
            EXPECT_EQ(builder.Compile(), before.Compile()) << error.what();
            EXPECT_EQ(builder.GetFlowCount(), before.GetFlowCount()) << error.what();
            return;
        }
        const std::size_t offset = before.GetSize();
        headers.emplace_back(kind, offset);
        if (kind != 'p') end = builder.GetSize();
        const std::size_t same = ++mCounts[kind == 'f' ? '4' : kind == 'U' ? 'u' : kind == 'G' ? 'g' : kind];
        for (ModelField& field : mPending) {
            field.offset += offset;
            if (same > 1) {
                const std::size_t dot = std::min(field.name.find('.'), field.name.size());
                field.name.insert(dot, '#' + std::to_string(same));
            }
            fields.push_back(field);
        }
    }

    void BeginPacket()
    {
        isPacket = true;
        builder.Ethernet(CMacAddress(1ul), CMacAddress(2ul));
        headers.emplace_back('e', 0);
        mCounts['e'] = 1;
    }

    /// Crosses drawn fields.
    void Cross()
    {
        std::vector<std::string> names;
        std::uint64_t interval = 1;
        std::vector<ModelField> crossed = fields;
        for (std::size_t i = 1 + mRandom.Below(3); i > 0 && !fields.empty(); --i) {
            ModelField& field = crossed[mRandom.Below(fields.size())];
            names.push_back(field.name);
            field.repeat = interval - 1;
            interval *= field.count;
        }
        const FrameBuilder before = builder;
        try {
            builder.Cross(names);
            fields = crossed;
            EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size());
        } catch (const std::invalid_argument&) {
            EXPECT_EQ(builder.Compile(), before.Compile());
        }
    }

private:
    template <class Integer>
    FrameNumber Number(const char* name, std::size_t offset, std::size_t size = sizeof(Integer))
    {
        const auto first = static_cast<Integer>(mRandom.Number() >> 8 * (8 - std::min<std::size_t>(size, 8)));
        if (mRandom.Below(3) != 0) return first;
        if (mRandom.Below(3) == 0) {
            return Listed<FrameNumber, std::uint64_t>(name, offset, size, [](std::uint64_t value) { return value; });
        }
        return CountedOrShuffled<FrameNumber>(name, offset, size, first, first);
    }

    template <class Address>
    FrameAddress<Address> DrawAddress(const char* name, std::size_t offset, const Address& first, std::size_t size,
                                      std::uint64_t number)
    {
        if (mRandom.Below(3) != 0) return first;
        if (mRandom.Below(3) == 0) {
            return Listed<FrameAddress<Address>, Address>(name, offset, size, [](std::uint64_t value) {
                if constexpr (std::is_same_v<Address, CMacAddress>) return CMacAddress(value);
                if constexpr (std::is_same_v<Address, CIpAddress>) return CIpAddress(static_cast<std::uint32_t>(value));
                if constexpr (std::is_same_v<Address, CIpv6Address>) return CIpv6Address(0x20010db8000000, value);
            });
        }
        return CountedOrShuffled<FrameAddress<Address>>(name, offset, size, first, number);
    }

    /// A list of a field of whole bytes, which holds some values several times.
    template <class Field, class Value, class ValueOf>
    Field Listed(const char* name, std::size_t offset, std::size_t size, ValueOf valueOf)
    {
        const std::uint64_t most = size >= 8 ? ~std::uint64_t{0} : (std::uint64_t{1} << 8 * size) - 1;
        const std::uint64_t moving = mRandom.Number() & mRandom.Number();
        const std::uint64_t still = mRandom.Number() & ~moving;
        ModelField field{name, offset, size, 0, 0, 1 + mRandom.Below(9), mRandom.Below(3), {}, {}};
        std::vector<Value> values;
        for (std::uint64_t i = 0; i < field.count; ++i) {
            const std::uint64_t number = i != 0 && mRandom.Below(2) == 0 ? field.list[mRandom.Below(i)]
                                                                         : ((mRandom.Number() & moving) | still) & most;
            field.list.push_back(number);
            values.push_back(valueOf(number));
        }
        const OneOf<Value> list(values, field.repeat);
        const bool isShuffled = mRandom.Below(2) == 0;
        if (isShuffled) field.order.emplace(field.count, 5);
        mPending.push_back(field);
        return isShuffled ? Field(Shuffled(list, 5)) : Field(list);
    }

    template <class Field, class Value>
    Field CountedOrShuffled(const char* name, std::size_t offset, std::size_t size, const Value& first,
                            std::uint64_t number)
    {
        const Counting<Value> counting = Counted(name, offset, size, first, number);
        if (mRandom.Below(3) != 0) return counting;
        ModelField& field = mPending.back();
        if (field.count == 0) { // all turns up to where the field wraps
            const bool isIpv6 = std::is_same_v<Value, CIpv6Address>;
            field.count = field.step == 0 ? 1 : isIpv6 ? 0 : 1;
            const unsigned int above = static_cast<unsigned int>(size >= 8 ? 0 : 64 - 8 * size);
            while (!isIpv6 && (field.step * field.count) << above != 0) field.count *= 2;
        }
        field.order.emplace(field.count, 6);
        return Field(Shuffled(counting, 6));
    }

    template <class Value>
    Counting<Value> Counted(const char* name, std::size_t offset, std::size_t size, const Value& first,
                            std::uint64_t number)
    {
        static constexpr std::int64_t kSteps[] = {1, -1, 0, 3, 256, 4096, 0x100000001};
        static constexpr std::uint64_t kCounts[] = {0, 1, 2, 3, 7, 256, 60000, 0x100000000};
        static constexpr std::uint64_t kRepeats[] = {0, 0, 0, 0, 0, 1, 5, 0xffffffff, 0x100000000};
        const std::int64_t step = kSteps[mRandom.Below(7)];
        const std::uint64_t count = kCounts[mRandom.Below(8)];
        const std::uint64_t repeat = kRepeats[mRandom.Below(9)];
        mPending.push_back({name, offset, size, number, static_cast<std::uint64_t>(step), count, repeat});
        return {first, count, step, repeat};
    }

    FrameAddress<CMacAddress> Mac(const char* name, std::size_t offset)
    {
        const std::uint64_t number = mRandom.Number() >> 16;
        return DrawAddress(name, offset, CMacAddress(number), 6, number);
    }
    FrameAddress<CIpAddress> Ip(const char* name, std::size_t offset)
    {
        const auto number = static_cast<std::uint32_t>(mRandom.Number());
        return DrawAddress(name, offset, CIpAddress(number), 4, number);
    }
    FrameAddress<CIpv6Address> Ipv6(const char* name, std::size_t offset)
    {
        const std::uint64_t number = mRandom.Number();
        return DrawAddress(name, offset + 8, CIpv6Address(0x20010db800000000, number), 8, number);
    }

    char Draw()
    {
        static const std::size_t kSizes[] = {0, 1, 2, 46, 1000, 65470, 65535, 262144, ~std::size_t{0}};
        switch (mRandom.Below(20)) {
        case 15: {
            MplsOptions options;
            options.ttl = Number<std::uint8_t>("mpls.ttl", 3);
            builder.Mpls(mRandom.Below(1 << 20), options);
            return 'm';
        }
        case 16: {
            GreOptions options;
            options.hasChecksum = mRandom.Below(2) == 0;
            if (mRandom.Below(2) == 0) options.key = Number<std::uint32_t>("gre.key", options.hasChecksum ? 8 : 4);
            builder.Gre(options);
            return options.hasChecksum ? 'G' : 'g';
        }
        case 17: builder.Vxlan(Number<std::uint64_t>("vxlan.vni", 4, 3)); return 'x';
        case 18: {
            GtpUOptions options;
            if (mRandom.Below(2) == 0) options.seq = Number<std::uint16_t>("gtp.seq", 8);
            builder.GtpU(Number<std::uint32_t>("gtp.teid", 4), options);
            return 'T';
        }
        case 0: {
            const auto source = Mac("eth.src", 6);
            builder.Ethernet(source, CMacAddress(0x0200000000fe));
            return 'e';
        }
        case 1:
        case 2: {
            VlanOptions options;
            options.priority = static_cast<unsigned int>(mRandom.Below(9));
            options.tagType = mRandom.Below(2) == 0 ? 0x8100 : 0x88a8;
            if (mRandom.Below(2) == 0) {
                builder.Vlan(mRandom.Below(5000), options);
                return 'v';
            }
            const std::size_t id = mRandom.Below(4096);
            const auto counting = Counted("vlan.id", 0, 2, id, id | std::size_t{options.priority} << 13);
            builder.Vlan(counting, options);
            return 'v';
        }
        case 3: {
            ArpOptions options;
            options.targetMac = Mac("arp.tha", 18);
            const auto sender = Ip("arp.spa", 14);
            builder.Arp(CMacAddress(1ul), sender, CIpAddress(2u), options);
            return 'a';
        }
        case 4:
        case 5:
        case 6: {
            Ipv4Options options;
            options.id = Number<std::uint16_t>("ipv4.id", 4);
            options.ttl = Number<std::uint8_t>("ipv4.ttl", 8);
            options.isMoreFragments = mRandom.Below(8) == 0;
            const auto source = Ip("ipv4.src", 12);
            builder.Ipv4(source, Ip("ipv4.dst", 16), options);
            return options.isMoreFragments ? 'f' : '4';
        }
        case 7:
        case 8: {
            Ipv6Options options;
            options.hopLimit = Number<std::uint8_t>("ipv6.hop", 7);
            const auto source = Ipv6("ipv6.src", 8);
            builder.Ipv6(source, Ipv6("ipv6.dst", 24), options);
            return '6';
        }
        case 9:
        case 10: {
            const auto port = Number<std::uint16_t>("udp.sport", 0);
            const bool hasChecksum = mRandom.Below(4) != 0;
            builder.Udp(port, Number<std::uint16_t>("udp.dport", 2), {hasChecksum});
            return hasChecksum ? 'u' : 'U';
        }
        case 11: {
            TcpOptions options;
            options.seq = Number<std::uint32_t>("tcp.seq", 4);
            builder.Tcp(1, Number<std::uint16_t>("tcp.dport", 2), options);
            return 't';
        }
        case 12: {
            IcmpOptions options;
            options.seq = Number<std::uint16_t>("icmp.seq", 6);
            mRandom.Below(2) == 0 ? builder.Icmp(8, options) : builder.Icmpv6(128, options);
            if (!mPending.empty() && headers.back().first == '6') mPending[0].name = "icmpv6.seq";
            return 'i';
        }
        case 13: {
            const std::size_t size = mRandom.Below(10);
            builder.Number(Number<std::uint64_t>("number", 0, size == 0 ? 8 : size), size);
            return 'n';
        }
        case 14:
            mRandom.Below(2) == 0 ? builder.Fill(kSizes[mRandom.Below(9)], mRandom.Byte())
                                  : builder.Pattern(kSizes[mRandom.Below(9)], FramePattern::Prbs31);
            return 'b';
        default: builder.PadTo(builder.GetSize() + kSizes[mRandom.Below(9)] - mRandom.Below(2)); return 'p';
        }
    }

    Random& mRandom;
    std::vector<ModelField> mPending;
    std::map<char, std::size_t> mCounts; ///< Of layers of a kind.
};

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
        for (const auto& [kind, at] : model.headers) {
            if (kind == '4' || kind == 'f') {
                ASSERT_EQ(ReadBig(frame, at + 2, 2), model.end - at);
            }
            if (kind == '6') {
                ASSERT_EQ(ReadBig(frame, at + 4, 2), model.end - at - 40);
            }
            if (kind == 'u' || kind == 'U') {
                ASSERT_EQ(ReadBig(frame, at + 4, 2), model.end - at);
            }
            if (kind == 'U') {
                ASSERT_EQ(ReadBig(frame, at + 6, 2), 0u);
            }
            if (kind == 'T') {
                ASSERT_EQ(ReadBig(frame, at + 2, 2), model.end - at - 8);
            }
            sums += std::string("4futiG").find(kind) != std::string::npos;
        }
        ASSERT_EQ(checksums.size(), sums);
        for (const ChecksumField& field : checksums)
            ASSERT_EQ(ReadBig(frame, field.at, 2), PlainChecksum(field, frame));
        const auto* const bytes = reinterpret_cast<const unsigned char*>(frame.data());
        if (model.headers.empty() || model.headers[0].first != 'e') continue;
        // Those of the outermost packet; of a tunnel, that is not all.
        std::vector<ChecksumField> found = FindChecksums(bytes, frame.size());
        for (std::size_t i = 0; i < found.size(); ++i) {
            const bool isOurs = std::find(checksums.begin(), checksums.end(), found[i]) != checksums.end();
            ASSERT_TRUE(isOurs || ReadBig(frame, found[i].at, 2) == 0u) << "of UDP, which is switched off";
        }
        const bool isTunnel = std::any_of(model.headers.begin() + 1, model.headers.end(),
                                          [](const auto& header) {
                                              return std::string("egGmxT").find(header.first) != std::string::npos;
                                          }) ||
                              std::count_if(model.headers.begin(), model.headers.end(), [](const auto& header) {
                                  return std::string("4f6").find(header.first) != std::string::npos;
                              }) > 1;
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
