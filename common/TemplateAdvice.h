#ifndef ZOR_COMMON_TEMPLATE_ADVICE_H
#define ZOR_COMMON_TEMPLATE_ADVICE_H

/// \file
/// Internal: the words that CheckTemplate() uses: quotations, and expressions as they should be written.

#include "Hexfield.h"
#include "TemplateSyntax.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zor::common::detail {

/// One expression of a template, as it is checked.
struct CheckedExpression {
    std::string_view text; ///< All of it.
    char kind = 0;
    bool hasList = false;
    /// Whether hints make sense: it stands in the text as it was given, not made of the bytes of a hex template, and its
    /// list was meant to be this one.
    bool isWritten = true;
    std::string_view list;
    ArgumentList arguments;
};

/// A piece of a text, as a message shows it: in quotes, control characters as numbers, cut where it is long.
std::string Quote(std::string_view text);

/// "1 byte", "2 bytes".
std::string Plural(std::size_t number, const char* noun);

/// The expression with another list, of as many words as \a words has.
std::string WithWords(const CheckedExpression& of, const std::vector<std::string>& words);

/// The words of an expression, with the defaults of the positions behind them up to \a count in all.
std::vector<std::string> WordsOf(const CheckedExpression& of, std::size_t count);

/// The expression with another word at a position, and with defaults in front of it where it has fewer.
std::string WithWord(const CheckedExpression& of, std::size_t position, std::string word);

/// A hex counter with start, step and mask as wide as the wider one of start and step, and a format.
std::string AtFullWidth(const CheckedExpression& of, std::string_view format);

/// A hex argument as it should be written: an address as its digits, a number without "0x", a number with a minus as
/// what it is to be added.
/// \param size  how many bytes a negative number gets.
std::string HexDigitsFor(std::string_view word, std::size_t size);

/// Whether a word is an address or a number in the digits of a hex argument: groups of the same width with ":" or "-"
/// between them, or of four digits with ".", read as they are meant.
bool IsHexArgument(std::string_view word);

/// Whether a word is rather an address than a decimal number.
bool LooksLikeAddress(std::string_view word);

/// The one of several words that was probably meant; empty if none is near.
std::string_view Nearest(std::string_view word, const std::vector<std::string_view>& among);

/// The template from its first character on that an open list was probably meant to take, without a parenthesis.
std::string_view ListMeant(std::string_view text);

} // namespace zor::common::detail

#endif // ZOR_COMMON_TEMPLATE_ADVICE_H
