// What allocates, and what a failing allocation leaves behind.

#include "support/FailingNew.h"
#include "support/SchemaChecks.h"

#include <common/AddressRange.h>
#include <common/AddressText.h>
#include <common/CompiledTemplate.h>
#include <common/FieldExtractor.h>
#include <common/FrameBuilder.h>
#include <common/GoogleProtoBuf.h>
#include <common/Ipv6Address.h>
#include <common/MacroExpander.h>
#include <common/SequenceAudit.h>
#include <common/TemplateCheck.h>
#include <common/Traffic.h>
#include <common/Wildcards.h>
#include <common/WorldWideName.h>

#include <gtest/gtest.h>

#include <utility>

using namespace zor::common;
using namespace std::string_literals;
using test::gAllocations;
using test::gFailAt;
using test::gLive;

namespace {

constexpr const char* kTemplate =
    "@x(0,0,7,5)@m@$(0A000001,5,0100,ipv4)@$(ffffffffffff,0,1,ipv6)@$(00ff,0,1,hex,1,f00f)"
    "@_(1,0)@=(A_variable_with_a_long_name)@_@$(01,0,00000000000000000001,big)";

TEST(Allocation, NoneOnceWarm)
{
    Wildcards wildcards(kTemplate, "@");
    wildcards.AddVar("a_variable_with_a_long_name", "and a value that is longer than any string keeps inside");
    std::string value;
    wildcards.GetValueAt(9999, value, false);
    for (int i = 0; i < 20; ++i) wildcards.GetNextValue(value);
    const long before = gAllocations;
    for (int i = 0; i < 1000; ++i) wildcards.GetNextValue(value);
    wildcards.GetValue(value);
    wildcards.Expand(value);
    wildcards.NextValue();
    EXPECT_EQ(gAllocations - before, 0);

    const Hexfield other(std::string(60, 'f'));
    Hexfield field = other | Hexfield(std::string(80, '7'));
    const long beforeField = gAllocations;
    field += other;
    field -= other;
    field |= other;
    field &= other;
    field *= 3;
    field.MaskMultiply(3, other);
    field = other;
    EXPECT_EQ(gAllocations - beforeField, 0);
}

TEST(Allocation, NoneForNarrowFields)
{
    const std::string text(32, '7');
    const long before = gAllocations;
    Hexfield field(text);
    Hexfield other = (-field + field - (field & ~field)) | field;
    std::swap(field, other);
    field.normalize(3);
    field = other + 5;
    EXPECT_EQ(gAllocations - before, 0);
    field.normalize(17);
    EXPECT_EQ(gAllocations - before, 1);
}

/// Runs each operation on a new object of its own with its first, second, ... allocation failing, until it succeeds.
/// Each failure has to leave what \a seen sees of the object, and nothing allocated.
template <class Make, class Seen, class... Operations>
void FailEachAllocation(Make make, Seen seen, Operations... operations)
{
    int number = 0;
    const auto failEach = [&](auto operation) {
        SCOPED_TRACE("operation " + std::to_string(++number));
        bool done = false;
        for (long failAt = 0; !done; ++failAt) {
            const long live = gLive;
            {
                auto start = make();
                auto object = make();
                const auto before = seen(start);
                gFailAt = failAt;
                try {
                    operation(object);
                    gFailAt = -1;
                    done = true;
                } catch (const std::bad_alloc&) {
                    gFailAt = -1;
                    EXPECT_TRUE(seen(object) == before) << "allocation " << failAt;
                }
            }
            EXPECT_EQ(gLive, live) << "allocation " << failAt;
            ASSERT_LT(failAt, 1000) << "never succeeded";
        }
    };
    (failEach(operations), ...);
}

/// What returns a value itself, for looking at objects that show all there is.
constexpr auto kItself = [](const auto& object) { return object; };

/// A vector with so much room behind its elements, and no more.
template <class T>
std::vector<T> WithRoom(const std::vector<T>& elements, std::size_t room)
{
    std::vector<T> result;
    result.reserve(elements.size() + room);
    result.insert(result.end(), elements.begin(), elements.end());
    return result;
}

/// Longer than any string keeps inside.
const std::string kLong(100, 'v');

TEST(Allocation, NoneForUsualAddressTexts)
{
    for (const std::string text :
         {"::", "::1", "1::", "1::8", "2001:db8::1:0:0:1", "1:2:3:4:5:6:7::", "::2:3:4:5:6:7:8", "::1.2.3.4",
          "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", "0:0:0:0:0:ffff:255.255.255.255", "64:ff9b::1.2.3.4"}) {
        const long before = gAllocations;
        EXPECT_TRUE(CIpv6Address().CopyFromString(text, nullptr));
        CIpv6Address address;
        EXPECT_EQ(FromChars(text.data(), text.data() + text.size(), address).fault, TextFault::None);
        EXPECT_NE(FromChars(text.data(), text.data() + text.size() - 1, address).end, nullptr);
        char printed[kMaxTextSize<CIpv6Address>];
        EXPECT_NE(ToChars(printed, printed + sizeof printed, address), nullptr);
        EXPECT_EQ(gAllocations - before, 0) << text;
    }
}

TEST(Allocation, FailuresOfSummariesLeaveNothing)
{
    using Range = AddressRange<CIpv6Address>;
    const auto make = [] {
        return std::vector{Range({0, 9}, {0, 200}), Range({7, 1}, {9, 5}), Range({0, 3}, {0, 12})};
    };
    FailEachAllocation(
        make, kItself, [](auto& ranges) { EXPECT_EQ(Summarize(ranges).front().length, 128); },
        [](auto& ranges) { EXPECT_GT(ranges[1].GetPrefixes().size(), 60u); });
}

TEST(Allocation, FailuresLeaveFieldsAsTheyWere)
{
    const Hexfield wide(std::string(100, '9'));
    const std::string text(80, '7');
    std::string separated = text;
    for (std::size_t i = 2; i < separated.size(); i += 3) separated[i] = ':';
    const auto seen = [](Hexfield& field) { // its value, and that it still knows how much room it has
        std::string all = field.ToString();
        field.normalize(40), all += field.ToString();
        field.normalize(400), all += field.ToString();
        return all;
    };
    for (const auto room : std::vector<unsigned short>{1, 24, 30}) {
        for (const std::size_t size : {0u, 5u, 16u, 17u, 24u}) {
            const auto make = [&] {
                Hexfield field;
                field.normalize(room);
                field.CopyFromString(std::string(2 * size, '1'));
                return field;
            };
            FailEachAllocation(
                make, seen, [&](auto& f) { f = wide; }, [&](auto& f) { f += wide; }, [&](auto& f) { f -= wide; },
                [&](auto& f) { f |= wide; }, [&](auto& f) { f &= wide; }, [&](auto& f) { f.CopyFromString(text); },
                [&](auto& f) { f.CopyFromString(separated); }, [&](auto& f) { f.CopyFromString("x" + text); },
                [&](auto& f) { f.CopyFromString(text + "x"); }, [&](auto& f) { f.CopyFromBinaryString(text, true); },
                [&](auto& f) { f.normalize(99); }, [&](auto& f) { f.CopyFromBinaryString(text, false); },
                [&](auto& f) { f = (~-wide | f) * 3 + 5; });
        }
    }
}

constexpr unsigned char kMac[6] = {2, 0, 0, 0, 0, 1};
constexpr unsigned char kAllBits[6] = {0xff, 0xff, 0xff, 0xff, 0xff, 0xff};

/// Has a text without room of its own to draw values into, so that what is written to it is allocated.
struct Drawn : Wildcards {
    using Wildcards::Wildcards;
    std::string text;
};

/// All that can be seen of an object: the template before a parse, variables, values to come, and what a second parse
/// would find.
std::string Seen(Wildcards& object)
{
    std::string all, value;
    object.Expand(all);
    for (const std::string& name : {"port"s, "A_variable_with_a_long_name"s, "b"s, "new"s, "n" + kLong}) {
        all += object.GetVar(name, value) ? '=' + value : "missing";
    }
    Wildcards copy(object);
    for (Wildcards* const stepped : {&object, &copy}) {
        for (int i = 0; i < 8; ++i, all += value) stepped->GetNextValue(value);
    }
    copy.SetVlanParams(3, 7, 0, 0, 0); // if there are so many tags
    copy.SetEtherParams(kMac, kMac, kAllBits, 0);
    copy.GetValue(value);
    return all + value;
}

TEST(Allocation, FailuresLeaveWildcardsAsTheyWere)
{
    const std::string list = "new=x,a_variable_with_a_long_name=" + kLong + ",n" + kLong + "=y,b=" + kLong;
    const std::vector<std::string> known = {"a_variable_with_a_long_name=" + kLong, "b=" + kLong, "port=" + kLong};
    const std::string hexTemplate = "@h 31 32 33 @x(1) 34" + std::string(100, '7') + "35";
    Drawn other("@x(5,0)@$(0102030405060708090a0b0c0d0e0f1011)@=(name)" + kLong, "@");
    other.NextValue(), other.AddVar(kLong, kLong);
    struct Start {
        const char* name;
        const char* text;
        void (*prepare)(Drawn& object);
    };
    static constexpr const char* kVlan = "@x(0,7,1)@x(1,3,2,0,1)@v(1)@v(3)@=(b)";
    // Its values are wider than its start, so that those of a copy, which has no room to spare, need more at each step.
    static constexpr const char* kField = "@x(0,7,1)@$(01,3,000102030405060708090a0b0c0d0e0f10111213,hex)";
    const Start starts[] = {
        {"not parsed", kTemplate, [](auto&) {}},
        {"one step", kTemplate, [](auto& w) { w.NextValue(); }},
        {"repeats owed", kTemplate, [](auto& w) { w.GetValueAt(3, w.text, true); }},
        {"more repeats owed", kTemplate, [](auto& w) { w.SetReadCursor(4); }},
        {"warm", kTemplate, [](auto& w) { w.GetNextValue(w.text), w.GetValue(w.text); }},
        {"last index", kTemplate, [](auto& w) { w.SetReadCursor(-1); }},
        {"last index but one", kVlan, [](auto& w) { w.SetReadCursor(-2); }},
        {"last indexes of fields", kField, [](auto& w) { w.SetReadCursor(-3), w = Drawn(w); }},
        {"last steps of fields", kField, [](auto& w) { w.SetReadCursor(-2), w.NextValue(), w = Drawn(w); }},
        {"tags", kVlan, [](auto& w) { w.SetVlanTagCount(2), w.SetVlanParams(1, 100, 1, 0, 0), w.NextValue(); }},
        {"to be parsed again", kVlan, [](auto& w) { w.SetReadCursor(5), w.SetEtherParams(kMac, kMac, kAllBits, 0); }},
        {"parsed twice", kVlan,
         [](auto& w) { w.ParseExpr(), w.SetEtherParams(kMac, kMac, kAllBits, 0), w.NextValue(); }},
    };
    for (const Start& start : starts) {
        SCOPED_TRACE(start.name);
        const auto make = [&] {
            Drawn object(start.text + std::string(300, '.'), "@"); // a second parse finds all positions in it
            object.AddVar("a_variable_with_a_long_name", "old value");
            object.AddVar("b", "");
            start.prepare(object);
            object.text = std::string();
            return object;
        };
        FailEachAllocation(
            make, Seen, [](auto& w) { w.GetValue(w.text); }, [](auto& w) { w.GetNextValue(w.text); },
            [](auto& w) { w.GetValueAt(77, w.text, true); }, [](auto& w) { w.GetValueAt(77, w.text, false); },
            [](auto& w) { w.NextValue(); }, [](auto& w) { w.SetReadCursor(5); }, [](auto& w) { w.ParseExpr(); },
            [](auto& w) { w.Expand(w.text); }, [](auto& w) { w.GetVar("a_variable_with_a_long_name", w.text); },
            [&](auto& w) { w.AddVarList(list); }, [&](auto& w) { w.AddVarList(known); },
            [&](auto& w) { w.AddVar("A_variable_with_a_long_name", kLong); }, [&](auto& w) { w.AddVar("new", kLong); },
            [&](auto& w) { w.AddVar("N" + kLong, kLong); }, [&](auto& w) { w.AddVar("B", kLong); },
            [](auto& w) { w.SetVlanTagCount(3); }, [](auto& w) { w.SetVlanTagCount(200); }, [&](auto& w) { w = other; },
            [&](auto& w) { w = Drawn(kLong, "@"); });
    }
    FailEachAllocation([&] { return Drawn(hexTemplate, "@"); }, Seen, [](auto& w) { w.GetValue(w.text); });
    FailEachAllocation([&] { return std::string(hexTemplate); }, kItself,
                       [](auto& t) { Wildcards::ConvertHexWildcardExpr(t, "@"); },
                       [](auto& t) { Wildcards::ConvertAsciiHexToBin(kLong + std::string(80, '7'), t); });
}

template <class Address>
void FailReadingOf(const Address& address)
{
    FailEachAllocation([&] { return std::pair(address, "before"s); },
                       [](const auto& pair) { return pair.first.ToString() + pair.second; },
                       [](auto& pair) { pair.first.CopyFromString("neither an address nor a name", &pair.second); });
}

TEST(Allocation, CompiledTemplatesAllocateOnlyToCompile)
{
    const CompiledTemplate varying(kTemplate);
    const std::string wide(400, '0');
    const CompiledTemplate frames("@h 0102 @$(" + wide + ",0," + wide.substr(1) +
                                  "1,big)@x(1,9,2,8)@m@$(ff,3,1,mac,0,0f)");
    std::string value;
    value.reserve(varying.GetMaxSize());
    std::vector<unsigned char> bytes(300 * frames.GetMaxSize());
    std::vector<std::uint32_t> sizes(300);
    std::vector<std::size_t> offsets(302);
    const std::uint64_t listed[] = {~std::uint64_t{0}, 5, 4};
    const CompiledTemplate same = Mix({{frames, 2}, {Shuffled(frames, IndexOrder(1000, 1)), 1}});
    const CompiledTemplate traffic = Joined({{same, 40}, {varying, 3}});
    value.reserve(traffic.GetMaxSize());
    const long before = gAllocations;
    CompiledTemplate copy = varying;
    copy = frames;
    copy = static_cast<const CompiledTemplate&>(copy);
    for (const std::uint64_t index : listed) {
        varying.GetValueAt(index, value);
        varying.Render(index, bytes.data(), bytes.size());
        frames.Render(index, bytes.data(), bytes.size());
    }
    const FrameBuffers buffers(bytes.data(), frames.GetMaxSize());
    EXPECT_TRUE(frames.RenderFrames(IndexRange{1, 300, 3}, buffers));
    EXPECT_TRUE(frames.PatchFrames(IndexList(listed, 3), buffers));
    EXPECT_TRUE(varying.RenderFrames(IndexRange{0, 300}, buffers, frames.GetMaxSize(), sizes.data()));
    EXPECT_EQ(varying.RenderBatch(IndexRange{0, 300}, bytes.data(), bytes.size(), offsets), 300u);
    EXPECT_TRUE(same.RenderFrames(IndexRange{1, 300, 3}, buffers));
    EXPECT_TRUE(same.PatchFrames(IndexRange{7, 300}, buffers));
    EXPECT_TRUE(traffic.RenderFrames(IndexRange{0, 300}, buffers, frames.GetMaxSize(), sizes.data()));
    traffic.GetValueAt(41, value);
    EXPECT_EQ(gAllocations - before, 0);
}

TEST(Allocation, FailuresLeaveOffsetsAndSourcesAsTheyWere)
{
    struct Batch {
        CompiledTemplate compiled = CompiledTemplate("@x(5,20)");
        std::vector<std::size_t> offsets = {3, 1, 4};
        unsigned char bytes[200] = {};
        Drawn source = Drawn(kTemplate + std::string(300, '.'), "@");
        std::string value;
    };
    const auto seen = [](Batch& batch) {
        std::string all = Seen(batch.source) + batch.value, value;
        for (const std::size_t offset : batch.offsets) all += std::to_string(offset) + ' ';
        batch.compiled.GetValueAt(7, value);
        return all + value;
    };
    FailEachAllocation([] { return Batch(); }, seen,
                       [](Batch& b) {
                           b.compiled.RenderBatch(IndexRange{0, 90}, b.bytes, sizeof b.bytes, b.offsets);
                       },
                       [](Batch& b) { b.compiled = CompiledTemplate(b.source); },
                       [](Batch& b) { b.compiled = CompiledTemplate("@h 01 @$(0102030405060708090a,0,01,2,0,f0)"); },
                       [](Batch& b) { CompiledTemplate(kLong + kLong).GetValueAt(7, b.value); },
                       [](Batch& b) {
                           const CompiledTemplate parts = Mix({{b.compiled, 2}, {CompiledTemplate(kLong), 3}});
                           b.compiled = Joined({{Shuffled(parts, IndexOrder(9, 1)), 5}, {b.compiled, 1}});
                       });
}

TEST(Allocation, AuditsTakeMemoryForPagesAlone)
{
    const CompiledTemplate frames("@h 01 @$(0000000000000000,0,0000000000000001,big) @$(00,7,01,big)");
    std::string value;
    value.reserve(frames.GetMaxSize());
    AuditOptions options;
    options.window = 100000;
    SequenceAudit audit(frames, {0, std::uint64_t{1} << 40}, options);
    long live = 0;
    for (std::uint64_t i = 0; i < 2000000; i += 2) {
        frames.GetValueAt(i << 10, value); // far apart, so that each packet opens a page
        audit.Add(value);
        if (i == 400) live = gLive;
    }
    EXPECT_LE(gLive, live + 50) << "what falls behind the window is forgotten";
    EXPECT_EQ(audit.GetCounts().inOrder, 1000000u);

    SequenceAudit sparse(frames, {5, ~std::uint64_t{0} - 5});
    const long before = gLive;
    for (int i = 0; i < 64; ++i) {
        frames.GetValueAt(5 + (std::uint64_t{1} << i), value);
        sparse.Add(value);
    }
    EXPECT_LE(gLive - before, 64);
    const long beforeFinding = gAllocations;
    EXPECT_EQ(frames.FindIndex(value), 5 + (std::uint64_t{1} << 63));
    sparse.Add(value);
    EXPECT_EQ(gAllocations - beforeFinding, 0);
}

TEST(Allocation, FailuresLeaveAuditsAsTheyWere)
{
    const CompiledTemplate frames("@h 0102 @$(00,7,01,big,3) @$(0000,0,0001,little) @x(1,9,2,8)");
    const CompiledTemplate varying("a@x(1,0,1)@$(0A00,9,01,ipv4) @x(3,0,1,0,40000)b");
    const auto packet = [](const CompiledTemplate& of, std::uint64_t index) {
        std::string value;
        of.GetValueAt(index, value);
        return value;
    };
    const auto make = [&] {
        AuditOptions options;
        options.leastSize = 4;
        SequenceAudit audit(frames, {0, 1000000}, options);
        audit.Add(packet(frames, 70000));
        return audit;
    };
    const auto seen = [](const SequenceAudit& audit) {
        const SequenceAudit::Counts counts = audit.GetCounts();
        std::string all = std::to_string(counts.received) + ' ' + std::to_string(counts.missing);
        for (const IndexRange& run : audit.GetMissing(99)) all += ' ' + std::to_string(run.first);
        return all;
    };
    const std::string late = packet(frames, 5), cut = packet(frames, 6).substr(0, 5);
    std::string changed = packet(frames, 7);
    changed[0] = 'x';
    SequenceAudit other = make();
    other.Add(late);
    FailEachAllocation(
        make, seen, [&](auto& audit) { audit.Add(late); }, [&](auto& audit) { audit.Add(cut); },
        [&](auto& audit) { audit.Add(changed); }, [&](auto& audit) { audit.Merge(other); },
        [&](auto& audit) { audit = other; }, [&](auto& audit) { audit.GetMissing(9); },
        [&](auto& audit) { audit.Restore(other.Save()); },
        [&](auto& audit) {
            audit = SequenceAudit(varying, {0, 99});
        },
        [&](auto& audit) {
            const CompiledTemplate traffic =
                Mix({{frames, 2}, {Shuffled(CompiledTemplate("b@x(1,0,1)"), IndexOrder(50, 1)), 1}});
            SequenceAudit many(traffic, {0, 99});
            for (std::uint64_t i = 0; i < 30; ++i) many.Add(packet(traffic, i == 20 ? 70 : i));
            traffic.FindIndex(packet(traffic, 77777));
            audit = many;
        },
        [&](auto&) { varying.FindIndex(packet(varying, 77777)); });
}

TEST(Allocation, FailuresOfChecksLeaveNothing)
{
    const std::string faults = "@h 0 @d@x(1,,5)@$(10.0.0.1,5,1,ip4,0,zz)@=(nme)@_(1,16) @x 28 31 29@m(";
    FailEachAllocation([&] { return Drawn(faults, "@"); }, [](Drawn& object) { return object.text; },
                       [](auto& object) { EXPECT_GE(CheckTemplate(object).size(), 9u); },
                       [&](auto&) {
                           ToText({123, {}, 0, faults.size(), kLong, kLong}, faults, kLong);
                       });
}

TEST(Allocation, FailuresLeaveFrameBuildersAsTheyWere)
{
    const auto make = [] {
        FrameBuilder frame;
        frame.Ethernet(CMacAddress(1ul), CMacAddress(2ul)).Ipv4(Counting(CIpAddress(1u), 9), CIpAddress(2u));
        return frame.Udp(Counting<std::uint16_t>(1, 9), Counting<std::uint16_t>(0, 5, 1, 3));
    };
    const auto seen = [](const FrameBuilder& frame) {
        std::string value;
        frame.Compile().GetValueAt(7, value);
        return value + frame.GetTemplate().value_or("") +
               std::to_string(frame.GetFlowCount() + frame.GetChecksums().size());
    };
    const FrameBuilder other = make().Number(7).Cross({"ipv4.src"});
    FailEachAllocation(
        make, seen, [](auto& f) { f.Number(Counting<int>(0, 0)); }, [](auto& f) { f.Bytes(kLong); },
        [](auto& f) { f.Pattern(100); }, [](auto& f) { f.PadTo(100); },
        [](auto& f) {
            f.Cross({"udp.sport", "ipv4.src"});
        },
        [&](auto& f) { f = other; }, [](auto& f) { f.GetFlowCount(); },
        [](auto& f) { f.Vary("ipv4.dst", CIpAddress(9u)); },
        [](auto& f) {
            f.Vary(ByteSpan{6, 6}, Counting(CMacAddress(3ul), 5));
        },
        [](auto& f) {
            f = FrameBuilder::FromPacket(reinterpret_cast<const unsigned char*>(kLong.data()), kLong.size());
        });
}

TEST(Allocation, FailuresLeaveAddressesAndErrorTextsAsTheyWere)
{
    FailReadingOf(CIpAddress(0xfffefdfc));
    FailReadingOf(CIpv6Address(~0ul, 1));
    FailReadingOf(CMacAddress(1, 2, 3, 4, 5, 6));
    FailReadingOf(CWorldWideName(1));
}

TEST(Allocation, ExtractorAllocatesForTheOutputAlone)
{
    std::vector<unsigned char> in(2000, 0x5a);
    for (const unsigned int offset : {0u, 3u}) {
        for (const unsigned int length : {8u, 15u, 64u, 512u, 520u, 523u, 4001u}) {
            const FieldExtractor field(offset, length);
            std::vector<unsigned char> out;
            const long before = gAllocations;
            field.ExtractField(in, out, false);
            EXPECT_EQ(gAllocations - before, 1);
            field.ExtractField(in, out, false);
            EXPECT_EQ(gAllocations - before, 1);
            for (int i = 0; i < 1000; ++i) field.ExtractField(in, out, true);
            EXPECT_LT(gAllocations - before, 20) << "appending doubles the room";
            for (const std::size_t size : {0u, 3u, 63u, 100u}) {
                for (const std::size_t room : {0u, 1u, 2u, 40u}) {
                    FailEachAllocation([&] { return WithRoom(std::vector<unsigned char>(size, 1), room); }, kItself,
                                       [&](auto& v) { field.ExtractField(in, v, false); },
                                       [&](auto& v) { field.ExtractField(in, v, true); },
                                       [&](auto& v) { field.ExtractByteAligned(v, v); },
                                       [&](auto& v) { field.ExtractNonByteAligned(v, v); });
                }
            }
        }
    }
}

TEST(Allocation, FailuresLeaveEncodedBytesAsTheyWere)
{
    using Encoder = GoogleProtoBufEncoder;
    const std::vector<unsigned char> bytes(5, 'b');
    const std::string text(120, 't'), longText(300, 't');
    for (std::size_t room = 0; room < 12; ++room) {
        FailEachAllocation(
            [&] { return WithRoom(bytes, room); }, kItself, [&](auto& out) { Encoder::encodeBytes(bytes, out); },
            [&](auto& out) { Encoder::encodeBytes(out, out); }, [&](auto& out) { Encoder::encodeUint64(~0ull, out); },
            [&](auto& out) { Encoder::encodeTag(1, 2, out); }, [&](auto& out) { Encoder::encodeUint32(300, out); },
            [&](auto& out) { Encoder::encodeInt32(-1, out); }, [&](auto& out) { Encoder::encodeSint64(-9999, out); },
            [&](auto& out) { Encoder::encodeString("", out); }, [&](auto& out) { Encoder::encodeString("abcd", out); },
            [&](auto& out) { Encoder::encodeString(text, out); },
            [&](auto& out) { Encoder::encodeString(longText, out); },
            [&](auto& out) { Encoder::encodeMsbUint(bytes.data(), 5, out); });
    }
}

TEST(Allocation, FailuresLeaveResolversAsTheyWere)
{
    CMacroVarMapResolver start, other;
    start.SetValue("a" + kLong, kLong), start.SetValue("b", "");
    other.SetValue("c" + kLong, kLong), other.SetValue("b", kLong);
    using Resolver = CMacroVarMapResolver;
    const auto seen = [](Resolver& variables) {
        std::vector<std::string> names;
        variables.GetVarNames(names);
        std::string all, value;
        for (const std::string& name : names) {
            all.append(name).append(variables.GetValue(name, value) ? "=" : "!").append(value).append("\n");
        }
        return all;
    };
    FailEachAllocation([&] { return start; }, seen, [&](Resolver& v) { v.SetValue("new", kLong); },
                       [&](Resolver& v) { v.SetValue("n" + kLong, "short"); },
                       [&](Resolver& v) { v.SetValue("b", kLong); },
                       [&](Resolver& v) { v.SetValue("a" + kLong, kLong + kLong); }, [&](Resolver& v) { v = other; },
                       [&](Resolver& v) { v = Resolver(); });
    Resolver full;
    for (const char name : "abcdefgh"s) full.SetValue(std::string(1, name), kLong);
    FailEachAllocation([&] { return full; }, seen, [&](Resolver& v) { v.SetValue("i", kLong); });
    FailEachAllocation([] { return "old"s; }, kItself, [&](auto& text) { start.GetValue("a" + kLong, text); },
                       [&](auto& text) { CMacroString(nullptr, kLong).GetValue(text); });
    FailEachAllocation([] { return std::vector<std::string>(1); }, kItself,
                       [&](auto& names) { start.GetVarNames(names); });
}

TEST(Allocation, FailuresLeaveExpandersAsTheyWere)
{
    CMacroVarMapResolver variables;
    variables.SetValue("first name", kLong);
    const std::string kept = "$(first name) and more text";
    struct Expander : CMacroExpander {
        std::string value = "old", error;
        Expander(CMacroVarResolver& resolver, const std::string& before, const std::string& expr)
            : CMacroExpander(&resolver)
        {
            SetExpr(before);
            EXPECT_TRUE(SetExpr(expr));
        }
    };
    const auto seen = [](Expander& expander) {
        std::string all = expander.value + '\n' + expander.error + '\n' + expander.GetExpr() + '\n', value;
        expander.GetValue(value);
        all += value;
        expander.SetExpr("$("); // which goes back to the expression
        expander.GetValue(value);
        return all + value;
    };
    for (const std::string& earlier : {""s, "$(first name)" + kLong, "$(first name)a$(first name)b"s}) {
        for (const char* last :
             {"$(unknown)$(other)", "$(first name", "$(first name)", "$(first name) $(first name)"}) {
            const std::string text = kLong + kLong + last;
            FailEachAllocation([&] { return Expander(variables, earlier, kept); }, seen,
                               [&](auto& e) { e.SetExpr(text, e.error); }, [&](auto& e) { e.SetExpr(text); },
                               [&](auto& e) { e.ParseExpr(text, e.error); },
                               [&](auto& e) { e.EvalExpr(text, e.value, e.error); });
        }
    }

    Expander expander(variables, "", kept);
    expander.GetValue(expander.value);
    const long beforeValue = gAllocations;
    expander.GetValue(expander.value);
    EXPECT_EQ(gAllocations - beforeValue, 0);
    const std::string one = kLong + "$(first name) in the one", other = kLong + "$(first name) in the other";
    for (const std::string& text : {one, other, one}) expander.EvalExpr(text, expander.value, expander.error);
    const long beforeEvaluation = gAllocations;
    expander.EvalExpr(other, expander.value, expander.error);
    EXPECT_LE(gAllocations - beforeEvaluation, 4) << "the expression and its value, but no token";
    for (const std::string& text : {one, other, one}) expander.SetExpr(text);
    const long beforeParse = gAllocations;
    expander.SetExpr(other);
    expander.ParseExpr(one, expander.error);
    expander.SetExpr(other);
    EXPECT_EQ(gAllocations - beforeParse, 0) << "the tokens of the expression before the last are used again";
    expander.ClearTokens();
    const long afterClear = gAllocations;
    expander.SetExpr(other);
    EXPECT_GT(gAllocations - afterClear, 0) << "none are left to be used";
}

TEST(Allocation, FailuresLeaveSchemasAsTheyWere)
{
    CGoogleProtoBufParser parser;
    const std::string field = "repeated bool f" + kLong + " = 1; ";
    const std::string text = "message A_" + kLong + " { " + field + "required int32 y = 2; }\n";
    using Outputs = test::SchemaOutputs;
    test::MessageInfo other;
    other.name = text, other.fields.resize(3), other.fields[2].name = text;
    const auto seen = [](const Outputs& outputs) { return outputs.Seen(); };
    FailEachAllocation([&] { return Outputs(text); }, seen,
                       [&](auto& o) { EXPECT_TRUE(parser.parseMessageFromStream(o.in, o.message)); },
                       [&](auto& o) { o.message = other; }, [&](auto& o) { o.field = other.fields[2]; });
    FailEachAllocation([&] { return Outputs(field); }, seen,
                       [&](auto& o) { EXPECT_TRUE(parser.parseFieldFromStream(o.in, o.field)); });
    FailEachAllocation([] { return Outputs(kLong); }, seen,
                       [&](auto& o) { EXPECT_TRUE(parser.parseWord(o.in, o.word)); },
                       [&](auto& o) { EXPECT_FALSE(parser.parseType(o.in, o.type, o.error)); });
    const test::SchemaFile file("// 1\n" + text + "// 2\n" + text + "// 3\n" + text);
    for (const std::size_t room : {0u, 1u, 2u, 9u}) {
        FailEachAllocation([&] { return WithRoom(std::vector(1, other), room); },
                           [](const auto& messages) { return test::Text(messages); },
                           [&](auto& messages) { EXPECT_TRUE(parser.readProtoFile(file.path, messages)); },
                           [&](auto& messages) {
                               std::vector<SchemaDiagnostic> found;
                               EXPECT_TRUE(parser.readProtoFile(file.path, messages, found));
                           });
    }
}

/// Gives one character at a time, so that a word grows as it is read.
struct Trickle : std::streambuf {
    explicit Trickle(const std::string& text) : mText(text) {}
    int_type underflow() override
    {
        if (mNext == mText.size()) return traits_type::eof();
        setg(mText.data() + mNext, mText.data() + mNext, mText.data() + mNext + 1), ++mNext;
        return traits_type::to_int_type(*gptr());
    }

private:
    std::string mText;
    std::size_t mNext = 0;
};

TEST(Allocation, AWordThatBreaksOffIsNone)
{
    const auto read = [](const auto& start, const std::string& text) {
        FailEachAllocation([&] { return start; }, kItself,
                           [&](auto& value) {
                               Trickle buffer(text);
                               std::istream in(&buffer);
                               in.imbue(std::locale::classic());
                               in >> value;
                               if (in.bad()) throw std::bad_alloc(); // which the stream has caught
                               EXPECT_FALSE(value == start);
                           });
    };
    read(CIpv6Address(), "1:2:3:4:5:6:7:0008");
    read(Hexfield("12"), std::string(70, '3'));
}

} // namespace
