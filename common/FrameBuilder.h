#ifndef ZOR_COMMON_FRAME_BUILDER_H
#define ZOR_COMMON_FRAME_BUILDER_H

/// \file
/// FrameBuilder, frames made of protocol headers by name, with fields that count.

#include "ByteSpan.h"
#include "ChecksumField.h"
#include "CompiledTemplate.h"
#include "Export.h"
#include "FrameOptions.h"
#include "FrameValues.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zor::common {

namespace detail {
struct FrameStack;
struct FrameLayer;
} // namespace detail

/// What FrameBuilder::Pattern() writes.
enum class FramePattern : unsigned char {
    Incrementing, ///< 00 01 02 ... ff 00 ...
    Prbs31 ///< The pseudo-random bits of x^31 + x^28 + 1 (ITU-T O.150: inverted), those that follow a register of
           ///< all ones, the first one the most significant bit of the first byte.
};

/// Builds a frame from the names of its headers, from the first byte to the last. Lengths, types and checksums are
/// filled in.
/// \code
/// FrameBuilder frame;
/// frame.Ethernet(CMacAddress(0x020000000001), CMacAddress(0x0200000000fe)) // source, destination
///     .Vlan(Counting<std::uint16_t>(100, 4))
///     .Ipv4(Counting(CIpAddress(10, 0, 0, 1), 250), CIpAddress(192, 168, 0, 1))
///     .Udp(Counting<std::uint16_t>(1024, 60000), 53)
///     .Number(Counting<std::uint32_t>(0, 0))
///     .PadTo(60)
///     .Cross({"udp.sport", "ipv4.src", "vlan.id"}); // the first one fastest: 60,000,000 flows
/// const CompiledTemplate packets = frame.Compile();
/// \endcode
///
/// Counting fields advance together with the index, each one by its own count, unless Cross() orders them like the
/// digits of an odometer.
///
/// | layer | may follow | names of its fields |
/// |---|---|---|
/// | Ethernet | nothing, Mpls, Gre, Vxlan, GtpU | `eth.dst`, `eth.src` |
/// | Vlan | Ethernet, Vlan | `vlan.id` |
/// | Mpls | Ethernet, Vlan, Mpls, Ipv4, Ipv6, Udp, Gre | `mpls.label`, `mpls.ttl` |
/// | Arp | Ethernet, Vlan | `arp.sha`, `arp.spa`, `arp.tha`, `arp.tpa` |
/// | Ipv4 | as Ipv6 | `ipv4.dscp`, `ipv4.id`, `ipv4.ttl`, `ipv4.src`, `ipv4.dst` |
/// | Ipv6 | nothing, Ethernet, Vlan, Mpls, Ipv4, Ipv6, Gre, GtpU | `ipv6.flow`, `ipv6.hop`, `ipv6.src`, `ipv6.dst` |
/// | Udp | Ipv4, Ipv6 | `udp.sport`, `udp.dport` |
/// | Tcp | Ipv4, Ipv6 | `tcp.sport`, `tcp.dport`, `tcp.seq`, `tcp.ack`, `tcp.window` |
/// | Icmp | Ipv4 | `icmp.id`, `icmp.seq` |
/// | Icmpv6 | Ipv6 | `icmpv6.id`, `icmpv6.seq` |
/// | Gre | Ipv4, Ipv6, Udp | `gre.key`, `gre.seq` |
/// | Vxlan | Udp | `vxlan.vni` |
/// | GtpU | Udp | `gtp.teid`, `gtp.seq`, `gtp.qfi` |
/// | Number | nothing, or any layer but Arp and PadTo | `number` |
/// | Hole | nothing, or any layer but Arp and PadTo | its own |
/// | Bytes, Fill, Pattern | nothing, or any layer but Arp and PadTo | |
/// | PadTo | nothing, or any layer | |
///
/// The fields of the second layer of a kind are called `vlan#2.id`, `number#2` and so on: in a tunnel, `ipv4#2.src` is
/// the source of the inner packet. An IPv4 fragment may be followed by payload and PadTo only, and Udp without a
/// checksum over Ipv6 by a tunnel only.
///
/// A field of whole bytes that counts past its greatest number wraps to 0. The VLAN id, the MPLS label, the DSCP, the
/// flow label and the QFI share bytes with other fields, where a carry would change these; so values that do not fit
/// are refused.
///
/// A call that makes no sense throws std::invalid_argument with a text that begins with the name of the layer: for a
/// number that does not fit its field, a layer after one that cannot carry it, a length above 16 bits, or a frame of
/// more than 262,144 bytes. Whatever a call throws, the builder is as it was before. A builder is a plain value:
/// distinct objects may be used in distinct threads.
class ZOR_COMMON_API FrameBuilder {
public:
    FrameBuilder();                                     ///< A frame without bytes.
    FrameBuilder(const FrameBuilder& other);            ///< Copies all layers.
    FrameBuilder& operator=(const FrameBuilder& other); ///< Copies all layers.
    ~FrameBuilder();

