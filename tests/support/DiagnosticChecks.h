#ifndef ZOR_COMMON_TESTS_DIAGNOSTIC_CHECKS_H
#define ZOR_COMMON_TESTS_DIAGNOSTIC_CHECKS_H

/// \file
/// What CheckTemplate() says of drawn templates, compared with what the templates do.

#include "WildcardsChecks.h"

#include <common/CompiledTemplate.h>
#include <common/TemplateCheck.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace zor::common::test {

inline bool Has(const std::vector<TemplateDiagnostic>& found, unsigned int code)
{
    return std::any_of(found.begin(), found.end(), [code](const auto& each) { return each.code == code; });
}

/// A drawn text: places are in it, a code 1 is found where parsing raises, and what a hint says repairs.
inline void CheckDiagnostics(Random& random)
{
    static const std::string kMarkers[] = {"#", "", "@x", "##", std::string(1, '\0')};
    const std::string text =
        random.TextBy([&] { return random.Mutated(MakeTemplate(random), "@@@x$v_(),;=m 01afg-.:\n\xc3"); });
    const std::string marker = random.Below(8) == 7 ? kMarkers[random.Below(std::size(kMarkers))] : "@";
    SCOPED_TRACE("\"" + text + "\", marker \"" + marker + '"');
    Wildcards source(text, marker);
    const std::vector<TemplateDiagnostic> found = CheckTemplate(text, marker);
    const std::vector<TemplateDiagnostic> ofSource = CheckTemplate(source);
    ASSERT_EQ(Has(found, 1), OutcomeOf([&](auto&) { source.ParseExpr(); }) == "raised");
    ASSERT_EQ(Has(ofSource, 1), Has(found, 1));
    std::size_t pos = 0;
    for (const TemplateDiagnostic& each : found) {
        SCOPED_TRACE(ToText(each, text, "drawn"));
        ASSERT_GE(each.pos, pos);
        ASSERT_TRUE(each.pos <= text.size() && each.len <= text.size() - each.pos);
        ASSERT_TRUE(each.len > 0 || each.code == 116 || each.code == 141);
        ASSERT_FALSE(each.message.empty());
        pos = each.pos;
        if (each.hint.empty() || marker != "@") continue;
        std::string repaired = text;
        repaired.replace(each.pos, each.len, each.hint);
        for (const TemplateDiagnostic& left : CheckTemplate(repaired)) {
            ASSERT_FALSE(left.code == each.code && left.pos == each.pos) << ToText(left, repaired, "repaired");
        }
    }
}

/// What a drawn template says of its fields is so, and a code 104 is found where a length field is left over.
inline void CheckFields(Random& random)
{
    const std::string text = DrawTemplate(random);
    const std::vector<TemplateDiagnostic> found = CheckTemplate(text);
    if (HasLongLengthField(text) || Has(found, 1)) return;
    SCOPED_TRACE('"' + text + '"');
    const CompiledTemplate compiled(text);
    const std::vector<TemplateField> fields = compiled.GetFields();
    std::string value, other;
    compiled.GetValueAt(0, value);
    std::size_t lengths = 0, pos = 0, index = 0;
    for (const TemplateField& field : fields) {
        lengths += field.kind == '_' ? 1 : 0;
        ASSERT_TRUE(field.pos >= pos && field.len >= 2 && field.pos + field.len <= text.size());
        ASSERT_TRUE(text.compare(0, 2, "@h") == 0 || text[field.pos + 1] == field.kind);
        pos = field.pos;
        ASSERT_EQ(value.compare(field.offset, field.first.size(), field.first), 0) << field.first;
        ASSERT_TRUE(field.minSize <= field.first.size() && field.first.size() <= field.maxSize) << field.pos;
        ASSERT_EQ(field.period, compiled.GetPeriod({index++}));
        ASSERT_TRUE(field.period != 0 || field.last.empty()) << field.pos;
        if (field.period == 0 || !field.isOffsetFixed || field.last.empty()) continue;
        compiled.GetValueAt(field.period - 1, other);
        ASSERT_EQ(other.compare(field.offset, field.last.size(), field.last), 0) << field.last;
    }
    ASSERT_EQ(Has(found, 104), lengths % 2 != 0);
    for (const DiagramStyle style : {DiagramStyle::Rfc, DiagramStyle::Svg, DiagramStyle::Json}) {
        ASSERT_EQ(Diagram(compiled, style, {text, value}).back(), '\n');
    }
}

