#ifndef ZOR_COMMON_PYTHON_TEMPLATE_H
#define ZOR_COMMON_PYTHON_TEMPLATE_H

/// \file
/// Template, a compiled template that knows how it was made, so that another process can make it again.

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

/// What the text of a template is compiled with.
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

/// What Python has of a template. Both members are immutable and shared by all copies.
struct Template {
    common::CompiledTemplate compiled;
    std::shared_ptr<const Recipe> recipe;
};

/// How a template is made.
struct Recipe {
    enum class Kind : unsigned char { Text, Frame, Packet, Mix, Joined, Shuffled };

    Kind kind = Kind::Text;
    std::string text;      ///< Of a template, layers, or the bytes of a packet.
    TextSettings settings; ///< Of a template.
    std::vector<std::string> varied;
    std::vector<std::vector<std::string>> crossed; ///< At most one list, as the builder takes one.
    std::vector<std::pair<Template, std::uint64_t>> parts;
    std::uint64_t orderSize = 0, orderSeed = 0;
    std::optional<common::FrameBuilder> frame; ///< What the recipe gives, where fields have names.
    std::optional<common::Wildcards> source;   ///< The same of a text.
};

} // namespace zor::python

#endif // ZOR_COMMON_PYTHON_TEMPLATE_H
