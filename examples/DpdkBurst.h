#ifndef ZOR_COMMON_EXAMPLES_DPDK_BURST_H
#define ZOR_COMMON_EXAMPLES_DPDK_BURST_H

#include <array>
#include <common/CompiledTemplate.h>
#include <rte_ethdev.h>
#include <rte_mbuf.h>

inline constexpr std::uint16_t kBurst = 32;

/// Sends the frames of up to kBurst indexes, or buffers as they are if \a frames is null.
/// \param size  of a frame in bytes.
/// \param stop  whether to give up on a queue that takes no more.
/// \return      how many frames were sent.
template <class Stop>
std::uint16_t SendBurst(std::uint16_t port, std::uint16_t queue, rte_mempool* pool,
                        const zor::common::CompiledTemplate* frames, zor::common::IndexRange indexes,
                        std::uint16_t size, Stop stop)
{
    const auto count = static_cast<std::uint16_t>(indexes.count);
    std::array<rte_mbuf*, kBurst> packets;
    if (rte_pktmbuf_alloc_bulk(pool, packets.data(), count) != 0) return 0; // the queue still has all buffers

    std::array<unsigned char*, kBurst> bytes;
    for (std::uint16_t k = 0; k < count; ++k) {
        bytes[k] = rte_pktmbuf_mtod(packets[k], unsigned char*);
        packets[k]->data_len = size;
        packets[k]->pkt_len = size;
    }
    if (frames) frames->RenderFrames(indexes, zor::common::FrameBuffers(bytes.data()));

    std::uint16_t sent = 0;
    while (sent < count && !stop()) { // a full queue takes some and frees what it has sent
        sent += rte_eth_tx_burst(port, queue, &packets[sent], static_cast<std::uint16_t>(count - sent));
    }
    rte_pktmbuf_free_bulk(packets.data() + sent, count - sent);
    return sent;
}

#endif // ZOR_COMMON_EXAMPLES_DPDK_BURST_H
