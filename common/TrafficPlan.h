#ifndef ZOR_COMMON_TRAFFIC_PLAN_H
#define ZOR_COMMON_TRAFFIC_PLAN_H

/// \file
/// Internal: a template that is made of templates.

#include "CompiledTemplate.h"
#include "IndexOrder.h"
#include "IndexPath.h"
#include "IndexSequence.h"
#include "ReadableProgram.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace zor::common::detail {

/// A template that is made of no others, and where its values stand.
struct TrafficLeaf {
    std::shared_ptr<const ReadableProgram> of;
    IndexPath path;
    bool isShown = true;
    bool isTold = true;         ///< Whether the index is found without too many tries.
    std::size_t firstField = 0; ///< Its first expression, among those of all leaves.
    /// Of frames of one size: what never changes in this template, but from one to another.
    std::vector<ByteSpan> ownText;
};

/// What the copies of a template made of templates share, and how its values are worked out. It is a tree of which the
/// leaves are templates with a program. Indexes of a part are inner ones, those of the whole outer ones. It never changes
/// once it is built.
class TrafficPlan {
public:
    static CompiledTemplate Mixed(const std::vector<std::pair<CompiledTemplate, std::uint32_t>>& parts);
    static CompiledTemplate Joined(const std::vector<std::pair<CompiledTemplate, std::uint64_t>>& parts);
    static CompiledTemplate Shuffled(const CompiledTemplate& of, const IndexOrder& order);

    /// Null for a template with a program.
    static const TrafficPlan* PlanOf(const CompiledTemplate& of) noexcept;

    /// The leaves of a template, which is its own leaf if it has a program.
    static std::vector<TrafficLeaf> LeavesOf(const CompiledTemplate& of);

    bool operator==(const TrafficPlan& other) const noexcept;

    /// Which leaf is shown, and which of its values.
    struct Shown {
        std::size_t leaf;
        std::uint64_t index;
    };
    Shown At(std::uint64_t outer) const noexcept;

    /// As CompiledTemplate has it.
    std::size_t Render(std::uint64_t outer, unsigned char* out, std::size_t room) const noexcept;

    /// Writes values of any size, each that fits into the room.
    /// \param sizes  may be null if all have one size.
    /// \return       whether all were written.
    bool WriteFrames(const IndexList& indexes, std::uint64_t count, const FrameBuffers& frames, std::size_t room,
                     std::uint32_t* sizes) const noexcept;

    /// Writes what changes, where all values have one size.
    void PatchFrames(const IndexList& indexes, std::uint64_t count, const FrameBuffers& frames) const noexcept;

    std::optional<std::uint64_t> FindIndex(const unsigned char* value, std::size_t size, std::uint64_t from) const;

    std::vector<TemplateField> GetFields() const;

    /// \param field  counted through all leaves. One beyond the end never changes.
    std::uint64_t PeriodOfField(std::size_t field) const noexcept;

    const std::vector<CompiledTemplate>& GetParts() const noexcept { return mParts; }
    const std::vector<TrafficLeaf>& GetLeaves() const noexcept { return mLeaves; }
    std::size_t GetMaxSize() const noexcept { return mMaxSize; }
    bool IsFixedSize() const noexcept { return mIsFixedSize; }
    bool StepsAlike() const noexcept;
    std::uint64_t GetPeriod() const noexcept { return mPeriod; }
    std::uint64_t GetReadableCount() const noexcept { return mReadableCount; } ///< 2^64 - 1 stands for all.
    const std::vector<ByteSpan>& GetChangingSpans() const noexcept { return mChangingSpans; }

private:
    static constexpr std::size_t kMaxChunk = 256; ///< Values that are worked out together.

    enum class Kind : std::uint8_t { Mixed, Joined, Shuffled };

    /// Of the pattern of a mix.
    struct Place {
        std::uint32_t part = 0;
        std::uint32_t rank = 0; ///< How many earlier places the part has.
        std::uint32_t gap = 0;  ///< To its next place, through the end of the pattern.
    };

    /// Of a join: where a part that is shown begins.
    struct Start {
        std::uint64_t place = 0;
        std::size_t part = 0;
    };

    /// Which part is shown, and which of its values.
    struct Located {
        std::size_t part;
        std::uint64_t inner;
    };

    struct Portion;

    explicit TrafficPlan(Kind kind) : mKind(kind) {}

    static CompiledTemplate Finish(std::shared_ptr<TrafficPlan> plan);

    void PlanPattern(std::uint64_t total);
    void PlanStarts();
    void AddLeaves();
    void MeasureLeaves();
    void FindChangingSpans();
    void FindPeriod();
    bool IsConsistent() const;
    bool IsPeriod(std::uint64_t period) const;

    Located Locate(std::uint64_t outer) const noexcept;
    template <class Visit>
    void VisitChunks(const IndexList& indexes, std::uint64_t count, Visit visit) const;
    template <class Visit>
    void VisitPortions(const Portion& all, std::size_t firstLeaf, Visit& visit) const;
    template <class Visit>
    void VisitMixed(const Portion& all, std::size_t firstLeaf, Visit& visit) const;
    template <class Visit>
    void VisitJoined(const Portion& all, std::size_t firstLeaf, Visit& visit) const;
    template <class Visit>
    void VisitListed(const Portion& all, std::size_t firstLeaf, Visit& visit) const;
    template <class Visit>
    void VisitPart(std::size_t part, const Portion& portion, std::size_t firstLeaf, Visit& visit) const;

    Kind mKind;
    std::vector<CompiledTemplate> mParts;
    std::vector<std::uint64_t> mShares;                       ///< For each part how many of its values a round has.
    std::vector<std::shared_ptr<const TrafficPlace>> mPlaces; ///< For each part; null for one that is never shown.
    std::vector<std::size_t> mFirstLeaves;                    ///< For each part.
    std::vector<const TrafficPlan*> mPlans;                   ///< For each part; null for one with a program.
    std::optional<IndexOrder> mOrder;
    Divisor mTotal; ///< Values of a round; none is 2^64 and more.
    std::vector<Place> mPattern;
    std::vector<Start> mStarts;
    std::vector<TrafficLeaf> mLeaves;
    std::vector<std::size_t> mLeavesBySize; ///< Those that are shown, the largest one first.
    std::size_t mDepth = 1;
    std::size_t mMaxSize = 0;
    bool mIsFixedSize = true;
    std::uint64_t mPeriod = 1;
    std::uint64_t mReadableCount = IndexPath::kAll;
    std::vector<ByteSpan> mChangingSpans;
};

} // namespace zor::common::detail

#endif // ZOR_COMMON_TRAFFIC_PLAN_H
