#include "ReadableProgram.h"

#include "IndexRender.h"

namespace zor::common::detail {

std::size_t ReadableProgram::Render(std::uint64_t index, unsigned char* out, std::size_t room) const noexcept
{
    if (room < program->maxSize) {
        const std::size_t size = MeasureIndex(*program, index);
        if (size > room) return size;
    }
    char* const text = reinterpret_cast<char*>(out);
    return static_cast<std::size_t>(RenderIndex(*program, index, text) - text);
}

void ReadableProgram::GetValueAt(std::uint64_t index, std::string& out) const
{
    // Where there is room for any value, this one need not be measured first.
    out.resize(out.capacity() < program->maxSize ? MeasureIndex(*program, index) : program->maxSize);
    out.resize(static_cast<std::size_t>(RenderIndex(*program, index, out.data()) - out.data()));
}

bool ReadableProgram::IsValue(std::string_view value, std::uint64_t index) const
{
    if (!program->isFixedSize) {
        std::string text;
        GetValueAt(index, text);
        return text == value;
    }
    const auto* const frame = reinterpret_cast<const unsigned char*>(value.data());
    return matcher.Compare(frame, value.size(), index) == FrameMatcher::Likeness::Same;
}

} // namespace zor::common::detail
