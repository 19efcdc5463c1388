#include "Inputs.h"

#include <common/MacroExpander.h>

using namespace zor::common;
using namespace zor::common::bench;

namespace {

/// Ten variables in 400 bytes.
struct Page {
    CMacroVarMapResolver variables;
    std::string expr;

    Page()
    {
        for (char name = 'a'; name <= 'j'; ++name) {
            variables.SetValue(std::string("name ") + name, std::string("value of ") + name);
            expr += "some text of the page, more of it: $(name " + std::string(1, name) + ")";
        }
    }
};

void ParseAndExpand(benchmark::State& state)
{
    Page page;
    CMacroExpander expander(&page.variables);
    std::string value;
    for (auto _ : state) {
        expander.SetExpr(page.expr);
        expander.GetValue(value);
        benchmark::DoNotOptimize(value.data());
    }
}

void Expand(benchmark::State& state)
{
    Page page;
    CMacroExpander expander(&page.variables);
    expander.SetExpr(page.expr);
    std::string value;
    for (auto _ : state) {
        expander.GetValue(value);
        benchmark::DoNotOptimize(value.data());
    }
}

/// What a program without an expander writes: find and replace, one variable after the other.
void ReplaceOneByOne(benchmark::State& state)
{
    Page page;
    std::string value;
    std::string replacement;
    for (auto _ : state) {
        std::string text = page.expr;
        for (char name = 'a'; name <= 'j'; ++name) {
            const std::string key = std::string("name ") + name;
            page.variables.GetValue(key, replacement);
            const std::string variable = "$(" + key + ")";
            for (std::size_t at = 0; (at = text.find(variable, at)) != std::string::npos; at += replacement.size()) {
                text.replace(at, variable.size(), replacement);
            }
        }
        benchmark::DoNotOptimize(text.data());
    }
}

BENCHMARK(ParseAndExpand);
BENCHMARK(Expand);
BENCHMARK(ReplaceOneByOne);

} // namespace
