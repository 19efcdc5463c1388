#include "TemplateCheck.h"

#include "CounterFacts.h"
#include "Digits.h"
#include "TemplateAdvice.h"
#include "TemplateCompiler.h"
#include "TemplateOverlay.h"
#include "WildcardsImpl.h"

#include <algorithm>
#include <optional>
#include <tuple>
#include <utility>

namespace zor::common {

namespace detail {

namespace {

using Severity = TemplateDiagnostic::Severity;

std::string Plural(std::size_t number, const char* noun)
{
    return std::to_string(number) + ' ' + noun + (number == 1 ? "" : "s");
}

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

bool HasBits(const Hexfield& field)
{
    for (unsigned int i = 0; i < field.GetSize(); ++i) {
        if (field.GetByte(i) != 0) return true;
    }
    return false;
}

bool IsOne(const Hexfield& field)
{
    for (unsigned int i = 0; i + 1 < field.GetSize(); ++i) {
        if (field.GetByte(i) != 0) return false;
    }
    return field.GetSize() != 0 && field.GetByte(field.GetSize() - 1u) == 1;
}

bool IsWordCharacter(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
           static_cast<unsigned char>(c) >= 0x80;
}

/// Checks one template.
class Checker {
public:
    Checker(const std::string& text, const std::string& marker, const PacketContext& context,
            const Variables* variables)
        : mGiven(text), mMarker(marker), mContext(context), mVariables(variables), mIsHex(IsHexTemplate(text))
    {
    }

    std::vector<TemplateDiagnostic> Run()
    {
        if (mIsHex) mRewritten = RewriteHexTemplate(mGiven, "@", &mMap);
        mText = mIsHex ? std::string_view(mRewritten) : mGiven;
        CheckExpressions();
        CheckLengths();
        if (mIsHex) {
            FindPlaces();
            mText = mGiven;
            CheckHexText();
        }
        CheckMarker();
        std::sort(mFound.begin(), mFound.end(), [](const auto& left, const auto& right) {
            return std::tuple(left.pos, left.code, left.len) < std::tuple(right.pos, right.code, right.len);
        });
        return std::move(mFound);
    }

private:
    using Expression = CheckedExpression;

    // ---- what is found

    /// \param where  a piece of mText.
    void Add(unsigned short code, Severity severity, std::string_view where, std::string message, std::string hint = {})
    {
        const auto pos = static_cast<std::size_t>(where.data() - mText.data());
        mFound.push_back({code, severity, pos, where.size(), std::move(message), std::move(hint)});
    }
    void Warn(unsigned short code, std::string_view where, std::string message, std::string hint = {})
    {
        Add(code, Severity::Warning, where, std::move(message), std::move(hint));
    }
    void Note(unsigned short code, std::string_view where, std::string message, std::string hint = {})
    {
        Add(code, Severity::Note, where, std::move(message), std::move(hint));
    }

    /// Moves all places from the rewritten text to the one that was given.
    void FindPlaces()
    {
        std::vector<std::pair<std::size_t, TextRange>> ends; // by place in the rewritten text
        for (const TemplateDiagnostic& found : mFound) {
            ends.push_back({found.pos, {}});
            ends.push_back({found.pos + std::max<std::size_t>(found.len, 1) - 1, {}});
        }
        const auto byPlace = [](const auto& left, const auto& right) { return left.first < right.first; };
        std::sort(ends.begin(), ends.end(), byPlace);
        for (auto& [place, range] : ends) range = mMap.FindByte(mGiven, place);
        const auto find = [&](std::size_t place) {
            return std::lower_bound(ends.begin(), ends.end(), std::pair(place, TextRange()), byPlace)->second;
        };
        for (TemplateDiagnostic& found : mFound) {
            const TextRange first = find(found.pos);
            const TextRange last = find(found.pos + std::max<std::size_t>(found.len, 1) - 1);
            found.pos = std::min(first.pos, last.pos); // the last one may be repeated from before the first
            found.len = std::max(first.pos + first.len, last.pos + last.len) - found.pos;
        }
    }

