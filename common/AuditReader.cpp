#include "AuditReader.h"

#include "IndexBatch.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace zor::common::detail {

namespace {

constexpr std::size_t kMaxCompared = 512; ///< Templates of which each two are compared.

bool Overlap(const ByteSpan& left, const ByteSpan& right)
{
    return left.offset - std::min(left.offset, right.offset) < right.size &&
           right.offset - std::min(left.offset, right.offset) < left.size;
}

} // namespace

AuditSetup::AuditSetup(const CompiledTemplate& packets, const IndexRange& expected, const AuditOptions& allowed)
    : of(packets), range(expected), options(allowed), every(expected.every),
      last(expected.first + (expected.count - 1) * expected.every)
{
    if (range.every == 0) throw std::invalid_argument("an audit needs a range with an interval other than 0");
    const std::vector<TrafficLeaf> leaves = TrafficPlan::LeavesOf(of);
    mostLooks = IndexSolver::kMaxTries / std::clamp<std::uint64_t>(leaves.size(), 1, 1024);
    for (const TrafficLeaf& leaf : leaves) {
        if (leaf.isShown && !leaf.of->program->isFixedSize && !options.ignored.empty()) {
            throw std::invalid_argument("bytes can be ignored only in templates of fixed size");
        }
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

std::optional<IndexBounds> AuditSetup::GetFrom(std::uint64_t position) const noexcept
{
    if (position >= range.count) return std::nullopt;
    return IndexBounds{range.first + position * range.every, last};
}

std::optional<IndexBounds> AuditSetup::GetBefore(std::uint64_t position) const noexcept
{
    if (position == 0 || range.count == 0) return std::nullopt;
    return IndexBounds{range.first, range.first + (position - 1) * range.every};
}

bool AuditSetup::IsIgnored(const ByteSpan& text) const
{
    return std::any_of(options.ignored.begin(), options.ignored.end(),
                       [&text](const ByteSpan& span) { return Overlap(span, text); });
}

bool AuditSetup::IsCompared(const ByteSpan& text) const
{
    for (std::size_t at = text.offset; at < text.offset + text.size; ++at) {
        if (!IsIgnored({at, 1})) return true;
    }
    return false;
}

AuditLeaf::AuditLeaf(const std::shared_ptr<const AuditSetup>& setup, const TrafficLeaf& leaf, std::size_t number)
    : mSetup(setup), mOf(leaf.of), mPath(leaf.path), mNumber(number), mFrameSize(leaf.of->program->frame.size())
{
    const IndexProgram& program = *mOf->program;
    const std::size_t size = program.frame.size();
    mWhole = MakeReading(size);
    if (!program.isFixedSize) return;
    if (mWhole.inverse.get() == &mOf->inverse) {
        mMatcher = std::shared_ptr<const FrameMatcher>(mOf, &mOf->matcher);
    } else {
        mMatcher = std::make_shared<const FrameMatcher>(program, *mWhole.inverse, setup->options.ignored);
    }
    mMayLookAhead = mWhole.isUsable && size != 0 && program.holes.empty() && setup->options.ignored.empty() &&
                    !mPath.HasOrder() && (mPath.IsWhole() || setup->range.every == 1);
    const std::size_t least = setup->options.leastSize;
    if (least != 0 && least < size) mIsCutCertain = MakeReading(least).isCertain;
}

/// \param size  of the packets, or of shorter ones with the same expressions.
AuditLeaf::Reading AuditLeaf::MakeReading(std::size_t size) const
{
    const IndexProgram& program = *mOf->program;
    const IndexRange& range = mSetup->range;
    std::vector<bool> isLeftOut(program.expressions.size());
    Reading reading;
    for (std::size_t i = 0; i < isLeftOut.size() && program.isFixedSize; ++i) {
        const IndexExpression& expression = program.expressions[i];
        const ByteSpan& text = expression.text;
        isLeftOut[i] = text.offset + text.size > size || mSetup->IsIgnored(text);
        if (!isLeftOut[i] || !expression.IsMoving()) continue;
        reading.hasOthers = reading.hasOthers || mSetup->IsCompared(text);
        for (const IndexChecksum& checksum : program.checksums) {
            reading.hasOthers = reading.hasOthers || mSetup->IsCompared({checksum.at, 2});
        }
    }
    const bool isAll = std::find(isLeftOut.begin(), isLeftOut.end(), true) == isLeftOut.end();
    const auto makeInverse = [&](const IndexRange& grid) {
        return isAll && grid.every == 1 && mSetup->options.ignored.empty()
                   ? std::shared_ptr<const IndexInverse>(mOf, &mOf->inverse)
                   : std::make_shared<const IndexInverse>(program, isLeftOut, grid);
    };
    // With the grid, too many indexes may have to be tried. Then the search goes without it, and each index found is
    // checked against the range.
    if (mPath.IsWhole()) reading.inverse = makeInverse(range);
    if (!reading.inverse || (range.every != 1 && !ReachesAll(reading.inverse->GetSolver()))) {
        reading.inverse = makeInverse(IndexRange{});
    }
    const bool reachesAll = ReachesAll(reading.inverse->GetSolver());
    reading.hasOthers = reading.hasOthers || !reading.inverse->IsAllRead();
    const std::uint64_t distance = reading.inverse->GetDistance();
    // Where two indexes of the range cannot be so far apart.
    reading.isCertain = mOf->GetReadableCount() != 0 && reachesAll &&
                        (range.count < 2 || (reading.inverse->HasOneReading() &&
                                             mPath.ShowsOnce(IndexBounds{range.first, mSetup->last}, distance)));
    reading.isUsable = mOf->GetReadableCount() != 0;
    const std::uint64_t tries = reading.inverse->IsQuick() ? 1 : reading.inverse->GetSolver().GetTries();
    reading.isSearched = reachesAll && mPath.CountTries(distance, tries) <= IndexPath::kMaxTries;
    return reading;
}

/// Whether a search finds all indexes that the range shows.
bool AuditLeaf::ReachesAll(const IndexSolver& solver) const
{
    const std::uint64_t limit = solver.GetLimit();
    if (limit == 0 || mSetup->range.count == 0) return true;
    const IndexBounds outer = {mSetup->range.first, mSetup->last};
    const std::optional<IndexBounds> inner = mPath.HasOrder() ? mPath.GetReach() : mPath.InnerOf(outer);
    return !inner || inner->last < limit;
}

/// How packets of fewer bytes than the frame are read. Nothing where they lack what tells the index.
const AuditLeaf::Reading* AuditLeaf::ReadingOfCut(std::size_t size)
{
    std::size_t complete = 0;
    for (const IndexExpression& expression : mOf->program->expressions) {
        complete += expression.text.offset + expression.text.size <= size ? 1 : 0;
    }
    auto found = mCut.find(complete);
    if (found == mCut.end()) found = mCut.emplace(complete, MakeReading(size)).first;
    const Reading& reading = found->second;
    // A distance of 1 tells nothing, so then no text may be missing.
    const std::uint64_t distance = mWhole.inverse->GetDistance();
    const bool tellsAsMuch = mWhole.isCertain
                                 ? reading.isCertain
                                 : reading.inverse->GetDistance() == distance &&
                                       (distance != 1 || reading.inverse->CountRead() == mWhole.inverse->CountRead());
    return reading.isUsable && tellsAsMuch ? &reading : nullptr;
}

bool AuditLeaf::IsQuick() const noexcept
{
    return mWhole.inverse->IsQuick() && !mWhole.hasOthers && (mPath.IsWhole() || mSetup->range.every == 1);
}

void AuditLeaf::LookAhead(std::uint64_t first)
{
    const IndexProgram& program = *mOf->program;
    const std::size_t size = program.frame.size();
    const bool isPatch = !mAhead.frames.empty();
    if (!isPatch) mAhead.frames.resize(size * std::clamp(kAheadBytes / size, kMinAhead, kMaxAhead));
    const IndexRange& range = mSetup->range;
    const std::size_t count = mAhead.frames.size() / size;
    const IndexRange indexes = mPath.IsWhole() ? IndexRange{range.first + first * range.every, count, range.every}
                                               : IndexRange{first, count, 1};
    WriteFrames(program, indexes, count, FrameBuffers(mAhead.frames.data(), size), isPatch);
    mAhead.first = first;
    mAhead.count = count;
}

bool AuditLeaf::IsFrameAt(const unsigned char* packet, std::uint64_t inner, std::uint64_t position, bool isInOrder)
{
    const std::uint64_t place = mPath.IsWhole() ? position : inner;
    if (isInOrder && mMayLookAhead && place - mAhead.first >= mAhead.count) LookAhead(place);
    if (place - mAhead.first < mAhead.count) {
        return std::memcmp(packet, mAhead.frames.data() + (place - mAhead.first) * mFrameSize, mFrameSize) == 0;
    }
    // The counters first, as these differ in a packet that is not the expected one.
    return mWhole.isUsable && mMatcher->IsFrameAt(packet, inner) && mMatcher->HasConstants(packet);
}

/// The index of a residue that is nearest to a position, where the template is the whole. Any index of the packet has the
/// residue, so if this is one, it is the nearest one.
bool AuditLeaf::FindInWhole(std::uint64_t residue, std::uint64_t next, std::uint64_t& index) const
{
    const AuditSetup& setup = *mSetup;
    const IndexRange& range = setup.range;
    const Divisor& modulus = mWhole.inverse->GetQuickModulus();
    index = residue;
    if (modulus.GetNumber() != 0) {
        const std::uint64_t target = next < range.count ? range.first + next * range.every : setup.last;
        const std::uint64_t there = modulus.Remainder(target);
        const std::uint64_t up = residue >= there ? residue - there : residue + (modulus.GetNumber() - there);
        const std::uint64_t down = modulus.GetNumber() - up;
        const bool isBelow = down <= target - range.first;
        if (up <= setup.last - target && (!isBelow || up < down)) {
            index = target + up;
        } else if (isBelow) {
            index = target - down;
        } else {
            return false;
        }
    }
    return index >= range.first && index <= setup.last && setup.Holds(index);
}

bool AuditLeaf::FindQuickly(const unsigned char* packet, std::uint64_t next, PlacedIndex& found) const
{
    std::uint64_t residue = 0;
    if (!mWhole.isUsable || mSetup->range.count == 0 || !mMatcher->HasConstants(packet) ||
        !mWhole.inverse->ReadQuickly(packet, residue)) {
        return false;
    }
    if (mPath.HasOrder() && !mWhole.inverse->IsQuick()) return false; // as too many indexes have the residue
    bool isFound = false;
    if (mPath.IsWhole()) {
        isFound = FindInWhole(residue, next, found.outer);
        found.inner = found.outer;
    } else {
        const ResidueSearch search = {residue, mWhole.inverse->GetQuickModulus()};
        VisitNearest(search, next, mWhole.isSearched, [&](const PlacedIndex& at) {
            found = at;
            isFound = true;
            return true;
        });
    }
    return isFound && mMatcher->HasChanging(packet, found.inner);
}

/// Calls \a visit with what a search finds, the nearest ones first, until it returns true or enough of them were tried.
template <class Search, class Visit>
void AuditLeaf::VisitNearest(const Search& search, std::uint64_t next, bool isSearched, Visit visit) const
{
    const AuditSetup& setup = *mSetup;
    const bool isSparse = setup.range.every != 1;
    if (!isSearched || (!mPath.IsWhole() && (mPath.HasOrder() || isSparse))) {
        const bool isInGrid = isSparse && (!mPath.HasOrder() || setup.range.count <= kNearInGrid);
        const std::uint64_t instead = mPath.HasOrder() ? IndexPath::kMaxTries : setup.mostLooks; // of a search
        const std::uint64_t most = !isSearched ? instead : isInGrid ? kNearInGrid : kNearInOrder;
        if (VisitNear(search, next, most, visit) || !isSearched || setup.range.count <= most) return;
    }
    if (mPath.HasOrder()) return VisitOrdered(search, next, visit);
    const std::optional<IndexBounds> from = setup.GetFrom(next);
    const std::optional<IndexBounds> before = setup.GetBefore(next);
    const std::optional<IndexBounds> above = from ? mPath.InnerOf(*from) : from;
    const std::optional<IndexBounds> below = before ? mPath.InnerOf(*before) : before;
    const std::uint64_t stride = mPath.IsWhole() ? setup.range.every : 1;
    const auto place = [this](const std::optional<std::uint64_t>& inner) {
        return inner ? std::optional<PlacedIndex>({*inner, *mPath.OuterOf(*inner)}) : std::nullopt;
    };
    std::optional<PlacedIndex> up = above ? place(search.FindFirst(*above)) : std::nullopt;
    std::optional<PlacedIndex> down = below ? place(search.FindLast(*below)) : std::nullopt;
    std::uint64_t triesLeft = kMaxSearchTries;
    // The neighbour is looked at before a search, as indexes of turns that last long stand in rows.
    const auto find = [&](std::uint64_t neighbour, const IndexBounds& bounds,
                          auto searchOn) -> std::optional<PlacedIndex> {
        if (neighbour >= bounds.first && neighbour <= bounds.last && search.Suits(neighbour)) return place(neighbour);
        if (triesLeft < search.GetTries()) return std::nullopt;
        triesLeft -= search.GetTries();
        return place(searchOn(bounds));
    };
    const auto searchUp = [&](const IndexBounds& bounds) { return search.FindFirst(bounds); };
    const auto searchDown = [&](const IndexBounds& bounds) { return search.FindLast(bounds); };
    for (std::uint64_t tries = 0; tries < IndexSolver::kMaxTries && (up || down); ++tries) {
        const bool isUp = up && (!down || setup.IsNearer(up->outer, down->outer, next));
        const PlacedIndex at = isUp ? *up : *down;
        const bool isHeld = setup.Holds(at.outer);
        if (isHeld && visit(at)) return;
        (isUp ? up : down).reset();
        if (at.inner == (isUp ? above->last : below->first)) continue;
        if (isHeld) {
            if (isUp) {
                up = find(at.inner + stride, {at.inner + 1, above->last}, searchUp);
            } else {
                down = find(at.inner - stride, {below->first, at.inner - 1}, searchDown);
            }
            continue;
        }
        // The search goes on at the next index of the range. There is one, as the range holds the last index each way.
        const std::uint64_t held = setup.range.first + setup.PositionOf(at.outer) * setup.range.every;
        if (isUp) {
            const auto rest = mPath.InnerOf({held + setup.range.every, from->last});
            if (rest) up = find(rest->first, *rest, searchUp);
        } else {
            const auto rest = mPath.InnerOf({before->first, held});
            if (rest) down = find(rest->last, *rest, searchDown);
        }
    }
}

/// Looks at so many positions each way, and returns whether \a visit has returned true.
template <class Search, class Visit>
bool AuditLeaf::VisitNear(const Search& search, std::uint64_t next, std::uint64_t most, Visit& visit) const
{
    const AuditSetup& setup = *mSetup;
    const auto isFound = [&](std::uint64_t position) {
        const std::uint64_t index = setup.range.first + position * setup.range.every;
        if (mPath.IsWhole()) return search.Suits(index) && visit(PlacedIndex{index, index});
        const TrafficPlan::Shown shown = TrafficPlan::PlanOf(setup.of)->At(index);
        return shown.leaf == mNumber && search.Suits(shown.index) && visit(PlacedIndex{shown.index, index});
    };
    for (std::uint64_t distance = 0; distance <= most; ++distance) {
        const bool isBelow = distance != 0 && distance <= next;
        const bool isAbove = distance < setup.range.count - std::min(next, setup.range.count);
        if (isBelow && isFound(next - distance)) return true;
        if (isAbove && isFound(next + distance)) return true;
        if (!isBelow && !isAbove && distance != 0) return false;
    }
    return false;
}

/// The nearest index of the range that shows an inner one.
std::optional<PlacedIndex> AuditLeaf::NearestShowing(std::uint64_t inner, std::uint64_t next, bool isUp,
                                                     std::uint64_t& triesLeft) const
{
    std::optional<IndexBounds> bounds = isUp ? mSetup->GetFrom(next) : mSetup->GetBefore(next);
    for (; bounds && triesLeft != 0; --triesLeft) {
        const std::optional<std::uint64_t> at =
            isUp ? mPath.FirstShowing(inner, *bounds) : mPath.LastShowing(inner, *bounds);
        if (!at) break;
        if (mSetup->Holds(*at)) return PlacedIndex{inner, *at};
        if (*at == (isUp ? bounds->last : bounds->first)) break;
        (isUp ? bounds->first : bounds->last) = isUp ? *at + 1 : *at - 1;
    }
    return std::nullopt;
}

/// The same where an order stands between, so that indexes are sorted first.
template <class Search, class Visit>
void AuditLeaf::VisitOrdered(const Search& search, std::uint64_t next, Visit& visit) const
{
    std::vector<PlacedIndex> ups;
    std::vector<PlacedIndex> downs;
    std::uint64_t triesLeft = kMaxSearchTries;
    VisitShown(mPath, search, [&](std::uint64_t inner) {
        if (const auto up = NearestShowing(inner, next, true, triesLeft)) ups.push_back(*up);
        if (const auto down = NearestShowing(inner, next, false, triesLeft)) downs.push_back(*down);
        return triesLeft == 0;
    });
    const auto isLower = [](const PlacedIndex& left, const PlacedIndex& right) { return left.outer < right.outer; };
    std::sort(ups.begin(), ups.end(), isLower);
    std::sort(downs.begin(), downs.end(), isLower);
    for (auto up = ups.begin(); up != ups.end() || !downs.empty();) {
        const bool isUp = up != ups.end() && (downs.empty() || mSetup->IsNearer(up->outer, downs.back().outer, next));
        if (visit(isUp ? *up : downs.back())) return;
        if (isUp) {
            ++up;
        } else {
            downs.pop_back();
        }
    }
}

FoundPacket AuditLeaf::FindFrame(const unsigned char* packet, std::size_t size, std::uint64_t next)
{
    const std::size_t full = mOf->program->frame.size();
    const Reading* const reading = size == full ? &mWhole : ReadingOfCut(size);
    FoundPacket best;
    if (!reading || !reading->isUsable) return best;
    std::string_view frame(reinterpret_cast<const char*>(packet), size);
    if (size != full) { // what is not there is not read
        mValue.assign(frame);
        mValue.resize(full);
        frame = mValue;
    }
    reading->inverse->VisitReadings(frame, [&](const std::vector<KnownTurn>& turns) {
        VisitNearest(TurnSearch{reading->inverse->GetSolver(), turns}, next, reading->isSearched,
                     [&](const PlacedIndex& at) {
                         const FrameMatcher::Likeness likeness = mMatcher->Compare(packet, size, at.inner);
                         if (likeness < best.likeness) best = {likeness, at};
                         return likeness == FrameMatcher::Likeness::Same || !reading->hasOthers;
                     });
    });
    return best;
}

std::optional<PlacedIndex> AuditLeaf::FindValue(std::string_view packet, std::uint64_t next)
{
    std::optional<PlacedIndex> up; // the nearest ones so far
    std::optional<PlacedIndex> down;
    if (!mWhole.isUsable) return up;
    mWhole.inverse->VisitReadings(packet, [&](const std::vector<KnownTurn>& turns) {
        VisitNearest(TurnSearch{mWhole.inverse->GetSolver(), turns}, next, mWhole.isSearched,
                     [&](const PlacedIndex& at) {
                         mOf->GetValueAt(at.inner, mValue);
                         if (mValue != packet) return true; // nor is any other, as all have the same texts
                         if (mSetup->PositionOf(at.outer) >= next) {
                             if (!up || at.outer < up->outer) up = at;
                         } else if (!down || at.outer > down->outer) {
                             down = at;
                         }
                         return true;
                     });
    });
    if (!up || !down) return up ? up : down;
    return mSetup->IsNearer(up->outer, down->outer, next) ? up : down;
}

AuditReader::AuditReader(const std::shared_ptr<const AuditSetup>& setup)
    : mSetup(setup), mIsReadable(setup->of.GetReadableCount() != 0), mPlan(TrafficPlan::PlanOf(setup->of))
{
    const std::vector<TrafficLeaf> leaves = TrafficPlan::LeavesOf(setup->of);
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < leaves.size(); ++i) {
        if (leaves[i].isShown) order.push_back(i);
    }
    std::sort(order.begin(), order.end(), [&leaves](std::size_t left, std::size_t right) {
        const IndexProgram& one = *leaves[left].of->program;
        const IndexProgram& other = *leaves[right].of->program;
        if (one.isFixedSize != other.isFixedSize) return one.isFixedSize;
        return one.maxSize != other.maxSize ? one.maxSize > other.maxSize : left < right;
    });
    mPlaces.resize(leaves.size());
    for (const std::size_t leaf : order) {
        mPlaces[leaf] = mLeaves.size();
        mLeaves.emplace_back(setup, leaves[leaf], leaf);
        const IndexProgram& program = *leaves[leaf].of->program;
        if (!program.isFixedSize) continue;
        const std::size_t size = program.frame.size();
        if (mGroups.empty() || mGroups.back().size != size) mGroups.push_back({size, mFixedCount, mFixedCount});
        mGroups.back().end = ++mFixedCount;
    }
    mAreApart = mLeaves.size() <= kMaxCompared;
    for (std::size_t i = 1; i < mLeaves.size() && mAreApart; ++i) {
        for (std::size_t k = 0; k < i && mAreApart; ++k) mAreApart = AreApart(mLeaves[i], mLeaves[k]);
    }
}

/// Whether no packet may be of both.
bool AuditReader::AreApart(const AuditLeaf& left, const AuditLeaf& right) const
{
    const IndexProgram& one = left.GetProgram();
    const IndexProgram& other = right.GetProgram();
    const AuditOptions& options = mSetup->options;
    const std::size_t trailer = options.trailer;
    if (options.leastSize == 0 &&
        (one.minSize > other.maxSize ? one.minSize - other.maxSize > trailer
                                     : other.minSize > one.maxSize && other.minSize - one.maxSize > trailer)) {
        return true;
    }
    if (!one.isFixedSize || !other.isFixedSize) return false;
    const std::size_t size = std::min(one.frame.size(), other.frame.size());
    const std::size_t compared = options.leastSize == 0 ? size : std::min(size, options.leastSize);
    return left.GetMatcher().ExcludesFramesOf(right.GetMatcher(), compared);
}

bool AuditReader::IsCertain() const noexcept
{
    // Behind a value of varying size, its last digits and the first bytes of a trailer look alike.
    const bool isTold = mFixedCount == mLeaves.size() || mSetup->options.trailer == 0;
    return mIsReadable && isTold && mAreApart &&
           std::all_of(mLeaves.begin(), mLeaves.end(), [](const AuditLeaf& leaf) { return leaf.IsCertain(); });
}

/// Whether a packet is surely the one at a position.
bool AuditReader::FindExpected(const unsigned char* packet, std::size_t size, std::uint64_t next, std::uint64_t& index)
{
    if (next >= mSetup->range.count) return false;
    index = mSetup->range.first + next * mSetup->range.every;
    const TrafficPlan::Shown shown = mPlan ? mPlan->At(index) : TrafficPlan::Shown{0, index};
    const std::size_t place = mPlaces[shown.leaf];
    if (place >= mFixedCount) return false;
    AuditLeaf& leaf = mLeaves[place];
    const std::size_t full = leaf.GetFrameSize();
    // Of templates that are not apart, one with a shorter trailer goes first.
    const bool isOfSize = size == full || (mAreApart && size > full && size - full <= mSetup->options.trailer);
    return isOfSize &&
           leaf.IsFrameAt(packet, shown.index, next, mStreak >= kStreak && mLeaves.size() <= kMaxAheadLeaves);
}

/// Keeps the better one of two.
void AuditReader::Take(FoundPacket& best, const FoundPacket& found, std::uint64_t next) const
{
    const bool isSame = found.likeness == FrameMatcher::Likeness::Same;
    if (found.likeness != best.likeness || !isSame) {
        if (found.likeness < best.likeness) best = found;
        return;
    }
    const AuditSetup& setup = *mSetup;
    const bool isUp = setup.PositionOf(found.at.outer) >= next;
    const bool isBestUp = setup.PositionOf(best.at.outer) >= next;
    const bool isBetter = isUp == isBestUp ? (found.at.outer < best.at.outer) == isUp
                          : isUp           ? setup.IsNearer(found.at.outer, best.at.outer, next)
                                           : !setup.IsNearer(best.at.outer, found.at.outer, next);
    if (isBetter) best = found;
}

/// Looks among leaves of one size.
/// \param size  of the packet, up to that of the leaves.
void AuditReader::FindInGroup(const Group& group, const unsigned char* packet, std::size_t size, std::uint64_t next,
                              FoundPacket& best)
{
    FoundPacket found;
    for (std::size_t i = group.first; i < group.end && size == group.size; ++i) {
        PlacedIndex at;
        if (!mLeaves[i].FindQuickly(packet, next, at)) continue;
        Take(found, {FrameMatcher::Likeness::Same, at}, next);
        if (mAreApart) break;
    }
    const bool isFound = found.likeness == FrameMatcher::Likeness::Same;
    std::size_t differences = 0; // of the one that was found changed
    for (std::size_t i = group.first; i < group.end && !(isFound && mAreApart); ++i) {
        if (isFound && mLeaves[i].IsQuick()) continue;
        const FoundPacket other = mLeaves[i].FindFrame(packet, size, next);
        if (other.likeness == FrameMatcher::Likeness::Different) continue;
        // Of several templates that a changed packet may be of, it is the one that differs least.
        const bool isCompared =
            other.likeness == FrameMatcher::Likeness::SameExpressions && group.end - group.first > 1;
        const std::size_t count =
            isCompared ? mLeaves[i].GetMatcher().CountDifferences(packet, size, other.at.inner) : 0;
        if (other.likeness == FrameMatcher::Likeness::SameExpressions && found.likeness == other.likeness) {
            if (count < differences) found = other;
        } else {
            Take(found, other, next);
        }
        if (found.at.outer == other.at.outer) differences = count;
    }
    Take(best, found, next);
}

/// Looks for packets that were not cut, the shortest trailer first.
FoundPacket AuditReader::FindWhole(const unsigned char* packet, std::size_t size, std::uint64_t next)
{
    FoundPacket best;
    const std::size_t trailer = mSetup->options.trailer;
    auto group = mGroups.begin();
    while (group != mGroups.end() && group->size > size) ++group;
    const std::size_t least = size - std::min(size, trailer);
    for (std::size_t end = size;; --end) {   // of the value
        if (mFixedCount == mLeaves.size()) { // all sizes are known
            if (group == mGroups.end()) break;
            end = group->size;
        }
        if (end < least) break;
        if (group != mGroups.end() && group->size == end) FindInGroup(*group++, packet, end, next, best);
        for (std::size_t i = mFixedCount; i < mLeaves.size(); ++i) {
            const std::string_view value(reinterpret_cast<const char*>(packet), end);
            const std::optional<PlacedIndex> at = mLeaves[i].FindValue(value, next);
            if (at) Take(best, {FrameMatcher::Likeness::Same, *at}, next);
        }
        if (best.likeness == FrameMatcher::Likeness::Same || end == least) break;
    }
    return best;
}

FoundPacket AuditReader::FindAny(const unsigned char* packet, std::size_t size, std::uint64_t next)
{
    FoundPacket best = FindWhole(packet, size, next);
    const std::size_t least = mSetup->options.leastSize;
    if (best.likeness == FrameMatcher::Likeness::Same || least == 0 || size < least) return best;
    for (const Group& group : mGroups) {
        if (group.size > size) FindInGroup(group, packet, size, next, best);
    }
    return best;
}

FoundPacket AuditReader::Find(const unsigned char* packet, std::size_t size, std::uint64_t next)
{
    FoundPacket found;
    if (!mIsReadable) return found;
    bool isSame = FindExpected(packet, size, next, found.at.outer);
    if (isSame) {
        ++mStreak;
    } else {
        mStreak = 0;
        const bool isOfSize = mLeaves.size() == 1 && mFixedCount == 1 && size >= mGroups[0].size;
        if (isOfSize && size - mGroups[0].size <= mSetup->options.trailer) { // most templates
            isSame = mLeaves[0].FindQuickly(packet, next, found.at);
        }
    }
    if (isSame) {
        found.likeness = FrameMatcher::Likeness::Same;
    } else {
        found = FindAny(packet, size, next);
    }
    return found;
}

} // namespace zor::common::detail
