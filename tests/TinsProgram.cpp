// Writes a capture file of packets that libtins makes: TinsProgram <capture>.

#include <tins/tins.h>

using namespace Tins;

int main(int argc, char** argv)
{
    if (argc != 2) return 2;
    PacketWriter writer(argv[1], DataLinkType<EthernetII>());
    const EthernetII ethernet("02:00:00:00:00:fe", "02:00:00:00:00:01");
    const IPv6 ip6("2001:db8::2", "2001:db8::1");
    const RawPDU data("odd");
    for (std::uint16_t port = 1; port < 2000; port = static_cast<std::uint16_t>(port + 17)) {
        IP ip("192.168.0.1", IPv4Address(0x0100000a + (std::uint32_t{port} << 16)));
        ip.id(port);
        TCP tcp(80, port);
        tcp.seq(0xfffff000 + port);
        tcp.mss(1460);
        tcp.winscale(7);
        tcp.sack_permitted();
        tcp.timestamp(port, 2);
        EthernetII packets[] = {ethernet / ip / UDP(53, port) / data,
                                ethernet / Dot1Q(port & 0xfff) / ip / tcp / data,
                                ethernet / ip / ICMP(ICMP::ECHO_REQUEST) / data,
                                ethernet / ip / IP("10.9.9.9", "10.8.8.8") / UDP(7, port) / data,
                                ethernet / ip6 / UDP(53, port) / data,
                                ethernet / ip6 / tcp,
                                ethernet / ip6 / ICMPv6(ICMPv6::ECHO_REQUEST) / data,
                                ethernet / ARP("10.0.0.2", IPv4Address(port), "02:00:00:00:00:fe", "02:00:00:00:00:01"),
                                ethernet / MPLS() / ip / tcp};
        for (EthernetII& packet : packets) writer.write(packet);
    }
}
