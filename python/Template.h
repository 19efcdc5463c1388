#ifndef ZOR_COMMON_PYTHON_TEMPLATE_H
#define ZOR_COMMON_PYTHON_TEMPLATE_H

/// \file
/// Template, a compiled template with the arguments that it was made from, so that another process can make it again.

#include "Native.h"

#include <common/CompiledTemplate.h>
#include <common/FrameBuilder.h>
#include <common/IndexOrder.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zor::python {

/// A counter of the packet context: start, count, step, repeat.
struct Counter {
    std::uint64_t start = 0, count = 0, step = 1, repeat = 0;
};

/// The MAC address of the packet context.
struct MacCounter {
    std::string address, step, mask; ///< Six bytes each.
    std::uint64_t repeat = 0;
};

/// The settings of a template text.
struct TextSettings {
    std::string marker = "@";
    std::vector<std::pair<std::string, std::string>> variables;
    bool hasChecksums = false;
    std::optional<MacCounter> mac;
    std::vector<Counter> vlan;
    std::optional<Counter> vpi, vci;
    std::uint64_t base = 0, secondBase = 0;
};

struct Recipe;

/// The template of a Python object. Both members never change and are shared by all copies.
struct Template {
    common::CompiledTemplate compiled;
    std::shared_ptr<const Recipe> recipe;
};

/// The arguments that a template is made from.
struct Recipe {
    enum class Kind : unsigned char { Text, Frame, Packet, Mix, Joined, Shuffled };

    Kind kind = Kind::Text;
    std::string text;      ///< The text of a template, layers, or the bytes of a packet.
    TextSettings settings; ///< The settings of a template text.
    std::vector<std::string> varied;
    std::vector<std::vector<std::string>> crossed; ///< At most one list, as the builder accepts only one.
    std::vector<std::pair<Template, std::uint64_t>> parts;
    std::uint64_t orderSize = 0, orderSeed = 0;
    std::optional<common::FrameBuilder> frame; ///< The builder of the recipe, if fields have names.
    std::optional<common::Wildcards> source;   ///< The source, if the template is a text.
};

} // namespace zor::python

#endif // ZOR_COMMON_PYTHON_TEMPLATE_H
