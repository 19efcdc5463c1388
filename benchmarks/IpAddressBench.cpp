#include "Inputs.h"

#include <common/IpAddress.h>

#include <arpa/inet.h>

#include <cstdio>

using namespace zor::common;
using namespace zor::common::bench;

namespace {

const auto kAddresses = Inputs([](std::uint64_t random) { return CIpAddress(static_cast<unsigned int>(random)); });
const auto kTexts =
    Inputs([](std::uint64_t random) { return CIpAddress(static_cast<unsigned int>(random)).ToString(); });

void Parse(benchmark::State& state)
{
    Measure(state, kTexts, [](const std::string& text) {
        CIpAddress address;
        address.CopyFromString(text, nullptr);
        return address;
    });
}

void ParseByScan(benchmark::State& state)
{
    Measure(state, kTexts, [](const std::string& text) {
        unsigned int n[4];
        std::sscanf(text.c_str(), "%u.%u.%u.%u", &n[0], &n[1], &n[2], &n[3]);
        return n[0] << 24 | n[1] << 16 | n[2] << 8 | n[3];
    });
}

void ParseByInetPton(benchmark::State& state)
{
    Measure(state, kTexts, [](const std::string& text) {
        in_addr address{};
        inet_pton(AF_INET, text.c_str(), &address);
        return address.s_addr;
    });
}

void Print(benchmark::State& state)
{
    Measure(state, kAddresses, [](const CIpAddress& address) { return address.ToString(); });
}

void PrintByInetNtop(benchmark::State& state)
{
    Measure(state, kAddresses, [](const CIpAddress& address) {
        unsigned char bytes[4];
        address.CopyTo(bytes);
        char text[INET_ADDRSTRLEN];
        return std::string(inet_ntop(AF_INET, bytes, text, sizeof text));
    });
}

BENCHMARK(Parse);
BENCHMARK(ParseByScan);
BENCHMARK(ParseByInetPton);
BENCHMARK(Print);
BENCHMARK(PrintByInetNtop);

} // namespace
