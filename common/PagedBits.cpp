#include "PagedBits.h"

#include "BigEndian.h"

#include <algorithm>

namespace zor::common::detail {

void PagedBits::PrepareToJoin(const PagedBits& other)
{
    for (const auto& page : other.mPages) mPages.try_emplace(page.first);
}

std::uint64_t PagedBits::Join(const PagedBits& other) noexcept
{
    std::uint64_t common = 0;
    for (const auto& [number, page] : other.mPages) {
        Page& mine = mPages.find(number)->second;
        for (std::size_t i = 0; i < page.size(); ++i) {
            common += static_cast<std::uint64_t>(__builtin_popcountll(mine[i] & page[i]));
            mine[i] |= page[i];
        }
    }
    return common;
}

void PagedBits::DropBelow(std::uint64_t position) noexcept
{
    const std::uint64_t number = position / kPageBits;
    std::erase_if(mPages, [number](const auto& page) { return page.first < number; });
    mPage = nullptr;
}

void PagedBits::Save(std::string& out) const
{
    std::vector<std::uint64_t> numbers;
    numbers.reserve(mPages.size());
    for (const auto& page : mPages) numbers.push_back(page.first);
    std::sort(numbers.begin(), numbers.end());
    const auto append = [&out](std::uint64_t word) {
        unsigned char bytes[8];
        StoreBig64(bytes, word);
        out.append(reinterpret_cast<const char*>(bytes), sizeof bytes);
    };
    out.reserve(out.size() + numbers.size() * kSavedPage);
    for (const std::uint64_t number : numbers) {
        append(number);
        for (const std::uint64_t word : mPages.find(number)->second) append(word);
    }
}

bool PagedBits::Restore(std::string_view saved, std::uint64_t& count, std::uint64_t& last)
{
    if (saved.size() % kSavedPage != 0) return false;
    const auto* next = reinterpret_cast<const unsigned char*>(saved.data());
    std::unordered_map<std::uint64_t, Page> pages;
    std::uint64_t set = 0, greatest = 0, lowest = 0;
    for (std::size_t left = saved.size(); left > 0; left -= kSavedPage) {
        const std::uint64_t number = LoadBig64(next);
        if (number < lowest || number > ~std::uint64_t{0} / kPageBits) return false;
        lowest = number + 1;
        const std::uint64_t before = set;
        Page& page = pages[number];
        for (std::size_t i = 0; i < page.size(); ++i) {
            page[i] = LoadBig64(next += 8);
            if (page[i] == 0) continue;
            set += static_cast<std::uint64_t>(__builtin_popcountll(page[i]));
            greatest = number * kPageBits + 64 * i + 63 - static_cast<std::uint64_t>(__builtin_clzll(page[i]));
        }
        if (set == before) return false;
        next += 8;
    }
    mPages.swap(pages);
    mPage = nullptr;
    count = set;
    last = greatest;
    return true;
}

PagedBits::Gaps::Gaps(const PagedBits& bits) : mBits(bits)
{
    mNumbers.reserve(bits.mPages.size());
    for (const auto& page : bits.mPages) mNumbers.push_back(page.first);
    std::sort(mNumbers.begin(), mNumbers.end());
}

std::uint64_t PagedBits::Gaps::NextClear(std::uint64_t position, std::uint64_t end) const
{
    while (position < end) {
        const auto page = mBits.mPages.find(position / kPageBits);
        if (page == mBits.mPages.end()) return position;
        do {
            const std::uint64_t clear = ~page->second[position % kPageBits / 64] >> position % 64;
            if (clear != 0) return std::min(end, position + static_cast<std::uint64_t>(__builtin_ctzll(clear)));
            if (end - position <= 64 - position % 64) return end;
            position += 64 - position % 64;
        } while (position % kPageBits != 0);
    }
    return end;
}

std::uint64_t PagedBits::Gaps::NextSet(std::uint64_t position, std::uint64_t end) const
{
    auto number = std::lower_bound(mNumbers.begin(), mNumbers.end(), position / kPageBits);
    for (; number != mNumbers.end(); ++number) {
        position = std::max(position, *number * kPageBits);
        const Page& page = mBits.mPages.find(*number)->second;
        for (std::size_t word = position % kPageBits / 64; word < page.size(); ++word) {
            std::uint64_t set = page[word];
            if (word == position % kPageBits / 64) set &= ~std::uint64_t{0} << position % 64;
            if (set == 0) continue;
            return std::min(end, *number * kPageBits + 64 * word + static_cast<std::uint64_t>(__builtin_ctzll(set)));
        }
    }
    return end;
}

} // namespace zor::common::detail
