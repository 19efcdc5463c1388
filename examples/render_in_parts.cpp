// Renders a million frames in eight parts by two threads, and compares them with the values of a stepped template.

#include "CommandLine.h"

#include <common/CompiledTemplate.h>

#include <atomic>
#include <cstdint>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

using namespace zor::common;

namespace {

constexpr const char* kFrame = "@h 0200000000fe @$(020000000001,0,000000000001,big) 88b5"  // a source that counts
                               "@$(0A000001,250,00000001,big) @$(00000000,0,00000001,big)" // a host, a number
                               "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f2021222324252627";
constexpr std::uint64_t kCount = 1000000;
constexpr std::uint64_t kParts = 8;

void RenderInParts()
{
    const CompiledTemplate frames(kFrame);
    const std::size_t size = frames.GetMaxSize();
    std::vector<unsigned char> memory(kCount * size);

    // Each part follows from the range alone, and each frame from its index, so the threads share only this number.
    std::atomic<std::uint64_t> next{0};
    std::atomic<bool> allWritten{true};
    const auto work = [&] {
        for (std::uint64_t part; (part = next++) < kParts;) {
            const IndexRange range = Block({0, kCount}, part, kParts);
            allWritten = frames.RenderFrames(range, {memory.data() + range.first * size, size}) && allWritten;
        }
    };
    std::thread other(work);
    work();
    other.join();

    Wildcards walk(kFrame, "@");
    std::string value;
    walk.GetValue(value);
    std::uint64_t same = 0;
    for (std::uint64_t i = 0; i < kCount; ++i, walk.GetNextValue(value)) {
        const auto* const frame = reinterpret_cast<const char*>(memory.data()) + i * size;
        if (std::string_view(frame, size) == value) ++same;
    }
    std::cout << same << " of " << kCount << " frames of " << size << " bytes, rendered in " << kParts
              << " parts by 2 threads, are those of one walk\n";
    if (same != kCount || !allWritten) throw std::runtime_error("the parts differ from the walk");
}

} // namespace

int main()
{
    return examples::Run("render-in-parts", RenderInParts);
}
