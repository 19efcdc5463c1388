#ifndef ZOR_COMMON_GOOGLE_PROTO_BUF_H
#define ZOR_COMMON_GOOGLE_PROTO_BUF_H

/// \file
/// GoogleProtoBufEncoder, which appends single values in protocol-buffer wire format.

#include "Export.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zor::common {

/// Appends single values in the wire format of the Protocol Buffers encoding guide.
///
/// A message is its fields one after the other, each a tag followed by its value, in any order:
/// \code
/// std::vector<unsigned char> wire;
/// GoogleProtoBufEncoder::encodeTag(1, 0, wire);          // field 1, wire type 0: a varint follows
/// GoogleProtoBufEncoder::encodeUint32(300, wire);
/// GoogleProtoBufEncoder::encodeTag(2, 2, wire);          // field 2, wire type 2: a length follows
/// GoogleProtoBufEncoder::encodeString("abc", wire);      // wire is 08 ac 02 12 03 61 62 63
/// \endcode
///
/// Wire type 0 goes with every number and with bool (encodeUint32() of 0 or 1), wire type 2 with strings,
/// bytes and embedded messages (encodeBytes() of the encoded message).
///
/// A varint is the value in groups of 7 bits, the least significant first, one a byte; bit 7 is set on every
/// byte but the last. So 32 bits take 1 to 5 bytes and 64 bits 1 to 10.
///
/// Every function appends to \a out and leaves the bytes that are already there alone; when memory runs out,
/// `std::bad_alloc` or `std::length_error` passes and \a out is as before. Room grows by doubling, so that
/// many small values cost time in proportion to their bytes. There is no shared state: threads may encode into
/// distinct vectors at once.
class ZOR_COMMON_API GoogleProtoBufEncoder {
public:
    /// The varint.
    static void encodeUint64(const std::uint64_t& value, std::vector<unsigned char>& out)
    {
        if (value < 0x80) {
            out.push_back(static_cast<unsigned char>(value));
        } else {
            AppendVarint(value, out);
        }
    }

    /// The varint.
    static void encodeUint32(const std::uint32_t& value, std::vector<unsigned char>& out) { encodeUint64(value, out); }

    /// The varint of the 64 bits in two's complement: a negative value takes 10 bytes.
    static void encodeInt64(const std::int64_t& value, std::vector<unsigned char>& out)
    {
        encodeUint64(static_cast<std::uint64_t>(value), out);
    }

    /// As encodeInt64() of the same number: a negative value takes 10 bytes here too.
    static void encodeInt32(const std::int32_t& value, std::vector<unsigned char>& out) { encodeInt64(value, out); }

    /// The varint of the zigzag form: 0, -1, 1, -2, 2 become 0, 1, 2, 3, 4.
    static void encodeSint64(const std::int64_t& value, std::vector<unsigned char>& out)
    {
        encodeUint64(static_cast<std::uint64_t>(value) << 1 ^ static_cast<std::uint64_t>(value >> 63), out);
    }

    /// The same on 32 bits, in at most 5 bytes.
    static void encodeSint32(const std::int32_t& value, std::vector<unsigned char>& out)
    {
        encodeUint32(static_cast<std::uint32_t>(value) << 1 ^ static_cast<std::uint32_t>(value >> 31), out);
    }

    /// The key that stands before a value: the varint of `fieldNumber << 3 | wireType & 3`.
    ///
    /// \param fieldNumber  shifted in 32 bits, so that its top three bits are lost.
    /// \param wireType     its low two bits alone count, on purpose: 4 is written as 0 and 5 as 1, so the
    ///                     fixed 32-bit wire type cannot be written.
    static void encodeTag(const std::uint32_t& fieldNumber, const std::uint32_t& wireType,
                          std::vector<unsigned char>& out)
    {
        const std::uint32_t tag = fieldNumber << 3 | (wireType & 3);
        if (tag < 0x80) {
            out.push_back(static_cast<unsigned char>(tag));
        } else if (tag < 0x4000 && (out.data() + out.capacity()) - (out.data() + out.size()) >= 2) {
            out.push_back(static_cast<unsigned char>(tag | 0x80));
            out.push_back(static_cast<unsigned char>(tag >> 7));
        } else {
            AppendVarint(tag, out);
        }
    }

    /// The number of bytes, cut to 32 bits, as a varint, and then the bytes, NUL characters included.
    static void encodeString(const std::string& text, std::vector<unsigned char>& out)
    {
        AppendBytes(reinterpret_cast<const unsigned char*>(text.data()), text.size(), out);
    }

    /// As encodeString(). \a bytes may be \a out itself: its bytes before the call are appended.
    static void encodeBytes(const std::vector<unsigned char>& bytes, std::vector<unsigned char>& out);

    /// The varint of a number given as bytes, the most significant first. It is exact for up to 3 bytes, and for 4
    /// whose first is below 0x80; beyond that the arithmetic is that of signed 32 bits, which callers rely on:
    ///
    /// - a byte of 0x80 or more in the place of bits 24 to 31 sets bits 32 to 63 too, so 80 00 00 00 becomes
    ///   0xffffffff80000000;
    /// - shifts wrap at 32, so of 5 to 8 bytes the first ones are ORed onto the last four: 01 02 03 04 05
    ///   becomes 0x02030405, its first byte on the bits of the last.
    ///
    /// \param bytes   may be null if \a length is 0, and may point into \a out.
    /// \param length  in bytes. 0 gives the value 0; bytes after the eighth are not read.
    static void encodeMsbUint(const unsigned char* bytes, std::uint32_t length, std::vector<unsigned char>& out);

private:
    /// Varints of two bytes and more.
    static void AppendVarint(std::uint64_t value, std::vector<unsigned char>& out);

    /// The length and the bytes, of any size.
    static void AppendBytes(const unsigned char* bytes, std::size_t size, std::vector<unsigned char>& out);
};

} // namespace zor::common

#endif // ZOR_COMMON_GOOGLE_PROTO_BUF_H
