#include "Families.h"
#include "Rows.h"

#include <common/CompiledTemplate.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace zor::common::bench {

namespace {

/// So that no write of a frame is put off or left out.
inline void Barrier()
{
    asm volatile("" ::: "memory");
}

/// The same elements in drawn order.
template <class Element>
std::vector<Element> InDrawnOrder(std::vector<Element> elements, std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    std::shuffle(elements.begin(), elements.end(), random);
    return elements;
}

/// A frame with a MAC address, an IPv4 address and a port with a count each, and a sequence number.
struct Packet {
    static constexpr std::uint64_t kMac = 0x020000000001;
    static constexpr std::uint32_t kAddress = 0x0a000001;
    static constexpr std::uint32_t kAddresses = 60000;
    static constexpr std::uint16_t kPort = 1024;
    static constexpr std::uint16_t kPorts = 50000;

    static std::string Text(std::size_t size)
    {
        return "@h 0200000000fe @$(020000000001,0,000000000001,big) 0800 4500002e00000000401100000a0000fe"
               "@$(0A000001,60000,00000001,big) @$(0400,50000,0001,big) 0035001a0000 @$(00000000,0,00000001,big)" +
               std::string(2 * (size - 46), '5');
    }

    explicit Packet(std::size_t size) : compiled(Text(size))
    {
        compiled.GetValueAt(0, frame);
        const auto* const bytes = reinterpret_cast<const unsigned char*>(frame.data());
        summed = CompiledTemplate(Wildcards(Text(size), "@"), FindChecksums(bytes, frame.size()));
        frame.copy(copied.data(), copied.size());
    }

    CompiledTemplate compiled;
    CompiledTemplate summed = compiled;             ///< With the checksums of IPv4 and UDP.
    std::string frame;                              ///< Value 0.
    alignas(64) std::array<char, 1500> copied = {}; ///< The same for peers, where no cache line is split by luck.
};

/// What a sender does that patches frames by hand: copies the packet and writes four counters, which it steps.
class HandCounters {
public:
    void MoveTo(std::uint64_t index)
    {
        mMac = Packet::kMac + index;
        mAddress = static_cast<std::uint32_t>(index % Packet::kAddresses);
        mPort = static_cast<std::uint32_t>(index % Packet::kPorts);
        mNumber = static_cast<std::uint32_t>(index);
    }

    void Write(unsigned char* frame)
    {
        const std::uint32_t macHead = __builtin_bswap32(static_cast<std::uint32_t>(mMac >> 16));
        const std::uint16_t macTail = __builtin_bswap16(static_cast<std::uint16_t>(mMac++));
        const std::uint32_t address = __builtin_bswap32(Packet::kAddress + mAddress);
        const std::uint16_t port = __builtin_bswap16(static_cast<std::uint16_t>(Packet::kPort + mPort));
        const std::uint32_t number = __builtin_bswap32(mNumber++);
        std::memcpy(frame + 6, &macHead, 4); // a copy of six bytes goes through memory
        std::memcpy(frame + 10, &macTail, 2);
        std::memcpy(frame + 30, &address, 4);
        std::memcpy(frame + 34, &port, 2);
        std::memcpy(frame + 42, &number, 4);
        if (++mAddress == Packet::kAddresses) mAddress = 0;
        if (++mPort == Packet::kPorts) mPort = 0;
    }

private:
    std::uint64_t mMac = 0;
    std::uint32_t mAddress = 0, mPort = 0, mNumber = 0;
};

/// Where frames go: a ring of 256 frames one behind the other, or a pool as a card sees it, 4,096 buffers 2,304 bytes
/// apart that are given by pointers in drawn order. Each batch goes to the places behind those of the one before.
struct Layout {
    std::size_t size;  ///< Of a frame.
    std::size_t batch; ///< Frames in a call.
    bool isPool;
};

/// What a batch has written.
struct Written {
    unsigned char* const* places;
    std::size_t count;
    std::size_t size;

    bool operator==(const Written& other) const
    {
        for (std::size_t k = 0; k < count; ++k) {
            if (std::memcmp(places[k], other.places[k], size) != 0) return false;
        }
        return true;
    }
};

/// The same by a peer that writes the literal bytes alone.
struct WrittenLiterals {
    Written written;
    const CompiledTemplate* compiled;

