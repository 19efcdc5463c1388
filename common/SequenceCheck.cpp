#include "CompiledTemplateImpl.h"
#include "TemplateCheck.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

namespace zor::common {

namespace {

/// A product, 0 for 2^64 and more.
std::uint64_t Times(std::uint64_t left, std::uint64_t right)
{
    std::uint64_t product = 0;
    return __builtin_mul_overflow(left, right, &product) ? 0 : product;
}

std::string Number(std::uint64_t number)
{
    return number == 0 ? "2^64 or more" : std::to_string(number);
}

/// The expression that is to blame, and why.
std::pair<std::size_t, const char*> WhyUnreadable(const detail::IndexInverse& inverse,
                                                  const std::vector<detail::IndexExpression>& expressions)
{
    const std::optional<std::size_t> untold = inverse.GetUntold();
    if (untold) return {*untold, "nothing shows where the text of this expression ends."};
    for (std::size_t i = 0; i < expressions.size(); ++i) {
        const detail::TurnCycle& cycle = expressions[i].reader.GetCycle();
        if (cycle.unit != cycle.turns) return {i, "this counter shows the same text at several turns of its period."};
    }
    const auto longest =
        std::max_element(expressions.begin(), expressions.end(), [](const auto& left, const auto& right) {
            return left.reader.GetCycle().interval < right.reader.GetCycle().interval;
        });
    return {static_cast<std::size_t>(longest - expressions.begin()),
            "counters that repeat their values leave more than 65536 indexes to try."};
}

/// Of a template made of templates.
std::vector<TemplateDiagnostic> CheckParts(const CompiledTemplate& of, const detail::TrafficPlan& plan)
{
    std::vector<TemplateDiagnostic> found;
    bool areReadable = true;
    for (const CompiledTemplate& part : plan.GetParts()) {
        const std::vector<TemplateDiagnostic> more = CheckTemplate(part);
        found.insert(found.end(), more.begin(), more.end());
        areReadable = areReadable && part.IsReadable();
    }
    if (areReadable && !of.IsReadable()) {
        found.push_back(
            {127,
             TemplateDiagnostic::Severity::Note,
             0,
             0,
             "The index cannot be told from a value, because more than 65536 positions of the order show the "
             "same one.",
             {}});
    }
    return found;
}

} // namespace

std::vector<TemplateDiagnostic> CheckTemplate(const CompiledTemplate& of)
{
    if (of.mImpl->traffic) return CheckParts(of, *of.mImpl->traffic);
    constexpr std::uint64_t kSequence = std::uint64_t{1} << 32;
    const std::vector<TemplateField> fields = of.GetFields();
    std::vector<TemplateDiagnostic> found;
    std::vector<std::size_t> counters;
    std::uint64_t combinations = 1;
    std::uint64_t interval = 1; // how many indexes a turn of each counter lasts; 0 where they differ
    std::string repeats;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const detail::IndexExpression& expression = of.mImpl->read.program->expressions[i];
        const std::uint64_t period = fields[i].period;
        if (period < 2 || period >= kSequence || fields[i].kind == '_') continue;
        repeats +=
            (counters.empty() ? "" : ", ") + (combinations == 0 ? "2^64 and more" : std::to_string(combinations - 1));
        const std::uint64_t own = expression.reader.GetCycle().interval;
        if (counters.empty()) interval = own;
        if (own != interval) interval = 0;
        counters.push_back(i);
        combinations = Times(combinations, period / own);
    }
    if (counters.size() > 1 && interval != 0) { // others have been crossed, or mean something else
        const std::uint64_t flows = of.GetPeriod(counters) / interval;
        const TemplateField& first = fields[counters.front()];
        if (flows != combinations) {
            found.push_back({126,
                             TemplateDiagnostic::Severity::Note,
                             first.pos,
                             first.len,
                             "The counters advance together and show " + Number(flows) + " of " + Number(combinations) +
                                 " combinations. For all of them, cross the counters: give them repeats of " + repeats +
                                 '.',
                             {}});
        }
    }
    if (!of.IsReadable() && !fields.empty()) {
        const std::uint64_t count = of.GetReadableCount();
        const auto [expression, reason] = WhyUnreadable(of.mImpl->read.inverse, of.mImpl->read.program->expressions);
        const TemplateField& field = fields[expression];
        found.push_back({127,
                         TemplateDiagnostic::Severity::Note,
                         field.pos,
                         field.len,
                         (count == 0 ? std::string("The") : "From index " + std::to_string(count) + " on, the") +
                             " index cannot be told from a value, because " + reason,
                         {}});
    }
    return found;
}

} // namespace zor::common
