#ifndef ZOR_COMMON_BENCHMARKS_INPUTS_H
#define ZOR_COMMON_BENCHMARKS_INPUTS_H

/// \file
/// What the rows of all families share: so many different inputs that no branch predictor learns them, and a loop that
/// takes one after the other.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace zor::common::bench {

inline constexpr std::size_t kInputs = 4096;

/// Makes \a make(random number) of as many inputs as a row takes, the same in every run.
template <class Make>
auto Inputs(Make make)
{
    std::mt19937_64 random(1);
    std::vector<decltype(make(std::uint64_t{}))> inputs;
    while (inputs.size() < kInputs) inputs.push_back(make(random()));
    return inputs;
}

/// Measures \a work(input), whose result is kept from being optimised away.
template <class Input, class Work>
void Measure(benchmark::State& state, const std::vector<Input>& inputs, Work work)
{
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(work(inputs[next]));
        next = (next + 1) % kInputs;
    }
}

} // namespace zor::common::bench

#endif // ZOR_COMMON_BENCHMARKS_INPUTS_H
