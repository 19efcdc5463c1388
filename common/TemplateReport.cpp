#include "TemplateCheck.h"

#include <algorithm>

namespace zor::common {

namespace {

/// How a byte of a text is shown in one column; a tab stays.
char Shown(char c)
{
    return (static_cast<unsigned char>(c) < ' ' && c != '\t') || c == 0x7f ? '?' : c;
}

/// Whether a byte goes on with a character of UTF-8, which takes one column in all.
bool IsContinuation(char c)
{
    return (static_cast<unsigned char>(c) & 0xc0) == 0x80;
}

} // namespace

std::string ToText(const TemplateDiagnostic& found, std::string_view text, std::string_view name)
{
    static constexpr const char* kSeverities[] = {"note", "warning", "error"};
    constexpr std::size_t kBefore = 60; // bytes of a line that are shown in front of the place, and in all
    constexpr std::size_t kMost = 160;
    const std::size_t pos = std::min(found.pos, text.size());
    const std::string_view before = text.substr(0, pos);
    const std::size_t lineStart = before.rfind('\n') + 1; // 0 without a newline
    const std::size_t column = pos - lineStart;
    const auto line = 1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));

    std::string result(name);
    if (!name.empty()) result += ':';
    std::string code = std::to_string(found.code);
    code.insert(0, code.size() < 3 ? 3 - code.size() : 0, '0');
    result += std::to_string(line) + ':' + std::to_string(column + 1) + ": ";
    result += kSeverities[std::min<std::size_t>(static_cast<std::size_t>(found.severity), 2)];
    result += " ZT" + code + ": " + found.message + '\n';

    std::size_t from = lineStart;
    std::size_t end = std::min(text.find('\n', pos), text.size());
    if (end > from && end > pos && text[end - 1] == '\r') --end;
    if (column > kBefore && end - from > kMost) from = pos - kBefore;
    const bool isCut = end - from > kMost;
    if (isCut) end = from + kMost;
    const std::size_t markedEnd = std::min(end, found.len > end - pos ? end : pos + found.len);
    std::string shown = from == lineStart ? "  " : "  ...";
    std::string carets = from == lineStart ? "  " : "     ";
    for (std::size_t i = from; i < end; ++i) {
        shown += Shown(text[i]);
        if (IsContinuation(text[i])) continue;
        if (i < pos) {
            carets += text[i] == '\t' ? '\t' : ' ';
        } else if (i < markedEnd || i == pos) {
            carets += '^';
        }
    }
    if (pos >= end) carets += '^'; // behind the end of the line
    result += shown + (isCut ? "..." : "") + '\n' + carets + '\n';
    if (!found.hint.empty()) result += "  instead: " + found.hint + '\n';
    return result;
}

} // namespace zor::common
