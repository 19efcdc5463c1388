#ifndef ZOR_COMMON_PYTHON_ORDER_H
#define ZOR_COMMON_PYTHON_ORDER_H

/// \file
/// SeededOrder, an order of indexes that can be pickled.

#include "Native.h"

#include <common/IndexOrder.h>

namespace zor::python {

/// An order with the arguments that it was made from.
struct SeededOrder {
    SeededOrder(std::uint64_t size, std::uint64_t number) : order(size, number), seed(number) {}

    common::IndexOrder order;
    std::uint64_t seed;
};

} // namespace zor::python

#endif // ZOR_COMMON_PYTHON_ORDER_H
