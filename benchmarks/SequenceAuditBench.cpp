#include "Families.h"
#include "Rows.h"

#include <common/SequenceAudit.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace zor::common::bench {

namespace {

constexpr std::size_t kSize = 64;

/// Frames of a template one behind the other, as they came in, and the same once more to compare them with.
struct Received {
    Received(const std::string& text, std::size_t count, bool isDrawn, std::uint64_t seed = 3)
        : of(text), indexes(count), frames(count * kSize)
    {
        std::iota(indexes.begin(), indexes.end(), std::uint64_t{0});

        std::mt19937_64 random(seed);
        if (isDrawn) std::shuffle(indexes.begin(), indexes.end(), random);
        of.RenderFrames(IndexList(indexes.data(), count), FrameBuffers(frames.data(), kSize));
        same = frames;
    }

    const unsigned char* At(std::size_t place) const { return frames.data() + place * kSize; }

    CompiledTemplate of;
    std::vector<std::uint64_t> indexes;
    std::vector<unsigned char> frames;
    std::vector<unsigned char> same;
};

/// A frame of 64 bytes with expressions behind its headers.
std::string FrameWith(const std::string& expressions, std::size_t size)
{
    return "@h 0200000000fe 020000000001 0800 4500003200000000401100000a0000010a0000fe 04000035001e0000" + expressions +
           std::string(2 * (kSize - 42 - size), '5');
}

void FindRows()
{
    const std::pair<const char*, std::string> kTemplates[] = {
        {"a 4-byte sequence number", FrameWith("@$(00000000,0,00000001,big)", 4)},
        {"an odometer of three digits", FrameWith("@$(0400,250,0001,big) @$(0A000001,60,00000001,big,249)"
                                                  "@$(0064,4000,0001,big,14999)",
                                                  8)},
    };
    const double marks[] = {4, 8};
    for (const bool isDrawn : {false, true}) {
        for (std::size_t i = 0; i < 2; ++i) {
            const auto received = std::make_shared<const Received>(kTemplates[i].second, kInputs, isDrawn);
            const std::string name = std::string("find index, 64 bytes, ") + kTemplates[i].first;
            Row(name + (isDrawn ? ", drawn order" : ", in order"), marks[i], Steps(), [received](std::uint32_t place) {
                return received->of.FindIndex(received->At(place), kSize).value_or(~std::uint64_t{0});
            }).Beside("memcmp", [received, size = kSize](std::uint32_t place) {
                const volatile std::size_t known = size; // at run time alone
                const bool isSame = std::memcmp(received->At(place), received->same.data() + place * kSize, known) == 0;
                return isSame ? received->indexes[place] : ~std::uint64_t{0};
            });
        }
    }
}

/// 65,536 packets in one step: with an audit of their own, in order and drawn.
void AuditRows()
{
    constexpr std::size_t kPackets = 65536;
    const std::string text = FrameWith("@$(00000000,0,00000001,big)", 4);
    for (const bool isDrawn : {false, true}) {
        const auto received = std::make_shared<const Received>(text, kPackets, isDrawn);
        Row(std::string("audit 65,536 packets of 64 bytes, ") + (isDrawn ? "drawn order" : "in order"),
            isDrawn ? 9 : 5.7, Steps(8),
            [received](std::uint32_t) {
                SequenceAudit audit(received->of, IndexRange{0, kPackets});
                for (std::size_t place = 0; place < kPackets; ++place) audit.Add(received->At(place), kSize);
                return kPackets - audit.GetCounts().missing;
            })
            .Beside("memcmp", [received, size = kSize](std::uint32_t) {
                const volatile std::size_t known = size;
                std::uint64_t same = 0;
                for (std::size_t place = 0; place < kPackets; ++place) {
                    same += std::memcmp(received->At(place), received->same.data() + place * kSize, known) == 0;
                }
                return same;
            });
    }
}

} // namespace

void SequenceAuditRows()
{
    FindRows();
    AuditRows();
}

} // namespace zor::common::bench
