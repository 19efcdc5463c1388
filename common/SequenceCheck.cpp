#include "CompiledTemplateImpl.h"
#include "TemplateCheck.h"

#include <cstdint>
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

} // namespace

std::vector<TemplateDiagnostic> CheckTemplate(const CompiledTemplate& of)
{
    constexpr std::uint64_t kSequence = std::uint64_t{1} << 32;
    const std::vector<TemplateField> fields = of.GetFields();
    std::vector<TemplateDiagnostic> found;
    std::vector<std::size_t> counters;
    std::uint64_t combinations = 1;
    std::uint64_t interval = 1; // how many indexes a turn of each counter lasts; 0 where they differ
    std::string repeats;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const detail::IndexExpression& expression = of.mImpl->program->expressions[i];
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
                                 " combinations. For all of them, give the counters repeats of " + repeats + '.',
                             {}});
        }
    }
    if (!of.IsReadable() && !fields.empty()) {
        const std::uint64_t count = of.GetReadableCount();
        std::string message = "The index cannot be told from a value";
        if (count != 0) message = "The index can be told from a value below index " + std::to_string(count) + " only";
        message += ": values repeat, the end of a text cannot be seen, or it would take more than 65536 trials.";
        found.push_back(
            {127, TemplateDiagnostic::Severity::Note, fields.front().pos, fields.front().len, std::move(message), {}});
    }
    return found;
}

} // namespace zor::common
