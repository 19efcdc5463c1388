#include "Characters.h"
#include "CompiledTemplate.h"
#include "TemplateCheck.h"
#include "TrafficPlan.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace zor::common {

namespace {

constexpr std::size_t kRowBytes = 4;
constexpr std::size_t kNoField = ~std::size_t{0};

std::string HexOf(std::string_view bytes, const char* between = "")
{
    std::string text;
    for (const char c : bytes) {
        if (!text.empty()) text += between;
        detail::AppendHexByte(text, static_cast<unsigned char>(c));
    }
    return text;
}

constexpr std::size_t kLongName = 64; ///< In characters: what stands again in each row of a picture has to be short.

/// The text of a field, in digits where it is not text, cut where it is long.
std::string Readable(std::string_view text)
{
    constexpr std::size_t kMost = 40;
    const bool isText = std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c <= '~'; });
    const std::string_view start = text.substr(0, kMost);
    return (isText ? std::string(start) : "0x" + HexOf(start)) + (text.size() > kMost ? "..." : "");
}

/// The size of the character of UTF-8 that stands at a place; 0 if none does, or one that controls what shows it.
std::size_t CharacterSize(std::string_view text, std::size_t at)
{
    const auto byte = [&](std::size_t i) {
        return static_cast<unsigned char>(at + i < text.size() ? text[at + i] : 0);
    };
    const unsigned char first = byte(0);
    if (first < 0x80) return first >= ' ' && first < 0x7f ? 1 : 0;
    const std::size_t size = first < 0xc2 ? 0 : first < 0xe0 ? 2 : first < 0xf0 ? 3 : first < 0xf5 ? 4 : 0;
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xc0) != 0x80) return 0;
    }
    // Neither in more bytes than it takes, nor a surrogate, nor above U+10FFFF, nor one of the two that XML excludes.
    const unsigned char second = byte(1);
    if ((first == 0xc2 && second < 0xa0) || (first == 0xe0 && second < 0xa0) || (first == 0xed && second >= 0xa0) ||
        (first == 0xf0 && second < 0x90) || (first == 0xf4 && second >= 0x90) ||
        (first == 0xef && second == 0xbf && byte(2) >= 0xbe)) {
        return 0;
    }
    return size;
}

/// Text that anything can show, in at most so many characters: bytes that are no characters become "?".
std::string Shown(std::string_view text, std::size_t most = ~std::size_t{0})
{
    std::string result;
    for (std::size_t i = 0; i < text.size() && most > 0; --most) {
        const std::size_t size = CharacterSize(text, i);
        result += size == 0 ? "?" : text.substr(i, size);
        i += std::max<std::size_t>(size, 1);
    }
    return result;
}

/// How many characters text has that anything can show.
std::size_t CountCharacters(std::string_view shown)
{
    return static_cast<std::size_t>(std::count_if(
        shown.begin(), shown.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; }));
}

/// Bytes of the value at index 0 that belong together.
struct Cell {
    std::size_t offset = 0;
    std::size_t size = 0;
    std::size_t field = kNoField; ///< Its place in GetFields(); none for literal text and checksums.
    bool isChecksum = false;

    bool IsLiteral() const { return field == kNoField && !isChecksum; }
    bool IsOfSame(const Cell& other) const
    {
        return field == other.field && isChecksum == other.isChecksum && field != kNoField;
    }
};

/// What all styles show.
struct Picture {
    /// \param of     has a program.
    /// \param named  its fields.
    /// \param after  how many indexes all is the same again.
    Picture(const CompiledTemplate& of, std::vector<TemplateField> named, std::uint64_t after)
        : fields(std::move(named)), isFixedSize(of.IsFixedSize()), period(after), maxSize(of.GetMaxSize())
    {
        of.GetValueAt(0, value);
        for (TemplateField& field : fields) {
            if (field.name.empty()) field.name = NameOf(field.kind);
        }
        std::size_t end = 0;
        for (std::size_t i = 0; i < fields.size(); ++i) {
            if (fields[i].first.empty()) continue;
            AddLiteral(of, end, fields[i].offset);
            cells.push_back({fields[i].offset, fields[i].first.size(), i, false});
            end = fields[i].offset + fields[i].first.size();
        }
        AddLiteral(of, end, value.size());
    }

    static const char* NameOf(char kind)
    {
        switch (kind) {
        case 'x': return "number";
        case 'b': return "first base";
        case 's':
        case 'S': return "second base";
        case 'm':
        case 'M': return "MAC address";
        case 'v': return "VLAN";
        case 'p': return "port";
        case '=': return "variable";
        case '_': return "length";
        default: return "counter";
        }
    }

