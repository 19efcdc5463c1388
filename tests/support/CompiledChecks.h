#ifndef ZOR_COMMON_TESTS_COMPILED_CHECKS_H
#define ZOR_COMMON_TESTS_COMPILED_CHECKS_H

/// \file
/// Compiled templates, compared with steps and with sums that are written out.

#include "ChecksumChecks.h"
#include "WildcardsChecks.h"

#include <common/CompiledTemplate.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace zor::common::test {

/// Bytes to write to, between others that must stay.
class GuardedBytes {
public:
    explicit GuardedBytes(std::size_t size) : mBytes(size + 2 * kGuard, kMark) {}

    unsigned char* Data() { return mBytes.data() + kGuard; }
    std::string Text(std::size_t from, std::size_t size) const
    {
        return std::string(reinterpret_cast<const char*>(mBytes.data()) + kGuard + from, size);
    }

    /// Whether all is as it was outside of so many bytes.
    bool IsIntactBehind(std::size_t size) const
    {
        const auto isMark = [](unsigned char byte) { return byte == kMark; };
        const auto begin = mBytes.begin() + kGuard;
        return std::all_of(mBytes.begin(), begin, isMark) &&
               std::all_of(begin + static_cast<std::ptrdiff_t>(size), mBytes.end(), isMark);
    }

private:
    static constexpr std::ptrdiff_t kGuard = 64;
    static constexpr unsigned char kMark = 0xa5;
    std::vector<unsigned char> mBytes;
};

inline std::string ValueAt(const CompiledTemplate& compiled, std::uint64_t index)
{
    std::string value;
    compiled.GetValueAt(index, value);
    return value;
}

/// All ways to render one value give it, and write nothing else.
inline void CheckValue(const CompiledTemplate& compiled, std::uint64_t index, const std::string& expected)
{
    ASSERT_EQ(ValueAt(compiled, index), expected) << "at index " << index;
    ASSERT_LE(expected.size(), compiled.GetMaxSize());
    for (const std::size_t room : {expected.size(), expected.size() + 50, expected.size() - 1}) {
        if (room > expected.size() + 50) continue; // below 0
        GuardedBytes bytes(expected.size() + 50);
        ASSERT_EQ(compiled.Render(index, bytes.Data(), room), expected.size());
        const std::size_t written = room < expected.size() ? 0 : expected.size();
        ASSERT_EQ(bytes.Text(0, written), expected.substr(0, written)) << "into " << room << " bytes";
        ASSERT_TRUE(bytes.IsIntactBehind(written)) << "into " << room << " bytes at index " << index;
    }
}

/// An index where something may go wrong, or any.
inline std::uint64_t DrawIndex(Random& random)
{
    static constexpr std::uint64_t kPlaces[] = {
        0, 0, 300, 65536, 0x7fffffff, 0xffffffff, 0x100000000, 0x100000000, std::uint64_t{1} << 63, 0};
    const std::uint64_t near = kPlaces[random.Below(std::size(kPlaces))] + random.Below(12) - random.Below(6);
    return random.Below(3) == 0 ? random.Number() >> random.Below(64) : near;
}

