#ifndef ZOR_COMMON_TESTS_TRAFFIC_MODEL_H
#define ZOR_COMMON_TESTS_TRAFFIC_MODEL_H

/// \file
/// Templates made of templates beside plain loops over their parts, which know no index.

#include "AuditChecks.h"

#include <common/Traffic.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace zor::common::test {

/// A template, and its first values by a loop that knows no index.
struct PlainTraffic {
    CompiledTemplate compiled;
    std::function<std::vector<AuditedValue>(std::size_t)> first;
    std::size_t leaves = 1;
};

/// The values of parts in the order in which \a next names them. Each part goes on where it stopped.
template <class Next>
std::vector<AuditedValue> Interleaved(const std::vector<PlainTraffic>& parts, std::size_t count, Next next)
{
    std::vector<std::size_t> order;
    std::vector<std::size_t> taken(parts.size());
    for (std::size_t i = 0; i < count; ++i) ++taken[order.emplace_back(next())];
    std::vector<std::vector<AuditedValue>> values;
    for (std::size_t part = 0; part < parts.size(); ++part) values.push_back(parts[part].first(taken[part]));
    std::fill(taken.begin(), taken.end(), 0);
    std::vector<AuditedValue> all;
    for (const std::size_t part : order) all.push_back(values[part][taken[part]++]);
    return all;
}

template <class Share>
std::vector<std::pair<CompiledTemplate, Share>> WithShares(const std::vector<PlainTraffic>& parts,
                                                           const std::vector<Share>& shares)
{
    std::vector<std::pair<CompiledTemplate, Share>> shared;
    for (std::size_t i = 0; i < parts.size(); ++i) shared.emplace_back(parts[i].compiled, shares[i]);
    return shared;
}

inline std::size_t CountLeaves(const std::vector<PlainTraffic>& parts)
{
    std::size_t leaves = 0;
    for (const PlainTraffic& part : parts) leaves += part.leaves;
    return leaves;
}

inline PlainTraffic MixedTraffic(const std::vector<PlainTraffic>& parts, const std::vector<std::uint32_t>& weights)
{
    const auto first = [parts, weights](std::size_t count) {
        std::vector<std::int64_t> credits(parts.size());
        return Interleaved(parts, count, [&] {
            std::size_t best = parts.size();
            std::int64_t total = 0;
            for (std::size_t i = 0; i < parts.size(); ++i) {
                credits[i] += weights[i];
                total += weights[i];
                if (weights[i] != 0 && (best == parts.size() || credits[i] > credits[best])) best = i;
            }
            credits[best] -= total;
            return best;
        });
    };
    return {Mix(WithShares(parts, weights)), first, CountLeaves(parts)};
}

inline PlainTraffic JoinedTraffic(const std::vector<PlainTraffic>& parts, const std::vector<std::uint64_t>& counts)
{
    const auto first = [parts, counts](std::size_t count) {
        std::size_t part = 0;
        std::uint64_t shown = 0;
        return Interleaved(parts, count, [&] {
            for (; shown == counts[part]; shown = 0) part = (part + 1) % parts.size();
            ++shown;
            return part;
        });
    };
    return {Joined(WithShares(parts, counts)), first, CountLeaves(parts)};
}

inline PlainTraffic ShuffledTraffic(const PlainTraffic& of, const IndexOrder& order)
{
    const auto first = [of, order](std::size_t count) {
        const std::vector<AuditedValue> inOrder = of.first(static_cast<std::size_t>(order.GetSize()));
        std::vector<AuditedValue> values;
        for (std::size_t i = 0; i < count; ++i) {
            values.push_back(inOrder[static_cast<std::size_t>(order.GetIndexAt(i))]);
        }
        return values;
    };
    return {Shuffled(of.compiled, order), first, of.leaves};
}

inline PlainTraffic LeafTraffic(Random& random)
{
    AuditedFrames frames(random);
    const bool isFixedSize = random.Below(6) != 0;
    if (!isFixedSize) frames.text = "a@x(1,0,1) @x(0," + std::to_string(1 + random.Below(30)) + ")b";
    const CompiledTemplate of(Wildcards(frames.text, "@"),
                              isFixedSize ? frames.checksums : std::vector<ChecksumField>());
    const auto first = [=](std::size_t count) {
        std::vector<AuditedValue> values;
        for (std::size_t i = 0; i < count; ++i) values.push_back({ValueAt(of, i), frames.expressions, isFixedSize});
        return values;
    };
    return {of, first};
}

inline PlainTraffic DrawTraffic(Random& random, int depth)
{
    if (depth == 0) return LeafTraffic(random);
    const std::uint64_t kind = random.Below(4);
    if (kind == 0) {
        const std::uint64_t size = 1 + random.Below(random.Below(3) == 0 ? 60 : 9);
        return ShuffledTraffic(DrawTraffic(random, depth - 1), IndexOrder(size, random.Number()));
    }
    std::vector<PlainTraffic> parts;
    std::vector<std::uint32_t> weights;
    for (std::size_t i = 1 + random.Below(4); i > 0; --i) {
        const bool isAgain = !parts.empty() && random.Below(6) == 0;
        parts.push_back(isAgain ? parts.front()
                                : DrawTraffic(random, static_cast<int>(random.Below(static_cast<unsigned>(depth)))));
        weights.push_back(static_cast<std::uint32_t>(random.Below(6)));
    }
    if (std::count(weights.begin(), weights.end(), 0u) == static_cast<std::ptrdiff_t>(weights.size())) weights[0] = 3;
    if (kind == 1) return JoinedTraffic(parts, {weights.begin(), weights.end()});
    return MixedTraffic(parts, weights);
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_TRAFFIC_MODEL_H
