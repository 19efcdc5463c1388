#ifndef ZOR_COMMON_FORMAT_H
#define ZOR_COMMON_FORMAT_H

/// \file
/// Formatters for addresses, prefixes and Hexfield: for std::format if the standard library has it, and for {fmt} if
/// `<fmt/format.h>` was included before this header.
///
/// The format is `[[fill]align][width][style]`: one fill character (UTF-8), "<", ">" or "^", and a width as a number,
/// "{}" or "{n}". Texts are aligned to the left by default, and are never cut. The style is one letter, for MAC
/// addresses only:
///
/// | style | prints |
/// |---|---|
/// | c, or none | 00:1a:2b:3c:4d:5e, with colons |
/// | h | 00-1a-2b-3c-4d-5e, with hyphens |
/// | d | 001a.2b3c.4d5e, with dots |
///
/// Addresses are printed as by ToChars(): the style that all MAC addresses share is neither read nor set, and IPv6
/// addresses follow RFC 5952. A Hexfield is printed as its digits.
/// \code
/// using namespace zor::common::literals;
/// fmt::format("{:>9} is at {:h}", "10.0.0.1"_ip4, "00:1a:2b:3c:4d:5e"_mac); // " 10.0.0.1 is at 00-1a-2b-3c-4d-5e"
/// \endcode

#include "AddressText.h"
#include "Hexfield.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <string_view>
#include <type_traits>

#if __cplusplus >= 202002L && __has_include(<version>)
#include <version>
#endif
#ifdef __cpp_lib_format
#include <format>
#endif

namespace zor::common::detail {

template <class Value>
inline constexpr bool kHasFormatter = false;
template <>
inline constexpr bool kHasFormatter<CIpAddress> = true;
template <>
inline constexpr bool kHasFormatter<CIpv6Address> = true;
template <>
inline constexpr bool kHasFormatter<CMacAddress> = true;
template <>
inline constexpr bool kHasFormatter<CWorldWideName> = true;
template <>
inline constexpr bool kHasFormatter<Hexfield> = true;
template <class Address>
inline constexpr bool kHasFormatter<Prefix<Address>> = true;

/// The formatter of both libraries.
///
/// \tparam Fail  has a static Raise(const char*) that throws the library's own error, and the type ArgumentNumber of
///              the library's arg().
template <class Value, class Fail>
class Formatter {
public:
    template <class Context>
    constexpr typename Context::iterator parse(Context& context)
    {
        auto next = context.begin();
        const auto end = context.end();
        if (next == end || *next == '}') return next;
        next = ReadAlignment(next, end);
        next = ReadWidth(next, end, context);
        if constexpr (std::is_same_v<Value, CMacAddress>) {
            if (next != end && (*next == 'c' || *next == 'h' || *next == 'd')) mStyle = *next++;
        }
        if (next != end && *next != '}') Fail::Raise("invalid format of an address or a field");
        return next;
    }

    template <class Context>
    auto format(const Value& value, Context& context) const
    {
        if constexpr (std::is_same_v<Value, Hexfield>) {
            return Write(value.ToString(), context);
        } else {
            char text[kMaxTextSize<Value>];
            const char* const end = Print(text, text + sizeof text, value);
            return Write({text, static_cast<std::size_t>(end - text)}, context);
        }
    }

private:
    static constexpr std::size_t kNoArgument = ~std::size_t{0};

    static constexpr bool IsAlignment(char c) noexcept { return c == '<' || c == '>' || c == '^'; }

    /// How many bytes the character has that starts with this one.
    static constexpr int CharacterSize(char first) noexcept
    {
        const auto byte = static_cast<unsigned char>(first);
        return byte < 0xc0 ? 1 : byte < 0xe0 ? 2 : byte < 0xf0 ? 3 : 4;
    }

    template <class Iterator>
    constexpr Iterator ReadAlignment(Iterator next, Iterator end)
    {
        const int fillSize = CharacterSize(*next);
        if (end - next > fillSize && IsAlignment(*(next + fillSize))) {
            if (*next == '{') Fail::Raise("invalid fill character '{'");
            for (mFillSize = 0; mFillSize < static_cast<std::size_t>(fillSize); ++mFillSize) mFill[mFillSize] = *next++;
        }
        if (IsAlignment(*next)) mAlignment = *next++;
        return next;
    }

