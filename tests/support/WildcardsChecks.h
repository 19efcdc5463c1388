#ifndef ZOR_COMMON_TESTS_WILDCARDS_CHECKS_H
#define ZOR_COMMON_TESTS_WILDCARDS_CHECKS_H

/// \file
/// Wildcards, checked against the rules written out on what a test or a fuzzer draws.

#include "Random.h"

#include <common/IpAddress.h>
#include <common/Ipv6Address.h>
#include <common/Wildcards.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <locale>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace zor::common::test {

/// A template that is parsed, stepped and rendered one rule after the other, each time as a whole.
class PlainWildcards {
public:
    PlainWildcards(std::string text, std::string opening) : mText(std::move(text)), mMarker(std::move(opening)) {}

    void Parse()
    {
        if (mParsed) return;
        std::string rewritten = Rewritten();
        std::vector<Expr> found;
        std::size_t pos = 0;
        while (!mMarker.empty() && (pos = rewritten.find(mMarker, pos)) != std::string::npos &&
               pos + 1 < rewritten.size()) {
            Expr expr;
            expr.kind = rewritten[pos + 1];
            expr.pos = pos;
            expr.len = 2;
            const bool known = IsKind(expr.kind);
            const std::size_t close =
                rewritten.compare(pos + 2, 1, "(") == 0 ? rewritten.find(')', pos + 3) : std::string::npos;
            const bool list = known && close != std::string::npos;
            if (list) {
                expr.len = close + 1 - pos;
                expr.ReadList(rewritten.substr(pos + 3, close - pos - 3));
            }
            if (known && Fill(expr, list)) {
                found.push_back(expr);
                pos += expr.len;
            } else {
                expr.len = 2;
                if (!known && expr.kind == mMarker[0]) found.push_back(expr);
                pos += 2;
            }
        }
        mText = rewritten;
        mExprs.insert(mExprs.end(), found.begin(), found.end());
        mIndex = 0;
        mParsed = true;
    }

    void Step()
    {
        Parse();
        ++mIndex;
        for (Expr& expr : mExprs) {
            if (expr.holdLeft != 0) {
                --expr.holdLeft;
                continue;
            }
            expr.holdLeft = expr.repeat;
            const bool toStart = expr.count != 0 && expr.TurnsAt(mIndex) % expr.count == 0;
            if (expr.kind == 'm' || expr.kind == 'M') {
                expr.mac = mMacFixed | (mMacMask & (mMacStep + (expr.mac | ~mMacMask)));
            } else if (expr.kind == '$') {
                expr.hex[0] = toStart ? expr.hex[1] : expr.Sum(expr.hex[0], expr.hex[2]);
            } else {
                expr.current = toStart ? expr.start : expr.Reduced(expr.current + expr.step);
            }
        }
    }

    void MoveTo(unsigned int index)
    {
        Parse();
        mIndex = index;
        for (Expr& expr : mExprs) {
            const unsigned int turns = expr.TurnsAt(index);
            const unsigned int sinceStart = expr.count == 0 ? turns : turns % expr.count;
            std::uint64_t packed = 0, distance = 0;
            int bits = 0;
            for (int bit = 0; bit < 48; ++bit) {
                if ((mMacMask >> bit & 1) != 0) packed |= (mMacStep >> bit & 1) << bits++;
            }
            packed *= turns;
            for (int bit = 0, place = 0; bit < 48; ++bit) {
                if ((mMacMask >> bit & 1) != 0) distance |= (packed >> place++ & 1) << bit;
            }
            expr.mac = mMacFixed | (mMacMask & (((mMac & mMacMask) | ~mMacMask) + distance));
            if (expr.kind == '$') {
                Hexfield step = expr.hex[2];
                if (expr.hex.size() > 3) {
                    step.MaskMultiply(sinceStart, expr.hex[3]);
                } else {
                    step = step * sinceStart;
                }
                expr.hex[0] = expr.Sum(expr.hex[1], step);
            }
            expr.current = expr.Reduced(expr.step * sinceStart + expr.start);
        }
    }

    void SetReadCursor(unsigned int index)
    {
        MoveTo(index);
        for (Expr& expr : mExprs) {
            const std::uint64_t place = index % (std::uint64_t{expr.repeat} + 1);
            if (expr.repeat != 0) expr.holdLeft = static_cast<unsigned int>(expr.repeat - place);
        }
    }

