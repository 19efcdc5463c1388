#ifndef ZOR_COMMON_SEQUENCE_AUDIT_H
#define ZOR_COMMON_SEQUENCE_AUDIT_H

/// \file
/// SequenceAudit, which identifies received packets and finds out which packets are missing, without a tag in them.

#include "ByteSpan.h"
#include "CompiledTemplate.h"
#include "Export.h"
#include "IndexRange.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zor::common {

/// What may happen to packets on their way without being an error.
struct AuditOptions {
    /// Bytes that devices on the way may change: TTL, addresses, checksums, holes. They are not compared. An expression
    /// with such a byte is not used to find the index, but its other bytes are compared. If the other expressions leave
    /// several indexes, up to 65,536 of them are compared, beginning with the one nearest to the expected index. Where the
    /// search for them would take more tries, only the 65,536 positions on either side are looked at, which the
    /// templates of a mix share. Spans are cut at the end of the frame. Templates of varying size cannot have such bytes;
    /// mixes of frames of several sizes can.
    std::vector<ByteSpan> ignored;

    /// The least size in bytes of a packet that was cut. It is compared as far as it goes, and it is foreign if the
    /// bytes that give the index are missing. With 0, packets must be complete. It applies to templates of fixed size
    /// and to mixes of these, and has no effect on others.
    std::size_t leastSize = 0;

    /// How many bytes may follow the value, such as a frame check sequence or padding. They are not compared.
    std::size_t trailer = 0;

    /// How many positions behind the greatest one seen are kept. A packet further behind is too old, so memory does not
    /// grow with the run. 0 keeps all positions.
    std::uint64_t window = 0;
};

/// Identifies each received packet as a value of a template, and counts which packets were lost, duplicated, reordered
/// and changed.
/// \code
/// const CompiledTemplate packets("@h 0200000000fe 020000000001 88b5 @$(00000000,0,00000001,big)");
/// SequenceAudit audit(packets, IndexRange{0, 1000000});
/// unsigned char received[18];
/// packets.Render(7, received, sizeof received);
/// audit.Add(received, sizeof received); // InOrder; others are Late, Duplicate, Changed, Foreign and TooOld
/// audit.GetCounts().missingBelow;       // 7
/// \endcode
///
/// The position of an index is its place in the expected range. The expected position is the one after the greatest
/// position seen. If a value occurs several times in the range, the position nearest to the expected one is taken, and
/// the lower one of two equally near. IsCertain() says whether every value occurs only once. Packets that were sent in
/// another order than that of the range count as Late, although nothing on the way has reordered them.
///
/// The object keeps one bit for each position, in pages of 4 KiB for 32,768 positions; pages without packets take no
/// memory. It also keeps up to 32 rendered frames, to compare the next packets with.
///
/// Distinct objects may be used in distinct threads, also for one template; use each object in one thread at a time.
class ZOR_COMMON_API SequenceAudit {
public:
    /// What a packet was found to be.
    enum class Verdict : unsigned char {
        InOrder,   ///< Its position is above all positions seen before.
        Late,      ///< Its position is below the greatest one seen, and was not seen before (RFC 4737: reordered).
        Duplicate, ///< Its position was seen before (RFC 5560).
        Changed,   ///< Its expressions are those of an index, but another byte differs. Does not count as seen.
        Foreign,   ///< It is not a packet of the expected range.
        TooOld     ///< Its position is further behind the greatest one seen than the window.
    };

    /// The number of packets with each verdict.
    struct Counts {
        std::uint64_t received = 0; ///< All packets: the sum of the verdicts.
        /// \name Packets of each verdict
        /// \{
        std::uint64_t inOrder = 0;   ///< InOrder.
        std::uint64_t late = 0;      ///< Late.
        std::uint64_t duplicate = 0; ///< Duplicate.
        std::uint64_t changed = 0;   ///< Changed.
        std::uint64_t foreign = 0;   ///< Foreign.
        std::uint64_t tooOld = 0;    ///< TooOld.
        /// \}
        std::uint64_t missing = 0;      ///< Indexes of the range that were never seen.
        std::uint64_t missingBelow = 0; ///< Those below the greatest index seen: lost so far, in a run that continues.
        std::uint64_t maxLateness =
            0; ///< The largest distance of a late packet behind the greatest position seen, in positions.
    };

    /// \param of        is shared, not copied. If it is not readable, no packet is identified: each one is Foreign.
    /// \param expected  the indexes that were sent. std::invalid_argument is thrown if `every` is 0, if an index is
    ///                  2^64 or above, and if an index is not below GetReadableCount() of a template that is readable
    ///                  in part.
    /// \param options   std::invalid_argument is thrown for ignored bytes of a template of varying size.
    SequenceAudit(const CompiledTemplate& of, const IndexRange& expected, const AuditOptions& options = {});

    SequenceAudit(const SequenceAudit& other);                ///< Copies what was seen.
    SequenceAudit(SequenceAudit&& other) noexcept;            ///< The source may only be assigned to or destroyed.
    SequenceAudit& operator=(const SequenceAudit& other);     ///< Copies what was seen.
    SequenceAudit& operator=(SequenceAudit&& other) noexcept; ///< As moving into a new object.
    ~SequenceAudit();                                         ///< Releases the pages.

    /// Whether each expected value occurs only once, so that verdicts are certain and not guesses by position. It is
    /// true only if the periods of the counters show this and each value can be read in one way only, so it may be false
    /// although no two values are the same. Two ways are possible where a text of varying size stands before a length
    /// field of raw bytes, the first of which may be a digit.
    bool IsCertain() const noexcept;

    /// Identifies and counts a received packet.
    /// \param packet  any bytes.
    /// \param index   gets the index of the packet, for every verdict except Foreign; may be null.
    Verdict Add(std::string_view packet, std::uint64_t* index = nullptr);

    /// The same for \a size bytes; \a packet may be null if \a size is 0.
    Verdict Add(const unsigned char* packet, std::size_t size, std::uint64_t* index = nullptr);

    /// Adds what another receiver has seen of the same run: another queue, thread or machine. An index that both have
    /// seen counts as one duplicate, and no longer as a late packet or a packet in order of \a other.
    /// \return  false, with nothing changed, if \a other is this object, has another template, range or options, or has
    ///          a window.
    bool Merge(const SequenceAudit& other);

    /// What was seen and counted, as bytes for another process or machine. They hold one bit for each position of the
    /// pages in use, and are the same on all machines. They do not hold template, range and options.
    std::string Save() const;

    /// Continues from bytes that Save() of an audit with an equal template, range and options has returned. What this
    /// object has seen before is discarded.
    /// \param saved  any bytes.
    /// \return       false, with nothing changed, for bytes that no audit of this range and window can have returned.
    bool Restore(std::string_view saved);

    Counts GetCounts() const noexcept; ///< The counts of all packets so far.

    /// Indexes of the range that were never seen, as ascending runs, whose `every` is that of the range. With a window,
    /// indexes behind it are left out.
    /// \param most  the greatest number of runs to return.
    std::vector<IndexRange> GetMissing(std::size_t most) const;

private:
    struct Impl;

    std::unique_ptr<Impl> mImpl;
};

} // namespace zor::common

#endif // ZOR_COMMON_SEQUENCE_AUDIT_H
