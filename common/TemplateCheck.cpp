#include "TemplateCheck.h"

#include "Characters.h"
#include "TemplateFindings.h"
#include "TemplateSyntax.h"
#include "WildcardsImpl.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace zor::common {

namespace detail {

namespace {

bool IsWordCharacter(char c)
{
    return IsNameCharacter(c) || static_cast<unsigned char>(c) >= 0x80;
}

/// Checks one template.
class Checker {
public:
    Checker(const std::string& text, const std::string& marker, const PacketContext& context,
            const Variables* variables)
        : mGiven(text), mIn{marker, context, variables, IsHexTemplate(text), {}, {}}
    {
    }

    std::vector<TemplateDiagnostic> Run()
    {
        if (mIn.isHex) mRewritten = RewriteHexTemplate(mGiven, "@", &mMap);
        mIn.text = mIn.isHex ? std::string_view(mRewritten) : mGiven;
        CheckExpressions();
        CheckLengths();
        if (mIn.isHex) {
            FindPlaces();
            mIn.text = mGiven;
            CheckHexText();
        }
        CheckMarker();
        std::sort(mIn.found.begin(), mIn.found.end(), [](const auto& left, const auto& right) {
            return std::tuple(left.pos, left.code, left.len) < std::tuple(right.pos, right.code, right.len);
        });
        return std::move(mIn.found);
    }

private:
    /// Moves all places from the rewritten text to the one that was given.
    void FindPlaces()
    {
        std::vector<std::pair<std::size_t, TextRange>> ends; // by place in the rewritten text
        for (const TemplateDiagnostic& found : mIn.found) {
            ends.push_back({found.pos, {}});
            ends.push_back({found.pos + std::max<std::size_t>(found.len, 1) - 1, {}});
        }
        const auto byPlace = [](const auto& left, const auto& right) { return left.first < right.first; };
        std::sort(ends.begin(), ends.end(), byPlace);
        for (auto& [place, range] : ends) range = mMap.FindByte(mGiven, place);
        const auto find = [&](std::size_t place) {
            return std::lower_bound(ends.begin(), ends.end(), std::pair(place, TextRange()), byPlace)->second;
        };
        for (TemplateDiagnostic& found : mIn.found) {
            const TextRange first = find(found.pos);
            const TextRange last = find(found.pos + std::max<std::size_t>(found.len, 1) - 1);
            found.pos = std::min(first.pos, last.pos); // the last one may be repeated from before the first
            found.len = std::max(first.pos + first.len, last.pos + last.len) - found.pos;
        }
    }

    // ---- the text between expressions

    void CheckMarker()
    {
        const std::string_view none = mIn.text.substr(0, 0);
        if (mIn.marker.empty()) return mIn.Warn(141, none, "The marker is empty, so no expression is found.");
        if (mIn.marker.size() > 1) {
            ExpressionText first;
            const bool isFound = TemplateScanner(mIn.text, mIn.marker).Next(first);
            mIn.Warn(
                116, isFound ? mIn.text.substr(first.range.pos, first.range.len) : none,
                "The marker " + Quote(mIn.marker) +
                    " has several characters. The kind of an expression is the character after the first of them, so "
                    "use a marker of one character.");
        } else if (mIn.isHex && mIn.marker != "@") {
            mIn.Warn(141, mIn.text.substr(0, 2),
                     "In a hex template \"@\" opens expressions, so those of the marker " + Quote(mIn.marker) +
                         " are read as digits, and bytes of its code open expressions.");
        }
    }

