#ifndef ZOR_COMMON_TOOLS_QUANTITIES_H
#define ZOR_COMMON_TOOLS_QUANTITIES_H

/// \file
/// Numbers, times and rates of a command line. The readers throw an InputError that names \a what.

#include <common/ByteSpan.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zor::tools {

/// A decimal number of up to 64 bits, also with a final k, M or G: 10k is 10000.
std::uint64_t ReadNumber(const std::string& what, std::string_view text);

/// The same from 0 to \a limit.
std::uint64_t ReadNumber(const std::string& what, std::string_view text, std::uint64_t limit);

/// A duration in nanoseconds: a number, perhaps with a fraction, and a unit: ns, us, ms, s, m, h or d.
std::uint64_t ReadDuration(const std::string& what, std::string_view text);

/// A time in nanoseconds since 1970: seconds, perhaps with a fraction, or 2026-01-31T23:59:59.5Z.
std::uint64_t ReadTime(const std::string& what, std::string_view text);

/// A rate: bits a second (100G), or packets a second (14.88Mpps).
struct Rate {
    double number = 0;
    bool isPackets = false;
};
Rate ReadRate(const std::string& what, std::string_view text);

/// Bytes of a packet, as OFFSET:SIZE.
bool ReadSpan(std::string_view text, common::ByteSpan& span);

/// Splits a text at each occurrence of a character; returns at least one piece.
std::vector<std::string_view> SplitAt(char separator, std::string_view text);

std::string ShowDuration(double seconds); ///< In a suitable unit, with three digits.
std::string ShowCount(double number);     ///< With k, M, G or T, and three digits.

} // namespace zor::tools

#endif // ZOR_COMMON_TOOLS_QUANTITIES_H