    // ---- the text between expressions

    void CheckMarker()
    {
        const std::string_view none = mText.substr(0, 0);
        if (mMarker.empty()) return Warn(141, none, "The marker is empty, so no expression is found.");
        if (mMarker.size() > 1) {
            ExpressionText first;
            const bool isFound = TemplateScanner(mText, mMarker).Next(first);
            Warn(116, isFound ? mText.substr(first.range.pos, first.range.len) : none,
                 "The marker " + Quote(mMarker) +
                     " has several characters. The kind of an expression is the character behind the first of them, so "
                     "use a marker of one character.");
        } else if (mIsHex && mMarker != "@") {
            Warn(141, mText.substr(0, 2),
                 "In a hex template \"@\" opens expressions, so those of the marker " + Quote(mMarker) +
                     " are read as digits, and bytes of its code open expressions.");
        }
    }

    void CheckHexText()
    {
        std::size_t from = 2;
        TemplateScanner scanner(mText.substr(2), "@");
        for (ExpressionText found; scanner.Next(found); from = 2 + found.range.pos + found.range.len) {
            const std::size_t pos = 2 + found.range.pos;
            CheckDigits(mText.substr(from, pos - from));
            if (!found.hasList) CheckOpenList(pos, found);
        }
        CheckDigits(mText.substr(from));
        if (from < mText.size() && mText.back() == '@') {
            Warn(
                118, mText.substr(mText.size() - 1),
                "The \"@\" at the end of a hex template repeats the bytes in front of it, from the last expression on.",
                "@@");
        }
    }

    /// Looks at each word of the text between two expressions of a hex template.
    void CheckDigits(std::string_view text)
    {
        for (std::size_t i = 0; i < text.size();) {
            const std::size_t run = EndOfHexRun(text, i);
            std::size_t end = run;
            while (end < text.size() && IsWordCharacter(text[end]) && text[end] != '_') ++end;
            if (end == i) {
                ++i;
                continue;
            }
            const std::string_view word = text.substr(i, end - i);
            if (end == run) {
                CheckRun(word);
            } else {
                CheckHexWord(word);
            }
            i = end;
        }
    }

    void CheckRun(std::string_view run)
    {
        if (run.size() % 2 == 0) return;
        Warn(117, run, "The run " + Quote(run) + " has an odd number of hex digits, so a zero is put in front of it.",
             "0" + std::string(run));
    }

    /// A word of a hex template that has characters other than digits.
    void CheckHexWord(std::string_view word)
    {
        const bool isPrefixed = word[0] == '0' && (word[1] == 'x' || word[1] == 'X');
        std::string digits;
        if (isPrefixed && EndOfHexRun(word, 2) == word.size()) digits = word.substr(2);
        Warn(139, word,
             Quote(word) + " is not made of hex digits. Only these make bytes, and each other character ends a byte.",
             (digits.size() % 2 == 0 ? "" : "0") + digits);
        for (std::size_t i = 0; i < word.size(); ++i) {
            const std::size_t end = EndOfHexRun(word, i);
            if (end == i) continue;
            CheckRun(word.substr(i, end - i));
            i = end;
        }
    }

    /// \param pos  of the marker in mText.
    void CheckOpenList(std::size_t pos, const ExpressionText& found)
    {
        const std::size_t open = pos + 2;
        if (!IsTemplateKind(found.kind) || open >= mText.size() || mText[open] != '(') return;
        const std::string start(mText.substr(pos, 3));
        const std::string_view meant = ListMeant(mText.substr(open + 1));
        Warn(102, mText.substr(pos, 3),
             "The list behind " + Quote(mText.substr(pos, 2)) +
                 " has no closing parenthesis, so it is literal text, and there is no argument.",
             start + std::string(meant) + ")");
    }

    // ---- expressions

