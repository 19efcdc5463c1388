#include "Wildcards.h"

#include "BigEndian.h"
#include "Decimal.h"
#include "Digits.h"
#include "Ipv6Address.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
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
    switch (c) {
    case 'x':
    case 'b':
    case 's':
    case 'S':
    case 'm':
    case 'M':
    case 'v':
    case 'p':
    case '=':
    case '$':
    case '_': return true;
    default: return false;
    }
}

/// Whether a character stands between the arguments of a list.
bool IsDelimiter(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == ',' || c == ';';
}

bool HasMask(const Wildcards::SubsExpr& expr)
{
    return expr.hexValues.size() > kMask;
}

/// The number whose low \a size bytes are all ones.
std::uint64_t LowBytes(unsigned int size)
{
    return size >= 8 ? ~std::uint64_t{0} : (std::uint64_t{1} << 8 * size) - 1;
}

/// The value of a field of up to 8 bytes.
std::uint64_t NumberOf(const Hexfield& field)
{
    std::uint64_t number = 0;
    for (unsigned int i = 0; i < field.GetSize(); ++i) number = number << 8 | field.GetByte(i);
    return number;
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

/// The largest number that a decimal counter shows. Between two starts lie no more turns than its count, also after
/// GetValueAt() has left the repeats where they were.
std::uint64_t MaxNumber(const Wildcards::SubsExpr& expr)
{
    constexpr std::uint64_t kMax = 0xffffffff;
    if (expr.modulus != 0) return std::max(expr.start, expr.modulus - 1);
    if (expr.count == 0) return kMax;
    return std::min(expr.start + std::uint64_t{expr.count} * expr.step, kMax);
}

/// How long the text of a hex counter of so many bytes may get, what its writer touches behind it included.
std::size_t HexCounterSize(unsigned char format, std::size_t bytes)
{
    switch (format) {
    case kHex: return 2 * bytes;
    case kMac: return 17;
    case kIpv4: return detail::kDottedDecimalRoom;
    case kIpv6: return detail::kHexGroupsRoom;
    default: return bytes;
    }
}

/// The bytes of a hex counter from its first step on.
std::size_t FullSize(const Wildcards::SubsExpr& expr)
{
    std::size_t size = 0;
    for (const Hexfield& field : expr.hexValues) size = std::max<std::size_t>(size, field.GetSize());
    return size;
}

/// How long the text of an expression may get that is no variable and no length field.
std::size_t MaxSize(const Wildcards::SubsExpr& expr)
{
    switch (expr.kind) {
    case 'm':
    case 'M': return expr.width == 0 ? 17 : 14;
    case '$': return HexCounterSize(expr.width, FullSize(expr));
    default: return std::max<std::size_t>(expr.width, detail::DecimalSize(MaxNumber(expr)));
    }
}

/// The size of an expression whose text always has the same, else 0.
std::size_t FixedSize(const Wildcards::SubsExpr& expr)
{
    switch (expr.kind) {
    case 'b':
    case 's':
    case 'S':
    case 'v':
    case 'x': {
        const std::size_t size = MaxSize(expr);
        return size == std::max<std::size_t>(expr.width, 1) ? size : 0;
    }
    case 'm':
    case 'M': return MaxSize(expr);
    case '$':
        if (expr.width == kIpv4 || expr.width == kIpv6) return 0;
        return expr.width == kMac || expr.hexValues[kStart].GetSize() == FullSize(expr) ? MaxSize(expr) : 0;
    default: return 0;
    }
}

} // namespace

/// The arguments of one expression. Only six count.
struct Wildcards::Arguments {
    bool given = false;        ///< Whether there is a list, be it empty.
    std::size_t wordCount = 0; ///< How many words it has.
    std::string_view words[6];
    unsigned int numbers[6] = {1, 1, 1, 0, 0, 0};

    Arguments() = default;

    explicit Arguments(std::string_view list) : given(true)
    {
        for (std::size_t pos = 0; pos < list.size(); ++pos) {
            while (pos < list.size() && IsDelimiter(list[pos])) ++pos;
            if (pos == list.size()) throw std::out_of_range("wildcard argument list ends in delimiters");
            const std::size_t start = pos;
            while (pos < list.size() && !IsDelimiter(list[pos])) ++pos;
            if (wordCount < 6) {
                words[wordCount] = list.substr(start, pos - start);
                numbers[wordCount] = ReadNumber(words[wordCount], numbers[wordCount]);
            }
            ++wordCount;
        }
    }