    std::string Expand() const
    {
        std::string out = mText;
        bool pending = false;
        std::size_t mark = 0, growth = 0;
        for (std::size_t i = mExprs.size(); i-- > 0;) {
            const Expr& expr = mExprs[i];
            std::string text;
            if (expr.kind != '_') {
                text = IsKind(expr.kind) ? Shown(expr) : mMarker;
            } else if (!pending) {
                mark = expr.pos;
            } else {
                std::size_t length = mark + growth - expr.pos - expr.len;
                text = std::to_string(length);
                if (expr.count != 0) text.assign(expr.count, '\0');
                for (std::size_t k = 0; expr.count != 0 && k < text.size(); ++k, length >>= 8) {
                    text[expr.step == 1 ? text.size() - 1 - k : k] = static_cast<char>(length);
                }
                if (expr.start == 0) {
                    out.insert(mark + growth, text);
                    text.clear();
                }
                growth = 0;
            }
            if (expr.kind == '_') pending = !pending;
            const std::size_t before = out.size();
            out.replace(expr.pos, expr.len, text);
            if (pending && expr.kind != '_') growth += out.size() - before;
        }
        return out;
    }

    void SetEtherParams(std::uint64_t mac, std::uint64_t step, std::uint64_t mask, unsigned int repeat)
    {
        mMac = mac;
        mMacStep = step;
        mMacMask = mask;
        mMacFixed = mac & ~mask;
        mMacRepeat = repeat;
        mParsed = false;
    }

private:
    struct Expr {
        char kind = 0;
        std::size_t pos = 0, len = 0;
        unsigned int start = 1, count = 1, step = 1, width = 0, repeat = 0, modulus = 0, current = 1, holdLeft = 0;
        std::uint64_t mac = 0;
        std::vector<std::string> words;
        std::vector<Hexfield> hex; ///< Value, start, step, mask, fixed part.

        void ReadList(const std::string& list)
        {
            std::vector<unsigned int> numbers;
            for (std::size_t end = 0; end < list.size(); ++end) {
                const std::size_t first = list.find_first_not_of(" \t\n,;", end);
                end = list.find_first_of(" \t\n,;", first);
                words.push_back(list.substr(first, end - first)); // which throws behind the last word
                std::istringstream in(words.back());
                in.imbue(std::locale::classic());
                unsigned int number = 0;
                numbers.push_back(in >> number ? number : numbers.size() < 3 ? 1 : 0);
                if (end == std::string::npos) break;
            }
            while (numbers.size() < 6) numbers.push_back(numbers.size() < 3 ? 1 : 0);
            start = current = numbers[0];
            count = numbers[1];
            step = numbers[2];
            width = numbers[3] & 255;
            repeat = holdLeft = numbers[4];
            modulus = numbers[5] == 0 ? 0 : numbers[5] + 1;
            static const std::map<std::string, unsigned int> formats = {
                {"big", 1}, {"hex", 2}, {"mac", 3}, {"ipv4", 4}, {"ipv6", 5}};
            if (kind == '$' && numbers[3] == 0 && words.size() > 3 && formats.count(words[3]) > 0) {
                width = formats.at(words[3]);
            }
        }
        std::string Word(std::size_t i, const char* otherwise) const { return i < words.size() ? words[i] : otherwise; }
        unsigned int TurnsAt(unsigned int index) const
        {
            return static_cast<unsigned int>(index / (std::uint64_t{repeat} + 1));
        }
        unsigned int Reduced(unsigned int number) const { return modulus == 0 ? number : number % modulus; }
        Hexfield Sum(Hexfield value, const Hexfield& addend) const
        {
            if (hex.size() > 3) value |= ~hex[3];
            value += addend;
            if (hex.size() > 3) {
                value &= hex[3];
                value |= hex[4];
            }
            return value;
        }
    };

    static bool IsKind(char c) { return c != '\0' && std::strchr("xbsSmMvp=$_", c) != nullptr; }