    void CheckExpressions()
    {
        TemplateScanner scanner(mText, mMarker);
        std::size_t from = 0; // where the literal text begins
        for (ExpressionText found; scanner.Next(found);) {
            const std::string_view text = mText.substr(found.range.pos, found.range.len);
            const std::size_t end = found.range.pos + found.range.len;
            const bool isOpen = !mIsHex && end < mText.size() && mText[end] == '(' && !found.hasList;
            if (!IsTemplateKind(found.kind)) {
                if (found.kind != mMarker.front()) {
                    CheckUnknownKind(text, found.kind);
                    continue;
                }
            } else if (found.kind == 'v' && !found.hasList) {
                if (isOpen) {
                    CheckOpenList(found.range.pos, found);
                } else {
                    Warn(103, text,
                         "A VLAN tag, VPI or VCI needs a list, so " + Quote(text) + " stays as literal text.",
                         std::string(text) + "(1)");
                }
                continue;
            } else {
                if (isOpen) CheckOpenList(found.range.pos, found);
                if (!found.hasList && found.range.pos > from) CheckWordAround(text, found.kind, found.range.pos, end);
                CheckExpression(found, text);
            }
            from = end;
        }
    }

    void CheckUnknownKind(std::string_view text, char kind)
    {
        std::string hint;
        if (mIsHex) {
            hint = Hexfield(std::string(text), true, true).ToString();
        } else if (mMarker.size() == 1) {
            const char other = kind >= 'A' && kind <= 'Z' ? static_cast<char>(kind - 'A' + 'a') : kind;
            hint = IsTemplateKind(other) ? mMarker + other : mMarker + std::string(text);
        }
        Warn(101, text,
             "No kind of expression is called " + Quote(text.substr(1)) + ", so " + Quote(text) +
                 " stays as literal text.",
             std::move(hint));
    }

    /// A marker within a word, as in an e-mail address.
    void CheckWordAround(std::string_view text, char kind, std::size_t pos, std::size_t end)
    {
        const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
        if (mIsHex || mMarker.size() != 1 || !isLetter(kind) || end >= mText.size()) return;
        if (!IsWordCharacter(mText[pos - 1]) || !isLetter(mText[end])) return;
        Warn(133, text, Quote(text) + " within a word is an expression, and not the characters themselves.",
             mMarker + std::string(text));
    }

    void CheckExpression(const ExpressionText& found, std::string_view text)
    {
        Expression checked;
        checked.text = text;
        checked.kind = found.kind;
        checked.hasList = found.hasList;
        checked.list = found.list;
        checked.isWritten = mMarker.size() == 1 && (!mIsHex || mMap.IsCopied(found.range));
        if (found.kind == '_') mLengths.push_back({text, found.hasList});
        if (!checked.isWritten && mIsHex) {
            Warn(140, text, "Bytes of the hex template stand for a parenthesis and make a list of arguments.");
        }
        if (found.hasList && !CheckList(checked)) return;
        switch (found.kind) {
        case '$': CheckHexCounter(checked); break;
        case 'm':
        case 'M': CheckMac(checked); break;
        case '=': CheckVariable(checked); break;
        case '_': CheckLength(checked); break;
        case 'p': break;
        default: CheckDecimal(checked); break;
        }
    }

    /// Returns whether the list is one.
    bool CheckList(Expression& of)
    {
        if (!of.arguments.Split(of.list)) {
            std::string_view list = of.list;
            while (!list.empty() && IsArgumentDelimiter(list.back())) list.remove_suffix(1);
            Add(1, Severity::Error, of.text,
                list.empty()
                    ? "The list holds nothing but delimiters, so every use of the template raises an exception."
                    : "The list ends in two delimiters, so every use of the template raises an exception.",
                HintFor(of, [&] { return std::string(of.text.substr(0, 3)) + std::string(list) + ")"; }));
            return false;
        }
        if (of.list.find(mMarker) != std::string_view::npos || of.list.find('(') != std::string_view::npos) {
            Warn(134, of.text,
                 "The list goes on to the next parenthesis and takes what stands before it. It was probably meant to "
                 "end sooner.",
                 HintFor(of, [&] {
                     const std::string_view meant = ListMeant(of.list);
                     return std::string(of.text.substr(0, 3)) + std::string(meant) + ")" +
                            std::string(of.list.substr(meant.size())) + ")";
                 }));
        }
        CheckDelimiters(of);
        CheckArguments(of);
        return true;
    }

