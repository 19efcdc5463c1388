#include "ListReader.h"

#include "BigEndian.h"

#include <algorithm>
#include <cstring>

namespace zor::common::detail {

namespace {

/// A word of up to 8 bytes, mixed into a hash.
std::uint64_t Mix(std::uint64_t hash, const char* bytes, std::size_t size)
{
    const std::uint64_t word = LoadLittleBytes(reinterpret_cast<const unsigned char*>(bytes), size);
    const Product product = Product{hash ^ word} * 0x9e3779b97f4a7c15; // 2^64 divided by the golden ratio
    // cppcheck-suppress shiftTooManyBits; a product has 128
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

} // namespace

ListReader::ListReader(const IndexProgram& program, const std::vector<std::size_t>& columns, std::size_t rows)
{
    for (const std::size_t place : columns) {
        const ListedExpression& listed = program.listed[place];
        mColumns.push_back({program.tables.data() + listed.first, listed.distance, listed.size,
                            program.expressions[listed.expression].text.offset});
    }
    std::size_t slots = 2;
    while (slots < 2 * rows) slots *= 2;
    mSlots.resize(slots);
    for (std::size_t row = 0; row < rows; ++row) {
        std::uint32_t& slot =
            mSlots[SlotOf([&](const Column& column) { return column.first + row * column.distance; })];
        mIsDistinct = mIsDistinct && slot == 0;
        if (slot == 0) slot = static_cast<std::uint32_t>(row + 1);
    }
}

/// The slot of the row with some values: its own, or the empty one where it would be.
template <class ValueOf>
std::size_t ListReader::SlotOf(ValueOf valueOf) const noexcept
{
    std::uint64_t hash = 0;
    for (const Column& column : mColumns) {
        const char* const value = valueOf(column);
        for (std::size_t at = 0; at < column.size; at += 8) {
            hash = Mix(hash, value + at, std::min<std::size_t>(8, column.size - at));
        }
    }
    std::size_t place = hash % mSlots.size();
    for (;; place = (place + 1) % mSlots.size()) {
        if (mSlots[place] == 0) return place;
        const std::size_t row = mSlots[place] - 1;
        if (std::all_of(mColumns.begin(), mColumns.end(), [&](const Column& column) {
                return std::memcmp(column.first + row * column.distance, valueOf(column), column.size) == 0;
            })) {
            return place;
        }
    }
}

std::optional<std::uint64_t> ListReader::Find(const char* frame) const noexcept
{
    const std::uint32_t row = mSlots[SlotOf([frame](const Column& column) { return frame + column.offset; })];
    return row == 0 ? std::nullopt : std::optional<std::uint64_t>(row - 1);
}

} // namespace zor::common::detail
