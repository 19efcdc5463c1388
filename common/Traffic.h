#ifndef ZOR_COMMON_TRAFFIC_H
#define ZOR_COMMON_TRAFFIC_H

/// \file
/// Mix, Joined and Shuffled, which make a template of templates.

#include "CompiledTemplate.h"
#include "Export.h"
#include "IndexOrder.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace zor::common {

/// \defgroup traffic Traffic
/// Several streams as one sequence, in which each value still follows from its index and the index from the value.
/// \code
/// const CompiledTemplate small("small @x(0,0)"), medium("medium @x(0,0)"), large("large @x(0,0)");
/// const CompiledTemplate imix = Mix({{small, 7}, {medium, 4}, {large, 1}}); // a round of twelve values
/// unsigned char frame[1518];
/// const std::size_t size = imix.Render(1000000, frame, sizeof frame);
/// imix.FindIndex(frame, size);                                              // 1000000
/// \endcode
///
/// The result is a CompiledTemplate like any other: immutable, shared by its copies, for any number of threads. What it is
/// made of is shared, too. What its members say of it:
/// - GetPeriod() is 0 for 2^64 and more. Up to 4,096 it is the least period of the values. Above, they may repeat sooner:
///   where parts have values in common, and where an order shows a number that does not change. The period of single
///   fields is that of their numbers, which may be longer than that of the values.
/// - IsFixedSize() is true if all parts that are shown have one size in common. PatchFrames() then writes literal text as
///   well, where that of the parts differs, and GetChangingSpans() has it.
/// - RenderFrames() with sizes takes parts of any size, and writes those of fixed size in batches.
/// - IsReadable() is true if all values that are shown can be told. In an order, values must also come back so seldom that
///   no more than 65,536 indexes have to be tried for one value, in all parts together. Otherwise GetReadableCount() ends
///   at the first value that such an order shows.
/// - FindIndex() gives the least index where parts show the same value.
/// - StepsAlike() is true if it is for all parts.
/// - GetFields() lists those of all parts, one part after the other, also of parts that are never shown. Places are those
///   in the part's own text and value, and the period counts indexes of the whole.
/// - Two are equal if they are made in the same way of equal parts. Weights 2 : 4 are those of 1 : 2.
///
/// An audit looks near the expected packet first. Behind an order whose values come back, a packet that is further away
/// takes some 200 ns for each position at which its value stands.
///
/// The result may be a part in turn, up to 16 levels deep. All levels together may have 65,536 templates that are made of
/// no others, each counted as often as it is a part. Beyond that std::invalid_argument is raised.
/// \{

/// Templates by weight.
///
/// Weights of the sum W are shown by a pattern of W values, over and over: smooth weighted round robin, in which each
/// place adds its weight to the credit of each part, goes to the part with the greatest credit, the earlier one of
/// equals, and takes W off that one's credit. So 7 : 4 : 1 is IMIX, and weights of 1 go in the order given: three parts
/// of weight 1 may be SYN, ACK and FIN of the flow of index / 3. The part at a place of weight w shows its value
/// (index / W) * w + the number of earlier places of the pattern that it has.
///
/// \param parts  each with its weight. A part of weight 0 is never shown. std::invalid_argument is raised for a sum of 0 or
///               above 65,536.
ZOR_COMMON_API CompiledTemplate Mix(const std::vector<std::pair<CompiledTemplate, std::uint32_t>>& parts);

/// Templates one behind the other: so many values of the first, then of the next. Behind those of the last, the first
/// one goes on where it stopped, and so do the others.
///
/// \param parts  each with its number of values. A part of 0 values is never shown, nor is what begins at index 2^64 or
///               above. std::invalid_argument is raised for a sum of 0.
ZOR_COMMON_API CompiledTemplate Joined(const std::vector<std::pair<CompiledTemplate, std::uint64_t>>& parts);

/// A template in another order: the value at index i is that of \a of at order.GetIndexAt(i). So the first GetSize()
/// values of \a of are shown, each once, and then again in the same order.
ZOR_COMMON_API CompiledTemplate Shuffled(const CompiledTemplate& of, const IndexOrder& order);

/// \}

} // namespace zor::common

#endif // ZOR_COMMON_TRAFFIC_H
