#ifndef ZOR_COMMON_INDEX_INVERSE_H
#define ZOR_COMMON_INDEX_INVERSE_H

/// \file
/// Internal: from a value of an index program back to its index.

#include "IndexProgram.h"
#include "IndexRange.h"
#include "IndexSolver.h"
#include "ListReader.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace zor::common::detail {

/// Reads the turns of the expressions of a value and finds indexes that have them.
///
/// Indexes with the turns that were read show the same texts in these expressions, but turns may be read from a value that
/// has none: callers compare one index with the value.
class IndexInverse {
public:
    IndexInverse() = default; ///< Of no program. It can only be assigned to.

    /// \param program    must outlive the object.
    /// \param isLeftOut  for each expression whether it takes no part; nothing is none.
    /// \param grid       the indexes that may be found, by first and every; its count does not matter.
    explicit IndexInverse(const IndexProgram& program, const std::vector<bool>& isLeftOut = {},
                          const IndexRange& grid = {});

    /// Every index below can be found; 0 is 2^64. For 1, only index 0 can be.
    std::uint64_t GetLimit() const noexcept { return mIsAllRead ? mSolver.GetLimit() : mSolver.GetDistance(); }

    /// The first expression of which nothing shows where its text ends.
    std::optional<std::size_t> GetUntold() const noexcept
    {
        return mUntold == kNone ? std::nullopt : std::optional<std::size_t>(mUntold);
    }

    /// Indexes of the same texts are at least so far apart; 0 is 2^64.
    std::uint64_t GetDistance() const noexcept { return mSolver.GetDistance(); }

    /// Reads the turns that need no division to be joined.
    /// \param frame    of the size of the program's frame.
    /// \param residue  that of all indexes of the frame, modulo GetQuickModulus().
    /// \return         false if the frame is that of no index.
    bool ReadQuickly(const unsigned char* frame, std::uint64_t& residue) const noexcept
    {
        residue = 0;
        for (const QuickText& text : mQuickTexts) {
            std::optional<std::uint64_t> turn = mGridTurn;
            if (text.word.size != 0) {
                turn = text.word.Read(frame + text.place.offset);
            } else if (text.isRead) {
                turn = text.place.Read(reinterpret_cast<const char*>(frame));
            }
            if (!turn || *turn > text.lastText) return false;
            if (text.place.order) turn = text.place.order->GetPositionOf(*turn);
            if (*turn > text.step.lastTurn) return false;
            if (text.isResidue) {
                residue = *turn;
            } else if (!text.step.Join(residue, *turn)) {
                return false;
            }
        }
        return true;
    }
    const Divisor& GetQuickModulus() const noexcept { return mQuickModulus; } ///< 0 is 2^64.

    /// Whether indexes of such a residue show what was read, to the last bit.
    /// \param expression  a place in IndexProgram::expressions.
    bool IsProven(std::size_t expression) const noexcept { return mIsProven[expression]; }

    /// Whether all indexes of that residue are indexes of the value, or none is.
    bool IsQuick() const noexcept { return mIsAllRead && mSolver.IsQuick(); }

    /// Calls \a visit with the turns of each way to read a value. There is one at most, but for a text of a size that
    /// nothing but the size of the value tells.
    template <class Visit>
    void VisitReadings(std::string_view value, Visit visit) const
    {
        std::vector<KnownTurn> turns(mPlaces.size() + 1);
        turns.back().turn = mGridTurn;
        if (mProgram->isFixedSize) {
            if (ReadFrame(value, turns)) visit(turns);
            return;
        }
        for (std::size_t size = mLargestOpenEnd;; --size) {
            if (ReadText(value, size, turns)) visit(turns);
            if (size == 0) return;
        }
    }

    /// Whether the text of each expression that changes and is not left out is read.
    bool IsAllRead() const noexcept { return mIsAllRead; }

    /// How many numbers are read.
    std::size_t CountRead() const noexcept { return mRead.size(); }

    /// Whether it is certain that no value can be read in two ways.
    bool HasOneReading() const noexcept { return mHasOneReading; }

    /// What finds an index of the turns.
    const IndexSolver& GetSolver() const noexcept { return mSolver; }

private:
    /// The text that tells about a cycle.
    struct Place {
        std::size_t offset; ///< In a frame of fixed size.
        std::size_t size;
        std::uint64_t lastTurn;                 ///< The largest turn that may be read.
        const TurnReader* reader;               ///< Null for a list.
        std::shared_ptr<const ListReader> list; ///< Null for a counter.
        const IndexOrder* order;                ///< Which permutes the turns; null for none.

        /// The turn that is shown, before an order is taken into account.
        std::optional<std::uint64_t> Read(const char* frame) const noexcept
        {
            return list ? list->Find(frame) : reader->Read(frame + offset, size);
        }
    };

    /// A text that is read on the fast path.
    struct QuickText {
        IndexSolver::QuickStep step;
        TurnReader::Word word;
        Place place;
        std::uint64_t lastText; ///< The largest turn that may be read.
        bool isRead;            ///< False for the grid.
        bool isResidue = false; ///< Whether the turn is the residue: of the first cycle, if a turn lasts one index.
    };

    static constexpr std::size_t kNone = ~std::size_t{0};

    void TellApart();
    void AddCounters(const std::vector<bool>& isLeftOut, std::vector<TurnCycle>& cycles);
    void AddLists(const std::vector<bool>& isLeftOut, std::vector<TurnCycle>& cycles);
    void PlanQuickTexts();
    bool IsRead(std::size_t expression) const;
    bool ReadFrame(std::string_view value, std::vector<KnownTurn>& turns) const;
    bool ReadText(std::string_view value, std::size_t openEnd, std::vector<KnownTurn>& turns) const;

    const IndexProgram* mProgram = nullptr;
    std::vector<std::uint32_t> mRead; ///< Places in IndexProgram::expressions, one for each cycle but that of the grid.
    std::vector<Place> mPlaces;       ///< For each of these.
    std::uint64_t mGridTurn = 0;
    bool mIsAllRead = true;         ///< Whether each expression that moves and is not left out is read.
    std::size_t mUntold = kNone;    ///< The first expression whose text has no end that can be seen.
    std::size_t mLastVarying = 0;   ///< Behind the last expression whose text is not in the frame.
    std::size_t mOpenEnded = kNone; ///< The expression whose size nothing but the size of the value tells.
    std::size_t mLargestOpenEnd = 0;
    bool mHasOneReading = true;
    IndexSolver mSolver;
    std::vector<QuickText> mQuickTexts;
    std::vector<bool> mIsProven; ///< For each expression.
    Divisor mQuickModulus;
};

} // namespace zor::common::detail

#endif // ZOR_COMMON_INDEX_INVERSE_H