    /// Fills what the kind has of its own. False for the kind that needs a list.
    bool Fill(Expr& expr, bool list) const
    {
        const unsigned int first = list ? expr.start : 0;
        switch (expr.kind) {
        case 'b':
        case 's':
        case 'S':
            expr.count = expr.kind == 'b' ? 1 : 0;
            expr.start = expr.current = expr.kind == 'b' ? 7 : 9;
            expr.width = first & 255;
            break;
        case 'm':
        case 'M':
            expr.mac = mMac;
            expr.repeat = expr.holdLeft = mMacRepeat;
            expr.width = first != 0 ? 1 : 0;
            break;
        case 'v':
            expr.width = expr.count & 255;
            expr.start = expr.current = expr.count = expr.step = 0;
            if (first != 0 && (expr.Word(0, "") == "vpi" || expr.Word(0, "") == "vci")) {
                expr.repeat = expr.holdLeft = 0;
                expr.modulus = 0xffffffff;
            }
            return list;
        case '$': {
            const Hexfield start = expr.words.empty() ? Hexfield() : Hexfield(expr.words[0]);
            expr.hex = {start, start, Hexfield(expr.words.size() > 3 ? expr.words[2] : "1")};
            if (expr.words.size() > 5) {
                const Hexfield mask(expr.words[5]);
                expr.hex.push_back(mask);
                expr.hex.push_back(start & ~mask);
            }
            break;
        }
        default: break;
        }
        return true;
    }

    std::string Shown(const Expr& expr) const
    {
        char text[300];
        const auto mac = [&text](const char* format, std::uint64_t number) {
            const auto byte = [number](int i) { return static_cast<unsigned int>(number >> 8 * i & 255); };
            std::snprintf(text, sizeof text, format, byte(5), byte(4), byte(3), byte(2), byte(1), byte(0));
            return std::string(text);
        };
        switch (expr.kind) {
        case 'm':
            return mac(expr.width == 0 ? "%02x-%02x-%02x-%02x-%02x-%02x" : "%02x%02x.%02x%02x.%02x%02x", expr.mac);
        case 'M':
            return mac(expr.width == 0 ? "%02X-%02X-%02X-%02X-%02X-%02X" : "%02X%02X.%02X%02X.%02X%02X", expr.mac);
        case 'p': return "Default_Port";
        case '=': return expr.Word(0, "") == "port" || expr.Word(0, "") == "PORT" ? "Default_Port" : "";
        case '$': {
            const Hexfield& value = expr.hex[0];
            const std::string bytes = std::string(16, '\0') + value.ToBinaryString(true);
            const auto* const end = reinterpret_cast<const unsigned char*>(bytes.data() + bytes.size());
            std::uint64_t low = 0;
            for (int i = -6; i < 0; ++i) low = low << 8 | end[i];
            return expr.width == 1   ? value.ToBinaryString(true)
                   : expr.width == 2 ? value.ToString()
                   : expr.width == 3 ? mac("%02x-%02x-%02x-%02x-%02x-%02x", low)
                   : expr.width == 4 ? CIpAddress(end - 4).ToString()
                   : expr.width == 5 ? CIpv6Address(end - 16).ToString()
                                     : value.ToBinaryString(false);
        }
        default: std::snprintf(text, sizeof text, "%0*u", static_cast<int>(expr.width), expr.current); return text;
        }
    }

    /// The bytes of a hex template, each marker among them with its first character once more in front.
    static std::string Bytes(const std::string& digits)
    {
        std::string bytes, result;
        Wildcards::ConvertAsciiHexToBin(digits, bytes);
        for (const char c : bytes) result += c == '@' ? std::string("@@") : std::string(1, c);
        return result;
    }

    std::string Rewritten() const
    {
        if (mText.compare(0, 2, "@h") != 0) return mText;
        std::string result;
        std::size_t from = 2;
        for (std::size_t at; (at = mText.find('@', from)) != std::string::npos;) {
            result += Bytes(mText.substr(from, at - from));
            if (at + 1 == mText.size()) break;
            std::size_t end = at + 2;
            if (IsKind(mText[at + 1]) && mText.compare(end, 1, "(") == 0) {
                const std::size_t close = mText.find(')', end + 1);
                if (close != std::string::npos) end = close + 1;
            }
            result += mText.substr(at, end - at);
            from = end;
        }
        return result + Bytes(mText.substr(from));
    }

