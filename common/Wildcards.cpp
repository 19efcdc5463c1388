#include "Wildcards.h"

#include "BigEndian.h"
#include "Digits.h"
#include "Ipv6Address.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace zor::common {

namespace {

constexpr std::size_t kNone = std::string::npos;

/// The places of a hex counter's fields in SubsExpr::hexValues and SubsExpr::hexWork.
enum HexValue : std::size_t { kValue, kStart, kStep, kMask, kFixed };
enum HexWork : std::size_t { kNextValue, kNotMask };

/// The formats of a hex counter; every other number is that of kLittle.
enum HexFormat : unsigned char { kLittle, kBig, kHex, kMac, kIpv4, kIpv6 };

bool IsKind(char c)
{
    return c != '\0' && std::strchr("xbsSmMvp=$_", c) != nullptr;
}

bool HasMask(const Wildcards::SubsExpr& expr)
{
    return expr.hexValues.size() > kMask;
}

/// ASCII only, so that no locale changes what a name is.
std::string Lower(std::string_view name)
{
    std::string lower(name);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return lower;
}

/// What extracting an unsigned number from a stream gives: white space and a sign first, then as many digits as there
/// are, in 32 bits.
unsigned int ReadNumber(std::string_view word, unsigned int otherwise)
{
    std::size_t i = 0;
    while (i < word.size() && (word[i] == '\v' || word[i] == '\f' || word[i] == '\r')) ++i;
    const bool negative = i < word.size() && word[i] == '-';
    if (i < word.size() && (word[i] == '-' || word[i] == '+')) ++i;
    const std::size_t first = i;
    std::uint64_t number = 0;
    for (; i < word.size() && detail::DecimalDigitValue(word[i]) <= 9; ++i) {
        number = 10 * number + detail::DecimalDigitValue(word[i]);
        if (number > 0xffffffff) return otherwise;
    }
    if (i == first) return otherwise;
    return static_cast<unsigned int>(negative ? 0 - number : number);
}

/// Appends the bytes that \a digits stands for, and in front of each \a marker among them its first character.
void AppendBytes(const std::string& digits, std::string_view marker, std::string& result)
{
    std::string bytes;
    Wildcards::ConvertAsciiHexToBin(digits, bytes);
    std::size_t from = 0;
    for (std::size_t at = 0; !marker.empty() && (at = bytes.find(marker, from)) != kNone; from = at + marker.size()) {
        result.append(bytes, from, at - from);
        result += marker.front();
        result += marker;
    }
    result.append(bytes, from);
}

/// Finds closing parentheses for expressions that come in text order, in one pass over the text in all.
class CloseFinder {
public:
    explicit CloseFinder(std::string_view text) : mText(text) {}

    /// The end of the list that starts at \a open, the place of its ")"; kNone where there is no "(" or no ")".
    std::size_t EndOfList(std::size_t open)
    {
        if (open >= mText.size() || mText[open] != '(') return kNone;
        if (mClose != kNone && mClose <= open) mClose = mText.find(')', open + 1);
        return mClose;
    }

private:
    std::string_view mText;
    std::size_t mClose = 0; ///< The first ")" from the last place asked for; 0 before that.
};

} // namespace

/// The arguments of one expression. Only six count.
struct Wildcards::Arguments {
    static constexpr std::string_view kDelimiters = " \t\n,;";

    bool given = false;        ///< Whether there is a list, be it empty.
    std::size_t wordCount = 0; ///< How many words it has.
    std::string_view words[6];
    unsigned int numbers[6] = {1, 1, 1, 0, 0, 0};

    Arguments() = default;

    explicit Arguments(std::string_view list) : given(true)
    {
        for (std::size_t pos = 0; pos < list.size();) {
            const std::size_t start = list.find_first_not_of(kDelimiters, pos);
            if (start == kNone) throw std::out_of_range("wildcard argument list ends in delimiters");
            const std::size_t end = std::min(list.find_first_of(kDelimiters, start), list.size());
            if (wordCount < 6) {
                words[wordCount] = list.substr(start, end - start);
                numbers[wordCount] = ReadNumber(words[wordCount], numbers[wordCount]);
            }
            ++wordCount;
            pos = end + 1;
        }
    }

    std::string Word(std::size_t i) const { return std::string(words[i]); }
};

/// Writes into a string from its front. What the string held before is its first room, so that a string which is used
/// again is neither cleared nor grown.
class Wildcards::Writer {
public:
    explicit Writer(std::string& out) : mOut(out) {}