    /// A hint, for an expression that stands in the text as it was given.
    template <class Make>
    static std::string HintFor(const Expression& of, Make make)
    {
        return of.isWritten ? make() : std::string();
    }

    /// The marker and the kind, without the list that they have; empty where a parenthesis follows or may follow.
    std::string WithoutList(std::string_view expression) const
    {
        const auto end = static_cast<std::size_t>(expression.data() - mText.data()) + expression.size();
        return mIsHex || (end < mText.size() && mText[end] == '(') ? std::string()
                                                                   : std::string(expression.substr(0, 2));
    }

    void CheckDelimiters(const Expression& of)
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
            if (missing != 0) ReportDelimiters(of, of.list.substr(first, last + 1 - first), position, missing);
            while (i < of.list.size() && !IsArgumentDelimiter(of.list[i])) ++i;
        }
    }

    void ReportDelimiters(const Expression& of, std::string_view where, std::size_t position, std::size_t missing)
    {
        Warn(107, where,
             "Nothing stands between these delimiters, so they count as one, and the arguments behind them move to the "
             "front.",
             HintFor(of, [&] {
                 std::string hint = position == 0 ? "" : ",";
                 const std::vector<std::string> words = WordsOf({of.text, of.kind, false, true, {}, {}}, 6);
                 for (std::size_t i = 0; i < missing && position + i < words.size(); ++i) {
                     hint += words[position + i] + ',';
                 }
                 return hint;
             }));
    }

    void CheckArguments(const Expression& of)
    {
        const ArgumentList& arguments = of.arguments;
        const std::size_t most = MaxArguments(of.kind);
        if (arguments.wordCount > ArgumentList::kMaxWords) {
            const auto* next = arguments.words[5].data() + arguments.words[5].size();
            while (IsArgumentDelimiter(*next)) ++next;
            std::string_view rest = of.list.substr(static_cast<std::size_t>(next - of.list.data()));
            while (IsArgumentDelimiter(rest.back())) rest.remove_suffix(1);
            Warn(108, rest,
                 "The list has " + Plural(arguments.wordCount, "argument") + ", of which the first six count.");
        } else if (arguments.wordCount > most && !(of.kind == 'b' && arguments.wordCount == 6)) {
            Warn(138, of.text,
                 "The kind " + Quote(of.text.substr(1, 1)) + " takes " +
                     (most == 0 ? "no arguments, so the list does not count."
                                : Plural(most, "argument") + ", and the others do not count."),
                 HintFor(of, [&] {
                     if (most == 0) return WithoutList(of.text);
                     std::vector<std::string> words = WordsOf(of, most);
                     words.resize(most);
                     return WithWords(of, words);
                 }));
        }
        const std::size_t given = std::min({arguments.wordCount, most, ArgumentList::kMaxWords});
        for (std::size_t i = 0; i < given; ++i) {
            if (const char* const name = NumberAt(of.kind, i)) CheckNumber(of, i, name);
        }
    }

