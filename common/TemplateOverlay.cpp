#include "TemplateOverlay.h"

#include "TemplateRender.h"

#include <algorithm>

namespace zor::common::detail {

namespace {

constexpr std::size_t kNoPlace = std::string::npos;

/// The names of the variables, by VariableUse::item.
std::vector<const std::string*> NamesOf(const Program& program)
{
    std::vector<const std::string*> names(program.variables.size());
    for (const auto& [name, use] : program.variables) names[use.item] = &name;
    return names;
}

} // namespace

const std::string* FindVariable(const Variables& variables, std::string_view lowerName) noexcept
{
    if (lowerName.empty()) return nullptr;
    const auto found = variables.find(lowerName);
    return found == variables.end() ? nullptr : &found->second;
}

void RenderOverlaid(const std::vector<Layer>& below, const Layer& top, const Variables& variables, std::string& out)
{
    out = top.program->text;
    std::size_t mark = kNoPlace; // the place of a closing length field whose opening has not come yet
    std::size_t growth = 0;      // how much longer the text has become since then
    for (std::size_t k = below.size() + 1; k-- > 0;) {
        const Layer& layer = k == below.size() ? top : below[k];
        const Program& program = *layer.program;
        const std::vector<const std::string*> names = NamesOf(program);
        for (std::size_t i = program.parts.size(); i-- > 0;) {
            const Part& part = program.parts[i];
            const auto [pos, len] = program.places[i].inText;
            const bool isLength = part.op == Op::LengthOpen || part.op == Op::LengthClose;
            std::string text;
            if (part.op == Op::Escape) {
                text = program.marker;
            } else if (part.op == Op::Variable) {
                const std::string* const value = FindVariable(variables, *names[part.item]);
                if (value) text = *value;
            } else if (!isLength) {
                text = TextOf(program, part, layer.state.GetValues());
            } else if (mark == kNoPlace) {
                mark = pos;
            } else {
                const LengthDefinition& definition = program.lengths[part.item];
                text = LengthText(definition, mark + growth - pos - len);
                if (!definition.isInFront) {
                    out.insert(mark + growth, text);
                    text.clear();
                }
                mark = kNoPlace;
                growth = 0;
            }
            const std::size_t before = out.size();
            out.replace(pos, len, text);
            if (mark != kNoPlace && !isLength) growth += out.size() - before;
        }
    }
}

} // namespace zor::common::detail
