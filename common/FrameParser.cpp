#include "BigEndian.h"
#include "FrameLayers.h"
#include "IndexCounter.h"
#include "InternetSum.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace zor::common::detail {

namespace {

constexpr unsigned int kVlan = 0x8100, kServiceTag = 0x88a8, kOldServiceTag = 0x9100;

/// Where the fields of headers stand.
constexpr struct {
    LayerKind kind;
    const char* name;
    std::size_t offset, size, bits;
    unsigned int shift;
} kFields[] = {
    {LayerKind::Ethernet, "dst", 0, 6, 48, 0}, {LayerKind::Ethernet, "src", 6, 6, 48, 0},
    {LayerKind::Vlan, "id", 0, 2, 12, 0},      {LayerKind::Mpls, "label", 0, 3, 20, 4},
    {LayerKind::Mpls, "ttl", 3, 1, 8, 0},      {LayerKind::Arp, "sha", 8, 6, 48, 0},
    {LayerKind::Arp, "spa", 14, 4, 32, 0},     {LayerKind::Arp, "tha", 18, 6, 48, 0},
    {LayerKind::Arp, "tpa", 24, 4, 32, 0},     {LayerKind::Ipv4, "dscp", 1, 1, 6, 2},
    {LayerKind::Ipv4, "id", 4, 2, 16, 0},      {LayerKind::Ipv4, "ttl", 8, 1, 8, 0},
    {LayerKind::Ipv4, "src", 12, 4, 32, 0},    {LayerKind::Ipv4, "dst", 16, 4, 32, 0},
    {LayerKind::Ipv6, "flow", 0, 4, 20, 0},    {LayerKind::Ipv6, "hop", 7, 1, 8, 0},
    {LayerKind::Ipv6, "src", 8, 16, 128, 0},   {LayerKind::Ipv6, "dst", 24, 16, 128, 0},
    {LayerKind::Udp, "sport", 0, 2, 16, 0},    {LayerKind::Udp, "dport", 2, 2, 16, 0},
    {LayerKind::Tcp, "sport", 0, 2, 16, 0},    {LayerKind::Tcp, "dport", 2, 2, 16, 0},
    {LayerKind::Tcp, "seq", 4, 4, 32, 0},      {LayerKind::Tcp, "ack", 8, 4, 32, 0},
    {LayerKind::Tcp, "window", 14, 2, 16, 0},  {LayerKind::Icmp, "id", 4, 2, 16, 0},
    {LayerKind::Icmp, "seq", 6, 2, 16, 0},     {LayerKind::Icmpv6, "id", 4, 2, 16, 0},
    {LayerKind::Icmpv6, "seq", 6, 2, 16, 0},   {LayerKind::Vxlan, "vni", 4, 3, 24, 0},
    {LayerKind::GtpU, "teid", 4, 4, 32, 0},
};

/// Takes a frame apart, one header after the other.
class PacketParser {
public:
    explicit PacketParser(std::string_view frame) : mFrame(frame), mEnd(frame.size()) {}

    FrameStack Parse()
    {
        constexpr std::size_t kMostHeaders = 64;
        mNext = {Says::Ethernet, 0};
        while (mStack.layers.size() < kMostHeaders && TakeHeader()) {
        }
        Take(LayerKind::Bytes, mEnd - mAt);
        while (!mClosed.empty()) { // trailers, the innermost one first
            const auto [layer, outerEnd] = mClosed.back();
            mClosed.pop_back();
            FrameLayer* const trailer = Take(LayerKind::Padding, outerEnd - mAt);
            if (trailer) trailer->closes = layer;
        }
        KeepZeros();
        return std::move(mStack);
    }

private:
    /// What is known of the next header.
    enum class Says : std::uint8_t { Nothing, Ethernet, EtherType, Protocol, Looks, LooksOfIp };
    struct Next {
        Says says = Says::Nothing;
        unsigned int number = 0; ///< An EtherType, or a protocol number of IP.
    };

    const unsigned char* Here(std::size_t offset = 0) const
    {
        return reinterpret_cast<const unsigned char*>(mFrame.data()) + mAt + offset;
    }
    unsigned int Byte(std::size_t offset) const { return *Here(offset); }
    unsigned int Number16(std::size_t offset) const { return LoadBig16(Here(offset)); }
    std::size_t Left() const { return mEnd - mAt; }

