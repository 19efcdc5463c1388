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
/// A message is a sequence of fields in any order. Each field is a tag followed by a value:
/// \code
/// std::vector<unsigned char> wire;
/// GoogleProtoBufEncoder::encodeTag(1, 0, wire);          // field 1, wire type 0: a varint follows
/// GoogleProtoBufEncoder::encodeUint32(300, wire);
/// GoogleProtoBufEncoder::encodeTag(2, 2, wire);          // field 2, wire type 2: a length follows
/// GoogleProtoBufEncoder::encodeString("abc", wire);      // wire is 08 ac 02 12 03 61 62 63
/// \endcode
///
/// Use wire type 0 for every number and for bool (encodeUint32() of 0 or 1), and wire type 2 for strings, bytes and
/// embedded messages (encodeBytes() of the encoded message).
///
/// A varint is the value in groups of 7 bits, the least significant group first, one group in each byte; bit 7 is set
/// in every byte except the last. So 32 bits take 1 to 5 bytes and 64 bits 1 to 10.
///
/// Every function appends to \a out and does not change the bytes before. If an allocation fails, `std::bad_alloc` or
/// `std::length_error` is thrown and \a out is as before. The capacity grows by doubling, so the time for many small
/// values is proportional to their bytes. There is no shared state: threads may encode into distinct vectors at once.
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

    /// The tag before a value: the varint of `fieldNumber << 3 | wireType & 3`.
    ///
    /// \param fieldNumber  shifted in 32 bits, so its top three bits are lost.
    /// \param wireType     only its low two bits are used, deliberately: 4 is written as 0 and 5 as 1, so the fixed
    ///                     32-bit wire type cannot be written.
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
    /// bytes if the first one is below 0x80. For other numbers the arithmetic is that of signed 32-bit integers, which
    /// stays because callers rely on it:
    ///
    /// - a byte of 0x80 or more in bits 24 to 31 also sets bits 32 to 63, so 80 00 00 00 becomes 0xffffffff80000000;
    /// - shift counts wrap at 32, so the first bytes of 5 to 8 are ORed into the last four: 01 02 03 04 05 becomes
    ///   0x02030405, with the first byte in the same bits as the last.
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
