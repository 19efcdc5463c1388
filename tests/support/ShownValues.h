#ifndef ZOR_COMMON_TESTS_SHOWN_VALUES_H
#define ZOR_COMMON_TESTS_SHOWN_VALUES_H

/// \file
/// What the examples in headers say that they give, compared with what they give. ExtractExamples.py writes the calls.

#if __has_include(<fmt/format.h>)
#include <fmt/format.h> // before Format.h, which looks for it
#endif

#include <common/AddressRange.h>
#include <common/IndexRange.h>

#include <cstdint>
#include <cstdio>
#include <iostream>
#include <iterator>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace test {

using Forms = std::vector<std::string>; ///< The ways in which a comment may write a value.

inline Forms FormsOf(const std::string& text)
{
    return {'"' + text + '"'};
}

inline Forms FormsOf(const char* text)
{
    return FormsOf(std::string(text));
}

inline Forms FormsOf(bool value)
{
    return {value ? "true" : "false"};
}

template <class Number>
std::enable_if_t<std::is_integral_v<Number>, Forms> FormsOf(Number value)
{
    std::ostringstream hex;
    hex << "0x" << std::hex << +static_cast<std::make_unsigned_t<Number>>(value);
    return {std::to_string(value), hex.str()};
}

/// Bytes as the values of a vector, and as a dump.
template <class Bytes>
auto FormsOf(const Bytes& bytes)
    -> std::enable_if_t<std::is_same_v<std::decay_t<decltype(*std::begin(bytes))>, unsigned char>, Forms>
{
    std::string list;
    std::string dump;
    for (const unsigned char byte : bytes) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", byte);
        list += (list.empty() ? "0x" : ", 0x") + std::string(digits);
        dump += (dump.empty() ? "" : " ") + std::string(digits);
    }
    return {"{" + list + "}", dump};
}

template <class Value>
auto FormsOf(const Value& value) -> decltype(Forms{value.ToString()})
{
    return {value.ToString()};
}

template <class Address>
Forms FormsOf(const zor::common::AddressRange<Address>& range)
{
    return {range.GetFirst().ToString() + " to " + range.GetLast().ToString()};
}

inline Forms FormsOf(const zor::common::IndexRange& range)
{
    std::string list;
    for (std::uint64_t i = 0; i < range.count; ++i) {
        list += (list.empty() ? "" : ", ") + std::to_string(range.first + i * range.every);
    }
    return {list, std::to_string(range.first) + " to " + std::to_string(range.first + range.count - 1)};
}

template <class Value>
Forms FormsOf(const std::optional<Value>& value)
{
    return value ? FormsOf(*value) : Forms{"none"};
}

template <class Value, class = void>
struct HasForms : std::false_type {
};

template <class Value>
struct HasForms<Value, std::void_t<decltype(FormsOf(std::declval<const Value&>()))>> : std::true_type {
};

struct ShownState {
    std::ostringstream printed; ///< Since the last check.
    std::streambuf* const console = std::cout.rdbuf(printed.rdbuf());
    int compared = 0;
    int failures = 0;
};

inline ShownState& TheShown()
{
    static ShownState state;
    return state;
}

inline void Compare(const char* where, const Forms& forms, std::string_view claim)
{
    ++TheShown().compared;
    for (const std::string& form : forms) {
        const bool isStart = !form.empty() && claim.substr(0, form.size()) == form;
        if (isStart && (claim.size() == form.size() || std::string_view(",:; ").find(claim[form.size()]) != claim.npos))
            return;
    }
    ++TheShown().failures;
    std::fprintf(stderr, "%s: says %.*s but gives %s\n", where, static_cast<int>(claim.size()), claim.data(),
                 forms.empty() ? "nothing to compare" : forms.front().c_str());
}

/// What has been printed since the last time.
inline std::string TakePrinted()
{
    std::string text = TheShown().printed.str();
    TheShown().printed.str("");
    return text;
}

inline void CheckPrinted(const char* where, const std::string& claim)
{
    const std::string text = TakePrinted();
    Compare(where, {text}, claim);
}

/// Runs a statement. What it gives, or prints if it gives no value, is compared with a comment that begins with a value.
template <class Statement>
void CheckShown(const char* where, const Statement& statement, std::string_view claim)
{
    const bool isValue = std::string_view("\"{-0123456789").find(claim[0]) != claim.npos ||
                         claim.substr(0, 4) == "true" || claim.substr(0, 5) == "false" ||
                         claim.substr(0, 7) == "throws " || claim.find_first_not_of("0123456789abcdef") == 2;
    Forms forms;
    try {
        if constexpr (HasForms<std::remove_reference_t<decltype(statement())>>::value) {
            forms = FormsOf(statement());
        } else {
            TakePrinted();
            statement();
            if (!isValue) return;
            std::string text = TakePrinted();
            if (!text.empty()) text.pop_back(); // the end of line
            forms = FormsOf(text);
        }
    } catch (const std::out_of_range&) {
        forms = {"throws std::out_of_range"};
    }
    if (isValue) Compare(where, forms, claim);
}

/// The result of the program: 0 if all is as the comments say.
inline int ReportShown()
{
    std::cout.rdbuf(TheShown().console);
    std::cout << TheShown().compared << " values compared, " << TheShown().failures << " of them differ\n";
    return TheShown().failures == 0 && TheShown().compared != 0 ? 0 : 1;
}

} // namespace test

#endif // ZOR_COMMON_TESTS_SHOWN_VALUES_H
