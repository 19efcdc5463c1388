#include "CompiledTemplate.h"

#include "CompiledTemplateImpl.h"
#include "IndexBatch.h"
#include "IndexCompiler.h"

#include <algorithm>
#include <cassert>
#include <new>
#include <utility>

namespace zor::common {

using Access = detail::BatchAccess;

CompiledTemplate::Impl::Impl(const std::string& templ, const std::string& opening,
                             const detail::PacketContext& settings, const detail::Variables& values,
                             const std::vector<ChecksumField>& fields,
                             std::shared_ptr<const detail::IndexProgram> built)
    : text(templ), marker(opening), context(settings), variables(values), checksums(fields), isBuilt(built != nullptr),
      read(built ? std::move(built)
                 : detail::CompileForIndexes(*detail::CompileTemplate(text, marker, context), context, variables,
                                             checksums))
{
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

CompiledTemplate::CompiledTemplate(std::shared_ptr<const Impl> impl) noexcept : mImpl(std::move(impl)) {}

CompiledTemplate::CompiledTemplate(const CompiledTemplate& other) noexcept = default;
CompiledTemplate& CompiledTemplate::operator=(const CompiledTemplate& other) noexcept = default;
CompiledTemplate::~CompiledTemplate() = default;

bool CompiledTemplate::operator==(const CompiledTemplate& other) const noexcept
{
    const Impl& left = *mImpl;
    const Impl& right = *other.mImpl;
    if (&left == &right) return true;
    if (left.traffic || right.traffic) return left.traffic && right.traffic && *left.traffic == *right.traffic;
    return left.text == right.text && left.marker == right.marker && left.context == right.context &&
           left.variables == right.variables && left.checksums == right.checksums &&
           left.read.program->tables == right.read.program->tables;
}

void CompiledTemplate::GetValueAt(std::uint64_t index, std::string& out) const
{
    if (!mImpl->traffic) return mImpl->read.GetValueAt(index, out);
    const detail::TrafficPlan::Shown shown = mImpl->traffic->At(index);
    mImpl->traffic->GetLeaves()[shown.leaf].of->GetValueAt(shown.index, out);
}

std::size_t CompiledTemplate::Render(std::uint64_t index, unsigned char* out, std::size_t room) const noexcept
{
    if (mImpl->traffic) return mImpl->traffic->Render(index, out, room);
    return mImpl->read.Render(index, out, room);
}

std::size_t CompiledTemplate::GetMaxSize() const noexcept
{
    return mImpl->traffic ? mImpl->traffic->GetMaxSize() : mImpl->read.program->maxSize;
}

bool CompiledTemplate::IsFixedSize() const noexcept
{
    return mImpl->traffic ? mImpl->traffic->IsFixedSize() : mImpl->read.program->isFixedSize;
}

bool CompiledTemplate::RenderFrames(const IndexList& indexes, const FrameBuffers& frames) const noexcept
{
    const std::uint64_t count = Access::CountOf(indexes);
    if (count == 0) return true;
    if (!IsFixedSize() || !Access::CanHold(frames, GetMaxSize())) return false;
    if (mImpl->traffic) return mImpl->traffic->WriteFrames(indexes, count, frames, GetMaxSize(), nullptr);
    detail::WriteFrames(*mImpl->read.program, indexes, count, frames, false);
    return true;
}

bool CompiledTemplate::PatchFrames(const IndexList& indexes, const FrameBuffers& frames) const noexcept
{
    const std::uint64_t count = Access::CountOf(indexes);
    if (count == 0) return true;
    if (!IsFixedSize() || !Access::CanHold(frames, GetMaxSize())) return false;
    if (mImpl->traffic) {
        mImpl->traffic->PatchFrames(indexes, count, frames);
    } else {
        detail::WriteFrames(*mImpl->read.program, indexes, count, frames, true);
    }
    return true;
}

bool CompiledTemplate::RenderFrames(const IndexList& indexes, const FrameBuffers& frames, std::size_t room,
                                    std::uint32_t* sizes) const noexcept
{
    const std::uint64_t count = Access::CountOf(indexes);
    if (mImpl->traffic) return mImpl->traffic->WriteFrames(indexes, count, frames, room, sizes);
    return detail::WriteSizedFrames(*mImpl->read.program, indexes, count, frames, room, sizes);
}

const std::vector<ByteSpan>& CompiledTemplate::GetChangingSpans() const noexcept
{
    return mImpl->traffic ? mImpl->traffic->GetChangingSpans() : mImpl->read.program->changingSpans;
}

std::size_t CompiledTemplate::RenderBatch(const IndexList& indexes, unsigned char* out, std::size_t room,
                                          std::vector<std::size_t>& offsets) const
{
    const std::size_t size = GetMaxSize(); // of each value, if they have one size
    std::uint64_t count = Access::CountOf(indexes);
    if (IsFixedSize()) {
        if (size != 0) count = std::min<std::uint64_t>(count, room / size);
    } else {
        std::size_t left = room;
        std::uint64_t fitting = 0;
        for (std::size_t next = 0; fitting < count; ++fitting, left -= next) {
            next = Render(Access::IndexAt(indexes, fitting), nullptr, 0);
            if (next > left) break;
        }
        count = fitting;
    }
    if (count >= offsets.max_size()) throw std::bad_alloc();
    offsets.reserve(static_cast<std::size_t>(count) + 1); // from here on nothing fails
    offsets.assign(1, 0);
    if (IsFixedSize()) {
        for (std::uint64_t k = 0; k < count; ++k) offsets.push_back(offsets.back() + size);
        RenderFrames(IndexList(Access::FirstOf(indexes, count)), FrameBuffers(out, size));
    } else {
        for (std::uint64_t k = 0; k < count; ++k) {
            const std::size_t at = offsets.back();
            assert(at <= room);
            offsets.push_back(at + Render(Access::IndexAt(indexes, k), out + at, room - at));
        }
    }
    return static_cast<std::size_t>(count);
}

bool CompiledTemplate::StepsAlike() const noexcept
{
    return mImpl->traffic ? mImpl->traffic->StepsAlike() : mImpl->read.program->stepsAlike;
}

std::uint64_t CompiledTemplate::GetPeriod() const noexcept
{
    if (mImpl->traffic) return mImpl->traffic->GetPeriod();
    std::uint64_t period = 1;
    for (const detail::IndexExpression& one : mImpl->read.program->expressions) {
        period = detail::CommonPeriod(period, one.period);
    }
    return period;
}

std::uint64_t CompiledTemplate::GetPeriod(const std::vector<std::size_t>& fields) const
{
    std::uint64_t period = 1;
    for (const std::size_t field : fields) {
        if (mImpl->traffic) {
            period = detail::CommonPeriod(period, mImpl->traffic->PeriodOfField(field));
        } else if (field < mImpl->read.program->expressions.size()) {
            period = detail::CommonPeriod(period, mImpl->read.program->expressions[field].period);
        }
    }
    return period;
}

bool CompiledTemplate::IsReadable() const noexcept
{
    if (mImpl->traffic) return mImpl->traffic->GetReadableCount() == detail::IndexPath::kAll;
    return mImpl->read.inverse.GetLimit() == 0;
}

std::uint64_t CompiledTemplate::GetReadableCount() const noexcept
{
    return mImpl->traffic ? mImpl->traffic->GetReadableCount() : mImpl->read.GetReadableCount();
}

std::optional<std::uint64_t> CompiledTemplate::FindIndex(std::string_view value, std::uint64_t from) const
{
    return FindIndex(reinterpret_cast<const unsigned char*>(value.data()), value.size(), from);
}

std::optional<std::uint64_t> CompiledTemplate::FindIndex(const unsigned char* value, std::size_t size,
                                                         std::uint64_t from) const
{
    if (mImpl->traffic) return mImpl->traffic->FindIndex(value, size, from);
    const std::uint64_t limit = mImpl->read.inverse.GetLimit();
    if (limit == 1 || (limit != 0 && from >= limit)) return std::nullopt;
    const detail::IndexBounds bounds = {from, limit - 1};
    const auto locate = [&bounds](const auto& search, detail::PlacedIndex& first) {
        const bool isFound = search.FindFirst(bounds, first.outer);
        first.inner = first.outer;
        return isFound;
    };
    std::uint64_t index = 0;
    if (!mImpl->read.Find(value, size, locate, index)) return std::nullopt;
    return index;
}

} // namespace zor::common
