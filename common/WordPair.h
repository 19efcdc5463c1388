#ifndef ZOR_COMMON_WORD_PAIR_H
#define ZOR_COMMON_WORD_PAIR_H

/// \file
/// Internal: 16 bytes at a time, on every processor that has registers for them.

namespace zor::common::detail {

/// Two 64-bit words side by side, which the compiler keeps in one vector register.
using WordPair = unsigned long __attribute__((vector_size(16)));

} // namespace zor::common::detail

#endif // ZOR_COMMON_WORD_PAIR_H
