#ifndef ZOR_COMMON_AUDIT_READER_H
#define ZOR_COMMON_AUDIT_READER_H

/// \file
/// Internal: which value of an expected range a received packet is.

#include "FrameMatcher.h"
#include "IndexInverse.h"
#include "IndexPath.h"
#include "SequenceAudit.h"
#include "TrafficPlan.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zor::common::detail {

/// What an audit expects. It never changes once it is built.
struct AuditSetup {
    /// Throws std::invalid_argument for a range or options that cannot be.
    AuditSetup(const CompiledTemplate& packets, const IndexRange& expected, const AuditOptions& allowed);

    /// \param index  one of the range.
    std::uint64_t PositionOf(std::uint64_t index) const noexcept { return every.Quotient(index - range.first); }

    /// Whether an index between the first and the last is one of the range.
    bool Holds(std::uint64_t index) const noexcept
    {
        return range.every == 1 || every.Remainder(index - range.first) == 0;
    }

    /// The indexes of a position and all behind it, or of all before it. Nothing if there are none.
    std::optional<IndexBounds> GetFrom(std::uint64_t position) const noexcept;
    std::optional<IndexBounds> GetBefore(std::uint64_t position) const noexcept;

    /// Whether \a up, which is not before a position, is nearer to it than \a down, which is.
    bool IsNearer(std::uint64_t up, std::uint64_t down, std::uint64_t position) const noexcept
    {
        return PositionOf(up) - position < position - PositionOf(down);
    }

    bool IsIgnored(const ByteSpan& text) const;

    /// Whether a byte of a text is compared.
    bool IsCompared(const ByteSpan& text) const;

    CompiledTemplate of;
    IndexRange range;
    AuditOptions options;
    Divisor every;
    std::uint64_t last; ///< Index of the range, if there is one.
    /// How many positions on either side each template looks at where a search does not reach the whole range. The
    /// templates of a mix share them, so that a damaged packet does not take long.
    std::uint64_t mostLooks = 0;
};

/// A packet that was found.
struct FoundPacket {
    FrameMatcher::Likeness likeness = FrameMatcher::Likeness::Different;
    PlacedIndex at; ///< The inner index is that of the template with a program.
};

/// Finds packets among the values of one template with a program.
class AuditLeaf {
public:
    /// \param number  of the leaf in the traffic.
    AuditLeaf(const std::shared_ptr<const AuditSetup>& setup, const TrafficLeaf& leaf, std::size_t number);

    const IndexProgram& GetProgram() const noexcept { return *mOf->program; }
    const FrameMatcher& GetMatcher() const noexcept { return *mMatcher; }
    std::size_t GetFrameSize() const noexcept { return mFrameSize; } ///< Of a program of fixed size.

    /// Whether texts of the expressions occur once in the range, in packets that were cut, too.
    bool IsCertain() const noexcept { return mWhole.isCertain && mIsCutCertain; }

    /// Whether a frame without fault that is not found by FindQuickly() is none of the template.
    bool IsQuick() const noexcept;

    /// Whether packets that were not cut can be found at all.
    bool IsReadable() const noexcept { return mWhole.isUsable; }

    /// Whether a packet of the size of the frame is surely the one of an index of the range, which is at a position.
    /// \param isInOrder  whether those behind it will probably be asked for next.
    bool IsFrameAt(const unsigned char* packet, std::uint64_t inner, std::uint64_t position, bool isInOrder);

    /// Finds the index of a frame without fault that is nearest to a position, if that can be done fast.
    bool FindQuickly(const unsigned char* packet, std::uint64_t next, PlacedIndex& found) const;

    /// The index of a packet of at most the size of the frame that is nearest to a position.
    FoundPacket FindFrame(const unsigned char* packet, std::size_t size, std::uint64_t next);

    /// The same of a value of varying size.
    std::optional<PlacedIndex> FindValue(std::string_view packet, std::uint64_t next);

private:
    /// How the index is found in packets in which some expressions are left out.
    struct Reading {
        std::shared_ptr<const IndexInverse> inverse;
        bool isCertain = false; ///< Whether texts of the expressions occur once in the range.
        bool isUsable = true;   ///< Whether the template is readable at all.
        /// Whether one search finds all indexes. Otherwise too many would have to be tried, or the search does not reach
        /// the whole range, and only positions near the expected one are looked at.
        bool isSearched = true;
        /// Whether indexes with the same texts may differ in other bytes that change, so that several have to be compared.
        bool hasOthers = false;
    };

    /// The most indexes that the searches for one packet try together, beyond the first one each way.
    static constexpr std::uint64_t kMaxSearchTries = 16 * IndexSolver::kMaxTries;