    /// Takes a captured Ethernet frame apart into the layers of the table above, with the names of their fields, for
    /// Vary() and Cross(). Bytes that it cannot interpret become Bytes(). Layers may be added.
    ///
    /// If nothing is changed, the frame compiles to the same bytes, except that wrong checksums are corrected. A UDP
    /// checksum of 0, which means that there is none, stays 0. IP and TCP options, IPv6 extension headers, padding and
    /// trailers stay as they are. If a length field does not match the frame, for example because a packet was cut, the
    /// IP header keeps its length and the rest becomes Bytes(). The same is done with fragments, and with packets whose
    /// final destination is not in place yet (a source route), as their checksums cannot be computed. Tunnels are
    /// recognised by EtherType, protocol number and UDP port. The payload of an MPLS label and of GTP-U has no type
    /// field, so its first bytes decide, and only a correct header is accepted. After 64 headers, the rest becomes
    /// Bytes().
    ///
    /// \param bytes  from the destination address on, without the frame check sequence; may be null if \a size is 0.
    /// \param size   std::invalid_argument is thrown above 262,144.
    static FrameBuilder FromPacket(const unsigned char* bytes, std::size_t size);

    /// \name Headers
    /// The options come after the fields that have no usual value.
    /// \{

    /// 14 bytes, without the frame check sequence. The type is that of the next header.
    FrameBuilder& Ethernet(const FrameAddress<CMacAddress>& source, const FrameAddress<CMacAddress>& destination,
                           const EthernetOptions& options = {});

    /// An IEEE 802.1Q tag of 4 bytes; stacked if there are several, the outer one first.
    /// \param id  from 0 to 4095. It must not count past 4095, so its count must not be 0.
    FrameBuilder& Vlan(const FrameNumber& id, const VlanOptions& options = {});

    /// 28 bytes (RFC 826).
    FrameBuilder& Arp(const FrameAddress<CMacAddress>& senderMac, const FrameAddress<CIpAddress>& sender,
                      const FrameAddress<CIpAddress>& target, const ArpOptions& options = {});

    /// 20 bytes, without options. The total length includes all layers from here to the padding.
    FrameBuilder& Ipv4(const FrameAddress<CIpAddress>& source, const FrameAddress<CIpAddress>& destination,
                       const Ipv4Options& options = {});

    /// 40 bytes, without extension headers.
    FrameBuilder& Ipv6(const FrameAddress<CIpv6Address>& source, const FrameAddress<CIpv6Address>& destination,
                       const Ipv6Options& options = {});

    /// 8 bytes.
    FrameBuilder& Udp(const FrameNumber& sourcePort, const FrameNumber& destinationPort,
                      const UdpOptions& options = {});

