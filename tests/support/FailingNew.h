#ifndef ZOR_COMMON_TESTS_FAILING_NEW_H
#define ZOR_COMMON_TESTS_FAILING_NEW_H

/// \file
/// An operator new for the whole program that counts, and fails when told to. In a source of its own, so that no
/// compiler sees half of the pair inlined.

namespace zor::common::test {

extern long gAllocations;
extern long gFailAt; ///< How many allocations succeed before one fails; negative for all.
extern long gLive;   ///< How many allocations have not been freed yet.

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_FAILING_NEW_H