    friend bool operator==(const WrittenLiterals& ours, const WrittenLiterals& theirs)
    {
        return ours.written == theirs;
    }

    friend bool operator==(const Written& ours, const WrittenLiterals& theirs)
    {
        for (std::size_t k = 0; k < ours.count; ++k) {
            std::string left(reinterpret_cast<const char*>(ours.places[k]), ours.size);
            std::string right(reinterpret_cast<const char*>(theirs.written.places[k]), ours.size);
            for (const ByteSpan& span : theirs.compiled->GetChangingSpans()) {
                std::fill_n(left.begin() + static_cast<std::ptrdiff_t>(span.offset), span.size, '\0');
                std::fill_n(right.begin() + static_cast<std::ptrdiff_t>(span.offset), span.size, '\0');
            }
            if (left != right) return false;
        }
        return true;
    }
};

/// Writes batches of frames, each work to memory of its own. Copies share the memory.
template <class Write>
class Batches {
public:
    Batches(const Layout& layout, std::shared_ptr<const Packet> packet, Write write)
        : mLayout(layout), mPacket(std::move(packet)), mWrite(write), mPlaces(layout.isPool ? 4096 : 256)
    {
        const std::size_t stride = mLayout.isPool ? 2304 : mLayout.size;
        mMemory = std::make_shared<std::vector<unsigned char>>(mPlaces.size() * stride + 64);
        unsigned char* const memory = mMemory->data();
        unsigned char* const first = memory + (64 - reinterpret_cast<std::uintptr_t>(memory) % 64) % 64;
        for (std::size_t k = 0; k < mPlaces.size(); ++k) {
            mPlaces[k] = first + k * stride;
            std::memcpy(mPlaces[k], mPacket->frame.data(), mLayout.size); // which patches need
        }
        if (mLayout.isPool) mPlaces = InDrawnOrder(std::move(mPlaces), 7);
    }

    auto operator()(std::uint32_t batch)
    {
        unsigned char* const* const places = mPlaces.data() + batch * mLayout.batch % mPlaces.size();
        const FrameBuffers frames = mLayout.isPool ? FrameBuffers(places) : FrameBuffers(places[0], mLayout.size);
        mWrite(*mPacket, batch * mLayout.batch, mLayout, places, frames);
        const Written written{places, mLayout.batch, mLayout.size};
        if constexpr (Write::kIsLiteral) {
            return WrittenLiterals{written, &mPacket->summed};
        } else {
            return written;
        }
    }

private:
    Layout mLayout;
    std::shared_ptr<const Packet> mPacket;
    Write mWrite;
    std::vector<unsigned char*> mPlaces;
    std::shared_ptr<std::vector<unsigned char>> mMemory;
};

struct ByRendering {
    static constexpr bool kIsLiteral = false;
    void operator()(const Packet& packet, std::uint64_t first, const Layout& layout, unsigned char* const*,
                    const FrameBuffers& frames) const
    {
        packet.compiled.RenderFrames(IndexRange{first, layout.batch, 1}, frames);
    }
};

/// With the checksums of IPv4 and UDP, or without.
template <bool HasChecksums>
struct ByRenderingOrSumming {
    static constexpr bool kIsLiteral = true; // but for what changes
    void operator()(const Packet& packet, std::uint64_t first, const Layout& layout, unsigned char* const*,
                    const FrameBuffers& frames) const
    {
        (HasChecksums ? packet.summed : packet.compiled).RenderFrames(IndexRange{first, layout.batch, 1}, frames);
    }
};

struct ByPatching {
    static constexpr bool kIsLiteral = false;
    void operator()(const Packet& packet, std::uint64_t first, const Layout& layout, unsigned char* const*,
                    const FrameBuffers& frames) const
    {
        packet.compiled.PatchFrames(IndexRange{first, layout.batch, 1}, frames);
    }
};

/// Listed indexes, all of a table of 65,536 in drawn order.
struct ByList {
    static constexpr bool kIsLiteral = true; // as the other one writes other indexes
    void operator()(const Packet& packet, std::uint64_t first, const Layout& layout, unsigned char* const*,
                    const FrameBuffers& frames) const
    {
        packet.compiled.RenderFrames(IndexList(indexes->data() + first % indexes->size(), layout.batch), frames);
    }

