#ifndef ZOR_COMMON_PYTHON_NATIVE_H
#define ZOR_COMMON_PYTHON_NATIVE_H

/// \file
/// What the parts of the Python module share: numbers of 64 bits, bytes of any object, and their registration.
///
/// Each part holds by value what it works on, so no object of Python outlives what it shows. The GIL is released around
/// calls into the library that render, search or audit, and buffers are held until it is taken again.

#include <pybind11/pybind11.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace zor::python {

namespace py = pybind11;

/// An int from 0 to 2^64 - 1, also of NumPy. A ValueError is raised for others.
struct Unsigned {
    std::uint64_t number = 0;

    operator std::uint64_t() const noexcept { return number; } // implicit: it is nothing but the number
};

/// Reads an int; a ValueError says of \a what that it must be from 0 to \a limit.
std::uint64_t ReadUnsigned(const py::handle& object, const char* what, std::uint64_t limit = ~std::uint64_t{0});

/// A view of the bytes of an object, which is held as long as this one lives.
class BufferView {
public:
    /// Any object with bytes in one piece, also one with __bytes__(), such as a packet of Scapy.
    static BufferView Read(const py::handle& object);

    /// Any layout that strides can say.
    /// \param isWritable  whether the memory is written to.
    static BufferView Layout(const py::handle& object, bool isWritable);

    BufferView(BufferView&& other) noexcept;
    BufferView(const BufferView&) = delete;
    BufferView& operator=(const BufferView&) = delete;
    BufferView& operator=(BufferView&&) = delete;
    ~BufferView(); ///< Needs the GIL.

    const Py_buffer& Get() const noexcept { return mView; }
    unsigned char* GetBytes() const noexcept { return static_cast<unsigned char*>(mView.buf); }
    std::size_t GetSize() const noexcept { return static_cast<std::size_t>(mView.len); }

private:
    BufferView() = default;

    Py_buffer mView{};
};

/// A view of integers of \a width bytes in one piece. A ValueError of \a what is raised for other buffers.
BufferView ViewIntegers(const py::handle& object, const char* what, std::size_t width, bool isWritable);

/// Bytes as an object of Python.
py::bytes ToBytes(const std::string& bytes);

/// Text as an object of Python; bytes that are no UTF-8 stand as escapes.
py::str ToStr(const std::string& text);

/// Has a class show and pickle itself as one of the package.
template <class Class>
void Publish(Class& published)
{
    published.attr("__module__") = "zor_common";
}

void AddAddresses(py::module_& module);
void AddHexfield(py::module_& module);
void AddOrder(py::module_& module);
void AddFrames(py::module_& module);
void AddTemplate(py::module_& module);
void AddAudit(py::module_& module);

} // namespace zor::python

template <>
struct pybind11::detail::type_caster<zor::python::Unsigned> {
    PYBIND11_TYPE_CASTER(zor::python::Unsigned, const_name("int"));

    bool load(handle source, bool /*convert*/)
    {
        if (PyIndex_Check(source.ptr()) == 0) return false;
        value.number = zor::python::ReadUnsigned(source, "the number");
        return true;
    }

    static handle cast(const zor::python::Unsigned& source, return_value_policy /*policy*/, handle /*parent*/)
    {
        return PyLong_FromUnsignedLongLong(source.number);
    }
};

#endif // ZOR_COMMON_PYTHON_NATIVE_H
