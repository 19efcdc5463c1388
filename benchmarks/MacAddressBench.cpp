#include "Inputs.h"

#include <common/MacAddress.h>

#include <netinet/ether.h>

#include <cstdio>

using namespace zor::common;
using namespace zor::common::bench;

namespace {

std::vector<std::string> Texts(int grouping)
{
    CMacAddress::SetFormatStyle({grouping, grouping == 1 ? ':' : '.'});
    return Inputs([](std::uint64_t random) { return CMacAddress(random).ToString(); });
}

/// Six groups where the argument is 1, three where it is 0.
void Parse(benchmark::State& state)
{
    Measure(state, Texts(static_cast<int>(state.range(0))), [](const std::string& text) {
        CMacAddress address;
        address.CopyFromString(text, nullptr);
        return address;
    });
}

void ParseByScan(benchmark::State& state)
{
    const char* const format = state.range(0) == 1 ? "%x:%x:%x:%x:%x:%x" : "%x.%x.%x";
    Measure(state, Texts(static_cast<int>(state.range(0))), [format](const std::string& text) {
        unsigned int n[6] = {};
        std::sscanf(text.c_str(), format, &n[0], &n[1], &n[2], &n[3], &n[4], &n[5]);
        return n[0] ^ n[1] ^ n[2] ^ n[3] ^ n[4] ^ n[5];
    });
}

void ParseByEtherAton(benchmark::State& state)
{
    Measure(state, Texts(1), [](const std::string& text) {
        ether_addr address{};
        ether_aton_r(text.c_str(), &address);
        return address;
    });
}

void Print(benchmark::State& state)
{
    const int grouping = static_cast<int>(state.range(0));
    CMacAddress::SetFormatStyle({grouping, ':'});
    Measure(state, Inputs([](std::uint64_t random) { return CMacAddress(random); }),
            [](const CMacAddress& address) { return address.ToString(); });
}

BENCHMARK(Parse)->Arg(1)->Arg(0);
BENCHMARK(ParseByScan)->Arg(1)->Arg(0);
BENCHMARK(ParseByEtherAton);
BENCHMARK(Print)->Arg(1)->Arg(0);

} // namespace
