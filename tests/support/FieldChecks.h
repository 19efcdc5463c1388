#ifndef ZOR_COMMON_TESTS_FIELD_CHECKS_H
#define ZOR_COMMON_TESTS_FIELD_CHECKS_H

/// \file
/// Byte fields and bit fields, checked against the plain rules on what a test or a fuzzer draws.

#include "HexfieldModel.h"
#include "Random.h"

#include <common/FieldExtractor.h>
#include <common/Hexfield.h>

#include <gtest/gtest.h>

#include <functional>
#include <iterator>

namespace zor::common::test {

/// Digits, with what may stand between them, and now and then a fault.
inline std::string MakeDigits(Random& random)
{
    std::string text;
    const std::size_t bytes = random.Below(random.Below(8) == 0 ? 300 : 60);
    const auto form = random.Below(3);
    for (std::size_t i = 0; i < bytes; ++i) {
        if (i > 0 && (form == 1 || (form == 2 && i % 2 == 0))) text += ":- g"[random.Below(4)];
        for (int k = 0; k < 2; ++k) text += "0123456789abcdefABCDEF"[random.Below(22)];
    }
    if (!text.empty() && random.Below(2) == 0) text[random.Below(text.size())] = static_cast<char>(random.Byte());
    if (random.Below(4) == 0) text.erase(0, random.Below(3));
    return random.Below(8) == 0 ? random.Mutated(text, "09afAF:g") : text;
}

/// Whatever stands between the digits, and wherever a form that is read by steps of its own breaks off.
inline void CheckHexfieldText(Random& random)
{
    Hexfield used(random.Text("0f", random.Below(60)));
    const std::string text = random.TextBy([&] { return MakeDigits(random); });
    std::string digits;
    std::copy_if(text.begin(), text.end(), std::back_inserter(digits),
                 [](char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f'); });
    if (digits.size() % 2 != 0) digits.insert(0, 1, '0');
    std::transform(digits.begin(), digits.end(), digits.begin(),
                   [](char c) { return c >= 'A' && c <= 'F' ? static_cast<char>(c + ('a' - 'A')) : c; });
    used.CopyFromString(text);
    ASSERT_EQ(used.ToString(), digits) << text;
    ASSERT_EQ(Hexfield(text), used) << text;
}

/// What is done to a field \a x, with another one, which may be the same object, and a number; and the same by the rules.
struct HexfieldOperation {
    const char* name;
    void (*run)(Hexfield& x, Hexfield& y, unsigned int number);
    void (*byRule)(HexfieldModel& x, HexfieldModel& y, unsigned int number);
};

inline constexpr HexfieldOperation kHexfieldOperations[] = {
    {"+=", [](auto& x, auto& y, auto) { x += y; }, [](auto& x, auto& y, auto) { x = x.Plus(y); }},
    {"+", [](auto& x, auto& y, auto) { x = x + y; }, [](auto& x, auto& y, auto) { x = x.Plus(y); }},
    {"-=", [](auto& x, auto& y, auto) { x -= y; }, [](auto& x, auto& y, auto) { x = x.Minus(y); }},
    {"-", [](auto& x, auto& y, auto) { x = x - y; }, [](auto& x, auto& y, auto) { x = x.Minus(y); }},
    {"|=", [](auto& x, auto& y, auto) { x |= y; }, [](auto& x, auto& y, auto) { x = x.With(y, std::bit_or()); }},
    {"|", [](auto& x, auto& y, auto) { x = x | y; }, [](auto& x, auto& y, auto) { x = x.With(y, std::bit_or()); }},
    {"&=", [](auto& x, auto& y, auto) { x &= y; }, [](auto& x, auto& y, auto) { x = x.With(y, std::bit_and()); }},
    {"&", [](auto& x, auto& y, auto) { x = x & y; }, [](auto& x, auto& y, auto) { x = x.With(y, std::bit_and()); }},
    {"+ number", [](auto& x, auto&, auto n) { x = x + n; }, [](auto& x, auto&, auto n) { x = x.Plus(n); }},
    {"~", [](auto& x, auto&, auto) { x = ~x; }, [](auto& x, auto&, auto) { x = x.Inverted(); }},
    {"negative", [](auto& x, auto&, auto) { x = -x; }, [](auto& x, auto&, auto) { x = x.Inverted().Plus(1); }},
    {"*", [](auto& x, auto&, auto n) { x = x * n; }, [](auto& x, auto&, auto n) { x = x.Times(n); }},
    {"*=", [](auto& x, auto&, auto n) { x *= n; }, [](auto& x, auto&, auto n) { x = x.Times(n); }},
    {"normalize", [](auto& x, auto&, auto n) { x.normalize(static_cast<unsigned short>(n % 40)); },
     [](auto& x, auto&, auto n) { x = x.At(n % 40); }},
    {"widen", [](auto& x, auto&, auto n) { x.normalize(static_cast<unsigned short>(n % 200)); },
     [](auto& x, auto&, auto n) { x = x.At(n % 200); }},
    {"SetByte", [](auto& x, auto&, auto n) { x.SetByte(n % 24, static_cast<unsigned char>(n >> 8)); },
     [](auto& x, auto&, auto n) {
         if (n % 24 < x.size) x.SetByte(n % 24, n >> 8 & 0xff);
     }},
    {"copy", [](auto& x, auto& y, auto) { x = y; }, [](auto& x, auto& y, auto) { x = y; }},
    {"copy of a copy", [](auto& x, auto& y, auto) { x = Hexfield(y); }, [](auto& x, auto& y, auto) { x = y; }},
    {"move", [](auto& x, auto& y, auto) { x = std::move(y); },
     [](auto& x, auto& y, auto) {
         if (&x != &y) x = std::exchange(y, HexfieldModel());
     }},
    {"swap", [](auto& x, auto& y, auto) { std::swap(x, y); }, [](auto& x, auto& y, auto) { std::swap(x, y); }},
    {"MaskMultiply", [](auto& x, auto& y, auto n) { x.MaskMultiply(n, y); },
     [](auto& x, auto& y, auto n) { x.MaskMultiply(n, HexfieldModel(y)); }},
};

/// Chains of operations, so that what one leaves behind takes part in what follows: room that is no longer used, and the
/// bits that MaskMultiply leaves beyond the width.
class HexfieldChain {
public:
    void Step(Random& random)
    {
        const std::size_t a = random.Below(2);
        const std::size_t b = random.Below(2); // often the same object
        const auto number = static_cast<unsigned int>(random.Number() >> random.Below(64));
        const std::size_t drawn = random.Below(std::size(kHexfieldOperations) + 8);
        const auto& operation = kHexfieldOperations[std::min(drawn, std::size(kHexfieldOperations) - 1)];
        SCOPED_TRACE(operation.name);
        operation.run(mFields[a], mFields[b], number);
        operation.byRule(mModels[a], mModels[b], number);
        ASSERT_NO_FATAL_FAILURE(Check(mFields[a], mModels[a], random));
        if (random.Below(8) != 0) return;
        Read(random, mFields[b], mModels[b]);
        ASSERT_NO_FATAL_FAILURE(Check(mFields[b], mModels[b], random));
    }

private:
    /// Words of 00 and ff, which lose carries, and others, read in any form.
    static void Read(Random& random, Hexfield& field, HexfieldModel& model)
    {
        std::string bytes(random.Below(random.Below(8) == 0 ? 300 : 40), '\0');
        for (std::size_t i = 0, kind = 0; i < bytes.size(); ++i) {
            if ((bytes.size() - i) % 4 == 0) kind = random.Below(3);
            bytes[i] = static_cast<char>(kind == 0 ? 0 : kind == 1 ? 0xff : random.Byte());
        }
        model = HexfieldModel::Of(bytes);
        const bool first = random.Below(2) == 0;
        if (!first) std::reverse(bytes.begin(), bytes.end());
        const auto* const data = reinterpret_cast<const unsigned char*>(bytes.data());
        switch (random.Below(4)) {
        case 0: field.CopyFromByteArray(data, static_cast<unsigned int>(bytes.size()), first); break;
        case 1: field.CopyFromBinaryString(bytes, first); break;
        case 2: field = Hexfield(bytes, true, first); break;
        default: field.CopyFromString(model.Text());
        }
    }

    static void Check(const Hexfield& field, const HexfieldModel& model, Random& random)
    {
        const std::string bytes = model.Bytes();
        ASSERT_EQ(field.GetSize(), model.size);
        ASSERT_EQ(field.ToString(), model.Text());
        ASSERT_EQ(field.ToBinaryString(true), bytes);
        const std::string reversed(bytes.rbegin(), bytes.rend()), guard(20, '#');
        std::string written = model.Text() + guard + reversed + guard;
        std::fill(written.begin(), written.end(), '#');
        field.CopyToHexArray(written.data());
        field.CopyToByteArray(reinterpret_cast<unsigned char*>(written.data()) + 2 * bytes.size() + 20, false);
        ASSERT_EQ(written, model.Text() + guard + reversed + guard) << "and nothing beyond";
        const auto index = static_cast<unsigned int>(random.Below(model.size + 2u));
        ASSERT_EQ(field.GetByte(index), index < model.size ? model.Byte(index) : 0u) << index;

        HexfieldModel near = HexfieldModel::Of(bytes); // which differs, if at all, in two bytes or in its width
        if (random.Below(2) == 0 && index < near.size) near.SetByte(index, near.Byte(index) ^ 1u << random.Below(8));
        if (random.Below(4) == 0) near = near.At(static_cast<unsigned int>(random.Below(40)));
        if (random.Below(8) == 0 && near.size > 0) near.SetByte(static_cast<unsigned int>(random.Below(near.size)), 1);
        const Hexfield other(near.Bytes(), true, true);
        const bool equal = model == near, less = model.Less(near), greater = near.Less(model);
        SCOPED_TRACE(near.Text());
        ASSERT_EQ(std::pair(field == other, field != other), std::pair(equal, !equal));
        ASSERT_EQ(std::hash<Hexfield>()(field) == std::hash<Hexfield>()(other), equal);
        ASSERT_EQ(std::pair(field < other, field >= other), std::pair(less, !less));
        ASSERT_EQ(std::pair(field > other, field <= other), std::pair(greater, !greater));
    }

    Hexfield mFields[2];
    HexfieldModel mModels[2] = {{1, {0}}, {1, {0}}};
};

inline void CheckHexfield(Random& random)
{
    HexfieldChain chain;
    for (int step = 0; step < 40 && random.HasMore() && !testing::Test::HasFailure(); ++step) chain.Step(random);
}

using Bytes = std::vector<unsigned char>;

/// The field bit by bit, with zeros where the input ends. Bits of a last partial byte come from one input byte.
inline Bytes CutByBit(const Bytes& in, unsigned int offset, unsigned int length, bool aligned)
{
    if (aligned) offset -= offset % 8;
    Bytes out((length + 7) / 8);
    for (unsigned int i = 0; i < length; ++i) {
        const unsigned int from = offset + i;
        if (from / 8 >= in.size()) continue;
        if (length / 8 == i / 8 && from / 8 != (offset + i / 8 * 8) / 8) continue;
        if ((in[from / 8] & 128 >> from % 8) != 0) out[i / 8] |= static_cast<unsigned char>(128 >> i % 8);
    }
    return out;
}

inline void CheckFieldExtractor(Random& random)
{
    const std::size_t size = random.Below(random.Below(50) == 0 ? 1500 : 40);
    const std::size_t beyond = random.Below(4) == 0 ? 3000 : 20; // how far, in bits, it may leave the input
    Bytes in(size);
    for (unsigned char& byte : in) byte = random.Byte();
    unsigned int offset = static_cast<unsigned int>(random.Below(8 * size + beyond));
    if (random.Below(3) == 0) offset -= offset % 8;
    const auto length =
        random.Below(9) == 0 ? 64 : static_cast<unsigned int>(random.Below(8 * size + 2 * beyond - offset));
    const FieldExtractor field(offset, length);
    SCOPED_TRACE(testing::Message() << offset << ", " << length << " of " << size);
    std::uint64_t number = 0;
    for (std::size_t i = offset; i < offset + length && length <= 64; ++i)
        number = number << 1 | (i / 8 < size && (in[i / 8] & 128 >> i % 8) != 0 ? 1 : 0);
    ASSERT_EQ(FieldExtractor::Get(in.data(), size, offset, length), number);

    Bytes before(random.Below(3) == 0 ? (length + 7) / 8 : random.Below(2 * size + 1), 0x5a);
    const bool reserve = random.Below(2) == 0;
    const Bytes cut = CutByBit(in, offset, length, false);
    const bool fits = offset + length <= 8 * size;
    random.accepted += fits;
    for (const bool same : {false, true}) { // whether input and output are one vector
        const Bytes start = same ? in : before;
        Bytes joined = start, source = in, out = start;
        if (reserve) out.reserve(start.size() + size + 4);
        Bytes& input = same ? out : source;
        joined.insert(joined.end(), cut.begin(), cut.end());
        ASSERT_EQ(field.ExtractField(input, out, true), fits);
        ASSERT_EQ(out, fits ? joined : start);
        out = start;
        ASSERT_EQ(field.ExtractField(input, out, false), fits);
        ASSERT_EQ(out, fits ? cut : start);
        out = start;
        field.ExtractNonByteAligned(input, out);
        ASSERT_EQ(out, joined);
        out = start;
        field.ExtractByteAligned(input, out);
        ASSERT_EQ(out, CutByBit(in, offset, length, true));
        ASSERT_EQ(source, in);
    }
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_FIELD_CHECKS_H