/// A drawn template with drawn settings: the values of small indexes are those of steps, and all are those that the
/// model writes out.
inline void CheckCompiledTemplate(Random& random)
{
    const std::string text = DrawTemplate(random);
    if (HasLongLengthField(text)) return;
    Wildcards source(text, "@");
    Wildcards stepped(text, "@"); // with the settings of the source, and never moved by anything else
    PlainWildcards plain(text, "@");
    const std::size_t settings = random.Below(3) == 0 ? random.Below(10) : 0;
    const std::size_t focus = random.Below(std::size(WildcardsCall::kSettings));
    for (std::size_t i = 0; i < settings; ++i) {
        const WildcardsCall setting(random, true, focus);
        const WildcardsCall reading(random, false, 0);
        OutcomeOf([&](auto& out) { setting(source, out); });
        OutcomeOf([&](auto& out) { reading(source, out); });
        const auto& all = WildcardsCall::kSettings;
        if (std::find(std::begin(all), std::end(all), setting.operation) == std::end(all)) continue;
        OutcomeOf([&](auto& out) { setting(stepped, out); });
        OutcomeOf([&](auto& out) { setting(plain, out); });
    }
    std::optional<CompiledTemplate> compiled;
    const bool isGood = OutcomeOf([&](auto&) { compiled.emplace(source); }) != "raised";
    ASSERT_EQ(isGood, OutcomeOf([&](auto&) { plain.ParseExpr(); }) != "raised") << text;
    if (!isGood) return;
    SCOPED_TRACE('"' + text + '"');
    const std::size_t size = ValueAt(*compiled, 0).size();
    std::string expected;
    const auto check = [&](std::uint64_t index) {
        plain.GetExactValueAt(index, expected);
        ASSERT_NO_FATAL_FAILURE(CheckValue(*compiled, index, expected));
        ASSERT_TRUE(!compiled->IsFixedSize() || expected.size() == size) << "at index " << index;
        if (const std::uint64_t period = compiled->GetPeriod(); period != 0) {
            ASSERT_EQ(ValueAt(*compiled, index % period), expected) << "period " << period << " at " << index;
        }
    };
    for (std::uint64_t index = 0; index < 24; ++index, stepped.NextValue()) {
        ASSERT_NO_FATAL_FAILURE(check(index));
        if (!compiled->StepsAlike()) continue;
        std::string value;
        stepped.GetValue(value);
        ASSERT_EQ(value, expected) << "by step at index " << index;
    }
    for (int i = 0; i < 12; ++i) ASSERT_NO_FATAL_FAILURE(check(DrawIndex(random)));
}

/// A template that is likely to make frames.
inline std::string MakeFrameTemplate(Random& random)
{
    static constexpr const char* kFormats[] = {"big", "big", "big", "little", "hex", "mac"};
    std::string text = "@h";
    for (std::size_t i = random.Below(6); i > 0; --i) {
        text += random.Text("0123456789abcdef", 2 * random.Below(random.Below(4) == 0 ? 60 : 8));
        const std::size_t digits = 2 * (1 + random.Below(random.Below(4) == 0 ? 20 : 8));
        const auto number = [&] {
            const std::size_t zeros = random.Below(digits + 1);
            return std::string(zeros, '0') + random.Text("0123456789abcdefffff", digits - zeros);
        };
        const auto word = [&] { return std::to_string(random.Below(random.Below(2) == 0 ? 4 : 400)); };
        switch (random.Below(8)) {
        case 0: text += "@x(" + word() + ",0," + word() + ",10," + word() + ",777)"; break;
        case 1: text += "@x(" + word() + "," + word() + ",3,6)"; break;
        case 2: text += random.Below(2) == 0 ? "@m(1)" : "@M"; break;
        default:
            text += "@$(" + number() + "," + word() + "," + number() + "," + kFormats[random.Below(6)] + "," +
                    (random.Below(2) == 0 ? "0" : word());
            text += (random.Below(5) == 0 ? "," + number() : "") + ")";
        }
    }
    return text + random.Text("0123456789abcdef", 2 * random.Below(30));
}

inline std::string DrawFrameTemplate(Random& random)
{
    return random.TextBy([&] { return MakeFrameTemplate(random); });
}