    /// Bytes between two fields: what changes in them is a checksum.
    void AddLiteral(const CompiledTemplate& of, std::size_t from, std::size_t to)
    {
        const std::vector<ByteSpan>& spans = of.GetChangingSpans();
        auto next = std::lower_bound(spans.begin(), spans.end(), from, [](const ByteSpan& span, std::size_t place) {
            return span.offset + span.size <= place;
        });
        for (; next != spans.end() && next->offset < to; ++next) {
            const ByteSpan& span = *next;
            const std::size_t first = std::max(span.offset, from);
            const std::size_t last = std::min(span.offset + span.size, to);
            if (first >= last) continue;
            if (first > from) cells.push_back({from, first - from, kNoField, false});
            cells.push_back({first, last - first, kNoField, true});
            from = last;
        }
        if (from < to) cells.push_back({from, to - from, kNoField, false});
    }

    bool IsCounting(const Cell& cell) const
    {
        return cell.isChecksum || (cell.field != kNoField && fields[cell.field].period != 1);
    }

    bool IsVarying(const Cell& cell) const
    {
        return cell.field != kNoField && fields[cell.field].minSize != fields[cell.field].maxSize;
    }

    std::string NameOf(const Cell& cell) const
    {
        return cell.isChecksum ? "checksum" : cell.field == kNoField ? std::string() : fields[cell.field].name;
    }

    /// Calls \a row with the cells of each row, cut at its ends, and \a skipped with the bytes of rows that hold nothing but
    /// literal text, where there are many.
    template <class Row, class Skipped>
    void VisitRows(Row row, Skipped skipped) const
    {
        constexpr std::size_t kMost = 8 * kRowBytes;
        std::size_t next = 0; // of the cells
        for (std::size_t from = 0; from < value.size();) {
            while (cells[next].offset + cells[next].size <= from) ++next;
            const std::size_t end = cells[next].offset + cells[next].size;
            if (cells[next].IsLiteral() && end - from > kMost) {
                const std::size_t count = (end - from) / kRowBytes * kRowBytes - kRowBytes;
                row(from, CellsFrom(next, from));
                skipped(from + kRowBytes, count - kRowBytes);
                from += count;
                continue;
            }
            row(from, CellsFrom(next, from));
            from += kRowBytes;
        }
    }

    std::vector<Cell> CellsFrom(std::size_t next, std::size_t from) const
    {
        std::vector<Cell> found;
        const std::size_t to = std::min(from + kRowBytes, value.size());
        for (; next < cells.size() && cells[next].offset < to; ++next) {
            Cell cell = cells[next];
            const std::size_t end = std::min(cell.offset + cell.size, to);
            cell.offset = std::max(cell.offset, from);
            cell.size = end - cell.offset;
            found.push_back(cell);
        }
        return found;
    }

    /// A field in a line: where it stands, and its values.
    std::string Describe(const TemplateField& field) const
    {
        std::string text = field.isOffsetFixed ? "offset " : "at first offset ";
        text += std::to_string(field.offset) + ", " + std::to_string(field.minSize);
        if (field.maxSize != field.minSize) text += " to " + std::to_string(field.maxSize);
        text += field.maxSize == 1 ? " byte: " : " bytes: ";
        text += Readable(field.first);
        if (field.period == 1) return text;
        text += ", " + Readable(field.second);
        if (field.period == 0) return text + " and on";
        return text + " to " + Readable(field.last) + ", the same again after " + std::to_string(field.period);
    }

    std::string value;
    std::vector<TemplateField> fields;
    std::vector<Cell> cells; ///< All bytes of the value, in their order.
    bool isFixedSize;
    std::uint64_t period;
    std::size_t maxSize;
};

// ---- characters

std::string Centred(std::string_view text, std::size_t width)
{
    const std::string shown = Shown(text, width);
    const std::size_t blanks = width - CountCharacters(shown);
    return std::string(blanks / 2, ' ') + shown + std::string(blanks - blanks / 2, ' ');
}

