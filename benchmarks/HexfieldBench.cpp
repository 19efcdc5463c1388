#include "Families.h"
#include "Rows.h"

#include <common/Hexfield.h>

#include <algorithm>
#include <cstring>

#if HAVE_ABSL
#include <absl/strings/escaping.h>
#endif
#if HAVE_BOOST
#include <boost/multiprecision/cpp_int.hpp>
#endif
#if HAVE_GMP
#include <gmp.h>
#endif
#if HAVE_SODIUM
#include <sodium.h>
#endif

namespace zor::common::bench {

namespace {

std::string Bytes(std::size_t size, std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    return bytes;
}

// ---- arithmetic

/// Pairs of numbers of one width, as each library keeps them.
template <class Number>
using Pairs = std::shared_ptr<const std::vector<std::pair<Number, Number>>>;

template <class Number, class Make>
Pairs<Number> MakePairs(std::size_t size, Make make)
{
    std::vector<std::pair<Number, Number>> pairs;
    for (std::uint64_t seed = 0; pairs.size() < InputCount(2 * size); seed += 2) {
        pairs.emplace_back(make(Bytes(size, seed)), make(Bytes(size, seed + 1)));
    }
    return std::make_shared<const std::vector<std::pair<Number, Number>>>(std::move(pairs));
}

Pairs<Hexfield> Fields(std::size_t size)
{
    return MakePairs<Hexfield>(size, [](const std::string& bytes) { return Hexfield(bytes, true, true); });
}

std::string Width(std::size_t size)
{
    return std::to_string(size) + " bytes";
}

/// A result that stays where it is.
template <class Number>
struct View {
    const Number* number;
};

#if HAVE_GMP

/// A number in a buffer of its own.
struct Limbs {
    std::unique_ptr<mp_limb_t[]> data;
    std::size_t size; ///< In bytes.

    explicit Limbs(std::size_t bytes) : data(new mp_limb_t[(bytes + 7) / 8]), size(bytes) {}
    explicit Limbs(const std::string& bytes) : Limbs(bytes.size())
    {
        std::fill_n(data.get(), Count(), mp_limb_t{0});
        for (std::size_t i = 0; i < size; ++i) {
            data[i / 8] |= mp_limb_t{static_cast<unsigned char>(bytes[size - 1 - i])} << i % 8 * 8;
        }
    }

    Limbs(const Limbs& other) : Limbs(other.size) { std::copy_n(other.data.get(), Count(), data.get()); }
    Limbs(Limbs&&) = default;

