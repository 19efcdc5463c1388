#ifndef ZOR_COMMON_TESTS_FIND_INDEX_CHECKS_H
#define ZOR_COMMON_TESTS_FIND_INDEX_CHECKS_H

/// \file
/// Indexes found from values, compared with a search through all indexes.

#include "CompiledChecks.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zor::common::test {

/// A template whose expressions count by small periods or large ones, and what of it is known.
struct CountingTemplate {
    explicit CountingTemplate(Random& random)
    {
        const bool isHex = random.Below(2) == 0;
        if (isHex) text = "@h";
        std::uint64_t before = 1; // the period of the last one, for odometers
        for (std::size_t i = 1 + random.Below(4); i > 0; --i) {
            std::uint64_t count = random.Below(4) == 0 ? 0 : 1 + random.Below(12);
            std::uint64_t repeat = random.Below(2) == 0 ? 0 : random.Below(random.Below(4) == 0 ? 3000 : 8);
            if (random.Below(2) == 0 && before < 100000000) repeat = before * (1 + random.Below(3)) - 1;
            std::uint64_t turns = 0; // of which all numbers differ
            text += isHex ? "0a" : "-";
            if (!isHex || random.Below(4) == 0) {
                const std::uint64_t maximum = random.Below(2) == 0 ? random.Below(20) : 0xffffffff;
                const std::uint64_t start = std::min(maximum, random.Below(30));
                const std::uint64_t step = 1 + random.Below(5);
                turns = (maximum + 1) / std::gcd(maximum + 1, step);
                const bool isWide = isHex || random.Below(3) == 0;
                text += "@x(" + std::to_string(start) + "," + std::to_string(count) + "," + std::to_string(step) +
                        (isWide ? ",10," : ",0,") + std::to_string(repeat) + "," + std::to_string(maximum) + ")";
            } else {
                const std::size_t digits = 2 * (1 + random.Below(random.Below(6) == 0 ? 20 : 9));
                const std::string step = std::string(digits - 1, '0') + random.Text("1123458", 1);
                const auto low = static_cast<std::uint64_t>(step.back() - '0');
                turns = digits > 15 ? 0 : (std::uint64_t{1} << 4 * digits) / (low & (0 - low));
                const char* const format = random.Below(4) == 0 ? "little" : random.Below(4) == 0 ? "hex" : "big";
                text += "@$(" + random.Text("0123456789abcdef", digits) + "," + std::to_string(count) + "," + step +
                        "," + format + "," + std::to_string(repeat) + ")";
            }
            isDistinct = isDistinct && (turns == 0 || count <= turns);
            intervals.push_back(repeat + 1);
            before = count == 0 ? std::uint64_t{1} << 40 : count * (repeat + 1);
        }
        text += isHex ? "0b" : ".";
    }

    /// Whether indexes can be told by what the documentation promises.
    bool IsPromised(const CompiledTemplate& compiled) const
    {
        std::vector<std::uint64_t> periods;
        for (std::size_t i = 0; i < intervals.size(); ++i) periods.push_back(compiled.GetPeriod({i}));
        std::uint64_t product = 1;
        bool isOdometer = true; // all in one, or without repeat
        std::uint64_t before = 1;
        for (std::size_t i = 0; i < intervals.size(); ++i) {
            bool isTold = false;
            for (std::size_t k = 0; k < intervals.size(); ++k) {
                if (k == i || periods[i] == 0 || periods[k] == 0 || periods[k] % periods[i] != 0) continue;
                isTold = isTold || periods[k] != periods[i] || std::pair(intervals[k], k) < std::pair(intervals[i], i);
            }
            if (!isTold) product = std::min<std::uint64_t>(product * intervals[i], 65537);
            isOdometer = isOdometer && before != 0 && intervals[i] % before == 0;
            before = periods[i];
        }
        return isDistinct && (product <= 65536 || (isOdometer && intervals.front() == 1));
    }

