#include "IndexLanes.h"

#include "BigEndian.h"
#include "IndexProgram.h"

#include <algorithm>
#include <optional>

namespace zor::common::detail {

namespace {

/// A lane for all bytes of a field, of whatever size, if the field is a linear counter in bytes.
///
/// The bits of the counter from a piece on are a linear counter too: what stands below the piece hands on the same carry
/// at every turn, or the lowest byte of the piece would belong to the piece below.
std::optional<Lane> LaneOf(const IndexField& field)
{
    const bool isInBytes = field.notation == Notation::Big || field.notation == Notation::Little;
    if (field.shape != Shape::Piece || field.rule != NumberRule::Linear || field.order != 0 || !isInBytes) {
        return std::nullopt;
    }
    const unsigned int above = 8 * (8u - field.size);
    Lane lane;
    lane.turns = field.turns;
    lane.start = field.start >> field.shift << above;
    lane.step = (((field.start + field.step) >> field.shift) - (field.start >> field.shift)) << above;
    lane.offset = field.offset;
    lane.size = field.size;
    lane.isLittle = field.notation == Notation::Little;
    lane.hasLongRuns = field.turns.GetRun() >= Lane::kLongRun;
    return lane;
}

/// Adds lanes that write the bytes of a field and no others, from its most significant byte on.
void AddExactLanes(std::vector<Lane>& lanes, Lane lane)
{
    for (unsigned int left = lane.size; left != 0;) {
        lane.size = static_cast<std::uint8_t>(left >= 8 ? 8 : left >= 6 ? 6 : left >= 4 ? 4 : left >= 2 ? 2 : 1);
        left -= lane.size;
        lanes.push_back(lane);
        if (lane.isLittle) lanes.back().offset += left;
        if (left == 0) break; // as a word cannot be shifted by all of its bits
        if (!lane.isLittle) lane.offset += lane.size;
        lane.start <<= 8 * lane.size;
        lane.step <<= 8 * lane.size;
    }
}

void SortLanes(std::vector<Lane>& lanes)
{
    std::sort(lanes.begin(), lanes.end(), [](const Lane& left, const Lane& right) {
        if (left.isLittle != right.isLittle) return right.isLittle;
        return left.size != right.size ? left.size > right.size : left.offset < right.offset;
    });
}

} // namespace

void PlanBatches(IndexProgram& program)
{
    BatchPlan& rendering = program.rendering;
    BatchPlan& patching = program.patching;
    for (std::uint32_t i = 0; i < program.fields.size(); ++i) {
        std::optional<Lane> lane = LaneOf(program.fields[i]);
        if (!lane) {
            patching.rest.push_back(i);
            continue;
        }
        AddExactLanes(patching.lanes, *lane);
        if (lane->isLittle || program.frame.size() - lane->offset < 8) {
            AddExactLanes(rendering.lanes, *lane);
            continue;
        }
        // The frame holds what the field shows at turn 0, and what stands behind it. A field that overflows does not
        // touch that, and a later lane writes other fields there.
        lane->start = LoadBig64(reinterpret_cast<const unsigned char*>(program.frame.data()) + lane->offset);
        lane->size = 8;
        rendering.lanes.push_back(*lane);
    }
    rendering.rest = patching.rest;
    SortLanes(rendering.lanes);
    SortLanes(patching.lanes);
}

} // namespace zor::common::detail
