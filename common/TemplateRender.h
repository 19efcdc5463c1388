#ifndef ZOR_COMMON_TEMPLATE_RENDER_H
#define ZOR_COMMON_TEMPLATE_RENDER_H

/// \file
/// Internal: the values of a program as text.

#include "TemplateState.h"
#include "WordPair.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace zor::common::detail {

/// Copies the first and the last word of a text, which is all of it if it has at most two words.
template <class Word>
void CopyWords(char* out, const char* text, std::size_t size) noexcept
{
    Word first;
    Word last;
    std::memcpy(&first, text, sizeof first);
    std::memcpy(&last, text + size - sizeof last, sizeof last);
    std::memcpy(out, &first, sizeof first);
    std::memcpy(out + size - sizeof last, &last, sizeof last);
}

/// Copies text. A short text is copied as two words that may overlap, which saves a call of memcpy.
inline void CopyText(char* out, const char* text, std::size_t size) noexcept
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

/// The values of the variables that a program shows, by VariableUse::item; null for a missing one.
using VariableValues = std::vector<const std::string*>;

/// Writes the frame with the values in it, in one pass from the first part to the last, and returns the end. A length
/// field measures what has been written since its opening. \a out needs Program::room, and room for the variables.
char* Render(const Program& program, const Values& values, const VariableValues& variables, char* out) noexcept;

/// Renders the next values: advances each number of the state where it is written. StepOthers() has advanced the rest
/// before. A separate pass over the numbers took a quarter more time for 12 counters.
char* RenderNext(const Program& program, State& state, const VariableValues& variables, char* out) noexcept;

/// Renders the values at an index.
char* RenderAt(const Program& program, const IndexedValues& values, const VariableValues& variables,
               char* out) noexcept;

/// The text of one part that is a decimal number, a MAC address or a hex counter. It may be longer than the part's
/// gap.
std::string TextOf(const Program& program, const Part& part, const Values& values);

/// A length as it shows.
std::string LengthText(const LengthDefinition& definition, std::size_t length);

/// Writes a length as \a size bytes. Bytes that the type of the length does not have are 0.
void WriteLengthBytes(char* out, std::size_t size, std::uint64_t length, bool isBigEndian) noexcept;

/// Puts the length of the text from \a start to \a end in front of it or behind it, and returns the new end.
char* InsertLength(char* start, char* end, const LengthDefinition& definition) noexcept;

} // namespace zor::common::detail

#endif // ZOR_COMMON_TEMPLATE_RENDER_H