    std::size_t Size() const { return mSize; }

    /// Room for \a count characters behind what is written.
    char* Room(std::size_t count)
    {
        if (count > mOut.size() - mSize) Grow(count);
        return mOut.data() + mSize;
    }

    void WrittenTo(const char* end) { mSize = static_cast<std::size_t>(end - mOut.data()); }

    void Append(const char* text, std::size_t count)
    {
        std::memcpy(Room(count), text, count);
        mSize += count;
    }

    /// Moves what is written from \a pos on, to make a gap of \a count characters.
    char* Insert(std::size_t pos, std::size_t count)
    {
        Room(count);
        char* const gap = mOut.data() + pos;
        std::memmove(gap + count, gap, mSize - pos);
        mSize += count;
        return gap;
    }

    void Finish() { mOut.resize(mSize); }

private:
    /// Takes some of the spare capacity, as taking it means filling it, and more capacity only where that is not enough.
    void Grow(std::size_t count)
    {
        if (count > mOut.max_size() - mSize) throw std::length_error("wildcard value is too long");
        const std::size_t needed = mSize + count;
        const std::size_t roomy =
            needed <= mOut.capacity() ? std::min(needed + 256, mOut.capacity()) : std::max(needed, 2 * mOut.capacity());
        mOut.resize(roomy);
    }

    std::string& mOut;
    std::size_t mSize = 0;
};

Wildcards::Wildcards(const std::string& text, std::string opening) : templ(text), marker(std::move(opening))
{
    vars.emplace("port", "Default_Port");
}

Wildcards& Wildcards::operator=(const Wildcards& other)
{
    Wildcards copy(other);
    return *this = std::move(copy);
}

void Wildcards::GetValue(std::string& out)
{
    Parsed([&] { Render(out, false); });
}

// The operations that step work in three stages: Prepare works out the values to come without touching the current
// ones, Render may show them, and Commit, where nothing can fail any more, makes them the current ones.

void Wildcards::GetNextValue(std::string& out)
{
    Parsed([&] {
        PrepareNext();
        Render(out, true);
        Commit(index + 1);
    });
}

void Wildcards::NextValue()
{
    Parsed([&] {
        PrepareNext();
        Commit(index + 1);
    });
}

void Wildcards::GetValueAt(int newIndex, std::string& out, bool commit)
{
    Parsed([&] {
        PrepareAt(static_cast<unsigned int>(newIndex));
        Render(out, true);
        if (commit) Commit(static_cast<unsigned int>(newIndex));
    });
}

void Wildcards::SetReadCursor(int newIndex)
{
    std::string value;
    GetValueAt(newIndex, value, true);
    for (SubsExpr& expr : exprs) {
        const std::uint64_t period = std::uint64_t{expr.repeat} + 1;
        if (expr.repeat != 0) expr.holdLeft = static_cast<unsigned int>(expr.repeat - index % period);
    }
}

void Wildcards::Expand(std::string& out) const
{
    Render(out, false);
}

// ---- parsing

void Wildcards::ParseExpr()
{
    Parsed([] {});
}

/// What a parse replaces, for a call that parses and then fails.
struct Wildcards::BeforeParse {
    std::string templ;
    std::size_t exprCount;
    std::size_t lengthFields;
    bool inOrder;
    unsigned int index;
};

/// Runs an operation on the parsed template. If the operation fails, a parse that was made for it is taken back.
template <class Operation>
void Wildcards::Parsed(Operation operation)
{
    if (parsed) return operation();
    BeforeParse before = {{}, exprs.size(), lengthFields, inOrder, index};
    Parse(before);
    try {
        operation();
    } catch (...) {
        templ.swap(before.templ);
        exprs.erase(exprs.begin() + static_cast<std::ptrdiff_t>(before.exprCount), exprs.end());
        lengthFields = before.lengthFields;
        inOrder = before.inOrder;
        index = before.index;
        parsed = false;
        throw;
    }
}