    mp_size_t Count() const { return static_cast<mp_size_t>((size + 7) / 8); }
};

/// By value modulo 256^size.
bool operator==(const Hexfield& field, const Limbs& limbs)
{
    if (field.GetSize() != limbs.size) return false;
    for (std::size_t i = 0; i < limbs.size; ++i) {
        const auto byte = static_cast<unsigned char>(limbs.data[i / 8] >> i % 8 * 8);
        if (field.GetByte(static_cast<unsigned int>(limbs.size - 1 - i)) != byte) return false;
    }
    return true;
}

bool operator==(View<Hexfield> field, View<Limbs> limbs)
{
    return *field.number == *limbs.number;
}

#endif

#if HAVE_BOOST

struct Integer {
    boost::multiprecision::cpp_int value;
};

Integer ReadInteger(const std::string& bytes)
{
    const std::vector<unsigned char> digits(bytes.begin(), bytes.end()); // to the base of 256
    Integer integer;
    import_bits(integer.value, digits.begin(), digits.end());
    return integer;
}

/// By value modulo 256^width of the field.
bool operator==(const Hexfield& field, const Integer& integer)
{
    const Integer modulus = {boost::multiprecision::cpp_int(1) << 8 * field.GetSize()};
    return ReadInteger(field.ToBinaryString(true)).value == integer.value % modulus.value;
}

#endif

/// Sums and differences do more than the bare loops of others.
template <class AnyRow>
void GiveReason(AnyRow& row, const char* operation)
{
    if (*operation != '+' && *operation != '-') return;
    row.Because("It looks for the words behind which a carry is lost, and keeps the width.");
}

/// One operation into a new field beside the same into a new buffer and, for narrow fields, into a new cpp_int.
template <class Ours, class Gmp, class Boost>
void NewFieldRow(const char* operation, std::size_t size, double atMost, Ours ours, [[maybe_unused]] Gmp gmp,
                 [[maybe_unused]] Boost boost)
{
    const bool narrow = size <= 64;
    Row row(std::string("Hexfield ") + operation + " into a new field, " + Width(size), atMost,
            Steps(InputCount(2 * size)),
            [pairs = Fields(size), ours](std::uint32_t i) { return ours((*pairs)[i].first, (*pairs)[i].second); });
    GiveReason(row, operation);
#if HAVE_GMP
    const auto limbs = MakePairs<Limbs>(size, [](const std::string& bytes) { return Limbs(bytes); });
    row.Against("GMP", [limbs, gmp, size](std::uint32_t i) {
        const auto& [left, right] = (*limbs)[i];
        Limbs result(size);
        gmp(result.data.get(), left.data.get(), right.data.get(), result.Count());
        return result;
    });
#else
    row.Missing("GMP");
#endif
#if HAVE_BOOST
    if (!narrow) return;
    const Integer modulus = {boost::multiprecision::cpp_int(1) << 8 * size};
    row.Against("cpp_int", [pairs = MakePairs<Integer>(size, ReadInteger), boost, modulus](std::uint32_t i) {
        const auto& [left, right] = (*pairs)[i];
        return Integer{boost(left.value, right.value, modulus.value)};
    });
#else
    if (narrow) row.Missing("cpp_int");
#endif
}

/// One operation in place, which goes on from its last result.
template <class Ours, class Gmp>
void InPlaceRow(const char* operation, std::size_t size, Ours ours, [[maybe_unused]] Gmp gmp)
{
    const std::string start = Bytes(size, 99);
    Row row(std::string("Hexfield ") + operation + " in place, " + Width(size), 1.5, Steps(InputCount(2 * size)),
            [pairs = Fields(size), ours, field = Hexfield(start, true, true)](std::uint32_t i) mutable {
                ours(field, (*pairs)[i].first);
                return View<Hexfield>{&field};
            });
    GiveReason(row, operation);
#if HAVE_GMP
    const auto limbs = MakePairs<Limbs>(size, [](const std::string& bytes) { return Limbs(bytes); });
    row.Against("GMP", [limbs, gmp, number = Limbs(start)](std::uint32_t i) mutable {
        gmp(number.data.get(), (*limbs)[i].first.data.get(), number.Count());
        return View<Limbs>{&number};
    });
#else
    row.Missing("GMP");
#endif
}

void ArithmeticRows(std::size_t size, double atMost)
{
    NewFieldRow(
        "+", size, atMost, [](const Hexfield& left, const Hexfield& right) { return left + right; },
        [](auto* out, auto* left, auto* right, auto count) { mpn_add_n(out, left, right, count); },
        [](const auto& left, const auto& right, const auto&) { return left + right; });
    NewFieldRow(
        "AND", size, atMost, [](const Hexfield& left, const Hexfield& right) { return left & right; },
        [](auto* out, auto* left, auto* right, auto count) { mpn_and_n(out, left, right, count); },
        [](const auto& left, const auto& right, const auto&) { return left & right; });
    NewFieldRow(
        "OR", size, atMost, [](const Hexfield& left, const Hexfield& right) { return left | right; },
        [](auto* out, auto* left, auto* right, auto count) { mpn_ior_n(out, left, right, count); },
        [](const auto& left, const auto& right, const auto&) { return left | right; });
    NewFieldRow(
        "unary -", size, atMost, [](const Hexfield& left, const Hexfield&) { return -left; },
        [](auto* out, auto* left, auto*, auto count) { mpn_neg(out, left, count); },
        [](const auto& left, const auto&, const auto& modulus) { return modulus - left; });
}

void InPlaceRows(std::size_t size)
{
    InPlaceRow(
        "+=", size, [](Hexfield& field, const Hexfield& other) { field += other; },
        [](auto* out, auto* other, auto count) { mpn_add_n(out, out, other, count); });
    InPlaceRow(
        "-=", size, [](Hexfield& field, const Hexfield& other) { field -= other; },
        [](auto* out, auto* other, auto count) { mpn_sub_n(out, out, other, count); });
    InPlaceRow(
        "AND=", size, [](Hexfield& field, const Hexfield& other) { field &= other; },
        [](auto* out, auto* other, auto count) { mpn_and_n(out, out, other, count); });
    InPlaceRow(
        "OR=", size, [](Hexfield& field, const Hexfield& other) { field |= other; },
        [](auto* out, auto* other, auto count) { mpn_ior_n(out, out, other, count); });
}

// ---- text

std::string Digits(const std::string& bytes)
{
    return Hexfield(bytes, true, true).ToString();
}

std::string Separated(const std::string& bytes)
{
    const std::string digits = Digits(bytes);
    std::string text;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        if (i > 0) text += ':';
        text.append(digits, i, 2);
    }
    return text;
}

/// Bytes or text of others, which is not to be read as hexadecimal.
struct Other {
    std::string text;
};

[[maybe_unused]] bool operator==(const Hexfield& field, const Other& other)
{
    return field.ToBinaryString(true) == other.text;
}

[[maybe_unused]] bool operator==(View<Hexfield> field, View<Other> other)
{
    return *field.number == *other.number;
}

void TextRows(std::size_t size, double atMost)
{
    const auto bytes = [size](std::uint64_t random) { return Bytes(size, random); };

    Row read("Hexfield from hex, " + Width(size), atMost,
             Inputs([&](std::uint64_t random) { return Digits(bytes(random)); }, InputCount(2 * size)),
             [](const std::string& text) { return Hexfield(text); });
    struct Field {
        Hexfield hexfield;
        std::string bytes;
    };
    Row write("Hexfield to hex, " + Width(size), atMost,
              Inputs(
                  [&](std::uint64_t random) {
                      const std::string text = bytes(random);
                      return Field{Hexfield(text, true, true), text};
                  },
                  InputCount(3 * size)),
              [](const Field& field) { return field.hexfield.ToString(); });
#if HAVE_ABSL
    read.Against("absl", [](const std::string& text) { return Other{absl::HexStringToBytes(text)}; });
    write.Against("absl", [](const Field& field) { return absl::BytesToHexString(field.bytes); });
#else
    read.Missing("absl");
    write.Missing("absl");
#endif

    Row separated("Hexfield from hex with ':', " + Width(size), 0.4,
                  Inputs([&](std::uint64_t random) { return Separated(bytes(random)); }, InputCount(3 * size)),
                  [field = Hexfield()](const std::string& text) mutable {
                      field.CopyFromString(text);
                      return View<Hexfield>{&field};
                  });
#if HAVE_SODIUM
    separated.Against("libsodium", [buffer = Other{std::string(size, '\0')}](const std::string& text) mutable {
        auto* const out = reinterpret_cast<unsigned char*>(buffer.text.data());
        std::size_t length = 0;
        sodium_hex2bin(out, buffer.text.size(), text.data(), text.size(), ":", &length, nullptr);
        return View<Other>{&buffer};
    });
#else
    separated.Missing("libsodium");
#endif
}

void GrowthRows()
{
    const auto field = [](std::size_t size) { return Hexfield(Bytes(size, size), true, true); };
    Growth("Hexfield + by width", 4096,
           [&](std::size_t size) { return [left = field(size), right = field(size - 1)] { return left + right; }; });
    Growth("Hexfield -= by width", 4096, [&](std::size_t size) {
        return [left = field(size), right = field(size - 1)]() mutable { return &(left -= right); };
    });
    Growth("Hexfield from hex by width", 4096,
           [&](std::size_t size) { return [text = field(size).ToString()] { return Hexfield(text); }; });
    Growth("Hexfield from hex with ':' by width", 4096,
           [](std::size_t size) { return [text = Separated(Bytes(size, size))] { return Hexfield(text); }; });
    Growth("Hexfield to hex by width", 4096,
           [&](std::size_t size) { return [left = field(size)] { return left.ToString(); }; });
}

} // namespace

void HexfieldRows()
{
    ArithmeticRows(4, 1.0);
    ArithmeticRows(16, 1.0);
    ArithmeticRows(64, 1.2);
    ArithmeticRows(1500, 1.3);
    ArithmeticRows(65535, 1.3);
    for (const std::size_t size : {4u, 16u, 64u, 1500u, 65535u}) InPlaceRows(size);
    TextRows(16, 0.5);
    TextRows(1500, 0.4);
    TextRows(65535, 0.4);
    GrowthRows();
}

} // namespace zor::common::bench
