#ifndef ZOR_COMMON_FRAME_BUILDER_H
#define ZOR_COMMON_FRAME_BUILDER_H

/// \file
/// FrameBuilder, frames made of protocol headers by name, with fields that count.

#include "BigEndian.h"
#include "ChecksumField.h"
#include "CompiledTemplate.h"
#include "Export.h"
#include "IpAddress.h"
#include "Ipv6Address.h"
#include "MacAddress.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace zor::common {

/// How far a counting field moves at each change: a number, negative to count down, or an IPv6 address for steps of 2^64
/// and more, such as from one /64 network to the next. A number of 2^63 and more is the negative one that is the same
/// modulo 2^64.
class CountingStep {
public:
    /// A number, as it is.
    constexpr CountingStep(std::int64_t number) noexcept // implicit, so that a number serves as a step
        : mNumber{number < 0 ? ~std::uint64_t{0} : 0, static_cast<std::uint64_t>(number)}
    {
    }
    /// The number that an address is; one above 2^127 - 1 counts down.
    CountingStep(const CIpv6Address& distance) noexcept
    {
        unsigned char bytes[16];
        distance.CopyTo(bytes);
        mNumber = {detail::LoadBig64(bytes), detail::LoadBig64(bytes + 8)};
    }

    /// The two's complement number.
    constexpr detail::Uint128 GetNumber() const noexcept { return mNumber; }

private:
    detail::Uint128 mNumber;
};

/// The value of a field that counts: turn t shows first + t * step, modulo the width of the field.
/// \code
/// Counting<std::uint16_t>(1024, 60000)                  // ports from 1024 to 61023
/// Counting(CIpAddress(10, 0, 0, 250), 250, -1)          // down to 10.0.0.1
/// Counting(CIpv6Address(0x20010db800000000, 1), 16, CIpv6Address(1, 0)) // the same host in 16 networks
/// \endcode
/// \tparam Value  an integer or one of CMacAddress, CIpAddress and CIpv6Address.
template <class Value>
struct Counting {
    /// \param from    what index 0 shows.
    /// \param turns   how many values there are before the first one shows again; 0 is without end, so that the field
    ///                wraps at its width.
    /// \param by      is added at each turn.
    /// \param again   how often a value is shown again before the next one; a turn lasts \a again + 1 indexes.
    constexpr Counting(const Value& from, std::uint64_t turns, CountingStep by = 1, std::uint64_t again = 0) noexcept
        : first(from), count(turns), step(by), repeat(again)
    {
    }

    Value first;          ///< What index 0 shows.
    std::uint64_t count;  ///< How many values there are; 0 is without end.
    CountingStep step;    ///< Added at each turn.
    std::uint64_t repeat; ///< How often a value is shown again.
};

namespace detail {

/// What a field shows, before it is known how wide the field is.
struct FrameValue {
    Uint128 first{0, 0};
    Uint128 step{0, 1};
    std::uint64_t count = 1;
    std::uint64_t repeat = 0;
    bool isCounting = false;
    bool isNegative = false; ///< Whether the first value is a number below 0, which no field can show.
};

template <class Value>
constexpr void SetCounting(FrameValue& value, const Counting<Value>& counting) noexcept
{
    value.step = counting.step.GetNumber();
    value.count = counting.count;
    value.repeat = counting.repeat;
    value.isCounting = true;
}

struct FrameStack;
struct FrameLayer;

} // namespace detail

/// A number in a header or in the payload: a constant, or one that counts. Whether it fits is checked by the layer that
/// takes it, so an integer of any type will do.
class FrameNumber {
public:
    /// A constant, of 0 or above.
    template <class Integer, std::enable_if_t<std::is_integral_v<Integer>, int> = 0>
    constexpr FrameNumber(Integer constant) noexcept : mTypeSize(sizeof(Integer))
    {
        mValue.first.low = static_cast<std::uint64_t>(constant);
        mValue.isNegative = constant < Integer{0};
    }

    /// A number that counts, from 0 or above.
    template <class Integer, std::enable_if_t<std::is_integral_v<Integer>, int> = 0>
    constexpr FrameNumber(const Counting<Integer>& counting) noexcept : FrameNumber(counting.first)
    {
        detail::SetCounting(mValue, counting);
    }

