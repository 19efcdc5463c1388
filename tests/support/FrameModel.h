#ifndef ZOR_COMMON_TESTS_FRAME_MODEL_H
#define ZOR_COMMON_TESTS_FRAME_MODEL_H

/// \file
/// A frame of drawn layers that knows, without a frame at hand, where fields and lengths stand and what fields show.

#include "Random.h"

#include <common/FrameBuilder.h>
#include <common/IndexOrder.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
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

/// What a drawn call adds. Two layers that differ in what the model has to know of them have two names here.
enum class Layer {
    Ethernet,
    Vlan,
    Arp,
    Ipv4,
    Ipv4Fragment,
    Ipv6,
    Udp,
    UdpWithoutChecksum,
    Tcp,
    Icmp,
    Number,
    Bytes,
    Mpls,
    Gre,
    GreWithChecksum,
    Vxlan,
    GtpU,
    Padding,
};

inline bool IsOneOf(Layer layer, std::initializer_list<Layer> layers)
{
    return std::find(layers.begin(), layers.end(), layer) != layers.end();
}

/// The layer with which this one shares its numbers: a fragment of IPv4 counts for `ipv4#2` too.
inline Layer NumberedAs(Layer layer)
{
    switch (layer) {
    case Layer::Ipv4Fragment: return Layer::Ipv4;
    case Layer::UdpWithoutChecksum: return Layer::Udp;
    case Layer::GreWithChecksum: return Layer::Gre;
    default: return layer;
    }
}

/// A builder beside what is known of it.
class ModelFrame {
public:
    explicit ModelFrame(Random& random) : mRandom(random) {}

    FrameBuilder builder;
    std::vector<ModelField> fields;
    std::vector<std::pair<Layer, std::size_t>> headers; ///< Of the accepted layers: what they are, and where.
    std::size_t end = 0;                                ///< Without padding.
    bool isPacket = false;                              ///< Whether it matters as bytes alone.

