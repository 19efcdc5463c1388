#ifndef ZOR_COMMON_PYTHON_FRAMES_H
#define ZOR_COMMON_PYTHON_FRAMES_H

/// \file
/// Frames, rendered values of a template.

#include "Native.h"

#include <common/CompiledTemplate.h>

#include <memory>
#include <new>
#include <vector>

namespace zor::python {

/// Values one after the other, for NumPy and everything else that takes buffers.
class Frames {
public:
    /// Renders values, without the GIL. Raises MemoryError if there is not enough memory.
    Frames(const common::CompiledTemplate& of, const common::IndexList& indexes, std::uint64_t count);

    std::size_t GetCount() const noexcept { return mCount; }
    std::size_t GetSize() const noexcept { return mIsFixed ? mCount * mFrameSize : mOffsets.back(); }
    bool IsFixed() const noexcept { return mIsFixed; }
    std::size_t GetOffset(std::size_t k) const noexcept { return mIsFixed ? k * mFrameSize : mOffsets[k]; }
    std::size_t GetFrameSize() const noexcept { return mFrameSize; }
    unsigned char* GetBytes() const noexcept { return mBytes.get(); }

private:
    std::size_t mCount;
    std::size_t mFrameSize;
    bool mIsFixed;
    /// Memory aligned to a cache line, so that a frame of 64 bytes takes exactly one.
    struct Release {
        void operator()(unsigned char* bytes) const { ::operator delete[](bytes, kAlignment); }
    };
    static constexpr std::align_val_t kAlignment{64};
    static std::unique_ptr<unsigned char[], Release> Allocate(std::size_t size);

    std::unique_ptr<unsigned char[], Release> mBytes;
    std::vector<std::size_t> mOffsets; ///< The starts of values of varying size, and the end.
};

/// Renders or patches values into a buffer from Python.
/// \param sizes  gets the size of each value if it is not None.
/// \return       how many values were written.
std::uint64_t RenderInto(const common::CompiledTemplate& of, const py::object& buffer, std::uint64_t first,
                         const py::object& count, std::uint64_t every, const py::object& sizes);
std::uint64_t PatchInto(const common::CompiledTemplate& of, const py::object& buffer, std::uint64_t first,
                        const py::object& count, std::uint64_t every);

} // namespace zor::python

#endif // ZOR_COMMON_PYTHON_FRAMES_H
