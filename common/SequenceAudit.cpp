#include "SequenceAudit.h"

#include "AuditReader.h"
#include "BigEndian.h"
#include "PagedBits.h"

#include <algorithm>
#include <cassert>

namespace zor::common {

namespace {

using detail::FrameMatcher;

bool operator==(const AuditOptions& left, const AuditOptions& right)
{
    return left.ignored == right.ignored && left.leastSize == right.leastSize && left.trailer == right.trailer &&
           left.window == right.window;
}

} // namespace

/// Everything about one audit.
struct SequenceAudit::Impl {
    Impl(const CompiledTemplate& packets, const IndexRange& expected, const AuditOptions& allowed)
        : setup(std::make_shared<const detail::AuditSetup>(packets, expected, allowed)), reader(setup),
          window(allowed.window)
    {
    }

    Verdict Add(const unsigned char* packet, std::size_t size, std::uint64_t* index)
    {
        const detail::FoundPacket found = reader.Find(packet, size, hasSeen ? greatest + 1 : 0);
        const Verdict verdict = Judge(found);
        ++counts.received;
        assert(counts.received ==
               counts.inOrder + counts.late + counts.duplicate + counts.changed + counts.foreign + counts.tooOld);
        assert(!hasSeen || greatest < setup->range.count);
        if (index && verdict != Verdict::Foreign) *index = found.at.outer;
        return verdict;
    }

    Verdict Judge(const detail::FoundPacket& found)
    {
        if (found.likeness == FrameMatcher::Likeness::Different) {
            ++counts.foreign;
            return Verdict::Foreign;
        }
        if (found.likeness != FrameMatcher::Likeness::Same) {
            ++counts.changed;
            return Verdict::Changed;
        }
        const std::uint64_t position = setup->PositionOf(found.at.outer);
        if (!hasSeen || position > greatest) {
            seen.Add(position);
            hasSeen = true;
            greatest = position;
            ++counts.inOrder;
            if (window != 0 && greatest > window) Forget(greatest - window);
            return Verdict::InOrder;
        }
        if (window != 0 && greatest - position > window) {
            ++counts.tooOld;
            return Verdict::TooOld;
        }
        if (!seen.Add(position)) {
            ++counts.duplicate;
            return Verdict::Duplicate;
        }
        ++counts.late;
        counts.maxLateness = std::max(counts.maxLateness, greatest - position);
        return Verdict::Late;
    }

    /// Forgets what is below a position, now and then.
    void Forget(std::uint64_t position) noexcept
    {
        if (seen.GetPageCount() > 2 * (window / detail::PagedBits::kPageBits) + 8) seen.DropBelow(position);
    }

