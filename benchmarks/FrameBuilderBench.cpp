#include "Families.h"
#include "Rows.h"

#include <common/FrameBuilder.h>
#include <common/IndexOrder.h>

#include <cstring>
#include <memory>
#include <vector>

namespace zor::common::bench {

namespace {

constexpr std::size_t kSize = 64;
constexpr std::size_t kBatch = 256;

/// Frames one behind the other, of the batch that was written last.
class Ring {
public:
    Ring() : mBytes(std::make_shared<std::vector<unsigned char>>(kSize * kBatch)) {}

    unsigned char* Data() const { return mBytes->data(); }
    bool operator==(const Ring& other) const { return *mBytes == *other.mBytes; }

private:
    std::shared_ptr<std::vector<unsigned char>> mBytes;
};

/// By the builder. Each work has a ring of its own, which copies share.
struct ByBuilder {
    CompiledTemplate packets;
    Ring ring = {};

    Ring operator()(std::uint32_t batch) const
    {
        packets.RenderFrames(IndexRange{batch * kBatch, kBatch}, {ring.Data(), kSize});
        return ring;
    }
};

/// By hand: a copy of the frame, and what is written over it.
template <class Patch>
struct ByHand {
    std::string frame;
    Patch patch; ///< Writes the fields of all frames of a batch, each behind its copy.
    Ring ring = {};

    Ring operator()(std::uint32_t batch)
    {
        patch(batch * kBatch, [this](std::size_t k) {
            unsigned char* const out = ring.Data() + k * kSize;
            std::memcpy(out, frame.data(), kSize);
            asm volatile("" ::: "memory");
            return out;
        });
        return ring;
    }
};

template <class Patch>
void AddRow(const std::string& name, const FrameBuilder& builder, Patch patch)
{
    const CompiledTemplate packets = builder.Compile();
    std::string frame;
    packets.GetValueAt(0, frame);
    Row(name, 1.5, Steps(391), ByBuilder{packets}).Beside("patched copy", ByHand<Patch>{frame, patch});
}

struct Flow {
    unsigned char source[6], address[4], port[2];
};

} // namespace

void FrameBuilderRows()
{
    FrameBuilder frame;
    frame.Ethernet(CMacAddress(1ul), CMacAddress(2ul)).Number(0, 4).Number(0, 2).Fill(kSize - 20, 0x55);
    std::vector<std::vector<FrameCell>> rows;
    const auto flows = std::make_shared<std::vector<Flow>>(100000);
    for (Flow& flow : *flows) {
        const std::uint64_t number = 0x9e3779b97f4a7c15 * (rows.size() + 1);
        rows.push_back({CMacAddress(number >> 16), static_cast<std::uint32_t>(number), number >> 48});
        CMacAddress(number >> 16).CopyTo(flow.source);
        for (int i = 0; i < 4; ++i) flow.address[i] = static_cast<unsigned char>(number >> 8 * (3 - i));
        for (int i = 0; i < 2; ++i) flow.port[i] = static_cast<unsigned char>(number >> 8 * (7 - i));
    }
    FrameBuilder table = frame;
    table.Rows({"eth.src", "number", "number#2"}, rows);
    AddRow("render 256 frames of 64 bytes, a table of 100,000 rows", table, [flows](std::uint64_t first, auto copy) {
        std::size_t row = first % flows->size();
        for (std::size_t k = 0; k < kBatch; ++k) {
            unsigned char* const out = copy(k);
            std::memcpy(out + 6, (*flows)[row].source, 6);
            std::memcpy(out + 14, (*flows)[row].address, 4);
            std::memcpy(out + 18, (*flows)[row].port, 2);
            if (++row == flows->size()) row = 0;
        }
    });

    FrameBuilder shuffled = frame;
    shuffled.Vary(ByteSpan{14, 4}, Shuffled(Counting<std::uint32_t>(0, 0), 7));
    const IndexOrder order(std::uint64_t{1} << 32, 7);
    AddRow("render 256 frames of 64 bytes, a shuffled number", shuffled, [order](std::uint64_t first, auto copy) {
        std::uint64_t turns[kBatch];
        order.GetIndexesAt(IndexRange{first, kBatch}, turns);
        for (std::size_t k = 0; k < kBatch; ++k) {
            const std::uint32_t number = __builtin_bswap32(static_cast<std::uint32_t>(turns[k]));
            std::memcpy(copy(k) + 14, &number, 4);
        }
    });
}

} // namespace zor::common::bench
