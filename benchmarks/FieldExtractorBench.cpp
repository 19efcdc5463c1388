#include "Families.h"
#include "Rows.h"

#include <common/FieldExtractor.h>

#include <endian.h>

#include <cstring>

namespace zor::common::bench {

namespace {

using Bytes = std::vector<unsigned char>;

/// A packet that is large enough for the field, and no larger than usual where that is.
Bytes Packet(std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    Bytes packet(1500);
    for (unsigned char& byte : packet) byte = static_cast<unsigned char>(random());
    return packet;
}

/// A result that stays in its buffer.
struct View {
    const Bytes* bytes;

    bool operator==(const View& other) const { return *bytes == *other.bytes; }
};

/// The library's way into a vector that is used again.
auto Extract(unsigned int offset, unsigned int length)
{
    return [field = FieldExtractor(offset, length), out = Bytes()](const Bytes& packet) mutable {
        field.ExtractField(const_cast<Bytes&>(packet), out, false); // which changes no input that is not the output
        return View{&out};
    };
}

/// One shift and one OR a byte. The bits of a partial one come from one byte.
auto ByteLoop(unsigned int offset, unsigned int length)
{
    return [first = offset / 8, shift = offset % 8, size = length / 8, rest = length % 8,
            out = Bytes()](const Bytes& packet) mutable {
        out.resize(size + (rest != 0 ? 1 : 0));
        for (std::size_t i = 0; i < size; ++i) {
            const unsigned int pair = static_cast<unsigned int>(packet[first + i]) << 8 | packet[first + i + 1];
            out[i] = static_cast<unsigned char>(pair << shift >> 8);
        }
        if (rest != 0) out[size] = static_cast<unsigned char>(packet[first + size] << shift & 0xff00 >> rest);
        return View{&out};
    };
}

/// Whole bytes copied.
auto Assign(unsigned int offset, unsigned int length)
{
    return [first = offset / 8, size = length / 8, out = Bytes()](const Bytes& packet) mutable {
        out.assign(packet.data() + first, packet.data() + first + size);
        return View{&out};
    };
}

auto Memcpy(unsigned int offset, unsigned int length)
{
    return [first = offset / 8, size = length / 8, out = Bytes()](const Bytes& packet) mutable {
        out.resize(size);
        std::memcpy(out.data(), packet.data() + first, size);
        return View{&out};
    };
}

} // namespace

void FieldExtractorRows()
{
    const auto packets = [] { return Inputs(Packet, InputCount(1500)); };
    Row("Bit field, 12 bits at bit 4", 1.0, packets(), Extract(4, 12)).Beside("a byte loop", ByteLoop(4, 12));
    Row("Bit field, 48 bits at bit 16", 1.2, packets(), Extract(16, 48))
        .Beside("vector::assign", Assign(16, 48))
        .Beside("memcpy", Memcpy(16, 48));
    Row("Bit field, 64 bits at bit 13", 0.6, packets(), Extract(13, 64)).Beside("a byte loop", ByteLoop(13, 64));
    Row("Bit field, 8,000 bits at bit 83", 0.2, packets(), Extract(83, 8000)).Beside("a byte loop", ByteLoop(83, 8000));
    Row("Bit field as a number, 20 bits at bit 115", 2.0, packets(), [](const Bytes& packet) {
        return FieldExtractor::Get(packet.data(), packet.size(), 115, 20);
    }).Beside("a load, a swap and two shifts", [](const Bytes& packet) {
        std::uint64_t word = 0;
        std::memcpy(&word, packet.data() + 115 / 8, sizeof word);
        return be64toh(word) << 115 % 8 >> (64 - 20);
    });
    Row("Bit field, 64 bits at bit 80", 1.3, packets(), Extract(80, 64))
        .Beside("vector::assign", Assign(80, 64))
        .Beside("memcpy", Memcpy(80, 64));
    Row("Bit field, 8,000 bits at bit 80", 1.3, packets(), Extract(80, 8000))
        .Beside("vector::assign", Assign(80, 8000))
        .Beside("memcpy", Memcpy(80, 8000));
    Growth("Bit field at bit 3 by length", 4096, [](std::size_t size) {
        return [in = Bytes(size + 1, 0x5a), out = Bytes(),
                field = FieldExtractor(3, static_cast<unsigned int>(8 * size))]() mutable {
            field.ExtractField(in, out, false);
            return out.data();
        };
    });
}

} // namespace zor::common::bench
