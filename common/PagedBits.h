#ifndef ZOR_COMMON_PAGED_BITS_H
#define ZOR_COMMON_PAGED_BITS_H

/// \file
/// Internal: a set of positions, one bit each.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zor::common::detail {

/// A set of positions below 2^64. Memory is taken for the pages of 32,768 positions that hold one.
class PagedBits {
public:
    PagedBits() = default;
    PagedBits(const PagedBits& other) : mPages(other.mPages) {}
    PagedBits& operator=(const PagedBits& other) = delete;

    /// \return  whether it was not there yet.
    bool Add(std::uint64_t position)
    {
        std::uint64_t& word = PageOf(position)[position % kPageBits / 64];
        const std::uint64_t bit = std::uint64_t{1} << position % 64;
        const bool isNew = (word & bit) == 0;
        word |= bit;
        return isNew;
    }

    /// Takes what is needed to join another set, so that Join() cannot fail.
    void PrepareToJoin(const PagedBits& other);

    /// \return  how many positions were in both.
    std::uint64_t Join(const PagedBits& other) noexcept;

    /// Forgets pages that are below a position as a whole.
    void DropBelow(std::uint64_t position) noexcept;

    std::size_t GetPageCount() const noexcept { return mPages.size(); }

    void Swap(PagedBits& other) noexcept
    {
        mPages.swap(other.mPages);
        mPage = other.mPage = nullptr;
    }

    /// Appends all pages to a text: the number of each, ascending, and its words; most significant bytes first.
    void Save(std::string& out) const;

    /// Takes the pages that Save() has written in place of its own.
    /// \param count  how many positions are set in them.
    /// \param last   the greatest of them.
    /// \return  false, with nothing changed, for other bytes, and for a page without a position.
    bool Restore(std::string_view saved, std::uint64_t& count, std::uint64_t& last);

    static constexpr std::uint64_t kPageBits = 32768;

    /// Goes through the positions that are not in a set.
    class Gaps {
    public:
        explicit Gaps(const PagedBits& bits);

        /// The first position from one on that is not in the set, or \a end.
        std::uint64_t NextClear(std::uint64_t position, std::uint64_t end) const;

        /// The first position from one on that is in the set, or \a end.
        std::uint64_t NextSet(std::uint64_t position, std::uint64_t end) const;

    private:
        const PagedBits& mBits;
        std::vector<std::uint64_t> mNumbers; ///< Of the pages, ascending.
    };

private:
    using Page = std::array<std::uint64_t, kPageBits / 64>;

    static constexpr std::size_t kSavedPage = 8 + sizeof(Page); ///< Number and words, in bytes.

    Page& PageOf(std::uint64_t position)
    {
        const std::uint64_t number = position / kPageBits;
        if (!mPage || number != mPageNumber) {
            mPage = &mPages[number];
            mPageNumber = number;
        }
        return *mPage;
    }

    std::unordered_map<std::uint64_t, Page> mPages;
    Page* mPage = nullptr; ///< The last one that was used.
    std::uint64_t mPageNumber = 0;
};

} // namespace zor::common::detail

#endif // ZOR_COMMON_PAGED_BITS_H
