#ifndef ZOR_COMMON_INTEGER_H
#define ZOR_COMMON_INTEGER_H

/// \file
/// Integer, 64-bit numbers from text.

#include "Export.h"

namespace zor::common {

/// 64-bit numbers from text, by the rules of the C library's strtoull() and strtoll(), which do the work.
/// \code
/// char* end = nullptr;
/// Integer::StrToInt64("-0x10 rest", &end, 0);    // -16; end is " rest"
/// Integer::StrToInt64("-0x10", &end, 10);        // 0; end is "x10"
/// \endcode
///
/// Leading white space and one sign are accepted. The base is from 2 to 36, or 0: then it is 16 after "0x" or "0X", 8
/// after "0" and 10 otherwise; with base 16, "0x" is accepted too. Without digits the result is 0 and the end is the
/// start of the text. A number that does not fit gives the nearest number that does and sets `errno` to `ERANGE`; any
/// other base gives 0 and `EINVAL`, and the end is not set. `errno` is never reset.
class ZOR_COMMON_API Integer {
public:
    Integer() = delete;

    /// The unsigned number at the start of \a text; after a minus sign, the negated number modulo 2^64.
    ///
    /// \param text  ends in a NUL.
    /// \param end   may be null; set to the position after the last digit.
    static unsigned long StrToUint64(const char* text, char** end, int base) noexcept;

    /// The signed number at the start of \a text; the rest as for StrToUint64().
    static long StrToInt64(const char* text, char** end, int base) noexcept;
};

} // namespace zor::common

#endif // ZOR_COMMON_INTEGER_H
