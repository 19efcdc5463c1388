#ifndef ZOR_COMMON_PYTHON_NATIVE_H
#define ZOR_COMMON_PYTHON_NATIVE_H

/// \file
/// Common code of the Python module: numbers of 64 bits, bytes of any object, and their registration.
///
/// Each object stores its data by value, so no Python object outlives the data that it shows. The GIL is released
/// around calls into the library that render, search or audit, and buffers are held until it is acquired again.

#include <pybind11/pybind11.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace zor::python {

namespace py = pybind11;

/// An int from 0 to 2^64 - 1, also of NumPy. Raises a ValueError for other objects.
struct Unsigned {
    std::uint64_t number = 0;

    operator std::uint64_t() const noexcept { return number; } // implicit: it is nothing but the number
};

/// Reads an int; a ValueError says of \a what that it must be from 0 to \a limit.
std::uint64_t ReadUnsigned(const py::handle& object, const char* what, std::uint64_t limit = ~std::uint64_t{0});

/// A view of the bytes of an object, which it keeps alive.
class BufferView {
public:
    /// Any object with bytes in one piece, also one with __bytes__(), such as a packet of Scapy.
    static BufferView Read(const py::handle& object);

    /// Any layout that strides can describe.
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

/// A view of contiguous integers of \a width bytes. Raises a ValueError that names \a what for other buffers.
BufferView ViewIntegers(const py::handle& object, const char* what, std::size_t width, bool isWritable);

/// Bytes as a Python object.
py::bytes ToBytes(const std::string& bytes);

/// Text as a Python object; bytes that are not UTF-8 become escapes.
py::str ToStr(const std::string& text);

/// Makes a class print and pickle itself as a class of the package.
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
