#ifndef ZOR_COMMON_LIST_READER_H
#define ZOR_COMMON_LIST_READER_H

/// \file
/// Internal: from the values of a list or a table in a frame back to their row.

#include "IndexProgram.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace zor::common::detail {

/// Finds the row that a frame shows, by a hash of its values.
class ListReader {
public:
    /// \param program  must outlive the object.
    /// \param columns  places in IndexProgram::listed, of one table.
    /// \param rows     how many rows there are.
    ListReader(const IndexProgram& program, const std::vector<std::size_t>& columns, std::size_t rows);

    /// Whether no two rows are alike.
    bool IsDistinct() const noexcept { return mIsDistinct; }

    /// Whether the values at an offset of the frame are those of a column.
    bool IsColumn(std::size_t offset) const noexcept
    {
        return std::any_of(mColumns.begin(), mColumns.end(),
                           [offset](const Column& column) { return column.offset == offset; });
    }

    /// The row that has the values in a frame.
    std::optional<std::uint64_t> Find(const char* frame) const noexcept;

private:
    /// Values of one field.
    struct Column {
        const char* first;
        std::size_t distance;
        std::size_t size;
        std::size_t offset; ///< In the frame.
    };

    template <class ValueOf>
    std::size_t SlotOf(ValueOf valueOf) const noexcept;

    std::vector<Column> mColumns;
    std::vector<std::uint32_t> mSlots; ///< 1 more than the row; 0 where there is none. At least half of them.
    bool mIsDistinct = true;
};

} // namespace zor::common::detail

#endif // ZOR_COMMON_LIST_READER_H
