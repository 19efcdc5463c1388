#ifndef ZOR_COMMON_VERSION_H
#define ZOR_COMMON_VERSION_H

/// \file
/// The version of the library. The build and the packages read the three numbers from this file.

#define ZOR_COMMON_VERSION_MAJOR 1 ///< Incremented with the soname: programs must be recompiled.
#define ZOR_COMMON_VERSION_MINOR 0 ///< Incremented for additions.
#define ZOR_COMMON_VERSION_PATCH 0 ///< Incremented for bug fixes.

/// The version as one number that grows: 1.2.3 is 10203.
#define ZOR_COMMON_VERSION                                                                                             \
    (ZOR_COMMON_VERSION_MAJOR * 10000 + ZOR_COMMON_VERSION_MINOR * 100 + ZOR_COMMON_VERSION_PATCH)

/// \cond
#define ZOR_COMMON_DETAIL_QUOTE(x) #x
#define ZOR_COMMON_DETAIL_DOTTED(x, y, z)                                                                              \
    ZOR_COMMON_DETAIL_QUOTE(x) "." ZOR_COMMON_DETAIL_QUOTE(y) "." ZOR_COMMON_DETAIL_QUOTE(z)
/// \endcond

/// The version as text, such as "1.2.3".
#define ZOR_COMMON_VERSION_STRING                                                                                      \
    ZOR_COMMON_DETAIL_DOTTED(ZOR_COMMON_VERSION_MAJOR, ZOR_COMMON_VERSION_MINOR, ZOR_COMMON_VERSION_PATCH)

#endif // ZOR_COMMON_VERSION_H
