#include "SequenceAudit.h"

#include "CompiledTemplateImpl.h"
#include "PagedBits.h"

#include <algorithm>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace zor::common {

namespace {

using detail::FrameMatcher;
using detail::IndexExpression;
using detail::IndexInverse;

bool Overlap(const ByteSpan& left, const ByteSpan& right)
{
    return left.offset - std::min(left.offset, right.offset) < right.size &&
           right.offset - std::min(left.offset, right.offset) < left.size;
}

bool operator==(const AuditOptions& left, const AuditOptions& right)
{
    return std::equal(left.ignored.begin(), left.ignored.end(), right.ignored.begin(), right.ignored.end(),
                      [](const ByteSpan& one, const ByteSpan& other) {
                          return one.offset == other.offset && one.size == other.size;
                      }) &&
           left.leastSize == right.leastSize && left.trailer == right.trailer && left.window == right.window;
}

} // namespace

/// Everything about one audit.
struct SequenceAudit::Impl {
    /// How the index is found in packets in which some expressions are left out.
    struct Reading {
        explicit Reading(IndexInverse&& from) : inverse(std::move(from)) {}

        IndexInverse inverse;
        bool isCertain = false; ///< Whether texts of the expressions occur once in the range.
        bool isUsable = true;   ///< Whether all that tells the index is there.
        /// Whether indexes with the same texts may differ in other bytes that change, so that several have to be compared.
        bool hasOthers = false;
    };

    /// The most indexes that the searches for one packet try together, beyond the first one each way.
    static constexpr std::uint64_t kMaxSearchTries = 16 * detail::IndexSolver::kMaxTries;

    /// A packet that was found.
    struct Found {
        FrameMatcher::Likeness likeness = FrameMatcher::Likeness::Different;
        std::uint64_t index = 0;
    };

    Impl(const CompiledTemplate& packets, const IndexRange& expected, const AuditOptions& allowed)
        : of(packets), range(expected), options(allowed), program(*packets.mImpl->program), every(expected.every),
          last(expected.first + (expected.count - 1) * expected.every)
    {
        Check();
        const std::size_t full = program.frame.size();
        whole.emplace(MakeReading(full));
        if (program.isFixedSize) matcher = FrameMatcher(program, whole->inverse, options.ignored);
        if (program.isFixedSize && options.leastSize != 0 && options.leastSize < full) {
            isCutCertain = MakeReading(options.leastSize).isCertain;
        }
    }

    void Check() const
    {
        if (range.every == 0) throw std::invalid_argument("an audit needs a range with an interval other than 0");
        if (!program.isFixedSize && !options.ignored.empty()) {
            throw std::invalid_argument("bytes can be ignored in templates of fixed size alone");
        }
        if (range.count == 0) return;
        std::uint64_t distance = 0;
        std::uint64_t end = 0;
        if (__builtin_mul_overflow(range.count - 1, range.every, &distance) ||
            __builtin_add_overflow(distance, range.first, &end)) {
            throw std::invalid_argument("an audit needs a range that ends below 2^64");
        }
        const std::uint64_t readable = of.GetReadableCount();
        if (!of.IsReadable() && readable != 0 && last >= readable) {
            throw std::invalid_argument("the range goes beyond index " + std::to_string(readable - 1) +
                                        ", the last one that can be told");
        }
    }

    bool IsIgnored(const ByteSpan& text) const
    {
        return std::any_of(options.ignored.begin(), options.ignored.end(),
                           [&text](const ByteSpan& span) { return Overlap(span, text); });
    }

    /// Whether a byte of a text is compared.
    bool IsCompared(const ByteSpan& text) const
    {
        for (std::size_t at = text.offset; at < text.offset + text.size; ++at) {
            if (!IsIgnored({at, 1})) return true;
        }
        return false;
    }

