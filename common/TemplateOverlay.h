#ifndef ZOR_COMMON_TEMPLATE_OVERLAY_H
#define ZOR_COMMON_TEMPLATE_OVERLAY_H

/// \file
/// Internal: rendering of several programs over one text, which a template has once it is parsed again.

#include "TemplateState.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace zor::common::detail {

/// A program with its state. Copies share the program.
struct Layer {
    std::shared_ptr<const Program> program;
    State state;
};

/// Variables by name, in lower case.
using Variables = std::map<std::string, std::string, std::less<>>;

/// The value of a variable; null where it is missing or the name is empty.
const std::string* FindVariable(const Variables& variables, std::string_view lowerName) noexcept;

/// Copies the text of the top layer and replaces the expressions of all layers in it: from the last one of the top
/// layer to the first one of the lowest, each at its place in what the text has become. Length fields are paired across
/// layers. Throws std::out_of_range for a place behind the end.
/// \param below  the other layers, the lowest one first.
void RenderOverlaid(const std::vector<Layer>& below, const Layer& top, const Variables& variables, std::string& out);

/// What each expression of a layer shows at present, for debuggers: ", @x(1,3) = 2" for each one.
std::string DumpValues(const Layer& layer, const Variables& variables);

/// A text as a debugger shows it, quoted and cut off where it is long.
std::string Quoted(std::string_view text);

} // namespace zor::common::detail

#endif // ZOR_COMMON_TEMPLATE_OVERLAY_H
