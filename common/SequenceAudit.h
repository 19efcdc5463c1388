#ifndef ZOR_COMMON_SEQUENCE_AUDIT_H
#define ZOR_COMMON_SEQUENCE_AUDIT_H

/// \file
/// SequenceAudit, which tells of received packets which one each is and which ones are missing, without a tag in them.

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

/// What a receiver allows for.
struct AuditOptions {
    /// Bytes that devices on the way may change: TTL, addresses, checksums, holes. They are not compared, and an expression
    /// with one of them takes no part in finding the index; its other bytes are compared. Where the others leave several
    /// indexes, up to 65,536 of them are compared, the nearest to the expected one first. What reaches beyond the frame is
    /// cut. Not for templates of varying size; a mix of frames of several sizes may have them.
    std::vector<ByteSpan> ignored;

    /// The least size in bytes of a packet that was cut. It is compared as far as it goes; without the bytes that tell the
    /// index it is foreign. 0 takes no cut packets. For templates of fixed size, and mixes of these.
    std::size_t leastSize = 0;

    /// Up to how many bytes may follow the value, such as a frame check sequence or padding. They are not compared.
    std::size_t trailer = 0;

    /// How many positions behind the greatest one seen are kept. A packet further behind is too old, so memory does not
    /// grow with the run. 0 keeps all.
    std::uint64_t window = 0;
};

/// Tells of each received packet which value of a template it is, and keeps count of what was lost, doubled, reordered and
/// changed.
/// \code
/// const CompiledTemplate packets("@h 0200000000fe 020000000001 88b5 @$(00000000,0,00000001,big)");
/// SequenceAudit audit(packets, IndexRange{0, 1000000});
/// unsigned char received[18];
/// packets.Render(7, received, sizeof received);
/// audit.Add(received, sizeof received); // InOrder; others are Late, Duplicate, Changed, Foreign and TooOld
/// audit.GetCounts().missingBelow;       // 7
/// \endcode
///
/// Indexes are told apart by their position in the expected range. Where a value occurs several times there, the position
/// counts that is nearest to the one behind the greatest seen; of two that are as near, the lower one. IsCertain() says
/// that no value does. Packets that were sent in another order than that of the range count as Late, although nothing on the
/// way has reordered them.
///
/// Memory holds one bit for each position, in pages of 4 KiB for 32,768 positions; pages without packets take none. Beside
/// these, up to 32 frames of a template are kept, to be compared with the packets to come.
///
/// Distinct objects may be used in distinct threads, also for one template; one object serves one thread at a time.
class ZOR_COMMON_API SequenceAudit {
public:
    /// What a packet was.
    enum class Verdict : unsigned char {
        InOrder,   ///< Above all positions seen before.
        Late,      ///< Below the greatest position seen, and not seen before (RFC 4737: reordered).
        Duplicate, ///< Seen before (RFC 5560).
        Changed,   ///< The expressions are those of an index, but another byte is not. Does not count as seen.
        Foreign,   ///< Anything else.
        TooOld     ///< Further behind the greatest position seen than the window.
    };

    /// How many packets had which verdict.
    struct Counts {
        std::uint64_t received = 0; ///< All packets, which is the sum of the verdicts.
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
        std::uint64_t missingBelow = 0; ///< Those of them below the greatest seen: lost by now in a run that goes on.
        std::uint64_t maxLateness =
            0; ///< The largest distance of a late packet behind the greatest seen, in positions.
    };

    /// \param of        is shared, not copied. Nothing is found if it is not readable: each packet is Foreign.
    /// \param expected  the indexes that were sent. std::invalid_argument is raised if every is 0, if an index is 2^64 or
    ///                  above, or not below GetReadableCount() of a template that is readable in part.
    /// \param options   std::invalid_argument is raised for ignored bytes of a template of varying size.
    SequenceAudit(const CompiledTemplate& of, const IndexRange& expected, const AuditOptions& options = {});

    SequenceAudit(const SequenceAudit& other);                ///< Copies what was seen.
    SequenceAudit(SequenceAudit&& other) noexcept;            ///< The source may only be assigned to or destroyed.
    SequenceAudit& operator=(const SequenceAudit& other);     ///< Copies what was seen.
    SequenceAudit& operator=(SequenceAudit&& other) noexcept; ///< As moving into a new object.
    ~SequenceAudit();                                         ///< Releases the pages.

    /// Whether each expected value occurs once, so that verdicts are facts. It follows from the periods of the counters, so
    /// it may be false although no two values are the same.
    bool IsCertain() const noexcept;

    /// Takes a received packet.
    /// \param packet  any bytes.
    /// \param index   becomes the index of the packet, for all verdicts but Foreign; may be null.
    Verdict Add(std::string_view packet, std::uint64_t* index = nullptr);

    /// The same for \a size bytes; \a packet may be null if there are none.
    Verdict Add(const unsigned char* packet, std::size_t size, std::uint64_t* index = nullptr);

    /// Takes in what another receiver has seen of other packets of the same run: of another queue, thread or machine. An
    /// index that both have seen counts as one duplicate, and no longer as late or in order in the other one.
    /// \return  false, with nothing changed, if \a other is this object, has another template, range or options, or has a
    ///          window.
    bool Merge(const SequenceAudit& other);

    /// What was seen and counted, for another process or machine: a bit for each position of the pages that hold one. The
    /// form is the same on all machines. Template, range and options are not in it.
    std::string Save() const;

    /// Goes on from what Save() of an audit of an equal template, range and options has given. What this one has seen before
    /// is forgotten.
    /// \param saved  any bytes.
    /// \return       false, with nothing changed, for bytes that no audit of this range and window can have given.
    bool Restore(std::string_view saved);

    Counts GetCounts() const noexcept; ///< Of all packets so far.

    /// Indexes of the range that were never seen, as ascending runs; `every` is that of the range. With a window, those
    /// behind it are left out.
    /// \param most  how many runs at most.
    std::vector<IndexRange> GetMissing(std::size_t most) const;

private:
    struct Impl;

    std::unique_ptr<Impl> mImpl;
};

} // namespace zor::common

#endif // ZOR_COMMON_SEQUENCE_AUDIT_H