    std::shared_ptr<const std::vector<std::uint64_t>> indexes;
};

struct ByMemcpy {
    static constexpr bool kIsLiteral = true;
    void operator()(const Packet& packet, std::uint64_t, const Layout& layout, unsigned char* const* places,
                    const FrameBuffers&) const
    {
        const char* const frame = packet.copied.data(); // here and below, what a barrier would have read anew
        const std::size_t size = packet.frame.size();
        const std::size_t batch = layout.batch;
        for (std::size_t k = 0; k < batch; ++k) {
            std::memcpy(places[k], frame, size);
            Barrier();
        }
    }
};

struct ByHand {
    static constexpr bool kIsLiteral = false;
    void operator()(const Packet& packet, std::uint64_t first, const Layout& layout, unsigned char* const* places,
                    const FrameBuffers&) const
    {
        HandCounters counters;
        counters.MoveTo(first);
        const char* const frame = packet.copied.data();
        const std::size_t size = packet.frame.size();
        const std::size_t batch = layout.batch;
        for (std::size_t k = 0; k < batch; ++k) {
            unsigned char* const place = places[k];
            std::memcpy(place, frame, size);
            counters.Write(place);
            Barrier();
        }
    }
};

void FrameRows()
{
    std::vector<std::uint64_t> drawn(65536);
    std::iota(drawn.begin(), drawn.end(), std::uint64_t{0});
    const ByList listed{std::make_shared<const std::vector<std::uint64_t>>(InDrawnOrder(std::move(drawn), 5))};
    for (const std::size_t size : {std::size_t{64}, std::size_t{1500}}) {
        const auto packet = std::make_shared<const Packet>(size);
        for (const std::size_t burst : {std::size_t{0}, std::size_t{8}, std::size_t{32}, std::size_t{64}}) {
            const bool isPool = burst != 0;
            const Layout layout{size, isPool ? burst : 256, isPool};
            const std::string of = std::to_string(layout.batch) + " frames, " + (size == 64 ? "64" : "1,500") +
                                   " bytes, " + (isPool ? "pool" : "dense");
            const auto work = [&](auto write) { return Batches(layout, packet, write); };
            const auto steps = Steps(isPool ? 4096 / layout.batch : 16);
            Row("render " + of,
                size != 64 ? 1.1
                : isPool   ? 1.5
                           : 1.8,
                steps, work(ByRendering()))
                .Beside("memcpy", work(ByMemcpy()));
            Row("patch " + of, size == 64 ? (isPool ? 1.0 : 0.5) : (isPool ? 0.5 : 0.35), steps, work(ByPatching()))
                .Beside("patched copy", work(ByHand()));
            Row("render with checksums " + of, 1.4, steps, work(ByRenderingOrSumming<true>()))
                .Beside("without", work(ByRenderingOrSumming<false>()));
            Row("render listed " + of, 1.5, steps, work(listed)).Beside("in sequence", work(ByRendering()));
        }
    }
}

/// A million frames by two threads: all on one object, against an object for each.
void ThreadRows()
{
    struct Work {
        std::vector<CompiledTemplate> objects;

        int operator()(std::uint32_t) const
        {
            std::thread other([this] { RenderHalf(objects.back(), 1); });
            RenderHalf(objects.front(), 0); // whose time is measured
            other.join();
            return 0;
        }

        static void RenderHalf(const CompiledTemplate& compiled, std::uint64_t half)
        {
            std::vector<unsigned char> ring(256 * 64);
            for (std::uint64_t first = half << 19; first < (half + 1) << 19; first += 256) {
                compiled.RenderFrames(IndexRange{first, 256, 1}, FrameBuffers(ring.data(), 64));
            }
        }
    };
    Row("render 1,048,576 frames of 64 bytes, 2 threads on one object", 1.05, Steps(2), Work{{Packet(64).compiled}})
        .Beside("an object each", Work{{Packet(64).compiled, Packet(64).compiled}});
}

} // namespace

void CompiledTemplateRows()
{
    FrameRows();
    ThreadRows();
    Growth("template compile, by length", 8192, [](std::size_t size) {
        std::string text;
        while (text.size() < size) text += "a counter every forty bytes @x(1,50000,1,5)";
        return [text] { return CompiledTemplate(text); };
    });
}

} // namespace zor::common::bench
