#ifndef ZOR_COMMON_INDEX_LANES_H
#define ZOR_COMMON_INDEX_LANES_H

/// \file
/// Internal: the linear counters of a frame as words, which batches and single frames write.

#include "IndexSequence.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zor::common::detail {

struct IndexProgram;

/// Bytes that batches write into a frame at a time: those of a linear counter, or of a part of it. The top bytes of
/// start + turn * step are written.
struct Lane {
    TurnRule turns;
    std::uint64_t start = 0;
    std::uint64_t step = 0;
    std::size_t offset = 0;   ///< In the frame.
    std::uint8_t size = 0;    ///< 8, 6, 4, 2 or 1 bytes.
    bool isLittle = false;    ///< Whether the least significant byte comes first.
    bool hasLongRuns = false; ///< Whether at least kLongRun indexes in sequence have the same step.

    static constexpr std::uint64_t kLongRun = 64;
};

/// What batches write into a frame, in this order.
struct BatchPlan {
    std::vector<Lane> lanes;         ///< Big-endian ones first; of those, larger ones first, then those in front.
    std::vector<std::uint32_t> rest; ///< Places of the fields that have no lanes.
};

/// Plans how frames of a program of fixed size are written, when all else is known.
void PlanBatches(IndexProgram& program);

} // namespace zor::common::detail

#endif // ZOR_COMMON_INDEX_LANES_H
