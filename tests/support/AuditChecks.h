#ifndef ZOR_COMMON_TESTS_AUDIT_CHECKS_H
#define ZOR_COMMON_TESTS_AUDIT_CHECKS_H

/// \file
/// SequenceAudit, compared with the model of it.

#include "AuditModel.h"
#include "CompiledChecks.h"

#include <common/SequenceAudit.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zor::common::test {

/// Frames whose expressions stand at known places.
struct AuditedFrames {
    explicit AuditedFrames(Random& random) : text("@h 0102")
    {
        std::size_t size = 2;
        for (std::size_t i = 1 + random.Below(3); i > 0; --i) {
            const std::size_t bytes = 1 + random.Below(4);
            const char* const format = random.Below(4) == 0 ? "little" : "big";
            static constexpr std::uint64_t kCounts[] = {0, 3, 4, 7, 12, 60};
            text += "@$(" + random.Text("0f1", 2 * bytes) + "," + std::to_string(kCounts[random.Below(6)]) + "," +
                    std::string(2 * bytes - 1, '0') + random.Text("1113", 1) + "," + format + "," +
                    std::to_string(random.Below(3) == 0 ? random.Below(6) : 0);
            text += (bytes > 1 && random.Below(5) == 0 ? "," + random.Text("0f", 2 * bytes) : "") + ")";
            expressions.push_back({size, bytes});
            const std::size_t literal = random.Below(4);
            text += random.Text("0123456789abcdef", 2 * literal);
            size += bytes + literal;
        }
        if (random.Below(6) == 0) { // whose first number never comes back
            text += "@x(99,0,1,10," + std::to_string(random.Below(40)) + ",8)";
            expressions.push_back({size, 10});
            size += 10;
        }
        if (random.Below(3) == 0) {
            text += " 0000";
            checksums.push_back({size, {{0, size}}, 7, false, true});
        }
    }

    std::string text;
    std::vector<ByteSpan> expressions;
    std::vector<ChecksumField> checksums;
};

/// An audit as it was saved. Bytes that are damaged are refused, or give another audit that is sound.
inline SequenceAudit Restored(SequenceAudit fresh, const SequenceAudit& of, Random& random)
{
    const std::string saved = of.Save(), unused = fresh.Save();
    std::string damaged = saved.substr(0, random.Below(2) == 0 ? random.Below(saved.size()) : saved.size());
    if (!damaged.empty())
        damaged[random.Below(random.Below(2) == 0 ? damaged.size() : 1)] ^= static_cast<char>(1 << random.Below(8));
    SequenceAudit other = fresh;
    if (other.Restore(damaged)) {
        const SequenceAudit::Counts counts = other.GetCounts();
        EXPECT_EQ(counts.received - counts.duplicate - counts.changed - counts.foreign - counts.tooOld,
                  counts.inOrder + counts.late);
        EXPECT_LE(counts.missingBelow, counts.missing);
    } else {
        EXPECT_EQ(other.Save(), unused);
    }
    EXPECT_TRUE(fresh.Restore(saved));
    EXPECT_EQ(fresh.Save(), saved);
    return fresh;
}

inline void CheckSameAudit(const SequenceAudit& audit, const SlowAudit& slow, std::uint64_t total)
{
    const SequenceAudit::Counts counts = audit.GetCounts();
    ASSERT_EQ(counts.received, slow.counts.received);
    ASSERT_EQ(counts.inOrder, slow.counts.inOrder);
    ASSERT_EQ(counts.late, slow.counts.late);
    ASSERT_EQ(counts.duplicate, slow.counts.duplicate);
    ASSERT_EQ(counts.changed, slow.counts.changed);
    ASSERT_EQ(counts.foreign, slow.counts.foreign);
    ASSERT_EQ(counts.tooOld, slow.counts.tooOld);
    ASSERT_EQ(counts.maxLateness, slow.counts.maxLateness);
    ASSERT_EQ(counts.missing, total - slow.seen.size());
    ASSERT_EQ(counts.missingBelow, slow.seen.empty() ? 0 : *slow.seen.rbegin() + 1 - slow.seen.size());
    const std::vector<std::uint64_t> missing = slow.GetMissing();
    std::vector<std::uint64_t> listed;
    const std::vector<IndexRange> runs = audit.GetMissing(total + 1);
    for (const IndexRange& run : runs) {
        ASSERT_TRUE(run.count != 0 && (listed.empty() || run.first > listed.back() + run.every));
        for (std::uint64_t k = 0; k < run.count; ++k) listed.push_back(run.first + k * run.every);
    }
    ASSERT_EQ(listed, missing);
    ASSERT_EQ(audit.GetMissing(runs.size() / 2).size(), runs.size() / 2);
}

