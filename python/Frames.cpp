#include "Frames.h"

#include <limits>
#include <new>
#include <optional>

namespace zor::python {

using namespace common;

namespace {

std::size_t CheckedCount(std::uint64_t count, std::size_t size)
{
    std::size_t bytes = 0;
    constexpr auto kMost = static_cast<std::size_t>(std::numeric_limits<py::ssize_t>::max());
    if (count > kMost || __builtin_mul_overflow(count, size, &bytes) || bytes > kMost) throw std::bad_alloc();
    return count;
}

} // namespace

std::unique_ptr<unsigned char[], Frames::Release> Frames::Allocate(std::size_t size)
{
    return std::unique_ptr<unsigned char[], Release>(static_cast<unsigned char*>(::operator new[](size, kAlignment)));
}

Frames::Frames(const CompiledTemplate& of, const IndexList& indexes, std::uint64_t count)
    : mCount(CheckedCount(count, of.GetMaxSize())), mFrameSize(of.GetMaxSize()), mIsFixed(of.IsFixedSize())
{
    const py::gil_scoped_release released;
    if (mIsFixed) {
        mBytes = Allocate(mCount * mFrameSize);
        if (mFrameSize > 0) of.RenderFrames(indexes, {mBytes.get(), mFrameSize});
        return;
    }
    std::vector<std::uint32_t> sizes(mCount);
    of.RenderFrames(indexes, FrameBuffers(nullptr, 0), 0, sizes.data()); // which writes the sizes alone
    std::size_t room = 0;
    for (const std::uint32_t size : sizes) room += size;
    mBytes = Allocate(room);
    of.RenderBatch(indexes, mBytes.get(), room, mOffsets);
}

namespace {

/// Rows of a buffer, where frames go.
struct Rows {
    Rows(const py::object& buffer, std::size_t frameSize) : view(BufferView::Layout(buffer, true))
    {
        const Py_buffer& layout = view.Get();
        bytes = view.GetBytes();
        if (layout.ndim == 2) {
            const bool isDense = layout.itemsize == 1 && (layout.shape[1] < 2 || layout.strides[1] == 1);
            if (!isDense || (layout.shape[0] > 1 && layout.strides[0] < layout.shape[1])) {
                throw py::value_error("the rows of the buffer must be bytes, each row in one piece");
            }
            count = static_cast<std::uint64_t>(layout.shape[0]);
            room = static_cast<std::size_t>(layout.shape[1]);
            stride = count > 1 ? static_cast<std::size_t>(layout.strides[0]) : room;
            return;
        }
        if (PyBuffer_IsContiguous(&layout, 'C') == 0) throw py::value_error("the buffer must be in one piece");
        stride = room = frameSize;
        count = frameSize == 0 ? 0 : view.GetSize() / frameSize;
    }