    /// The same with the destination port of the tunnel that follows: 4789 for Vxlan, 2152 for GtpU, 6635 for Mpls (RFC
    /// 7510), 4754 for Gre (RFC 8086), and 9, the discard service, otherwise.
    FrameBuilder& Udp(const FrameNumber& sourcePort, const UdpOptions& options = {});

    /// 20 bytes.
    FrameBuilder& Tcp(const FrameNumber& sourcePort, const FrameNumber& destinationPort,
                      const TcpOptions& options = {});

    /// 8 bytes.
    /// \param type  8 is an echo request, 0 an echo reply.
    FrameBuilder& Icmp(unsigned char type = 8, const IcmpOptions& options = {});

    /// 8 bytes.
    /// \param type  128 is an echo request, 129 an echo reply.
    FrameBuilder& Icmpv6(unsigned char type = 128, const IcmpOptions& options = {});

    /// \}
    /// \name Tunnels
    /// Headers that are followed by the headers of an inner packet or frame. Lengths and checksums are right on all
    /// levels.
    /// \{

    /// A label of 4 bytes; stacked if there are several, the outer one first. It carries IP, Ethernet (RFC 4448) or
    /// payload.
    /// \param label  from 0 to 1048575.
    FrameBuilder& Mpls(const FrameNumber& label, const MplsOptions& options = {});

    /// 4 bytes, and 4 more for each of checksum, key and sequence number. It carries Ethernet, IP, MPLS or payload.
    FrameBuilder& Gre(const GreOptions& options = {});

    /// 8 bytes (RFC 7348). It carries Ethernet or payload.
    /// \param vni  network identifier, 24 bits.
    FrameBuilder& Vxlan(const FrameNumber& vni);

    /// 8 bytes, 4 more with a sequence number, 8 more with a QFI. It carries IP, Ethernet or payload.
    /// \param teid  tunnel endpoint identifier, 32 bits.
    FrameBuilder& GtpU(const FrameNumber& teid, const GtpUOptions& options = {});

    /// \}
    /// \name Payload
    /// \{

    /// A number in network order, such as a sequence number, which makes each packet different.
    /// \param size  in bytes, from 1 to 8; 0 means the size of the integer type of \a value.
    FrameBuilder& Number(const FrameNumber& value, std::size_t size = 0);

    FrameBuilder& Bytes(std::string_view bytes);                       ///< The bytes as they are, zeros included.
    FrameBuilder& Bytes(const unsigned char* bytes, std::size_t size); ///< \a bytes may be null if \a size is 0.

    /// The same byte, \a size times.
    FrameBuilder& Fill(std::size_t size, unsigned char byte = 0);

    /// The first \a size bytes of a pattern.
    FrameBuilder& Pattern(std::size_t size, FramePattern pattern = FramePattern::Incrementing);

    /// Bytes that the sender writes, such as a time stamp: 0 in each frame. AdjustChecksum() corrects the checksum that
    /// covers them. If several checksums do, as in a tunnel, adjust the innermost one only: the sums of the others stay
    /// the same, because the inner checksum changes by the opposite amount.
    /// \param name  for GetSpan(); not empty, without '.', '#' and '@', not "number", and not the name of another hole.
    /// \param size  in bytes, at least 1.
    FrameBuilder& Hole(const std::string& name, std::size_t size);

    /// Pads the frame with zeros to a size in bytes, as a network card pads Ethernet frames to 60 bytes. Padding
    /// belongs to no header, so lengths and checksums do not include it. Only more padding may follow.
    /// \param size  at least the size of the frame so far.
    FrameBuilder& PadTo(std::size_t size);

    /// \}
    /// \name Flows
    /// \{

    /// Gives a field of the frame another value, constant or counting. Checksums follow.
    /// \param name  std::invalid_argument is thrown for a name that the frame does not have, for a crossed field, for a
    ///              hole, and for a field of which bytes were varied by their place.
    FrameBuilder& Vary(const std::string& name, const FrameVariation& variation);