    /// For the layers: the number as one of 128 bits.
    constexpr const detail::FrameValue& GetValue() const noexcept { return mValue; }

    /// The bytes of the integer type that it was given as.
    constexpr std::size_t GetTypeSize() const noexcept { return mTypeSize; }

private:
    detail::FrameValue mValue;
    std::size_t mTypeSize;
};

/// An address in a header: a constant, or one that counts.
/// \tparam Address  CMacAddress, CIpAddress or CIpv6Address.
template <class Address>
class FrameAddress {
public:
    /// A constant.
    FrameAddress(const Address& constant) noexcept
    {
        unsigned char bytes[16] = {};
        constant.CopyTo(bytes + 16 - kSize);
        mValue.first = {detail::LoadBig64(bytes), detail::LoadBig64(bytes + 8)};
    }
    /// An address that counts, as one number.
    FrameAddress(const Counting<Address>& counting) noexcept : FrameAddress(counting.first)
    {
        detail::SetCounting(mValue, counting);
    }

    /// For the layers: the address as one number of 128 bits.
    const detail::FrameValue& GetValue() const noexcept { return mValue; }

private:
    static constexpr std::size_t kSize = std::is_same_v<Address, CMacAddress>  ? 6
                                         : std::is_same_v<Address, CIpAddress> ? 4
                                                                               : 16;

    detail::FrameValue mValue;
};

/// \name Fields of headers beside those that a layer is called with
/// Fields of type FrameNumber may count; their names stand in FrameBuilder. A number that does not fit its field is
/// refused.
/// \{

/// What an Ethernet header says beside its addresses.
struct EthernetOptions {
    std::uint16_t etherType = 0x88b5; ///< Where no header follows that has a type: by default local experiments.
};

/// What a VLAN tag says beside its id.
struct VlanOptions {
    unsigned int priority = 0;        ///< From 0 to 7 (IEEE 802.1Q PCP).
    bool isDropEligible = false;      ///< DEI.
    std::uint16_t tagType = 0x8100;   ///< 0x88a8 for a service tag (IEEE 802.1ad); not 0.
    std::uint16_t etherType = 0x88b5; ///< As in EthernetOptions.
};

/// What an ARP message says beside the sender and the address asked for.
struct ArpOptions {
    std::uint16_t operation = 1;                            ///< 1 asks, 2 answers (RFC 826).
    FrameAddress<CMacAddress> targetMac = CMacAddress(0ul); ///< Not known to one who asks.
};

/// RFC 791. By default an atomic datagram (RFC 6864): not to be fragmented, identification 0.
struct Ipv4Options {
    FrameNumber ttl = 64;             ///< Time to live, 8 bits.
    FrameNumber dscp = 0;             ///< From 0 to 63 (RFC 2474).
    unsigned int ecn = 0;             ///< From 0 to 3 (RFC 3168).
    FrameNumber id = 0;               ///< Identification, 16 bits.
    bool isDontFragment = true;       ///< DF.
    bool isMoreFragments = false;     ///< MF. Only payload follows the header of a fragment.
    std::uint16_t fragmentOffset = 0; ///< In units of 8 bytes, from 0 to 8191.
    unsigned char protocol = 253;     ///< Where no header follows that has a number: by default experiments (RFC 3692).
};

/// RFC 8200.
struct Ipv6Options {
    FrameNumber hopLimit = 64;      ///< 8 bits.
    FrameNumber flowLabel = 0;      ///< 20 bits.
    unsigned int dscp = 0;          ///< From 0 to 63.
    unsigned int ecn = 0;           ///< From 0 to 3.
    unsigned char nextHeader = 253; ///< As Ipv4Options::protocol.
};

/// What a UDP header says beside its ports.
struct UdpOptions {
    bool hasChecksum = true; ///< Without one the field is 0, which IPv4 alone allows (RFC 768, RFC 8200).
};

/// RFC 9293. The header has no options.
struct TcpOptions {
    FrameNumber seq = 0;             ///< Sequence number, 32 bits.
    FrameNumber ack = 0;             ///< Acknowledgment number, 32 bits.
    unsigned char flags = 0x10;      ///< FIN 01, SYN 02, RST 04, PSH 08, ACK 10, URG 20, ECE 40, CWR 80.
    FrameNumber window = 65535;      ///< 16 bits.
    std::uint16_t urgentPointer = 0; ///< Counts with the flag URG.
};

