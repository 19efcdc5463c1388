#ifndef ZOR_COMMON_EXPORT_H
#define ZOR_COMMON_EXPORT_H

/// \file
/// ZOR_COMMON_API and ZOR_COMMON_LOCAL, which mark the names that the shared library exports and those that it hides.

/// \namespace zor::common
/// The namespace of the library.

/// Everything else is built with hidden visibility, so a name without this mark is not exported.
#define ZOR_COMMON_API __attribute__((visibility("default")))

/// A private member of an exported class that no header calls. It is not exported, so it may change without recompiling
/// programs.
#define ZOR_COMMON_LOCAL __attribute__((visibility("hidden")))

#endif // ZOR_COMMON_EXPORT_H
