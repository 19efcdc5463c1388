#ifndef ZOR_COMMON_BENCHMARKS_CLOSED_LOOP_H
#define ZOR_COMMON_BENCHMARKS_CLOSED_LOOP_H

/// \file
/// A sender and a receiver with a ring between them that loses, doubles and reorders packets.

#include "Recipes.h"

#include <common/ChecksumField.h>
#include <common/CompiledTemplate.h>
#include <common/SequenceAudit.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <random>
#include <string>
#include <sys/mman.h>
#include <utility>
#include <vector>

namespace zor::common::bench {

/// Buffers as a card sees them: 2,304 bytes apart, in huge pages where the system has them, and handed out in drawn
/// order.
class Pool {
public:
    static constexpr std::size_t kCount = 4096;
    static constexpr std::size_t kRoom = 2304;

    /// \param seed  of the order.
    explicit Pool(std::uint64_t seed = 7) : mBuffers(kCount)
    {
        constexpr std::size_t kPage = std::size_t{1} << 21;
        constexpr std::size_t kSize = (kCount * kRoom + kPage - 1) / kPage * kPage;
        mMemory.reset(static_cast<unsigned char*>(std::aligned_alloc(kPage, kSize)));
        unsigned char* const first = mMemory.get();
        if (!first) throw std::bad_alloc();
        madvise(first, kSize, MADV_HUGEPAGE); // to no effect where there are none
        std::memset(first, 0, kSize);
        for (std::size_t k = 0; k < kCount; ++k) mBuffers[k] = first + k * kRoom;
        std::mt19937_64 random(seed);
        for (std::size_t k = kCount - 1; k > 0; --k) std::swap(mBuffers[k], mBuffers[random() % (k + 1)]);
    }

    /// The buffers of a burst, which divides the count.
    unsigned char* const* Burst(std::uint64_t first) const { return mBuffers.data() + first % kCount; }

private:
    struct Free {
        void operator()(unsigned char* memory) const { std::free(memory); }
    };

    std::unique_ptr<unsigned char, Free> mMemory;
    std::vector<unsigned char*> mBuffers;
};

/// One recipe: what is sent, and what is written late.
struct Recipe {
    Recipe(std::string title, const CompiledTemplate& of) : name(std::move(title)), packets(of) {}
    Recipe(std::string title, const recipes::Stamped& stamped)
        : name(std::move(title)), packets(stamped.packets), stamp(stamped.stamp), checksum(stamped.checksum)
    {
    }