std::string DrawRfc(const Picture& picture)
{
    constexpr std::size_t kWidth = 16; // characters for a byte
    std::string text;
    text += "  0                   1                   2                   3\n";
    text += "  0 1 2 3 4 5 6 7 8 9 0 1 2 3 4 5 6 7 8 9 0 1 2 3 4 5 6 7 8 9 0 1\n";
    std::vector<Cell> before;
    // The line above a row is open between two rows of one field, but for its ends.
    const auto addLine = [&](std::size_t bytes, std::size_t from, const std::vector<Cell>& row) {
        std::string line = " +";
        for (std::size_t i = 0; i < bytes; ++i) line += "-+-+-+-+-+-+-+-+";
        for (const Cell& cell : row) {
            const bool goesOn = std::any_of(before.begin(), before.end(), [&](const Cell& above) {
                return above.IsOfSame(cell) && above.offset + kRowBytes <= cell.offset + cell.size;
            });
            if (!goesOn) continue;
            const Cell& above =
                *std::find_if(before.begin(), before.end(), [&](const Cell& each) { return each.IsOfSame(cell); });
            const std::size_t first = std::max(above.offset + kRowBytes, cell.offset) - from;
            const std::size_t last = std::min(above.offset + above.size + kRowBytes, cell.offset + cell.size) - from;
            if (first >= last) continue;
            line.replace(2 + first * kWidth, (last - first) * kWidth - 1, (last - first) * kWidth - 1, ' ');
        }
        text += line + '\n';
    };
    std::size_t lastBytes = 0;
    picture.VisitRows(
        [&](std::size_t from, const std::vector<Cell>& row) {
            std::size_t bytes = 0;
            for (const Cell& cell : row) bytes += cell.size;
            addLine(std::max(bytes, lastBytes), from, row);
            text += " |";
            for (const Cell& cell : row) {
                std::string label = HexOf(std::string_view(picture.value).substr(cell.offset, cell.size), " ");
                if (!cell.IsLiteral()) {
                    const bool isFirst = cell.isChecksum || picture.fields[cell.field].offset >= cell.offset;
                    const std::string marks =
                        (picture.IsCounting(cell) ? " *" : "") + std::string(picture.IsVarying(cell) ? " ~" : "");
                    const std::size_t room = cell.size * kWidth - 1 - marks.size();
                    label = isFirst ? Shown(picture.NameOf(cell), room) + marks : std::string();
                }
                text += Centred(label, cell.size * kWidth - 1) + '|';
            }
            text += '\n';
            lastBytes = bytes;
            before = row;
        },
        [&](std::size_t, std::size_t bytes) {
            text += " +-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+\n |";
            text += Centred(std::to_string(bytes) + " bytes", kRowBytes * kWidth - 1) + "|\n";
            before.clear();
        });
    if (lastBytes != 0) addLine(lastBytes, 0, {});
    for (std::size_t i = 0; i < picture.fields.size(); ++i) {
        const TemplateField& field = picture.fields[i];
        if (field.maxSize == 0) continue;
        text += field.period == 1 ? "   " : " * ";
        text += Shown(field.name) + ": " + picture.Describe(field) + '\n';
    }
    if (!picture.isFixedSize) text += " ~ The size varies, up to " + std::to_string(picture.maxSize) + " bytes.\n";
    return text;
}

// ---- SVG

/// Text in XML.
std::string Escaped(std::string_view text)
{
    std::string result;
    for (const char c : Shown(text)) {
        switch (c) {
        case '&': result += "&amp;"; break;
        case '<': result += "&lt;"; break;
        case '>': result += "&gt;"; break;
        case '"': result += "&quot;"; break;
        default: result += c; break;
        }
    }
    return result;
}

struct SvgImage {
    std::string text;
    std::size_t width;
    std::size_t height;
};

std::string SvgBegin(std::size_t y, std::size_t width, std::size_t height)
{
    const std::string size = std::to_string(width);
    const std::string tall = std::to_string(height);
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" " + (y == 0 ? "" : "y=\"" + std::to_string(y) + "\" ") +
           "width=\"" + size + "\" height=\"" + tall + "\" viewBox=\"0 0 " + size + ' ' + tall + "\" role=\"img\">\n";
}

