#ifndef ZOR_COMMON_TEMPLATE_SYNTAX_H
#define ZOR_COMMON_TEMPLATE_SYNTAX_H

/// \file
/// Internal: the grammar of templates. A scanner finds the expressions of a text, their argument lists are split, and
/// hex templates are rewritten to the bytes that they stand for.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zor::common::detail {

/// A piece of a text, in bytes.
struct TextRange {
    std::size_t pos = 0;
    std::size_t len = 0;
};

/// Whether a character behind a marker opens an expression.
bool IsTemplateKind(char c) noexcept;

/// Whether a character stands between the arguments of a list.
inline bool IsArgumentDelimiter(char c) noexcept
{
    return c == ' ' || c == '\t' || c == '\n' || c == ',' || c == ';';
}

/// How much of a word is a number.
enum class NumberForm : unsigned char { Whole, WithTail, None, TooLarge };

/// Reads a number as extraction from a stream does: white space, a sign, then all digits that follow. It has to fit
/// 32 bits. Where there is none, or one that is too large, \a number stays as it is.
NumberForm ReadNumber(std::string_view word, unsigned int& number) noexcept;

/// A marker in a text, with the character behind it and, if that is a kind, the closed list that follows directly.
struct ExpressionText {
    char kind = 0; ///< The character after the marker's first one, whether it is a kind or not.
    bool hasList = false;
    std::string_view list; ///< What stands between the parentheses.
    TextRange range;       ///< From the marker to the kind character or the ")".
};

/// Finds the markers of a text from the first to the last. All calls together take one pass over the text.
class TemplateScanner {
public:
    TemplateScanner(std::string_view text, std::string_view marker) noexcept : mText(text), mMarker(marker) {}

    /// Finds the next marker with a character behind it. Returns false if there is none.
    bool Next(ExpressionText& found) noexcept;

private:
    std::string_view mText;
    std::string_view mMarker;
    std::size_t mNext = 0;
    std::size_t mClose = 0; ///< The first ")" after the last "(" of a list; 0 before the first list.
};

/// The words of an argument list, of which the first six are kept.
struct ArgumentList {
    static constexpr std::size_t kMaxWords = 6;

    ArgumentList() = default; ///< No list at all, which is not the same as an empty one.

    /// Splits a list. Throws std::out_of_range if it ends in two delimiters or holds nothing but delimiters.
    explicit ArgumentList(std::string_view list);

    /// The same for an object that holds no list yet. Returns false where the list is malformed.
    bool Split(std::string_view list) noexcept;

    bool isGiven = false;
    std::size_t wordCount = 0; ///< How many the list has, kept or not.
    std::string_view words[kMaxWords];
    unsigned int numbers[kMaxWords] = {1, 1, 1, 0, 0, 0}; ///< Each word as a number, or its default.
};

/// Maps places in a rewritten hex template to the text as it was given. Without entries, a place maps to itself.
class SourceMap {
public:
    /// From \a rewritten on, the rewritten text repeats the characters of the source from \a source on.
    void AddCharacters(std::size_t rewritten, std::size_t source) { mPieces.push_back({rewritten, source, false}); }

    /// From \a rewritten on, it holds the bytes whose digits stand in the source from \a source on, each "@" doubled.
    void AddBytes(std::size_t rewritten, std::size_t source) { mPieces.push_back({rewritten, source, true}); }

    /// The range of \a source that a range of the rewritten text comes from, which must not be empty. For bytes it
    /// reaches from the first digit of the first byte to the last digit of the last. Call it in ascending order.
    TextRange Find(std::string_view source, const TextRange& rewritten);

    /// Whether a range of the rewritten text was copied from the source and is not made of bytes.
    bool IsCopied(const TextRange& rewritten) const noexcept;

    /// The same for one byte. Call it in ascending order.
    TextRange FindByte(std::string_view source, std::size_t rewritten);

private:
    struct Piece {
        std::size_t rewritten;
        std::size_t source;
        bool isBytes;
    };

    std::vector<Piece> mPieces;
    std::size_t mPiece = 0;     ///< The piece that was found last.
    std::size_t mRewritten = 0; ///< Where the byte of mByte stands in the rewritten text.
    TextRange mByte;
};

/// The end of the run of hex digits at \a from.
std::size_t EndOfHexRun(std::string_view text, std::size_t from) noexcept;

/// Appends the bytes that runs of hex digits stand for, an odd run with a zero in front; other characters end a run.
void AppendHexBytes(std::string_view digits, std::string& bytes);

/// Rewrites a text that starts with "@h": expressions of the marker "@" are copied, and all else is read as digits. In
/// each \a opening among the bytes the first character is doubled; behind the last expression each "@" is doubled
/// instead. If the text ends in "@", the digits before it are read twice.
/// \param map  may be null.
std::string RewriteHexTemplate(std::string_view text, std::string_view opening, SourceMap* map);

/// Whether a template is written in hex digits.
inline bool IsHexTemplate(std::string_view text) noexcept
{
    return text.substr(0, 2) == "@h";
}

} // namespace zor::common::detail

#endif // ZOR_COMMON_TEMPLATE_SYNTAX_H