    void CheckNumber(const Expression& of, std::size_t position, const char* name)
    {
        const std::string_view word = of.arguments.words[position];
        if (of.kind == 'v' && position == 0 && (word == "vpi" || word == "vci")) return;
        const bool isHexCount = of.kind == '$' && position == 1;
        if (isHexCount && LooksLikeAddress(word)) {
            return Warn(131, of.text,
                        "The count " + Quote(word) +
                            " looks like an address. A hex counter takes the start first, then the count and the step.",
                        HintFor(of, [&] {
                            std::vector<std::string> words = WordsOf(of, 4);
                            std::swap(words[0], words[1]);
                            words[0] = HexDigitsFor(words[0], 0);
                            if (LooksLikeAddress(words[1])) words[1] = "0";
                            Expression swapped = of;
                            for (std::size_t i = 0; i < 4; ++i) swapped.arguments.words[i] = words[i];
                            swapped.arguments.wordCount = std::max<std::size_t>(of.arguments.wordCount, 4);
                            return AtFullWidth(swapped, words[3]);
                        }));
        }
        unsigned int number = ArgumentList().numbers[position]; // the default
        const std::string otherwise = std::to_string(number);
        switch (ReadNumber(word, number)) {
        case NumberForm::None:
            return Warn(105, word,
                        "The " + std::string(name) + ' ' + Quote(word) + " is not a number, so it takes its default, " +
                            otherwise + '.',
                        otherwise);
        case NumberForm::TooLarge:
            return Warn(106, word,
                        "The " + std::string(name) + ' ' + Quote(word) +
                            " is above 4294967295, so it takes its default, " + otherwise + '.',
                        position == 1 && of.kind != '_' ? "0" : "4294967295");
        case NumberForm::WithTail:
            return Warn(132, word,
                        "The " + std::string(name) + ' ' + Quote(word) + " is read as " + std::to_string(number) +
                            ". What stands behind the digits does not count.",
                        std::to_string(number));
        default: break;
        }
        if (number > 255 && std::string_view(name) == "width") {
            Warn(142, word, "A width counts modulo 256, so this one is " + std::to_string(number % 256) + '.',
                 std::to_string(number % 256));
        }
    }

    // ---- kinds

    void CheckDecimal(const Expression& of)
    {
        const ArgumentList& arguments = of.arguments;
        const DecimalExpression decimal = DecimalOf(of.kind, arguments, mContext);
        const CounterDefinition& counter = decimal.counter;
        const std::size_t width = decimal.width;
        if (of.kind == 'v') CheckTag(of, counter);
        if (of.kind == 'x') CheckCount(of, counter.count, counter.step > 1);
        const bool startsAbove = counter.modulus != 0 && counter.start >= counter.modulus;
        if (startsAbove) {
            Warn(113, of.text,
                 "The start " + std::to_string(counter.start) + " is above the maximum " +
                     std::to_string(counter.modulus - 1) +
                     ". It is shown as it is, and later values are at most the maximum.",
                 of.kind != 'x' ? std::string() : HintFor(of, [&] {
                     return WithWord(of, 0, std::to_string(counter.start % counter.modulus));
                 }));
        }
        if (const std::optional<std::uint64_t> apart = FirstTurnApart(counter)) {
            constexpr std::uint64_t kFar = 0x40000000; // a counter with a maximum and no count meets its end some day
            Add(111, *apart < kFar ? Severity::Warning : Severity::Note, of.text,
                "Wildcards::GetValueAt() gives other values than stepping does from turn " + std::to_string(*apart) +
                    " on, because " +
                    (startsAbove ? "it takes the start modulo the maximum plus one."
                                 : "step times index passes 2^32 before it is taken modulo the maximum plus one.") +
                    kUseCompiled);
        }
        if (!StepsExactly(counter)) {
            Warn(125, of.text,
                 "A step wraps at 2^32 before the sum is taken modulo the maximum plus one, so stepping does not give "
                 "the "
                 "exact numbers that a CompiledTemplate has.");
        }
        const DigitCounts digits = DigitsOf(counter);
        if (std::max(digits.least, width) == std::max(digits.largest, width)) return;
        Note(114, of.text,
             "The size varies from " + Plural(std::max(digits.least, width), "digit") + " to " +
                 std::to_string(digits.largest) + ", which a width would make the same.",
             HintFor(of, [&] {
                 const std::size_t place = of.kind == 'x' ? 3 : of.kind == 'v' ? 1 : 0;
                 return WithWord(of, place, std::to_string(digits.largest));
             }));
    }