    /// The same for bytes at any place of the frame so far, as one number in network order. The bytes get a name with
    /// their offset, such as "bytes@26".
    /// \param span  from 1 to 16 bytes. std::invalid_argument is thrown for bytes of a length or a checksum that the
    ///              builder fills in, or of a field that counts. The same span may be varied again.
    FrameBuilder& Vary(const ByteSpan& span, const FrameVariation& variation);

    /// Gives fields the values of a table. The row number counts, and all fields together show one row.
    /// \code
    /// FrameBuilder frame;
    /// frame.Ethernet(CMacAddress(0x020000000001), CMacAddress()).Ipv4(CIpAddress(), CIpAddress()).Udp(1024, 0);
    /// frame.Rows({"ipv4.src", "ipv4.dst", "udp.dport"},
    ///            {{CIpAddress(10, 0, 0, 1), CIpAddress(10, 0, 1, 1), 53}, {CIpAddress(10, 0, 0, 9), CIpAddress(10, 0, 1, 7), 123}});
    /// \endcode
    /// \param fields  at least one name, as for Vary().
    /// \param table   at least one row, each with as many values as there are fields.
    /// \param repeat  how often a row is shown again before the next one.
    FrameBuilder& Rows(const std::vector<std::string>& fields, const std::vector<std::vector<FrameCell>>& table,
                       std::uint64_t repeat = 0);

    /// Makes fields count like the digits of an odometer, so that every combination of their values is shown: the first
    /// field changes at each index, each other field when all before it have shown all their values. Other fields are
    /// not affected. Layers may be added afterwards.
    ///
    /// \param fields  at least one name of a field that counts and has no repeat; each field but the last must have a
    ///                count other than 0. One field of a table stands for all fields that Rows() made count together.
    ///                std::invalid_argument is thrown if fields are crossed already, and if the product of all counts
    ///                but the last is 2^64 or more.
    FrameBuilder& Cross(const std::vector<std::string>& fields);

    /// The number of flows: of different combinations of values of the crossed fields; without Cross(), of all fields
    /// but those of Number(), which distinguish packets and not flows.
    ///
    /// \return  at least 1; 0 stands for 2^64 and more. Also 0 if the combinations would have to be tried one by one
    ///          and are too many: if fields that are not crossed have different repeats that do not form an odometer,
    ///          or if the count of one is larger than the number of its different values, and the combination of index
    ///          0 comes back only after more than 65,536 indexes.
    std::uint64_t GetFlowCount() const;

    /// \}
    /// \name Results
    /// \{

    /// The frames. Later changes to the builder do not affect the result. Two builders with the same layers and the
    /// same order of flows give equal objects. If there is a template text, the result equals the object that is
    /// compiled from it: `CompiledTemplate(Wildcards(*GetTemplate(), "@"), GetChecksums())`.
    CompiledTemplate Compile() const;

    /// The text of a template for Wildcards with the marker "@", without checksums. Nothing if the grammar cannot
    /// express a field: a list, a table, a shuffled order, a hole, a count above 2^32 - 1, or a value that is shown
    /// more than 2^32 times in succession.
    std::optional<std::string> GetTemplate() const;

    /// The checksum fields, in the order in which they are computed: a field that another one covers comes before it.
    std::vector<ChecksumField> GetChecksums() const;

    /// The place of a field in the frame.
    /// \param name  std::invalid_argument is thrown for a name that the frame does not have.
    ByteSpan GetSpan(const std::string& name) const;

    /// The size of the frame so far, in bytes.
    std::size_t GetSize() const noexcept;

    /// \}

private:
    ZOR_COMMON_LOCAL FrameBuilder& Add(detail::FrameLayer&& layer);

    std::unique_ptr<detail::FrameStack> mStack;
};

} // namespace zor::common

#endif // ZOR_COMMON_FRAME_BUILDER_H