void Wildcards::Parse(BeforeParse& before)
{
    std::string text = templ;
    ConvertHexWildcardExpr(text, "@");
    std::vector<SubsExpr> found;
    std::size_t foundLengthFields = 0;
    CloseFinder lists(text);
    std::size_t next = 0;
    for (std::size_t pos = 0; !marker.empty() && (pos = text.find(marker, next)) != kNone;) {
        if (pos + 1 == text.size()) break;
        const char kind = text[pos + 1];
        next = pos + 2;
        SubsExpr expr;
        if (IsKind(kind)) {
            Arguments arguments;
            if (const std::size_t close = lists.EndOfList(pos + 2); close != kNone) {
                arguments = Arguments(std::string_view(text).substr(pos + 3, close - pos - 3));
                next = close + 1;
            }
            if (!MakeExpr(kind, arguments, expr)) continue;
        } else if (kind != marker.front()) {
            continue;
        }
        expr.kind = kind;
        expr.pos = pos;
        expr.len = next - pos;
        if (kind == '_') ++foundLengthFields;
        found.push_back(std::move(expr));
    }
    const bool first = exprs.empty();
    if (first) {
        exprs.swap(found);
    } else {
        exprs.reserve(exprs.size() + found.size());
        std::move(found.begin(), found.end(), std::back_inserter(exprs));
    }
    before.templ.swap(templ);
    templ.swap(text);
    lengthFields = foundLengthFields;
    inOrder = first;
    index = 0;
    parsed = true;
}

/// Fills \a expr but for its place; false where the template's text stays literal.
bool Wildcards::MakeExpr(char kind, const Arguments& arguments, SubsExpr& expr) const
{
    const unsigned int(&a)[6] = arguments.numbers;
    expr.start = expr.current = a[0];
    expr.count = a[1];
    expr.step = a[2];
    expr.width = static_cast<unsigned char>(a[3]);
    expr.repeat = expr.holdLeft = a[4];
    expr.modulus = a[5] == 0 ? 0 : a[5] + 1;
    const auto width = static_cast<unsigned char>(arguments.given ? a[0] : 0);
    switch (kind) {
    case 'b':
        expr.count = 1;
        expr.start = expr.current = firstBase;
        expr.width = width;
        break;
    case 's':
    case 'S':
        expr.count = 0;
        expr.start = expr.current = secondBase;
        expr.width = width;
        break;
    case 'm':
    case 'M':
        expr.current = static_cast<unsigned int>(detail::LoadBig48(currentMac) >> 24);
        expr.currentLow = static_cast<unsigned int>(detail::LoadBig48(currentMac) & 0xffffff);
        expr.repeat = expr.holdLeft = macRepeat;
        expr.width = arguments.given && a[0] != 0 ? 1 : 0;
        break;
    case 'v':
        if (!arguments.given) return false;
        expr.start = expr.current = expr.count = expr.step = 0;
        if (const VarDefUint32* const def = FindVarDef(arguments)) {
            expr.start = expr.current = def->start;
            expr.step = def->step;
            expr.repeat = expr.holdLeft = def->repeat;
            expr.count = def->count;
            expr.modulus = def->modulus;
        }
        expr.width = static_cast<unsigned char>(a[1]);
        break;
    case '$': MakeHexCounter(arguments, expr); break;
    case '=': expr.text = Lower(arguments.words[0]); break;
    default: break;
    }
    return true;
}

const Wildcards::VarDefUint32* Wildcards::FindVarDef(const Arguments& arguments) const noexcept
{
    const unsigned int tag = arguments.numbers[0];
    if (tag == 0) return nullptr;
    if (arguments.words[0] == "vpi") return &vpiDef;
    if (arguments.words[0] == "vci") return &vciDef;
    return tag <= vlanDefs.size() ? &vlanDefs[tag - 1] : nullptr;
}

void Wildcards::MakeHexCounter(const Arguments& arguments, SubsExpr& expr) const
{
    static constexpr std::string_view kFormats[] = {"little", "big", "hex", "mac", "ipv4", "ipv6"};
    if (arguments.numbers[3] == 0) { // a word, or 0 itself
        const auto* const format = std::find(std::begin(kFormats), std::end(kFormats), arguments.words[3]);
        expr.width = static_cast<unsigned char>(format == std::end(kFormats) ? 0 : format - kFormats);
    }
    const Hexfield start = arguments.wordCount == 0 ? Hexfield() : Hexfield(arguments.Word(0));
    expr.hexValues = {start, start, Hexfield(arguments.wordCount >= 4 ? arguments.Word(2) : "1")};
    expr.hexWork.resize(1);
    if (arguments.wordCount >= 6) {
        const Hexfield mask(arguments.Word(5));
        expr.hexWork.push_back(~mask);
        expr.hexValues.push_back(mask);
        expr.hexValues.push_back(start & expr.hexWork[kNotMask]);
    }
}

