#ifndef ZOR_COMMON_TESTS_WILDCARDS_CHECKS_H
#define ZOR_COMMON_TESTS_WILDCARDS_CHECKS_H

/// \file
/// Wildcards, compared with its model on what a test or a fuzzer draws.

#include "PlainWildcards.h"
#include "Random.h"

#include <common/Wildcards.h>

#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zor::common::test {

/// A template with what the rules are about.
inline std::string MakeTemplate(Random& random)
{
    static constexpr const char* kNumbers[] = {"0",  "1",          "2",          "3",  "7",          "9",
                                               "12", "4294967295", "4294967296", "-1", "2147483649", "x"};
    static constexpr const char* kFormats[] = {"big", "hex", "mac", "ipv4", "ipv6", "257"};
    static constexpr const char* kTags[] = {"vpi", "vci", "VPI", "1", "2", "3"};
    static constexpr const char* kVariables[] = {"k", "K", "long", "port", "Port", "none"};
    std::string text = random.Below(8) == 0 ? "@h" : random.Below(40) == 0 ? "@H" : "";
    for (std::size_t i = random.Below(random.Below(4) == 0 ? 2 : 9); i > 0; --i) {
        text += random.Text("ab4(),0 ", random.Below(2) == 0 ? 0 : random.Below(40));
        const char kind = "xxxxx$$$$@__mMbsSvv==pz"[random.Below(23)];
        text += {'@', kind};
        if (random.Below(6) == 0) continue;
        text += '(';
        const std::size_t words = random.Below(3) == 0 ? random.Below(7) : kind == '$' ? 4 + random.Below(3) : 6;
        const std::size_t numbers = random.Below(2) == 0 ? 6 : std::size(kNumbers);
        for (std::size_t word = 0; word < words; ++word) {
            if (word > 0) text += random.Below(12) == 0 ? random.Text(" ,;\t\n", 2) : ",";
            if (kind == '$' && (word == 0 || word == 2 || word == 5)) {
                std::string digits =
                    random.Text("0123456789abcdefffff", 1 + random.Below(random.Below(2) == 0 ? 40 : 17));
                for (std::size_t end = digits.size(); end >= 8; end -= 8) { // many words of 32 bits are full
                    if (digits[end - 8] == 'f') digits.replace(end - 8, 8, 8, 'f');
                }
                text += digits;
            } else if (kind == '_') {
                text += std::to_string(random.Below(3)); // which stays short
            } else if (kind == 'v' && word == 0) {
                text += kTags[random.Below(6)];
            } else if (kind == '=') {
                text += kVariables[random.Below(6)];
            } else {
                text += word == 3 && random.Below(2) == 0 ? kFormats[random.Below(6)] : kNumbers[random.Below(numbers)];
            }
        }
        if (random.Below(20) == 0) text += random.Text(",;", random.Below(3));
        text += ')';
    }
    text += random.Text("abc", random.Below(20));
    return random.Below(16) == 0 ? random.Mutated(text, "@x$_(),; 0f") : text;
}

inline std::string DrawTemplate(Random& random)
{
    return random.TextBy([&] { return MakeTemplate(random); });
}

/// A list of variables.
inline std::string DrawList(Random& random, std::string_view alphabet, std::string_view edits)
{
    return random.TextBy([&] { return random.Mutated(random.Text(alphabet, random.Below(24)), edits); });
}

/// Whether a length field may ask for more bytes than a test should have.
inline bool HasLongLengthField(const std::string& text)
{
    for (std::size_t at = 0; (at = text.find("_(", at)) != std::string::npos; ++at) {
        int digits = 0;
        for (std::size_t i = at + 2; i < text.size() && text[i] != ')'; ++i) {
            digits = text[i] >= '0' && text[i] <= '9' ? digits + 1 : 0;
            if (digits > 4 || text[i] == '-') return true;
        }
    }
    return false;
}

/// One call of a public operation of Wildcards with its arguments, made on the object and on its model alike.
struct WildcardsCall {
    static constexpr std::string_view kValues[] = {"GetValue",           "GetNextValue",  "NextValue", "GetValueAt",
                                                   "GetValueAt, commit", "SetReadCursor", "ParseExpr"};
    static constexpr std::string_view kSettings[] = {
        "AddVar",          "AddVarList",    "AddVarList of texts",    "GetVar",       "SetEtherParams", "SetCurrentMac",
        "SetVlanTagCount", "SetVlanParams", "SetVlanParams of tag 1", "SetVpiParams", "SetVciParams",   "SetFirstBase",
        "SetSecondBase"};