    /// \param size  of the packets, or of shorter ones with the same expressions.
    Reading MakeReading(std::size_t size) const
    {
        std::vector<bool> isLeftOut(program.expressions.size());
        bool hasOthers = false;
        for (std::size_t i = 0; i < isLeftOut.size() && program.isFixedSize; ++i) {
            const IndexExpression& expression = program.expressions[i];
            const ByteSpan& text = expression.text;
            isLeftOut[i] = text.offset + text.size > size || IsIgnored(text);
            if (!isLeftOut[i] || !expression.IsMoving()) continue;
            hasOthers = hasOthers || IsCompared(text);
            for (const detail::IndexChecksum& checksum : program.checksums) {
                hasOthers = hasOthers || IsCompared({checksum.at, 2});
            }
        }
        Reading reading(IndexInverse(program, isLeftOut, range));
        reading.hasOthers = hasOthers;
        const std::uint64_t distance = reading.inverse.GetDistance();
        // Where two indexes of the range cannot be so far apart.
        reading.isCertain =
            of.GetReadableCount() != 0 && (range.count < 2 || distance == 0 || last - range.first < distance);
        const std::uint64_t limit = reading.inverse.GetLimit();
        reading.isUsable = of.GetReadableCount() != 0 && limit != 1;
        return reading;
    }

    /// How packets of fewer bytes than the frame are read. Nothing where they lack what tells the index.
    const Reading* ReadingOfCut(std::size_t size)
    {
        std::size_t complete = 0;
        for (const IndexExpression& expression : program.expressions) {
            complete += expression.text.offset + expression.text.size <= size ? 1 : 0;
        }
        auto found = cut.find(complete);
        if (found == cut.end()) found = cut.emplace(complete, MakeReading(size)).first;
        const Reading& reading = found->second;
        const bool tellsAsMuch =
            whole->isCertain ? reading.isCertain : reading.inverse.GetDistance() == whole->inverse.GetDistance();
        return reading.isUsable && tellsAsMuch ? &reading : nullptr;
    }

    std::uint64_t PositionOf(std::uint64_t index) const { return every.Quotient(index - range.first); }

    /// The position behind the greatest one seen.
    std::uint64_t NextPosition() const { return hasSeen ? greatest + 1 : 0; }

    /// Of two indexes the one that is nearer to the position behind the greatest one seen.
    /// \param up    not below it.
    /// \param down  below it.
    std::optional<std::uint64_t> Nearer(const std::optional<std::uint64_t>& up,
                                        const std::optional<std::uint64_t>& down) const
    {
        if (!up || !down) return up ? up : down;
        const std::uint64_t next = NextPosition();
        return PositionOf(*up) - next < next - PositionOf(*down) ? up : down;
    }

    /// Finds the index of a frame without fault, if that can be done fast.
    bool FindQuickly(const unsigned char* packet, std::uint64_t& index) const
    {
        std::uint64_t residue = 0;
        if (!whole->isUsable || range.count == 0 || !matcher.HasConstants(packet) ||
            !whole->inverse.ReadQuickly(packet, residue)) {
            return false;
        }
        // The nearest index of the residue. Any index of the packet has it, so if this is one, it is the nearest one.
        const detail::Divisor& modulus = whole->inverse.GetQuickModulus();
        index = residue;
        if (modulus.GetNumber() != 0) {
            const std::uint64_t next = NextPosition();
            const std::uint64_t target = next < range.count ? range.first + next * range.every : last;
            const std::uint64_t there = modulus.Remainder(target);
            const std::uint64_t up = residue >= there ? residue - there : residue + (modulus.GetNumber() - there);
            const std::uint64_t down = modulus.GetNumber() - up;
            const bool isBelow = down <= target - range.first;
            if (up <= last - target && (!isBelow || up < down)) {
                index = target + up;
            } else if (isBelow) {
                index = target - down;
            } else {
                return false;
            }
        }
        if (index < range.first || index > last) return false;
        if (range.every != 1 && every.Remainder(index - range.first) != 0) return false;
        return matcher.HasChanging(packet, index);
    }

