#ifndef ZOR_COMMON_TESTS_PLAIN_WILDCARDS_H
#define ZOR_COMMON_TESTS_PLAIN_WILDCARDS_H

/// \file
/// PlainWildcards, a literal model of Wildcards: each rule written out, nothing remembered, nothing fast.

#include <common/IpAddress.h>
#include <common/Ipv6Address.h>
#include <common/Wildcards.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <locale>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace zor::common::test {

/// A template that is parsed, stepped and rendered one rule after the other, each time as a whole. Its operations are
/// those of Wildcards. An exception leaves the model in an undefined state, so callers work on a copy.
class PlainWildcards {
public:
    PlainWildcards(std::string text, std::string opening) : mText(std::move(text)), mMarker(std::move(opening)) {}

    // ---- values

    void ParseExpr()
    {
        if (mParsed) return;
        std::string rewritten = mText;
        if (mText.compare(0, 2, "@h") == 0) rewritten = Rewritten();
        std::vector<Expr> found;
        std::size_t pos = 0;
        while (!mMarker.empty() && (pos = rewritten.find(mMarker, pos)) != std::string::npos &&
               pos + 1 < rewritten.size()) {
            Expr expr;
            expr.kind = rewritten[pos + 1];
            expr.pos = pos;
            expr.len = 2;
            const bool known = IsKind(expr.kind);
            const std::size_t close = known ? EndOfList(rewritten, pos + 2) : std::string::npos;
            const bool list = close != std::string::npos;
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

    void NextValue()
    {
        ParseExpr();
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

    void GetValue(std::string& out)
    {
        ParseExpr();
        Expand(out);
    }

    void GetNextValue(std::string& out)
    {
        NextValue();
        Expand(out);
    }

    void GetValueAt(int newIndex, std::string& out, bool commit)
    {
        ParseExpr();
        PlainWildcards moved(*this);
        moved.MoveTo(static_cast<unsigned int>(newIndex));
        moved.Expand(out);
        if (commit) *this = moved;
    }

    void SetReadCursor(int newIndex)
    {
        std::string value;
        GetValueAt(newIndex, value, true);
        for (Expr& expr : mExprs) {
            const std::uint64_t place = mIndex % (std::uint64_t{expr.repeat} + 1);
            if (expr.repeat != 0) expr.holdLeft = static_cast<unsigned int>(expr.repeat - place);
        }
    }

    void Expand(std::string& out) const
    {
        out = mText;
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
    }

    /// The value after so many steps from index 0, where no index and no sum ever wraps.
    void GetExactValueAt(std::uint64_t index, std::string& out) const
    {
        PlainWildcards moved(*this);
        moved.ParseExpr();
        for (Expr& expr : moved.mExprs) {
            const std::uint64_t changes = index / (std::uint64_t{expr.repeat} + 1);
            const std::uint64_t turn = expr.count == 0 ? changes : changes % expr.count;
            if (expr.kind == 'm' || expr.kind == 'M') {
                if (changes == 0) continue;
                const std::uint64_t words[] = {mMac, mMacStep, mMacMask, mMacFixed};
                std::string fields[4];
                for (int i = 0; i < 4; ++i) {
                    for (int shift = 40; shift >= 0; shift -= 8) fields[i] += static_cast<char>(words[i] >> shift);
                }
                const std::string sum = ExactSum(fields[0], fields[1], fields[2], fields[3], changes);
                expr.mac = Number(reinterpret_cast<const unsigned char*>(sum.data()));
            } else if (turn == 0) {
                continue;
            } else if (expr.kind == '$') {
                std::size_t size = 0;
                for (const Hexfield& field : expr.hex) size = std::max<std::size_t>(size, field.GetSize());
                std::vector<std::string> fields(5, std::string(size, '\0'));
                fields[3].assign(size, '\xff');
                for (std::size_t i = 1; i < expr.hex.size(); ++i) {
                    const std::string bytes = expr.hex[i].ToBinaryString(true);
                    fields[i] = std::string(size - bytes.size(), '\0') + bytes;
                }
                expr.hex[0] = Hexfield(ExactSum(fields[1], fields[2], fields[3], fields[4], turn), true, true);
            } else {
                __extension__ typedef unsigned __int128 Wide;
                const Wide sum = Wide{turn} * expr.step + expr.start;
                expr.current = static_cast<unsigned int>(expr.modulus == 0 ? sum : sum % expr.modulus);
            }
        }
        moved.Expand(out);
    }

    // ---- variables

    void AddVar(const std::string& name, const std::string& value) { mVariables[Lower(name)] = value; }

    bool GetVar(const std::string& name, std::string& value) const
    {
        const auto found = mVariables.find(Lower(name));
        const bool there = found != mVariables.end() && !name.empty();
        value = there ? found->second : "";
        return there;
    }

    void AddVarList(const std::vector<std::string>& list)
    {
        for (const std::string& pair : list) {
            const std::size_t equals = pair.find('=');
            if (equals != std::string::npos) AddVar(pair.substr(0, equals), pair.substr(equals + 1));
        }
    }

    void AddVarList(const std::string& list)
    {
        for (std::size_t i = 0; i < list.size(); ++i) {
            while (i < list.size() && (list[i] == ' ' || list[i] == '\t' || list[i] == '\n')) ++i;
            std::string pair;
            bool name = true;
            for (std::size_t first = i; i < list.size() && (name || list[i] != ',' || list[i - 1] == '\\'); ++i) {
                name = name && (list[i] != '=' || i == first);
                if (!name && list[i] == ',') pair.pop_back();
                pair += list[i];
            }
            if (!name) AddVarList(std::vector{pair});
        }
    }

    // ---- packet context

    void SetEtherParams(const unsigned char* mac, const unsigned char* step, const unsigned char* mask,
                        unsigned int repeat)
    {
        mMac = Number(mac);
        mMacStep = Number(step);
        mMacMask = Number(mask);
        mMacFixed = mMac & ~mMacMask;
        mMacRepeat = repeat;
        mParsed = false;
    }

    void SetCurrentMac(const unsigned char* mac)
    {
        mMac = Number(mac);
        for (Expr& expr : mExprs) expr.mac = mMac;
    }

    void SetVlanTagCount(unsigned char tags) { mTags.resize(tags); }

    void SetVlanParams(unsigned char tag, unsigned int start, unsigned int step, unsigned int repeat,
                       unsigned int count)
    {
        if (tag > 0 && tag <= mTags.size()) mTags[tag - 1u] = {start, step, repeat, count, 65535};
    }

    void SetVpiParams(unsigned short start, unsigned short step, unsigned short repeat, unsigned short count)
    {
        mVpi = {start, step, repeat, count, 65535};
    }

    void SetVciParams(unsigned short start, unsigned short step, unsigned short repeat, unsigned short count)
    {
        mVci = {start, step, repeat, count, 65535};
    }

    void SetFirstBase(unsigned int base) { mFirstBase = base; }
    void SetSecondBase(unsigned int base) { mSecondBase = base; }

    /// Runs of digits as bytes, an odd one with a zero in front.
    static std::string Bytes(const std::string& digits)
    {
        std::string bytes, run;
        for (std::size_t i = 0; i <= digits.size(); ++i) {
            if (i < digits.size() && std::strchr("0123456789abcdefABCDEF", digits[i]) && digits[i] != '\0') {
                run += digits[i];
                continue;
            }
            if (run.size() % 2 != 0) run = "0" + run;
            for (std::size_t k = 0; k < run.size(); k += 2) {
                bytes += static_cast<char>(std::stoi(run.substr(k, 2), nullptr, 16));
            }
            run.clear();
        }
        return bytes;
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
        void CountAs(const Wildcards::VarDefUint32& def)
        {
            start = current = def.start;
            step = def.step;
            repeat = holdLeft = def.repeat;
            count = def.count;
            modulus = def.modulus;
        }
        std::string Word(std::size_t i) const { return i < words.size() ? words[i] : ""; }
        unsigned int TurnsAt(unsigned int index) const
        {
            return static_cast<unsigned int>(index / (std::uint64_t{repeat} + 1));
        }
        unsigned int Reduced(unsigned int number) const { return modulus == 0 ? number : number % modulus; }
        Hexfield Sum(Hexfield value, const Hexfield& addend) const
        {
            if (hex.size() > 4) value |= ~hex[3];
            value += addend;
            if (hex.size() > 4) {
                value &= hex[3];
                value |= hex[4];
            }
            return value;
        }
    };

    static bool IsKind(char c) { return c != '\0' && std::strchr("xbsSmMvp=$_", c) != nullptr; }

    static std::size_t EndOfList(const std::string& text, std::size_t open)
    {
        return text.compare(open, 1, "(") == 0 ? text.find(')', open + 1) : std::string::npos;
    }

    static std::uint64_t Number(const unsigned char* mac)
    {
        std::uint64_t number = 0;
        for (int i = 0; i < 6; ++i) number = number << 8 | mac[i];
        return number;
    }

    /// What so many steps within a mask add up to, bit by bit; all fields have one size. The holes of the mask are full
    /// when a step is added, so one where the step has a bit hands on one carry a step, and others what they get.
    static std::string ExactSum(const std::string& start, const std::string& step, const std::string& mask,
                                const std::string& fixed, std::uint64_t steps)
    {
        std::string sum = fixed;
        std::uint64_t carry = 0;
        for (std::size_t i = 0; i < 8 * sum.size(); ++i) {
            const auto bit = [at = sum.size() - 1 - i / 8, i](const std::string& field) {
                return static_cast<unsigned char>(field[at]) >> i % 8 & 1u;
            };
            if (bit(mask) != 0) {
                __extension__ typedef unsigned __int128 Wide;
                const Wide all = Wide{steps} * bit(step) + bit(start) + carry;
                sum[sum.size() - 1 - i / 8] |= static_cast<char>(static_cast<unsigned int>(all & 1) << i % 8);
                carry = static_cast<std::uint64_t>(all >> 1);
            } else if (bit(step) != 0) {
                carry = steps;
            }
        }
        return sum;
    }

    static std::string Lower(std::string name)
    {
        for (char& c : name) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
        return name;
    }

    /// Fills what the kind has of its own. False for the kind that needs a list.
    bool Fill(Expr& expr, bool list) const
    {
        const unsigned int first = list ? expr.start : 0;
        switch (expr.kind) {
        case 'b':
        case 's':
        case 'S':
            expr.count = expr.kind == 'b' ? 1 : 0;
            expr.start = expr.current = expr.kind == 'b' ? mFirstBase : mSecondBase;
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
            if (first != 0 && expr.Word(0) == "vpi") {
                expr.CountAs(mVpi);
            } else if (first != 0 && expr.Word(0) == "vci") {
                expr.CountAs(mVci);
            } else if (first != 0 && first <= mTags.size()) {
                expr.CountAs(mTags[first - 1]);
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

    /// Works the values at an index out from the start.
    void MoveTo(unsigned int index)
    {
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
        case 'p':
        case '=': {
            std::string value;
            GetVar(expr.kind == 'p' ? "port" : expr.Word(0), value);
            return value;
        }
        case '$': {
            const Hexfield& value = expr.hex[0];
            const std::string bytes = std::string(16, '\0') + value.ToBinaryString(true);
            const auto* const end = reinterpret_cast<const unsigned char*>(bytes.data() + bytes.size());
            return expr.width == 1   ? value.ToBinaryString(true)
                   : expr.width == 2 ? value.ToString()
                   : expr.width == 3 ? mac("%02x-%02x-%02x-%02x-%02x-%02x", Number(end - 6))
                   : expr.width == 4 ? CIpAddress(end - 4).ToString()
                   : expr.width == 5 ? CIpv6Address(end - 16).ToString()
                                     : value.ToBinaryString(false);
        }
        default: std::snprintf(text, sizeof text, "%0*u", static_cast<int>(expr.width), expr.current); return text;
        }
    }

    /// Literal bytes of a hex template, each "@" among them doubled.
    static std::string Escaped(const std::string& digits)
    {
        std::string result;
        for (const char c : Bytes(digits)) result += c == '@' ? std::string("@@") : std::string(1, c);
        return result;
    }

    std::string Rewritten() const
    {
        std::string result;
        std::size_t from = 2;
        for (std::size_t at; (at = mText.find('@', from)) != std::string::npos;) {
            result += Escaped(mText.substr(from, at - from));
            if (at + 1 == mText.size()) break;
            const std::size_t close = IsKind(mText[at + 1]) ? EndOfList(mText, at + 2) : std::string::npos;
            from = close == std::string::npos ? at + 2 : close + 1;
            result += mText.substr(at, from - at);
        }
        return result + Escaped(mText.substr(from));
    }

    std::string mText, mMarker;
    std::vector<Expr> mExprs;
    std::map<std::string, std::string> mVariables = {{"port", "Default_Port"}};
    std::vector<Wildcards::VarDefUint32> mTags;
    Wildcards::VarDefUint32 mVpi, mVci;
    std::uint64_t mMac = 0, mMacStep = 1, mMacMask = 0xffffffffffff, mMacFixed = 0;
    unsigned int mMacRepeat = 0, mFirstBase = 0, mSecondBase = 0, mIndex = 0;
    bool mParsed = false;
};

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_PLAIN_WILDCARDS_H