/// Checksums of counters that go up and down and wrap, in sequence, are those of all bytes.
inline void CheckSummedFrames(Random& random)
{
    std::string text = "@h 000000000000";
    for (std::size_t i = 1 + random.Below(3); i > 0; --i) {
        static constexpr const char* kSteps[] = {"1", "1", "2", "3", "e", "f", "f"}; // the last digit; f goes down
        const std::size_t digits = 2 * (1 + random.Below(4));
        const std::string step = kSteps[random.Below(7)];
        const std::string start = std::string(digits - 2, "0f"[random.Below(2)]) + random.Text("00ff7", 2);
        text += "@$(" + start + "," + std::to_string(random.Below(2) * (30 + random.Below(200))) + "," +
                std::string(digits - 1, step < "e" ? '0' : 'f') + step + (random.Below(3) == 0 ? ",little," : ",big,") +
                (random.Below(3) == 0 ? "40" : "0") + ")" + std::string(2 * random.Below(3), '0');
    }
    const std::size_t size = CompiledTemplate(text).GetMaxSize();
    std::vector<ChecksumField> fields;
    for (std::size_t at = 0; at < 6; at += 2) {
        const std::size_t from = at == 0 ? 6 : random.Below(7);
        fields.push_back({at, {{from, size - from}}, 0, random.Below(2) == 0, random.Below(3) != 0});
        fields.back().initial = random.Below(2) == 0 ? 0 : static_cast<std::uint32_t>(random.Below(0x20000));
    }
    const CompiledTemplate plain(text);
    const CompiledTemplate summed(Wildcards(text, "@"), fields);
    const IndexRange range{DrawIndex(random), 300};
    std::string frames(300 * size, '\0');
    ASSERT_TRUE(summed.RenderFrames(range, {reinterpret_cast<unsigned char*>(frames.data()), size}));
    for (std::uint64_t k = 0; k < range.count; ++k) {
        std::string expected = ValueAt(plain, range.first + k);
        SetChecksums(fields, expected);
        ASSERT_EQ(frames.substr(k * size, size), expected) << text << " at index " << range.first + k;
    }
}

