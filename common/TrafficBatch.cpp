#include "CompiledTemplateImpl.h"
#include "IndexBatch.h"
#include "TrafficPlan.h"

#include <algorithm>
#include <bitset>
#include <cassert>
#include <cstring>

namespace zor::common::detail {

using Access = BatchAccess;

/// Values of a chunk that one part shows.
struct TrafficPlan::Portion {
    const std::uint64_t* listed = nullptr; ///< Their indexes; null if they are in sequence.
    std::uint64_t first = 0;               ///< Of a sequence.
    const std::uint16_t* places = nullptr; ///< Their places in the chunk.
    std::size_t count = 0;

    std::uint64_t IndexAt(std::size_t k) const noexcept { return listed ? listed[k] : first + k; }
    IndexList GetIndexes() const noexcept
    {
        return listed ? IndexList(listed, count) : IndexList(IndexRange{first, count, 1});
    }
};

template <class Visit>
void TrafficPlan::VisitPart(std::size_t part, const Portion& portion, std::size_t firstLeaf, Visit& visit) const
{
    assert(portion.count != 0 && portion.count <= kMaxChunk);
    const TrafficPlan* const plan = mPlans[part];
    if (plan) {
        plan->VisitPortions(portion, firstLeaf + mFirstLeaves[part], visit);
    } else {
        visit(firstLeaf + mFirstLeaves[part], portion);
    }
}

/// Of a mix in sequence, a part is visited with all its places, which the pattern tells, and with indexes in sequence.
template <class Visit>
void TrafficPlan::VisitMixed(const Portion& all, std::size_t firstLeaf, Visit& visit) const
{
    std::bitset<kMaxChunk> isDone;
    std::uint16_t places[kMaxChunk];
    const std::size_t total = mPattern.size();
    for (std::size_t first = 0; first < all.count; ++first) {
        if (isDone[first]) continue;
        const Located located = Locate(all.first + first);
        std::size_t count = 0;
        std::size_t place = mTotal.Remainder(all.first + first);
        for (std::size_t k = first; k < all.count;) {
            isDone[k] = true;
            places[count++] = all.places[k];
            const std::size_t gap = mPattern[place].gap;
            k += gap;
            place += gap;
            if (place >= total) place -= total;
        }
        VisitPart(located.part, {nullptr, located.inner, places, count}, firstLeaf, visit);
    }
    assert(isDone.count() == all.count);
}

/// Of a join in sequence, values of a part are in sequence as far as its place in the round goes.
template <class Visit>
void TrafficPlan::VisitJoined(const Portion& all, std::size_t firstLeaf, Visit& visit) const
{
    for (std::size_t k = 0; k < all.count;) {
        const std::uint64_t outer = all.first + k;
        const Located located = Locate(outer);
        std::uint64_t count = all.count - k;
        if (mStarts.size() != 1) { // the only part goes on in the next round
            const std::uint64_t behind = located.inner % mShares[located.part]; // in this round
            count = std::min(count, mShares[located.part] - behind);
        }
        VisitPart(located.part, {nullptr, located.inner, all.places + k, static_cast<std::size_t>(count)}, firstLeaf,
                  visit);
        k += static_cast<std::size_t>(count);
    }
}

/// Indexes in any order.
template <class Visit>
void TrafficPlan::VisitListed(const Portion& all, std::size_t firstLeaf, Visit& visit) const
{
    std::bitset<kMaxChunk> isDone;
    std::size_t parts[kMaxChunk];
    std::uint64_t indexes[kMaxChunk];
    for (std::size_t k = 0; k < all.count; ++k) {
        const Located located = Locate(all.IndexAt(k));
        parts[k] = located.part;
        indexes[k] = located.inner;
    }
    for (std::size_t first = 0; first < all.count; ++first) {
        if (isDone[first]) continue;
        std::uint16_t places[kMaxChunk];
        std::uint64_t listed[kMaxChunk];
        std::size_t count = 0;
        for (std::size_t k = first; k < all.count; ++k) {
            if (parts[k] != parts[first]) continue;
            isDone[k] = true;
            places[count] = all.places[k];
            listed[count++] = indexes[k];
        }
        VisitPart(parts[first], {listed, 0, places, count}, firstLeaf, visit);
    }
    assert(isDone.count() == all.count);
}

/// Calls \a visit with the place of each leaf among those of the whole, and with what it shows of the portion.
template <class Visit>
void TrafficPlan::VisitPortions(const Portion& all, std::size_t firstLeaf, Visit& visit) const
{
    if (mKind == Kind::Shuffled) {
        std::uint64_t listed[kMaxChunk];
        if (all.listed) {
            for (std::size_t k = 0; k < all.count; ++k) listed[k] = mOrder->GetIndexAt(all.listed[k]);
        } else {
            mOrder->GetIndexesAt(IndexRange{all.first, all.count}, listed);
        }
        VisitPart(0, {listed, 0, all.places, all.count}, firstLeaf, visit);
    } else if (all.listed) {
        VisitListed(all, firstLeaf, visit);
    } else if (mKind == Kind::Mixed) {
        VisitMixed(all, firstLeaf, visit);
    } else {
        VisitJoined(all, firstLeaf, visit);
    }
}

/// Calls \a visit with a leaf, the portion that it shows, and the place in the list at which the chunk begins.
template <class Visit>
void TrafficPlan::VisitChunks(const IndexList& indexes, std::uint64_t count, Visit visit) const
{
    std::uint16_t places[kMaxChunk];
    for (std::size_t k = 0; k < kMaxChunk; ++k) places[k] = static_cast<std::uint16_t>(k);
    std::uint64_t listed[kMaxChunk];
    for (std::uint64_t done = 0; done < count;) {
        Portion chunk;
        chunk.places = places;
        chunk.count = static_cast<std::size_t>(std::min<std::uint64_t>(kMaxChunk, count - done));
        chunk.first = Access::IndexAt(indexes, done);
        if (Access::IsInSequence(indexes)) { // up to the end of all indexes
            chunk.count = static_cast<std::size_t>(std::min<std::uint64_t>(chunk.count - 1, ~chunk.first) + 1);
        } else {
            for (std::size_t k = 0; k < chunk.count; ++k) listed[k] = Access::IndexAt(indexes, done + k);
            chunk.listed = listed;
        }
        const auto visitLeaf = [&](std::size_t leaf, const Portion& portion) { visit(mLeaves[leaf], portion, done); };
        VisitPortions(chunk, 0, visitLeaf);
        done += chunk.count;
    }
}

bool TrafficPlan::WriteFrames(const IndexList& indexes, std::uint64_t count, const FrameBuffers& frames,
                              std::size_t room, std::uint32_t* sizes) const noexcept
{
    bool haveAllFitted = true;
    VisitChunks(indexes, count, [&](const TrafficLeaf& leaf, const Portion& portion, std::uint64_t done) {
        unsigned char* each[kMaxChunk];
        std::uint32_t sizesOfPortion[kMaxChunk];
        for (std::size_t k = 0; k < portion.count; ++k) each[k] = Access::FrameAt(frames, done + portion.places[k]);
        assert(leaf.isShown && leaf.of->program->maxSize <= mMaxSize);
        const bool haveFitted = WriteSizedFrames(*leaf.of->program, portion.GetIndexes(), portion.count,
                                                 FrameBuffers(each), room, sizesOfPortion);
        haveAllFitted = haveAllFitted && haveFitted;
        for (std::size_t k = 0; sizes && k < portion.count; ++k) sizes[done + portion.places[k]] = sizesOfPortion[k];
    });
    return haveAllFitted;
}

void TrafficPlan::PatchFrames(const IndexList& indexes, std::uint64_t count, const FrameBuffers& frames) const noexcept
{
    VisitChunks(indexes, count, [&](const TrafficLeaf& leaf, const Portion& portion, std::uint64_t done) {
        unsigned char* each[kMaxChunk];
        for (std::size_t k = 0; k < portion.count; ++k) each[k] = Access::FrameAt(frames, done + portion.places[k]);
        const IndexProgram& program = *leaf.of->program;
        assert(leaf.isShown && program.frame.size() == mMaxSize);
        for (const ByteSpan& span : leaf.ownText) {
            for (std::size_t k = 0; k < portion.count; ++k) {
                std::memcpy(each[k] + span.offset, program.frame.data() + span.offset, span.size);
            }
        }
        detail::WriteFrames(program, portion.GetIndexes(), portion.count, FrameBuffers(each), true);
    });
}

} // namespace zor::common::detail
