#include "TemplateSyntax.h"

#include "BigEndian.h"
#include "Characters.h"
#include "WideSteps.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace zor::common::detail {

namespace {

constexpr std::size_t kNone = std::string_view::npos;

/// How many characters one step of a scan takes.
constexpr std::size_t kHexScanStep = 16;

/// Appends bytes. The first character of each \a marker among them is doubled.
void AppendEscaped(std::string_view bytes, std::string_view marker, std::string& result)
{
    std::size_t from = 0;
    for (std::size_t at = 0; !marker.empty() && (at = bytes.find(marker, from)) != kNone; from = at + marker.size()) {
        result.append(bytes, from, at - from);
        result += marker.front();
        result += marker;
    }
    result.append(bytes, from);
}

} // namespace

bool IsTemplateKind(char c) noexcept
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

NumberForm ReadNumber(std::string_view word, unsigned int& number) noexcept
{
    std::size_t i = 0;
    while (i < word.size() && (word[i] == '\v' || word[i] == '\f' || word[i] == '\r')) ++i;
    const bool negative = i < word.size() && word[i] == '-';
    if (i < word.size() && (word[i] == '-' || word[i] == '+')) ++i;
    const std::size_t first = i;
    std::uint64_t read = 0;
    for (; i < word.size() && IsDecimalDigit(word[i]); ++i) {
        read = 10 * read + DecimalDigitValue(word[i]);
        if (read > 0xffffffff) return NumberForm::TooLarge;
    }
    if (i == first) return NumberForm::None;
    number = static_cast<unsigned int>(negative ? 0 - read : read);
    return i == word.size() ? NumberForm::Whole : NumberForm::WithTail;
}

bool TemplateScanner::Next(ExpressionText& found) noexcept
{
    if (mMarker.empty()) return false;
    const std::size_t pos = mMarker.size() == 1 ? mText.find(mMarker.front(), mNext) : mText.find(mMarker, mNext);
    if (pos == kNone || pos + 1 == mText.size()) return false;
    found.kind = mText[pos + 1];
    found.hasList = false;
    mNext = pos + 2;
    if (IsTemplateKind(found.kind) && mNext < mText.size() && mText[mNext] == '(') {
        if (mClose != kNone && mClose <= mNext) mClose = mText.find(')', mNext + 1);
        if (mClose != kNone) {
            found.hasList = true;
            found.list = mText.substr(mNext + 1, mClose - mNext - 1);
            mNext = mClose + 1;
        }
    }
    found.range = {pos, mNext - pos};
    return true;
}

ArgumentList::ArgumentList(std::string_view list)
{
    if (!Split(list)) throw std::out_of_range("wildcard argument list ends in delimiters");
}

bool ArgumentList::Split(std::string_view list) noexcept
{
    isGiven = true;
    for (std::size_t pos = 0; pos < list.size(); ++pos) {
        while (pos < list.size() && IsArgumentDelimiter(list[pos])) ++pos;
        if (pos == list.size()) return false;
        const std::size_t start = pos;
        while (pos < list.size() && !IsArgumentDelimiter(list[pos])) ++pos;
        if (wordCount < kMaxWords) {
            words[wordCount] = list.substr(start, pos - start);
            ReadNumber(words[wordCount], numbers[wordCount]);
        }
        ++wordCount;
    }
    return true;
}

std::size_t EndOfHexRun(std::string_view text, std::size_t from) noexcept
{
    for (; text.size() - from >= kHexScanStep; from += kHexScanStep) {
        const std::uint64_t digits = ScanHex(text.data() + from, kHexScanStep, ' ').digits;
        if (digits != (std::uint64_t{1} << kHexScanStep) - 1)
            return from + static_cast<std::size_t>(__builtin_ctzll(~digits));
    }
    while (from < text.size() && IsHexDigit(text[from])) ++from;
    return from;
}