    void CheckTag(const Expression& of, const CounterDefinition& counter)
    {
        constexpr std::uint32_t kNotSet = CounterDefinition().modulus;
        const std::string_view word = of.arguments.words[0];
        const bool isAtm = of.arguments.numbers[0] != 0 && (word == "vpi" || word == "vci");
        if (mVariables && (counter.modulus == kNotSet || !FindTag(of.arguments, mContext))) {
            const std::string name =
                isAtm ? "The counter " + Quote(word) : "VLAN tag " + std::to_string(of.arguments.numbers[0]);
            Warn(122, of.text, name + " is not defined, so it shows 0.");
        } else {
            Note(121, of.text, "VLAN tags, VPI and VCI count modulo 65535, so 65534 is the largest number.");
        }
        if (of.hasList && of.arguments.wordCount == 0) ReportEmptyList(of, "tag 1; without a list it is literal text");
    }

    /// What a count of 1 means for a counter that looks as if it was meant to count.
    void CheckCount(const Expression& of, std::uint32_t count, bool hasStep)
    {
        if (of.arguments.wordCount == 1) {
            Warn(137, of.text, "There is no count, and it is 1 by default, so the start never changes.",
                 HintFor(of, [&] { return WithWord(of, 1, "0"); }));
        } else if (count == 1 && hasStep) {
            Warn(112, of.text, "The count is 1, so the step is never taken.",
                 HintFor(of, [&] { return WithWord(of, 1, "0"); }));
        }
    }

    void ReportEmptyList(const Expression& of, const char* meaning)
    {
        Note(115, of.text, std::string("An empty list is not the same as no list: it means ") + meaning + '.',
             HintFor(of, [&] { return WithWord(of, 0, "1"); }));
    }

    void CheckMac(const Expression& of)
    {
        if (of.hasList && of.arguments.wordCount == 0) ReportEmptyList(of, "layout 1, three groups");
        const MacDefinition& mac = mContext.mac;
        if ((mac.first & ~mac.mask) != mac.fixed) {
            Warn(143, of.text,
                 "SetCurrentMac() has changed bits outside of the mask, which go back to those of SetEtherParams() at "
                 "the "
                 "first step.");
        }
        if ((mac.step & ~mac.mask) != 0) {
            Note(
                120, of.text,
                std::string("The step has bits outside of the mask, so Wildcards::GetValueAt() gives other values than "
                            "stepping does.") +
                    kUseCompiled);
        }
    }

    void CheckVariable(const Expression& of)
    {
        const std::string name = LowerCase(of.arguments.words[0]);
        if (name.empty()) {
            Warn(136, of.text, "The expression names no variable, so it shows nothing.",
                 HintFor(of, [&] { return mMarker + std::string(of.text); }));
        } else if (mVariables && !FindVariable(*mVariables, name)) {
            std::vector<std::string_view> names;
            for (const auto& [known, value] : *mVariables) names.emplace_back(known);
            const std::string_view near = Nearest(name, names);
            Warn(123, of.text, "The variable " + Quote(name) + " is not set, so it shows nothing.",
                 near.empty() ? std::string() : HintFor(of, [&] { return WithWord(of, 0, std::string(near)); }));
        }
    }

    void CheckLength(const Expression& of)
    {
        const unsigned int size = of.arguments.numbers[1];
        if (size <= 8) return;
        Warn(144, of.text, "The length takes " + std::to_string(size) + " bytes, which is more than any length needs.",
             HintFor(of, [&] { return WithWord(of, 1, "8"); }));
    }

    /// Length fields pair from the end.
    void CheckLengths()
    {
        std::size_t next = 0;
        if (mLengths.size() % 2 != 0) {
            Warn(104, mLengths[next++].text,
                 "This length field has no partner and shows nothing. Fields make pairs from the end of the template, "
                 "the "
                 "last with the one before it.");
        }
        for (; next < mLengths.size(); next += 2) {
            if (!mLengths[next + 1].hasList) continue;
            Warn(135, mLengths[next + 1].text,
                 "This length field ends what the one before it measures, as length fields do not nest, so its list "
                 "does "
                 "not count.",
                 mMarker.size() != 1 ? std::string() : WithoutList(mLengths[next + 1].text));
        }
    }

