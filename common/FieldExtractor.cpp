#include "FieldExtractor.h"

#include "BigEndian.h"
#include "WordPair.h"

#include <algorithm>
#include <cstring>

namespace zor::common {

namespace {

/// Input bytes; those beyond the end read as 0.
struct Input {
    const unsigned char* bytes;
    std::size_t size;

    unsigned int operator[](std::size_t i) const noexcept { return i < size ? bytes[i] : 0u; }
};

/// A word's width of bytes, each from bit \a shift of one byte on, 0 < shift < 8. The shifts move bits from byte to
/// byte, which the masks clear again; so the order of bytes in a word does not matter.
template <class Word>
void CutWord(const unsigned char* in, unsigned long shift, unsigned char* out) noexcept
{
    constexpr unsigned long kEachByte = ~0ul / 0xff;
    Word first;
    Word second;
    std::memcpy(&first, in, sizeof first);
    std::memcpy(&second, in + 1, sizeof second);
    first = (first << shift) & kEachByte * (0xff & 0xff << shift);
    second = (second >> (8 - shift)) & kEachByte * (0xff >> (8 - shift));
    first |= second;
    std::memcpy(out, &first, sizeof first);
}

/// Writes \a count bytes, taken from bit \a shift of byte \a from on. Reads ahead of what it writes, so \a out may
/// be the start of the input.
void CutBytes(Input in, std::size_t from, unsigned int shift, unsigned char* out, std::size_t count) noexcept
{
    std::size_t i = 0;
    if (shift == 0) {
        i = std::min(count, in.size - std::min(from, in.size));
        if (i > 0) std::memmove(out, in.bytes + from, i);
    } else {
        // A step reads one byte more than it writes.
        const std::size_t safe = std::min(count, in.size - std::min(from + 1, in.size));
        for (; safe - i >= 16; i += 16) CutWord<detail::WordPair>(in.bytes + from + i, shift, out + i);
        if (safe - i >= 8) {
            CutWord<unsigned long>(in.bytes + from + i, shift, out + i);
            i += 8;
        }
    }
    for (; i < count; ++i) {
        out[i] = static_cast<unsigned char>(in[from + i] << shift | in[from + i + 1] >> (8 - shift));
    }
}

/// A field found in its input: the whole bytes and the bits of the partial one after them.
struct Field {
    std::size_t from;
    unsigned int shift;
    std::size_t whole;
    unsigned int rest;

    std::size_t Size() const noexcept { return whole + (rest != 0 ? 1 : 0); }

    /// The partial byte, whose bits come from one input byte alone.
    unsigned char Last(const Input& in) const noexcept
    {
        const unsigned int beyond = FieldExtractor::MakeMask(static_cast<unsigned char>(8 - rest));
        return static_cast<unsigned char>(in[from + whole] << shift & ~beyond);
    }
};

/// Makes \a out its first \a kept bytes and the field, where it is too short for both. What can fail comes first.
void ExtractGrowing(const Field& field, const std::vector<unsigned char>& in, std::vector<unsigned char>& out,
                    std::size_t kept)
{
    const std::size_t inSize = in.size();
    const std::size_t size = field.Size();
    unsigned char block[1024];
    if (size <= 64) { // goes out in one piece
        const Input input{in.data(), inSize};
        CutBytes(input, field.from, field.shift, block, field.whole);
        if (field.rest != 0) block[field.whole] = field.Last(input);
        if (kept == 0) {
            out.assign(block, block + size);
        } else {
            out.insert(out.end(), block, block + size);
        }
        return;
    }

    // Doubling keeps appending to one vector linear. Bytes that the vector has are overwritten and the others
    // inserted: resizing first would write those twice.
    if (kept + size > out.capacity()) out.reserve(std::max(kept + size, 2 * kept));
    const Input input{in.data(), inSize};
    std::size_t done = std::min(field.whole, out.size() - kept);
    CutBytes(input, field.from, field.shift, out.data() + kept, done);
    if (field.shift == 0 && &in != &out && field.from + done < inSize) {
        const unsigned char* start = input.bytes + field.from + done;
        const std::size_t count = std::min(field.whole - done, inSize - field.from - done);
        out.insert(out.end(), start, start + count);
        done += count;
    }
    while (done < field.whole) {
        const std::size_t count = std::min(field.whole - done, sizeof block);
        CutBytes(input, field.from + done, field.shift, block, count);
        out.insert(out.end(), block, block + count);
        done += count;
    }
    if (field.rest != 0) out.push_back(field.Last(input));
}

/// Makes \a out its first \a kept bytes and the field. Not inlined, so that fields which need no loop need no
/// stack: a seventh of their time.
[[gnu::noinline]] void Extract(const Field& field, const std::vector<unsigned char>& in,
                               std::vector<unsigned char>& out, std::size_t kept)
{
    const std::size_t total = kept + field.Size();
    if (total > out.size()) {
        ExtractGrowing(field, in, out, kept);
        return;
    }
    const Input input{in.data(), in.size()};
    unsigned char* bytes = out.data() + kept;
    CutBytes(input, field.from, field.shift, bytes, field.whole);
    if (field.rest != 0) bytes[field.whole] = field.Last(input);
    if (total != out.size()) out.resize(total);
}

/// Writes whole bytes from the start of a byte on, or 64 bits from any bit on, over a result of the same size, in one
/// step. False says that the field or the result is of another form.
inline bool OverwriteField(unsigned int offset, unsigned int length, const unsigned char* in, unsigned char* out,
                           std::size_t outSize) noexcept
{
    if (8 * outSize != length) return false;
    const unsigned char* const from = in + offset / 8;
    const unsigned int shift = offset % 8;
    if (length == 64) {
        std::uint64_t bits = detail::LoadBig64(from);
        if (shift != 0) bits = bits << shift | from[8] >> (8 - shift); // the last bits of the field are in that byte
        detail::StoreBig64(out, bits);
        return true;
    }
    if (shift != 0) return false;
    if (outSize > 0) std::memmove(out, from, outSize);
    return true;
}

} // namespace

bool FieldExtractor::Validate(unsigned int size) const noexcept
{
    const unsigned int end = mOffset + mLength;
    return end / 8 + (end % 8 != 0 ? 1 : 0) <= size;
}

void FieldExtractor::ExtractByteAligned(std::vector<unsigned char>& in, std::vector<unsigned char>& out) const
{
    Extract({mOffset / 8, 0, mLength / 8, mLength % 8}, in, out, 0);
}

void FieldExtractor::ExtractNonByteAligned(std::vector<unsigned char>& in, std::vector<unsigned char>& out) const
{
    Extract({mOffset / 8, mOffset % 8, mLength / 8, mLength % 8}, in, out, out.size());
}

/// ExtractField() for any field and any output.
bool FieldExtractor::ExtractAny(std::vector<unsigned char>& in, std::vector<unsigned char>& out, bool append) const
{
    // In 64 bits nothing wraps, and what Validate() would accept by a wrapped sum fails.
    if (std::size_t{mOffset} + mLength > std::min<std::size_t>(8 * in.size(), ~0u)) return false;
    const std::size_t kept = append ? out.size() : 0;
    if (OverwriteField(mOffset, mLength, in.data(), out.data() + kept, out.size() - kept)) return true;
    const Field field = {mOffset / 8, mOffset % 8, mLength / 8, mLength % 8};
    Extract(field, in, out, kept);
    return true;
}

} // namespace zor::common
