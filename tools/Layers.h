#ifndef ZOR_COMMON_TOOLS_LAYERS_H
#define ZOR_COMMON_TOOLS_LAYERS_H

/// \file
/// Frames in one line: the layers of a FrameBuilder as a text.
///
///     eth(src=02:00:00:00:00:01) / ipv4(src=10.0.0.1..10.0.0.9) / udp(sport=1..9) / cross(udp.sport, ipv4.src)
///
/// A value is
///   53, 0x35, 10.0.0.1, 2001:db8::1, 02:00:00:00:00:01   a constant
///   1024..65535, 10.0.0.250..10.0.0.1                    all values from the first to the last, also downwards
///   0..                                                  without end
///   10.0.0.0/24                                          all addresses of a network
///   53|123|443                                           a list
/// After a value, +N counts in steps of N, *N shows each value N times, and ~N takes the order of seed N.

#include <common/FrameBuilder.h>

#include <string>
#include <string_view>
#include <vector>

namespace zor::tools {

/// Reads the layers of a frame; a PlacedError says what is wrong and where.
/// \param startsWithIp  is set to whether the first layer is IPv4 or IPv6.
common::FrameBuilder ReadLayers(const std::string& text, bool* startsWithIp = nullptr);

/// Whether a text begins like layers: with the name of a layer, and then a parenthesis, a slash or nothing.
bool LooksLikeLayers(std::string_view text);

/// Gives a field of a frame the values of "ipv4.src=10.0.0.1..10.0.0.9", or bytes those of "26:4=...".
void VaryField(common::FrameBuilder& frame, const std::string& text);

/// The names of a text such as "udp.sport, ipv4.src".
std::vector<std::string> ReadNames(std::string_view text);

} // namespace zor::tools

#endif // ZOR_COMMON_TOOLS_LAYERS_H
