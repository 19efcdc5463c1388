// Answers what tests/support/CheckAddresses.py asks on standard input, a line for a line, so that another
// implementation can be the judge.
//
//   <type> text <text in hex>             fault, offset and, for an address or prefix, what it prints as
//   <type> range <first> <last>           its prefixes
//   <type> summary <first>-<last> ...     the prefixes of all ranges
//   <type> subnet <prefix> <length> <n>   the subnet as "first last", or "empty"

#include <common/AddressRange.h>
#include <common/AddressText.h>

#include <iostream>
#include <iterator>
#include <sstream>
#include <string>

using namespace zor::common;

namespace {

template <class Value>
std::string Text(const Value& value)
{
    char text[kMaxTextSize<Value>];
    return {text, ToChars(text, text + sizeof text, value)};
}

template <class Value>
Value Read(const std::string& text)
{
    Value value;
    if (FromChars(text.data(), text.data() + text.size(), value).fault != TextFault::None) {
        std::cout << "refused " << text << ' ';
    }
    return value;
}

std::string FromHex(const std::string& hex)
{
    std::string text;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        text += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return text;
}

template <class Value>
void AnswerText(const std::string& text)
{
    Value value;
    const auto [end, fault] = FromChars(text.data(), text.data() + text.size(), value);
    std::cout << Describe(fault) << '|' << end - text.data() << '|' << (fault == TextFault::None ? Text(value) : "");
}

template <class Address>
AddressRange<Address> ReadRange(const std::string& text)
{
    const std::size_t dash = text.find('-');
    return {Read<Address>(text.substr(0, dash)), Read<Address>(text.substr(dash + 1))};
}

template <class Address>
void Answer(const std::string& question, std::istream& rest)
{
    std::string word;
    if (question == "text") {
        rest >> word;
        word = FromHex(word);
        if (word.find('/') == std::string::npos) {
            AnswerText<Address>(word);
        } else {
            AnswerText<Prefix<Address>>(word);
        }
    } else if (question == "range") {
        rest >> word;
        for (const auto& prefix : ReadRange<Address>(word).GetPrefixes()) std::cout << Text(prefix) << ' ';
    } else if (question == "summary") {
        std::vector<AddressRange<Address>> ranges;
        while (rest >> word) ranges.push_back(ReadRange<Address>(word));
        for (const auto& prefix : Summarize(ranges)) std::cout << Text(prefix) << ' ';
    } else {
        int length = 0;
        std::uint64_t n = 0;
        rest >> word >> length >> n;
        const auto subnet = AddressRange<Address>::Network(Read<Prefix<Address>>(word)).GetSubnet(length, n);
        std::cout << (subnet.IsEmpty() ? "empty" : Text(subnet.GetFirst()) + ' ' + Text(subnet.GetLast()));
    }
}

} // namespace

int main()
{
    std::ios::sync_with_stdio(false);
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string type, question;
        words >> type >> question;
        if (type == "4") Answer<CIpAddress>(question, words);
        if (type == "6") Answer<CIpv6Address>(question, words);
        std::cout << '\n';
    }
}
