#include "CompiledTemplate.h"

#include "CompiledTemplateImpl.h"
#include "IndexBatch.h"
#include "IndexCompiler.h"
#include "IndexRender.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace zor::common {

using Access = detail::BatchAccess;

CompiledTemplate::Impl::Impl(const std::string& templ, const std::string& opening,
                             const detail::PacketContext& settings, const detail::Variables& values,
                             const std::vector<ChecksumField>& fields,
                             std::shared_ptr<const detail::IndexProgram> built)
    : text(templ), marker(opening), context(settings), variables(values), checksums(fields), isBuilt(built != nullptr),
      program(built ? std::move(built)
                    : detail::CompileForIndexes(*detail::CompileTemplate(text, marker, context), context, variables,
                                                checksums)),
      inverse(*program)
{
    if (program->isFixedSize) matcher = detail::FrameMatcher(*program, inverse);
}

CompiledTemplate::CompiledTemplate(const std::string& text, const std::string& marker)
    : CompiledTemplate(Wildcards(text, marker))
{
}

CompiledTemplate::CompiledTemplate(const Wildcards& source, const std::vector<ChecksumField>& checksums)
    : mImpl(std::make_shared<const Impl>(source.mImpl->GetText(), source.mImpl->GetMarker(), source.mImpl->GetContext(),
                                         source.mImpl->GetVariables(), checksums))
{
}

CompiledTemplate::CompiledTemplate(const Wildcards& source, const std::vector<ChecksumField>& checksums,
                                   std::shared_ptr<const detail::IndexProgram> built)
    : mImpl(std::make_shared<const Impl>(source.mImpl->GetText(), source.mImpl->GetMarker(), source.mImpl->GetContext(),
                                         source.mImpl->GetVariables(), checksums, std::move(built)))
{
}

CompiledTemplate::CompiledTemplate(const CompiledTemplate& other) noexcept = default;
CompiledTemplate& CompiledTemplate::operator=(const CompiledTemplate& other) noexcept = default;
CompiledTemplate::~CompiledTemplate() = default;

bool CompiledTemplate::operator==(const CompiledTemplate& other) const noexcept
{
    const Impl& left = *mImpl;
    const Impl& right = *other.mImpl;
    return &left == &right || (left.text == right.text && left.marker == right.marker &&
                               left.context == right.context && left.variables == right.variables &&
                               left.checksums == right.checksums && left.program->tables == right.program->tables);
}

void CompiledTemplate::GetValueAt(std::uint64_t index, std::string& out) const
{
    const detail::IndexProgram& program = *mImpl->program;
    // Where there is room for any value, this one need not be measured first.
    out.resize(out.capacity() < program.maxSize ? detail::MeasureIndex(program, index) : program.maxSize);
    out.resize(static_cast<std::size_t>(detail::RenderIndex(program, index, out.data()) - out.data()));
}

std::size_t CompiledTemplate::Render(std::uint64_t index, unsigned char* out, std::size_t room) const noexcept
{
    const detail::IndexProgram& program = *mImpl->program;
    if (room < program.maxSize) {
        const std::size_t size = detail::MeasureIndex(program, index);
        if (size > room) return size;
    }
    char* const text = reinterpret_cast<char*>(out);
    return static_cast<std::size_t>(detail::RenderIndex(program, index, text) - text);
}

std::size_t CompiledTemplate::GetMaxSize() const noexcept
{
    return mImpl->program->maxSize;
}

bool CompiledTemplate::IsFixedSize() const noexcept
{
    return mImpl->program->isFixedSize;
}

namespace {

bool WriteAll(const detail::IndexProgram& program, const IndexList& indexes, const FrameBuffers& frames, bool isPatch)
{
    const std::uint64_t count = Access::CountOf(indexes);
    if (count == 0) return true;
    if (!program.isFixedSize || !Access::CanHold(frames, program.maxSize)) return false;
    detail::WriteFrames(program, indexes, count, frames, isPatch);
    return true;
}

} // namespace

bool CompiledTemplate::RenderFrames(const IndexList& indexes, const FrameBuffers& frames) const noexcept
{
    return WriteAll(*mImpl->program, indexes, frames, false);
}

bool CompiledTemplate::PatchFrames(const IndexList& indexes, const FrameBuffers& frames) const noexcept
{
    return WriteAll(*mImpl->program, indexes, frames, true);
}

bool CompiledTemplate::RenderFrames(const IndexList& indexes, const FrameBuffers& frames, std::size_t room,
                                    std::uint32_t* sizes) const noexcept
{
    constexpr std::size_t kMax = std::numeric_limits<std::uint32_t>::max();
    const std::uint64_t count = Access::CountOf(indexes);
    if (IsFixedSize() && GetMaxSize() <= room) {
        std::fill_n(sizes, count, static_cast<std::uint32_t>(std::min(GetMaxSize(), kMax)));
        detail::WriteFrames(*mImpl->program, indexes, count, frames, false);
        return true;
    }
    bool haveAllFitted = true;
    for (std::uint64_t k = 0; k < count; ++k) {
        const std::size_t size = Render(Access::IndexAt(indexes, k), Access::FrameAt(frames, k), room);
        sizes[k] = static_cast<std::uint32_t>(std::min(size, kMax));
        haveAllFitted = haveAllFitted && size <= room;
    }
    return haveAllFitted;
}