    std::string mText, mMarker;
    std::vector<Expr> mExprs;
    std::uint64_t mMac = 0, mMacStep = 1, mMacMask = 0xffffffffffff, mMacFixed = 0;
    unsigned int mMacRepeat = 0, mIndex = 0;
    bool mParsed = false;
};

/// A template with what the rules are about; a fuzzer's may be any text.
inline std::string DrawTemplate(Random& random)
{
    static constexpr const char* kWords[] = {"0",          "1",          "2",   "3",          "5",    "7",   "12",
                                             "4294967295", "4294967296", "-1",  "2147483649", "x",    "9",   "vpi",
                                             "hex",        "big",        "mac", "ipv4",       "ipv6", "257", "port"};
    std::string text = random.Below(8) == 0 ? "@h" : "";
    for (std::size_t i = random.Below(9); i > 0; --i) {
        text += random.Text("ab4(),0 ", random.Below(2) == 0 ? 0 : random.Below(40));
        const char kind = "xxxxx$$$$@__mMbsSv=pz"[random.Below(21)];
        text += {'@', kind};
        if (random.Below(6) == 0) continue;
        text += '(';
        const std::size_t words = random.Below(3) == 0 ? random.Below(7) : 6;
        for (std::size_t word = 0; word < words; ++word) {
            if (word > 0) text += random.Below(12) == 0 ? random.Text(" ,;\t\n", 2) : ",";
            const bool digits = kind == '$' && (word == 0 || word == 2 || word == 5);
            // Length fields stay short, and so do widths.
            text += digits ? random.Text("0123456789abcdefffff", 1 + random.Below(random.Below(2) == 0 ? 21 : 9))
                    : kind == '_'
                        ? std::to_string(random.Below(3))
                        : kWords[random.Below(word == 3 || kind == '=' || kind == 'v' ? std::size(kWords) : 13)];
        }
        if (random.Below(20) == 0) text += random.Text(",;", random.Below(3));
        text += ')';
    }
    text += random.Text("abc", random.Below(20));
    return random.Below(16) == 0 ? random.Mutated(text, "@x$_(),; 0f") : text;
}

/// Whether a length field may ask for more bytes than a test should have.
inline bool HasLongLengthField(const std::string& text)
{
    for (std::size_t at = 0; (at = text.find("@_(", at)) != std::string::npos; ++at) {
        int digits = 0;
        for (std::size_t i = at + 3; i < text.size() && text[i] != ')'; ++i) {
            digits = text[i] >= '0' && text[i] <= '9' ? digits + 1 : 0;
            if (digits > 4 || text[i] == '-') return true;
        }
    }
    return false;
}

inline std::uint64_t Number(const unsigned char (&bytes)[6])
{
    std::uint64_t number = 0;
    for (const unsigned char byte : bytes) number = number << 8 | byte;
    return number;
}

/// Random operations on both, which show the same or both raise.
inline void CheckWildcards(Random& random)
{
    static constexpr unsigned char kMac[] = {0x00, 0x11, 0x22, 0x33, 0x44, 0xfe};
    static constexpr unsigned char kMacStep[] = {0, 0, 0, 0x01, 0, 0x30}; // some of it outside the mask
    const std::string text = DrawTemplate(random);
    if (HasLongLengthField(text)) return;
    PlainWildcards plain(text, "@");
    Wildcards wildcards(text, "@");
    wildcards.SetFirstBase(7);
    wildcards.SetSecondBase(9);
    std::string value = random.Text("#", random.Below(100)); // what a string holds before does not matter
    for (int operation = 0; operation < 24 && random.HasMore(); ++operation) {
        // Now and then next to the end of all indexes, where counting starts from 0 again.
        const auto to = static_cast<unsigned int>(random.Below(4) == 0 ? 0 - random.Below(4) : random.Below(60));
        const unsigned char macMask[] = {static_cast<unsigned char>(to % 2 * 0x80), 0, 0, 0x0f, 0x0f, 0xf0};
        std::string expected;
        bool raised = false, expectedRaised = false;
        const std::size_t choice = random.Below(random.Below(8) == 0 ? 7 : 6);
        PlainWildcards next = plain;
        try {
            if (choice == 0) next.Parse();
            if (choice == 1 || choice == 5) next.MoveTo(to);
            if (choice == 2) next.SetReadCursor(to);
            if (choice == 3 || choice == 4) next.Step();
            if (choice == 6) next.SetEtherParams(Number(kMac), Number(kMacStep), Number(macMask), to % 3);
            if (choice != 4 && choice != 6) expected = next.Expand();
        } catch (const std::out_of_range&) {
            expectedRaised = true;
        }
        const auto index = static_cast<int>(to);
        try {
            if (choice == 0) wildcards.GetValue(value);
            if (choice == 1) wildcards.GetValueAt(index, value, true);
            if (choice == 5) wildcards.GetValueAt(index, value, false);
            if (choice == 2) wildcards.SetReadCursor(index), wildcards.Expand(value);
            if (choice == 3) wildcards.GetNextValue(value);
            if (choice == 4) wildcards.NextValue();
            if (choice == 6) wildcards.SetEtherParams(kMac, kMacStep, macMask, to % 3);
        } catch (const std::out_of_range&) {
            raised = true;
        }
        ASSERT_EQ(raised, expectedRaised) << text << " operation " << choice;
        if (raised) continue;
        if (choice != 4 && choice != 6) {
            ASSERT_EQ(value, expected) << text << " operation " << choice << " to " << to;
        }
        if (choice == 5) {
            plain.Parse();
        } else {
            plain = next;
        }
    }
}

