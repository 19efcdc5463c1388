#ifndef ZOR_COMMON_FIELD_EXTRACTOR_H
#define ZOR_COMMON_FIELD_EXTRACTOR_H

/// \file
/// FieldExtractor, which cuts a field of any bit position and length out of bytes.

#include "BigEndian.h"
#include "Export.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zor::common {

/// The place of a bit field in a header, by which it is cut out of any number of packets.
///
/// Bits are numbered from 0, the most significant bit of the first byte, as in header diagrams: bit p has the value 128
/// >> p % 8 in byte p / 8. The result is left-aligned: the first bit of the field is the top bit of the first output
/// byte, and bits of the last byte beyond the field are 0.
/// \code
/// std::vector<unsigned char> tci = {0xa0, 0x64};            // the TCI of an IEEE 802.1Q tag: priority 5, VLAN 100
/// std::vector<unsigned char> out;
/// FieldExtractor(0, 3).ExtractField(tci, out, false);       // true; out is {0xa0}, the priority in the top 3 bits
/// FieldExtractor(4, 12).ExtractField(tci, out, false);      // true; out is {0x06, 0x40}
/// FieldExtractor(4, 13).ExtractField(tci, out, false);      // false, 17 bits do not fit; out is unchanged
/// \endcode
///
/// A field that does not start on a byte boundary has a limit, which stays because existing users rely on it: the bits
/// of the last partial output byte are taken from one input byte only, and bits that lie in the next input byte are 0.
/// Four bits at bit 6 of {0x03, 0xc0} give {0xc0}, not {0xf0}. To get all bits, ask for a multiple of 8 bits and ignore
/// the surplus, or call Get(), which has no such limit.
///
/// An extractor is a few numbers and may be used by several threads at once. Input and output may be the same vector:
/// the result is as if the input had been copied first. An output vector with enough capacity is not reallocated. If an
/// allocation fails, the output is as it was before the call.
class ZOR_COMMON_API FieldExtractor {
public:
    /// \param offset  the position of the first bit.
    /// \param length  in bits; 0 gives an empty field. Nothing is checked here.
    constexpr FieldExtractor(unsigned int offset, unsigned int length) noexcept : mOffset(offset), mLength(length)
    {
        const unsigned int shift = offset % 8;
        if (length == 0 || length > 64 - shift || offset > ~0u - length) return;
        const unsigned int size = (length + 7) / 8;
        // The bits of a last partial byte come from one byte; the others come out as 0.
        const unsigned int known = length % 8 != 0 ? 8 * size - shift : length;
        mWordEnd = offset / 8 + std::size_t{8};
        mWordSize = static_cast<unsigned char>(size);
        mWordShift = static_cast<unsigned char>(shift);
        mWordMask = ~std::uint64_t{0} << (64 - (known < length ? known : length));
    }

    /// A field of up to 64 bits as a number, read from any bytes without a vector and without an extractor.
    /// \code
    /// const unsigned char frame[] = {2, 0, 0, 0, 0, 0xfe, 2, 0, 0, 0, 0, 1, 0x81, 0, 0xa0, 0x64};
    /// FieldExtractor::Get(frame, sizeof frame, 112 + 4, 12);   // 100, the VLAN id, behind 4 bits of the TCI at bit 112
    /// \endcode
    ///
    /// \param bytes   \a size bytes; may be null if \a size is 0.
    /// \param offset  the position of the first bit; any number.
    /// \param length  in bits; 0, or more than 64, gives 0.
    /// \return        the field; bits beyond the end of the bytes are 0. The limit of the last partial byte, above,
    ///                does not apply.
    static constexpr std::uint64_t Get(const unsigned char* bytes, std::size_t size, std::size_t offset,
                                       std::size_t length) noexcept
    {
        const std::size_t first = offset / 8;
        const auto shift = static_cast<int>(offset % 8);
        if (length == 0 || length > 64 || first >= size) return 0;
        std::uint64_t bits = 0; // 64 from the first one on
        if (size - first > 8) {
            bits = detail::LoadBig64(bytes + first) << shift | bytes[first + 8] >> (8 - shift);
        } else {
            for (std::size_t i = first; i < size; ++i) bits |= std::uint64_t{bytes[i]} << (56 - 8 * (i - first));
            bits <<= shift;
        }
        return bits >> (64 - length);
    }

    /// Whether an input of \a size bytes contains the whole field. offset + length is taken modulo 2^32, so the result
    /// for a field that ends beyond 2^32 bits is that of the wrapped sum.
    bool Validate(unsigned int size) const noexcept;

    /// The number with the low \a count bits set; from 32 on, all of them.
    static constexpr unsigned int MakeMask(unsigned char count) noexcept
    {
        return count < 32 ? (1u << count) - 1 : ~0u;
    }

    /// Replaces \a out by the field. The offset is rounded down to a multiple of 8. Bytes that \a in does not have are
    /// 0.
    void ExtractByteAligned(std::vector<unsigned char>& in, std::vector<unsigned char>& out) const;

    /// Appends the field to \a out, for any offset. Bytes that \a in does not have are 0.
    void ExtractNonByteAligned(std::vector<unsigned char>& in, std::vector<unsigned char>& out) const;

    /// Cuts the field out of \a in, with all checks. Most callers want this function.
    ///
    /// \param append  whether to append the field to \a out or to replace its content.
    /// \return        whether \a in contains the whole field, with offset + length computed without wrapping; if not,
    ///                \a out is unchanged.
    bool ExtractField(std::vector<unsigned char>& in, std::vector<unsigned char>& out, bool append) const
    {
        if (append || in.size() < mWordEnd || out.size() != mWordSize) return ExtractAny(in, out, append);
        // One load covers the field, and the output has its size already. This takes a third of the time of the call.
        const std::uint64_t word = detail::LoadBig64(in.data() + (mWordEnd - 8));
        detail::StoreTopBytes(out.data(), word << mWordShift & mWordMask, mWordSize);
        return true;
    }

private:
    bool ExtractAny(std::vector<unsigned char>& in, std::vector<unsigned char>& out, bool append) const;

    unsigned int mOffset;
    unsigned int mLength;
    // Of a field that lies in the eight bytes from its first one on:
    std::size_t mWordEnd = ~std::size_t{0}; ///< The end of the eight bytes; of any other field one that no input has.
    std::uint64_t mWordMask = 0;            ///< The bits of the field when it is moved to the top.
    unsigned char mWordSize = 0;            ///< Of the field, in bytes.
    unsigned char mWordShift = 0;           ///< How far the field moves.
};

} // namespace zor::common

#endif // ZOR_COMMON_FIELD_EXTRACTOR_H