    /// Calls \a visit with indexes of turns, the nearest ones first, until it returns true or enough of them were tried.
    template <class Visit>
    void VisitNearest(const detail::IndexSolver& solver, const std::vector<detail::KnownTurn>& turns, Visit visit) const
    {
        if (range.count == 0) return;
        const std::uint64_t next = NextPosition();
        std::optional<std::uint64_t> up;
        std::optional<std::uint64_t> down;
        if (next < range.count) up = solver.FindFirst(turns, {range.first + next * range.every, last});
        if (next != 0) down = solver.FindLast(turns, {range.first, range.first + (next - 1) * range.every});
        std::uint64_t triesLeft = kMaxSearchTries;
        // The neighbour is looked at before a search, as indexes of turns that last long stand in rows.
        const auto find = [&](std::uint64_t neighbour, auto search) -> std::optional<std::uint64_t> {
            if (solver.Suits(turns, neighbour)) return neighbour;
            if (triesLeft < solver.GetTries()) return std::nullopt;
            triesLeft -= solver.GetTries();
            return search();
        };
        for (std::uint64_t tries = 0; tries < detail::IndexSolver::kMaxTries; ++tries) {
            const std::optional<std::uint64_t> index = Nearer(up, down);
            if (!index || visit(*index)) return;
            if (index == up) {
                up.reset();
                if (*index == last) continue;
                up = find(*index + range.every, [&] { return solver.FindFirst(turns, {*index + 1, last}); });
            } else {
                down.reset();
                if (*index == range.first) continue;
                down = find(*index - range.every, [&] { return solver.FindLast(turns, {range.first, *index - 1}); });
            }
        }
    }

    /// \param size  at most that of the frame.
    Found FindFrame(const unsigned char* packet, std::size_t size)
    {
        const Reading* const reading = size == program.frame.size() ? &*whole : ReadingOfCut(size);
        Found best;
        if (!reading || !reading->isUsable) return best;
        std::string_view frame(reinterpret_cast<const char*>(packet), size);
        if (size != program.frame.size()) { // what is not there is not read
            value.assign(frame);
            value.resize(program.frame.size());
            frame = value;
        }
        reading->inverse.VisitReadings(frame, [&](const std::vector<detail::KnownTurn>& turns) {
            VisitNearest(reading->inverse.GetSolver(), turns, [&](std::uint64_t index) {
                const FrameMatcher::Likeness likeness = matcher.Compare(packet, size, index);
                if (likeness < best.likeness) best = {likeness, index};
                return likeness == FrameMatcher::Likeness::Same || !reading->hasOthers;
            });
        });
        return best;
    }

    /// In a packet of varying size.
    std::optional<std::uint64_t> FindValue(std::string_view packet)
    {
        std::optional<std::uint64_t> up; // the nearest ones so far
        std::optional<std::uint64_t> down;
        if (!whole->isUsable) return up;
        whole->inverse.VisitReadings(packet, [&](const std::vector<detail::KnownTurn>& turns) {
            VisitNearest(whole->inverse.GetSolver(), turns, [&](std::uint64_t index) {
                of.GetValueAt(index, value);
                if (value != packet) return true; // nor is any other, as all have the same texts
                if (PositionOf(index) >= NextPosition()) {
                    up = up ? std::min(*up, index) : index;
                } else {
                    down = down ? std::max(*down, index) : index;
                }
                return true;
            });
        });
        return Nearer(up, down);
    }

