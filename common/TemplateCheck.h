#ifndef ZOR_COMMON_TEMPLATE_CHECK_H
#define ZOR_COMMON_TEMPLATE_CHECK_H

/// \file
/// CheckTemplate(), which says where a template does something else than its writer probably means, and Diagram(), which
/// draws what it shows.

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
        Note,    ///< Works as documented; worth knowing.
        Warning, ///< Shows something, but probably not what is meant.
        Error    ///< Every call that needs a value raises an exception.
    };

    unsigned short code = 0;            ///< Shown as ZT and three digits. A code keeps its meaning in later releases.
    Severity severity = Severity::Note; ///< How bad it is.
    std::size_t pos = 0;                ///< The first byte that is meant, in the text as it was given.
    std::size_t len = 0;                ///< How many bytes are meant.
    std::string message;                ///< What is so, in one or more sentences. Texts may improve.
    std::string hint; ///< What to write instead of these bytes, ready to paste; empty if only the writer knows.
};

/// Checks the text of a template. What settings and variables decide is not checked.
///
/// Nothing changes, and no exception escapes but std::bad_alloc, whatever the text. A code 1 is found exactly where
/// parsing would raise std::out_of_range. The time grows with the length of the text.
///
/// \param text    as for Wildcards, hex templates included.
/// \param marker  as for Wildcards.
/// \return        in the order of their places; those of one place by code. Empty where there is nothing to say.
ZOR_COMMON_API std::vector<TemplateDiagnostic> CheckTemplate(const std::string& text, const std::string& marker = "@");

/// Checks the text that \a source was given, with the settings and variables that it has now: tags, MAC addresses, bases
/// and missing variables count too. The position of \a source does not matter, and does not change.
ZOR_COMMON_API std::vector<TemplateDiagnostic> CheckTemplate(const Wildcards& source);

/// What the sequence of values of a compiled template is like: codes 126, how many of the combinations of its counters
/// occur, and 127, that FindIndex() does not find every index. Both are notes that take more time than a check; counters
/// that go on for 2^32 values and more are taken for sequence numbers and not for flows. Of a template made of templates
/// (Traffic.h) the findings are those of its parts, one after the other, with places in the part's own text.
ZOR_COMMON_API std::vector<TemplateDiagnostic> CheckTemplate(const CompiledTemplate& of);

/// Writes a diagnostic as compilers do: the place, the severity and code, the message; the line of the text with a caret
/// below each byte that is meant; and what to write instead, if there is a hint.
/// \code{.unparsed}
/// list.txt:1:17: warning ZT109: "ip4" is not a format, so the bytes are shown with the least significant one first.
///   @$(0A000001,0,1,ip4)
///                   ^^^
///   instead: ipv4
/// \endcode
///
/// Lines end at newlines, and columns are bytes; both count from 1. A long line is cut, control characters become "?".
/// \param text  the text that was checked.
/// \param name  what the text is called, such as a path; may be empty.
/// \return      lines that each end in a newline.
ZOR_COMMON_API std::string ToText(const TemplateDiagnostic& found, std::string_view text, std::string_view name);

/// How a picture of a template is drawn.
enum class DiagramStyle : unsigned char {
    Rfc, ///< In characters, 32 bits a line, as RFCs show headers; below it a line for each field.
    Svg, ///< An image of the same for documents.
    Json ///< Size, period, the value at index 0 and all that GetFields() tells, for other programs. Bytes are hex digits.
};

/// Draws the value of a template at index 0, with its fields; those that count are marked. Long stretches of literal bytes
/// are cut. Where the size varies, a note says so. Of a template made of templates (Traffic.h) all of these are drawn, one
/// below the other, and JSON has them in a list "templates".
///
/// \param names  name k for field k of CompiledTemplate::GetFields(), any bytes; one that is empty or missing is that of
///               the FrameBuilder, or the kind of the expression.
/// \return       lines that each end in a newline.
ZOR_COMMON_API std::string Diagram(const CompiledTemplate& of, DiagramStyle style,
                                   const std::vector<std::string>& names = {});

} // namespace zor::common

#endif // ZOR_COMMON_TEMPLATE_CHECK_H