/// RFC 792, and RFC 4443 for IPv6. The four bytes behind the checksum are those of an echo.
struct IcmpOptions {
    unsigned char code = 0; ///< Of the type; 0 for echoes.
    FrameNumber id = 0;     ///< Identifier, 16 bits.
    FrameNumber seq = 0;    ///< Sequence number, 16 bits.
};

/// \}

/// What FrameBuilder::Pattern() writes.
enum class FramePattern : unsigned char {
    Incrementing, ///< 00 01 02 ... ff 00 ...
    Prbs31 ///< The pseudo-random bits of x^31 + x^28 + 1 (ITU-T O.150: inverted), those that follow a register of
           ///< all ones, the first one the most significant bit of the first byte.
};

/// Frames by the names of their headers, from the first byte to the last. Lengths, types and checksums are right by
/// themselves.
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
/// Counting fields advance together with the index, each one by its own count, unless Cross() orders them like the digits
/// of an odometer.
///
/// | layer | stands behind | names of its fields |
/// |---|---|---|
/// | Ethernet | nothing | `eth.dst`, `eth.src` |
/// | Vlan | Ethernet, Vlan | `vlan.id` |
/// | Arp | Ethernet, Vlan | `arp.sha`, `arp.spa`, `arp.tha`, `arp.tpa` |
/// | Ipv4 | nothing, Ethernet, Vlan | `ipv4.dscp`, `ipv4.id`, `ipv4.ttl`, `ipv4.src`, `ipv4.dst` |
/// | Ipv6 | nothing, Ethernet, Vlan | `ipv6.flow`, `ipv6.hop`, `ipv6.src`, `ipv6.dst` |
/// | Udp | Ipv4, Ipv6 | `udp.sport`, `udp.dport` |
/// | Tcp | Ipv4, Ipv6 | `tcp.sport`, `tcp.dport`, `tcp.seq`, `tcp.ack`, `tcp.window` |
/// | Icmp | Ipv4 | `icmp.id`, `icmp.seq` |
/// | Icmpv6 | Ipv6 | `icmpv6.id`, `icmpv6.seq` |
/// | Number | nothing, all but Arp and PadTo | `number` |
/// | Bytes, Fill, Pattern | nothing, all but Arp and PadTo | |
/// | PadTo | all | |
///
/// The second layer of a kind has the names `vlan#2.id`, `number#2` and so on.
///
/// A field of whole bytes that counts past its greatest number goes on at 0. The VLAN id, the DSCP and the flow label
/// share bytes with other fields, so values of theirs that do not fit are refused.
///
/// What cannot be is refused at the call, with a std::invalid_argument that begins with the name of the layer: a number
/// that does not fit its field, a layer behind one that cannot carry it, a length above 16 bits, a frame of more than
/// 262,144 bytes. Whatever a call throws, the builder is as it was. A builder is a plain value: distinct objects may be
/// used in distinct threads.
class ZOR_COMMON_API FrameBuilder {
public:
    FrameBuilder();                                     ///< A frame without bytes.
    FrameBuilder(const FrameBuilder& other);            ///< Copies all layers.
    FrameBuilder& operator=(const FrameBuilder& other); ///< Copies all layers.
    ~FrameBuilder();

    /// \name Headers
    /// Options follow the fields that each header of a kind has to be told.
    /// \{

    /// 14 bytes, the frame check sequence not included. Its type is that of the header behind it.
    FrameBuilder& Ethernet(const FrameAddress<CMacAddress>& source, const FrameAddress<CMacAddress>& destination,
                           const EthernetOptions& options = {});

    /// An IEEE 802.1Q tag of 4 bytes; stacked if there are several, the outer one first.
    /// \param id  from 0 to 4095. It must not count past that, so its count is not 0.
    FrameBuilder& Vlan(const FrameNumber& id, const VlanOptions& options = {});

    /// 28 bytes (RFC 826).
    FrameBuilder& Arp(const FrameAddress<CMacAddress>& senderMac, const FrameAddress<CIpAddress>& sender,
                      const FrameAddress<CIpAddress>& target, const ArpOptions& options = {});

