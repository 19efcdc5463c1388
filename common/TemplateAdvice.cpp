#include "TemplateAdvice.h"

#include "AddressText.h"
#include "Characters.h"
#include "TemplateCompiler.h"
#include "TemplateOverlay.h"

#include <algorithm>
#include <iterator>
#include <numeric>

namespace zor::common::detail {

namespace {

std::string OnlyDigits(std::string_view word)
{
    std::string digits;
    std::copy_if(word.begin(), word.end(), std::back_inserter(digits), IsHexDigit);
    return digits;
}

/// Digits with zeros in front, or without the first ones.
std::string Resized(std::string digits, std::size_t size)
{
    if (digits.size() < size) digits.insert(0, size - digits.size(), '0');
    return digits.substr(digits.size() - size);
}

/// Reads an address that a word is, whole and strictly.
template <class Address>
bool Read(std::string_view word, Address& address)
{
    return FromChars(word.data(), word.data() + word.size(), address).fault == TextFault::None;
}

template <class Address>
std::string HexDigitsOf(const Address& address, unsigned int size)
{
    std::string bytes;
    for (unsigned int i = 0; i < size; ++i) bytes += static_cast<char>(address[static_cast<int>(i)]);
    return Hexfield(bytes, true, true).ToString();
}

/// How many letters have to be changed, added or left out. Both are short.
std::size_t Distance(std::string_view left, std::string_view right)
{
    std::vector<std::size_t> row(right.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < left.size(); ++i) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 0; j < right.size(); ++j) {
            const std::size_t changed = diagonal + (left[i] == right[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

} // namespace

std::string Quote(std::string_view text)
{
    constexpr std::size_t kMax = 40;
    return text.size() <= kMax ? Quoted(text) : Quoted(std::string(text.substr(0, kMax)) + "...");
}

std::string Plural(std::size_t number, const char* noun)
{
    return std::to_string(number) + ' ' + noun + (number == 1 ? "" : "s");
}

std::string WithWords(const CheckedExpression& of, const std::vector<std::string>& words)
{
    std::string text(of.text.substr(0, 2));
    text += '(';
    for (std::size_t i = 0; i < words.size(); ++i) text += (i == 0 ? "" : ",") + words[i];
    return text += ')';
}

std::vector<std::string> WordsOf(const CheckedExpression& of, std::size_t count)
{
    static constexpr const char* kHex[] = {"00", "1", "1", "little", "0", "ff"};
    static constexpr const char* kOther[] = {"1", "1", "1", "0", "0", "0"};
    const std::size_t given = std::min(of.arguments.wordCount, ArgumentList::kMaxWords);
    std::vector<std::string> words(of.arguments.words, of.arguments.words + given);
    while (words.size() < count) words.emplace_back((of.kind == '$' ? kHex : kOther)[words.size()]);
    return words;
}

std::string WithWord(const CheckedExpression& of, std::size_t position, std::string word)
{
    std::vector<std::string> words = WordsOf(of, position + 1);
    words[position] = std::move(word);
    return WithWords(of, words);
}

std::string AtFullWidth(const CheckedExpression& of, std::string_view format)
{
    std::vector<std::string> words = WordsOf(of, 4);
    words[3] = format;
    const std::size_t size =
        std::max({Hexfield(words[0]).GetSize(), Hexfield(words[2]).GetSize(), static_cast<unsigned short>(1)});
    for (const std::size_t i : {0u, 2u, 5u}) {
        if (i < words.size() && Hexfield(words[i]).GetSize() != size) {
            words[i] = Resized(OnlyDigits(words[i]), 2 * size);
        }
    }
    return WithWords(of, words);
}

std::string HexDigitsFor(std::string_view word, std::size_t size)
{
    if (!word.empty() && (word.front() == '-' || word.front() == '+')) {
        const std::string digits = OnlyDigits(word.substr(1));
        Hexfield number(Resized(digits, std::max(2 * size, digits.size() + digits.size() % 2)));
        return (word.front() == '-' ? -number : number).ToString();
    }
    CIpAddress ipv4;
    CIpv6Address ipv6;
    CMacAddress mac;
    if (Read(word, ipv4)) return HexDigitsOf(ipv4, 4);
    if (Read(word, ipv6)) return HexDigitsOf(ipv6, 16);
    if (Read(word, mac)) return HexDigitsOf(mac, 6);
    const bool isPrefixed = word.size() > 2 && word[0] == '0' && (word[1] == 'x' || word[1] == 'X');
    return OnlyDigits(isPrefixed ? word.substr(2) : word);
}

bool IsHexArgument(std::string_view word)
{
    if (std::all_of(word.begin(), word.end(), IsHexDigit)) return true;
    const std::size_t group = EndOfHexRun(word, 0);
    const char separator = word[group];
    if (!(group == 2 ? separator == ':' || separator == '-' : group == 4 && (separator == ':' || separator == '.'))) {
        return false;
    }
    if (word.size() % (group + 1) != group) return false;
    for (std::size_t i = 0; i < word.size(); ++i) {
        if (i % (group + 1) == group ? word[i] != separator : !IsHexDigit(word[i])) return false;
    }
    return true;
}

bool LooksLikeAddress(std::string_view word)
{
    const bool isHex = std::all_of(word.begin(), word.end(), IsHexDigit);
    const bool isDecimal = std::all_of(word.begin(), word.end(), IsDecimalDigit);
    if (isDecimal) return word.size() >= 8 && word.front() == '0';
    CIpAddress ipv4;
    CIpv6Address ipv6;
    CMacAddress mac;
    return (isHex && word.size() >= 6) || Read(word, ipv4) || Read(word, ipv6) || Read(word, mac);
}

std::string_view Nearest(std::string_view word, const std::vector<std::string_view>& among)
{
    constexpr std::size_t kMax = 32; // no name that is much longer is worth the time
    std::string_view nearest;
    std::size_t least = std::min<std::size_t>(word.size(), 3);
    if (word.size() > kMax) return nearest;
    const std::string lower = LowerCase(word);
    for (const std::string_view each : among) {
        if (each.size() > kMax) continue;
        const std::size_t distance = Distance(lower, each);
        if (distance >= least) continue;
        least = distance;
        nearest = each;
    }
    return nearest;
}

std::string_view ListMeant(std::string_view text)
{
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || IsHexDigit(c); };
    std::size_t end = 0;
    for (std::size_t next = 0; next < text.size(); ++next) { // a word and a delimiter at a time
        const std::size_t start = next;
        while (next < text.size() && isLetter(text[next])) ++next;
        const std::string_view word = text.substr(start, next - start);
        const std::size_t digits = EndOfHexRun(word, 0);
        const bool isFormat =
            std::find(std::begin(kFormatWords), std::end(kFormatWords), word) != std::end(kFormatWords);
        if (digits != 0) end = start + digits;
        if (isFormat) end = next;
        if (next != end || word.empty() || next == text.size() || (text[next] != ',' && text[next] != ';')) break;
    }
    return text.substr(0, end);
}

} // namespace zor::common::detail
