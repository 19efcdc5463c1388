#ifndef ZOR_COMMON_FRAME_OPTIONS_H
#define ZOR_COMMON_FRAME_OPTIONS_H

/// \file
/// The fields of headers that have usual values, as structs of options. Part of FrameBuilder.h.

#include "FrameValues.h"

#include <cstdint>
#include <optional>

namespace zor::common {

/// \name Options of headers
/// Fields of type FrameNumber may count; FrameBuilder lists their names. A number that does not fit its field is
/// refused.
/// \{

/// The fields of an Ethernet header other than its addresses.
struct EthernetOptions {
    std::uint16_t etherType = 0x88b5; ///< Used if the next layer has no type of its own; by default local experiments.
};

/// The fields of a VLAN tag other than its id.
struct VlanOptions {
    unsigned int priority = 0;        ///< From 0 to 7 (IEEE 802.1Q PCP).
    bool isDropEligible = false;      ///< DEI.
    std::uint16_t tagType = 0x8100;   ///< 0x88a8 for a service tag (IEEE 802.1ad); not 0.
    std::uint16_t etherType = 0x88b5; ///< As in EthernetOptions.
};

/// The fields of an ARP message other than the sender and the target address.
struct ArpOptions {
    std::uint16_t operation = 1;                            ///< 1 is a request, 2 a reply (RFC 826).
    FrameAddress<CMacAddress> targetMac = CMacAddress(0ul); ///< Unknown in a request, so 0 by default.
};

/// RFC 791. By default an atomic datagram (RFC 6864): not to be fragmented, identification 0.
struct Ipv4Options {
    FrameNumber ttl = 64;             ///< Time to live, 8 bits.
    FrameNumber dscp = 0;             ///< From 0 to 63 (RFC 2474).
    unsigned int ecn = 0;             ///< From 0 to 3 (RFC 3168).
    FrameNumber id = 0;               ///< Identification, 16 bits.
    bool isDontFragment = true;       ///< DF.
    bool isMoreFragments = false;     ///< MF. Only payload may follow the header of a fragment.
    std::uint16_t fragmentOffset = 0; ///< In units of 8 bytes, from 0 to 8191.
    unsigned char protocol = 253;     ///< Used if the next layer has no number; by default experiments (RFC 3692).
};

/// RFC 8200.
struct Ipv6Options {
    FrameNumber hopLimit = 64;      ///< 8 bits.
    FrameNumber flowLabel = 0;      ///< 20 bits.
    unsigned int dscp = 0;          ///< From 0 to 63.
    unsigned int ecn = 0;           ///< From 0 to 3.
    unsigned char nextHeader = 253; ///< As Ipv4Options::protocol.
};

/// The fields of a UDP header other than its ports.
struct UdpOptions {
    bool hasChecksum = true; ///< If false, the field is 0, which IPv6 allows only for tunnels (RFC 768, RFC 6935).
};

/// RFC 9293. The header has no options.
struct TcpOptions {
    FrameNumber seq = 0;             ///< Sequence number, 32 bits.
    FrameNumber ack = 0;             ///< Acknowledgment number, 32 bits.
    unsigned char flags = 0x10;      ///< FIN 01, SYN 02, RST 04, PSH 08, ACK 10, URG 20, ECE 40, CWR 80.
    FrameNumber window = 65535;      ///< 16 bits.
    std::uint16_t urgentPointer = 0; ///< Has a meaning only with the flag URG.
};

/// RFC 792, and RFC 4443 for IPv6. The four bytes after the checksum are those of an echo.
struct IcmpOptions {
    unsigned char code = 0; ///< Of the type; 0 for echoes.
    FrameNumber id = 0;     ///< Identifier, 16 bits.
    FrameNumber seq = 0;    ///< Sequence number, 16 bits.
};

/// The fields of an MPLS label stack entry other than its label (RFC 3032, RFC 5462). The flag for the bottom of the
/// stack is filled in.
struct MplsOptions {
    unsigned int trafficClass = 0; ///< From 0 to 7.
    FrameNumber ttl = 64;          ///< Time to live, 8 bits.
    bool hasControlWord = false;   ///< Whether 4 bytes of 0 follow the label: the control word of a pseudowire that
                                   ///< carries Ethernet (RFC 4448).
};

/// RFC 2784 and RFC 2890. A field without a value is left out of the header.
struct GreOptions {
    std::optional<FrameNumber> key;      ///< 32 bits.
    std::optional<FrameNumber> seq;      ///< Sequence number, 32 bits.
    bool hasChecksum = false;            ///< Whether there is a checksum of header and payload.
    std::uint16_t protocolType = 0x88b5; ///< As EthernetOptions::etherType.
};

/// The fields of a GTP-U header other than the tunnel endpoint identifier (3GPP TS 29.281, TS 38.415).
struct GtpUOptions {
    std::optional<FrameNumber> seq; ///< Sequence number, 16 bits. Without a value, flag S is clear.
    std::optional<FrameNumber> qfi; ///< QoS flow identifier, from 0 to 63, in a PDU session container. Without a value,
                                    ///< that extension header is left out.
    bool isUplink = false;          ///< Whether the container has PDU type 1, for packets from the terminal.
};

/// \}

} // namespace zor::common

#endif // ZOR_COMMON_FRAME_OPTIONS_H
