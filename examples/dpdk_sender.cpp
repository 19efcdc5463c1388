// Sends UDP frames of 60,000 flows by DPDK, each with its own sequence number, as fast as one core renders them. They
// go to DPDK's null port, which frees the buffers, or into a capture file, and never leave the machine.

#include "CommandLine.h"
#include "DpdkBurst.h"

#include <common/FrameBuilder.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <rte_eal.h>
#include <rte_errno.h>
#include <sched.h>

using namespace zor::common;

namespace {

volatile std::sig_atomic_t isInterrupted = 0;

struct Arguments {
    bool empty = false;
    std::string device = "net_null0,no-rx=1";
    std::uint32_t count = 0;
    std::uint32_t seconds = 86400;
};

Arguments ReadArguments(int argc, char** argv)
{
    Arguments arguments;
    int at = 1;
    for (; at + 1 < argc; ++at) {
        const std::string_view option = argv[at];
        if (option == "--empty") {
            arguments.empty = true;
        } else if (option == "--capture") {
            arguments.device = std::string("net_pcap0,tx_pcap=") + argv[++at];
        } else if (option == "--seconds") {
            arguments.seconds = examples::ReadNumber("the seconds", argv[++at]);
        } else {
            break;
        }
    }
    if (at + 1 != argc || argv[at][0] == '-') {
        throw examples::InputError("usage: dpdk-sender [--empty] [--capture FILE] [--seconds SECONDS] COUNT");
    }
    arguments.count = examples::ReadNumber("the count", argv[at]);
    return arguments;
}

CompiledTemplate Frames()
{
    return FrameBuilder()
        .Ethernet(CMacAddress(0x020000000001), CMacAddress(0x0200000000fe)) // source, destination
        .Ipv4(CIpAddress(10, 0, 0, 1), CIpAddress(192, 168, 0, 1))
        .Udp(Counting<std::uint16_t>(1024, 60000), 9)
        .Number(Counting<std::uint64_t>(0, 0)) // without end
        .PadTo(60)
        .Compile();
}

/// Returns a result that is not negative. DPDK reports a failure as a negative number, sometimes with the reason in
/// rte_errno.
int Check(int result, const char* what)
{
    if (result >= 0) return result;
    throw std::runtime_error(std::string("cannot ") + what + ": " + rte_strerror(result == -1 ? rte_errno : -result));
}

/// Initialises DPDK on the core that the program runs on, with a device that needs no hardware.
class Environment {
public:
    explicit Environment(const std::string& device)
    {
        std::string options[] = {"dpdk-sender",
                                 "--no-huge",
                                 "--no-pci",
                                 "--no-shconf",
                                 "--no-telemetry",
                                 "--log-level=error",
                                 "--lcores=0@" + std::to_string(sched_getcpu()),
                                 "--vdev=" + device};
        std::array<char*, std::size(options)> pointers;
        for (std::size_t i = 0; i < pointers.size(); ++i) pointers[i] = options[i].data();
        Check(rte_eal_init(static_cast<int>(pointers.size()), pointers.data()), "start DPDK");
    }
    ~Environment() { rte_eal_cleanup(); }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;
};

/// The device with one send queue, and the buffers of the frames.
class Port {
public:
    static constexpr std::uint16_t kId = 0;
    static constexpr std::uint16_t kQueue = 0;

    /// The buffers are just large enough for frames of that size. With --no-huge, buffers of the usual 2 KiB spread
    /// over so many pages of 4 KiB that the sender takes 2.6 times as long.
    explicit Port(std::size_t frameSize)
    {
        const std::size_t room = RTE_PKTMBUF_HEADROOM + RTE_CACHE_LINE_ROUNDUP(frameSize);
        const int socket = rte_eth_dev_socket_id(kId); // whose memory is near
        mPool = rte_pktmbuf_pool_create("frames", 8191, 256, 0, static_cast<std::uint16_t>(room), socket);
        Check(mPool ? 0 : -1, "make buffers");
        const rte_eth_conf usual = {};
        Check(rte_eth_dev_configure(kId, 0, 1, &usual), "configure the port");
        Check(rte_eth_tx_queue_setup(kId, kQueue, 1024, static_cast<unsigned int>(socket), nullptr),
              "set up the queue");
        Check(rte_eth_dev_start(kId), "start the port");
    }
    ~Port()
    {
        rte_eth_dev_stop(kId);
        rte_eth_dev_close(kId);
        rte_mempool_free(mPool);
    }
    Port(const Port&) = delete;
    Port& operator=(const Port&) = delete;

    rte_mempool* GetPool() const { return mPool; }

    std::uint64_t GetSentCount() const
    {
        rte_eth_stats stats = {};
        Check(rte_eth_stats_get(kId, &stats), "read the counts of the port");
        return stats.opackets;
    }

private:
    rte_mempool* mPool = nullptr;
};

} // namespace

int main(int argc, char** argv)
{
    return examples::Run("dpdk-sender", [&] {
        const Arguments arguments = ReadArguments(argc, argv);
        const CompiledTemplate frames = Frames();
        const auto size = static_cast<std::uint16_t>(frames.GetMaxSize());
        const Environment environment(arguments.device);
        const Port port(size);
        std::signal(SIGINT, [](int) { isInterrupted = 1; });
        std::signal(SIGTERM, [](int) { isInterrupted = 1; });
        const auto stop = [] { return isInterrupted != 0; };

        using Clock = std::chrono::steady_clock;
        const Clock::time_point start = Clock::now();
        const Clock::time_point deadline = start + std::chrono::seconds(arguments.seconds);
        std::uint64_t next = 0;
        while (next < arguments.count && !stop() && Clock::now() < deadline) {
            const std::uint64_t end = std::min<std::uint64_t>(arguments.count, next + 256 * kBurst); // of one look
            while (next < end && !stop()) {
                const IndexRange burst{next, std::min<std::uint64_t>(kBurst, end - next)};
                next += SendBurst(Port::kId, Port::kQueue, port.GetPool(), arguments.empty ? nullptr : &frames, burst,
                                  size, stop);
            }
        }
        const std::chrono::duration<double> time = Clock::now() - start;
        const std::uint64_t sent = port.GetSentCount();
        std::cout << sent << " frames of " << size << " bytes sent, " << static_cast<double>(sent) / time.count() / 1e6
                  << " million a second\n";
    });
}