/// The value at an index is the value after so many steps, for counters whose products do not wrap at their own width.
inline void CheckIndexAgainstSteps(Random& random)
{
    std::string text;
    for (std::size_t i = 1 + random.Below(4); i > 0; --i) {
        const std::string count = std::to_string(random.Below(9));
        const std::string repeat = std::to_string(random.Below(4));
        const std::string number = std::to_string(random.Below(1 << 16));
        const std::string hex = random.Text("0123456789abcdef", 8);
        switch (random.Below(4)) {
        case 0:
            text += "@x(" + number + "," + count + "," + std::to_string(random.Number() % 7) + ",4," + repeat + ") ";
            break;
        case 1:
            text += "@x(" + count + "," + count + ",3,0," + repeat + "," + std::to_string(8 + random.Below(9)) + ")/";
            break;
        case 2: text += "@$(" + hex + "," + count + ",00000003,hex," + repeat + ") @_(1,0)"; break;
        default: text += "@m@s(3,1,5)@_";
        }
    }
    Wildcards stepped(text, "@");
    Wildcards moved(text, "@");
    std::string expected, value;
    stepped.GetValue(expected);
    for (int i = 0; i < 24; ++i) {
        moved.GetValueAt(i, value, false);
        ASSERT_EQ(value, expected) << text << " at " << i;
        moved.SetReadCursor(i);
        moved.GetValue(value);
        ASSERT_EQ(value, expected) << text << " from " << i;
        stepped.GetNextValue(expected);
        moved.GetNextValue(value);
        ASSERT_EQ(value, expected) << text << " behind " << i;
    }
}

/// A list of variables is split character by character.
inline void CheckVariableList(Random& random)
{
    const std::string list = random.Mutated(random.Text("ab=,\\ \t", random.Below(24)), "ab=,\\ \n");
    std::map<std::string, std::string> expected = {{"port", "Default_Port"}};
    for (std::size_t i = 0; i < list.size(); ++i) {
        while (i < list.size() && (list[i] == ' ' || list[i] == '\t' || list[i] == '\n')) ++i;
        std::string pair;
        bool name = true;
        for (std::size_t first = i; i < list.size() && (name || list[i] != ',' || list[i - 1] == '\\'); ++i) {
            name = name && (list[i] != '=' || i == first);
            if (!name && list[i] == ',') pair.pop_back();
            pair += list[i];
        }
        const std::size_t equals = pair.find('=');
        if (name || equals == std::string::npos) continue;
        std::string key = pair.substr(0, equals);
        for (char& c : key) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
        expected[key] = pair.substr(equals + 1);
    }
    Wildcards wildcards("", "@");
    wildcards.AddVarList(list);
    for (const auto& [key, text] : expected) {
        std::string value;
        ASSERT_EQ(wildcards.GetVar(key, value), !key.empty()) << '"' << list << "\" has \"" << key << '"';
        ASSERT_EQ(value, key.empty() ? "" : text) << '"' << list << "\" has \"" << key << '"';
    }
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_WILDCARDS_CHECKS_H