    // ---- hex counters

    void CheckHexCounter(const Expression& of)
    {
        const std::size_t words = of.arguments.wordCount;
        const FieldDefinition field = HexCounterOf(of.arguments);
        const HexFormat format = FormatOf(of.arguments);
        const std::size_t size = field.GetFullSize();
        if (words > 0) CheckHexArgument(of, 0, "start", size);
        if (words > 2) CheckHexArgument(of, 2, "step", size);
        if (words > 5) CheckHexArgument(of, 5, "mask", size);
        if (words > 3) CheckFormat(of, format);
        if (words == 3 && !IsOne(Hexfield(std::string(of.arguments.words[2])))) {
            Warn(110, of.text,
                 "In a list of three arguments the step is 1, whatever the third one is. A list with a format has a "
                 "step.",
                 HintFor(of, [&] { return AtFullWidth(of, mIsHex ? "big" : "little"); }));
        }
        CheckCount(of, field.cycle.count, words > 3 && HasBits(field.step) && !IsOne(field.step));
        if (format == HexFormat::Little && mIsHex && size > 1) {
            Warn(124, of.text,
                 "The format is little, the least significant byte first. Packet headers have the most significant one "
                 "first.",
                 HintFor(of, [&] { return AtFullWidth(WithStep(of), "big"); }));
        }
        if (field.cycle.count != 1 && ShowsWidth(format) && field.start.GetSize() < field.step.GetSize()) {
            Warn(128, of.text,
                 "The start has " + Plural(field.start.GetSize(), "byte") + " and the step " +
                     std::to_string(field.step.GetSize()) + ", so the first value is shorter than the others.",
                 HintFor(of, [&] { return AtFullWidth(of, FormatWord(of, format)); }));
        }
        if (field.hasMask) {
            CheckMask(of, field);
        } else if (!IndexAgrees(field, format)) {
            ReportOtherByIndex(of, field, format);
        }
        if (!StepsExactly(field)) {
            Warn(125, of.text,
                 "The step has a word ffffffff, at which stepping may lose a carry, so it does not give the exact "
                 "numbers "
                 "that a CompiledTemplate has.");
        }
    }

    /// The same expression, with the step that a list of fewer than four arguments has.
    static Expression WithStep(Expression of)
    {
        if (of.arguments.wordCount < 4) of.arguments.wordCount = std::min<std::size_t>(of.arguments.wordCount, 2);
        return of;
    }

    static std::string_view FormatWord(const Expression& of, HexFormat format)
    {
        return of.arguments.wordCount > 3 ? of.arguments.words[3] : kFormatWords[static_cast<std::size_t>(format)];
    }

    void CheckHexArgument(const Expression& of, std::size_t position, const char* name, std::size_t size)
    {
        const std::string_view word = of.arguments.words[position];
        if (IsHexArgument(word)) return;
        if (word.front() == '-' || word.front() == '+') {
            return Warn(130, word,
                        "A sign in front of a hex " + std::string(name) + " does not count, so " + Quote(word) +
                            " is " + Quote(Hexfield(std::string(word)).ToString()) + '.',
                        HexDigitsFor(word, size));
        }
        std::string digits = HexDigitsFor(word, size);
        if (digits.empty()) digits = "00";
        const std::string read = Hexfield(std::string(word)).ToString();
        Warn(129, word,
             "The " + std::string(name) + ' ' + Quote(word) + " is read as the hex digits " + Quote(read) +
                 ", and its other characters do not count.",
             std::move(digits));
    }

