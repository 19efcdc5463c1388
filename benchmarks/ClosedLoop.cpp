// Packets a second through a sender and a receiver on one core, for twelve recipes: all of it, and each half beside
// memcpy and memcmp of the same frames. The figure is the worst of the twelve.

#include "ClosedLoop.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace zor::common::bench {

namespace {

constexpr std::uint64_t kPackets = std::uint64_t{1} << 21;
constexpr int kRounds = 5;

/// The median time of a work, in nanoseconds a packet.
template <class Work>
double Median(Work work)
{
    std::vector<double> times;
    for (int round = 0; round < kRounds; ++round) {
        const auto start = std::chrono::steady_clock::now();
        work();
        const std::chrono::duration<double, std::nano> time = std::chrono::steady_clock::now() - start;
        times.push_back(time.count() / static_cast<double>(kPackets));
    }
    std::nth_element(times.begin(), times.begin() + kRounds / 2, times.end());
    return times[kRounds / 2];
}

/// As many frames as the pool has buffers, and a copy of them.
class Frames {
public:
    explicit Frames(const Recipe& recipe) : mSizes(Pool::kCount)
    {
        Sender sender(recipe);
        for (std::size_t first = 0; first < Pool::kCount; first += Sender::kBurst) {
            sender.Render(first, mReceived.Burst(first), mSizes.data() + first);
            for (std::size_t k = first; k < first + Sender::kBurst; ++k) {
                std::memcpy(mSame.Burst(k)[0], mReceived.Burst(k)[0], mSizes[k]);
            }
        }
    }

    void Copy(const Pool& pool) const
    {
        for (std::uint64_t k = 0; k < kPackets; ++k) {
            std::memcpy(pool.Burst(k)[0], mSame.Burst(k)[0], mSizes[k % Pool::kCount]);
            asm volatile("" ::: "memory");
        }
    }

    void Compare() const
    {
        bool same = true;
        for (std::uint64_t k = 0; k < kPackets; ++k) {
            same &= std::memcmp(mReceived.Burst(k)[0], mSame.Burst(k)[0], mSizes[k % Pool::kCount]) == 0;
        }
        if (!same) std::abort();
    }

    void Audit(const CompiledTemplate& packets) const
    {
        for (std::uint64_t first = 0; first < kPackets; first += Pool::kCount) {
            SequenceAudit audit(packets, IndexRange{0, Pool::kCount});
            for (std::size_t k = 0; k < Pool::kCount; ++k) audit.Add(mReceived.Burst(k)[0], mSizes[k]);
            if (audit.GetCounts().inOrder != Pool::kCount) std::abort();
        }
    }

private:
    Pool mReceived;
    Pool mSame;
    std::vector<std::uint32_t> mSizes;
};

/// \return packets a second, in millions; 0 where one was not accounted for.
double Measure(const Recipe& recipe, const Pool& pool)
{
    bool isAccounted = true;
    std::uint64_t seed = 0;
    const double whole = Median([&] { isAccounted = RunLoop(recipe, kPackets, ++seed, pool) && isAccounted; });
    const double render = Median([&] {
        Sender sender(recipe);
        std::uint32_t sizes[Sender::kBurst];
        for (std::uint64_t first = 0; first < kPackets; first += Sender::kBurst) {
            sender.Render(first, pool.Burst(first), sizes);
        }
    });
    const Frames frames(recipe);
    const double copy = Median([&] { frames.Copy(pool); });
    const double audit = Median([&] { frames.Audit(recipe.packets); });
    const double compare = Median([&] { frames.Compare(); });
    const double rate = isAccounted ? 1000 / whole : 0;
    std::printf("| %s | %.1f | %.1f | %.1f | %.1f | %.1f%s |\n", recipe.name.c_str(), rate, render, copy, audit,
                compare, isAccounted ? "" : ", NOT ACCOUNTED FOR");
    return rate;
}

} // namespace

} // namespace zor::common::bench

int main()
{
    using namespace zor::common::bench;
    const Pool pool;
    double worst = 1e9;
    std::puts(
        "| recipe | million packets a second | render, ns | memcpy | audit, ns | memcmp |\n|---|---|---|---|---|---|");
    for (const Recipe& recipe : AllRecipes()) worst = std::min(worst, Measure(recipe, pool));
    std::printf("The worst: %.1f million packets a second.\n", worst);
    return worst > 0 ? 0 : 1;
}