void Wildcards::ConvertHexWildcardExpr(std::string& text, std::string opening)
{
    if (text.compare(0, 2, "@h") != 0) return;
    std::string result;
    CloseFinder lists(text);
    std::size_t from = 2;
    for (std::size_t at = from; (at = text.find('@', from)) != kNone;) {
        AppendBytes(text.substr(from, at - from), opening, result);
        if (at + 1 == text.size()) break; // and the stretch comes once more
        from = at + 2;
        if (IsKind(text[at + 1])) {
            if (const std::size_t close = lists.EndOfList(from); close != kNone) from = close + 1;
        }
        result.append(text, at, from - at);
    }
    AppendBytes(text.substr(from), "@", result);
    text.swap(result);
}

void Wildcards::ConvertAsciiHexToBin(const std::string& in, std::string& out)
{
    std::string bytes;
    bytes.reserve(in.size() / 2 + 1);
    for (auto next = in.begin(); next != in.end();) {
        const auto isDigit = [](char c) { return detail::HexDigitValue(c) != detail::kNoDigit; };
        next = std::find_if(next, in.end(), isDigit);
        const auto end = std::find_if_not(next, in.end(), isDigit);
        if ((end - next) % 2 != 0) bytes += static_cast<char>(detail::HexDigitValue(*next++));
        for (; next != end; next += 2) {
            bytes += static_cast<char>(detail::HexDigitValue(next[0]) << 4 | detail::HexDigitValue(next[1]));
        }
    }
    out.swap(bytes);
}

// ---- variables and packet context

void Wildcards::AddVar(const std::string& name, const std::string& value)
{
    vars.insert_or_assign(Lower(name), value);
}

bool Wildcards::GetVar(const std::string& name, std::string& value) const
{
    const std::string* const found = FindVar(Lower(name));
    value = found ? *found : std::string();
    return found != nullptr;
}

const std::string* Wildcards::FindVar(std::string_view lowerName) const noexcept
{
    if (lowerName.empty()) return nullptr;
    const auto found = vars.find(lowerName);
    return found == vars.end() ? nullptr : &found->second;
}

void Wildcards::AddVarList(const std::vector<std::string>& list)
{
    std::map<std::string, std::string, std::less<>> added; // complete before the first one is set
    for (const std::string& element : list) {
        const std::size_t equals = element.find('=');
        if (equals == kNone) continue;
        added.insert_or_assign(Lower(std::string_view(element).substr(0, equals)), element.substr(equals + 1));
    }
    while (!added.empty()) {
        auto result = vars.insert(added.extract(added.begin()));
        if (!result.inserted) result.position->second.swap(result.node.mapped());
    }
}

void Wildcards::AddVarList(const std::string& list)
{
    std::vector<std::string> pairs;
    for (std::size_t pos = 0; (pos = list.find_first_not_of(" \t\n", pos)) != kNone;) {
        const std::size_t equals = list.find('=', pos + 1);
        if (equals == kNone) break;
        std::string pair(list, pos, equals + 1 - pos);
        std::size_t from = equals + 1;
        std::size_t comma = list.find(',', from);
        while (comma != kNone && list[comma - 1] == '\\') {
            pair.append(list, from, comma - 1 - from);
            from = comma; // the comma itself is part of the value
            comma = list.find(',', comma + 1);
        }
        pair.append(list, from, comma == kNone ? kNone : comma - from);
        pairs.push_back(std::move(pair));
        if (comma == kNone) break;
        pos = comma + 1;
    }
    AddVarList(pairs);
}

void Wildcards::SetEtherParams(const unsigned char* mac, const unsigned char* step, const unsigned char* mask,
                               unsigned int repeat)
{
    std::memmove(currentMac, mac, sizeof currentMac);
    std::memmove(macStep, step, sizeof macStep);
    std::memmove(macMask, mask, sizeof macMask);
    detail::StoreBig48(macFixed, detail::LoadBig48(currentMac) & ~detail::LoadBig48(macMask));
    macRepeat = repeat;
    parsed = false;
}

void Wildcards::SetCurrentMac(const unsigned char* mac) noexcept
{
    std::memmove(currentMac, mac, sizeof currentMac);
    for (SubsExpr& expr : exprs) {
        if (expr.kind != 'm' && expr.kind != 'M') continue;
        expr.current = static_cast<unsigned int>(detail::LoadBig48(mac) >> 24);
        expr.currentLow = static_cast<unsigned int>(detail::LoadBig48(mac) & 0xffffff);
    }
}