    std::shared_ptr<const detail::AuditSetup> setup;
    detail::AuditReader reader;
    std::uint64_t window;
    detail::PagedBits seen;
    std::uint64_t greatest = 0; ///< The greatest position seen.
    bool hasSeen = false;
    Counts counts; ///< Without what follows from the others.
};

SequenceAudit::SequenceAudit(const CompiledTemplate& of, const IndexRange& expected, const AuditOptions& options)
    : mImpl(std::make_unique<Impl>(of, expected, options))
{
}

SequenceAudit::SequenceAudit(const SequenceAudit& other) : mImpl(std::make_unique<Impl>(*other.mImpl)) {}
SequenceAudit::SequenceAudit(SequenceAudit&& other) noexcept = default;

SequenceAudit& SequenceAudit::operator=(const SequenceAudit& other)
{
    return *this = SequenceAudit(other);
}

SequenceAudit& SequenceAudit::operator=(SequenceAudit&& other) noexcept = default;
SequenceAudit::~SequenceAudit() = default;

bool SequenceAudit::IsCertain() const noexcept
{
    return mImpl->reader.IsCertain();
}

SequenceAudit::Verdict SequenceAudit::Add(std::string_view packet, std::uint64_t* index)
{
    return Add(reinterpret_cast<const unsigned char*>(packet.data()), packet.size(), index);
}

SequenceAudit::Verdict SequenceAudit::Add(const unsigned char* packet, std::size_t size, std::uint64_t* index)
{
    return mImpl->Add(packet, size, index);
}

bool SequenceAudit::Merge(const SequenceAudit& other)
{
    Impl& mine = *mImpl;
    const Impl& theirs = *other.mImpl;
    const IndexRange& range = mine.setup->range;
    const IndexRange& otherRange = theirs.setup->range;
    const bool isSameRange =
        range.first == otherRange.first && range.count == otherRange.count && range.every == otherRange.every;
    if (this == &other || mine.setup->of != theirs.setup->of || !isSameRange ||
        !(mine.setup->options == theirs.setup->options) || mine.window != 0) {
        return false;
    }
    mine.seen.PrepareToJoin(theirs.seen);
    const std::uint64_t common = mine.seen.Join(theirs.seen);
    const std::uint64_t lateTwice = std::min(common, theirs.counts.late);
    mine.counts.received += theirs.counts.received;
    mine.counts.inOrder += theirs.counts.inOrder - (common - lateTwice);
    mine.counts.late += theirs.counts.late - lateTwice;
    mine.counts.duplicate += theirs.counts.duplicate + common;
    mine.counts.changed += theirs.counts.changed;
    mine.counts.foreign += theirs.counts.foreign;
    mine.counts.maxLateness = std::max(mine.counts.maxLateness, theirs.counts.maxLateness);
    mine.greatest = std::max(mine.greatest, theirs.greatest);
    mine.hasSeen = mine.hasSeen || theirs.hasSeen;
    return true;
}

namespace {

constexpr std::uint64_t kSavedForm = 0x7a6f725f61756431; ///< What saved audits begin with: form 1.

/// The numbers of a saved audit before its pages.
constexpr std::size_t kSavedNumbers = 13;

} // namespace

std::string SequenceAudit::Save() const
{
    const Impl& audit = *mImpl;
    const Counts& counts = audit.counts;
    const IndexRange& range = audit.setup->range;
    const std::uint64_t numbers[kSavedNumbers] = {kSavedForm,     range.first,    range.count,   range.every,
                                                  audit.window,   counts.inOrder, counts.late,   counts.duplicate,
                                                  counts.changed, counts.foreign, counts.tooOld, counts.maxLateness,
                                                  audit.greatest};
    std::string saved(8 * kSavedNumbers, '\0');
    for (std::size_t i = 0; i < kSavedNumbers; ++i) {
        detail::StoreBig64(reinterpret_cast<unsigned char*>(&saved[8 * i]), numbers[i]);
    }
    audit.seen.Save(saved);
    return saved;
}

bool SequenceAudit::Restore(std::string_view saved)
{
    Impl& audit = *mImpl;
    const IndexRange& range = audit.setup->range;
    std::uint64_t numbers[kSavedNumbers];
    if (saved.size() < sizeof numbers) return false;
    for (std::size_t i = 0; i < kSavedNumbers; ++i) {
        numbers[i] = detail::LoadBig64(reinterpret_cast<const unsigned char*>(&saved[8 * i]));
    }
    const std::uint64_t expected[] = {kSavedForm, range.first, range.count, range.every, audit.window};
    if (!std::equal(std::begin(expected), std::end(expected), numbers)) return false;
    Counts counts;
    std::uint64_t* const verdicts[] = {&counts.inOrder, &counts.late,    &counts.duplicate,
                                       &counts.changed, &counts.foreign, &counts.tooOld};
    for (std::size_t i = 0; i < std::size(verdicts); ++i) {
        *verdicts[i] = numbers[5 + i];
        if (__builtin_add_overflow(counts.received, *verdicts[i], &counts.received)) return false;
    }
    counts.maxLateness = numbers[11];
    const std::uint64_t greatest = numbers[12];
    const std::uint64_t seen = counts.inOrder + counts.late;
    detail::PagedBits bits;
    std::uint64_t count = 0, last = 0;
    if (!bits.Restore(saved.substr(sizeof numbers), count, last)) return false;
    // A window forgets what is far behind, and only that.
    const bool isWhole = audit.window == 0 ? count == seen : count <= seen && (count > 0) == (seen > 0);
    if (!isWhole || last != greatest || counts.maxLateness > greatest || (seen > 0) != (counts.inOrder > 0))
        return false;
    if (counts.late > 0 && counts.maxLateness == 0) return false;
    if (audit.window != 0 && counts.maxLateness > audit.window) return false;
    if ((counts.tooOld > 0 && audit.window == 0) || (seen == 0 && (counts.duplicate > 0 || counts.tooOld > 0)))
        return false;
    if (seen > 0 && (greatest >= range.count || seen - 1 > greatest)) return false;
    audit.seen.Swap(bits);
    audit.counts = counts;
    audit.greatest = greatest;
    audit.hasSeen = seen > 0;
    return true;
}

SequenceAudit::Counts SequenceAudit::GetCounts() const noexcept
{
    Counts counts = mImpl->counts;
    const std::uint64_t seen = counts.inOrder + counts.late;
    counts.missing = mImpl->setup->range.count - seen;
    counts.missingBelow = mImpl->hasSeen ? mImpl->greatest - (seen - 1) : 0;
    return counts;
}

std::vector<IndexRange> SequenceAudit::GetMissing(std::size_t most) const
{
    const Impl& audit = *mImpl;
    const std::uint64_t window = audit.window;
    const std::uint64_t end = audit.setup->range.count;
    std::uint64_t position = window != 0 && audit.greatest > window ? audit.greatest - window : 0;
    const detail::PagedBits::Gaps gaps(audit.seen);
    std::vector<IndexRange> missing;
    while (missing.size() < most) {
        position = gaps.NextClear(position, end);
        if (position >= end) break;
        const std::uint64_t next = gaps.NextSet(position, end);
        missing.push_back({audit.setup->range.first + position * audit.setup->range.every, next - position,
                           audit.setup->range.every});
        position = next;
    }
    return missing;
}

} // namespace zor::common