    /// \param focus  where the settings stand of which half are drawn.
    WildcardsCall(Random& random, bool isSetting, std::size_t focus)
        : operation(kValues[random.Below(std::size(kValues))])
    {
        static const std::string kNames[] = {"k", "K", "port", "PORT", "long", "", "a", std::string("a\0b", 3), "\xc4"};
        static constexpr unsigned int kNumbers[] = {1, 2, 3, 0, 9, 65534, 65535, 65536, 0x80000001, 0xffffffff};
        // Now and then next to the end of all indexes, where counting starts from 0 again.
        index = static_cast<int>(random.Below(4) == 0 ? 0 - random.Below(4) : random.Below(60));
        if (!isSetting) return;
        const std::size_t place = random.Below(2) == 0 ? focus + random.Below(3) : random.Below(std::size(kSettings));
        operation = kSettings[place % std::size(kSettings)];
        name = kNames[random.Below(std::size(kNames))];
        text = random.Text("v,=\\", random.Below(random.Below(4) == 0 ? 200 : 4));
        list = name + "=" + text;
        if (random.Below(2) == 0) list = DrawList(random, "akK=,\\ \t", "=,\n") + "," + list;
        for (auto& mac : macs) {
            for (unsigned char& byte : mac) byte = random.Byte();
        }
        if (random.Below(4) == 0) macs[2].fill(0xff); // the mask
        for (unsigned int& n : numbers) n = kNumbers[random.Below(random.Below(2) == 0 ? 4 : std::size(kNumbers))];
    }

    template <class Object>
    void operator()(Object& object, std::string& out) const
    {
        const auto& n = numbers;
        const auto low = [&n](std::size_t i) { return static_cast<unsigned short>(n[i]); };
        const auto byte = [&n](std::size_t i, unsigned int limit) { return static_cast<unsigned char>(n[i] % limit); };
        const auto is = [this](std::string_view what) { return operation == what; };
        if (is("GetValue")) return object.GetValue(out);
        if (is("GetNextValue")) return object.GetNextValue(out);
        if (is("NextValue")) return object.NextValue();
        if (is("GetValueAt")) return object.GetValueAt(index, out, false);
        if (is("GetValueAt, commit")) return object.GetValueAt(index, out, true);
        if (is("SetReadCursor")) return object.SetReadCursor(index);
        if (is("ParseExpr")) return object.ParseExpr();
        if (is("AddVar")) return object.AddVar(name, text);
        if (is("AddVarList")) return object.AddVarList(list);
        if (is("AddVarList of texts")) return object.AddVarList(std::vector{name + "=" + text, text, "K=" + list});
        if (is("GetVar")) out = object.GetVar(name, out) ? out + " is set" : out + " is missing";
        if (is("SetEtherParams")) object.SetEtherParams(macs[0].data(), macs[1].data(), macs[2].data(), byte(0, 4));
        if (is("SetCurrentMac")) object.SetCurrentMac(macs[0].data());
        if (is("SetVlanTagCount")) object.SetVlanTagCount(byte(0, 4));
        if (is("SetVlanParams")) object.SetVlanParams(byte(0, 5), n[1], n[2], n[3], n[4]);
        if (is("SetVlanParams of tag 1")) object.SetVlanParams(1, n[1], n[2], n[3], n[4]);
        if (is("SetVpiParams")) object.SetVpiParams(low(0), low(1), low(2), low(3));
        if (is("SetVciParams")) object.SetVciParams(low(0), low(1), low(2), low(3));
        if (is("SetFirstBase")) object.SetFirstBase(n[0]);
        if (is("SetSecondBase")) object.SetSecondBase(n[0]);
    }

    std::string_view operation;
    int index = 0;
    std::array<unsigned int, 5> numbers = {};
    std::array<std::array<unsigned char, 6>, 3> macs = {};
    std::string name, text, list;
};

/// What a call gives: the text that it has written over the one that was there, or that it raised.
template <class Call>
std::string OutcomeOf(Call call)
{
    std::string out = "before";
    try {
        call(out);
        return out;
    } catch (const std::out_of_range&) {
        return "raised";
    }
}