void Wildcards::SetVlanTagCount(unsigned char tags)
{
    vlanDefs.resize(tags);
}

void Wildcards::SetVlanParams(unsigned char tag, unsigned int start, unsigned int step, unsigned int repeat,
                              unsigned int count) noexcept
{
    if (tag == 0 || tag > vlanDefs.size()) return;
    vlanDefs[tag - 1u] = {start, step, repeat, count, 65535};
}

void Wildcards::SetVpiParams(unsigned short start, unsigned short step, unsigned short repeat,
                             unsigned short count) noexcept
{
    vpiDef = {start, step, repeat, count, 65535};
}

void Wildcards::SetVciParams(unsigned short start, unsigned short step, unsigned short repeat,
                             unsigned short count) noexcept
{
    vciDef = {start, step, repeat, count, 65535};
}

// ---- stepping

/// Whether the next value is the start again, by the number of values that all expressions have advanced.
bool Wildcards::ReturnsToStart(const SubsExpr& expr) const noexcept
{
    if (expr.count == 0) return false;
    const unsigned int newIndex = index + 1;
    const std::uint64_t turns = expr.repeat == 0 ? newIndex : newIndex / (std::uint64_t{expr.repeat} + 1);
    return static_cast<unsigned int>(turns) % expr.count == 0;
}

void Wildcards::PrepareNext()
{
    for (SubsExpr& expr : exprs) {
        auto& next = expr.next;
        next = {expr.current, expr.currentLow, expr.holdLeft - 1, false};
        if (expr.holdLeft != 0) continue;
        next.holdLeft = expr.repeat;
        switch (expr.kind) {
        case 'm':
        case 'M': {
            const std::uint64_t mask = detail::LoadBig48(macMask);
            const std::uint64_t value = std::uint64_t{expr.current} << 24 | expr.currentLow;
            const std::uint64_t sum = detail::LoadBig48(macStep) + (value | ~mask);
            const std::uint64_t mac = detail::LoadBig48(macFixed) | (mask & sum);
            next.current = static_cast<unsigned int>(mac >> 24);
            next.currentLow = static_cast<unsigned int>(mac & 0xffffff);
            break;
        }
        case '$': {
            Hexfield& value = expr.hexWork[kNextValue];
            next.inHexWork = true;
            if (ReturnsToStart(expr)) {
                value = expr.hexValues[kStart];
                break;
            }
            value = expr.hexValues[kValue];
            if (HasMask(expr)) value |= expr.hexWork[kNotMask];
            value += expr.hexValues[kStep];
            if (HasMask(expr)) {
                value &= expr.hexValues[kMask];
                value |= expr.hexValues[kFixed];
            }
            break;
        }
        default:
            if (ReturnsToStart(expr)) {
                next.current = expr.start;
            } else {
                next.current += expr.step;
                if (expr.modulus != 0) next.current %= expr.modulus;
            }
        }
    }
}

namespace {

/// The bits of \a number at the positions set in \a mask, moved together at the low end.
std::uint64_t GatherBits(std::uint64_t number, std::uint64_t mask)
{
    std::uint64_t result = 0;
    for (int place = 0; mask != 0; mask &= mask - 1, ++place) {
        result |= (number >> __builtin_ctzll(mask) & 1) << place;
    }
    return result;
}

/// The low bits of \a number moved to the positions set in \a mask.
std::uint64_t ScatterBits(std::uint64_t number, std::uint64_t mask)
{
    std::uint64_t result = 0;
    for (; mask != 0; mask &= mask - 1, number >>= 1) result |= (number & 1) << __builtin_ctzll(mask);
    return result;
}

} // namespace

