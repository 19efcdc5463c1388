#ifndef ZOR_COMMON_EXPORT_H
#define ZOR_COMMON_EXPORT_H

/// \file
/// ZOR_COMMON_API, the mark of what the shared library exports.

/// \namespace zor::common
/// All that the library has.

/// Everything else is built with hidden visibility, so a name without this mark is the library's own.
#define ZOR_COMMON_API __attribute__((visibility("default")))

#endif // ZOR_COMMON_EXPORT_H