    std::string text;
    std::vector<std::uint64_t> intervals;
    bool isDistinct = true; ///< Whether no number repeats within its period.
};

/// The index of a value is found, the least one from any index on, and nothing else.
inline void CheckFinds(Random& random, const CompiledTemplate& compiled)
{
    const std::uint64_t readable = compiled.GetReadableCount();
    const bool isReadable = compiled.IsReadable();
    ASSERT_TRUE(!isReadable || readable == ~std::uint64_t{0});
    for (int i = 0; i < 12; ++i) {
        std::uint64_t index = DrawIndex(random);
        if (!isReadable && random.Below(2) == 0) index = readable == 0 ? index : index % readable;
        const std::string value = ValueAt(compiled, index);
        const bool isBelow = isReadable || index < readable;
        ASSERT_EQ(compiled.FindIndex(value, index), isBelow ? std::optional(index) : std::nullopt) << index;
        const std::uint64_t from = random.Below(3) == 0 ? 0 : DrawIndex(random);
        const std::optional<std::uint64_t> found = compiled.FindIndex(value, from);
        ASSERT_TRUE(!isBelow || from > index || (found && *found <= index)) << index;
        if (found) {
            ASSERT_TRUE(*found >= from && (isReadable || *found < readable)) << *found;
            ASSERT_EQ(ValueAt(compiled, *found), value) << *found;
        }
        std::string other = value;
        switch (random.Below(3)) {
        case 0: other += random.Text("0 ", 1); break;
        case 1: other.resize(random.Below(other.size() + 1)); break;
        default:
            if (!other.empty()) {
                char& c = other[random.Below(other.size())];
                c = static_cast<char>(c ^ static_cast<char>(1 << random.Below(8)));
            }
        }
        const auto changed = compiled.FindIndex(other, from);
        ASSERT_TRUE(!changed || (*changed >= from && ValueAt(compiled, *changed) == other)) << index;
    }
    const std::uint64_t period = compiled.GetPeriod();
    if (period == 0 || period > 300) return;
    std::map<std::string, std::vector<std::uint64_t>> indexes;
    const std::uint64_t end = isReadable ? 3 * period : std::min(3 * period, readable);
    for (std::uint64_t index = 0; index < end; ++index) indexes[ValueAt(compiled, index)].push_back(index);
    for (const auto& [value, all] : indexes) {
        for (std::uint64_t from = 0; from < 2 * period; from += 1 + random.Below(period)) {
            const auto least = std::lower_bound(all.begin(), all.end(), from);
            ASSERT_EQ(compiled.FindIndex(value, from), least == all.end() ? std::nullopt : std::optional(*least))
                << "from " << from;
        }
    }
}

inline void CheckFindIndex(Random& random)
{
    const std::uint64_t kind = random.Below(4);
    if (kind < 2) {
        const CountingTemplate counting(random);
        SCOPED_TRACE('"' + counting.text + '"');
        const CompiledTemplate compiled(counting.text);
        ASSERT_TRUE(compiled.IsReadable() || !counting.IsPromised(compiled));
        ASSERT_NO_FATAL_FAILURE(CheckFinds(random, compiled));
        return;
    }
    const std::string text = kind == 2 ? DrawTemplate(random) : DrawFrameTemplate(random);
    if (HasLongLengthField(text)) return;
    SCOPED_TRACE('"' + text + '"');
    std::optional<CompiledTemplate> compiled;
    if (OutcomeOf([&](auto&) { compiled.emplace(text); }) == "raised") return;
    const std::size_t size = compiled->GetMaxSize();
    std::vector<ChecksumField> checksums;
    for (std::size_t i = size < 2 ? 0 : random.Below(3); i > 0; --i) checksums.push_back(DrawChecksum(random, size));
    try {
        *compiled = CompiledTemplate(Wildcards(text, "@"), checksums);
    } catch (const std::invalid_argument&) { // a field over an expression or another field, or no frame at all
    }
    CheckFinds(random, *compiled);
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_FIND_INDEX_CHECKS_H
