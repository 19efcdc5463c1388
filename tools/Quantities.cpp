#include "Quantities.h"

#include "Errors.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <optional>

namespace zor::tools {

namespace {

constexpr std::uint64_t kNoLimit = ~std::uint64_t{0};

/// Takes the digits at the start of a text; nothing if there are none or the number is too large.
std::optional<std::uint64_t> TakeDigits(std::string_view& text)
{
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc()) return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

/// The number of a letter that multiplies; 0 for others.
std::uint64_t Multiple(char letter)
{
    switch (letter) {
    case 'k': return 1000;
    case 'M': return 1000000;
    case 'G': return 1000000000;
    case 'T': return 1000000000000;
    default: return 0;
    }
}

/// Takes a number with at most nine digits of a fraction, times 10^9.
std::optional<std::uint64_t> TakeBillionths(std::string_view& text)
{
    constexpr std::uint64_t kBillion = 1000000000;
    const std::optional<std::uint64_t> whole = TakeDigits(text);
    if (!whole || *whole > kNoLimit / kBillion) return std::nullopt;
    std::uint64_t fraction = 0;
    if (text.substr(0, 1) == ".") {
        text.remove_prefix(1);
        std::uint64_t unit = kBillion;
        bool hasDigits = false;
        while (!text.empty() && text.front() >= '0' && text.front() <= '9') {
            if (unit == 1) return std::nullopt;
            unit /= 10;
            fraction += unit * static_cast<std::uint64_t>(text.front() - '0');
            text.remove_prefix(1);
            hasDigits = true;
        }
        if (!hasDigits) return std::nullopt;
    }
    if (*whole * kBillion > kNoLimit - fraction) return std::nullopt;
    return *whole * kBillion + fraction;
}

[[noreturn]] void Refuse(const std::string& what, const std::string& expected, std::string_view text)
{
    throw InputError(what + " must be " + expected + ", not \"" + std::string(text) + "\"");
}

} // namespace

std::uint64_t ReadNumber(const std::string& what, std::string_view text, std::uint64_t limit)
{
    std::string_view rest = text;
    std::optional<std::uint64_t> number = TakeDigits(rest);
    if (number && rest.size() == 1 && Multiple(rest.front()) != 0) {
        const std::uint64_t times = Multiple(rest.front());
        number = *number <= kNoLimit / times ? std::optional(*number * times) : std::nullopt;
        rest = {};
    }
    if (!number || !rest.empty() || *number > limit) {
        Refuse(what, "a number from 0 to " + std::to_string(limit), text);
    }
    return *number;
}

std::uint64_t ReadNumber(const std::string& what, std::string_view text)
{
    return ReadNumber(what, text, kNoLimit);
}

std::uint64_t ReadDuration(const std::string& what, std::string_view text)
{
    struct Unit {
        std::string_view name;
        std::uint64_t nanoseconds;
    };
    static constexpr std::array<Unit, 7> kUnits = {{{"ns", 1},
                                                    {"us", 1000},
                                                    {"ms", 1000000},
                                                    {"s", 1000000000},
                                                    {"m", 60000000000},
                                                    {"h", 3600000000000},
                                                    {"d", 86400000000000}}};
    std::string_view rest = text;
    const std::optional<std::uint64_t> billionths = TakeBillionths(rest);
    if (billionths && *billionths == 0 && rest.empty()) return 0;
    for (const Unit& unit : kUnits) {
        if (!billionths || rest != unit.name) continue;
        const std::uint64_t whole = *billionths / 1000000000;
        if (whole > kNoLimit / unit.nanoseconds) break;
        // A fraction of a billionth of a day is still below 2^64; what is below a nanosecond is refused.
        const std::uint64_t fraction = *billionths % 1000000000 * (unit.nanoseconds / 1000000000);
        const std::uint64_t small =
            unit.nanoseconds < 1000000000 ? *billionths % 1000000000 * unit.nanoseconds : std::uint64_t{0};
        if (small % 1000000000 != 0) break;
        const std::uint64_t rounded = fraction + small / 1000000000;
        if (whole * unit.nanoseconds > kNoLimit - rounded) break;
        return whole * unit.nanoseconds + rounded;
    }
    Refuse(what, "a duration of whole nanoseconds such as 1us, 2.5s or 10m", text);
}

std::uint64_t ReadTime(const std::string& what, std::string_view text)
{
    std::string_view rest = text;
    if (const std::optional<std::uint64_t> time = TakeBillionths(rest); time && rest.empty()) return *time;
    // YYYY-MM-DDThh:mm:ss
    static constexpr std::string_view kForm = "0000-00-00T00:00:00";
    bool fits = text.size() >= kForm.size();
    for (std::size_t i = 0; fits && i < kForm.size(); ++i) {
        fits = kForm[i] == '0' ? text[i] >= '0' && text[i] <= '9' : text[i] == kForm[i];
    }
    if (fits) {
        const auto part = [text](std::size_t at, std::size_t size) {
            std::string_view digits = text.substr(at, size);
            return static_cast<unsigned int>(*TakeDigits(digits));
        };
        const std::chrono::year_month_day day{std::chrono::year(static_cast<int>(part(0, 4))),
                                              std::chrono::month(part(5, 2)), std::chrono::day(part(8, 2))};
        const unsigned int hour = part(11, 2);
        const unsigned int minute = part(14, 2);
        std::string_view seconds = text.substr(17);
        const std::optional<std::uint64_t> second = TakeBillionths(seconds);
        if (day.ok() && hour < 24 && minute < 60 && second && *second < 60000000000 &&
            (seconds.empty() || seconds == "Z")) {
            const auto days = std::chrono::sys_days(day).time_since_epoch().count();
            if (days >= 0 && days < 106000) {
                return ((static_cast<std::uint64_t>(days) * 24 + hour) * 60 + minute) * 60000000000 + *second;
            }
        }
    }
    Refuse(what, "seconds since 1970 or a time such as 2026-01-31T23:59:59Z", text);
}

Rate ReadRate(const std::string& what, std::string_view text)
{
    Rate rate;
    std::string_view rest = text;
    const std::optional<std::uint64_t> billionths = TakeBillionths(rest);
    double times = 1;
    if (!rest.empty() && Multiple(rest.front()) != 0) {
        times = static_cast<double>(Multiple(rest.front()));
        rest.remove_prefix(1);
    }
    rate.isPackets = rest == "pps";
    if (!billionths || *billionths == 0 || !(rest.empty() || rest == "bps" || rest == "bit/s" || rate.isPackets)) {
        Refuse(what, "bits a second such as 100G or packets a second such as 14.88Mpps", text);
    }
    rate.number = static_cast<double>(*billionths) / 1e9 * times;
    return rate;
}

bool ReadSpan(std::string_view text, common::ByteSpan& span)
{
    const std::optional<std::uint64_t> offset = TakeDigits(text);
    if (!offset || text.substr(0, 1) != ":") return false;
    text.remove_prefix(1);
    const std::optional<std::uint64_t> size = TakeDigits(text);
    if (!size || !text.empty()) return false;
    span = {*offset, *size};
    return true;
}

std::vector<std::string_view> SplitAt(char separator, std::string_view text)
{
    std::vector<std::string_view> pieces;
    for (std::size_t from = 0;;) {
        const std::size_t end = text.find(separator, from);
        pieces.push_back(text.substr(from, end - from));
        if (end == std::string_view::npos) return pieces;
        from = end + 1;
    }
}

namespace {

/// Three digits of a number, without an exponent.
std::string ThreeDigits(double number)
{
    char text[32];
    const int places = number >= 100 ? 0 : number >= 10 ? 1 : 2;
    const auto [end, error] = std::to_chars(text, text + sizeof text, number, std::chars_format::fixed, places);
    return error == std::errc() ? std::string(text, end) : std::string("many");
}

} // namespace

std::string ShowDuration(double seconds)
{
    struct Unit {
        const char* name;
        double seconds;
    };
    static constexpr std::array<Unit, 8> kUnits = {{{" years", 31557600},
                                                    {" d", 86400},
                                                    {" h", 3600},
                                                    {" min", 60},
                                                    {" s", 1},
                                                    {" ms", 1e-3},
                                                    {" us", 1e-6},
                                                    {" ns", 1e-9}}};
    for (const Unit& unit : kUnits) {
        if (seconds >= unit.seconds) return ThreeDigits(seconds / unit.seconds) + unit.name;
    }
    return "0 s";
}

std::string ShowCount(double number)
{
    static constexpr std::array<const char*, 6> kUnits = {" ", " k", " M", " G", " T", " P"};
    std::size_t unit = 0;
    for (; number >= 1000 && unit + 1 < kUnits.size(); ++unit) number /= 1000;
    return ThreeDigits(number) + kUnits[unit];
}

} // namespace zor::tools