void AppendHexBytes(std::string_view digits, std::string& bytes)
{
    std::size_t size = bytes.size();
    bytes.resize(size + digits.size() / 2 + 1); // one run needs no more, and a character separates two runs
    char* const out = bytes.data();
    for (std::size_t next = 0; next < digits.size();) {
        if (!IsHexDigit(digits[next])) {
            ++next;
            continue;
        }
        const std::size_t end = EndOfHexRun(digits, next);
        if ((end - next) % 2 != 0) out[size++] = static_cast<char>(HexDigitValue(digits[next++]));
        const std::size_t inBlocks =
            ReadHexBytes(digits.data() + next, end - next, reinterpret_cast<unsigned char*>(out) + size);
        next += inBlocks;
        size += inBlocks / 2;
        for (; end - next >= 16; next += 16, size += 8) {
            unsigned long long lane = 0;
            ReadHexLane(digits.data() + next, lane);
            StoreBig64(reinterpret_cast<unsigned char*>(out) + size, lane);
        }
        for (; next != end; next += 2) {
            out[size++] = static_cast<char>(HexDigitValue(digits[next]) << 4 | HexDigitValue(digits[next + 1]));
        }
    }
    bytes.resize(size);
}

std::string RewriteHexTemplate(std::string_view text, std::string_view opening, SourceMap* map)
{
    std::string result;
    std::string bytes;
    const auto append = [&](std::size_t from, std::size_t size, std::string_view marker) {
        if (map) map->AddBytes(result.size(), from);
        bytes.clear();
        AppendHexBytes(text.substr(from, size), bytes);
        AppendEscaped(bytes, marker, result);
    };
    std::size_t from = 2;
    TemplateScanner scanner(text.substr(2), "@");
    for (ExpressionText found; scanner.Next(found); from = 2 + found.range.pos + found.range.len) {
        const std::size_t pos = 2 + found.range.pos;
        append(from, pos - from, opening);
        if (map) map->AddCharacters(result.size(), pos);
        result.append(text, pos, found.range.len);
    }
    if (from < text.size() && text.back() == '@') append(from, text.size() - 1 - from, opening);
    append(from, text.size() - from, "@");
    return result;
}

/// The range of the source that one byte of the rewritten text comes from: its digits, or its character.
TextRange SourceMap::FindByte(std::string_view source, std::size_t rewritten)
{
    bool isNew = mByte.len == 0;
    for (; mPiece + 1 < mPieces.size() && mPieces[mPiece + 1].rewritten <= rewritten; ++mPiece) isNew = true;
    const Piece& piece = mPieces[mPiece];
    if (!piece.isBytes) return {piece.source + rewritten - piece.rewritten, 1};
    // Walks to the next byte of a piece. The first digit of an odd run is a byte by itself; the others form pairs.
    const auto walk = [&](std::size_t from, bool behindByte) {
        std::size_t next = from;
        while (!IsHexDigit(source[next])) ++next, behindByte = false;
        const bool isOdd = !behindByte && (EndOfHexRun(source, next) - next) % 2 != 0;
        mByte = {next, isOdd ? 1u : 2u};
    };
    if (isNew) {
        mRewritten = piece.rewritten;
        walk(piece.source, false);
    }
    for (;;) {
        const std::string_view digits = source.substr(mByte.pos, mByte.len);
        const std::size_t shown = digits == "40" ? 2 : 1; // a "@" comes twice
        if (mRewritten + shown > rewritten) return mByte;
        mRewritten += shown;
        walk(mByte.pos + mByte.len, true);
    }
}

bool SourceMap::IsCopied(const TextRange& rewritten) const noexcept
{
    const auto next = std::upper_bound(mPieces.begin(), mPieces.end(), rewritten.pos,
                                       [](std::size_t pos, const Piece& piece) { return pos < piece.rewritten; });
    return next == mPieces.begin() ||
           (!std::prev(next)->isBytes && (next == mPieces.end() || rewritten.pos + rewritten.len <= next->rewritten));
}

TextRange SourceMap::Find(std::string_view source, const TextRange& rewritten)
{
    if (mPieces.empty()) return rewritten;
    const TextRange first = FindByte(source, rewritten.pos);
    const TextRange last = FindByte(source, rewritten.pos + rewritten.len - 1);
    const std::size_t pos = std::min(first.pos, last.pos); // the last one may be repeated from before the first
    return {pos, std::max(first.pos + first.len, last.pos + last.len) - pos};
}

} // namespace zor::common::detail