/// Packets that were lost, doubled, reordered, changed, cut and lengthened, and others that were never sent.
/// \param valueAt  gives the values of the range.
/// \param isMixed  whether several templates are mixed, so that a changed packet may be of any of them.
template <class ValueAtIndex>
void CheckAudit(Random& random, const CompiledTemplate& of, const IndexRange& range, ValueAtIndex valueAt, bool isMixed)
{
    std::vector<AuditedValue> values;
    for (std::uint64_t k = 0; k < range.count; ++k) values.push_back(valueAt(range.first + k * range.every));
    AuditOptions options;
    bool isFixedSize = !values.empty();
    std::size_t behindExpressions = 0; // in all values
    for (const AuditedValue& value : values) {
        isFixedSize = isFixedSize && value.isFixedSize;
        const ByteSpan& last = value.expressions.back();
        behindExpressions = std::max(behindExpressions, last.offset + last.size);
    }
    for (std::size_t i = isFixedSize && random.Below(2) == 0 ? 1 + random.Below(2) : 0; i > 0; --i) {
        const std::size_t size = 1 + of.GetMaxSize();
        options.ignored.push_back({random.Below(size), random.Below(random.Below(4) == 0 ? 100 : 4)});
    }
    if (random.Below(4) == 0) options.trailer = random.Below(6);
    // Cut packets keep what tells the index.
    if (isFixedSize && random.Below(4) == 0) options.leastSize = behindExpressions + random.Below(3);
    if (random.Below(3) == 0) options.window = 1 + random.Below(20);

    std::optional<SequenceAudit> audits[2];
    try {
        for (std::optional<SequenceAudit>& audit : audits) audit.emplace(of, range, options);
    } catch (const std::invalid_argument&) { // as some value outside of the range has no fixed size
        ASSERT_TRUE(isMixed && !options.ignored.empty());
        return;
    }
    SlowAudit slows[2] = {SlowAudit(range, options, values), SlowAudit(range, options, values)};
    if (audits[0]->IsCertain()) {
        ASSERT_TRUE(slows[0].IsUnique());
    }
    std::vector<std::string> packets;
    for (std::uint64_t k = 0; k < range.count; ++k) {
        if (random.Below(8) == 0) continue;
        packets.push_back(ValueAt(of, range.first + k * range.every));
        if (random.Below(8) == 0) packets.push_back(packets.back());
        if (random.Below(8) == 0) packets.push_back(ValueAt(of, DrawIndex(random)));
        if (random.Below(6) == 0) std::swap(packets.back(), packets[random.Below(packets.size())]);
    }
    for (std::string& packet : packets) {
        switch (random.Below(12)) {
        case 0:
        case 1:
        case 2: {
            char& c = packet[random.Below(packet.size())];
            c = static_cast<char>(c ^ static_cast<char>(1 << random.Below(8)));
            break;
        }
        case 3: packet += random.Text("0b", random.Below(8)); break;
        case 4: packet.resize(random.Below(packet.size() + 1)); break;
        default: break;
        }
        const std::size_t receiver = random.Below(3) == 0 ? 1 : 0;
        std::uint64_t index = 77, expected = 77;
        const SequenceAudit::Verdict verdict = slows[receiver].Add(packet, expected);
        ASSERT_EQ(static_cast<int>(audits[receiver]->Add(packet, &index)), static_cast<int>(verdict));
        ASSERT_TRUE(index == expected || (isMixed && verdict == SequenceAudit::Verdict::Changed));
    }
    for (int i = 0; i < 2; ++i) ASSERT_NO_FATAL_FAILURE(CheckSameAudit(*audits[i], slows[i], range.count));
    const SequenceAudit before = Restored(SequenceAudit(of, range, options), *audits[1], random);
    ASSERT_EQ(audits[0]->Merge(*audits[1]), options.window == 0);
    if (options.window == 0) slows[0].Merge(slows[1]);
    audits[0] = Restored(SequenceAudit(of, range, options), *audits[0], random);
    ASSERT_NO_FATAL_FAILURE(CheckSameAudit(*audits[0], slows[0], range.count));
    ASSERT_NO_FATAL_FAILURE(CheckSameAudit(before, slows[1], range.count));
}

inline void CheckAudit(Random& random)
{
    const AuditedFrames frames(random);
    const bool isFixedSize = random.Below(5) != 0;
    const std::string text =
        isFixedSize ? frames.text : "a@x(1,0,1) @x(0," + std::to_string(1 + random.Below(30)) + ")b";
    SCOPED_TRACE('"' + text + '"');
    const CompiledTemplate of(Wildcards(text, "@"), isFixedSize ? frames.checksums : std::vector<ChecksumField>());
    IndexRange range{random.Below(200), random.Below(100), 1 + random.Below(random.Below(2) == 0 ? 1 : 5)};
    if (of.IsReadable() && random.Below(4) == 0) range.first = DrawIndex(random) >> 1;
    if (range.first + range.count * range.every >= of.GetReadableCount()) return;
    const auto valueAt = [&](std::uint64_t index) {
        return AuditedValue{ValueAt(of, index), frames.expressions, isFixedSize};
    };
    CheckAudit(random, of, range, valueAt, false);
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_AUDIT_CHECKS_H
