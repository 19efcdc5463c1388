#ifndef ZOR_COMMON_TEMPLATE_CHECK_H
#define ZOR_COMMON_TEMPLATE_CHECK_H

/// \file
/// CheckTemplate(), which reports what a template does that its writer probably did not mean, and Diagram(), which
/// draws a template.

#include "Export.h"
#include "Wildcards.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zor::common {

/// Something that a template does and that its writer should know. docs/diagnostics.md lists all codes, each with a
/// template that gives it.
struct TemplateDiagnostic {
    /// How much it matters.
    enum class Severity : unsigned char {
        Note,    ///< The template works as documented; worth knowing.
        Warning, ///< The template shows a value, but probably not the intended one.
        Error    ///< Every call that needs a value throws an exception.
    };

    unsigned short code = 0;            ///< Shown as ZT and three digits. A code keeps its meaning in later releases.
    Severity severity = Severity::Note; ///< How much it matters.
    std::size_t pos = 0;                ///< Offset of the first byte concerned, in the text as it was given.
    std::size_t len = 0;                ///< The number of bytes concerned.
    std::string message;                ///< What the template does, in sentences. Later releases may reword them.
    std::string hint;                   ///< A replacement for these bytes to paste; empty if only the writer knows.
};

/// Checks the text of a template, without settings and variables.
///
/// Nothing changes, and no exception escapes except std::bad_alloc, whatever the text. Code 1 is reported exactly if
/// parsing would throw std::out_of_range. The time is proportional to the length of the text.
///
/// \param text    as for Wildcards, hex templates included.
/// \param marker  as for Wildcards.
/// \return        the findings in the order of their places, and by code at the same place; empty if there are none.
ZOR_COMMON_API std::vector<TemplateDiagnostic> CheckTemplate(const std::string& text, const std::string& marker = "@");

/// Checks the text that \a source was given, together with its present settings and variables: VLAN tags, MAC
/// addresses, bases and missing variables. The position of \a source does not matter, and does not change.
ZOR_COMMON_API std::vector<TemplateDiagnostic> CheckTemplate(const Wildcards& source);

/// Checks the sequence of values of a compiled template. It reports code 126, how many combinations of the counters
/// occur, and code 127, that FindIndex() does not find every index. Both are notes, and take more time than a check of
/// the text; counters with 2^32 values and more are taken for sequence numbers and not for flows. For a combined
/// template (Traffic.h) the findings are those of its parts, one after the other, with places in the part's own text.
ZOR_COMMON_API std::vector<TemplateDiagnostic> CheckTemplate(const CompiledTemplate& of);

/// Formats a diagnostic as compilers do: the place, the severity, the code and the message; the line of the text with a
/// caret below each byte concerned; and what to write instead, if there is a hint.
/// \code{.unparsed}
/// list.txt:1:24: warning ZT109: "ip4" is not a format, and means little: raw bytes, the least significant one first.
///   @$(0A000001,0,00000001,ip4)
///                          ^^^
///   instead: ipv4
/// \endcode
///
/// Lines end at newlines, and columns are bytes; both are counted from 1. A long line is cut, and control characters
/// become "?".
/// \param text  the text that was checked.
/// \param name  the name of the text, such as a path; may be empty.
/// \return      lines that each end in a newline.
ZOR_COMMON_API std::string ToText(const TemplateDiagnostic& found, std::string_view text, std::string_view name);

/// How a picture of a template is drawn.
enum class DiagramStyle : unsigned char {
    Rfc, ///< Characters, 32 bits on a line, as RFCs show headers, and a line for each field below.
    Svg, ///< The same as an image for documents.
    Json ///< For other programs: size, period, the value at index 0 and all of GetFields(). Bytes are hex digits.
};

/// Draws the value of a template at index 0, with its fields; fields that count are marked. Long runs of literal bytes
/// are cut. If the size varies, a note says so. For a combined template (Traffic.h) all parts are drawn, one below the
/// other; JSON has them in a list "templates".
///
/// \param names  name k for field k of CompiledTemplate::GetFields(), any bytes. For a name that is empty or missing,
///               the name in the FrameBuilder is shown, or the kind of the expression.
/// \return       lines that each end in a newline.
ZOR_COMMON_API std::string Diagram(const CompiledTemplate& of, DiagramStyle style,
                                   const std::vector<std::string>& names = {});

} // namespace zor::common

#endif // ZOR_COMMON_TEMPLATE_CHECK_H