/// \param top  where the image begins in another one.
SvgImage DrawSvg(const Picture& picture, std::size_t top = 0)
{
    constexpr std::size_t kLeft = 44; // in pixels, as all below
    constexpr std::size_t kTop = 24;
    constexpr std::size_t kByte = 150;
    constexpr std::size_t kRow = 40;
    constexpr std::size_t kCharacter = 7; // of the names, about
    std::string rows;
    std::size_t y = kTop;
    const auto addText = [&rows](std::size_t x, std::size_t at, const char* style, const std::string& text) {
        rows += "<text x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(at) + "\" class=\"" + style + "\">" +
                Escaped(text) + "</text>\n";
    };
    const auto addBox = [&](std::size_t x, std::size_t width, const char* style, const std::string& title) {
        rows += "<rect x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\" width=\"" +
                std::to_string(width) + "\" height=\"" + std::to_string(kRow) + "\" class=\"" + style + "\"><title>" +
                Escaped(title) + "</title></rect>\n";
    };
    picture.VisitRows(
        [&](std::size_t from, const std::vector<Cell>& row) {
            addText(kLeft - 8, y + kRow / 2 + 4, "o", std::to_string(from));
            for (const Cell& cell : row) {
                const std::size_t x = kLeft + (cell.offset - from) * kByte;
                const std::size_t width = cell.size * kByte;
                const std::size_t middle = x + width / 2;
                const std::string bytes = HexOf(std::string_view(picture.value).substr(cell.offset, cell.size), " ");
                const bool isCounting = picture.IsCounting(cell);
                addBox(x, width,
                       cell.IsLiteral() ? "l"
                       : isCounting     ? "c"
                                        : "f",
                       cell.field == kNoField ? cell.isChecksum ? "checksum" : "literal"
                                              : Shown(picture.fields[cell.field].name, kLongName) + ": " +
                                                    picture.Describe(picture.fields[cell.field]));
                if (cell.IsLiteral()) {
                    addText(middle, y + kRow / 2 + 4, "h", bytes);
                    continue;
                }
                const std::size_t room = width / kCharacter - 4;
                std::string name = Shown(picture.NameOf(cell), room + 1);
                if (CountCharacters(name) > room) name = Shown(name, room) + "...";
                if (isCounting) name += " \xe2\x86\xbb"; // a circle with an arrow
                addText(middle, y + 17, "n", name);
                addText(middle, y + 33, "h", bytes);
            }
            y += kRow;
        },
        [&](std::size_t from, std::size_t bytes) {
            addText(kLeft - 8, y + kRow / 2 + 4, "o", std::to_string(from));
            addBox(kLeft, kRowBytes * kByte, "l", "literal");
            addText(kLeft + kRowBytes * kByte / 2, y + kRow / 2 + 4, "n", std::to_string(bytes) + " bytes");
            y += kRow;
        });
    for (std::size_t i = 0; i < kRowBytes; ++i)
        addText(kLeft + i * kByte + kByte / 2, 16, "o m", '+' + std::to_string(i));
    std::string note = "\xe2\x86\xbb counts";
    if (picture.period != 0) note += "; the same again after " + std::to_string(picture.period);
    if (!picture.isFixedSize) note += "; the size varies, up to " + std::to_string(picture.maxSize) + " bytes";
    addText(kLeft, y + 20, "n s", note);
    const std::size_t width = kLeft + kRowBytes * kByte + 8;
    const std::size_t height = y + 32;
    return {SvgBegin(top, width, height) +
                "<style>rect{stroke:#445;stroke-width:1}.l{fill:#f2f2f4}.f{fill:#dbe7f6}.c{fill:#ffe3b0}"
                "text{font-family:sans-serif;font-size:12px;text-anchor:middle;fill:#1c1c22}"
                ".h{font-family:monospace}.n{font-weight:bold}.o{text-anchor:end;fill:#667}.m{text-anchor:middle}"
                ".s{text-anchor:start;font-weight:normal}</style>\n"
                "<rect x=\"0\" y=\"0\" width=\"100%\" height=\"100%\" style=\"fill:#fff;stroke:none\"/>\n" +
                rows + "</svg>\n",
            width, height};
}

// ---- JSON

/// A text in quotes. Bytes that are no ASCII come as the code points of the same numbers.
std::string QuotedJson(std::string_view text)
{
    std::string result = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') result += '\\';
        if (byte >= ' ' && byte < 0x7f) {
            result += c;
        } else {
            result += "\\u00" + HexOf(std::string_view(&c, 1));
        }
    }
    return result + '"';
}