    Verdict Add(const unsigned char* packet, std::size_t size, std::uint64_t* index)
    {
        Found found;
        const std::size_t full = program.frame.size();
        if (!program.isFixedSize) {
            const std::string_view all(reinterpret_cast<const char*>(packet), size);
            for (std::size_t behind = 0; behind <= std::min(options.trailer, size); ++behind) {
                if (const auto at = FindValue(all.substr(0, size - behind))) {
                    found = {FrameMatcher::Likeness::Same, *at};
                    break;
                }
            }
        } else if (size >= full && size - full <= options.trailer) {
            if (FindQuickly(packet, found.index)) {
                found.likeness = FrameMatcher::Likeness::Same;
            } else {
                found = FindFrame(packet, full);
            }
        } else if (size < full && options.leastSize != 0 && size >= options.leastSize) {
            found = FindFrame(packet, size);
        }
        const Verdict verdict = Judge(found);
        ++counts.received;
        if (index && verdict != Verdict::Foreign) *index = found.index;
        return verdict;
    }

    Verdict Judge(const Found& found)
    {
        if (found.likeness == FrameMatcher::Likeness::Different) {
            ++counts.foreign;
            return Verdict::Foreign;
        }
        if (found.likeness != FrameMatcher::Likeness::Same) {
            ++counts.changed;
            return Verdict::Changed;
        }
        const std::uint64_t position = PositionOf(found.index);
        if (!hasSeen || position > greatest) {
            seen.Add(position);
            hasSeen = true;
            greatest = position;
            ++counts.inOrder;
            if (options.window != 0 && greatest > options.window) Forget(greatest - options.window);
            return Verdict::InOrder;
        }
        if (options.window != 0 && greatest - position > options.window) {
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
        if (seen.GetPageCount() > 2 * (options.window / detail::PagedBits::kPageBits) + 8) seen.DropBelow(position);
    }

    const CompiledTemplate of;
    const IndexRange range;
    const AuditOptions options;
    const detail::IndexProgram& program;
    const detail::Divisor every;
    const std::uint64_t last; ///< Index of the range, if there is one.
    FrameMatcher matcher;
    std::optional<Reading> whole;       ///< Of packets that were not cut.
    std::map<std::size_t, Reading> cut; ///< Of others, by how many expressions they hold.
    detail::PagedBits seen;
    std::uint64_t greatest = 0; ///< The greatest position seen.
    bool hasSeen = false;
    bool isCutCertain = true; ///< Whether the index is certain in the shortest packets too.
    Counts counts;            ///< Without what follows from the others.
    std::string value;        ///< To be compared, kept for its memory.
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
    const Impl& audit = *mImpl;
    if (!audit.whole->isCertain) return false;
    // Behind a value of varying size, its last digits and the first bytes of a trailer look alike.
    if (!audit.program.isFixedSize) return audit.options.trailer == 0;
    return audit.isCutCertain;
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
    const bool isSameRange = mine.range.first == theirs.range.first && mine.range.count == theirs.range.count &&
                             mine.range.every == theirs.range.every;
    if (this == &other || mine.of != theirs.of || !isSameRange || !(mine.options == theirs.options) ||
        mine.options.window != 0) {
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

SequenceAudit::Counts SequenceAudit::GetCounts() const noexcept
{
    Counts counts = mImpl->counts;
    const std::uint64_t seen = counts.inOrder + counts.late;
    counts.missing = mImpl->range.count - seen;
    counts.missingBelow = mImpl->hasSeen ? mImpl->greatest - (seen - 1) : 0;
    return counts;
}

std::vector<IndexRange> SequenceAudit::GetMissing(std::size_t most) const
{
    const Impl& audit = *mImpl;
    const std::uint64_t window = audit.options.window;
    const std::uint64_t end = audit.range.count;
    std::uint64_t position = window != 0 && audit.greatest > window ? audit.greatest - window : 0;
    const detail::PagedBits::Gaps gaps(audit.seen);
    std::vector<IndexRange> missing;
    while (missing.size() < most) {
        position = gaps.NextClear(position, end);
        if (position >= end) break;
        const std::uint64_t next = gaps.NextSet(position, end);
        missing.push_back({audit.range.first + position * audit.range.every, next - position, audit.range.every});
        position = next;
    }
    return missing;
}

} // namespace zor::common