    template <class Iterator, class Context>
    constexpr Iterator ReadWidth(Iterator next, Iterator end, Context& context)
    {
        if (next != end && *next == '{') {
            if (++next != end && *next == '}') {
                mWidthArgument = static_cast<std::size_t>(context.next_arg_id());
            } else {
                mWidthArgument = 0;
                next = ReadNumber(next, end, mWidthArgument);
                context.check_arg_id(static_cast<std::remove_cv_t<decltype(context.next_arg_id())>>(mWidthArgument));
            }
            if (next == end || *next != '}') Fail::Raise("invalid width");
            return ++next;
        }
        if (next == end || DecimalDigitValue(*next) > 9) return next;
        if (*next == '0') Fail::Raise("invalid width"); // which would ask to fill with zeros
        return ReadNumber(next, end, mWidth);
    }

    template <class Iterator>
    static constexpr Iterator ReadNumber(Iterator next, Iterator end, std::size_t& number)
    {
        if (next == end || DecimalDigitValue(*next) > 9) Fail::Raise("invalid width");
        for (number = 0; next != end && DecimalDigitValue(*next) <= 9; ++next) {
            number = 10 * number + DecimalDigitValue(*next);
            if (number > static_cast<std::size_t>(std::numeric_limits<int>::max())) Fail::Raise("number is too big");
        }
        return next;
    }

    char* Print(char* first, char* last, const Value& value) const noexcept
    {
        if constexpr (std::is_same_v<Value, CMacAddress>) {
            const CMacAddress::FormatStyle style = mStyle == 'd'   ? CMacAddress::FormatStyle{0, '.'}
                                                   : mStyle == 'h' ? CMacAddress::FormatStyle{1, '-'}
                                                                   : CMacAddress::FormatStyle{1, ':'};
            return ToChars(first, last, value, style);
        } else {
            return ToChars(first, last, value);
        }
    }

    static std::size_t CheckedWidth(bool isNegative, unsigned long long width)
    {
        if (isNegative) Fail::Raise("negative width");
        if (width > std::numeric_limits<int>::max()) Fail::Raise("number is too big");
        return static_cast<std::size_t>(width);
    }

    template <class Context>
    std::size_t GetWidth(Context& context) const
    {
        if (mWidthArgument == kNoArgument) return mWidth;
        return visit_format_arg(
            [](auto width) -> std::size_t {
                if constexpr (std::is_integral_v<decltype(width)> && !std::is_same_v<decltype(width), bool> &&
                              !std::is_same_v<decltype(width), char>) {
                    return CheckedWidth(width < 0, static_cast<unsigned long long>(width));
                } else {
                    Fail::Raise("width is not integer");
                    return 0;
                }
            },
            context.arg(static_cast<typename Fail::ArgumentNumber>(mWidthArgument)));
    }

    template <class Context>
    auto Write(std::string_view text, Context& context) const
    {
        const std::size_t width = GetWidth(context);
        const std::size_t missing = width > text.size() ? width - text.size() : 0;
        const std::size_t before = mAlignment == '>' ? missing : mAlignment == '^' ? missing / 2 : 0;
        auto out = context.out();
        const auto fill = [&](std::size_t count) {
            for (; count > 0; --count) out = std::copy(mFill, mFill + mFillSize, out);
        };
        fill(before);
        out = std::copy(text.begin(), text.end(), out);
        fill(missing - before);
        return out;
    }

    char mFill[4] = {' '};
    std::size_t mFillSize = 1;
    char mAlignment = '<';
    char mStyle = 'c';
    std::size_t mWidth = 0;
    std::size_t mWidthArgument = kNoArgument; ///< Which argument has the width, if one does.
};

#ifdef __cpp_lib_format
struct StdFormatFailure {
    using ArgumentNumber = std::size_t;
    [[noreturn]] static void Raise(const char* message) { throw std::format_error(message); }
};
#endif
#ifdef FMT_VERSION
struct FmtFormatFailure {
    using ArgumentNumber = int;
    [[noreturn]] static void Raise(const char* message) { throw fmt::format_error(message); }
};
#endif

} // namespace zor::common::detail

#ifdef __cpp_lib_format
/// Formats for std::format.
template <class Value>
requires zor::common::detail::kHasFormatter<Value>
struct std::formatter<Value, char> : zor::common::detail::Formatter<Value, zor::common::detail::StdFormatFailure> {};
#endif

#ifdef FMT_VERSION
/// Formats for {fmt}.
template <class Value>
struct fmt::formatter<Value, char, std::enable_if_t<zor::common::detail::kHasFormatter<Value>>>
    : zor::common::detail::Formatter<Value, zor::common::detail::FmtFormatFailure> {
};
#endif

#endif // ZOR_COMMON_FORMAT_H