/// Batches give what single values are, wherever they go, and write nothing else.
/// \param valueAt  what single values are, if that is known from elsewhere.
template <class ValueOf>
void CheckBatches(Random& random, const CompiledTemplate& compiled, ValueOf valueAt)
{
    const std::size_t size = compiled.GetMaxSize();
    std::size_t count = random.Below(random.Below(4) == 0 ? 700 : 40);
    if (size > 300) count = std::min<std::size_t>(count, 20);
    const IndexRange range{DrawIndex(random), count, random.Below(3) == 0 ? random.Number() : 1};
    std::vector<std::uint64_t> listed;
    for (std::size_t k = 0; k < count; ++k) listed.push_back(DrawIndex(random));
    const bool isRange = random.Below(2) == 0;
    const IndexList list = isRange ? IndexList(range) : IndexList(listed.data(), count);
    std::vector<std::uint64_t> indexes = listed;
    for (std::size_t k = 0; isRange && k < count; ++k) indexes[k] = range.first + k * range.every;

    const std::size_t stride = size + random.Below(20);
    GuardedBytes bytes(count * stride);
    std::vector<unsigned char*> each;
    for (std::size_t k = 0; k < count; ++k) each.push_back(bytes.Data() + stride * (count - 1 - k));
    const bool isListed = random.Below(2) == 0;
    const FrameBuffers frames = isListed ? FrameBuffers(each.data()) : FrameBuffers(bytes.Data(), stride);
    for (std::size_t k = 0; !isListed && k < count; ++k) each[k] = bytes.Data() + stride * k;
    const auto frameAt = [&](std::uint64_t k) { return std::string(reinterpret_cast<const char*>(each[k]), size); };
    const std::string untouched(stride, '\xa5');

    std::vector<std::uint32_t> sizes(count, 77);
    const std::size_t room = random.Below(3) == 0 ? random.Below(size + 1) : size;
    bool haveAllFitted = true;
    ASSERT_EQ(compiled.RenderFrames(list, frames, room, sizes.data()), [&] {
        for (std::size_t k = 0; k < count; ++k) {
            haveAllFitted = haveAllFitted && ValueAt(compiled, indexes[k]).size() <= room;
        }
        return haveAllFitted;
    }());
    for (std::size_t k = 0; k < count; ++k) {
        const std::string value = ValueAt(compiled, indexes[k]);
        ASSERT_EQ(sizes[k], value.size());
        const std::string expected = value.size() <= room ? value : "";
        ASSERT_EQ(frameAt(k), expected + untouched.substr(0, size - expected.size())) << "frame " << k;
    }

    std::vector<std::size_t> offsets;
    GuardedBytes values(count * size);
    const std::size_t batchRoom = random.Below(count * size + 1);
    const std::size_t fitting = compiled.RenderBatch(list, values.Data(), batchRoom, offsets);
    std::string joined;
    for (std::size_t k = 0; k < count; ++k) {
        const std::string value = ValueAt(compiled, indexes[k]);
        if (joined.size() + value.size() > batchRoom) {
            ASSERT_EQ(fitting, k);
            break;
        }
        ASSERT_LT(k, fitting);
        ASSERT_EQ(offsets.at(k), joined.size());
        joined += value;
    }
    ASSERT_EQ(offsets.size(), fitting + 1);
    ASSERT_EQ(offsets.back(), joined.size());
    ASSERT_EQ(values.Text(0, joined.size()), joined);
    ASSERT_TRUE(values.IsIntactBehind(joined.size()));

    if (!compiled.IsFixedSize()) {
        GuardedBytes other(count * stride);
        ASSERT_EQ(compiled.RenderFrames(list, FrameBuffers(other.Data(), stride)), count == 0);
        ASSERT_EQ(compiled.PatchFrames(list, FrameBuffers(other.Data(), stride)), count == 0);
        ASSERT_TRUE(other.IsIntactBehind(0)) << "nothing is written";
        ASSERT_TRUE(compiled.GetChangingSpans().empty());
        return;
    }
    const auto isChanging = [&](std::size_t at) {
        return std::any_of(compiled.GetChangingSpans().begin(), compiled.GetChangingSpans().end(),
                           [at](const ByteSpan& span) { return at >= span.offset && at - span.offset < span.size; });
    };
    ASSERT_TRUE(compiled.RenderFrames(list, frames));
    for (std::size_t k = 0; k < count; ++k) {
        ASSERT_EQ(ValueAt(compiled, indexes[k]), valueAt(indexes[k])) << "with checksums, index " << indexes[k];
        ASSERT_EQ(frameAt(k), ValueAt(compiled, indexes[k])) << "frame " << k << " index " << indexes[k];
        for (std::size_t at = 0; at < size; ++at) {
            ASSERT_TRUE(isChanging(at) || each[k][at] == each[0][at]) << "byte " << at << " changes";
        }
    }
    for (std::size_t k = 0; k < count; ++k) { // as if the whole buffer held something else
        for (std::size_t at = 0; at < size; ++at) each[k][at] = isChanging(at) ? 0x5a : 0x3c;
    }
    ASSERT_TRUE(compiled.PatchFrames(list, frames));
    for (std::size_t k = 0; k < count; ++k) {
        std::string expected = ValueAt(compiled, indexes[k]);
        for (std::size_t at = 0; at < size; ++at) expected[at] = isChanging(at) ? expected[at] : '\x3c';
        ASSERT_EQ(frameAt(k), expected) << "patched frame " << k << " index " << indexes[k];
        const std::string behind = bytes.Text(k * stride + size, stride - size); // in any order of the frames
        ASSERT_EQ(behind, untouched.substr(size));
    }
    ASSERT_TRUE(bytes.IsIntactBehind(count * stride));
}

/// Batches of templates give what single values are.
inline void CheckFrames(Random& random)
{
    const std::string text = random.Below(8) == 0 ? DrawTemplate(random) : DrawFrameTemplate(random);
    if (HasLongLengthField(text)) return;
    std::optional<CompiledTemplate> compiled;
    if (OutcomeOf([&](auto&) { compiled.emplace(text); }) == "raised") return;
    SCOPED_TRACE('"' + text + '"');

    const std::size_t size = compiled->GetMaxSize();
    std::vector<ChecksumField> checksums;
    for (std::size_t i = size < 2 ? 0 : random.Below(4); i > 0; --i) checksums.push_back(DrawChecksum(random, size));
    const CompiledTemplate without = *compiled;
    try {
        *compiled = CompiledTemplate(Wildcards(text, "@"), checksums);
    } catch (const std::invalid_argument&) { // a field over an expression or another field, or no frame at all
        checksums.clear();
    }
    CheckBatches(random, *compiled, [&](std::uint64_t index) {
        std::string summed = ValueAt(without, index);
        SetChecksums(checksums, summed);
        return summed;
    });
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_COMPILED_CHECKS_H