void Wildcards::PrepareAt(unsigned int newIndex)
{
    for (SubsExpr& expr : exprs) {
        auto& next = expr.next;
        next = {expr.current, expr.currentLow, expr.holdLeft, false};
        auto turns = static_cast<unsigned int>(newIndex / (std::uint64_t{expr.repeat} + 1));
        if (expr.kind == 'm' || expr.kind == 'M') {
            const std::uint64_t mask = detail::LoadBig48(macMask);
            const std::uint64_t distance = ScatterBits(GatherBits(detail::LoadBig48(macStep), mask) * turns, mask);
            const std::uint64_t sum = ((detail::LoadBig48(currentMac) & mask) | ~mask) + distance;
            const std::uint64_t mac = detail::LoadBig48(macFixed) | (mask & sum);
            next.current = static_cast<unsigned int>(mac >> 24);
            next.currentLow = static_cast<unsigned int>(mac & 0xffffff);
            continue;
        }
        if (expr.count != 0) turns %= expr.count;
        if (expr.kind == '$') {
            Hexfield& value = expr.hexWork[kNextValue];
            next.inHexWork = true;
            value = expr.hexValues[kStart];
            hexStep = expr.hexValues[kStep];
            if (HasMask(expr)) {
                value |= expr.hexWork[kNotMask];
                hexStep.MaskMultiply(turns, expr.hexValues[kMask]);
            } else {
                hexStep *= turns;
            }
            value += hexStep;
            if (HasMask(expr)) {
                value &= expr.hexValues[kMask];
                value |= expr.hexValues[kFixed];
            }
            continue;
        }
        next.current = expr.step * turns + expr.start;
        if (expr.modulus != 0) next.current %= expr.modulus;
    }
}

void Wildcards::Commit(unsigned int newIndex) noexcept
{
    for (SubsExpr& expr : exprs) {
        expr.current = expr.next.current;
        expr.currentLow = expr.next.currentLow;
        expr.holdLeft = expr.next.holdLeft;
        if (expr.next.inHexWork) std::swap(expr.hexValues[kValue], expr.hexWork[kNextValue]);
    }
    index = newIndex;
}

// ---- rendering

namespace {

/// Room for the digits of the largest 64-bit number.
constexpr std::size_t kDecimalRoom = 20;

/// Writes a number right-aligned so that it ends at \a end, and returns its first digit.
char* WriteDecimalBefore(char* end, std::uint64_t number)
{
    do {
        *--end = static_cast<char>('0' + number % 10);
        number /= 10;
    } while (number != 0);
    return end;
}

/// The last \a N bytes of a field, with zeros in front of a shorter one.
template <std::size_t N>
void GetLsbBytes(const Hexfield& field, unsigned char (&bytes)[N])
{
    for (std::size_t i = 0; i < N; ++i) {
        const std::size_t fromEnd = N - i;
        const std::size_t size = field.GetSize();
        bytes[i] = fromEnd <= size ? field.GetByte(static_cast<unsigned int>(size - fromEnd)) : 0;
    }
}

/// Writes the low \a count bytes of a length, beyond its own size zeros.
void WriteLengthBytes(char* out, std::size_t count, std::uint64_t length, bool mostSignificantFirst)
{
    std::memset(out, 0, count);
    for (std::size_t k = 0; k < count && k < sizeof length; ++k) {
        out[mostSignificantFirst ? count - 1 - k : k] = static_cast<char>(length >> 8 * k);
    }
}

} // namespace

void Wildcards::Render(std::string& out, bool next) const
{
    if (inOrder) {
        RenderInOrder(out, next);
    } else {
        RenderFromTheEnd(out, next);
    }
}

/// One pass over the template, for expressions in its order. It gives the same as RenderFromTheEnd(): a length field
/// belongs to a pair by its number from the end, and what is measured is what has been written since its opening.
void Wildcards::RenderInOrder(std::string& out, bool next) const
{
    Writer writer(out);
    std::size_t from = 0;
    std::size_t lengthFieldsLeft = lengthFields;
    const SubsExpr* opening = nullptr;
    std::size_t stretch = 0;
    for (const SubsExpr& expr : exprs) {
        writer.Append(templ.data() + from, expr.pos - from);
        from = expr.pos + expr.len;
        if (expr.kind != '_') {
            WriteText(writer, expr, next);
        } else if (lengthFieldsLeft-- % 2 == 0) {
            opening = &expr;
            stretch = writer.Size();
        } else if (opening) {
            const std::size_t length = writer.Size() - stretch;
            const std::size_t pos = opening->start == 0 ? writer.Size() : stretch;
            if (opening->count == 0) {
                char digits[kDecimalRoom];
                const char* const first = WriteDecimalBefore(digits + sizeof digits, length);
                const auto size = static_cast<std::size_t>(digits + sizeof digits - first);
                std::memcpy(writer.Insert(pos, size), first, size);
            } else {
                WriteLengthBytes(writer.Insert(pos, opening->count), opening->count, length, opening->step == 1);
            }
        }
    }
    writer.Append(templ.data() + from, templ.size() - from);
    writer.Finish();
}