    /// Takes the header that is next. False if it is not known, or not as it should be.
    bool TakeHeader()
    {
        const Next next = std::exchange(mNext, {});
        switch (next.says) {
        case Says::Ethernet: return TakeEthernet();
        case Says::EtherType: return TakeByEtherType(next.number);
        case Says::Protocol: return TakeByProtocol(next.number);
        case Says::LooksOfIp: return TakeByLooks(false);
        case Says::Looks: return TakeByLooks(true);
        default: return false;
        }
    }

    /// Adds a layer of the next bytes, with the fields that each one of its kind has. Null for no bytes.
    /// \param hasLength  as in FrameLayer; the layers behind one that has none may be of any size.
    FrameLayer* Take(LayerKind kind, std::size_t size, bool hasLength = true)
    {
        if (size == 0) return nullptr;
        FrameLayer layer;
        layer.kind = kind;
        layer.bytes = mFrame.substr(mAt, size);
        layer.isTaken = true;
        layer.hasLength = hasLength;
        for (const auto& field : kFields) {
            if (field.kind == kind) AddField(layer, field.name, field.offset, field.size, field.bits, field.shift);
        }
        if (kind == LayerKind::Gre) {
            const std::size_t key = Byte(0) >> 7 != 0 ? 8 : 4;
            const bool hasKey = (Byte(0) & 0x20) != 0;
            if (hasKey) AddField(layer, "key", key, 4, 32, 0);
            if ((Byte(0) & 0x10) != 0) AddField(layer, "seq", hasKey ? key + 4 : key, 4, 32, 0);
        }
        if (kind == LayerKind::GtpU) {
            if ((Byte(0) & 2) != 0) AddField(layer, "seq", 8, 2, 16, 0);
            if ((Byte(0) & 4) != 0 && Byte(11) == 0x85 && Byte(13) >> 4 <= 1) AddField(layer, "qfi", 14, 1, 6, 0);
        }
        mStack.Append(std::move(layer));
        mAt += size;
        return &mStack.layers.back();
    }

    void AddField(FrameLayer& layer, const char* name, std::size_t offset, std::size_t size, std::size_t bits,
                  unsigned int shift) const
    {
        unsigned char number[16] = {};
        std::copy_n(Here(offset), size, number + 16 - size);
        FrameField field;
        field.name = name;
        field.offset = offset;
        field.size = size;
        field.bits = bits;
        field.shift = shift;
        field.first = {LoadBig64(number), LoadBig64(number + 8)};
        if (bits < 64) field.others = field.first.low & ~(LowBits(static_cast<unsigned int>(bits)) << shift);
        layer.fields.push_back(std::move(field));
    }

    /// The layer that was taken last ends here, and what is behind that is its trailer.
    void Close(std::size_t end)
    {
        if (end == mEnd) return;
        mClosed.emplace_back(mStack.layers.size() - 1, mEnd);
        mEnd = end;
    }

    bool TakeEthernet()
    {
        if (Left() < 14) return false;
        mNext = {Says::EtherType, Number16(12)};
        return Take(LayerKind::Ethernet, 14) != nullptr;
    }

    bool TakeByEtherType(unsigned int type)
    {
        switch (type) {
        case kVlan:
        case kServiceTag:
        case kOldServiceTag:
            if (Left() < 4) return false;
            mNext = {Says::EtherType, Number16(2)};
            Take(LayerKind::Vlan, 4)->tagType = type;
            return true;
        case 0x0806:
            if (!LooksLikeArp(0)) return false;
            Take(LayerKind::Arp, 28);
            Close(mAt);
            return false;
        case 0x0800: return TakeIpv4();
        case 0x86dd: return TakeIpv6();
        case 0x8847: return TakeMpls();
        default: return false;
        }
    }

    bool TakeByProtocol(unsigned int protocol)
    {
        constexpr unsigned int kIcmp = 1, kIpv4 = 4, kTcp = 6, kUdp = 17, kIpv6 = 41, kGre = 47, kIcmpv6 = 58,
                               kMpls = 137;
        const bool isIpv4 = mStack.layers.back().kind == LayerKind::Ipv4;
        switch (protocol) {
        case kIpv4: return TakeIpv4();
        case kIpv6: return TakeIpv6();
        case kMpls: return TakeMpls();
        case kGre: return TakeGre();
        case kUdp: return TakeUdp();
        case kTcp: {
            const std::size_t size = Left() < 20 ? 0 : 4 * std::size_t{Byte(12) >> 4};
            if (size >= 20 && size <= Left()) Take(LayerKind::Tcp, size);
            return false;
        }
        case kIcmp:
            if (isIpv4 && Left() >= 8) Take(LayerKind::Icmp, 8);
            return false;
        case kIcmpv6:
            if (!isIpv4 && Left() >= 8) Take(LayerKind::Icmpv6, 8);
            return false;
        default: return false;
        }
    }