    /// Makes a drawn call. One that is refused has to leave the builder as it was.
    void Call()
    {
        const FrameBuilder before = builder;
        mPending.clear();
        Layer layer{};
        try {
            layer = Draw();
        } catch (const std::invalid_argument& error) {
            EXPECT_NE(std::string(error.what()).find(": "), std::string::npos) << error.what();
            if (isPacket) return;
            EXPECT_EQ(builder.Compile(), before.Compile()) << error.what();
            EXPECT_EQ(builder.GetFlowCount(), before.GetFlowCount()) << error.what();
            return;
        }
        const std::size_t offset = before.GetSize();
        headers.emplace_back(layer, offset);
        if (layer != Layer::Padding) end = builder.GetSize();
        const std::size_t same = ++mCounts[NumberedAs(layer)];
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
        headers.emplace_back(Layer::Ethernet, 0);
        mCounts[Layer::Ethernet] = 1;
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

    static std::size_t DrawSize(Random& random)
    {
        static constexpr std::size_t kSizes[] = {0, 1, 2, 46, 1000, 65470, 65535, 262144, ~std::size_t{0}};
        return kSizes[random.Below(std::size(kSizes))];
    }

    Layer DrawEthernet()
    {
        const auto source = Mac("eth.src", 6);
        builder.Ethernet(source, CMacAddress(0x0200000000fe));
        return Layer::Ethernet;
    }

    Layer DrawVlan()
    {
        VlanOptions options;
        options.priority = static_cast<unsigned int>(mRandom.Below(9));
        options.tagType = mRandom.Below(2) == 0 ? 0x8100 : 0x88a8;
        if (mRandom.Below(2) == 0) {
            builder.Vlan(mRandom.Below(5000), options);
            return Layer::Vlan;
        }
        const std::size_t id = mRandom.Below(4096);
        const auto counting = Counted("vlan.id", 0, 2, id, id | std::size_t{options.priority} << 13);
        builder.Vlan(counting, options);
        return Layer::Vlan;
    }

    Layer DrawArp()
    {
        ArpOptions options;
        options.targetMac = Mac("arp.tha", 18);
        const auto sender = Ip("arp.spa", 14);
        builder.Arp(CMacAddress(1ul), sender, CIpAddress(2u), options);
        return Layer::Arp;
    }

    Layer DrawIpv4()
    {
        Ipv4Options options;
        options.id = Number<std::uint16_t>("ipv4.id", 4);
        options.ttl = Number<std::uint8_t>("ipv4.ttl", 8);
        options.isMoreFragments = mRandom.Below(8) == 0;
        const auto source = Ip("ipv4.src", 12);
        builder.Ipv4(source, Ip("ipv4.dst", 16), options);
        return options.isMoreFragments ? Layer::Ipv4Fragment : Layer::Ipv4;
    }

    Layer DrawIpv6()
    {
        Ipv6Options options;
        options.hopLimit = Number<std::uint8_t>("ipv6.hop", 7);
        const auto source = Ipv6("ipv6.src", 8);
        builder.Ipv6(source, Ipv6("ipv6.dst", 24), options);
        return Layer::Ipv6;
    }

    Layer DrawUdp()
    {
        const auto port = Number<std::uint16_t>("udp.sport", 0);
        const bool hasChecksum = mRandom.Below(4) != 0;
        builder.Udp(port, Number<std::uint16_t>("udp.dport", 2), {hasChecksum});
        return hasChecksum ? Layer::Udp : Layer::UdpWithoutChecksum;
    }

    Layer DrawTcp()
    {
        TcpOptions options;
        options.seq = Number<std::uint32_t>("tcp.seq", 4);
        builder.Tcp(1, Number<std::uint16_t>("tcp.dport", 2), options);
        return Layer::Tcp;
    }

    Layer DrawIcmp()
    {
        IcmpOptions options;
        options.seq = Number<std::uint16_t>("icmp.seq", 6);
        mRandom.Below(2) == 0 ? builder.Icmp(8, options) : builder.Icmpv6(128, options);
        if (!mPending.empty() && headers.back().first == Layer::Ipv6) mPending[0].name = "icmpv6.seq";
        return Layer::Icmp;
    }

    Layer DrawNumber()
    {
        const std::size_t size = mRandom.Below(10);
        builder.Number(Number<std::uint64_t>("number", 0, size == 0 ? 8 : size), size);
        return Layer::Number;
    }

    Layer DrawBytes()
    {
        mRandom.Below(2) == 0 ? builder.Fill(DrawSize(mRandom), mRandom.Byte())
                              : builder.Pattern(DrawSize(mRandom), FramePattern::Prbs31);
        return Layer::Bytes;
    }

    Layer DrawMpls()
    {
        MplsOptions options;
        options.ttl = Number<std::uint8_t>("mpls.ttl", 3);
        builder.Mpls(mRandom.Below(1 << 20), options);
        return Layer::Mpls;
    }

    Layer DrawGre()
    {
        GreOptions options;
        options.hasChecksum = mRandom.Below(2) == 0;
        if (mRandom.Below(2) == 0) options.key = Number<std::uint32_t>("gre.key", options.hasChecksum ? 8 : 4);
        builder.Gre(options);
        return options.hasChecksum ? Layer::GreWithChecksum : Layer::Gre;
    }

    Layer DrawVxlan()
    {
        builder.Vxlan(Number<std::uint64_t>("vxlan.vni", 4, 3));
        return Layer::Vxlan;
    }

    Layer DrawGtpU()
    {
        GtpUOptions options;
        if (mRandom.Below(2) == 0) options.seq = Number<std::uint16_t>("gtp.seq", 8);
        builder.GtpU(Number<std::uint32_t>("gtp.teid", 4), options);
        return Layer::GtpU;
    }

    Layer DrawPadding()
    {
        builder.PadTo(builder.GetSize() + DrawSize(mRandom) - mRandom.Below(2));
        return Layer::Padding;
    }

    /// A layer that stands here more often is drawn more often.
    Layer Draw()
    {
        using Self = ModelFrame;
        static constexpr Layer (Self::*kDraws[])() = {
            &Self::DrawEthernet, &Self::DrawVlan, &Self::DrawVlan,  &Self::DrawArp,    &Self::DrawIpv4,
            &Self::DrawIpv4,     &Self::DrawIpv4, &Self::DrawIpv6,  &Self::DrawIpv6,   &Self::DrawUdp,
            &Self::DrawUdp,      &Self::DrawTcp,  &Self::DrawIcmp,  &Self::DrawNumber, &Self::DrawBytes,
            &Self::DrawMpls,     &Self::DrawGre,  &Self::DrawVxlan, &Self::DrawGtpU,   &Self::DrawPadding};
        return (this->*kDraws[mRandom.Below(std::size(kDraws))])();
    }

    Random& mRandom;
    std::vector<ModelField> mPending;
    std::map<Layer, std::size_t> mCounts; ///< Of layers of a kind.
};

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_FRAME_MODEL_H