/// A counter of few values: the codes that speak of its values are found exactly where the values are so.
inline void CheckCounterFacts(Random& random)
{
    static constexpr const char* kFormats[] = {"little", "big", "hex", "mac", "ipv4", "ipv6"};
    const bool isHex = random.Below(2) == 0;
    const std::size_t count = 1 + random.Below(random.Below(4) == 0 ? 3000 : 20);
    const auto number = [&random] { // near a power of 2, a few of one, or any
        const std::uint64_t power = std::uint64_t{1} << random.Below(33);
        const std::uint64_t near = power + random.Below(5) - 2;
        return std::to_string((random.Below(3) == 0 ? near : random.Number() % power) & 0xffffffff);
    };
    const auto digits = [&random] {
        std::string text;
        for (std::size_t bytes = 1 + random.Below(random.Below(4) == 0 ? 21 : 8); bytes > 0; --bytes)
            text += random.Below(3) == 0 ? random.Text("0123456789abcdef", 2) : random.Below(3) == 0 ? "ff" : "00";
        if (random.Below(4) == 0) text = "ffffffff" + text;
        return text;
    };
    std::string text;
    if (isHex) {
        text = "@$(" + digits() + ',' + std::to_string(count) + ',' + digits() + ',' + kFormats[random.Below(6)] + ')';
    } else {
        text = "@x(" + number() + ',' + std::to_string(count) + ',' + number() + ',' +
               std::to_string(random.Below(11)) + ",0," + number() + ')';
    }
    SCOPED_TRACE(text);
    const std::vector<TemplateDiagnostic> found = CheckTemplate(text);
    const CompiledTemplate compiled(text);
    Wildcards steps(text, "@"), indexes(text, "@");
    std::size_t apart = count; // the first turn of two values
    std::string byStep, byIndex, exact;
    std::size_t least = 1000, largest = 0;
    for (std::size_t turn = 0; turn < count; ++turn, steps.NextValue()) {
        steps.GetValue(byStep);
        indexes.GetValueAt(static_cast<int>(turn), byIndex, false);
        compiled.GetValueAt(turn, exact);
        if (apart == count && byStep != byIndex) apart = turn;
        least = std::min(least, exact.size());
        largest = std::max(largest, exact.size());
    }
    ASSERT_EQ(Has(found, 111), apart != count);
    const std::string from = " from value number " + std::to_string(apart) + " on,";
    for (const TemplateDiagnostic& each : found)
        ASSERT_TRUE(each.code != 111 || isHex || each.message.find(from) != std::string::npos) << each.message << from;
    ASSERT_EQ(Has(found, 125), !compiled.StepsAlike());
    ASSERT_EQ(Has(found, 114), !isHex && least != largest);
    const TemplateField field = compiled.GetFields().front();
    const bool isAddress = text.find(",ip") != std::string::npos;
    ASSERT_TRUE(isAddress ? field.minSize <= least : field.minSize == least) << field.minSize;
    ASSERT_TRUE(isAddress ? field.maxSize >= largest : field.maxSize == largest) << field.maxSize;
    ASSERT_EQ(field.last, exact); // of a period that is the count, or a divisor of it
    compiled.GetValueAt(0, exact);
    ASSERT_EQ(field.first, exact);
    compiled.GetValueAt(1, exact);
    ASSERT_EQ(field.second, exact);
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_DIAGNOSTIC_CHECKS_H
