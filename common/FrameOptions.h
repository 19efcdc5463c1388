#ifndef ZOR_COMMON_FRAME_OPTIONS_H
#define ZOR_COMMON_FRAME_OPTIONS_H

/// \file
/// What the headers of a frame say beside what each one of their kind has to be told. Part of FrameBuilder.h.

#include "FrameValues.h"

#include <cstdint>
#include <optional>

namespace zor::common {

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
    bool hasChecksum = true; ///< Without one the field is 0, which IPv6 allows for tunnels alone (RFC 768, RFC 6935).
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

/// What an MPLS label stack entry says beside its label (RFC 3032, RFC 5462). The bottom of the stack is marked by itself.
struct MplsOptions {
    unsigned int trafficClass = 0; ///< From 0 to 7.
    FrameNumber ttl = 64;          ///< Time to live, 8 bits.
    bool hasControlWord = false;   ///< Whether 4 bytes of 0 follow the label: the control word of a pseudowire that
                                   ///< carries Ethernet (RFC 4448).
};

/// RFC 2784 and RFC 2890.
struct GreOptions {
    std::optional<FrameNumber> key;      ///< 32 bits. Without a value the header has no such field, as below.
    std::optional<FrameNumber> seq;      ///< Sequence number, 32 bits.
    bool hasChecksum = false;            ///< Whether there is a checksum of header and payload.
    std::uint16_t protocolType = 0x88b5; ///< As EthernetOptions::etherType.
};

/// What the header of a packet in a GTP-U tunnel says beside the tunnel (3GPP TS 29.281, TS 38.415).
struct GtpUOptions {
    std::optional<FrameNumber> seq; ///< Sequence number, 16 bits. Without a value there is none.
    std::optional<FrameNumber> qfi; ///< QoS flow identifier, from 0 to 63, in a PDU session container. Without a value
                                    ///< there is no such extension header.
    bool isUplink = false;          ///< Whether that is one of PDU type 1, with which the terminal sends.
};

/// \}

} // namespace zor::common

#endif // ZOR_COMMON_FRAME_OPTIONS_H
