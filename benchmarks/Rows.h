#ifndef ZOR_COMMON_BENCHMARKS_ROWS_H
#define ZOR_COMMON_BENCHMARKS_ROWS_H

/// \file
/// What all families share: inputs that no branch predictor learns, rows that set one operation of the library beside
/// others that do the same work, and the growth of an operation with its input.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace zor::common::bench {

inline constexpr std::size_t kInputs = 4096;

/// Makes \a make(random number) of as many inputs as a row takes, the same in every run.
template <class Make>
auto Inputs(Make make, std::size_t count = kInputs, std::uint64_t seed = 1)
{
    std::mt19937_64 random(seed);
    std::vector<decltype(make(std::uint64_t{}))> inputs;
    while (inputs.size() < count) inputs.push_back(make(random()));
    return inputs;
}

/// Fewer inputs where they are so long that kInputs of them would measure the memory.
constexpr std::size_t InputCount(std::size_t inputSize)
{
    const std::size_t fitting = (std::size_t{1} << 19) / (inputSize + 1);
    return fitting < kInputs ? fitting + 1 : kInputs;
}

/// A row without inputs: the work is stepped as often.
inline std::vector<std::uint32_t> Steps(std::size_t count = kInputs)
{
    std::vector<std::uint32_t> steps(count);
    for (std::size_t i = 0; i < count; ++i) steps[i] = static_cast<std::uint32_t>(i);
    return steps;
}

/// The kinds of peers. The mean is that of libraries only. Baselines, such as a copy of the bytes or another call of this
/// library, are listed in a table of their own.
enum class PeerKind : bool { Library, Baseline };

// Kept for the tables at the end.
std::size_t AddRow(const std::string& row, double atMost); ///< Its place.
void AddPeer(std::size_t row, const char* peer, PeerKind kind);
void AddReason(std::size_t row, const char* reason);
void AddGrowth(const std::string& name, std::size_t size);
void ReportMissing(const std::string& row, const char* peer);
void ReportSkipped(const std::string& row);
[[noreturn]] void ReportDifference(const std::string& row, const char* peer, std::size_t input);

/// A result in a cache line of its own. Where the stack starts is luck, and a result across two lines takes longer.
template <class Result>
struct alignas(64) Aligned {
    Result value;
};

/// One row of the tables: an operation of the library and those of others that give the same results. They are
/// compared on all inputs before anything is measured, and the program ends where they differ. A row with peers of both
/// kinds is in both tables.
///
/// A work is called with an input and returns its result, or a view of it in a buffer of its own. It is copied:
/// one that keeps state starts anew for the comparison and for the measurement.
template <class Input, class Ours>
class Row {
public:
    /// \param atMost  what the ratio to the best of the others should not exceed.
    Row(std::string name, double atMost, std::vector<Input> inputs, Ours ours)
        : mName(std::move(name)), mInputs(std::make_shared<const std::vector<Input>>(std::move(inputs))),
          mOurs(std::move(ours)), mPlace(AddRow(mName, atMost))
    {
    }

    Row(const Row&) = delete;
    Row& operator=(const Row&) = delete;

    ~Row()
    {
        if (!mHasPeer) ReportSkipped(mName);
    }

    /// Another library, or what \a kind says.
    template <class Peer>
    Row& Against(const char* peer, Peer work, PeerKind kind = PeerKind::Library)
    {
        {
            Ours left = mOurs;
            Peer right = work;
            for (std::size_t i = 0; i < mInputs->size(); ++i) {
                if (!(left((*mInputs)[i]) == right((*mInputs)[i]))) ReportDifference(mName, peer, i);
            }
        }
        if (!std::exchange(mHasPeer, true)) Measure("ours", mOurs);
        AddPeer(mPlace, peer, kind);
        Measure(peer, std::move(work));
        return *this;
    }

    /// A bare copy or comparison, a loop of our own, or another call of this library.
    template <class Peer>
    Row& Beside(const char* peer, Peer work)
    {
        return Against(peer, std::move(work), PeerKind::Baseline);
    }

    /// Why the operation takes longer than the best library, where it does more by definition: a sentence.
    Row& Because(const char* reason)
    {
        AddReason(mPlace, reason);
        return *this;
    }

    /// A peer that is not installed.
    Row& Missing(const char* peer)
    {
        ReportMissing(mName, peer);
        return *this;
    }

private:
    template <class Work>
    void Measure(const char* who, Work work)
    {
        const auto measure = [inputs = mInputs, work = std::move(work)](benchmark::State& state) mutable {
            while (state.KeepRunningBatch(static_cast<benchmark::IterationCount>(inputs->size()))) {
                for (const Input& input : *inputs) {
                    const Aligned<decltype(work(input))> result{work(input)};
                    benchmark::DoNotOptimize(result.value);
                }
            }
        };
        benchmark::RegisterBenchmark((mName + '/' + who).c_str(), measure);
    }

    std::string mName;
    std::shared_ptr<const std::vector<Input>> mInputs;
    Ours mOurs;
    std::size_t mPlace;
    bool mHasPeer = false;
};

/// Measures \a make(n)() for a size and three doublings of it.
template <class Make>
void Growth(const std::string& name, std::size_t size, Make make)
{
    for (std::size_t n = size; n <= 8 * size; n *= 2) {
        AddGrowth(name, n);
        const auto measure = [work = make(n)](benchmark::State& state) mutable {
            for (auto _ : state) benchmark::DoNotOptimize(work());
        };
        benchmark::RegisterBenchmark((name + '/' + std::to_string(n)).c_str(), measure);
    }
}

} // namespace zor::common::bench

#endif // ZOR_COMMON_BENCHMARKS_ROWS_H
