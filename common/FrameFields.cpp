#include "BigEndian.h"
#include "FrameBuilder.h"
#include "FrameLayers.h"
#include "IndexCounter.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <unordered_map>
#include <utility>

namespace zor::common {

namespace detail {

std::string FrameField::GetText() const
{
    unsigned char text[16];
    StoreBig128(text, first);
    return {reinterpret_cast<const char*>(text) + 16 - size, size};
}

std::uint64_t FrameField::CountSums() const noexcept
{
    const std::size_t zeros = step.low != 0    ? static_cast<std::size_t>(__builtin_ctzll(step.low))
                              : step.high != 0 ? 64 + static_cast<std::size_t>(__builtin_ctzll(step.high))
                                               : 8 * size;
    const std::size_t power = 8 * size - zeros;
    return power < 64 ? std::uint64_t{1} << power : 0;
}

namespace {

__extension__ typedef __int128 SignedProduct;

[[noreturn]] void Refuse(const std::string& who, const std::string& why)
{
    throw std::invalid_argument(who + ": " + why);
}

Uint128 Truncated(const Uint128& number, std::size_t size)
{
    if (size > 8) return {number.high & LowBits(static_cast<unsigned int>(8 * (size - 8))), number.low};
    return {0, number.low & LowBits(static_cast<unsigned int>(8 * size))};
}

/// Whether first + turn * step stays from 0 to \a most at all turns.
bool StaysBelow(const FrameValue& value, std::uint64_t most)
{
    const auto step = static_cast<SignedProduct>(Product{value.step.high} << 64 | value.step.low);
    if (step == 0) return true;
    if (value.count == 0) return false;
    const Product distance = step < 0 ? -static_cast<Product>(step) : static_cast<Product>(step);
    const std::uint64_t room = step < 0 ? value.first.low : most - value.first.low;
    return value.count - 1 <= room / distance;
}

} // namespace

FrameField FieldOf(const std::string& who, const FrameValue& value, FrameField place)
{
    const std::string part = place.name.substr(place.name.rfind('.') + 1);
    const std::string shown = part.empty() ? "the number" : part;
    FrameField& field = place;
    if (value.addressSize != 0 && value.addressSize != field.size) {
        Refuse(who, shown + " has " + std::to_string(field.size) + " bytes, and the address " +
                        std::to_string(value.addressSize));
    }
    if (value.isNegative) Refuse(who, shown + " is below 0");
    if (field.bits < 64) {
        const std::uint64_t most = LowBits(static_cast<unsigned int>(field.bits));
        if (value.first.low > most) {
            Refuse(who, shown + ' ' + std::to_string(value.first.low) + " is above " + std::to_string(most));
        }
        if (value.isCounting && field.bits < 8 * field.size && !StaysBelow(value, most)) {
            const bool isDown = value.step.high >> 63 != 0;
            Refuse(who, shown + " counts past " + std::to_string(isDown ? 0 : most));
        }
    }
    if (value.repeat == std::numeric_limits<std::uint64_t>::max()) Refuse(who, shown + " has a repeat above 2^64 - 2");
    field.first = value.first;
    field.step = value.step;
    if (field.bits < 64) {
        field.first.low = value.first.low << field.shift | field.others;
        field.step.low = value.step.low << field.shift;
    }
    field.step = Truncated(field.step, field.size);
    field.count = value.count;
    field.interval = value.repeat + 1;
    field.isCounting = value.isCounting;
    return place;
}

} // namespace detail

using detail::FrameField;
using detail::FrameLayer;
using detail::LayerKind;

namespace {

[[noreturn]] void RefuseField(const char* call, const std::string& name, const std::string& why)
{
    throw std::invalid_argument(std::string(call) + ": \"" + name + "\" " + why);
}

bool Overlap(std::size_t left, std::size_t leftEnd, std::size_t right, std::size_t rightEnd)
{
    return left < rightEnd && right < leftEnd;
}

} // namespace

FrameBuilder& FrameBuilder::Vary(const std::string& name, const FrameVariation& variation)
{
    for (FrameField& field : mStack->spans) {
        if (field.name != name) continue;
        if (field.isCrossed) RefuseField("Vary", name, "is crossed already");
        field = detail::FieldOf("Vary", variation.GetValue(), field);
        return *this;
    }
    for (FrameLayer& layer : mStack->layers) {
        for (FrameField& field : layer.fields) {
            if (field.name != name) continue;
            if (field.isCrossed) RefuseField("Vary", name, "is crossed already");
            const std::size_t at = layer.offset + field.offset;
            for (const FrameField& span : mStack->spans) {
                if (Overlap(at, at + field.size, span.offset, span.GetEnd())) {
                    RefuseField("Vary", name, "stands where \"" + span.name + "\" does");
                }
            }
            FrameField varied = detail::FieldOf(TraitsOf(layer.kind).call, variation.GetValue(), field);
            const std::string text = varied.GetText();
            field = std::move(varied); // from here on nothing fails
            layer.bytes.replace(field.offset, field.size, text);
            if (layer.kind == LayerKind::Udp && field.offset == 2) layer.hasPort = true;
            return *this;
        }
    }
    RefuseField("Vary", name, "is no field of the frame");
}

FrameBuilder& FrameBuilder::Vary(const ByteSpan& span, const FrameVariation& variation)
{
    FrameField place;
    place.name = "bytes@" + std::to_string(span.offset);
    place.offset = span.offset;
    place.size = span.size;
    place.bits = 8 * span.size;
    const auto refuse = [&place](const std::string& why) { RefuseField("Vary", place.name, why); };
    if (span.size == 0 || span.size > 16) refuse("has not from 1 to 16 bytes");
    if (span.offset > GetSize() || span.size > GetSize() - span.offset) refuse("reaches beyond the frame");
    const auto checkApart = [&](std::size_t at, std::size_t size, const std::string& what) {
        if (Overlap(at, at + size, place.offset, place.GetEnd())) refuse("stands where " + what + " does");
    };
    for (const FrameLayer& layer : mStack->layers) {
        const detail::LayerTraits& traits = TraitsOf(layer.kind);
        const std::string call = traits.call;
        if (traits.lengthAt != 0 && layer.hasLength) {
            checkApart(layer.offset + traits.lengthAt, 2, "the length of " + call);
        }
        if (traits.checksumAt != 0 && layer.hasChecksum) {
            checkApart(layer.offset + traits.checksumAt, 2, "the checksum of " + call);
        }
        for (const FrameField& field : layer.fields) {
            if (field.isCounting) checkApart(layer.offset + field.offset, field.size, '"' + field.name + '"');
        }
    }
    FrameField* same = nullptr;
    for (FrameField& other : mStack->spans) {
        if (other.offset == span.offset && other.size == span.size) {
            same = &other;
        } else {
            checkApart(other.offset, other.size, '"' + other.name + '"');
        }
    }
    if (same && same->isCrossed) refuse("is crossed already");
    place = detail::FieldOf("Vary", variation.GetValue(), std::move(place));
    if (same) {
        *same = std::move(place);
    } else {
        mStack->spans.push_back(std::move(place));
    }
    return *this;
}

FrameBuilder& FrameBuilder::Cross(const std::vector<std::string>& fields)
{
    if (fields.empty()) throw std::invalid_argument("Cross: no field is named");
    std::unordered_map<std::string_view, FrameField*> named;
    for (FrameLayer& layer : mStack->layers) {
        for (FrameField& field : layer.fields) named.emplace(field.name, &field);
    }
    for (FrameField& field : mStack->spans) named.emplace(field.name, &field);
    std::vector<std::pair<FrameField*, std::uint64_t>> intervals;
    std::uint64_t interval = 1;
    for (const std::string& name : fields) {
        const auto found = named.find(name);
        if (found == named.end()) RefuseField("Cross", name, "is no field of the frame");
        FrameField* const field = found->second;
        if (!field) RefuseField("Cross", name, "is named twice");
        if (field->isCrossed) RefuseField("Cross", name, "is crossed already");
        if (!field->isCounting) RefuseField("Cross", name, "does not count");
        if (field->interval != 1) RefuseField("Cross", name, "has a repeat of its own");
        intervals.emplace_back(field, interval);
        found->second = nullptr;
        if (&name == &fields.back()) break;
        if (field->count == 0) RefuseField("Cross", name, "counts without end and is not the last one");
        if (__builtin_mul_overflow(interval, field->count, &interval)) {
            RefuseField("Cross", name, "makes the next field wait for 2^64 indexes or more");
        }
    }
    if (mStack->isCrossed) throw std::invalid_argument("Cross: fields are crossed already");
    for (const auto& [field, length] : intervals) { // from here on nothing fails
        field->interval = length;
        field->isCrossed = true;
    }
    mStack->isCrossed = true;
    return *this;
}

} // namespace zor::common