    std::string name;
    CompiledTemplate packets;
    std::optional<ByteSpan> stamp;
    ChecksumField checksum;
};

/// A name query, as it stands in a capture.
inline std::vector<unsigned char> CapturedPacket()
{
    const std::string hex = "0200000000fe02000000000108004500003900014000401170090a000001c0a80001d4310035"
                            "002573f41a2b01000001000000000000076578616d706c65036f72670000010001";
    std::vector<unsigned char> bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes.push_back(static_cast<unsigned char>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

inline std::vector<Recipe> AllRecipes()
{
    const std::vector<unsigned char> captured = CapturedPacket();
    return {{"one flow with a sequence number", recipes::OneFlow()},
            {"ten million crossed flows", recipes::CrossedFlows()},
            {"IMIX 7 : 4 : 1", recipes::Imix()},
            {"the sizes of RFC 2544", recipes::BenchmarkSizes()},
            {"random hosts of an IPv6 /64", recipes::RandomHosts()},
            {"100,000 rows of a table", recipes::TableRows()},
            {"VXLAN", recipes::Vxlan()},
            {"GTP-U", recipes::MobileTunnels()},
            {"QinQ, 4,094 by 16", recipes::StackedTags()},
            {"a captured packet, three fields varied", recipes::FromCapture(captured.data(), captured.size())},
            {"SYN, ACK, FIN both ways", recipes::Handshakes()},
            {"a time stamp in a hole", recipes::TimeStamps()}};
}

/// Renders bursts.
class Sender {
public:
    static constexpr std::size_t kBurst = 32;

    explicit Sender(const Recipe& recipe) : mRecipe(&recipe) {}

    void Render(std::uint64_t first, unsigned char* const* buffers, std::uint32_t* sizes)
    {
        mRecipe->packets.RenderFrames(IndexRange{first, kBurst}, FrameBuffers(buffers), Pool::kRoom, sizes);
        if (!mRecipe->stamp) return;
        for (std::size_t k = 0; k < kBurst; ++k) {
            mNow += 67; // nanoseconds, as if the wire were always busy
            unsigned char time[sizeof mNow];
            std::memcpy(time, &mNow, sizeof time);
            AdjustChecksum(mRecipe->checksum, buffers[k], mRecipe->stamp->offset, time, sizeof time);
        }
    }

private:
    const Recipe* mRecipe;
    std::uint64_t mNow = 0;
};

/// What a ring has done to the packets.
struct RingCounts {
    std::uint64_t delivered = 0, late = 0, doubled = 0;
    std::vector<std::uint64_t> lost;
};

/// Passes packets on. One in 256 is lost, one is doubled, and one comes later by up to 63 packets.
class Ring {
public:
    explicit Ring(std::uint64_t seed) : mState(seed) {}

    struct Packet {
        const unsigned char* bytes;
        std::uint32_t size;
        std::uint64_t index;
    };

    template <class Deliver>
    void Pass(const Packet& packet, Deliver deliver)
    {
        const std::uint64_t random = Next();
        Held& held = mHeld[mPlace];
        mPlace = (mPlace + 1) % mHeld.size();
        const std::uint64_t fate = random >> 56;
        if (fate > 2) { // most often
            Hand(packet, deliver);
        } else if (fate == 0) {
            counts.lost.push_back(packet.index);
        } else if (fate == 1) {
            Hand(packet, deliver);
            ++counts.doubled;
            Hand(packet, deliver);
        } else {
            Held& later = mHeld[(mPlace + random % (mHeld.size() - 1)) % mHeld.size()];
            if (later.isHeld) {
                Hand(packet, deliver);
            } else {
                later = {packet, true};
            }
        }
        if (held.isHeld) Release(held, deliver);
    }

    /// Delivers what is still held back.
    template <class Deliver>
    void Flush(Deliver deliver)
    {
        for (std::size_t i = 0; i < mHeld.size(); ++i) {
            Held& held = mHeld[(mPlace + i) % mHeld.size()];
            if (held.isHeld) Release(held, deliver);
        }
    }

    RingCounts counts;

private:
    struct Held {
        Packet packet;
        bool isHeld = false;
    };

    std::uint64_t Next()
    {
        mState = mState * 6364136223846793005u + 1442695040888963407u;
        return mState ^ mState >> 29;
    }

    template <class Deliver>
    void Hand(const Packet& packet, Deliver& deliver)
    {
        ++counts.delivered;
        mGreatest = std::max(mGreatest, packet.index);
        deliver(packet);
    }

    template <class Deliver>
    void Release(Held& held, Deliver& deliver)
    {
        held.isHeld = false;
        counts.late += held.packet.index < mGreatest ? 1 : 0;
        Hand(held.packet, deliver);
    }

    std::array<Held, 64> mHeld;
    std::size_t mPlace = 0;
    std::uint64_t mState;
    std::uint64_t mGreatest = 0;
};

/// Sends packets through a ring to an audit.
/// \param count  whole bursts.
/// \return       whether each packet is accounted for, as the ring has treated it.
inline bool RunLoop(const Recipe& recipe, std::uint64_t count, std::uint64_t seed, const Pool& pool)
{
    Sender sender(recipe);
    Ring ring(seed);
    SequenceAudit audit(recipe.packets, IndexRange{0, count});
    const auto receive = [&audit](const Ring::Packet& packet) { audit.Add(packet.bytes, packet.size); };
    for (std::uint64_t first = 0; first < count; first += Sender::kBurst) {
        unsigned char* const* const buffers = pool.Burst(first);
        std::uint32_t sizes[Sender::kBurst];
        sender.Render(first, buffers, sizes);
        for (std::size_t k = 0; k < Sender::kBurst; ++k) ring.Pass({buffers[k], sizes[k], first + k}, receive);
    }
    ring.Flush(receive);
    const SequenceAudit::Counts counts = audit.GetCounts();
    const RingCounts& done = ring.counts;
    std::vector<std::uint64_t> missing;
    for (const IndexRange& run : audit.GetMissing(done.lost.size() + 1)) {
        for (std::uint64_t k = 0; k < run.count; ++k) missing.push_back(run.first + k);
    }
    return counts.received == done.delivered && counts.late == done.late && counts.duplicate == done.doubled &&
           counts.inOrder == done.delivered - done.late - done.doubled && counts.changed + counts.foreign == 0 &&
           missing == done.lost;
}

} // namespace zor::common::bench

#endif // ZOR_COMMON_BENCHMARKS_CLOSED_LOOP_H
