#include "Families.h"
#include "Rows.h"

#include <common/MacroExpander.h>

#include <algorithm>

#if HAVE_ABSL
#include <absl/strings/str_replace.h>
#endif
#if HAVE_CTEMPLATE
#include <ctemplate/template.h>
#endif

namespace zor::common::bench {

namespace {

constexpr std::size_t kVariables = 10;
constexpr std::size_t kLength = 400;

std::string Name(std::size_t variable)
{
    return std::string("name ") + static_cast<char>('a' + variable);
}

std::string Value(std::size_t variable)
{
    return std::string("value of ") + static_cast<char>('a' + variable);
}

/// One text in the syntax of either side.
struct Page {
    std::string expr;
    std::string templ; ///< For ctemplate: "{{NAME_A}}" where the expression has "$(name a)".
};

/// All variables in any order, with literals of any length between them.
Page MakePage(std::uint64_t random, std::size_t variables, std::size_t length)
{
    std::mt19937_64 more(random);
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < variables; ++i) order.push_back(i % kVariables);
    std::shuffle(order.begin(), order.end(), more);
    const std::size_t literals = length - variables * (Name(0).size() + 3);
    std::vector<std::size_t> ends;
    for (std::size_t i = 0; i < variables; ++i) ends.push_back(more() % (literals + 1));
    std::sort(ends.begin(), ends.end());
    Page page;
    std::size_t at = 0;
    const auto addLiteral = [&](std::size_t end) {
        for (; at < end; ++at) page.expr += static_cast<char>(at % 7 == 6 ? ' ' : 'a' + more() % 26);
    };
    for (std::size_t i = 0; i < variables; ++i) {
        const std::size_t before = page.expr.size();
        addLiteral(ends[i]);
        page.templ.append(page.expr, before);
        page.expr += "$(" + Name(order[i]) + ")";
        page.templ += std::string("{{NAME_") + static_cast<char>('A' + order[i]) + "}}";
    }
    const std::size_t before = page.expr.size();
    addLiteral(literals);
    page.templ.append(page.expr, before);
    return page;
}

std::vector<Page> Pages(std::size_t count)
{
    return Inputs([](std::uint64_t random) { return MakePage(random, kVariables, kLength); }, count);
}

std::shared_ptr<CMacroVarMapResolver> Variables()
{
    auto variables = std::make_shared<CMacroVarMapResolver>();
    for (std::size_t i = 0; i < kVariables; ++i) variables->SetValue(Name(i), Value(i));
    return variables;
}

/// Sets each expression and expands it into a string that is used again.
class ParseAndExpand {
public:
    const std::string& operator()(const Page& page)
    {
        mExpander->SetExpr(page.expr);
        mExpander->GetValue(mText);
        return mText;
    }

private:
    // Shared, as an expander is not copied.
    std::shared_ptr<CMacroVarMapResolver> mVariables = Variables();
    std::shared_ptr<CMacroExpander> mExpander = std::make_shared<CMacroExpander>(mVariables.get());
    std::string mText;
};

#if HAVE_CTEMPLATE
using Template = std::shared_ptr<ctemplate::Template>;

Template Parsed(const Page& page)
{
    return Template(ctemplate::Template::StringToTemplate(page.templ, ctemplate::DO_NOT_STRIP));
}

/// Expands templates with the values that a dictionary holds, into a string that is used again.
class ByCtemplate {
public:
    ByCtemplate()
    {
        for (std::size_t i = 0; i < kVariables; ++i) {
            mDictionary->SetValue(std::string("NAME_") + static_cast<char>('A' + i), Value(i));
        }
    }

    const std::string& operator()(ctemplate::Template& templ)
    {
        mText.clear();
        templ.Expand(&mText, mDictionary.get());
        return mText;
    }

private:
    std::shared_ptr<ctemplate::TemplateDictionary> mDictionary =
        std::make_shared<ctemplate::TemplateDictionary>("values");
    std::string mText;
};
#endif

/// Texts that each come once: an expander parses, checks and expands them; absl searches them for each variable, as
/// it parses nothing ahead; ctemplate parses them to a template of its own and expands that.
void ParseRow()
{
    Row row("macro parse and expand, 10 variables, 400 bytes", 0.5, Pages(InputCount(kLength)), ParseAndExpand());
#if HAVE_ABSL
    std::vector<std::pair<std::string, std::string>> replacements;
    for (std::size_t i = 0; i < kVariables; ++i) replacements.emplace_back("$(" + Name(i) + ")", Value(i));
    row.Against("absl::StrReplaceAll", [replacements, text = std::string()](const Page& page) mutable {
        text = absl::StrReplaceAll(page.expr, replacements); // which fills a string of its own
        return std::string_view(text);
    });
#else
    row.Missing("absl");
#endif
#if HAVE_CTEMPLATE
    row.Against("ctemplate", [expand = ByCtemplate()](const Page& page) mutable -> const std::string& {
        return expand(*Parsed(page));
    });
#else
    row.Missing("ctemplate");
#endif
}

/// Texts that were parsed before and are expanded with the values of the moment.
void ExpandRow()
{
    struct Prepared {
        std::shared_ptr<CMacroExpander> expander;
#if HAVE_CTEMPLATE
        Template templ;
#endif
    };
    const auto variables = Variables();
    std::vector<Prepared> prepared;
    for (const Page& page : Pages(InputCount(10 * kLength))) { // as parsed texts take more memory
        const auto expander = std::make_shared<CMacroExpander>(variables.get());
        expander->SetExpr(page.expr);
#if HAVE_CTEMPLATE
        prepared.push_back({expander, Parsed(page)});
#else
        prepared.push_back({expander});
#endif
    }
    Row row("macro expand, 10 variables, 400 bytes", 0.9, std::move(prepared),
            [variables, text = std::string()](const Prepared& page) mutable -> const std::string& {
                page.expander->GetValue(text);
                return text;
            });
#if HAVE_CTEMPLATE
    row.Against("ctemplate", [expand = ByCtemplate()](const Prepared& page) mutable -> const std::string& {
        return expand(*page.templ);
    });
#else
    row.Missing("ctemplate");
#endif
}

/// How the time grows with the length of an expression that has a variable every 40 characters.
void GrowthRows()
{
    const auto page = [](std::size_t length) { return MakePage(1, length / 40, length); };
    Growth("macro parse, by length", 8192, [=](std::size_t length) {
        return [page = page(length), variables = Variables()] {
            CMacroExpander expander(variables.get());
            return expander.SetExpr(page.expr);
        };
    });
    Growth("macro expand, by length", 8192, [=](std::size_t length) {
        const auto variables = Variables();
        const auto expander = std::make_shared<CMacroExpander>(variables.get());
        expander->SetExpr(page(length).expr);
        return [variables, expander, text = std::string()]() mutable {
            expander->GetValue(text);
            return text.size();
        };
    });
}

} // namespace

void MacroExpanderRows()
{
    ParseRow();
    ExpandRow();
    GrowthRows();
}

} // namespace zor::common::bench
