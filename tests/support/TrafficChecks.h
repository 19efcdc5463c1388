#ifndef ZOR_COMMON_TESTS_TRAFFIC_CHECKS_H
#define ZOR_COMMON_TESTS_TRAFFIC_CHECKS_H

/// \file
/// Templates made of templates, compared with the model of them.

#include "AuditChecks.h"
#include "FindIndexChecks.h"
#include "TrafficModel.h"

namespace zor::common::test {

/// Values, batches, period and inverse are those of the loops.
inline void CheckTraffic(Random& random)
{
    constexpr std::size_t kCount = 600;
    const PlainTraffic traffic = DrawTraffic(random, 1 + static_cast<int>(random.Below(3)));
    const CompiledTemplate& compiled = traffic.compiled;
    const std::vector<AuditedValue> values = traffic.first(kCount);
    for (std::size_t i = 0; i < kCount; ++i) {
        ASSERT_NO_FATAL_FAILURE(CheckValue(compiled, i, values[i].text));
        ASSERT_LE(values[i].text.size(), compiled.GetMaxSize());
        ASSERT_TRUE(!compiled.IsFixedSize() || values[i].text.size() == compiled.GetMaxSize());
        if (!compiled.IsReadable() || i % 7 != 0) continue;
        std::size_t least = 0;
        while (values[least].text != values[i].text) ++least;
        ASSERT_EQ(compiled.FindIndex(values[i].text), least) << i;
    }
    ASSERT_NO_FATAL_FAILURE(CheckBatches(random, compiled, [&](std::uint64_t at) { return ValueAt(compiled, at); }));
    ASSERT_NO_FATAL_FAILURE(CheckFinds(random, compiled));
    const std::uint64_t period = compiled.GetPeriod();
    const auto isPeriod = [&](std::size_t of) {
        for (std::size_t i = 0; i + of < kCount; ++i) {
            if (values[i].text != values[i + of].text) return false;
        }
        return true;
    };
    if (period != 0 && period <= kCount / 2) {
        std::size_t least = 1;
        while (!isPeriod(least)) ++least;
        ASSERT_EQ(period, least);
    }
    for (int i = 0; i < 20 && period != 0; ++i) {
        const std::uint64_t index = DrawIndex(random);
        if (index + period < index) continue;
        ASSERT_EQ(ValueAt(compiled, index), ValueAt(compiled, index + period)) << index;
    }
}

/// The audit of traffic is that of a search through all values.
inline void CheckTrafficAudit(Random& random)
{
    const PlainTraffic traffic = DrawTraffic(random, 1 + static_cast<int>(random.Below(3)));
    const IndexRange range{random.Below(100), random.Below(120), 1 + random.Below(random.Below(2) == 0 ? 1 : 5)};
    if (range.first + range.count * range.every >= traffic.compiled.GetReadableCount()) return;
    const std::vector<AuditedValue> values = traffic.first(static_cast<std::size_t>(800));
    const auto valueAt = [&values](std::uint64_t index) { return values[static_cast<std::size_t>(index)]; };
    CheckAudit(random, traffic.compiled, range, valueAt, traffic.leaves > 1);
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_TRAFFIC_CHECKS_H
