#include "TrafficPlan.h"

#include "CompiledTemplateImpl.h"
#include "IndexCounter.h"
#include "Traffic.h"

#include <algorithm>
#include <cassert>
#include <map>
#include <numeric>
#include <stdexcept>
#include <string>

namespace zor::common {

namespace detail {

namespace {

constexpr std::uint64_t kMaxPattern = 65536;
constexpr std::size_t kMaxLeaves = 65536;
constexpr std::size_t kMaxDepth = 16;
constexpr std::uint64_t kMaxComparedPeriod = 4096;

void Require(bool isRight, const char* otherwise)
{
    if (!isRight) throw std::invalid_argument(otherwise);
}

/// Parts of one weight, which take turns.
struct WeightClass {
    std::vector<std::uint32_t> parts;
    std::size_t next = 0;
    std::uint32_t rank = 0;   ///< How many places the next one has.
    std::int64_t credits = 0; ///< Given to each one so far.
};

/// Calls \a visit with the bytes of spans.
template <class Visit>
void VisitBytes(const std::vector<ByteSpan>& spans, Visit visit)
{
    for (const ByteSpan& span : spans) {
        for (std::size_t at = span.offset; at < span.offset + span.size; ++at) visit(at);
    }
}

/// The spans of the bytes that are marked.
std::vector<ByteSpan> SpansOf(const std::vector<bool>& isMarked)
{
    std::vector<ByteSpan> spans;
    for (std::size_t at = 0; at < isMarked.size(); ++at) {
        if (!isMarked[at]) continue;
        if (at == 0 || !isMarked[at - 1]) spans.push_back({at, 0});
        ++spans.back().size;
    }
    return spans;
}

} // namespace

const TrafficPlan* TrafficPlan::PlanOf(const CompiledTemplate& of) noexcept
{
    return of.mImpl->traffic.get();
}

std::vector<TrafficLeaf> TrafficPlan::LeavesOf(const CompiledTemplate& of)
{
    const TrafficPlan* const plan = PlanOf(of);
    if (plan) return plan->mLeaves;
    return {{std::shared_ptr<const ReadableProgram>(of.mImpl, &of.mImpl->read), {}, true, true, 0, {}}};
}

CompiledTemplate TrafficPlan::Mixed(const std::vector<std::pair<CompiledTemplate, std::uint32_t>>& parts)
{
    std::shared_ptr<TrafficPlan> plan(new TrafficPlan(Kind::Mixed));
    std::uint64_t total = 0;
    std::uint64_t divisor = 0;
    for (const auto& [of, weight] : parts) {
        total = std::min(total + weight, kMaxPattern + 1);
        divisor = std::gcd(divisor, std::uint64_t{weight});
        plan->mParts.push_back(of);
        plan->mShares.push_back(weight);
    }
    Require(total != 0, "a mix needs a weight other than 0");
    Require(total <= kMaxPattern, "the weights of a mix may have a sum of 65536 at most");
    for (std::uint64_t& share : plan->mShares) share /= divisor; // as the pattern is that many times the same
    plan->PlanPattern(total / divisor);
    return Finish(std::move(plan));
}

CompiledTemplate TrafficPlan::Joined(const std::vector<std::pair<CompiledTemplate, std::uint64_t>>& parts)
{
    std::shared_ptr<TrafficPlan> plan(new TrafficPlan(Kind::Joined));
    for (const auto& [of, count] : parts) {
        plan->mParts.push_back(of);
        plan->mShares.push_back(count);
    }
    plan->PlanStarts();
    return Finish(std::move(plan));
}

CompiledTemplate TrafficPlan::Shuffled(const CompiledTemplate& of, const IndexOrder& order)
{
    std::shared_ptr<TrafficPlan> plan(new TrafficPlan(Kind::Shuffled));
    plan->mParts.push_back(of);
    plan->mShares.push_back(1);
    plan->mOrder = order;
    plan->mPlaces.push_back(std::make_shared<const TrafficPlace>(order));
    return Finish(std::move(plan));
}

CompiledTemplate TrafficPlan::Finish(std::shared_ptr<TrafficPlan> plan)
{
    plan->AddLeaves();
    plan->MeasureLeaves();
    if (plan->mIsFixedSize) plan->FindChangingSpans();
    assert(plan->IsConsistent());
    plan->FindPeriod();
    return CompiledTemplate(std::make_shared<const CompiledTemplate::Impl>(std::move(plan)));
}

/// Parts of one weight take turns, as the one with fewer places has the greater credit. So weights are compared, of which
/// there are a few hundred at most.
void TrafficPlan::PlanPattern(std::uint64_t total)
{
    std::map<std::uint64_t, WeightClass> classes;
    for (std::size_t part = 0; part < mShares.size(); ++part) {
        if (mShares[part] != 0) classes[mShares[part]].parts.push_back(static_cast<std::uint32_t>(part));
    }
    std::vector<std::vector<std::uint32_t>> places(mParts.size());
    mTotal = Divisor(total);
    mPattern.resize(total);
    for (std::size_t at = 0; at < total; ++at) {
        WeightClass* best = nullptr;
        std::int64_t most = 0;
        for (auto& [weight, parts] : classes) {
            parts.credits += static_cast<std::int64_t>(weight);
            const std::int64_t credit = parts.credits - static_cast<std::int64_t>(total) * parts.rank;
            const bool isEarlier = best && credit == most && parts.parts[parts.next] < best->parts[best->next];
            if (best && credit <= most && !isEarlier) continue;
            best = &parts;
            most = credit;
        }
        const std::uint32_t part = best->parts[best->next];
        mPattern[at].part = part;
        mPattern[at].rank = best->rank;
        places[part].push_back(static_cast<std::uint32_t>(at));
        if (++best->next == best->parts.size()) {
            best->next = 0;
            ++best->rank;
        }
    }
    for (std::size_t part = 0; part < mParts.size(); ++part) {
        const std::vector<std::uint32_t>& own = places[part];
        for (std::size_t i = 0; i < own.size(); ++i) {
            const std::uint64_t next = i + 1 < own.size() ? own[i + 1] : own.front() + total;
            mPattern[own[i]].gap = static_cast<std::uint32_t>(next - own[i]);
        }
        mPlaces.push_back(own.empty() ? nullptr : std::make_shared<const TrafficPlace>(total, own));
    }
}

void TrafficPlan::PlanStarts()
{
    const auto shown = static_cast<std::size_t>(
        std::count_if(mShares.begin(), mShares.end(), [](std::uint64_t count) { return count != 0; }));
    Require(shown != 0, "a join needs a number of values other than 0");
    if (shown == 1) { // which goes on without a gap
        std::replace_if(
            mShares.begin(), mShares.end(), [](std::uint64_t count) { return count != 0; }, 1);
    }
    std::uint64_t total = 0;
    std::size_t end = 0; // of the parts that begin below 2^64
    for (bool isBelow = true; isBelow && end < mParts.size(); ++end) {
        if (mShares[end] != 0) mStarts.push_back({total, end});
        isBelow = !__builtin_add_overflow(total, mShares[end], &total);
        if (!isBelow) total = 0; // which stands for all that need more
    }
    mTotal = Divisor(total);
    mPlaces.resize(mParts.size());
    for (const Start& start : mStarts) {
        mPlaces[start.part] = std::make_shared<const TrafficPlace>(total, start.place, mShares[start.part]);
    }
}

TrafficPlan::Located TrafficPlan::Locate(std::uint64_t outer) const noexcept
{
    if (mKind == Kind::Shuffled) return {0, mOrder->GetIndexAt(outer)};
    if (mKind == Kind::Mixed) {
        const std::uint64_t round = mTotal.Quotient(outer);
        const Place& place = mPattern[outer - round * mTotal.GetNumber()];
        return {place.part, round * mShares[place.part] + place.rank};
    }
    const std::uint64_t at = mTotal.GetNumber() == 0 ? outer : mTotal.Remainder(outer);
    const auto behind = std::upper_bound(mStarts.begin(), mStarts.end(), at,
                                         [](std::uint64_t left, const Start& right) { return left < right.place; });
    const std::size_t part = std::prev(behind)->part;
    return {part, mPlaces[part]->InnerOf(outer)};
}

TrafficPlan::Shown TrafficPlan::At(std::uint64_t outer) const noexcept
{
    std::size_t firstLeaf = 0;
    for (const TrafficPlan* plan = this;;) {
        const Located located = plan->Locate(outer);
        firstLeaf += plan->mFirstLeaves[located.part];
        outer = located.inner;
        const TrafficPlan* const inside = plan->mPlans[located.part];
        if (!inside) return {firstLeaf, outer};
        plan = inside;
    }
}

void TrafficPlan::AddLeaves()
{
    std::size_t count = 0;
    for (const CompiledTemplate& part : mParts) {
        const TrafficPlan* const plan = PlanOf(part);
        mFirstLeaves.push_back(count);
        mPlans.push_back(plan);
        count += plan ? plan->mLeaves.size() : 1;
        if (plan) mDepth = std::max(mDepth, plan->mDepth + 1);
        Require(count <= kMaxLeaves, "traffic may be made of 65536 templates at most");
    }
    Require(mDepth <= kMaxDepth, "templates made of templates may be 16 deep at most");
    std::size_t fields = 0;
    for (std::size_t part = 0; part < mParts.size(); ++part) {
        for (TrafficLeaf leaf : LeavesOf(mParts[part])) {
            leaf.isShown = leaf.isShown && mPlaces[part];
            leaf.path = leaf.isShown ? leaf.path.In(mPlaces[part]) : IndexPath();
            leaf.firstField = fields;
            fields += leaf.of->program->expressions.size();
            leaf.ownText.clear();
            mLeaves.push_back(std::move(leaf));
        }
    }
}

void TrafficPlan::MeasureLeaves()
{
    std::uint64_t tries = 0; // for one value in all leaves
    for (std::size_t i = 0; i < mLeaves.size(); ++i) {
        TrafficLeaf& leaf = mLeaves[i];
        if (!leaf.isShown) continue;
        const IndexProgram& program = *leaf.of->program;
        mLeavesBySize.push_back(i);
        mMaxSize = std::max(mMaxSize, program.maxSize);
        mIsFixedSize = mIsFixedSize && program.isFixedSize;
        if (leaf.path.HasOrder()) tries += leaf.path.CountTries(leaf.of->inverse.GetDistance(), leaf.of->GetTries());
        leaf.isTold = !leaf.path.HasOrder() || tries <= IndexPath::kMaxTries;
        const std::uint64_t readable = leaf.path.ReadableCount(leaf.isTold ? leaf.of->GetReadableCount() : 0);
        mReadableCount = std::min(mReadableCount, readable);
    }
    std::sort(mLeavesBySize.begin(), mLeavesBySize.end(), [this](std::size_t left, std::size_t right) {
        const std::size_t one = mLeaves[left].of->program->maxSize;
        const std::size_t other = mLeaves[right].of->program->maxSize;
        return one != other ? one > other : left < right;
    });
    mIsFixedSize = mIsFixedSize && mLeaves[mLeavesBySize.back()].of->program->maxSize == mMaxSize;
}

void TrafficPlan::FindChangingSpans()
{
    std::vector<bool> isChanging(mMaxSize);
    const std::string& first = mLeaves[mLeavesBySize.front()].of->program->frame;
    for (const std::size_t leaf : mLeavesBySize) {
        const IndexProgram& program = *mLeaves[leaf].of->program;
        VisitBytes(program.changingSpans, [&](std::size_t at) { isChanging[at] = true; });
        for (std::size_t at = 0; at < first.size(); ++at) {
            if (program.frame[at] != first[at]) isChanging[at] = true;
        }
    }
    mChangingSpans = SpansOf(isChanging);
    for (const std::size_t leaf : mLeavesBySize) {
        std::vector<bool> isOwn = isChanging;
        VisitBytes(mLeaves[leaf].of->program->changingSpans, [&](std::size_t at) { isOwn[at] = false; });
        mLeaves[leaf].ownText = SpansOf(isOwn);
    }
}

void TrafficPlan::FindPeriod()
{
    mPeriod = mKind == Kind::Shuffled ? 1 : mTotal.GetNumber(); // the pattern comes back, too
    for (std::size_t part = 0; part < mParts.size(); ++part) {
        if (mPlaces[part]) mPeriod = CommonPeriod(mPeriod, mPlaces[part]->PeriodOf(mParts[part].GetPeriod()));
    }
    if (mPeriod == 0 || mPeriod > kMaxComparedPeriod) return;
    for (std::uint64_t prime = 2, rest = mPeriod; rest != 1; ++prime) {
        for (; rest % prime == 0; rest /= prime) {
            if (IsPeriod(mPeriod / prime)) mPeriod /= prime;
        }
    }
}

/// \param period  divides one that is known.
bool TrafficPlan::IsPeriod(std::uint64_t period) const
{
    std::string values[2];
    for (std::uint64_t outer = 0; outer + period < mPeriod; ++outer) {
        const Shown shown[] = {At(outer), At(outer + period)};
        for (std::size_t i = 0; i < 2; ++i) mLeaves[shown[i].leaf].of->GetValueAt(shown[i].index, values[i]);
        if (values[0] != values[1]) return false;
    }
    return true;
}

// GCOV_EXCL_BR_START: only a fault in this library takes the other branches
/// What holds for each plan: there is one of everything for each part, the places of a pattern are in the order of their
/// ranks, the parts of a join follow each other, and each leaf has its own fields. Debug builds check it.
bool TrafficPlan::IsConsistent() const
{
    const std::size_t parts = mParts.size();
    if (mShares.size() != parts || mPlaces.size() != parts || mFirstLeaves.size() != parts || mPlans.size() != parts) {
        return false;
    }
    std::vector<std::uint64_t> ranks(parts);
    for (std::size_t at = 0; at < mPattern.size(); ++at) {
        const Place& place = mPattern[at];
        if (place.part >= parts || place.rank != ranks[place.part]++ || place.gap == 0) return false;
        if (mPattern[(at + place.gap) % mPattern.size()].part != place.part) return false;
    }
    for (std::size_t i = 0; i < mStarts.size(); ++i) {
        if (i == 0 ? mStarts[i].place != 0 : mStarts[i].place <= mStarts[i - 1].place) return false;
        if (mStarts[i].part >= parts || !mPlaces[mStarts[i].part]) return false;
    }
    std::size_t fields = 0;
    for (const TrafficLeaf& leaf : mLeaves) {
        if (leaf.firstField != fields) return false;
        fields += leaf.of->program->expressions.size();
        if (leaf.isShown &&
            (mIsFixedSize ? leaf.of->program->frame.size() != mMaxSize : leaf.of->program->maxSize > mMaxSize)) {
            return false;
        }
    }
    switch (mKind) {
    case Kind::Mixed: return mPattern.size() == mTotal.GetNumber() && ranks == mShares;
    case Kind::Joined: return !mStarts.empty();
    default: return mOrder.has_value() && parts == 1;
    }
}
// GCOV_EXCL_BR_STOP

bool TrafficPlan::operator==(const TrafficPlan& other) const noexcept
{
    return mKind == other.mKind && mShares == other.mShares && mOrder == other.mOrder && mParts == other.mParts;
}

bool TrafficPlan::StepsAlike() const noexcept
{
    return std::all_of(mParts.begin(), mParts.end(), [](const CompiledTemplate& part) { return part.StepsAlike(); });
}

std::uint64_t TrafficPlan::PeriodOfField(std::size_t field) const noexcept
{
    const auto behind =
        std::upper_bound(mLeaves.begin(), mLeaves.end(), field,
                         [](std::size_t place, const TrafficLeaf& leaf) { return place < leaf.firstField; });
    const TrafficLeaf& leaf = *std::prev(behind);
    const std::vector<IndexExpression>& expressions = leaf.of->program->expressions;
    const std::size_t place = field - leaf.firstField;
    return leaf.isShown && place < expressions.size() ? leaf.path.PeriodOf(expressions[place].period) : 1;
}

std::vector<TemplateField> TrafficPlan::GetFields() const
{
    std::vector<TemplateField> fields;
    for (std::size_t part = 0; part < mParts.size(); ++part) {
        for (TemplateField& field : mParts[part].GetFields()) {
            field.period = mPlaces[part] ? mPlaces[part]->PeriodOf(field.period) : 1;
            fields.push_back(std::move(field));
        }
    }
    return fields;
}

std::size_t TrafficPlan::Render(std::uint64_t outer, unsigned char* out, std::size_t room) const noexcept
{
    const Shown shown = At(outer);
    return mLeaves[shown.leaf].of->Render(shown.index, out, room);
}

std::optional<std::uint64_t> TrafficPlan::FindIndex(const unsigned char* value, std::size_t size,
                                                    std::uint64_t from) const
{
    if (mReadableCount == 0 || (mReadableCount != IndexPath::kAll && from >= mReadableCount)) return std::nullopt;
    IndexBounds bounds = {from, mReadableCount == IndexPath::kAll ? IndexPath::kAll : mReadableCount - 1};
    std::optional<std::uint64_t> least;
    for (const std::size_t place : mLeavesBySize) {
        const TrafficLeaf& leaf = mLeaves[place];
        const IndexProgram& program = *leaf.of->program;
        if (program.maxSize < size) break;
        if (program.minSize > size || !leaf.isTold) continue;
        const auto locate = [&](const auto& search, PlacedIndex& first) {
            return FindFirst(leaf.path, bounds, search, first);
        };
        std::uint64_t found = 0;
        const bool isQuick = !leaf.path.HasOrder() || leaf.of->inverse.IsQuick();
        if (!leaf.of->Find(value, size, locate, found, isQuick)) continue;
        least = found;
        if (found == from) break;
        bounds.last = found - 1;
    }
    return least;
}

} // namespace detail

CompiledTemplate Mix(const std::vector<std::pair<CompiledTemplate, std::uint32_t>>& parts)
{
    return detail::TrafficPlan::Mixed(parts);
}

CompiledTemplate Joined(const std::vector<std::pair<CompiledTemplate, std::uint64_t>>& parts)
{
    return detail::TrafficPlan::Joined(parts);
}

CompiledTemplate Shuffled(const CompiledTemplate& of, const IndexOrder& order)
{
    return detail::TrafficPlan::Shuffled(of, order);
}

} // namespace zor::common
