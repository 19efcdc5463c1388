// Renders a million frames without Python, for Speed.py to compare with: by so many threads, into memory that is there or
// into fresh memory. Prints the seconds of the fastest of some rounds.

#include "Layers.h"

#include <common/CompiledTemplate.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <thread>
#include <vector>

#include <sys/mman.h>

namespace {

using namespace zor::common;

constexpr std::uint64_t kFrames = 1000000;
constexpr std::uint64_t kBatch = 16384; // of each call of a thread, in memory of its own

double Seconds(std::chrono::steady_clock::duration time)
{
    return std::chrono::duration<double>(time).count();
}

struct Free {
    void operator()(unsigned char* bytes) const { std::free(bytes); }
};
using Memory = std::unique_ptr<unsigned char[], Free>;

Memory Fresh(std::size_t size)
{
    return Memory(static_cast<unsigned char*>(std::malloc(size)));
}

/// Memory in huge pages, as NumPy has it for large arrays.
Memory Huge(std::size_t size)
{
    constexpr std::size_t kPage = std::size_t{1} << 21;
    const std::size_t whole = (size + kPage - 1) / kPage * kPage;
    Memory memory(static_cast<unsigned char*>(std::aligned_alloc(kPage, whole)));
    madvise(memory.get(), whole, MADV_HUGEPAGE);
    return memory;
}

/// What several threads do, each in calls of a batch.
void RenderBatches(const CompiledTemplate& packets, unsigned char* ring, std::uint64_t count)
{
    const std::size_t size = packets.GetMaxSize();
    for (std::uint64_t first = 0; first < count; first += kBatch) {
        packets.RenderFrames(IndexRange{first, kBatch}, {ring, size});
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 5) return 2; // LAYERS, THREADS, whether memory is fresh, ROUNDS
    const CompiledTemplate packets = zor::tools::ReadLayers(argv[1]).Compile();
    const std::size_t size = packets.GetMaxSize();
    unsigned int threads = 0, rounds = 0;
    std::from_chars(argv[2], argv[2] + std::strlen(argv[2]), threads);
    std::from_chars(argv[4], argv[4] + std::strlen(argv[4]), rounds);
    const bool isFresh = std::string_view(argv[3]) == "fresh";
    Memory memory = isFresh ? Fresh(kFrames * size) : Huge(kFrames * size);
    packets.RenderFrames(IndexRange{0, kFrames}, {memory.get(), size});
    double best = 1e9;
    for (unsigned int round = 0; round < rounds; ++round) {
        if (isFresh) memory.reset();
        const auto start = std::chrono::steady_clock::now();
        if (threads == 1) {
            if (isFresh) memory = Fresh(kFrames * size);
            packets.RenderFrames(IndexRange{round, kFrames}, {memory.get(), size});
        } else {
            std::vector<std::thread> workers;
            for (unsigned int k = 0; k < threads; ++k) {
                workers.emplace_back(RenderBatches, std::cref(packets), memory.get() + k * kBatch * size, 16 * kFrames);
            }
            for (std::thread& worker : workers) worker.join();
        }
        best = std::min(best, Seconds(std::chrono::steady_clock::now() - start));
    }
    std::printf("%.9f\n", best);
    return 0;
}