    /// Frames of indexes that follow each other. To compare with them halves the time of packets that come in order: 12 ns
    /// in place of 22 for 64 bytes. They are patched from one batch to the next.
    struct Ahead {
        std::uint64_t first = 0; ///< A position, or an index of a part.
        std::size_t count = 0;
        std::vector<unsigned char> frames;
    };
    /// How far from the expected position packets are looked for before a search. Behind an order that is most often
    /// enough, and where a range has gaps, a search finds more than the range has.
    static constexpr std::uint64_t kNearInOrder = 16;
    static constexpr std::uint64_t kNearInGrid = 4096;

    static constexpr std::size_t kMinAhead = 8;
    static constexpr std::size_t kMaxAhead = 32;
    static constexpr std::size_t kAheadBytes = 8192;

    void LookAhead(std::uint64_t first);

    Reading MakeReading(std::size_t size) const;
    bool ReachesAll(const IndexSolver& solver) const;
    const Reading* ReadingOfCut(std::size_t size);
    bool FindInWhole(std::uint64_t residue, std::uint64_t next, std::uint64_t& index) const;
    std::optional<PlacedIndex> NearestShowing(std::uint64_t inner, std::uint64_t next, bool isUp,
                                              std::uint64_t& triesLeft) const;
    template <class Search, class Visit>
    void VisitNearest(const Search& search, std::uint64_t next, bool isSearched, Visit visit) const;
    template <class Search, class Visit>
    bool VisitNear(const Search& search, std::uint64_t next, std::uint64_t most, Visit& visit) const;
    template <class Search, class Visit>
    void VisitOrdered(const Search& search, std::uint64_t next, Visit& visit) const;

    std::shared_ptr<const AuditSetup> mSetup;
    std::shared_ptr<const ReadableProgram> mOf;
    IndexPath mPath;
    std::size_t mNumber;                          ///< Of the leaf in the traffic.
    std::size_t mFrameSize;                       ///< For what comes in order.
    Reading mWhole;                               ///< Of packets that were not cut.
    std::map<std::size_t, Reading> mCut;          ///< Of others, by how many expressions they hold.
    std::shared_ptr<const FrameMatcher> mMatcher; ///< Of a program of fixed size.
    bool mIsCutCertain = true;
    Ahead mAhead;
    bool mMayLookAhead = false; ///< Whether packets are equal to what is rendered, and follow each other.
    std::string mValue;         ///< To be compared, kept for its memory.
};

/// Finds packets among the values of any template.
class AuditReader {
public:
    explicit AuditReader(const std::shared_ptr<const AuditSetup>& setup);

    /// The index that is nearest to a position.
    FoundPacket Find(const unsigned char* packet, std::size_t size, std::uint64_t next);

    bool IsCertain() const noexcept;

private:
    /// Leaves of one size, as places.
    struct Group {
        std::size_t size;
        std::size_t first;
        std::size_t end;
    };

    static constexpr unsigned int kStreak = 8;         ///< Packets in order before others are looked at ahead.
    static constexpr std::size_t kMaxAheadLeaves = 64; ///< Each of which keeps some frames.

    bool AreApart(const AuditLeaf& left, const AuditLeaf& right) const;
    bool FindExpected(const unsigned char* packet, std::size_t size, std::uint64_t next, std::uint64_t& index);
    void Take(FoundPacket& best, const FoundPacket& found, std::uint64_t next) const;
    void FindInGroup(const Group& group, const unsigned char* packet, std::size_t size, std::uint64_t next,
                     FoundPacket& best);
    FoundPacket FindWhole(const unsigned char* packet, std::size_t size, std::uint64_t next);
    FoundPacket FindAny(const unsigned char* packet, std::size_t size, std::uint64_t next);

    std::shared_ptr<const AuditSetup> mSetup;
    bool mIsReadable;                 ///< Whether any index can be told.
    const TrafficPlan* mPlan;         ///< Of the setup; null for a template with a program.
    std::vector<AuditLeaf> mLeaves;   ///< Those of fixed size, the largest ones first, and then the others.
    std::vector<std::size_t> mPlaces; ///< For each leaf of the traffic, its place in these.
    std::vector<Group> mGroups;       ///< Of those of fixed size.
    std::size_t mFixedCount = 0;      ///< How many have a fixed size.
    unsigned int mStreak = 0;         ///< Packets that were found where they were expected, one after the other.
    bool mAreApart = true;            ///< Whether no packet may be of two leaves.
};

} // namespace zor::common::detail

#endif // ZOR_COMMON_AUDIT_READER_H
