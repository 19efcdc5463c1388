#include "FrameBuilder.h"
#include "FrameLayers.h"

#include <utility>

namespace zor::common {

using detail::LayerKind;
using detail::LayerWriter;

FrameBuilder& FrameBuilder::Mpls(const FrameNumber& label, const MplsOptions& options)
{
    LayerWriter writer(LayerKind::Mpls);
    writer.Check("trafficClass", options.trafficClass, 7)
        .PutBits("label", label.GetValue(), 3, 20, 4, std::uint64_t{options.trafficClass} << 1)
        .PutField("ttl", options.ttl.GetValue(), 1);
    if (options.hasControlWord) writer.Put(0, 4);
    writer.GetLayer().isPseudowire = options.hasControlWord;
    return Add(std::move(writer.GetLayer()));
}

FrameBuilder& FrameBuilder::Gre(const GreOptions& options)
{
    LayerWriter writer(LayerKind::Gre);
    const unsigned int flags =
        (options.hasChecksum ? 0x8000u : 0) | (options.key ? 0x2000u : 0) | (options.seq ? 0x1000u : 0);
    writer.Put(flags, 2).Put(options.protocolType, 2);
    if (options.hasChecksum) writer.Put(0, 4); // with bytes that are reserved
    if (options.key) writer.PutField("key", options.key->GetValue(), 4);
    if (options.seq) writer.PutField("seq", options.seq->GetValue(), 4);
    writer.GetLayer().hasChecksum = options.hasChecksum;
    return Add(std::move(writer.GetLayer()));
}

FrameBuilder& FrameBuilder::Vxlan(const FrameNumber& vni)
{
    LayerWriter writer(LayerKind::Vxlan);
    writer
        .Put(0x08000000, 4) // the VNI is valid
        .PutField("vni", vni.GetValue(), 3)
        .Put(0, 1);
    return Add(std::move(writer.GetLayer()));
}

FrameBuilder& FrameBuilder::GtpU(const FrameNumber& teid, const GtpUOptions& options)
{
    constexpr unsigned int kVersion1 = 0x30, kHasExtension = 4, kHasSequenceNumber = 2;
    constexpr unsigned int kPacket = 0xff, kSessionContainer = 0x85;
    LayerWriter writer(LayerKind::GtpU);
    writer.Put(kVersion1 | (options.qfi ? kHasExtension : 0) | (options.seq ? kHasSequenceNumber : 0), 1)
        .Put(kPacket, 1)
        .Put(0, 2) // length
        .PutField("teid", teid.GetValue(), 4);
    if (options.seq || options.qfi) {
        if (options.seq) {
            writer.PutField("seq", options.seq->GetValue(), 2);
        } else {
            writer.Put(0, 2);
        }
        writer
            .Put(0, 1) // N-PDU number
            .Put(options.qfi ? kSessionContainer : 0, 1);
    }
    if (options.qfi) {
        writer
            .Put(1, 1) // of four bytes
            .Put(options.isUplink ? 0x10 : 0, 1)
            .PutBits("qfi", options.qfi->GetValue(), 1, 6, 0, 0)
            .Put(0, 1); // no other extension header
    }
    return Add(std::move(writer.GetLayer()));
}

} // namespace zor::common
