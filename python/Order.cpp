#include "Order.h"

#include <string>

namespace zor::python {

using namespace common;

namespace {

py::object SizeOf(const SeededOrder& order)
{
    if (order.order.GetSize() != 0) return py::int_(order.order.GetSize());
    return py::int_(1) << py::int_(64);
}

} // namespace

void AddOrder(py::module_& module)
{
    py::class_<SeededOrder> type(module, "Order",
                                 "An order of the indexes 0 to size - 1 that looks random and stores no list.\n\n"
                                 "It follows from size and seed alone, and is the same on every machine.");
    Publish(type);
    type.def(py::init([](const py::object& size, const Unsigned& seed) {
                 const bool isAll = size.equal(py::int_(1) << py::int_(64)); // which the library writes as 0
                 const std::uint64_t count = isAll ? 0 : ReadUnsigned(size, "the size");
                 if (!isAll && count == 0) throw py::value_error("an order has at least one index");
                 return SeededOrder(count, seed);
             }),
             py::arg("size"), py::arg("seed") = Unsigned{}, "\\param size from 1 to 2^64.");
    type.def(
        "__getitem__",
        [](const SeededOrder& order, const Unsigned& position) { return order.order.GetIndexAt(position); },
        py::arg("position"), "The index at a position, which is taken modulo the size.");
    type.def(
        "position", [](const SeededOrder& order, const Unsigned& index) { return order.order.GetPositionOf(index); },
        py::arg("index"), "The position of an index.");
    type.def(
        "indexes_into",
        [](const SeededOrder& order, const py::object& buffer, const Unsigned& first) {
            const BufferView view = ViewIntegers(buffer, "indexes", sizeof(std::uint64_t), true);
            const py::gil_scoped_release released;
            order.order.GetIndexesAt(IndexRange{first, view.GetSize() / sizeof(std::uint64_t)},
                                     reinterpret_cast<std::uint64_t*>(view.GetBytes()));
        },
        py::arg("buffer"), py::arg("first") = Unsigned{},
        "Writes the indexes from a position on into a buffer of 64-bit integers, such as numpy.empty(n, \"uint64\").");
    type.def_property_readonly("size", &SizeOf, "The number of indexes.");
    type.def_readonly("seed", &SeededOrder::seed, "The number that chooses one of the orders.");
    type.def(
        "__eq__", [](const SeededOrder& left, const SeededOrder& right) { return left.order == right.order; },
        py::is_operator());
    type.def("__hash__", [](const SeededOrder& order) { return py::hash(SizeOf(order)); });
    type.def("__repr__", [](const SeededOrder& order) {
        return "Order(" + std::string(py::str(SizeOf(order))) + ", " + std::to_string(order.seed) + ")";
    });
    type.def(py::pickle([](const SeededOrder& order) { return py::make_tuple(order.order.GetSize(), order.seed); },
                        [](const py::tuple& state) {
                            return SeededOrder(state[0].cast<std::uint64_t>(), state[1].cast<std::uint64_t>());
                        }));
}

} // namespace zor::python
