#ifndef ZOR_COMMON_TESTS_AUDIT_MODEL_H
#define ZOR_COMMON_TESTS_AUDIT_MODEL_H

/// \file
/// An audit that looks at every value of the range for each packet.

#include <common/SequenceAudit.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace zor::common::test {

/// A value that may be received.
struct AuditedValue {
    std::string text;
    std::vector<ByteSpan> expressions;
    bool isFixedSize;
};

/// Looks at every value of the range.
class SlowAudit {
public:
    SlowAudit(const IndexRange& range, const AuditOptions& options, std::vector<AuditedValue> values)
        : mRange(range), mOptions(options), mValues(std::move(values))
    {
    }

    SequenceAudit::Verdict Add(const std::string& packet, std::uint64_t& index)
    {
        const SequenceAudit::Verdict verdict = Judge(packet, index);
        ++counts.received;
        std::uint64_t* const all[] = {&counts.inOrder, &counts.late,    &counts.duplicate,
                                      &counts.changed, &counts.foreign, &counts.tooOld};
        ++*all[static_cast<std::size_t>(verdict)];
        return verdict;
    }

    void Merge(const SlowAudit& other)
    {
        std::uint64_t late = other.counts.late, inOrder = other.counts.inOrder;
        for (const std::uint64_t position : other.seen) {
            if (seen.insert(position).second) continue;
            ++counts.duplicate;
            --(late != 0 ? late : inOrder);
        }
        counts.received += other.counts.received;
        counts.inOrder += inOrder;
        counts.late += late;
        counts.duplicate += other.counts.duplicate;
        counts.changed += other.counts.changed;
        counts.foreign += other.counts.foreign;
        counts.maxLateness = std::max(counts.maxLateness, other.counts.maxLateness);
    }

    std::vector<std::uint64_t> GetMissing() const
    {
        std::vector<std::uint64_t> missing;
        for (std::uint64_t k = 0; k < mRange.count; ++k) {
            const bool isForgotten = mOptions.window != 0 && !seen.empty() && *seen.rbegin() > k + mOptions.window;
            if (seen.count(k) == 0 && !isForgotten) missing.push_back(mRange.first + k * mRange.every);
        }
        return missing;
    }

    bool IsUnique() const
    {
        std::set<std::string> texts;
        for (const AuditedValue& value : mValues) texts.insert(value.text);
        return texts.size() == mValues.size();
    }

    SequenceAudit::Counts counts;
    std::set<std::uint64_t> seen;

private:
    static bool IsIn(const std::vector<ByteSpan>& spans, std::size_t at)
    {
        return std::any_of(spans.begin(), spans.end(),
                           [at](const ByteSpan& span) { return at >= span.offset && at - span.offset < span.size; });
    }

    /// Whether a packet is a value, as far as it goes and as far as bytes count.
    bool IsLike(const std::string& packet, const AuditedValue& value, bool countsAll) const
    {
        if (!value.isFixedSize) return countsAll && packet == value.text;
        for (std::size_t at = 0; at < std::min(packet.size(), value.text.size()); ++at) {
            if (packet[at] != value.text[at] && !IsIn(mOptions.ignored, at) &&
                (countsAll || IsIn(value.expressions, at))) {
                return false;
            }
        }
        return true;
    }

    /// Among the values that \a isOfSize takes.
    template <class IsOfSize>
    std::optional<std::uint64_t> Nearest(const std::string& packet, bool countsAll, IsOfSize isOfSize) const
    {
        const std::uint64_t next = seen.empty() ? 0 : *seen.rbegin() + 1;
        std::optional<std::uint64_t> best;
        const auto distance = [next](std::uint64_t k) { return k < next ? next - k : k - next; };
        for (std::uint64_t k = 0; k < mValues.size(); ++k) {
            if (!isOfSize(mValues[k]) || !IsLike(packet, mValues[k], countsAll)) continue;
            if (!best || distance(k) < distance(*best)) best = k;
        }
        return best;
    }

    /// Values behind which the least stands, and then those of which a part was cut.
    std::optional<std::uint64_t> Find(const std::string& packet, bool countsAll) const
    {
        for (std::size_t behind = 0; behind <= std::min(mOptions.trailer, packet.size()); ++behind) {
            const std::size_t size = packet.size() - behind;
            const auto best = Nearest(packet.substr(0, size), countsAll,
                                      [size](const AuditedValue& value) { return value.text.size() == size; });
            if (best) return best;
        }
        if (mOptions.leastSize == 0 || packet.size() < mOptions.leastSize) return std::nullopt;
        return Nearest(packet, countsAll, [&](const AuditedValue& value) {
            return value.isFixedSize && value.text.size() > packet.size();
        });
    }

    SequenceAudit::Verdict Judge(const std::string& packet, std::uint64_t& index)
    {
        const auto whole = Find(packet, true);
        const auto found = whole ? whole : Find(packet, false);
        if (!found) return SequenceAudit::Verdict::Foreign;
        index = mRange.first + *found * mRange.every;
        if (!whole) return SequenceAudit::Verdict::Changed;
        if (seen.empty() || *found > *seen.rbegin()) {
            seen.insert(*found);
            return SequenceAudit::Verdict::InOrder;
        }
        const std::uint64_t behind = *seen.rbegin() - *found;
        if (mOptions.window != 0 && behind > mOptions.window) return SequenceAudit::Verdict::TooOld;
        if (!seen.insert(*found).second) return SequenceAudit::Verdict::Duplicate;
        counts.maxLateness = std::max(counts.maxLateness, behind);
        return SequenceAudit::Verdict::Late;
    }

    IndexRange mRange;
    AuditOptions mOptions;
    std::vector<AuditedValue> mValues; ///< Of the range.
};

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_AUDIT_MODEL_H
