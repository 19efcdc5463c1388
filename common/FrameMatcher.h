#ifndef ZOR_COMMON_FRAME_MATCHER_H
#define ZOR_COMMON_FRAME_MATCHER_H

/// \file
/// Internal: whether a packet is the frame of an index.

#include "ByteSpan.h"
#include "IndexInverse.h"
#include "IndexProgram.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zor::common::detail {

/// Compares packets with frames of an index program of fixed size.
class FrameMatcher {
public:
    FrameMatcher() = default;

    /// \param program  must outlive the object.
    /// \param inverse  what reads packets before they are compared with HasChanging().
    /// \param ignored  bytes that may differ; those behind the frame do not matter.
    FrameMatcher(const IndexProgram& program, const IndexInverse& inverse, const std::vector<ByteSpan>& ignored = {});

    /// Whether everything that never changes is as it should be.
    /// \param packet  of the size of the frame.
    bool HasConstants(const unsigned char* packet) const noexcept;

    /// Whether everything else is as it should be at an index whose residue was read from the packet.
    bool HasChanging(const unsigned char* packet, std::uint64_t index) const
    {
        return mIsProven || CompareChanging(packet, index);
    }

    /// Whether a packet whose constants are as they should be is surely the frame of an index. Nothing is read for that, so
    /// it takes less time than the search for an index that is expected.
    bool IsFrameAt(const unsigned char* packet, std::uint64_t index) const noexcept;

    /// How far a packet is the frame of an index.
    enum class Likeness : std::uint8_t {
        Same,
        SameExpressions, ///< Something differs that belongs to no expression.
        Different
    };

    /// \param size  of the packet in bytes; only so many are compared, and no more than the frame has.
    Likeness Compare(const unsigned char* packet, std::size_t size, std::uint64_t index) const;

    /// In how many bytes a packet differs from the frame of an index, with parameters as for Compare().
    std::size_t CountDifferences(const unsigned char* packet, std::size_t size, std::uint64_t index) const;

    /// Whether no packet of \a size bytes and more can be a frame of both, as a byte that is compared differs.
    bool ExcludesFramesOf(const FrameMatcher& other, std::size_t size) const noexcept;

private:
    /// Bytes that are compared in one go.
    struct Stretch {
        ByteSpan bytes;
        bool isMasked; ///< Whether some of them are left out.
    };

    void PlanLanes(const IndexInverse& inverse);
    void Render(std::uint64_t index, const unsigned char* packet, std::size_t size,
                unsigned char* frame) const noexcept;
    bool HasChecksums(const unsigned char* packet) const noexcept;
    bool CompareChanging(const unsigned char* packet, std::uint64_t index) const;

    const IndexProgram* mProgram = nullptr;
    std::vector<unsigned char> mConstants;   ///< For each byte ff if it never changes and is compared, otherwise 0.
    std::vector<unsigned char> mChanging;    ///< The same for those that change.
    std::vector<unsigned char> mExpressions; ///< The same for those of expressions.
    std::vector<Stretch> mStretches;
    std::vector<Lane> mLanes;              ///< Those that reading does not prove.
    std::vector<Lane> mAllLanes;           ///< All that are compared.
    std::vector<std::uint32_t> mListed;    ///< Fields that are compared and show a list.
    std::vector<IndexChecksum> mChecksums; ///< Those that are compared.
    std::vector<IndexChecksum> mFollowing; ///< All that follow what changes or is written late, in their order.
    bool mIsProven = false;                ///< Whether what was read tells all.
    bool mIsSure = true;                   ///< Whether all lanes and lists together are all that changes.
    bool mIsRendered = false; ///< Whether frames are rendered to be compared, as lanes do not hold all that changes.
};

} // namespace zor::common::detail

#endif // ZOR_COMMON_FRAME_MATCHER_H
