// What the headers promise to threads; the preset "threads" runs this under ThreadSanitizer.

#include "support/SchemaChecks.h"

#include <common/AddressText.h>
#include <common/CompiledTemplate.h>
#include <common/FieldExtractor.h>
#include <common/FieldTypeHelper.h>
#include <common/GoogleProtoBuf.h>
#include <common/Hexfield.h>
#include <common/Ipv6Address.h>
#include <common/Lcm.h>
#include <common/MacroExpander.h>
#include <common/SequenceAudit.h>
#include <common/Traffic.h>
#include <common/Wildcards.h>
#include <common/WorldWideName.h>

#include <gtest/gtest.h>

#include <bit>
#include <latch>
#include <thread>

using namespace zor::common;

namespace {

constexpr unsigned int kThreads = 4;

/// Runs \a work(thread) on threads that start together.
template <class Work>
void OnThreads(Work work, unsigned int count = kThreads)
{
    std::latch start(count);
    std::vector<std::thread> threads;
    for (unsigned int i = 0; i < count; ++i)
        threads.emplace_back([&start, &work, i] { start.arrive_and_wait(), work(i); });
    for (std::thread& thread : threads) thread.join();
}

const test::SchemaFile kSchema("// 7\nmessage A {\nrequired int32 x = 1;\n}\n");
const CIpAddress kIp(10, 0, 0, 1);
const CIpv6Address kIpv6(0x20010db800000000, 1);
const FieldExtractor kExtractor(4, 12);
const Wildcards kTemplate = [] {
    Wildcards wildcards("@x(7,3)@$(ff,9,0100,ipv4)@$(00ffffffffffffffff,0,1,2,0,0f0f)@m@_(1,0)@p@_", "@");
    wildcards.NextValue();
    return wildcards;
}();
CGoogleProtoBufParser gParser; // which holds nothing

/// What each family makes of objects of its own and of the shared constants. How MAC addresses and World Wide Names
/// print is a setting of the process that one thread at a time may use: the first one.
std::string UseAll(unsigned int thread)
{
    std::string all, text, error;
    const unsigned int n = thread * 70000 + 1;
    CIpAddress ip;
    CIpv6Address ipv6;
    EXPECT_TRUE(ip.CopyFromString((kIp * n).ToString(), &error) && ipv6.CopyFromString((kIpv6 * n).ToString(), &error));
    EXPECT_FALSE(ip.CopyFromString("none", &error) || ip == CIpAddress::GetZeroIp());
    all += (++ip).ToString() + error + (++ipv6).GetNextIp(64, n, 1).ToString();
    CMacAddress mac(n);
    CWorldWideName name(n);
    if (thread == 0) {
        EXPECT_TRUE(mac.CopyFromString("0011.2233.4466", &error) && name.CopyFromString(name.ToString(), &error));
        all += mac.ToString();
    }
    // Strict reading and printing use no setting, so every thread may.
    char printed[kMaxTextSize<CMacAddress>];
    CMacAddress read;
    char* const end = ToChars(printed, printed + sizeof printed, mac, {1, '-'});
    EXPECT_TRUE(FromChars(printed, end, read).fault == TextFault::None && read == mac);
    CWorldWideName nameRead;
    EXPECT_EQ(FromChars(printed, end, nameRead).fault, TextFault::TooFewParts);
    all += std::to_string((++mac).ToU64() + (name *= n).ToU64() + Lcm::FindLcm({6, 4, n}));

    Hexfield field(std::string(40 + thread, '7'));
    field *= n;
    std::vector<unsigned char> in = {0x12, 0x34, 0x56}, out;
    kExtractor.ExtractField(in, out, false);
    unsigned int number = n;
    CFieldTypeHelper<unsigned int>{number}[0] = out[0];
    GoogleProtoBufEncoder::encodeUint32(number, out);
    GoogleProtoBufEncoder::encodeString((field + -Hexfield("ff")).ToString(), out);
    all.append(out.begin(), out.end());

    Wildcards wildcards("@x(1,9,2,6)@$(0A000001,5,0100,ipv4)@$(ffffffffffff,0,1,mac)@_(1,0)@=(V)@_@m", "@");
    wildcards.AddVar("V", all);
    for (int i = 0; i < 9; ++i) wildcards.GetNextValue(text);
    wildcards.GetValueAt(static_cast<int>(n), error, true);
    std::string shared, port;
    kTemplate.Expand(shared);
    EXPECT_TRUE(kTemplate.GetVar("PORT", port));
    CMacroVarMapResolver variables;
    variables.SetValue("name", text + error + shared + port);
    EXPECT_TRUE(CMacroExpander(&variables).EvalExpr("a $(name) and $name", all, error = ""));
    EXPECT_FALSE(CMacroExpander(&variables).SetExpr("$(other)", error));

    std::vector<test::MessageInfo> messages;
    EXPECT_TRUE(gParser.readProtoFile(kSchema.path, messages));
    return all + error + test::Text(messages);
}

TEST(Threads, ObjectsOfTheirOwnAndSharedConstants)
{
    std::string results[kThreads];
    OnThreads([&](unsigned int thread) {
        for (int round = 0; round < 200; ++round) results[thread] = UseAll(thread);
    });
    for (unsigned int i = 0; i < kThreads; ++i) EXPECT_EQ(results[i], UseAll(i)) << i;
}

TEST(Threads, OneCompiledTemplateForAll)
{
    const CompiledTemplate compiled("@h 0102 @$(0A000001,9,00000001,big) @m(1) @x(1,7,1,3,2) @$(ff,0,01,mac,1,0f)");
    const std::size_t size = compiled.GetMaxSize();
    const CompiledTemplate traffic = Mix({{compiled, 2}, {Shuffled(compiled, IndexOrder(500, 1)), 1}});
    constexpr std::size_t kFrames = 700;
    const auto use = [&](std::uint64_t part) {
        CompiledTemplate copy("");
        copy = compiled;
        const IndexRange range = Block({0, 8 * kFrames}, part, 8);
        std::vector<unsigned char> ring(kFrames * size);
        EXPECT_TRUE(copy.RenderFrames(range, {ring.data(), size}) && copy.PatchFrames(range, {ring.data(), size}));
        std::string value(reinterpret_cast<const char*>(ring.data()), ring.size()), last;
        compiled.GetValueAt(range.first + kFrames - 1, last);
        EXPECT_EQ(value.substr(value.size() - size), last);
        EXPECT_TRUE(traffic.RenderFrames(range, {ring.data(), size}));
        SequenceAudit audit(traffic, range); // its own, of the shared template
        for (std::size_t k = 0; k < kFrames; ++k) audit.Add(ring.data() + k * size, size);
        value.append(reinterpret_cast<const char*>(ring.data()), ring.size());
        value += std::to_string(traffic.FindIndex(ring.data(), size).value_or(0));
        return value + std::to_string(copy.GetPeriod() + audit.GetCounts().inOrder);
    };
    std::string results[8];
    OnThreads([&](unsigned int thread) { results[thread] = use(thread); }, 8);
    for (unsigned int i = 0; i < 8; ++i) EXPECT_EQ(results[i], use(i)) << i;
}

TEST(Threads, FirstCallsAtOnce)
{
    OnThreads([](unsigned int) {
        EXPECT_TRUE(CIpAddress::GetZeroIp().IsZero());
        EXPECT_EQ(IsBigEndianPlatform(), std::endian::native == std::endian::big);
    });
}

} // namespace
