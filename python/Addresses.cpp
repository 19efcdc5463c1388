#include "Native.h"

#include <common/AddressRange.h>
#include <common/AddressText.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string_view>

namespace zor::python {

using namespace common;

namespace {

template <class Address>
constexpr std::size_t kBytes = detail::AddressNumber<Address>::kBits / 8;

template <class Address>
py::bytes Packed(const Address& address)
{
    char bytes[kBytes<Address>] = {};
    address.CopyTo(reinterpret_cast<unsigned char*>(bytes));
    return {bytes, sizeof bytes};
}

template <class Address>
Address FromPacked(const py::bytes& packed)
{
    const std::string bytes = packed;
    if (bytes.size() != kBytes<Address>) {
        throw py::value_error("an address of " + std::to_string(kBytes<Address>) + " bytes cannot be made of " +
                              std::to_string(bytes.size()));
    }
    return Address(reinterpret_cast<const unsigned char*>(bytes.data()));
}

template <class Address>
py::object ToInt(const Address& address)
{
    return py::type::of(py::int_()).attr("from_bytes")(Packed(address), "big");
}

/// An address of the low bits of any int: what is above wraps.
template <class Address>
Address FromWrapped(const py::object& number)
{
    const py::object mask = (py::int_(1) << py::int_(8 * kBytes<Address>)) - py::int_(1);
    return FromPacked<Address>((number & mask).attr("to_bytes")(kBytes<Address>, "big"));
}

template <class Address>
Address FromInt(const py::object& number)
{
    const Address address = FromWrapped<Address>(number);
    if (!ToInt(address).equal(number)) {
        throw py::value_error("an address of " + std::to_string(8 * kBytes<Address>) + " bits cannot be made of " +
                              std::string(py::str(number)));
    }
    return address;
}

template <class Address>
std::string ToText(const Address& address)
{
    char text[kMaxTextSize<Address>];
    return {text, ToChars(text, text + sizeof text, address)};
}

template <class Address>
Address FromText(const std::string& text)
{
    Address address;
    const char* const first = text.data();
    const TextResult read = FromChars(first, first + text.size(), address);
    if (read.fault != TextFault::None) {
        throw py::value_error(std::string(Describe(read.fault)) + " at character " +
                              std::to_string(read.end - first + 1) + " of " + std::string(py::repr(py::str(text))));
    }
    return address;
}

/// From a text, an int, packed bytes, one of ipaddress, or another one of its type.
template <class Address>
Address FromAny(const py::object& source)
{
    if (py::isinstance<Address>(source)) return source.cast<Address>();
    if (py::isinstance<py::str>(source)) return FromText<Address>(source.cast<std::string>());
    if (py::isinstance<py::bytes>(source)) return FromPacked<Address>(source);
    if (PyIndex_Check(source.ptr()) != 0) {
        return FromInt<Address>(py::reinterpret_steal<py::object>(PyNumber_Index(source.ptr())));
    }
    if (py::hasattr(source, "packed") && py::hasattr(source, "max_prefixlen")) { // of ipaddress
        if (py::hasattr(source, "scope_id") && !source.attr("scope_id").is_none()) {
            throw py::value_error("an address with a scope id: " + std::string(py::str(source)));
        }
        return FromPacked<Address>(source.attr("packed"));
    }
    throw py::type_error("an address must be a str, an int, bytes or an address of ipaddress, not " +
                         std::string(py::str(py::type::of(source).attr("__name__"))));
}

/// What Python uses where an operand is of another type.
py::object NotImplemented()
{
    return py::reinterpret_borrow<py::object>(Py_NotImplemented);
}

template <class Address>
void AddAddress(py::module_& module, const char* name, const char* about)
{
    py::class_<Address> type(module, name, about);
    Publish(type);
    type.def(py::init(&FromAny<Address>), py::arg("address") = py::int_(0),
             "Takes a text, an int, packed bytes in network order, or an address of the module ipaddress.\n\n"
             "Texts are read as strictly as by ipaddress; a ValueError says what is wrong and where.");
    type.def("__str__", &ToText<Address>);
    type.def("__repr__",
             [name = std::string(name)](const Address& address) { return name + "('" + ToText(address) + "')"; });
    type.def("__int__", &ToInt<Address>);
    type.def("__bytes__", &Packed<Address>);
    type.def("__hash__", [](const Address& address) { return py::hash(Packed(address)); });
    type.def_property_readonly("packed", &Packed<Address>, "The bytes in network order.");
    type.def_property_readonly_static("max_prefixlen", [](const py::object&) { return py::int_(8 * kBytes<Address>); });

    // An operand of another type is none that Python could not compare with by itself.
    const auto compare = [&type](const char* method, auto is) {
        type.def(method, [is](const Address& left, const py::object& right) -> py::object {
            if (!py::isinstance<Address>(right)) return NotImplemented();
            return py::bool_(is(left, right.cast<Address>()));
        });
    };
    compare("__eq__", std::equal_to<Address>());
    compare("__ne__", std::not_equal_to<Address>());
    compare("__lt__", std::less<Address>());
    compare("__le__", std::less_equal<Address>());
    compare("__gt__", std::greater<Address>());
    compare("__ge__", std::greater_equal<Address>());

    type.def("__add__", [](const Address& address, const py::object& number) -> py::object {
        if (PyIndex_Check(number.ptr()) == 0) return NotImplemented();
        return py::cast(address +
                        FromWrapped<Address>(py::reinterpret_steal<py::object>(PyNumber_Index(number.ptr()))));
    });
    type.def("__sub__", [](const Address& address, const py::object& other) -> py::object {
        if (py::isinstance<Address>(other)) return ToInt(address - other.cast<Address>());
        if (PyIndex_Check(other.ptr()) == 0) return NotImplemented();
        return py::cast(address - FromWrapped<Address>(py::reinterpret_steal<py::object>(PyNumber_Index(other.ptr()))));
    });
    type.def(
        "__and__", [](const Address& left, const Address& right) { return left & right; }, py::is_operator());
    type.def(
        "__or__", [](const Address& left, const Address& right) { return left | right; }, py::is_operator());
    type.def("__invert__", [](const Address& address) { return ~address; });
    type.def(
        "network",
        [](const Address& address, const Unsigned& length) {
            const auto prefix = static_cast<int>(std::min<std::uint64_t>(length, 8 * kBytes<Address>));
            return AddressRange<Address>::Network(address, prefix).GetAt(0);
        },
        py::arg("prefix_length"),
        "The network part: the top bits are kept, the others cleared. Length 0 gives the zero address.");
    type.def(py::pickle([](const Address& address) { return ToText(address); }, &FromText<Address>));
}

/// As an address of ipaddress.
template <class Address>
void AddToIpaddress(py::module_& module, const char* name)
{
    const py::object type = module.attr(name);
    py::class_<Address>(type).def(
        "to_ipaddress",
        [name](const Address& address) { return py::module_::import("ipaddress").attr(name)(Packed(address)); },
        "The same address in the type of the module ipaddress.");
}

} // namespace

void AddAddresses(py::module_& module)
{
    constexpr const char* kVersion4 = "IPv4Address";
    constexpr const char* kVersion6 = "IPv6Address";
    AddAddress<CIpAddress>(module, kVersion4, "An immutable IPv4 address, ordered by its number. Sums wrap.");
    AddAddress<CIpv6Address>(module, kVersion6, "An immutable IPv6 address, ordered by its number. Sums wrap.");
    AddAddress<CMacAddress>(module, "MacAddress",
                            "An immutable MAC address of 48 bits, ordered by its number. Sums wrap.");
    AddAddress<CWorldWideName>(module, "WorldWideName",
                               "An immutable World Wide Name of 64 bits, ordered by its number. Sums wrap.");
    AddToIpaddress<CIpAddress>(module, kVersion4);
    AddToIpaddress<CIpv6Address>(module, kVersion6);
}

} // namespace zor::python