    bool TakeIpv4()
    {
        const std::size_t size = Left() < 20 || Byte(0) >> 4 != 4 ? 0 : 4 * std::size_t{Byte(0) & 15};
        if (size < 20 || size > Left()) return false;
        const std::size_t length = Number16(2);
        const std::size_t end = mAt + length;
        const Next next = {Says::Protocol, Byte(9)};
        const bool isFragment = (Number16(6) & 0x3fff) != 0;
        const bool isComplete = length >= size && end <= mEnd;
        const bool isFinal = IsAtFinalDestination(Here(), size);
        FrameLayer* const layer = Take(LayerKind::Ipv4, size, isComplete);
        layer->isFragment = isFragment;
        if (!isComplete) return false;
        Close(end);
        if (isFragment || !isFinal) return false;
        mNext = next;
        return true;
    }

    bool TakeIpv6()
    {
        constexpr unsigned int kHopByHop = 0, kRouting = 43, kDestinationOptions = 60;
        if (Left() < 40 || Byte(0) >> 4 != 6) return false;
        const std::size_t end = mAt + 40 + Number16(4);
        const bool isComplete = end <= mEnd;
        std::size_t size = 40;
        std::size_t protocolAt = 6;
        bool isFinal = true;
        while (isComplete) {
            const unsigned int protocol = Byte(protocolAt);
            const bool isHopByHop = protocol == kHopByHop && size == 40;
            if (protocol != kRouting && protocol != kDestinationOptions && !isHopByHop) break;
            const std::size_t rest = end - mAt - size;
            const std::size_t extension = rest < 8 ? 0 : 8 * (Byte(size + 1) + std::size_t{1});
            isFinal = extension != 0 && extension <= rest && (protocol != kRouting || Byte(size + 3) == 0);
            if (!isFinal) break;
            protocolAt = size;
            size += extension;
        }
        const Next next = {Says::Protocol, Byte(protocolAt)};
        FrameLayer* const layer = Take(LayerKind::Ipv6, size, isComplete);
        layer->protocolAt = protocolAt;
        if (!isComplete) return false;
        Close(end);
        if (!isFinal) return false;
        mNext = next;
        return true;
    }

    bool TakeUdp()
    {
        if (Left() < 8) return false;
        const std::size_t length = Number16(4);
        if (length < 8 || length > Left()) return false;
        const std::size_t end = mAt + length;
        const unsigned int port = Number16(2);
        const bool hasChecksum = Number16(6) != 0;
        Take(LayerKind::Udp, 8)->hasChecksum = hasChecksum;
        Close(end);
        if (port == TraitsOf(LayerKind::Vxlan).port) return TakeVxlan();
        if (port == TraitsOf(LayerKind::GtpU).port) return TakeGtpU();
        if (port == TraitsOf(LayerKind::Gre).port) return TakeGre();
        return port == TraitsOf(LayerKind::Mpls).port && TakeMpls();
    }

    bool TakeMpls()
    {
        if (Left() < 4) return false;
        const bool isLast = (Byte(2) & 1) != 0;
        const bool hasControlWord = isLast && Left() >= 8 && LoadBig32(Here(4)) == 0 && LooksLikeEthernet(8);
        if (hasControlWord) {
            mNext = {Says::Ethernet, 0};
        } else {
            mNext = isLast ? Next{Says::Looks, 0} : Next{Says::EtherType, TraitsOf(LayerKind::Mpls).etherType};
        }
        Take(LayerKind::Mpls, hasControlWord ? 8 : 4)->isPseudowire = hasControlWord;
        return true;
    }

    bool TakeGre()
    {
        if (Left() < 4 || (Number16(0) & 0x4fff) != 0) return false; // routing, or another version
        const unsigned int flags = Byte(0);
        const std::size_t size = 4 + 4 * std::size_t{(flags >> 7) + (flags >> 5 & 1) + (flags >> 4 & 1)};
        if (size > Left()) return false;
        const unsigned int type = Number16(2);
        const bool isLink = type == kVlan || type == kServiceTag || type == kOldServiceTag || type == 0x0806;
        if (type == TraitsOf(LayerKind::Ethernet).etherType) {
            mNext = {Says::Ethernet, 0};
        } else if (!isLink) { // which stand behind Ethernet alone
            mNext = {Says::EtherType, type};
        }
        Take(LayerKind::Gre, size)->hasChecksum = flags >> 7 != 0;
        return true;
    }

