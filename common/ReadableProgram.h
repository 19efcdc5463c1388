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

    /// Writes a value, if there is room, and returns its size in bytes.
    std::size_t Render(std::uint64_t index, unsigned char* out, std::size_t room) const noexcept;

    /// As CompiledTemplate has it.
    void GetValueAt(std::uint64_t index, std::string& out) const;

    /// The least outer index of a value.
    /// \param locate  gets a search, as VisitShown() takes it, and returns the least index of it.
    template <class Locate>
    std::optional<std::uint64_t> Find(const unsigned char* value, std::size_t size, Locate locate) const
    {
        if (program->isFixedSize) {
            if (size != program->frame.size() || !matcher.HasConstants(value)) return std::nullopt;
            std::uint64_t residue = 0; // of all indexes that may be meant
            if (!inverse.ReadQuickly(value, residue)) return std::nullopt;
            const std::optional<PlacedIndex> at = locate(ResidueSearch{residue, inverse.GetQuickModulus()});
            if (!at) return std::nullopt;
            if (matcher.HasChanging(value, at->inner)) return at->outer;
            if (inverse.IsQuick()) return std::nullopt;
        }
        return FindByAllTexts(std::string_view(reinterpret_cast<const char*>(value), size), locate);
    }

    std::shared_ptr<const IndexProgram> program;
    IndexInverse inverse;
    FrameMatcher matcher; ///< Of a program of fixed size.

private:
    bool IsValue(std::string_view value, std::uint64_t index) const;

    /// Reads all texts.
    template <class Locate>
    [[gnu::noinline]] std::optional<std::uint64_t> FindByAllTexts(std::string_view value, Locate locate) const
    {
        std::optional<std::uint64_t> least;
        inverse.VisitReadings(value, [&](const std::vector<KnownTurn>& turns) {
            const std::optional<PlacedIndex> at = locate(TurnSearch{inverse.GetSolver(), turns});
            if (at && (!least || at->outer < *least) && IsValue(value, at->inner)) least = at->outer;
        });
        return least;
    }
};

} // namespace zor::common::detail

#endif // ZOR_COMMON_READABLE_PROGRAM_H