const std::vector<ByteSpan>& CompiledTemplate::GetChangingSpans() const noexcept
{
    return mImpl->program->changingSpans;
}

std::size_t CompiledTemplate::RenderBatch(const IndexList& indexes, unsigned char* out, std::size_t room,
                                          std::vector<std::size_t>& offsets) const
{
    const detail::IndexProgram& program = *mImpl->program;
    const std::size_t size = program.frame.size(); // of each value, if they have one size
    std::uint64_t count = Access::CountOf(indexes);
    if (program.isFixedSize) {
        if (size != 0) count = std::min<std::uint64_t>(count, room / size);
    } else {
        std::size_t left = room;
        std::uint64_t fitting = 0;
        for (std::size_t next = 0; fitting < count; ++fitting, left -= next) {
            next = detail::MeasureIndex(program, Access::IndexAt(indexes, fitting));
            if (next > left) break;
        }
        count = fitting;
    }
    if (count >= offsets.max_size()) throw std::bad_alloc();
    offsets.reserve(static_cast<std::size_t>(count) + 1); // from here on nothing fails
    offsets.assign(1, 0);
    if (program.isFixedSize) {
        detail::WriteFrames(program, indexes, count, FrameBuffers(out, size), false);
        for (std::uint64_t k = 0; k < count; ++k) offsets.push_back(offsets.back() + size);
    } else {
        char* next = reinterpret_cast<char*>(out);
        for (std::uint64_t k = 0; k < count; ++k) {
            char* const end = detail::RenderIndex(program, Access::IndexAt(indexes, k), next);
            offsets.push_back(offsets.back() + static_cast<std::size_t>(end - next));
            next = end;
        }
    }
    return static_cast<std::size_t>(count);
}

bool CompiledTemplate::StepsAlike() const noexcept
{
    return mImpl->program->stepsAlike;
}

std::uint64_t CompiledTemplate::GetPeriod() const noexcept
{
    std::uint64_t period = 1;
    for (const detail::IndexExpression& one : mImpl->program->expressions) {
        period = detail::CommonPeriod(period, one.period);
    }
    return period;
}

std::uint64_t CompiledTemplate::GetPeriod(const std::vector<std::size_t>& fields) const
{
    const std::vector<detail::IndexExpression>& expressions = mImpl->program->expressions;
    std::uint64_t period = 1;
    for (const std::size_t field : fields) {
        if (field < expressions.size()) period = detail::CommonPeriod(period, expressions[field].period);
    }
    return period;
}

bool CompiledTemplate::IsReadable() const noexcept
{
    return mImpl->inverse.GetLimit() == 0;
}

std::uint64_t CompiledTemplate::GetReadableCount() const noexcept
{
    const std::uint64_t limit = mImpl->inverse.GetLimit();
    return limit == 1 ? 0 : limit == 0 ? std::numeric_limits<std::uint64_t>::max() : limit;
}

namespace {

/// The least index within bounds of a value, when all its texts are read.
/// \param isValue  whether the value is that of an index.
template <class IsValue>
[[gnu::noinline]] std::optional<std::uint64_t> FindByAllTexts(const detail::IndexInverse& inverse,
                                                              std::string_view value, const detail::IndexBounds& bounds,
                                                              IsValue isValue)
{
    std::optional<std::uint64_t> least;
    inverse.VisitReadings(value, [&](const std::vector<detail::KnownTurn>& turns) {
        const std::optional<std::uint64_t> index = inverse.GetSolver().FindFirst(turns, bounds);
        if (index && (!least || *index < *least) && isValue(*index)) least = index;
    });
    return least;
}

} // namespace

std::optional<std::uint64_t> CompiledTemplate::FindIndex(std::string_view value, std::uint64_t from) const
{
    return FindIndex(reinterpret_cast<const unsigned char*>(value.data()), value.size(), from);
}

std::optional<std::uint64_t> CompiledTemplate::FindIndex(const unsigned char* value, std::size_t size,
                                                         std::uint64_t from) const
{
    const Impl& impl = *mImpl;
    const detail::IndexInverse& inverse = impl.inverse;
    const std::uint64_t limit = inverse.GetLimit();
    if (limit == 1 || (limit != 0 && from >= limit)) return std::nullopt;
    const detail::IndexBounds bounds = {from, limit - 1};
    if (impl.program->isFixedSize) {
        if (size != impl.program->frame.size() || !impl.matcher.HasConstants(value)) return std::nullopt;
        std::uint64_t index = 0; // first the residue of all indexes that may be meant
        if (!inverse.ReadQuickly(value, index)) return std::nullopt;
        if (!detail::RaiseToFirst(index, inverse.GetQuickModulus(), bounds)) return std::nullopt;
        if (impl.matcher.HasChanging(value, index)) return index;
        if (inverse.IsQuick()) return std::nullopt;
    }
    const std::string_view all(reinterpret_cast<const char*>(value), size);
    return FindByAllTexts(inverse, all, bounds, [&](std::uint64_t index) {
        if (impl.program->isFixedSize) {
            return impl.matcher.Compare(value, size, index) == detail::FrameMatcher::Likeness::Same;
        }
        std::string text;
        GetValueAt(index, text);
        return text == all;
    });
}

} // namespace zor::common
