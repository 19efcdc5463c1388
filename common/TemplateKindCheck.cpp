#include "CounterFacts.h"
#include "TemplateFindings.h"

#include <algorithm>
#include <numeric>
#include <optional>

namespace zor::common::detail {

namespace {

void ReportEmptyList(CheckedTemplate& in, const CheckedExpression& of, const char* meaning)
{
    in.Note(115, of.text, std::string("An empty list is not the same as no list: it means ") + meaning + '.',
            HintFor(of, [&] { return WithWord(of, 0, "1"); }));
}

void CheckTag(CheckedTemplate& in, const CheckedExpression& of, const CounterDefinition& counter)
{
    constexpr std::uint32_t kNotSet = CounterDefinition().modulus;
    const std::string_view word = of.arguments.words[0];
    const bool isAtm = of.arguments.numbers[0] != 0 && (word == "vpi" || word == "vci");
    if (in.variables && (counter.modulus == kNotSet || !FindTag(of.arguments, in.context))) {
        const std::string name =
            isAtm ? "The counter " + Quote(word) : "VLAN tag " + std::to_string(of.arguments.numbers[0]);
        in.Warn(122, of.text, name + " is not defined, so it shows 0.");
    } else {
        in.Note(121, of.text, "VLAN tags, VPI and VCI count modulo 65535, so 65534 is the largest number.");
    }
    if (of.hasList && of.arguments.wordCount == 0) ReportEmptyList(in, of, "tag 1; without a list it is literal text");
}

/// A counter with a maximum and no count, given as count after how many turns its values come back: they stay the same, and
/// no product gets as far as 2^32. Empty where that does not help.
std::string WithPeriodAsCount(const CheckedExpression& of, const CounterDefinition& counter)
{
    if (of.kind != 'x' || counter.count != 0 || counter.start >= counter.modulus || !StepsExactly(counter)) return {};
    CounterDefinition counted = counter;
    counted.count = counter.modulus / std::gcd(counter.step, counter.modulus);
    return counted.count == 1 || FirstTurnApart(counted) ? std::string()
                                                         : WithWord(of, 1, std::to_string(counted.count));
}

} // namespace

void CheckCount(CheckedTemplate& in, const CheckedExpression& of, std::uint32_t count, bool hasStep)
{
    if (of.arguments.wordCount == 1) {
        in.Warn(137, of.text, "There is no count, and it is 1 by default, so the start never changes.",
                HintFor(of, [&] { return WithWord(of, 1, "0"); }));
    } else if (count == 1 && hasStep) {
        in.Warn(112, of.text, "The count is 1, so the step is never taken.",
                HintFor(of, [&] { return WithWord(of, 1, "0"); }));
    }
}

void CheckDecimal(CheckedTemplate& in, const CheckedExpression& of)
{
    const ArgumentList& arguments = of.arguments;
    const DecimalExpression decimal = DecimalOf(of.kind, arguments, in.context);
    const CounterDefinition& counter = decimal.counter;
    const std::size_t width = decimal.width;
    if (of.kind == 'v') CheckTag(in, of, counter);
    if (of.kind == 'x') CheckCount(in, of, counter.count, counter.step > 1);
    const bool startsAbove = counter.modulus != 0 && counter.start >= counter.modulus;
    if (startsAbove) {
        in.Warn(113, of.text,
                "The start " + std::to_string(counter.start) + " is above the maximum " +
                    std::to_string(counter.modulus - 1) +
                    ". It is shown as it is, and later values are at most the maximum.",
                of.kind != 'x' ? std::string() : HintFor(of, [&] {
                    return WithWord(of, 0, std::to_string(counter.start % counter.modulus));
                }));
    }
    if (const std::optional<std::uint64_t> apart = FirstTurnApart(counter)) {
        const std::string hint = HintFor(of, [&] { return WithPeriodAsCount(of, counter); });
        in.Warn(111, of.text,
                "Wildcards::GetValueAt() gives other values than stepping does from value number " +
                    std::to_string(*apart) + " on, because " +
                    (startsAbove ? "it takes the start modulo the maximum plus one."
                                 : "step times index passes 2^32 before it is taken modulo the maximum plus one.") +
                    (hint.empty() ? kUseCompiled : " A count after which the values come back anyway avoids that."),
                hint);
    }
    if (!StepsExactly(counter)) {
        in.Warn(125, of.text,
                "A step wraps at 2^32 before the sum is taken modulo the maximum plus one, so stepping does not give "
                "the exact numbers that a CompiledTemplate has.");
    }
    const DigitCounts digits = DigitsOf(counter);
    if (std::max(digits.least, width) == std::max(digits.largest, width)) return;
    in.Note(114, of.text,
            "The size varies from " + Plural(std::max(digits.least, width), "digit") + " to " +
                std::to_string(digits.largest) + ", which a width would make the same.",
            HintFor(of, [&] {
                const std::size_t place = of.kind == 'x' ? 3 : of.kind == 'v' ? 1 : 0;
                return WithWord(of, place, std::to_string(digits.largest));
            }));
}

void CheckMac(CheckedTemplate& in, const CheckedExpression& of)
{
    if (of.hasList && of.arguments.wordCount == 0) ReportEmptyList(in, of, "layout 1, three groups");
    const MacDefinition& mac = in.context.mac;
    if ((mac.first & ~mac.mask) != mac.fixed) {
        in.Warn(143, of.text,
                "SetCurrentMac() has changed bits outside of the mask, which go back to those of SetEtherParams() at "
                "the first step.");
    }
    if ((mac.step & ~mac.mask) != 0) {
        in.Note(120, of.text,
                std::string("The step has bits outside of the mask, so Wildcards::GetValueAt() gives other values than "
                            "stepping does.") +
                    kUseCompiled);
    }
}

void CheckVariable(CheckedTemplate& in, const CheckedExpression& of)
{
    const std::string name = LowerCase(of.arguments.words[0]);
    if (name.empty()) {
        in.Warn(136, of.text, "The expression names no variable, so it shows nothing.",
                HintFor(of, [&] { return in.marker + std::string(of.text); }));
    } else if (in.variables && !FindVariable(*in.variables, name)) {
        std::vector<std::string_view> names;
        for (const auto& [known, value] : *in.variables) names.emplace_back(known);
        const std::string_view near = Nearest(name, names);
        in.Warn(123, of.text, "The variable " + Quote(name) + " is not set, so it shows nothing.",
                near.empty() ? std::string() : HintFor(of, [&] { return WithWord(of, 0, std::string(near)); }));
    }
}

void CheckLength(CheckedTemplate& in, const CheckedExpression& of)
{
    const unsigned int size = of.arguments.numbers[1];
    if (size <= 8) return;
    in.Warn(144, of.text, "The length takes " + std::to_string(size) + " bytes, which is more than any length needs.",
            HintFor(of, [&] { return WithWord(of, 1, "8"); }));
}

} // namespace zor::common::detail
