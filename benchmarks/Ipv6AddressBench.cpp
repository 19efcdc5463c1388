#include "Inputs.h"

#include <common/Ipv6Address.h>

#include <arpa/inet.h>

using namespace zor::common;
using namespace zor::common::bench;

namespace {

__extension__ typedef unsigned __int128 Wide;

/// Random addresses in full, with a run of zero groups, and with a dotted tail.
CIpv6Address Full(std::uint64_t random)
{
    return {random, random * 0x9e3779b97f4a7c15};
}

CIpv6Address Compressed(std::uint64_t random)
{
    return {0x20010db800000000, random & 0xffffffff};
}

CIpv6Address Dotted(std::uint64_t random)
{
    CIpv6Address address;
    address.SetIpv4MappedAddr(static_cast<unsigned int>(random));
    return address;
}

using Form = CIpv6Address (*)(std::uint64_t);

void Parse(benchmark::State& state, Form form)
{
    Measure(state, Inputs([form](std::uint64_t random) { return form(random).ToString(); }),
            [](const std::string& text) {
                CIpv6Address address;
                address.CopyFromString(text, nullptr);
                return address;
            });
}

void ParseByInetPton(benchmark::State& state, Form form)
{
    Measure(state, Inputs([form](std::uint64_t random) { return form(random).ToString(); }),
            [](const std::string& text) {
                in6_addr address{};
                inet_pton(AF_INET6, text.c_str(), &address);
                return address;
            });
}

void Print(benchmark::State& state, Form form)
{
    Measure(state, Inputs(form), [](const CIpv6Address& address) { return address.ToString(); });
}

void PrintByInetNtop(benchmark::State& state, Form form)
{
    Measure(state, Inputs(form), [](const CIpv6Address& address) {
        char text[INET6_ADDRSTRLEN];
        return std::string(inet_ntop(AF_INET6, &address[0], text, sizeof text));
    });
}

BENCHMARK_CAPTURE(Parse, full, Full);
BENCHMARK_CAPTURE(ParseByInetPton, full, Full);
BENCHMARK_CAPTURE(Parse, compressed, Compressed);
BENCHMARK_CAPTURE(ParseByInetPton, compressed, Compressed);
BENCHMARK_CAPTURE(Parse, dotted, Dotted);
BENCHMARK_CAPTURE(ParseByInetPton, dotted, Dotted);
BENCHMARK_CAPTURE(Print, full, Full);
BENCHMARK_CAPTURE(PrintByInetNtop, full, Full);
BENCHMARK_CAPTURE(Print, compressed, Compressed);
BENCHMARK_CAPTURE(PrintByInetNtop, compressed, Compressed);
BENCHMARK_CAPTURE(Print, dotted, Dotted);
BENCHMARK_CAPTURE(PrintByInetNtop, dotted, Dotted);

/// Divisors of 16, 64 and 128 bits.
void Divide(benchmark::State& state)
{
    const auto bits = static_cast<int>(state.range(0));
    Measure(state, Inputs([](std::uint64_t random) { return Full(random); }), [bits](const CIpv6Address& address) {
        CIpv6Address divisor = ~address;
        divisor.ShiftRight(128 - bits);
        CIpv6Address remainder;
        return address.Divide(divisor, remainder) | remainder;
    });
}

/// The same by the digits of di_unsigned.
void DivideByDigits(benchmark::State& state)
{
    const auto bits = static_cast<int>(state.range(0));
    Measure(state, Inputs([](std::uint64_t random) { return Full(random); }), [bits](const CIpv6Address& address) {
        CIpv6Address divisor = ~address;
        divisor.ShiftRight(128 - bits);
        di_unsigned<unsigned int, unsigned char, 128> remainder;
        return FromDiFormat(InDiFormat(address).div1<128>(InDiFormat(divisor), &remainder)) | FromDiFormat(remainder);
    });
}

void DivideByCompiler(benchmark::State& state)
{
    const auto bits = static_cast<int>(state.range(0));
    Measure(state, Inputs([](std::uint64_t random) { return static_cast<Wide>(random) << 64 | random * 3; }),
            [bits](Wide number) {
                const Wide divisor = ~number >> (128 - bits);
                return number / divisor | number % divisor;
            });
}

BENCHMARK(Divide)->Arg(16)->Arg(64)->Arg(128);
BENCHMARK(DivideByDigits)->Arg(16)->Arg(64)->Arg(128);
BENCHMARK(DivideByCompiler)->Arg(16)->Arg(64)->Arg(128);

} // namespace