    bool TakeVxlan()
    {
        if (Left() < 8 || (Byte(0) & 8) == 0) return false; // without a valid VNI
        Take(LayerKind::Vxlan, 8);
        mNext = {Says::Ethernet, 0};
        return true;
    }

    bool TakeGtpU()
    {
        if (Left() < 8 || Byte(0) >> 4 != 3 || Byte(1) != 0xff) return false;
        const std::size_t most = 8 + std::size_t{Number16(2)};
        const std::size_t end = mAt + most;
        std::size_t size = (Byte(0) & 7) != 0 ? 12 : 8;
        if (most > Left() || size > most) return false;
        if ((Byte(0) & 4) != 0) {
            while (Byte(size - 1) != 0) { // the type of the next extension header
                const std::size_t extension = size < most ? 4 * std::size_t{Byte(size)} : 0;
                if (extension == 0 || extension > most - size) return false;
                size += extension;
            }
        }
        Take(LayerKind::GtpU, size);
        Close(end);
        mNext = {Says::LooksOfIp, 0};
        return true;
    }

    bool TakeByLooks(bool canBeEthernet)
    {
        if (LooksLikeIpv4(0)) return TakeIpv4();
        if (LooksLikeIpv6(0)) return TakeIpv6();
        return canBeEthernet && LooksLikeEthernet(0) && TakeEthernet();
    }

    bool LooksLikeArp(std::size_t offset) const
    {
        return Left() >= offset + 28 && LoadBig32(Here(offset)) == 0x00010800 && Number16(offset + 4) == 0x0604;
    }

    bool LooksLikeIpv4(std::size_t offset) const
    {
        if (Left() < offset + 20 || Byte(offset) >> 4 != 4) return false;
        const std::size_t size = 4 * std::size_t{Byte(offset) & 15};
        const std::size_t length = Number16(offset + 2);
        const std::size_t left = Left() - offset;
        return size >= 20 && length >= size &&
               (length == left || (length < left && FoldSum(SumOfBytes(Here(offset), size)) == 0xffff));
    }

    bool LooksLikeIpv6(std::size_t offset) const
    {
        return Left() >= offset + 40 && Byte(offset) >> 4 == 6 && Number16(offset + 4) == Left() - offset - 40;
    }

    bool LooksLikeEthernet(std::size_t offset) const
    {
        for (offset += 12; Left() >= offset + 2; offset += 4) {
            switch (Number16(offset)) {
            case kVlan:
            case kServiceTag: continue;
            case 0x0806: return LooksLikeArp(offset + 2);
            case 0x0800: return LooksLikeIpv4(offset + 2);
            case 0x86dd: return LooksLikeIpv6(offset + 2);
            default: return false;
            }
        }
        return false;
    }

    /// A sum of ffff can be written as 0000 or as ffff. Only UDP's sender always writes the latter.
    void KeepZeros()
    {
        for (const ChecksumField& field : AssembledFrame(mStack).checksums) {
            const auto* const held = reinterpret_cast<const unsigned char*>(mFrame.data());
            if (LoadBig16(held + field.at) != 0xffff) continue;
            std::string bytes(mFrame);
            bytes.replace(field.at, 2, 2, '\0');
            std::uint64_t sum = SumOfNumber(field.initial);
            for (const ByteSpan& span : field.covered) {
                sum += SumOfBytes(reinterpret_cast<const unsigned char*>(bytes.data()) + span.offset, span.size);
            }
            if (ChecksumOf(sum, true, false) != 0) continue;
            for (FrameLayer& layer : mStack.layers) {
                const std::size_t checksumAt = TraitsOf(layer.kind).checksumAt;
                if (checksumAt != 0 && layer.offset + checksumAt == field.at) layer.zeroIsAllOnes = true;
            }
        }
    }

    std::string_view mFrame;
    std::size_t mAt = 0;
    std::size_t mEnd; ///< Of the innermost layer so far.
    Next mNext;
    FrameStack mStack;
    std::vector<std::pair<std::size_t, std::size_t>>
        mClosed; ///< Layers that end before the one around them ends there.
};

} // namespace

FrameStack TakeApart(std::string_view frame)
{
    return PacketParser(frame).Parse();
}

} // namespace zor::common::detail