    /// 20 bytes, without options. Its total length is that of all layers from here to the padding.
    FrameBuilder& Ipv4(const FrameAddress<CIpAddress>& source, const FrameAddress<CIpAddress>& destination,
                       const Ipv4Options& options = {});

    /// 40 bytes, without extension headers.
    FrameBuilder& Ipv6(const FrameAddress<CIpv6Address>& source, const FrameAddress<CIpv6Address>& destination,
                       const Ipv6Options& options = {});

    /// 8 bytes.
    FrameBuilder& Udp(const FrameNumber& sourcePort, const FrameNumber& destinationPort,
                      const UdpOptions& options = {});

    /// 20 bytes.
    FrameBuilder& Tcp(const FrameNumber& sourcePort, const FrameNumber& destinationPort,
                      const TcpOptions& options = {});

    /// 8 bytes.
    /// \param type  8 asks for an echo, 0 answers.
    FrameBuilder& Icmp(unsigned char type = 8, const IcmpOptions& options = {});

    /// 8 bytes.
    /// \param type  128 asks for an echo, 129 answers.
    FrameBuilder& Icmpv6(unsigned char type = 128, const IcmpOptions& options = {});

    /// \}
    /// \name Payload
    /// \{

    /// A number in network order, such as a sequence number.
    /// \param size  in bytes, from 1 to 8; 0 is the size of the integer type that \a value is given as.
    FrameBuilder& Number(const FrameNumber& value, std::size_t size = 0);

    FrameBuilder& Bytes(std::string_view bytes);                       ///< The bytes as they are, zeros included.
    FrameBuilder& Bytes(const unsigned char* bytes, std::size_t size); ///< \a bytes may be null if \a size is 0.

    /// The same byte, \a size times.
    FrameBuilder& Fill(std::size_t size, unsigned char byte = 0);

    /// So many bytes of a pattern, from its beginning.
    FrameBuilder& Pattern(std::size_t size, FramePattern pattern = FramePattern::Incrementing);

    /// Pads the frame with zeros to a size in bytes, as a card pads Ethernet frames to 60 bytes. Padding belongs to no
    /// header: no length counts it and no checksum covers it. Only more padding may follow.
    /// \param size  not below that of the frame so far.
    FrameBuilder& PadTo(std::size_t size);

    /// \}
    /// \name Flows
    /// \{

    /// Makes fields count like the digits of an odometer: the first one at each index, each other one when all before it
    /// have shown all their values. Fields that are not named go on as they are.
    ///
    /// \param fields  at least one name of fields that count and have no repeat; each one but the last has a count other
    ///                than 0. Layers may still follow. std::invalid_argument is raised if fields are crossed already, and if
    ///                the counts of all but the last one multiply to 2^64 or more.
    FrameBuilder& Cross(const std::vector<std::string>& fields);

    /// How many flows there are: the number of different combinations of values of the crossed fields; without Cross(), of
    /// all fields but those of Number().
    ///
    /// \return  at least 1; 0 for 2^64 and more. Also 0 if fields that are not crossed have different repeats, which are
    ///          no odometer, or one of them counts further than it has different values, and they show their combination
    ///          of index 0 together again only after more than 65,536 indexes.
    std::uint64_t GetFlowCount() const;

    /// \}
    /// \name Results
    /// \{

    /// The frames. They stay as they are, whatever becomes of the builder. Two builders with the same layers and the same
    /// order of flows give equal objects. Where there is a template text, the object equals the one that is compiled from
    /// it: `CompiledTemplate(Wildcards(*GetTemplate(), "@"), GetChecksums())`.
    CompiledTemplate Compile() const;

    /// The text of a template for Wildcards with the marker "@", without checksums. Nothing if the grammar has no word for
    /// a field: its count is above 2^32 - 1, or a value is shown more than 2^32 times in succession.
    std::optional<std::string> GetTemplate() const;

    /// The checksum fields, in the order in which they are worked out: one that another covers stands before it.
    std::vector<ChecksumField> GetChecksums() const;

    /// The size of the frame so far, in bytes.
    std::size_t GetSize() const noexcept;

    /// \}

private:
    ZOR_COMMON_LOCAL FrameBuilder& Add(detail::FrameLayer&& layer);

    std::unique_ptr<detail::FrameStack> mStack;
};

} // namespace zor::common

#endif // ZOR_COMMON_FRAME_BUILDER_H