    std::string Word(std::size_t i) const { return std::string(words[i]); }
};

/// What one expression shows.
struct Wildcards::Shown {
    std::uint64_t number = 0;        ///< Of a decimal counter, a MAC address or a hex counter of up to 8 bytes.
    unsigned char size = 0;          ///< The width of that hex counter in bytes.
    const Hexfield* field = nullptr; ///< The value of a longer one.
};

// What a rendering shows of each expression: the current value, the next one, which becomes the current one, or the one
// at an index.

struct Wildcards::ShowCurrent {
    const Wildcards& wildcards;

    [[gnu::always_inline]] Shown operator()(const SubsExpr& expr) const { return wildcards.Current(expr); }
};

struct Wildcards::ShowNext {
    const Wildcards& wildcards;

    [[gnu::always_inline]] Shown operator()(SubsExpr& expr) const
    {
        wildcards.Advance(expr);
        return wildcards.Current(expr);
    }
};

struct Wildcards::ShowAt {
    const Wildcards& wildcards;
    unsigned int at;

    [[gnu::always_inline]] Shown operator()(const SubsExpr& expr) const { return wildcards.At(expr, at); }
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
    if (!parsed) return ParseFor([&] { GetValue(out); });
    Render(out);
}

// The operations that step do all that can fail first: values to come that are fields are worked out beside the
// current ones, and the text gets its room. The one pass over the expressions that follows cannot fail. Rendering
// expressions of two parses can fail anywhere, so a copy is stepped for it.

void Wildcards::GetNextValue(std::string& out)
{
    if (!parsed) return ParseFor([&] { GetNextValue(out); });
    if (!inOrder) return RenderCopy(out, true, [](Wildcards& copy) { copy.NextValue(); });
    PrepareNext();
    RenderAll(out, exprs, ShowNext{*this});
    ++index;
}

void Wildcards::NextValue()
{
    if (!parsed) return ParseFor([&] { NextValue(); });
    PrepareNext();
    for (SubsExpr& expr : exprs) Advance(expr);
    ++index;
}

void Wildcards::GetValueAt(int newIndex, std::string& out, bool commit)
{
    if (!parsed) return ParseFor([&] { GetValueAt(newIndex, out, commit); });
    const auto at = static_cast<unsigned int>(newIndex);
    if (!inOrder) {
        return RenderCopy(out, commit, [at](Wildcards& copy) {
            copy.PrepareAt(at);
            copy.KeepAt(at);
        });
    }
    if (hasFields) PrepareAt(at);
    RenderAll(out, exprs, ShowAt{*this, at});
    if (commit) KeepAt(at);
}

void Wildcards::SetReadCursor(int newIndex)
{
    std::string value;
    GetValueAt(newIndex, value, true);
    for (SubsExpr& expr : exprs) {
        const std::uint64_t period = std::uint64_t{expr.repeat} + 1;
        if (expr.repeat != 0) expr.holdLeft = static_cast<unsigned int>(expr.repeat - index % period);
        CountTurns(expr, index + 1);
    }
}

void Wildcards::Expand(std::string& out) const
{
    Render(out);
}

// ---- parsing

void Wildcards::ParseExpr()
{
    if (!parsed) ParseFor([] {});
}

/// Parses for a call that needs it. If the call fails then, the parse is taken back.
template <class Call>
[[gnu::noinline]] void Wildcards::ParseFor(Call call)
{
    std::string oldTempl;
    const std::size_t oldCount = exprs.size();
    const bool oldInOrder = inOrder;
    const bool oldHasFields = hasFields;
    const unsigned int oldIndex = index;
    Parse(oldTempl);
    try {
        call();
    } catch (...) {
        templ.swap(oldTempl);
        exprs.erase(exprs.begin() + static_cast<std::ptrdiff_t>(oldCount), exprs.end());
        inOrder = oldInOrder;
        hasFields = oldHasFields;
        MoveTo(oldIndex);
        layout.known = false;
        parsed = false;
        throw;
    }
}

/// The next marker from a place on; one of a single character is found by that.
std::size_t Wildcards::FindMarker(const std::string& text, std::size_t from) const noexcept
{
    if (marker.size() == 1) return text.find(marker.front(), from);
    return marker.empty() ? kNone : text.find(marker, from);
}

