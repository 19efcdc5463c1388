#include "Inputs.h"

#include <common/GoogleProtoBuf.h>
#include <common/GoogleProtoBufParser.h>

#include <cstdio>
#include <fstream>

using namespace zor::common;
using namespace zor::common::bench;

namespace {

/// Numbers of up to as many bits as the argument says, appended to a vector that is emptied now and then.
template <class Encode>
void Append(benchmark::State& state, Encode encode)
{
    const auto bits = static_cast<int>(state.range(0));
    const auto numbers = Inputs([bits](std::uint64_t random) { return random >> (64 - bits); });
    std::vector<unsigned char> wire;
    std::size_t next = 0;
    for (auto _ : state) {
        if (next == 0) wire.clear();
        encode(numbers[next], wire);
        next = (next + 1) % kInputs;
    }
    benchmark::DoNotOptimize(wire.data());
}

void AppendVarint(benchmark::State& state)
{
    Append(state, [](std::uint64_t number, auto& wire) { GoogleProtoBufEncoder::encodeUint64(number, wire); });
}

/// The usual loop, a push_back a byte.
void AppendByLoop(benchmark::State& state)
{
    Append(state, [](std::uint64_t number, auto& wire) {
        for (; number >= 0x80; number >>= 7) wire.push_back(static_cast<unsigned char>(number | 0x80));
        wire.push_back(static_cast<unsigned char>(number));
    });
}

void AppendString(benchmark::State& state)
{
    const std::string text(static_cast<std::size_t>(state.range(0)), 't');
    std::vector<unsigned char> wire;
    std::size_t next = 0;
    for (auto _ : state) {
        if (next == 0) wire.clear();
        GoogleProtoBufEncoder::encodeString(text, wire);
        next = (next + 1) % kInputs;
    }
    benchmark::DoNotOptimize(wire.data());
}

/// The argument is the number of messages.
void ReadSchema(benchmark::State& state)
{
    const char* const path = "zor-bench.proto";
    {
        std::ofstream file(path);
        for (int i = 0; i < state.range(0); ++i) {
            file << "// " << i << "\nmessage Message" << i << " {\n";
            for (int field = 1; field <= 8; ++field)
                file << "  optional uint32 field" << field << " = " << field << ";\n";
            file << "}\n";
        }
    }
    for (auto _ : state) {
        std::vector<CGoogleProtoBufMessageInfo> messages;
        benchmark::DoNotOptimize(CGoogleProtoBufParser().readProtoFile(path, messages));
    }
    state.SetComplexityN(state.range(0));
    std::remove(path);
}

BENCHMARK(AppendVarint)->Arg(7)->Arg(32)->Arg(64);
BENCHMARK(AppendByLoop)->Arg(7)->Arg(32)->Arg(64);
BENCHMARK(AppendString)->Arg(20)->Arg(1500);
BENCHMARK(ReadSchema)->Arg(10)->Arg(1000)->Arg(10000)->Complexity();

} // namespace