    void CheckHexText()
    {
        std::size_t from = 2;
        TemplateScanner scanner(mIn.text.substr(2), "@");
        for (ExpressionText found; scanner.Next(found); from = 2 + found.range.pos + found.range.len) {
            const std::size_t pos = 2 + found.range.pos;
            CheckDigits(mIn.text.substr(from, pos - from));
            if (!found.hasList) CheckOpenList(pos, found);
        }
        CheckDigits(mIn.text.substr(from));
        if (from < mIn.text.size() && mIn.text.back() == '@') {
            mIn.Warn(118, mIn.text.substr(mIn.text.size() - 1),
                     "The \"@\" at the end of a hex template repeats the bytes before it, from the last expression on.",
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
        mIn.Warn(117, run, "The run " + Quote(run) + " has an odd number of hex digits, so a zero is put before it.",
                 "0" + std::string(run));
    }

    /// A word of a hex template that has characters other than digits.
    void CheckHexWord(std::string_view word)
    {
        const bool isPrefixed = word[0] == '0' && (word[1] == 'x' || word[1] == 'X');
        std::string digits;
        if (isPrefixed && EndOfHexRun(word, 2) == word.size()) digits = word.substr(2);
        mIn.Warn(139, word,
                 Quote(word) +
                     " has characters that are not hex digits. These make no bytes, and each of them ends a byte.",
                 (digits.size() % 2 == 0 ? "" : "0") + digits);
        for (std::size_t i = 0; i < word.size(); ++i) {
            const std::size_t end = EndOfHexRun(word, i);
            if (end == i) continue;
            CheckRun(word.substr(i, end - i));
            i = end;
        }
    }

    /// \param pos  of the marker in mIn.text.
    void CheckOpenList(std::size_t pos, const ExpressionText& found)
    {
        const std::size_t open = pos + 2;
        if (!IsTemplateKind(found.kind) || open >= mIn.text.size() || mIn.text[open] != '(') return;
        const std::string start(mIn.text.substr(pos, 3));
        const std::string_view meant = ListMeant(mIn.text.substr(open + 1));
        mIn.Warn(102, mIn.text.substr(pos, 3),
                 "The list after " + Quote(mIn.text.substr(pos, 2)) +
                     " has no closing parenthesis, so it is literal text, and there is no argument.",
                 start + std::string(meant) + ")");
    }

    // ---- expressions

    void CheckExpressions()
    {
        TemplateScanner scanner(mIn.text, mIn.marker);
        std::size_t from = 0; // where the literal text begins
        for (ExpressionText found; scanner.Next(found);) {
            const std::string_view text = mIn.text.substr(found.range.pos, found.range.len);
            const std::size_t end = found.range.pos + found.range.len;
            const bool isOpen = !mIn.isHex && end < mIn.text.size() && mIn.text[end] == '(' && !found.hasList;
            if (!IsTemplateKind(found.kind)) {
                if (found.kind != mIn.marker.front()) {
                    CheckUnknownKind(text, found.kind);
                    continue;
                }
            } else if (found.kind == 'v' && !found.hasList) {
                if (isOpen) {
                    CheckOpenList(found.range.pos, found);
                } else {
                    mIn.Warn(103, text,
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
        if (mIn.isHex) {
            hint = Hexfield(std::string(text), true, true).ToString();
        } else if (mIn.marker.size() == 1) {
            const char other = kind >= 'A' && kind <= 'Z' ? static_cast<char>(kind - 'A' + 'a') : kind;
            hint = IsTemplateKind(other) ? mIn.marker + other : mIn.marker + std::string(text);
        }
        mIn.Warn(101, text,
                 "No kind of expression is called " + Quote(text.substr(1)) + ", so " + Quote(text) +
                     " stays as literal text.",
                 std::move(hint));
    }

    /// A marker within a word, as in an e-mail address.
    void CheckWordAround(std::string_view text, char kind, std::size_t pos, std::size_t end)
    {
        const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
        if (mIn.isHex || mIn.marker.size() != 1 || !isLetter(kind) || end >= mIn.text.size()) return;
        if (!IsWordCharacter(mIn.text[pos - 1]) || !isLetter(mIn.text[end])) return;
        mIn.Warn(133, text, Quote(text) + " within a word is an expression, and not the characters themselves.",
                 mIn.marker + std::string(text));
    }

    void CheckExpression(const ExpressionText& found, std::string_view text)
    {
        CheckedExpression checked;
        checked.text = text;
        checked.kind = found.kind;
        checked.hasList = found.hasList;
        checked.list = found.list;
        checked.isWritten = mIn.marker.size() == 1 && (!mIn.isHex || mMap.IsCopied(found.range));
        if (found.kind == '_') mLengths.push_back({text, found.hasList});
        if (!checked.isWritten && mIn.isHex) {
            mIn.Warn(140, text, "Bytes of the hex template stand for a parenthesis and make a list of arguments.");
        }
        if (found.hasList && !CheckList(mIn, checked)) return;
        switch (found.kind) {
        case '$': CheckHexCounter(mIn, checked); break;
        case 'm':
        case 'M': CheckMac(mIn, checked); break;
        case '=': CheckVariable(mIn, checked); break;
        case '_': CheckLength(mIn, checked); break;
        case 'p': break;
        default: CheckDecimal(mIn, checked); break;
        }
    }

    /// Length fields pair from the end.
    void CheckLengths()
    {
        std::size_t next = 0;
        if (mLengths.size() % 2 != 0) {
            mIn.Warn(104, mLengths[next++].text,
                     "This length field has no partner and shows nothing. Fields make pairs from the end of the "
                     "template, the last with the one before it.");
        }
        for (; next < mLengths.size(); next += 2) {
            if (!mLengths[next + 1].hasList) continue;
            mIn.Warn(135, mLengths[next + 1].text,
                     "This length field ends what the one before it measures, as length fields do not nest, so its "
                     "list is ignored.",
                     mIn.marker.size() != 1 ? std::string() : WithoutList(mIn, mLengths[next + 1].text));
        }
    }

    /// A length field, to be paired.
    struct LengthField {
        std::string_view text;
        bool hasList;
    };

    std::string_view mGiven;
    CheckedTemplate mIn;
    std::string mRewritten;
    SourceMap mMap;
    std::vector<LengthField> mLengths;
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