/// \param before  becomes the template that was parsed, as a hex template is rewritten.
void Wildcards::Parse(std::string& before)
{
    std::string text = templ;
    ConvertHexWildcardExpr(text, "@");
    std::vector<SubsExpr> found;
    std::string foundFrame;
    foundFrame.reserve(text.size());
    CloseFinder lists(text);
    std::size_t next = 0;
    std::size_t from = 0;  // of the literal text that is not in the frame yet
    std::size_t shown = 0; // the size of the frame up to the last expression that is no escape
    bool fields = false;
    for (std::size_t pos = 0; (pos = FindMarker(text, next)) != kNone;) {
        if (pos + 1 == text.size()) break;
        const char kind = text[pos + 1];
        next = pos + 2;
        if (!IsKind(kind) && kind != marker.front()) continue;
        SubsExpr& expr = found.emplace_back();
        if (IsKind(kind)) {
            const std::size_t close = lists.EndOfList(pos + 2);
            if (close != kNone) next = close + 1;
            const auto list = std::string_view(text).substr(pos, next - pos);
            if (!MakeExpr(kind, close == kNone ? Arguments() : Arguments(list.substr(3, list.size() - 4)), expr)) {
                found.pop_back();
                continue;
            }
        }
        expr.kind = kind;
        expr.pos = pos;
        expr.len = next - pos;
        foundFrame.append(text, from, pos - from);
        from = next;
        if (expr.form == SubsExpr::Form::Nothing) {
            foundFrame += marker;
        } else {
            expr.literalSize = foundFrame.size() - shown;
            expr.fixedSize = FixedSize(expr);
            foundFrame.append(expr.fixedSize, '\0');
            shown = foundFrame.size();
        }
        fields = fields || !expr.hexWork.empty();
    }
    foundFrame.append(text, from);
    PairLengthFields(found);

    const bool first = exprs.empty();
    if (first) {
        exprs.swap(found);
    } else {
        exprs.reserve(exprs.size() + found.size());
        std::move(found.begin(), found.end(), std::back_inserter(exprs));
    }
    before.swap(templ);
    templ.swap(text);
    if (first) {
        frame.swap(foundFrame);
        MeasureStretches();
    }
    inOrder = first;
    hasFields = hasFields || fields;
    MoveTo(0);
    layout.known = false;
    parsed = true;
}

/// Finds the pairs of length fields, counted from the last one on.
void Wildcards::PairLengthFields(std::vector<SubsExpr>& exprs)
{
    bool closing = false;
    for (auto expr = exprs.rbegin(); expr != exprs.rend(); ++expr) {
        if (expr->kind != '_') continue;
        closing = !closing;
        expr->form = closing ? SubsExpr::Form::LengthEnd : SubsExpr::Form::LengthStart;
    }
}

/// Measures the stretches of the frame between the expressions whose size varies.
void Wildcards::MeasureStretches() noexcept
{
    std::size_t* size = &firstStretch;
    *size = 0;
    tailSize = frame.size();
    for (SubsExpr& expr : exprs) {
        const std::size_t before = expr.literalSize + expr.fixedSize;
        *size += before;
        tailSize -= before;
        if (expr.fixedSize == 0 && expr.form != SubsExpr::Form::Nothing) size = &expr.stretchSize;
    }
    *size += tailSize;
}

