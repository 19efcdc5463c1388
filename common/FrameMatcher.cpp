#include "FrameMatcher.h"

#include "BigEndian.h"
#include "IndexChecksum.h"
#include "IndexRender.h"
#include "WordPair.h"

#include <algorithm>
#include <cstring>

namespace zor::common::detail {

namespace {

constexpr std::size_t kWord = 8;
constexpr std::size_t kLongStretch = 64; ///< Of bytes that never change: from here on memcmp is faster than a mask.
constexpr std::size_t kSmallFrame = 512; ///< Up to which no memory is allocated.

/// Whether bytes are the same where a mask has ones.
bool AreSame(const unsigned char* left, const unsigned char* right, const unsigned char* mask, std::size_t size)
{
    const auto difference = [&](auto from, std::size_t at) {
        auto one = from;
        auto other = from;
        std::memcpy(&one, left + at, sizeof one);
        std::memcpy(&other, right + at, sizeof other);
        std::memcpy(&from, mask + at, sizeof from);
        return (one ^ other) & from;
    };
    if (size >= sizeof(WordPair)) {
        WordPair differences = difference(WordPair{}, size - sizeof(WordPair)); // which may overlap others
        for (std::size_t at = 0; at < size - sizeof(WordPair); at += sizeof(WordPair))
            differences |= difference(WordPair{}, at);
        return (differences[0] | differences[1]) == 0;
    }
    if (size >= kWord) return (difference(std::uint64_t{}, 0) | difference(std::uint64_t{}, size - kWord)) == 0;
    for (std::size_t at = 0; at < size; ++at) {
        if (((left[at] ^ right[at]) & mask[at]) != 0) return false;
    }
    return true;
}

bool HasLane(const unsigned char* packet, const Lane& lane, std::uint64_t index)
{
    const std::uint64_t word = lane.start + lane.turns.At(index) * lane.step;
    const std::uint64_t bytes = lane.isLittle ? word >> 8 * (kWord - lane.size) : __builtin_bswap64(word);
    return LoadLittleBytes(packet + lane.offset, lane.size) == (bytes & LowBits(8u * lane.size));
}

/// Calls \a visit with a buffer of a size.
template <class Visit>
auto WithBuffer(std::size_t size, Visit visit)
{
    if (size <= kSmallFrame) {
        unsigned char buffer[kSmallFrame];
        return visit(buffer);
    }
    std::vector<unsigned char> buffer(size);
    return visit(buffer.data());
}

} // namespace

FrameMatcher::FrameMatcher(const IndexProgram& program, const IndexInverse& inverse,
                           const std::vector<ByteSpan>& ignored)
    : mProgram(&program), mConstants(program.frame.size(), 0xff), mChanging(program.frame.size()),
      mExpressions(program.frame.size())
{
    const std::size_t size = program.frame.size();
    const auto fill = [size](std::vector<unsigned char>& mask, const ByteSpan& span, unsigned char with) {
        const std::size_t first = std::min(span.offset, size);
        std::fill_n(mask.begin() + static_cast<std::ptrdiff_t>(first), std::min(span.size, size - first), with);
    };
    for (const ByteSpan& span : program.changingSpans) {
        fill(mConstants, span, 0);
        fill(mChanging, span, 0xff);
    }
    for (const IndexExpression& expression : program.expressions) fill(mExpressions, expression.text, 0xff);
    for (const IndexHole& hole : program.holes) fill(mConstants, hole.place, 0);
    mFollowing = program.checksums;
    for (const IndexChecksum& checksum : program.held) {
        fill(mConstants, {checksum.at, 2}, 0);
        fill(mChanging, {checksum.at, 2}, 0xff);
        const auto place = std::find_if(mFollowing.begin(), mFollowing.end(),
                                        [&](const IndexChecksum& other) { return other.place > checksum.place; });
        mFollowing.insert(place, checksum);
    }
    for (const ByteSpan& span : ignored) {
        for (std::vector<unsigned char>* mask : {&mConstants, &mChanging, &mExpressions}) fill(*mask, span, 0);
    }
    PlanLanes(inverse);
    for (std::size_t at = 0; at < size;) {
        const auto first = mConstants.begin() + static_cast<std::ptrdiff_t>(at);
        const auto end = std::find(first, mConstants.end(), 0);
        const auto run = static_cast<std::size_t>(end - first);
        const bool isLong = run >= kLongStretch;
        const std::size_t taken = isLong ? run : std::min(run + 1, size - at);
        if (!isLong && !mStretches.empty() && mStretches.back().isMasked) {
            mStretches.back().bytes.size += taken;
        } else {
            mStretches.push_back({{at, taken}, !isLong});
        }
        at += taken;
    }
}

/// Takes the lanes and checksums that are compared, or notes that they cannot be: something else changes, one is ignored in
/// part, or a checksum covers bytes that are ignored.
void FrameMatcher::PlanLanes(const IndexInverse& inverse)
{
    const auto compared = [this](std::size_t offset, std::size_t size) {
        const auto first = mChanging.begin() + static_cast<std::ptrdiff_t>(offset);
        return static_cast<std::size_t>(std::count(first, first + static_cast<std::ptrdiff_t>(size), 0xff));
    };
    std::vector<bool> isProven(mProgram->frame.size()); // by what was read
    for (std::size_t i = 0; i < mProgram->expressions.size(); ++i) {
        const ByteSpan& text = mProgram->expressions[i].text;
        if (inverse.IsProven(i))
            std::fill_n(isProven.begin() + static_cast<std::ptrdiff_t>(text.offset), text.size, true);
    }
    for (const Lane& lane : mProgram->patching.lanes) {
        const std::size_t bytes = compared(lane.offset, lane.size);
        if (bytes == lane.size) mAllLanes.push_back(lane);
        if (bytes == lane.size && !isProven[lane.offset]) mLanes.push_back(lane);
        mIsRendered = mIsRendered || (bytes != 0 && bytes != lane.size);
        mIsSure = mIsSure && !mIsRendered;
    }
    for (const std::uint32_t place : mProgram->patching.rest) {
        const IndexField& field = mProgram->fields[place];
        const bool isListed = field.shape == Shape::Listed;
        const std::size_t bytes = isListed ? compared(field.offset, field.size) : 0;
        if (bytes != 0) mListed.push_back(place);
        mIsSure = mIsSure && isListed && (bytes == 0 || bytes == field.size);
        mIsRendered = mIsRendered || !isProven[field.offset];
    }
    for (const IndexChecksum& checksum : mFollowing) {
        const std::size_t bytes = compared(checksum.at, 2);
        if (bytes == 0) continue;
        mChecksums.push_back(checksum);
        bool isWhole = bytes == 2;
        for (std::size_t i = 0; i < checksum.pieces.count; ++i) {
            const SummedPiece& piece = mProgram->summedPieces[checksum.pieces.first + i];
            isWhole = isWhole && compared(piece.offset, piece.size) == piece.size;
        }
        mIsRendered = mIsRendered || !isWhole;
        mIsSure = mIsSure && isWhole;
    }
    mIsProven = !mIsRendered && mLanes.empty() && mChecksums.empty();
}

bool FrameMatcher::HasConstants(const unsigned char* packet) const noexcept
{
    const auto* const frame = reinterpret_cast<const unsigned char*>(mProgram->frame.data());
    for (const Stretch& stretch : mStretches) {
        const std::size_t at = stretch.bytes.offset;
        if (stretch.isMasked ? !AreSame(packet + at, frame + at, mConstants.data() + at, stretch.bytes.size)
                             : std::memcmp(packet + at, frame + at, stretch.bytes.size) != 0) {
            return false;
        }
    }
    return true;
}

bool FrameMatcher::HasChecksums(const unsigned char* packet) const noexcept
{
    for (const IndexChecksum& checksum : mChecksums) {
        if (LoadLittleWord<2>(packet + checksum.at) != ChecksumIn(*mProgram, checksum, packet)) return false;
    }
    return true;
}

bool FrameMatcher::IsFrameAt(const unsigned char* packet, std::uint64_t index) const noexcept
{
    if (!mIsSure) return false;
    for (const Lane& lane : mAllLanes) {
        if (!HasLane(packet, lane, index)) return false;
    }
    for (const std::uint32_t place : mListed) {
        const IndexField& field = mProgram->fields[place];
        const Slice& listed = mProgram->DetailsOf(field).listed;
        const char* const value =
            mProgram->tables.data() + listed.first + mProgram->TurnAt(field, index) * listed.count;
        if (std::memcmp(packet + field.offset, value, field.size) != 0) return false;
    }
    return HasChecksums(packet);
}

bool FrameMatcher::CompareChanging(const unsigned char* packet, std::uint64_t index) const
{
    if (!mIsRendered) {
        for (const Lane& lane : mLanes) {
            if (!HasLane(packet, lane, index)) return false;
        }
        return HasChecksums(packet);
    }
    return WithBuffer(mConstants.size(), [&](unsigned char* frame) {
        Render(index, packet, mConstants.size(), frame);
        return AreSame(packet, frame, mChanging.data(), mChanging.size());
    });
}

/// Renders a frame with what a packet has in its holes.
/// \param size  of the packet.
void FrameMatcher::Render(std::uint64_t index, const unsigned char* packet, std::size_t size,
                          unsigned char* frame) const noexcept
{
    RenderIndex(*mProgram, index, reinterpret_cast<char*>(frame));
    if (mProgram->holes.empty()) return;
    for (const IndexHole& hole : mProgram->holes) {
        const std::size_t first = std::min(hole.place.offset, size);
        std::copy_n(packet + first, std::min(hole.place.size, size - first), frame + first);
    }
    for (const IndexChecksum& checksum : mFollowing) {
        StoreLittle(frame + checksum.at, ChecksumIn(*mProgram, checksum, frame));
    }
}

FrameMatcher::Likeness FrameMatcher::Compare(const unsigned char* packet, std::size_t size, std::uint64_t index) const
{
    size = std::min(size, mConstants.size());
    return WithBuffer(mConstants.size(), [&](unsigned char* frame) {
        Render(index, packet, size, frame);
        if (!AreSame(packet, frame, mExpressions.data(), size)) return Likeness::Different;
        const bool isSame =
            AreSame(packet, frame, mConstants.data(), size) && AreSame(packet, frame, mChanging.data(), size);
        return isSame ? Likeness::Same : Likeness::SameExpressions;
    });
}

std::size_t FrameMatcher::CountDifferences(const unsigned char* packet, std::size_t size, std::uint64_t index) const
{
    size = std::min(size, mConstants.size());
    return WithBuffer(mConstants.size(), [&](unsigned char* frame) {
        Render(index, packet, size, frame);
        std::size_t count = 0;
        for (std::size_t at = 0; at < size; ++at) {
            if (((packet[at] ^ frame[at]) & (mConstants[at] | mChanging[at])) != 0) ++count;
        }
        return count;
    });
}

bool FrameMatcher::ExcludesFramesOf(const FrameMatcher& other, std::size_t size) const noexcept
{
    size = std::min({size, mConstants.size(), other.mConstants.size()});
    for (std::size_t at = 0; at < size; ++at) {
        if ((mConstants[at] & other.mConstants[at]) != 0 && mProgram->frame[at] != other.mProgram->frame[at]) {
            return true;
        }
    }
    return false;
}

} // namespace zor::common::detail