/// Replaces the expressions in a copy of the template from the last to the first, whatever their positions.
void Wildcards::RenderFromTheEnd(std::string& out, bool next) const
{
    out = templ;
    std::size_t mark = kNone; // the place of a closing length field whose opening has not come yet
    std::size_t growth = 0;   // of the text since that
    std::string text;
    for (std::size_t i = exprs.size(); i-- > 0;) {
        const SubsExpr& expr = exprs[i];
        text.clear();
        if (expr.kind != '_') {
            Writer writer(text);
            WriteText(writer, expr, next);
            writer.Finish();
        } else if (mark == kNone) {
            mark = expr.pos;
        } else {
            const std::size_t length = mark + growth - expr.pos - expr.len;
            if (expr.count == 0) {
                text = std::to_string(length);
            } else {
                text.resize(expr.count);
                WriteLengthBytes(text.data(), text.size(), length, expr.step == 1);
            }
            if (expr.start == 0) {
                out.insert(mark + growth, text);
                text.clear();
            }
            mark = kNone;
            growth = 0;
        }
        const std::size_t before = out.size();
        out.replace(expr.pos, expr.len, text);
        if (mark != kNone && expr.kind != '_') growth += out.size() - before;
    }
}

/// Writes the text of every kind but the length field.
void Wildcards::WriteText(Writer& writer, const SubsExpr& expr, bool next) const
{
    const auto append = [&writer](const std::string* text) {
        if (text) writer.Append(text->data(), text->size());
    };
    switch (expr.kind) {
    case 'b':
    case 's':
    case 'S':
    case 'v':
    case 'x': {
        char digits[kDecimalRoom];
        char* const end = digits + sizeof digits;
        const char* const first = WriteDecimalBefore(end, next ? expr.next.current : expr.current);
        const auto size = static_cast<std::size_t>(end - first);
        const std::size_t zeros = expr.width > size ? expr.width - size : 0;
        char* const out = writer.Room(zeros + size);
        std::memset(out, '0', zeros);
        std::memcpy(out + zeros, first, size);
        writer.WrittenTo(out + zeros + size);
        break;
    }
    case 'm':
    case 'M': {
        const std::uint64_t high = next ? expr.next.current : expr.current;
        unsigned char bytes[6];
        detail::StoreBig48(bytes, high << 24 | (next ? expr.next.currentLow : expr.currentLow));
        const auto& hexBytes = expr.kind == 'm' ? detail::kLowerHexBytes : detail::kUpperHexBytes;
        writer.WrittenTo(expr.width == 0 ? detail::WriteHexBytes(writer.Room(17), bytes, 6, 1, '-', hexBytes)
                                         : detail::WriteHexBytes(writer.Room(14), bytes, 6, 2, '.', hexBytes));
        break;
    }
    case '$': {
        const Hexfield& value = next && expr.next.inHexWork ? expr.hexWork[kNextValue] : expr.hexValues[kValue];
        switch (expr.width) {
        case kHex: {
            char* const out = writer.Room(2 * std::size_t{value.GetSize()});
            value.CopyToHexArray(out);
            writer.WrittenTo(out + 2 * std::size_t{value.GetSize()});
            break;
        }
        case kMac: {
            unsigned char bytes[6];
            GetLsbBytes(value, bytes);
            writer.WrittenTo(detail::WriteHexBytes(writer.Room(17), bytes, 6, 1, '-'));
            break;
        }
        case kIpv4: {
            unsigned char bytes[4];
            GetLsbBytes(value, bytes);
            writer.WrittenTo(detail::WriteDottedDecimal(writer.Room(detail::kDottedDecimalRoom), bytes));
            break;
        }
        case kIpv6: {
            unsigned char bytes[16];
            GetLsbBytes(value, bytes);
            writer.WrittenTo(detail::WriteHexGroups(writer.Room(detail::kHexGroupsRoom), bytes, 8));
            break;
        }
        default: {
            char* const out = writer.Room(value.GetSize());
            value.CopyToByteArray(reinterpret_cast<unsigned char*>(out), expr.width == kBig);
            writer.WrittenTo(out + value.GetSize());
        }
        }
        break;
    }
    case 'p': append(FindVar("port")); break;
    case '=': append(FindVar(expr.text)); break;
    default: append(&marker);
    }
}

} // namespace zor::common