/// An object and its model, which go the same way.
struct WildcardsPair {
    WildcardsPair(const std::string& text, const std::string& marker) : real(text, marker), plain(text, marker) {}

    /// Makes a call on both, and compares what it gives.
    template <class Call>
    void Make(const Call& call)
    {
        PlainWildcards next = plain; // so that an exception changes nothing
        const std::string expected = OutcomeOf([&](auto& out) { call(next, out); });
        ASSERT_EQ(OutcomeOf([&](auto& out) { call(real, out); }), expected);
        if (expected != "raised") plain = next;
    }

    /// Compares what both show at present.
    void Compare() const
    {
        const std::string expected = OutcomeOf([this](auto& out) { plain.Expand(out); });
        ASSERT_EQ(OutcomeOf([this](auto& out) { real.Expand(out); }), expected);
    }

    Wildcards real;
    PlainWildcards plain;
};

/// Long chains of all operations on objects that are copied, moved and assigned to one another in between.
inline void CheckWildcards(Random& random)
{
    static const std::string kMarkers[] = {"@", "#", "", "x", "@x", std::string(1, '\0')};
    const std::string text = DrawTemplate(random), other = DrawTemplate(random);
    if (HasLongLengthField(text) || HasLongLengthField(other)) return;
    const std::string& marker = kMarkers[random.Below(random.Below(8) == 0 ? std::size(kMarkers) : 1)];
    std::optional<WildcardsPair> pairs[] = {WildcardsPair(text, marker), WildcardsPair(other, "@")};
    std::string history = '"' + text + "\" and \"" + other + "\" by \"" + marker + '"';
    const std::size_t settings = random.Below(16); // before the first value is drawn
    const std::size_t focus = random.Below(std::size(WildcardsCall::kSettings));
    for (std::size_t i = 0; i < 24 + settings && random.HasMore(); ++i) {
        const bool second = random.Below(3) == 0;
        std::optional<WildcardsPair>&pair = pairs[second], &elsewhere = pairs[!second];
        history += second ? "\nsecond: " : "\nfirst: ";
        const std::size_t choice = random.Below(24);
        if (choice == 0) {
            history += "assigned to the other";
            *elsewhere = *pair;
        } else if (choice == 1) {
            history += "copied in place of the other";
            elsewhere.emplace(*pair);
        } else if (choice == 2) {
            history += "assigned to itself";
            pair->real = static_cast<const Wildcards&>(pair->real);
        } else if (choice == 3) {
            history += "moved to the other, which is assigned back";
            *elsewhere = std::move(*pair);
            *pair = *elsewhere;
        } else if (choice == 4) {
            history += "moved in place of the other and made anew";
            elsewhere.emplace(std::move(*pair));
            *pair = WildcardsPair(other, marker);
        } else {
            const WildcardsCall call(random, i < settings || random.Below(3) == 0, focus);
            if (i >= settings && call.operation == "SetEtherParams" && random.Below(4) != 0) continue; // parses again
            history += std::string(call.operation) + " " + std::to_string(call.index);
            ASSERT_NO_FATAL_FAILURE(pair->Make(call)) << history;
        }
        if (random.Below(4) == 0) continue; // some calls come one after the other without a look in between
        for (const auto& one : pairs) ASSERT_NO_FATAL_FAILURE(one->Compare()) << history;
    }
}

/// A list of variables is split as the model splits it, and every piece of it is a variable of both or of none.
inline void CheckVariableList(Random& random)
{
    const std::string list = DrawList(random, "ab=,\\ \t", "ab=,\\ \n");
    PlainWildcards plain("", "@");
    Wildcards real("", "@");
    plain.AddVarList(list);
    real.AddVarList(list);
    for (std::size_t from = 0; from <= list.size(); ++from) {
        for (std::size_t size = 0; size <= list.size() - from; ++size) {
            const std::string name = list.substr(from, size);
            std::string value = "before", expected;
            ASSERT_EQ(real.GetVar(name, value), plain.GetVar(name, expected))
                << '"' << list << "\" has \"" << name << '"';
            ASSERT_EQ(value, expected) << '"' << list << "\" has \"" << name << '"';
        }
    }
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_WILDCARDS_CHECKS_H