/// Fills \a expr but for its place; false where the template's text stays literal.
bool Wildcards::MakeExpr(char kind, const Arguments& arguments, SubsExpr& expr) const
{
    using Form = SubsExpr::Form;
    const unsigned int(&a)[6] = arguments.numbers;
    expr.start = expr.current = a[0];
    expr.count = a[1];
    expr.step = a[2];
    expr.width = static_cast<unsigned char>(a[3]);
    expr.repeat = expr.holdLeft = a[4];
    expr.modulus = a[5] == 0 ? 0 : a[5] + 1;
    expr.form = Form::Decimal;
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
        expr.form = Form::Mac;
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
    case '=':
        expr.text = Lower(arguments.words[0]);
        expr.form = Form::Variable;
        break;
    case 'p':
        expr.text = "port";
        expr.form = Form::Variable;
        break;
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

void Wildcards::MakeHexCounter(const Arguments& arguments, SubsExpr& expr)
{
    static constexpr std::string_view kFormats[] = {"little", "big", "hex", "mac", "ipv4", "ipv6"};
    if (arguments.numbers[3] == 0) { // a word, or 0 itself
        const auto* const format = std::find(std::begin(kFormats), std::end(kFormats), arguments.words[3]);
        expr.width = static_cast<unsigned char>(format == std::end(kFormats) ? 0 : format - kFormats);
    }
    const Hexfield start = arguments.wordCount == 0 ? Hexfield() : Hexfield(arguments.Word(0));
    expr.hexValues = {start, start, Hexfield(arguments.wordCount >= 4 ? arguments.Word(2) : "1")};
    if (arguments.wordCount >= 6) {
        const Hexfield mask(arguments.Word(5));
        expr.hexWork = {Hexfield(), ~mask};
        expr.hexValues.push_back(mask);
        expr.hexValues.push_back(start & expr.hexWork[kNotMask]);
    }
    MakeNarrow(expr);
}

/// Has a hex counter count as a number, if all it consists of fits one.
void Wildcards::MakeNarrow(SubsExpr& expr)
{
    unsigned int fullSize = 0;
    for (const Hexfield& field : expr.hexValues) fullSize = std::max<unsigned int>(fullSize, field.GetSize());
    if (fullSize > sizeof(std::uint64_t)) {
        expr.form = SubsExpr::Form::Field;
        if (!HasMask(expr)) expr.hexWork.resize(1);
        return;
    }
    SubsExpr::Narrow& narrow = expr.narrow.emplace();
    narrow.value = narrow.start = NumberOf(expr.hexValues[kStart]);
    narrow.step = NumberOf(expr.hexValues[kStep]);
    narrow.size = narrow.startSize = static_cast<unsigned char>(expr.hexValues[kStart].GetSize());
    narrow.fullSize = static_cast<unsigned char>(fullSize);
    narrow.stepMask = LowBytes(expr.hexValues[kStep].GetSize());
    narrow.mask = LowBytes(fullSize);
    narrow.masked = HasMask(expr);
    if (narrow.masked) {
        narrow.mask = NumberOf(expr.hexValues[kMask]);
        narrow.notMask = NumberOf(expr.hexWork[kNotMask]);
        narrow.fixed = NumberOf(expr.hexValues[kFixed]);
    }
    expr.form = expr.width >= kHex && expr.width <= kIpv6 ? SubsExpr::Form::Number : SubsExpr::Form::Bytes;
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
    layout.known = false;
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
        // Lists tend to be sorted, or nearly so.
        added.insert_or_assign(added.end(), Lower(std::string_view(element).substr(0, equals)),
                               element.substr(equals + 1));
    }
    layout.known = false;
    auto next = vars.begin(); // where a variable goes that comes behind the one before
    while (!added.empty()) {
        auto node = added.extract(added.begin());
        const auto position = vars.insert(next, std::move(node));
        if (!node.empty()) { // NOLINT(bugprone-use-after-move): a variable that was there already leaves it
            position->second.swap(node.mapped());
        }
        next = std::next(position);
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

/// Does what of the next step can fail. The index starts from 0 after 2^32 - 1, and the turns are counted anew there.
inline void Wildcards::PrepareNext()
{
    if (index + 1 == 0) MoveTo(index);
    if (hasFields) PrepareFields();
}

/// Works out what the fields become that advance with the next step.
void Wildcards::PrepareFields()
{
    for (SubsExpr& expr : exprs) {
        if (expr.form != SubsExpr::Form::Field || expr.holdLeft != 0) continue;
        Hexfield& value = expr.hexWork[kNextValue];
        if (expr.turnsLeft == 1) {
            value = expr.hexValues[kStart];
            continue;
        }
        value = expr.hexValues[kValue];
        if (HasMask(expr)) value |= expr.hexWork[kNotMask];
        value += expr.hexValues[kStep];
        if (HasMask(expr)) {
            value &= expr.hexValues[kMask];
            value |= expr.hexValues[kFixed];
        }
    }
}

/// Advances one expression by a step; the value of a field has been prepared.
[[gnu::always_inline]] inline void Wildcards::Advance(SubsExpr& expr) const noexcept
{
    if (expr.holdLeft != 0) {
        --expr.holdLeft;
        return;
    }
    expr.holdLeft = expr.repeat;
    const bool toStart = --expr.turnsLeft == 0;
    if (toStart) expr.turnsLeft = expr.count;
    switch (expr.form) {
    case SubsExpr::Form::Decimal:
        if (toStart) {
            expr.current = expr.start;
        } else {
            expr.current += expr.step;
            if (expr.modulus != 0 && expr.current >= expr.modulus) expr.current %= expr.modulus;
        }
        break;
    case SubsExpr::Form::Bytes:
    case SubsExpr::Form::Number: {
        auto& narrow = *expr.narrow;
        narrow.value =
            toStart ? narrow.start : (((narrow.value | narrow.notMask) + narrow.step) & narrow.mask) | narrow.fixed;
        narrow.size = toStart ? narrow.startSize : narrow.fullSize;
        break;
    }
    case SubsExpr::Form::Field: std::swap(expr.hexValues[kValue], expr.hexWork[kNextValue]); break;
    case SubsExpr::Form::Mac: {
        const std::uint64_t mask = detail::LoadBig48(macMask);
        const std::uint64_t value = std::uint64_t{expr.current} << 24 | expr.currentLow;
        const std::uint64_t sum = detail::LoadBig48(macStep) + (value | ~mask);
        Keep(expr, {detail::LoadBig48(macFixed) | (mask & sum)});
        break;
    }
    default: break;
    }
}

namespace {

/// The number of turns that an expression has taken at an index.
template <class Unsigned>
Unsigned TurnsAt(const Wildcards::SubsExpr& expr, Unsigned index)
{
    return expr.repeat == 0 ? index : static_cast<Unsigned>(index / (std::uint64_t{expr.repeat} + 1));
}

/// A number of turns, counted from the last start. Few divisions are needed.
template <class Unsigned>
unsigned int SinceStart(const Wildcards::SubsExpr& expr, Unsigned turns)
{
    return static_cast<unsigned int>(expr.count == 0 || turns < expr.count ? turns : turns % expr.count);
}

} // namespace

/// Counts the turns that it takes an expression to return to its start, the first of them being the one that comes up
/// when the step to \a nextIndex and the repeats before it are done. The number of a turn is its index divided by
/// repeat + 1, and those whose number is a multiple of the count return. Without a count it takes more turns than
/// there are before the index starts from 0 again, where they are counted anew.
void Wildcards::CountTurns(SubsExpr& expr, unsigned int nextIndex) noexcept
{
    if (expr.count == 0) {
        expr.turnsLeft = 0;
        return;
    }
    const unsigned int place = SinceStart(expr, TurnsAt(expr, std::uint64_t{nextIndex} + expr.holdLeft));
    expr.turnsLeft = place == 0 ? 1 : expr.count - place + 1;
}

/// Sets the index, and what follows from it.
void Wildcards::MoveTo(unsigned int newIndex) noexcept
{
    index = newIndex;
    for (SubsExpr& expr : exprs) CountTurns(expr, index + 1);
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

/// Works out the fields at an index, and the masked numbers, whose step is multiplied as a field too.
void Wildcards::PrepareAt(unsigned int newIndex)
{
    for (SubsExpr& expr : exprs) {
        if (expr.hexWork.empty()) continue;
        const unsigned int turns = SinceStart(expr, TurnsAt(expr, newIndex));
        Hexfield& value = expr.hexWork[kNextValue];
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
    }
}

/// What an expression shows at an index, after PrepareAt().
[[gnu::always_inline]] inline Wildcards::Shown Wildcards::At(const SubsExpr& expr, unsigned int newIndex) const noexcept
{
    switch (expr.form) {
    case SubsExpr::Form::Decimal: {
        const unsigned int value = expr.step * SinceStart(expr, TurnsAt(expr, newIndex)) + expr.start;
        return {expr.modulus == 0 ? value : value % expr.modulus};
    }
    case SubsExpr::Form::Mac: return {MacAt(TurnsAt(expr, newIndex))};
    case SubsExpr::Form::Bytes:
    case SubsExpr::Form::Number: {
        const auto& narrow = *expr.narrow;
        if (narrow.masked) return {NumberOf(expr.hexWork[kNextValue]), narrow.fullSize};
        // Word by word, as Hexfield multiplies.
        const unsigned int turns = SinceStart(expr, TurnsAt(expr, newIndex));
        const std::uint64_t low = static_cast<std::uint32_t>(narrow.step) * turns;
        const std::uint64_t high = static_cast<std::uint32_t>(narrow.step >> 32) * turns;
        const std::uint64_t distance = (high << 32 | low) & narrow.stepMask;
        return {(narrow.start + distance) & narrow.mask, narrow.fullSize};
    }
    case SubsExpr::Form::Field: return {0, 0, &expr.hexWork[kNextValue]};
    default: return {};
    }
}

std::uint64_t Wildcards::MacAt(unsigned int turns) const noexcept
{
    constexpr std::uint64_t kAllBits = 0xffffffffffff;
    const std::uint64_t mask = detail::LoadBig48(macMask);
    const std::uint64_t step = detail::LoadBig48(macStep);
    const std::uint64_t distance = mask == kAllBits ? step * turns : ScatterBits(GatherBits(step, mask) * turns, mask);
    const std::uint64_t sum = ((detail::LoadBig48(currentMac) & mask) | ~mask) + distance;
    return detail::LoadBig48(macFixed) | (mask & sum);
}

/// Moves all expressions to an index, after PrepareAt().
void Wildcards::KeepAt(unsigned int newIndex) noexcept
{
    for (SubsExpr& expr : exprs) Keep(expr, At(expr, newIndex));
    MoveTo(newIndex);
}

/// Makes what At() has worked out the current value.
void Wildcards::Keep(SubsExpr& expr, const Shown& shown) noexcept
{
    switch (expr.form) {
    case SubsExpr::Form::Decimal: expr.current = static_cast<unsigned int>(shown.number); break;
    case SubsExpr::Form::Mac:
        expr.current = static_cast<unsigned int>(shown.number >> 24);
        expr.currentLow = static_cast<unsigned int>(shown.number & 0xffffff);
        break;
    case SubsExpr::Form::Bytes:
    case SubsExpr::Form::Number:
        expr.narrow->value = shown.number;
        expr.narrow->size = shown.size;
        break;
    case SubsExpr::Form::Field: std::swap(expr.hexValues[kValue], expr.hexWork[kNextValue]); break;
    default: break;
    }
}

/// What an expression shows now.
[[gnu::always_inline]] inline Wildcards::Shown Wildcards::Current(const SubsExpr& expr) const noexcept
{
    switch (expr.form) {
    case SubsExpr::Form::Decimal: return {expr.current};
    case SubsExpr::Form::Mac: return {std::uint64_t{expr.current} << 24 | expr.currentLow};
    case SubsExpr::Form::Bytes:
    case SubsExpr::Form::Number: return {expr.narrow->value, expr.narrow->size};
    case SubsExpr::Form::Field: return {0, 0, &expr.hexValues[kValue]};
    default: return {};
    }
}

// ---- rendering

namespace {

/// Two words side by side, which the compiler keeps in one vector register.
using WordPair = unsigned long __attribute__((vector_size(16)));

/// Copies the first and the last word of a text of \a size characters, that is all of it up to two words.
template <class Word>
void CopyWords(char* out, const char* text, std::size_t size)
{
    Word first;
    Word last;
    std::memcpy(&first, text, sizeof first);
    std::memcpy(&last, text + size - sizeof last, sizeof last);
    std::memcpy(out, &first, sizeof first);
    std::memcpy(out + size - sizeof last, &last, sizeof last);
}

/// Copies text. A short one is done by two words that may overlap, which saves the call of memcpy.
inline void CopyText(char* out, const char* text, std::size_t size)
{
    if (size > 2 * sizeof(WordPair)) {
        std::memcpy(out, text, size);
    } else if (size >= sizeof(WordPair)) {
        CopyWords<WordPair>(out, text, size);
    } else if (size >= 8) {
        CopyWords<std::uint64_t>(out, text, size);
    } else if (size >= 4) {
        CopyWords<std::uint32_t>(out, text, size);
    } else {
        for (std::size_t i = 0; i < size; ++i) out[i] = text[i];
    }
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

/// Writes a hex counter of up to 8 bytes as these bytes.
inline char* WriteBytes(char* out, unsigned char format, std::uint64_t number, unsigned int size)
{
    if (format == kBig && size != 0) number = __builtin_bswap64(number) >> 8 * (8 - size);
    detail::StoreLittleBytes(reinterpret_cast<unsigned char*>(out), number, size);
    return out + size;
}

/// Writes a hex counter of up to 8 bytes in one of the formats that are text.
char* WriteNumber(char* out, unsigned char format, std::uint64_t number, unsigned int size)
{
    unsigned char bytes[16] = {};
    switch (format) {
    case kIpv4:
        detail::StoreBig32(bytes, static_cast<std::uint32_t>(number));
        return detail::WriteDottedDecimal(out, bytes);
    case kMac: detail::StoreBig48(bytes, number); return detail::WriteHexBytes(out, bytes, 6, 1, '-');
    case kIpv6: detail::StoreBig64(bytes + 8, number); return detail::WriteHexGroups(out, bytes, 8);
    default:
        while (size-- > 0) out = detail::WriteHexByte(out, static_cast<unsigned char>(number >> 8 * size));
        return out;
    }
}

/// Writes a hex counter of any width.
char* WriteField(char* out, unsigned char format, const Hexfield& field)
{
    unsigned char bytes[16];
    switch (format) {
    case kHex: field.CopyToHexArray(out); return out + 2 * std::size_t{field.GetSize()};
    case kMac: GetLsbBytes(field, bytes); return detail::WriteHexBytes(out, bytes + 10, 6, 1, '-');
    case kIpv4: GetLsbBytes(field, bytes); return detail::WriteDottedDecimal(out, bytes + 12);
    case kIpv6: GetLsbBytes(field, bytes); return detail::WriteHexGroups(out, bytes, 8);
    default: field.CopyToByteArray(reinterpret_cast<unsigned char*>(out), format == kBig); return out + field.GetSize();
    }
}

char* WriteMac(char* out, const Wildcards::SubsExpr& expr, std::uint64_t address)
{
    unsigned char bytes[6];
    detail::StoreBig48(bytes, address);
    const auto& hexBytes = expr.kind == 'm' ? detail::kLowerHexBytes : detail::kUpperHexBytes;
    return expr.width == 0 ? detail::WriteHexBytes(out, bytes, 6, 1, '-', hexBytes)
                           : detail::WriteHexBytes(out, bytes, 6, 2, '.', hexBytes);
}

/// Puts the length of the text from \a start to \a end in front of it or behind it, and returns the new end.
char* InsertLength(char* start, char* end, const Wildcards::SubsExpr& opening)
{
    const auto length = static_cast<std::size_t>(end - start);
    char* const place = opening.start == 0 ? end : start;
    char digits[detail::kMaxDecimalSize];
    const std::size_t size =
        opening.count == 0 ? static_cast<std::size_t>(detail::WriteDecimal(digits, length, 0) - digits) : opening.count;
    std::memmove(place + size, place, static_cast<std::size_t>(end - place));
    if (opening.count == 0) {
        std::memcpy(place, digits, size);
    } else {
        WriteLengthBytes(place, size, length, opening.step == 1);
    }
    return end + size;
}

} // namespace

/// Looks up the variables, and works out how long the text may get and how far its writers may touch it.
void Wildcards::MakeLayout() const
{
    layout.variables.clear();
    std::size_t room = frame.size();
    for (const SubsExpr& expr : exprs) {
        switch (expr.form) {
        case SubsExpr::Form::Nothing:
        case SubsExpr::Form::LengthEnd: break;
        case SubsExpr::Form::LengthStart: room += expr.count == 0 ? detail::kMaxDecimalSize : expr.count; break;
        case SubsExpr::Form::Variable:
            layout.variables.push_back(FindVar(expr.text));
            if (layout.variables.back()) room += layout.variables.back()->size();
            break;
        default: room += expr.fixedSize == 0 ? MaxSize(expr) : 0;
        }
    }
    layout.room = room;
    layout.known = true;
}

/// Makes \a out as long as the text may get, before anything is written.
inline void Wildcards::MakeRoom(std::string& out) const
{
    if (!layout.known) MakeLayout();
    if (out.size() < layout.room) out.resize(layout.room);
}

/// Writes the value of an expression that has one. The forms come first, so that each works out just what it shows.
template <class Expr, class Show>
[[gnu::always_inline]] inline char* Wildcards::WriteValue(char* out, Expr& expr, Show show)
{
    switch (expr.form) {
    case SubsExpr::Form::Decimal: {
        const auto number = static_cast<unsigned int>(show(expr).number);
        return expr.fixedSize != 0 ? detail::WriteDigits(out, number, expr.fixedSize)
                                   : detail::WriteDecimal(out, number, expr.width);
    }
    case SubsExpr::Form::Mac: return WriteMac(out, expr, show(expr).number);
    case SubsExpr::Form::Bytes: {
        const Shown shown = show(expr);
        return WriteBytes(out, expr.width, shown.number, shown.size);
    }
    case SubsExpr::Form::Number: {
        const Shown shown = show(expr);
        return WriteNumber(out, expr.width, shown.number, shown.size);
    }
    default: return WriteField(out, expr.width, *show(expr).field);
    }
}

bool Wildcards::ShowsValue(const SubsExpr& expr) noexcept
{
    return expr.form <= SubsExpr::Form::Field;
}

/// One pass over the template, for expressions in its order, into a text that has room for it. It gives the same as
/// RenderFromTheEnd(): what a length field measures is what has been written since its opening.
///
/// \param show  called with each expression that shows something, once and in order; returns what it shows.
template <class Exprs, class Show>
void Wildcards::RenderInOrder(std::string& out, Exprs& inOrderExprs, Show show) const noexcept
{
    char* next = out.data();
    const char* stretch = frame.data();
    const auto copyStretch = [&next, &stretch](std::size_t size) {
        CopyText(next, stretch, size);
        stretch += size;
    };
    auto variable = layout.variables.begin();
    const SubsExpr* opening = nullptr;
    std::size_t measuredFrom = 0;
    copyStretch(firstStretch);
    for (auto& expr : inOrderExprs) {
        next += expr.literalSize;
        if (ShowsValue(expr)) {
            next = WriteValue(next, expr, show);
        } else if (expr.form == SubsExpr::Form::Variable) {
            if (const std::string* const value = *variable++) {
                CopyText(next, value->data(), value->size());
                next += value->size();
            }
        } else if (expr.form == SubsExpr::Form::LengthStart) {
            opening = &expr;
            measuredFrom = static_cast<std::size_t>(next - out.data());
        } else if (expr.form == SubsExpr::Form::LengthEnd && opening) {
            next = InsertLength(out.data() + measuredFrom, next, *opening);
        }
        if (expr.stretchSize != 0) copyStretch(expr.stretchSize);
    }
    next += tailSize;
    out.resize(static_cast<std::size_t>(next - out.data()));
}

/// Renders expressions in order. Without any there is no frame: before a parse, and in an object that was moved from.
template <class Exprs, class Show>
inline void Wildcards::RenderAll(std::string& out, Exprs& inOrderExprs, Show show) const
{
    if (inOrderExprs.empty()) {
        out = templ;
    } else {
        MakeRoom(out);
        RenderInOrder(out, inOrderExprs, show);
    }
}

/// Replaces the expressions in a copy of the template from the last to the first, whatever their positions.
void Wildcards::RenderFromTheEnd(std::string& out) const
{
    out = templ;
    std::size_t mark = kNone; // the place of a closing length field whose opening has not come yet
    std::size_t growth = 0;   // of the text since that
    std::string text;
    for (std::size_t i = exprs.size(); i-- > 0;) {
        const SubsExpr& expr = exprs[i];
        text.clear();
        switch (expr.form) {
        case SubsExpr::Form::Nothing: text = marker; break;
        case SubsExpr::Form::Variable:
            if (const std::string* const value = FindVar(expr.text)) text = *value;
            break;
        case SubsExpr::Form::LengthStart:
        case SubsExpr::Form::LengthEnd:
            if (mark == kNone) {
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
            break;
        case SubsExpr::Form::Decimal: {
            // Not the size that one parse makes sure of: the second one has the index start from 0, not the counter.
            char digits[std::numeric_limits<unsigned char>::max()];
            text.assign(digits, detail::WriteDecimal(digits, expr.current, expr.width));
            break;
        }
        default: {
            text.resize(MaxSize(expr));
            const char* const end = WriteValue(text.data(), expr, ShowCurrent{*this});
            text.resize(static_cast<std::size_t>(end - text.data()));
        }
        }
        const std::size_t before = out.size();
        out.replace(expr.pos, expr.len, text);
        if (mark != kNone && expr.kind != '_') growth += out.size() - before;
    }
}

void Wildcards::Render(std::string& out) const
{
    if (!inOrder) return RenderFromTheEnd(out);
    RenderAll(out, exprs, ShowCurrent{*this});
}

/// Moves a copy, renders it, and becomes it if \a commit says so.
template <class Move>
[[gnu::noinline]] void Wildcards::RenderCopy(std::string& out, bool commit, Move move)
{
    Wildcards copy(*this);
    move(copy);
    copy.RenderFromTheEnd(out);
    if (commit) *this = std::move(copy);
}

} // namespace zor::common
