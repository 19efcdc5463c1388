#ifndef ZOR_COMMON_EXPORT_H
#define ZOR_COMMON_EXPORT_H

/// \file
/// ZOR_COMMON_API and ZOR_COMMON_LOCAL, the marks of what the shared library exports and what it keeps.

/// \namespace zor::common
/// All that the library has.

/// Everything else is built with hidden visibility, so a name without this mark is the library's own.
#define ZOR_COMMON_API __attribute__((visibility("default")))

/// A private member of an exported class that no header calls: it may change without a program being built anew.
#define ZOR_COMMON_LOCAL __attribute__((visibility("hidden")))

#endif // ZOR_COMMON_EXPORT_H
