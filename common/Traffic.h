#ifndef ZOR_COMMON_TRAFFIC_H
#define ZOR_COMMON_TRAFFIC_H

/// \file
/// Mix, Joined and Shuffled, which combine templates into one.

#include "CompiledTemplate.h"
#include "Export.h"
#include "IndexOrder.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace zor::common {

/// \defgroup traffic Traffic
/// Several streams as one sequence, in which each value still follows from its index, and the index from the value.
/// \code
/// const CompiledTemplate small("small @x(0,0)"), medium("medium @x(0,0)"), large("large @x(0,0)");
/// const CompiledTemplate imix = Mix({{small, 7}, {medium, 4}, {large, 1}}); // a round of twelve values
/// unsigned char frame[1518];
/// const std::size_t size = imix.Render(1000000, frame, sizeof frame);
/// imix.FindIndex(frame, size);                                              // 1000000
/// \endcode
///
/// The result is a CompiledTemplate like any other: it never changes, copies share it, and so may any number of
/// threads. It shares its parts, too. Its members have these meanings:
/// - GetPeriod() is 0 for 2^64 and more. Up to 4,096 it is the least period of the values. Above 4,096 the values may
///   repeat sooner: if parts have values in common, or if an order shows a number that does not change. The period of
///   single fields is that of their numbers, which may be longer than that of the values.
/// - IsFixedSize() is true if all parts that are shown have the same fixed size. PatchFrames() then also writes literal
///   text where the parts differ in it, and GetChangingSpans() contains this text.
/// - RenderFrames() with sizes takes parts of any size, and writes parts of fixed size in batches.
/// - IsReadable() is true if the index can be found for every value that is shown. The values of an order must also
///   repeat so seldom that no more than 65,536 indexes have to be tried for one value, in all parts together. Otherwise
///   GetReadableCount() ends at the first value that such an order shows.
/// - FindIndex() returns the least index if several parts show the same value.
/// - StepsAlike() is true if it is true for all parts.
/// - GetFields() lists the fields of all parts, one part after the other, also of parts that are never shown. Offsets
///   are those in the part's own text and value; the period counts indexes of the result.
/// - Two results are equal if they are made in the same way of equal parts. Weights 2 : 4 equal weights 1 : 2.
///
/// A SequenceAudit looks near the expected packet first. If an order repeats its values, a packet that is further away
/// takes some 200 ns for each position that shows its value.
///
/// The result may be a part of another one, up to 16 levels deep. All levels together may have 65,536 templates that
/// are not combined, each counted as often as it is a part. Beyond these limits std::invalid_argument is thrown.
/// \{

/// Mixes templates by weight.
///
/// With W the sum of the weights, a pattern of W values is repeated for ever. It is made by smooth weighted round
/// robin: at each place of the pattern, each part gains its weight as credit; the part with the greatest credit, the
/// earlier one of equals, takes the place and pays W. So 7 : 4 : 1 is IMIX, and parts of weight 1 take turns in the
/// order given: three parts of weight 1 can be SYN, ACK and FIN of the flow index / 3. A part of weight w shows at each
/// of its places its value (index / W) * w + the number of its earlier places in the pattern.
///
/// \param parts  each with its weight. A part of weight 0 is never shown. std::invalid_argument is thrown if the sum is
///               0 or above 65,536.
ZOR_COMMON_API CompiledTemplate Mix(const std::vector<std::pair<CompiledTemplate, std::uint32_t>>& parts);

/// Joins templates one after the other: so many values of the first, then so many of the next. After the values of the
/// last, the first one continues where it stopped, and so do the others.
///
/// \param parts  each with its number of values. A part with 0 values is never shown, nor is a part that begins at
///               index 2^64 or above. std::invalid_argument is thrown if the sum is 0.
ZOR_COMMON_API CompiledTemplate Joined(const std::vector<std::pair<CompiledTemplate, std::uint64_t>>& parts);

/// Shows a template in another order: the value at index i is that of \a of at order.GetIndexAt(i). So the first
/// order.GetSize() values of \a of are shown, each once, and then again in the same order.
ZOR_COMMON_API CompiledTemplate Shuffled(const CompiledTemplate& of, const IndexOrder& order);

/// \}

} // namespace zor::common

#endif // ZOR_COMMON_TRAFFIC_H