    BufferView view;
    unsigned char* bytes = nullptr;
    std::uint64_t count = 0; ///< How many frames fit.
    std::size_t room = 0;    ///< For each one.
    std::size_t stride = 0;
};

IndexRange RangeIn(const Rows& rows, std::uint64_t first, const py::object& count, std::uint64_t every)
{
    const std::uint64_t wanted = count.is_none() ? rows.count : ReadUnsigned(count, "the count");
    if (wanted > rows.count) {
        throw py::value_error("the buffer has room for " + std::to_string(rows.count) + " frames, not for " +
                              std::to_string(wanted));
    }
    return {first, wanted, every};
}

void CheckFrames(const CompiledTemplate& of, const Rows& rows)
{
    if (!of.IsFixedSize()) {
        throw py::value_error("values of varying size need rows that hold the largest one, and sizes");
    }
    if (rows.room < of.GetMaxSize()) {
        throw py::value_error("a row of the buffer has " + std::to_string(rows.room) + " bytes, and a frame has " +
                              std::to_string(of.GetMaxSize()));
    }
}

} // namespace

std::uint64_t RenderInto(const CompiledTemplate& of, const py::object& buffer, std::uint64_t first,
                         const py::object& count, std::uint64_t every, const py::object& sizes)
{
    const Rows rows(buffer, of.GetMaxSize());
    const IndexRange range = RangeIn(rows, first, count, every);
    if (sizes.is_none()) {
        CheckFrames(of, rows);
        const py::gil_scoped_release released;
        of.RenderFrames(range, {rows.bytes, rows.stride});
        return range.count;
    }
    const BufferView view = ViewIntegers(sizes, "sizes", sizeof(std::uint32_t), true);
    if (view.GetSize() / sizeof(std::uint32_t) < range.count) throw py::value_error("there is no room for all sizes");
    auto* const written = reinterpret_cast<std::uint32_t*>(view.GetBytes());
    const py::gil_scoped_release released;
    if (of.RenderFrames(range, {rows.bytes, rows.stride}, rows.room, written)) return range.count;
    std::uint64_t fitting = 0;
    for (std::uint64_t k = 0; k < range.count; ++k) fitting += written[k] <= rows.room ? 1 : 0;
    return fitting;
}

std::uint64_t PatchInto(const CompiledTemplate& of, const py::object& buffer, std::uint64_t first,
                        const py::object& count, std::uint64_t every)
{
    const Rows rows(buffer, of.GetMaxSize());
    const IndexRange range = RangeIn(rows, first, count, every);
    CheckFrames(of, rows);
    const py::gil_scoped_release released;
    of.PatchFrames(range, {rows.bytes, rows.stride});
    return range.count;
}

void AddFrames(py::module_& module)
{
    py::class_<Frames> type(
        module, "Frames", py::buffer_protocol(),
        "Values of a template in new memory, one after the other.\n\n"
        "If all values have one size, the buffer has two dimensions, so that numpy.asarray(frames) is an\n"
        "array with a frame in each row, which shares the memory and keeps it alive. Otherwise it has one\n"
        "dimension, and value k is the bytes from offsets[k] to offsets[k + 1].");
    Publish(type);
    type.def("__len__", &Frames::GetCount);
    type.def(
        "__getitem__",
        [](const Frames& frames, py::ssize_t k) {
            const auto count = static_cast<py::ssize_t>(frames.GetCount());
            if (k < 0) k += count;
            if (k < 0 || k >= count) throw py::index_error("there is no frame at this place");
            const auto place = static_cast<std::size_t>(k);
            const std::size_t offset = frames.GetOffset(place);
            return py::bytes(reinterpret_cast<const char*>(frames.GetBytes()) + offset,
                             frames.GetOffset(place + 1) - offset);
        },
        py::arg("k"), "Frame k, copied into bytes.");
    type.def("__iter__",
             [](const py::object& self) { return py::reinterpret_steal<py::object>(PySeqIter_New(self.ptr())); });
    type.def_property_readonly("nbytes", &Frames::GetSize, "The size of all frames together, in bytes.");
    type.def_property_readonly(
        "offsets",
        [](const Frames& frames) {
            py::list offsets;
            for (std::size_t k = 0; k <= frames.GetCount(); ++k) offsets.append(frames.GetOffset(k));
            return offsets;
        },
        "The start of each frame in bytes, and the end of the last one.");
    type.def_buffer([](Frames& frames) {
        const auto size = static_cast<py::ssize_t>(frames.GetFrameSize());
        constexpr py::ssize_t kByte = 1;
        const std::string format = py::format_descriptor<unsigned char>::format();
        if (!frames.IsFixed()) {
            return py::buffer_info(frames.GetBytes(), kByte, format, 1, {static_cast<py::ssize_t>(frames.GetSize())},
                                   {kByte});
        }
        return py::buffer_info(frames.GetBytes(), kByte, format, 2, {static_cast<py::ssize_t>(frames.GetCount()), size},
                               {size, kByte});
    });
}

} // namespace zor::python
