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

/// A bit field of a header: where it starts and how long it is, ready to be cut out of any number of packets.
///
/// Bits count from 0, the most significant bit of the first byte, as header diagrams do: bit p is the bit of
/// value 128 >> p % 8 in byte p / 8. A field comes out left-aligned: its first bit is the top bit of the first
/// output byte, and the bits of the last byte beyond the field are 0.
/// \code
/// std::vector<unsigned char> tci = {0xa0, 0x64};            // an IEEE 802.1Q tag: priority 5, VLAN 100
/// std::vector<unsigned char> out;
/// FieldExtractor(0, 3).ExtractField(tci, out, false);       // true; out is {0xa0}, the priority in the top 3 bits
/// FieldExtractor(4, 12).ExtractField(tci, out, false);      // true; out is {0x06, 0x40}
/// FieldExtractor(4, 13).ExtractField(tci, out, false);      // false, 17 bits do not fit; out is unchanged
/// \endcode
///
/// A field that does not start on a byte has a limit, on which existing users rely: where its length leaves a
/// last partial byte, the bits of that byte are taken from one input byte alone, and those that lie in the next
/// one come out as 0. Four bits at bit 6 of {0x03, 0xc0} give {0xc0}, not {0xf0}. To get all bits, ask for a
/// multiple of 8 bits and ignore the surplus, or for a field that ends inside the byte.
///
/// An extractor is two numbers and may be used by several threads at once. Input and output may be one vector:
/// the result is as if the input had been copied first. Each output byte is written once, and an output vector
/// with enough capacity is not reallocated. If an allocation fails, the output is as it was before the call.
class ZOR_COMMON_API FieldExtractor {
public:
    /// \param offset  the position of the first bit.
    /// \param length  in bits; 0 gives an empty field. Nothing is checked here.
    constexpr FieldExtractor(unsigned int offset, unsigned int length) noexcept : mOffset(offset), mLength(length) {}

    /// A field of up to 64 bits as a number, right-aligned, straight out of any bytes: no vector, no extractor.
    /// \code
    /// const unsigned char frame[] = {2, 0, 0, 0, 0, 0xfe, 2, 0, 0, 0, 0, 1, 0x81, 0, 0xa0, 0x64};
    /// FieldExtractor::Get(frame, sizeof frame, 112 + 4, 12);   // 100, the VLAN id: the tag starts at bit 112
    /// \endcode
    ///
    /// \param bytes   \a size bytes, none of which is changed; may be null where \a size is 0.
    /// \param offset  the position of the first bit; any number.
    /// \param length  in bits; 0, or more than 64, gives 0.
    /// \return        the field. Bits beyond the bytes read as 0, those of a field that lies across the end too. The
    ///                limit of a last partial byte, above, does not hold here.
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

    /// Whether an input of \a size bytes holds the whole field, that is, its last bit. offset + length is taken
    /// modulo 2^32, so a field that ends beyond that passes or fails by the wrapped sum.
    bool Validate(unsigned int size) const noexcept;

    /// The number with the low \a count bits set; from 32 on, all of them.
    static constexpr unsigned int MakeMask(unsigned char count) noexcept
    {
        return count < 32 ? (1u << count) - 1 : ~0u;
    }

    /// Replaces \a out by the field for an offset that is a multiple of 8; the surplus bits of another offset are
    /// ignored. Bytes that \a in does not have read as 0.
    void ExtractByteAligned(std::vector<unsigned char>& in, std::vector<unsigned char>& out) const;

    /// Appends the field to \a out, for any offset. Bytes that \a in does not have read as 0.
    void ExtractNonByteAligned(std::vector<unsigned char>& in, std::vector<unsigned char>& out) const;

    /// Cuts the field out of \a in, checked: what most callers want.
    ///
    /// \param append  whether to add the field at the end of \a out or to replace its content.
    /// \return        whether \a in holds the field, by Validate() and without wrapping; if not, \a out is
    ///                unchanged.
    bool ExtractField(std::vector<unsigned char>& in, std::vector<unsigned char>& out, bool append) const;

private:
    unsigned int mOffset;
    unsigned int mLength;
};

} // namespace zor::common

#endif // ZOR_COMMON_FIELD_EXTRACTOR_H