std::string DrawJson(const Picture& picture)
{
    const auto boolean = [](bool is) { return is ? "true" : "false"; };
    std::string text = "{\"size\": " + std::to_string(picture.maxSize);
    text += ", \"isFixedSize\": " + std::string(boolean(picture.isFixedSize));
    text += ", \"period\": " + std::to_string(picture.period) + ", \"first\": \"" + HexOf(picture.value);
    text += "\",\n \"fields\": [";
    for (std::size_t i = 0; i < picture.fields.size(); ++i) {
        const TemplateField& field = picture.fields[i];
        text += (i == 0 ? "\n  {\"name\": " : ",\n  {\"name\": ") + QuotedJson(field.name);
        text += ", \"kind\": " + QuotedJson(std::string(1, field.kind));
        text += ", \"pos\": " + std::to_string(field.pos) + ", \"len\": " + std::to_string(field.len);
        text += ", \"offset\": " + std::to_string(field.offset);
        text += ", \"isOffsetFixed\": " + std::string(boolean(field.isOffsetFixed));
        text += ", \"minSize\": " + std::to_string(field.minSize) + ", \"maxSize\": " + std::to_string(field.maxSize);
        text += ", \"first\": \"" + HexOf(field.first) + "\", \"second\": \"" + HexOf(field.second);
        text += "\", \"last\": \"" + HexOf(field.last) + "\", \"period\": " + std::to_string(field.period) + '}';
    }
    return text + "]}\n";
}

// ---- several templates

/// The templates with a program that a template is made of; itself, if it is made of none.
void AddTemplates(const CompiledTemplate& of, std::vector<CompiledTemplate>& found)
{
    const detail::TrafficPlan* const plan = detail::TrafficPlan::PlanOf(of);
    if (!plan) return found.push_back(of);
    for (const CompiledTemplate& part : plan->GetParts()) AddTemplates(part, found);
}

std::vector<Picture> PicturesOf(const CompiledTemplate& of, const std::vector<std::string>& names)
{
    std::vector<TemplateField> fields = of.GetFields();
    for (std::size_t i = 0; i < std::min(fields.size(), names.size()); ++i) {
        if (!names[i].empty()) fields[i].name = names[i];
    }
    std::vector<CompiledTemplate> templates;
    AddTemplates(of, templates);
    std::vector<Picture> pictures;
    auto next = fields.begin();
    for (const CompiledTemplate& each : templates) {
        const auto end = next + static_cast<std::ptrdiff_t>(each.GetFields().size());
        pictures.emplace_back(each, std::vector<TemplateField>(next, end), of.GetPeriod());
        next = end;
    }
    return pictures;
}

std::string HeadingOf(std::size_t picture, std::size_t count)
{
    return "Template " + std::to_string(picture + 1) + " of " + std::to_string(count);
}

std::string DrawManyRfc(const std::vector<Picture>& pictures)
{
    std::string text;
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        text += (i == 0 ? " " : "\n ") + HeadingOf(i, pictures.size()) + '\n' + DrawRfc(pictures[i]);
    }
    return text;
}

std::string DrawManySvg(const std::vector<Picture>& pictures)
{
    constexpr std::size_t kHeading = 28;
    std::string text;
    std::size_t width = 0;
    std::size_t y = 0;
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        text += "<text x=\"44\" y=\"" + std::to_string(y + 20) +
                "\" style=\"font-family:sans-serif;font-size:14px;text-anchor:start;font-weight:bold\">" +
                HeadingOf(i, pictures.size()) + "</text>\n";
        const SvgImage image = DrawSvg(pictures[i], y + kHeading);
        text += image.text;
        width = std::max(width, image.width);
        y += kHeading + image.height;
    }
    return SvgBegin(0, width, y) + text + "</svg>\n";
}

std::string DrawManyJson(const CompiledTemplate& of, const std::vector<Picture>& pictures)
{
    std::string text = "{\"size\": " + std::to_string(of.GetMaxSize());
    text += ", \"isFixedSize\": " + std::string(of.IsFixedSize() ? "true" : "false");
    text += ", \"period\": " + std::to_string(of.GetPeriod()) + ",\n \"templates\": [\n";
    for (std::size_t i = 0; i < pictures.size(); ++i) text += (i == 0 ? "" : ",\n") + DrawJson(pictures[i]);
    return text + "]}\n";
}

} // namespace

std::string Diagram(const CompiledTemplate& of, DiagramStyle style, const std::vector<std::string>& names)
{
    const std::vector<Picture> pictures = PicturesOf(of, names);
    const bool isOne = !detail::TrafficPlan::PlanOf(of);
    switch (style) {
    case DiagramStyle::Svg: return isOne ? DrawSvg(pictures[0]).text : DrawManySvg(pictures);
    case DiagramStyle::Json: return isOne ? DrawJson(pictures[0]) : DrawManyJson(of, pictures);
    default: return isOne ? DrawRfc(pictures[0]) : DrawManyRfc(pictures);
    }
}

} // namespace zor::common
