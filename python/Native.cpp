#include "Native.h"

#include "Errors.h"

#include <common/Version.h>

#include <exception>
#include <stdexcept>

namespace zor::python {

std::uint64_t ReadUnsigned(const py::handle& object, const char* what, std::uint64_t limit)
{
    const auto number = py::reinterpret_steal<py::object>(PyNumber_Index(object.ptr()));
    if (!number) throw py::error_already_set();
    const std::uint64_t read = PyLong_AsUnsignedLongLong(number.ptr());
    const bool isOutside = PyErr_Occurred() != nullptr; // negative, or above 64 bits
    if (isOutside) PyErr_Clear();
    if (isOutside || read > limit) {
        throw py::value_error(std::string(what) + " must be from 0 to " + std::to_string(limit) + ", not " +
                              std::string(py::str(number)));
    }
    return read;
}

BufferView BufferView::Read(const py::handle& object)
{
    py::object holder = py::reinterpret_borrow<py::object>(object);
    if (PyObject_CheckBuffer(object.ptr()) == 0 && py::hasattr(object, "__bytes__")) {
        holder = py::reinterpret_steal<py::object>(PyObject_Bytes(object.ptr()));
        if (!holder) throw py::error_already_set();
    }
    BufferView view; // which holds the bytes object, too
    if (PyObject_GetBuffer(holder.ptr(), &view.mView, PyBUF_SIMPLE) != 0) {
        if (PyErr_ExceptionMatches(PyExc_BufferError) == 0) throw py::error_already_set();
        PyErr_Clear();
        throw py::value_error("the bytes of a packet must be in one piece");
    }
    return view;
}

BufferView BufferView::Layout(const py::handle& object, bool isWritable)
{
    BufferView view;
    if (PyObject_GetBuffer(object.ptr(), &view.mView, PyBUF_RECORDS_RO | (isWritable ? PyBUF_WRITABLE : 0)) != 0) {
        if (PyErr_ExceptionMatches(PyExc_BufferError) == 0 && PyErr_ExceptionMatches(PyExc_ValueError) == 0) {
            throw py::error_already_set();
        }
        PyErr_Clear();
        throw py::value_error(isWritable ? "the buffer cannot be written to" : "the buffer cannot be read");
    }
    return view;
}

BufferView::BufferView(BufferView&& other) noexcept : mView(other.mView)
{
    other.mView = Py_buffer{};
}

BufferView::~BufferView()
{
    PyBuffer_Release(&mView); // does nothing for a view of nothing
}

BufferView ViewIntegers(const py::handle& object, const char* what, std::size_t width, bool isWritable)
{
    BufferView view = BufferView::Layout(object, isWritable);
    const Py_buffer& layout = view.Get();
    const std::string format = layout.format == nullptr ? "B" : layout.format;
    const std::size_t code = format.find_first_not_of("@=<");
    const bool isInteger = code != std::string::npos && code + 1 == format.size() &&
                           std::string("BHILQNbhilqn").find(format[code]) != std::string::npos &&
                           reinterpret_cast<std::uintptr_t>(layout.buf) % width == 0;
    const bool isDense = layout.ndim == 1 && (layout.shape[0] < 2 || layout.strides[0] == layout.itemsize);
    if (!isInteger || !isDense || static_cast<std::size_t>(layout.itemsize) != width) {
        throw py::value_error(std::string(what) + " must be integers of " + std::to_string(8 * width) +
                              " bits in one piece");
    }
    return view;
}

py::bytes ToBytes(const std::string& bytes)
{
    return py::bytes(bytes);
}

py::str ToStr(const std::string& text)
{
    const auto size = static_cast<py::ssize_t>(text.size());
    auto shown = py::reinterpret_steal<py::str>(PyUnicode_DecodeUTF8(text.data(), size, "backslashreplace"));
    if (!shown) throw py::error_already_set();
    return shown;
}

} // namespace zor::python

PYBIND11_MODULE(_native, module) // NOLINT(readability-identifier-naming): Python finds it by this name
{
    using namespace zor::python;

    // What the library refuses is a ValueError with its text, and so is what the notation of frames does not know.
    py::register_local_exception_translator([](std::exception_ptr caught) {
        if (!caught) return;
        try {
            std::rethrow_exception(caught);
        } catch (const zor::tools::PlacedError& error) {
            std::string text = std::string(error.what()) + "\n" + error.Show();
            text.pop_back(); // the end of the last line
            PyErr_SetString(PyExc_ValueError, text.c_str());
        } catch (const zor::tools::InputError& error) {
            PyErr_SetString(PyExc_ValueError, error.what());
        } catch (const py::cast_error&) {
            PyErr_SetString(PyExc_TypeError, "an argument holds an object of a type that cannot stand there");
        } catch (const std::out_of_range& error) {
            PyErr_SetString(PyExc_ValueError, error.what());
        }
    });

    module.doc() = "Network packets by number, for traffic generators and test tools.";
    module.attr("__version__") = ZOR_COMMON_VERSION_STRING;
    AddAddresses(module);
    AddHexfield(module);
    AddOrder(module);
    AddFrames(module);
    AddTemplate(module);
    AddAudit(module);
}
