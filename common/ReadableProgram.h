#ifndef ZOR_COMMON_READABLE_PROGRAM_H
#define ZOR_COMMON_READABLE_PROGRAM_H

/// \file
/// Internal: an index program together with what finds an index from a value.

#include "FrameMatcher.h"
#include "IndexInverse.h"
#include "IndexPath.h"
#include "IndexProgram.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zor::common::detail {

/// It never changes once it is built.
struct ReadableProgram {
    ReadableProgram() = default;
    explicit ReadableProgram(std::shared_ptr<const IndexProgram> of) : program(std::move(of)), inverse(*program)
    {
        if (program->isFixedSize) matcher = FrameMatcher(*program, inverse);
    }

    /// Every index below is found; 2^64 - 1 stands for all, and 0 for none.
    std::uint64_t GetReadableCount() const noexcept
    {
        const std::uint64_t limit = inverse.GetLimit();
        return limit == 1 ? 0 : limit == 0 ? ~std::uint64_t{0} : limit;
    }

    /// How many indexes are tried to find the index of one residue or of one set of turns.
    std::uint64_t GetTries() const noexcept { return inverse.IsQuick() ? 1 : inverse.GetSolver().GetTries(); }

    /// Writes a value, if there is room, and returns its size in bytes.
    std::size_t Render(std::uint64_t index, unsigned char* out, std::size_t room) const noexcept;

    /// As CompiledTemplate has it.
    void GetValueAt(std::uint64_t index, std::string& out) const;

    /// Finds the least outer index of a value.
    /// \param locate  gets a search, as VisitShown() takes it, and sets the least index of it; false if there is none.
    /// \param index    where it is put. To hand optional values on took a quarter of the time.
    /// \param isQuick  whether to search for the residue of the counters without repeat first.
    template <class Locate>
    bool Find(const unsigned char* value, std::size_t size, Locate locate, std::uint64_t& index,
              bool isQuick = true) const
    {
        if (program->isFixedSize) {
            if (size != program->frame.size() || !matcher.HasConstants(value)) return false;
            std::uint64_t residue = 0; // of all indexes that may be meant
            if (!inverse.ReadQuickly(value, residue)) return false;
            if (isQuick) {
                PlacedIndex at;
                if (!locate(ResidueSearch{residue, inverse.GetQuickModulus()}, at)) return false;
                index = at.outer;
                if (matcher.HasChanging(value, at.inner)) return true;
                if (inverse.IsQuick()) return false;
            }
        }
        return FindByAllTexts(std::string_view(reinterpret_cast<const char*>(value), size), locate, index);
    }

    std::shared_ptr<const IndexProgram> program;
    IndexInverse inverse;
    FrameMatcher matcher; ///< Of a program of fixed size.

private:
    bool IsValue(std::string_view value, std::uint64_t index) const;

    /// Reads all texts.
    template <class Locate>
    [[gnu::noinline]] bool FindByAllTexts(std::string_view value, Locate locate, std::uint64_t& index) const
    {
        bool isFound = false;
        inverse.VisitReadings(value, [&](const std::vector<KnownTurn>& turns) {
            PlacedIndex at;
            if (!locate(TurnSearch{inverse.GetSolver(), turns}, at)) return;
            if ((isFound && at.outer >= index) || !IsValue(value, at.inner)) return;
            index = at.outer;
            isFound = true;
        });
        return isFound;
    }
};

} // namespace zor::common::detail

#endif // ZOR_COMMON_READABLE_PROGRAM_H
