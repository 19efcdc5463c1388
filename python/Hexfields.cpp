#include "Native.h"

#include <common/Hexfield.h>

#include <functional>
#include <string>

namespace zor::python {

using common::Hexfield;

namespace {

constexpr std::size_t kMostBytes = 65535;

/// The digits of a text, or bytes, the most significant one first.
Hexfield FieldFrom(const py::object& source)
{
    if (py::isinstance<py::str>(source)) {
        const auto text = source.cast<std::string>();
        if (text.size() > 2 * kMostBytes) throw py::value_error("a field has at most 65535 bytes");
        if (text.find_first_not_of("0123456789abcdefABCDEF :-.") != std::string::npos) {
            throw py::value_error("no hex digits: " + std::string(py::repr(source)));
        }
        return Hexfield(text);
    }
    const BufferView bytes = BufferView::Read(source);
    if (bytes.GetSize() > kMostBytes) throw py::value_error("a field has at most 65535 bytes");
    Hexfield field;
    field.CopyFromByteArray(bytes.GetBytes(), static_cast<unsigned int>(bytes.GetSize()), true);
    return field;
}

py::bytes PackedField(const Hexfield& field)
{
    return ToBytes(field.ToBinaryString(true));
}

unsigned char ByteAt(const Hexfield& field, py::ssize_t index)
{
    if (index < 0) index += field.GetSize();
    if (index < 0 || index >= field.GetSize()) throw py::index_error("there is no byte at this place");
    return field.GetByte(static_cast<unsigned int>(index));
}

} // namespace

void AddHexfield(py::module_& module)
{
    py::class_<Hexfield> type(
        module, "Hexfield",
        "An immutable field of 0 to 65535 bytes as one number, the most significant byte first.\n\n"
        "Sums wrap at the width of the wider operand. Fields of different widths are never equal. Sums above 8\n"
        "bytes, and products and comparisons above 4 bytes, may differ from those of numbers, as the C++ class\n"
        "documents.");
    Publish(type);
    type.def(py::init(&FieldFrom), py::arg("value") = py::str("00"),
             "Takes hex digits, which may have separators, or bytes.");
    type.def("__str__", &Hexfield::ToString);
    type.def("__repr__", [](const Hexfield& field) { return "Hexfield('" + field.ToString() + "')"; });
    type.def("__bytes__", &PackedField);
    type.def("__int__", [](const Hexfield& field) {
        return py::type::of(py::int_()).attr("from_bytes")(PackedField(field), "big");
    });
    type.def("__len__", &Hexfield::GetSize);
    type.def("__getitem__", &ByteAt, py::arg("index"));
    type.def("__hash__", [](const Hexfield& field) { return py::hash(PackedField(field)); });
    const auto define = [&type](const char* method, auto of) {
        type.def(
            method, [of](const Hexfield& left, const Hexfield& right) { return of(left, right); }, py::is_operator());
    };
    define("__eq__", std::equal_to<Hexfield>());
    define("__ne__", std::not_equal_to<Hexfield>());
    define("__lt__", std::less<Hexfield>());
    define("__le__", std::less_equal<Hexfield>());
    define("__gt__", std::greater<Hexfield>());
    define("__ge__", std::greater_equal<Hexfield>());
    define("__add__", std::plus<Hexfield>());
    define("__sub__", std::minus<Hexfield>());
    define("__and__", std::bit_and<Hexfield>());
    define("__or__", std::bit_or<Hexfield>());
    type.def("__neg__", [](const Hexfield& field) { return -field; });
    type.def("__invert__", [](const Hexfield& field) { return ~field; });
    type.def(
        "__mul__",
        [](const Hexfield& field, const py::object& factor) {
            return field * static_cast<unsigned int>(ReadUnsigned(factor, "the factor", 0xffffffff));
        },
        py::is_operator());
    type.def(
        "resized",
        [](Hexfield field, const Unsigned& size) {
            if (size > kMostBytes) throw py::value_error("a field has at most 65535 bytes");
            field.normalize(static_cast<unsigned short>(size));
            return field;
        },
        py::arg("size"), "The value at another width: bytes are added or removed at the most significant end.");
    type.def(py::pickle(&PackedField, [](const py::bytes& packed) { return FieldFrom(packed); }));
}

} // namespace zor::python
