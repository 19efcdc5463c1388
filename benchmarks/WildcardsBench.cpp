#include "Inputs.h"

#include <common/IpAddress.h>
#include <common/Wildcards.h>

#include <cstdio>

using namespace zor::common;
using namespace zor::common::bench;

namespace {

constexpr const char* kCounter = "counter @x(0,0,1,5)\n";
constexpr const char* kIpv4 = "@$(0A000001,40000,1,ipv4)";

std::string Many()
{
    std::string templ;
    for (int i = 0; i < 12; ++i) templ += "a field of the packet @x(0,0,1,5) ";
    return templ;
}

std::string HexPacket()
{
    std::string templ = "@h";
    for (int i = 0; i < 4; ++i) templ += std::string(740, '5') + "@$(00000001,0,1,big)";
    return templ;
}

void Next(benchmark::State& state, const std::string& templ)
{
    Wildcards wildcards(templ, "@");
    std::string value;
    for (auto _ : state) {
        wildcards.GetNextValue(value);
        benchmark::DoNotOptimize(value.data());
    }
}

void At(benchmark::State& state, const std::string& templ)
{
    Wildcards wildcards(templ, "@");
    std::string value;
    int index = 0;
    for (auto _ : state) {
        wildcards.GetValueAt(index++, value, false);
        benchmark::DoNotOptimize(value.data());
    }
}

void CounterByPrintf(benchmark::State& state)
{
    std::string value;
    unsigned int number = 0;
    for (auto _ : state) {
        char text[32];
        value.assign(text, static_cast<std::size_t>(std::snprintf(text, sizeof text, "counter %05u\n", number++)));
        benchmark::DoNotOptimize(value.data());
    }
}

void Ipv4ByAddress(benchmark::State& state)
{
    std::string value;
    CIpAddress address(10, 0, 0, 1);
    for (auto _ : state) {
        value = address.ToString();
        ++address;
        benchmark::DoNotOptimize(value.data());
    }
}

/// A copy of the bytes that a packet has, without any counter.
void Copy(benchmark::State& state)
{
    const std::string packet(1496, 'p');
    std::string value;
    for (auto _ : state) {
        value = packet;
        benchmark::DoNotOptimize(value.data());
    }
}

BENCHMARK_CAPTURE(Next, counter, kCounter);
BENCHMARK_CAPTURE(At, counter, kCounter);
BENCHMARK(CounterByPrintf);
BENCHMARK_CAPTURE(Next, ipv4, kIpv4);
BENCHMARK_CAPTURE(At, ipv4, kIpv4);
BENCHMARK(Ipv4ByAddress);
BENCHMARK_CAPTURE(Next, many, Many());
BENCHMARK_CAPTURE(At, many, Many());
BENCHMARK_CAPTURE(Next, packet, HexPacket());
BENCHMARK_CAPTURE(At, packet, HexPacket());
BENCHMARK(Copy);

} // namespace
