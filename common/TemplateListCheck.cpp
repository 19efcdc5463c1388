#include "TemplateFindings.h"

#include <algorithm>
#include <utility>

namespace zor::common::detail {

namespace {

/// What stands at a position of the list of a kind that takes a decimal number there; null where none is taken.
const char* NumberAt(char kind, std::size_t position)
{
    static constexpr const char* kCounter[] = {"start", "count", "step", "width", "repeat", "maximum"};
    static constexpr const char* kLength[] = {"placement", "size", "byte order"};
    switch (kind) {
    case 'x': return kCounter[position];
    case 'b': return position == 0 ? "width" : nullptr;
    case 's':
    case 'S': return position == 0 ? "width" : position % 2 == 0 || position == 5 ? kCounter[position] : nullptr;
    case 'm':
    case 'M': return position == 0 ? "layout" : nullptr;
    case 'v': return position == 0 ? "tag number" : position == 1 ? "width" : nullptr;
    case '$': return position == 1 || position == 4 ? kCounter[position] : nullptr;
    case '_': return position < 3 ? kLength[position] : nullptr;
    default: return nullptr;
    }
}

/// How many arguments a kind takes.
std::size_t MaxArguments(char kind)
{
    switch (kind) {
    case 'p': return 0;
    case 'b':
    case 'm':
    case 'M':
    case '=': return 1;
    case 'v': return 2;
    case '_': return 3;
    default: return ArgumentList::kMaxWords;
    }
}

void CheckNumber(CheckedTemplate& in, const CheckedExpression& of, std::size_t position, const char* name)
{
    const std::string_view word = of.arguments.words[position];
    if (of.kind == 'v' && position == 0 && (word == "vpi" || word == "vci")) return;
    const bool isHexCount = of.kind == '$' && position == 1;
    if (isHexCount && LooksLikeAddress(word)) {
        return in.Warn(131, of.text,
                       "The count " + Quote(word) +
                           " looks like an address. A hex counter takes the start first, then the count and the step.",
                       HintFor(of, [&] {
                           std::vector<std::string> words = WordsOf(of, 4);
                           std::swap(words[0], words[1]);
                           words[0] = HexDigitsFor(words[0], 0);
                           if (LooksLikeAddress(words[1])) words[1] = "0";
                           CheckedExpression swapped = of;
                           for (std::size_t i = 0; i < 4; ++i) swapped.arguments.words[i] = words[i];
                           swapped.arguments.wordCount = std::max<std::size_t>(of.arguments.wordCount, 4);
                           return AtFullWidth(swapped, words[3]);
                       }));
    }
    unsigned int number = ArgumentList().numbers[position]; // the default
    std::string otherwise = std::to_string(number);
    switch (ReadNumber(word, number)) {
    case NumberForm::None:
        return in.Warn(105, word,
                       "The " + std::string(name) + ' ' + Quote(word) + " is not a number, so it takes its default, " +
                           otherwise + '.',
                       HintFor(of, [&] { return otherwise; }));
    case NumberForm::TooLarge: {
        const bool isNegative = word.front() == '-';
        return in.Warn(106, word,
                       "The " + std::string(name) + ' ' + Quote(word) +
                           (isNegative ? " is below -4294967295" : " is above 4294967295") +
                           ", so it takes its default, " + otherwise + '.',
                       HintFor(of, [&] {
                           if (isNegative) return otherwise;
                           return std::string(position == 1 && of.kind != '_' ? "0" : "4294967295");
                       }));
    }
    case NumberForm::WithTail:
        return in.Warn(132, word,
                       "The " + std::string(name) + ' ' + Quote(word) + " is read as " + std::to_string(number) +
                           ". The characters after the digits are ignored.",
                       HintFor(of, [&] { return std::to_string(number); }));
    default: break;
    }
    if (number > 255 && std::string_view(name) == "width") {
        in.Warn(142, word, "A width counts modulo 256, so this one is " + std::to_string(number % 256) + '.',
                HintFor(of, [&] { return std::to_string(number % 256); }));
    }
}

void CheckArguments(CheckedTemplate& in, const CheckedExpression& of)
{
    const ArgumentList& arguments = of.arguments;
    const std::size_t most = MaxArguments(of.kind);
    if (arguments.wordCount > ArgumentList::kMaxWords) {
        const auto* next = arguments.words[5].data() + arguments.words[5].size();
        while (IsArgumentDelimiter(*next)) ++next;
        std::string_view rest = of.list.substr(static_cast<std::size_t>(next - of.list.data()));
        while (IsArgumentDelimiter(rest.back())) rest.remove_suffix(1);
        in.Warn(108, rest,
                "The list has " + Plural(arguments.wordCount, "argument") + ", of which the first six count.");
    } else if (arguments.wordCount > most && !(of.kind == 'b' && arguments.wordCount == 6)) {
        in.Warn(138, of.text,
                "The kind " + Quote(of.text.substr(1, 1)) + " takes " +
                    (most == 0 ? "no arguments, so the list is ignored."
                               : Plural(most, "argument") + ", and the others are ignored."),
                HintFor(of, [&] {
                    if (most == 0) return WithoutList(in, of.text);
                    std::vector<std::string> words = WordsOf(of, most);
                    words.resize(most);
                    return WithWords(of, words);
                }));
    }
    const std::size_t given = std::min({arguments.wordCount, most, ArgumentList::kMaxWords});
    for (std::size_t i = 0; i < given; ++i) {
        if (const char* const name = NumberAt(of.kind, i)) CheckNumber(in, of, i, name);
    }
}

void ReportDelimiters(CheckedTemplate& in, const CheckedExpression& of, std::string_view where, std::size_t position,
                      std::size_t missing)
{
    in.Warn(107, where,
            position == 0 ? "There is no first argument, so the one after it takes its place."
                          : "Nothing is between these delimiters, so they count as one, and the arguments after "
                            "them are read one position earlier.",
            HintFor(of, [&] {
                std::string hint = position == 0 ? "" : ",";
                const std::vector<std::string> words = WordsOf({of.text, of.kind, false, true, {}, {}}, 6);
                for (std::size_t i = 0; i < missing && position + i < words.size(); ++i) {
                    hint += words[position + i] + ',';
                }
                return hint;
            }));
}

void CheckDelimiters(CheckedTemplate& in, const CheckedExpression& of)
{
    std::size_t position = 0; // of the argument behind the delimiters
    for (std::size_t i = 0; i < of.list.size(); ++position) {
        std::size_t first = of.list.size();
        std::size_t last = first;
        std::size_t missing = 0;
        for (; i < of.list.size() && IsArgumentDelimiter(of.list[i]); ++i) {
            if (of.list[i] != ',' && of.list[i] != ';') continue;
            missing += position == 0 || last != of.list.size() ? 1 : 0; // the start of the list is like a comma
            first = std::min(first, i);
            last = i;
        }
        if (missing != 0) ReportDelimiters(in, of, of.list.substr(first, last + 1 - first), position, missing);
        while (i < of.list.size() && !IsArgumentDelimiter(of.list[i])) ++i;
    }
}

} // namespace

std::string WithoutList(const CheckedTemplate& in, std::string_view expression)
{
    const auto end = static_cast<std::size_t>(expression.data() - in.text.data()) + expression.size();
    return in.isHex || (end < in.text.size() && in.text[end] == '(') ? std::string()
                                                                     : std::string(expression.substr(0, 2));
}

bool CheckList(CheckedTemplate& in, CheckedExpression& of)
{
    if (!of.arguments.Split(of.list)) {
        std::string_view list = of.list;
        while (!list.empty() && IsArgumentDelimiter(list.back())) list.remove_suffix(1);
        in.Add(1, TemplateDiagnostic::Severity::Error, of.text,
               list.empty() ? "The list holds nothing but delimiters, so every use of the template raises an exception."
                            : "The list ends in two delimiters, so every use of the template raises an exception.",
               HintFor(of, [&] { return std::string(of.text.substr(0, 3)) + std::string(list) + ")"; }));
        return false;
    }
    if (of.list.find(in.marker) != std::string_view::npos || of.list.find('(') != std::string_view::npos) {
        in.Warn(134, of.text,
                "The list goes on to the next parenthesis and takes the text before it. It was probably meant to "
                "end sooner.",
                HintFor(of, [&] {
                    const std::string_view meant = ListMeant(of.list);
                    return std::string(of.text.substr(0, 3)) + std::string(meant) + ")" +
                           std::string(of.list.substr(meant.size())) + ")";
                }));
        of.isWritten = false; // no hint for arguments that were not meant to be any
    }
    CheckDelimiters(in, of);
    CheckArguments(in, of);
    return true;
}

} // namespace zor::common::detail