    void CheckFormat(const Expression& of, HexFormat format)
    {
        const std::string_view word = of.arguments.words[3];
        unsigned int number = 0;
        const NumberForm form = ReadNumber(word, number);
        const bool isNumber = form == NumberForm::Whole || form == NumberForm::WithTail;
        if (isNumber ? form == NumberForm::Whole && number < std::size(kFormatWords)
                     : std::find(std::begin(kFormatWords), std::end(kFormatWords), word) != std::end(kFormatWords)) {
            return;
        }
        std::string hint(format == HexFormat::Little ? "big" : kFormatWords[static_cast<std::size_t>(format)]);
        const std::string_view near = Nearest(word, {std::begin(kFormatWords), std::end(kFormatWords)});
        if (!near.empty()) hint = near;
        Warn(109, word,
             Quote(word) + " is not a format, and means " +
                 std::string(kFormatWords[static_cast<std::size_t>(format)]) +
                 (format == HexFormat::Little ? ": raw bytes, the least significant one first." : "."),
             std::move(hint));
    }

    void CheckMask(const Expression& of, const FieldDefinition& field)
    {
        const std::string_view word = of.arguments.words[5];
        const std::size_t size = field.start.GetSize();
        const std::string full(2 * size, 'F');
        if (!HasBits(field.mask)) {
            return Warn(119, word, "The mask has no bits, so nothing changes.", full);
        }
        if (field.mask.GetSize() != size) {
            std::string fitting = field.mask.ToString();
            if (fitting.size() < 2 * size) fitting.insert(0, 2 * size - fitting.size(), '0');
            fitting.erase(0, fitting.size() - 2 * size);
            Warn(119, word,
                 "The mask has " + Plural(field.mask.GetSize(), "byte") + " and the start " + std::to_string(size) +
                     (field.mask.GetSize() < size ? ", so from the first step on the bytes above the mask are 0."
                                                  : ", so from the first step on the value is as wide as the mask."),
                 HasBits(Hexfield(fitting)) ? fitting : full);
        }
        if (!HasBits(field.step)) return;
        Note(120, of.text,
             std::string("With a mask, Wildcards::GetValueAt() gives other values than stepping does.") + kUseCompiled);
    }

    void ReportOtherByIndex(const Expression& of, const FieldDefinition& field, HexFormat format)
    {
        const std::size_t startSize = field.start.GetSize();
        const std::size_t stepSize = field.step.GetSize();
        std::string why = "it multiplies each 32-bit word of the step without carries.";
        std::string hint;
        if (startSize != stepSize) {
            why = "the start has " + Plural(startSize, "byte") + " and the step " + std::to_string(stepSize) + '.';
            hint = HintFor(of, [&] {
                FieldDefinition wide = field;
                wide.start.normalize(static_cast<unsigned short>(field.GetFullSize()));
                wide.step.normalize(static_cast<unsigned short>(field.GetFullSize()));
                return IndexAgrees(wide, format) ? AtFullWidth(WithStep(of), FormatWord(of, format)) : std::string();
            });
        }
        Warn(111, of.text,
             "Wildcards::GetValueAt() gives other values than stepping does, because " + why +
                 (hint.empty() ? kUseCompiled : ""),
             hint);
    }

    static constexpr const char* kUseCompiled = " A CompiledTemplate gives those of stepping at each index.";

    /// A length field, to be paired.
    struct LengthField {
        std::string_view text;
        bool hasList;
    };

    std::string_view mGiven;
    const std::string& mMarker;
    const PacketContext& mContext;
    const Variables* mVariables; ///< Null where settings are not checked.
    bool mIsHex;
    std::string mRewritten;
    SourceMap mMap;
    std::string_view mText; ///< What places refer to at present.
    std::vector<LengthField> mLengths;
    std::vector<TemplateDiagnostic> mFound;
};

} // namespace

} // namespace detail

std::vector<TemplateDiagnostic> CheckTemplate(const std::string& text, const std::string& marker)
{
    return detail::Checker(text, marker, {}, nullptr).Run();
}

std::vector<TemplateDiagnostic> CheckTemplate(const Wildcards& source)
{
    const Wildcards::Impl& impl = *source.mImpl;
    return detail::Checker(impl.GetText(), impl.GetMarker(), impl.GetContext(), &impl.GetVariables()).Run();
}

} // namespace zor::common
