#include "Inputs.h"

#include <common/Hexfield.h>

#include <cstring>

using namespace zor::common;
using namespace zor::common::bench;

namespace {

std::string Digits(const benchmark::State& state, char digit)
{
    return std::string(2 * static_cast<std::size_t>(state.range(0)), digit);
}

/// The argument is the width in bytes.
void AddInPlace(benchmark::State& state)
{
    Hexfield sum(Digits(state, '7'));
    const Hexfield other(Digits(state, 'a'));
    for (auto _ : state) benchmark::DoNotOptimize(sum += other);
}

/// What no sum can be faster than: a copy of as many bytes.
void Copy(benchmark::State& state)
{
    const std::string from = Digits(state, '7');
    std::string to = from;
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size() / 2);
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
}

void AddIntoANewField(benchmark::State& state)
{
    const Hexfield left(Digits(state, '7'));
    const Hexfield right(Digits(state, 'a'));
    for (auto _ : state) benchmark::DoNotOptimize(left + right);
}

void FromHex(benchmark::State& state)
{
    const std::string text = Digits(state, 'c');
    Hexfield field;
    for (auto _ : state) {
        field.CopyFromString(text);
        benchmark::DoNotOptimize(field);
    }
}

void ToHex(benchmark::State& state)
{
    const Hexfield field(Digits(state, 'c'));
    for (auto _ : state) benchmark::DoNotOptimize(field.ToString());
}

BENCHMARK(AddInPlace)->Arg(4)->Arg(16)->Arg(1500)->Arg(65535);
BENCHMARK(Copy)->Arg(4)->Arg(16)->Arg(1500)->Arg(65535);
BENCHMARK(AddIntoANewField)->Arg(4)->Arg(16)->Arg(64);
BENCHMARK(FromHex)->Arg(16)->Arg(1500)->Arg(65535);
BENCHMARK(ToHex)->Arg(16)->Arg(1500)->Arg(65535);

} // namespace
