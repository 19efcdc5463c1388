#include "Inputs.h"

#include <common/FieldExtractor.h>

using namespace zor::common;
using namespace zor::common::bench;

namespace {

/// The arguments are offset and length in bits.
void Extract(benchmark::State& state)
{
    std::vector<unsigned char> packet(1500, 0x5a);
    const FieldExtractor field(static_cast<unsigned int>(state.range(0)), static_cast<unsigned int>(state.range(1)));
    std::vector<unsigned char> out;
    for (auto _ : state) {
        field.ExtractField(packet, out, false);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
}

/// The same by one shift and one OR a byte, for lengths of whole bytes.
void ExtractByLoop(benchmark::State& state)
{
    const std::vector<unsigned char> packet(1500, 0x5a);
    const auto first = static_cast<std::size_t>(state.range(0) / 8);
    const auto shift = static_cast<unsigned int>(state.range(0) % 8);
    const auto size = static_cast<std::size_t>(state.range(1) / 8);
    std::vector<unsigned char> out;
    for (auto _ : state) {
        out.resize(size);
        for (std::size_t i = 0; i < size; ++i) {
            const unsigned int pair = static_cast<unsigned int>(packet[first + i]) << 8 | packet[first + i + 1];
            out[i] = static_cast<unsigned char>(pair << shift >> 8);
        }
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
}

BENCHMARK(Extract)->Args({13, 64})->Args({83, 8000})->Args({80, 8000})->Args({13, 72});
BENCHMARK(ExtractByLoop)->Args({13, 64})->Args({83, 8000})->Args({80, 8000})->Args({13, 72});

} // namespace
