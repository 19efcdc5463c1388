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

/// The product of a number and 64 bits, modulo 2^128.
Uint128 Multiplied(const Uint128& number, std::uint64_t times)
{
    const Product product = (Product{number.high} << 64 | number.low) * times;
    return {static_cast<std::uint64_t>(product >> 64), static_cast<std::uint64_t>(product)};
}

} // namespace

Uint128 FrameField::GetListed(std::size_t row) const noexcept
{
    const Uint128 number = table->cells[row * table->columns + column];
    return bits < 64 ? Uint128{0, number.low << shift | others} : number;
}

std::string FrameField::GetText() const
{
    const std::uint64_t turn = isShuffled ? GetOrder().GetIndexAt(0) : 0;
    unsigned char text[16];
    StoreBig128(text, table ? GetListed(turn) : Truncated(first + Multiplied(step, turn), size));
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
    const auto checkFits = [&](const Uint128& number) {
        const std::uint64_t most = LowBits(static_cast<unsigned int>(std::min<std::size_t>(field.bits, 64)));
        if (field.bits < 64 && number.low > most) {
            Refuse(who, shown + ' ' + std::to_string(number.low) + " is above " + std::to_string(most));
        }
    };
    checkFits(value.first);
    if (value.table) {
        if (value.table->cells.empty()) Refuse(who, shown + " has a list without values");
        std::for_each(value.table->cells.begin(), value.table->cells.end(), checkFits);
    } else if (value.isCounting && field.bits < 64 && field.bits < 8 * field.size) {
        const std::uint64_t most = LowBits(static_cast<unsigned int>(field.bits));
        if (!StaysBelow(value, most)) {
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
    field.isShuffled = value.isShuffled;
    field.seed = value.seed;
    if (field.isShuffled && field.count == 0) field.count = field.CountSums();
    field.table = value.table;
    field.column = 0;
    field.rows = 0;
    return place;
}

} // namespace detail

using detail::FrameField;
using detail::FrameLayer;
using detail::FrameStack;
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
            if (field.isHole) RefuseField("Vary", name, "is a hole, which the sender writes");
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
    RefuseField("Vary", name, "is not a field of the frame");
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
            if (field.isCounting || field.isHole)
                checkApart(layer.offset + field.offset, field.size, '"' + field.name + '"');
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

namespace {

/// The fields of a frame by their names, of which the first one counts.
std::unordered_map<std::string_view, FrameField*> FieldsOf(FrameStack& stack)
{
    std::unordered_map<std::string_view, FrameField*> named;
    for (FrameLayer& layer : stack.layers) {
        for (FrameField& field : layer.fields) named.emplace(field.name, &field);
    }
    for (FrameField& field : stack.spans) named.emplace(field.name, &field);
    return named;
}

} // namespace

FrameBuilder& FrameBuilder::Cross(const std::vector<std::string>& fields)
{
    if (fields.empty()) throw std::invalid_argument("Cross: no field is named");
    std::unordered_map<std::string_view, FrameField*> named = FieldsOf(*mStack);
    std::vector<std::pair<FrameField*, std::uint64_t>> intervals;
    std::uint64_t interval = 1;
    for (const std::string& name : fields) {
        const auto found = named.find(name);
        if (found == named.end()) RefuseField("Cross", name, "is not a field of the frame");
        FrameField* const field = found->second;
        if (!field) RefuseField("Cross", name, "is named twice");
        if (field->isCrossed) RefuseField("Cross", name, "is crossed already");
        if (!field->isCounting) RefuseField("Cross", name, "does not count");
        if (field->interval != 1) RefuseField("Cross", name, "has a repeat of its own");
        for (const auto& [other, length] : intervals) {
            if (field->rows != 0 && field->rows == other->rows) {
                RefuseField("Cross", name, "is in the rows of \"" + other->name + "\", which all count together");
            }
        }
        intervals.emplace_back(field, interval);
        found->second = nullptr;
        if (&name == &fields.back()) break;
        if (field->count == 0) RefuseField("Cross", name, "counts without end and is not the last one");
        if (__builtin_mul_overflow(interval, field->count, &interval)) {
            RefuseField("Cross", name, "makes the next field wait for 2^64 indexes or more");
        }
    }
    if (mStack->isCrossed) throw std::invalid_argument("Cross: fields are crossed already");
    named = FieldsOf(*mStack);
    for (const auto& [field, length] : intervals) { // from here on nothing fails
        for (const auto& [name, other] : named) {
            if (other != field && (field->rows == 0 || other->rows != field->rows)) continue;
            other->interval = length;
            other->isCrossed = true;
        }
    }
    mStack->isCrossed = true;
    return *this;
}

FrameBuilder& FrameBuilder::Rows(const std::vector<std::string>& fields,
                                 const std::vector<std::vector<FrameCell>>& table, std::uint64_t repeat)
{
    const auto refuse = [](const std::string& why) { throw std::invalid_argument("Rows: " + why); };
    if (fields.empty()) refuse("no field is named");
    if (table.empty()) refuse("the table has no rows");
    detail::FrameTable cells;
    cells.columns = fields.size();
    cells.cells.reserve(fields.size() * table.size());
    for (const std::vector<FrameCell>& row : table) {
        if (row.size() != fields.size()) {
            refuse("row " + std::to_string(&row - table.data()) + " has " + std::to_string(row.size()) +
                   " values for " + std::to_string(fields.size()) + " fields");
        }
        for (const FrameCell& cell : row) cells.cells.push_back(cell.GetNumber());
    }
    // Each column is checked as a list of its own, in a copy of all fields.
    FrameBuilder copy(*this);
    const std::size_t rows = ++copy.mStack->tables;
    const auto shared = std::make_shared<const detail::FrameTable>(std::move(cells));
    std::unordered_map<std::string_view, FrameField*> named = FieldsOf(*copy.mStack);
    for (std::size_t column = 0; column < fields.size(); ++column) {
        const auto found = named.find(fields[column]);
        if (found == named.end()) RefuseField("Rows", fields[column], "is not a field of the frame");
        if (!found->second) RefuseField("Rows", fields[column], "is named twice");
        detail::FrameTable list;
        detail::FrameValue value;
        for (const std::vector<FrameCell>& row : table) {
            const FrameCell& cell = row[column];
            list.cells.push_back(cell.GetNumber());
            value.isNegative = value.isNegative || cell.IsNegative();
            const std::size_t size = cell.GetAddressSize();
            if (size != 0 && (value.addressSize == 0 || size != found->second->size)) value.addressSize = size;
        }
        value.first = list.cells.front();
        value.step = {0, 0};
        value.count = table.size();
        value.repeat = repeat;
        value.isCounting = true;
        value.table = std::make_shared<const detail::FrameTable>(std::move(list));
        FrameVariation variation(0);
        variation.mValue = std::move(value);
        copy.Vary(fields[column], variation);
        FrameField& field = *found->second;
        field.table = shared;
        field.column = column;
        field.rows = rows;
        found->second = nullptr;
    }
    mStack.swap(copy.mStack);
    return *this;
}

FrameBuilder& FrameBuilder::Hole(const std::string& name, std::size_t size)
{
    const auto refuse = [&name](const std::string& why) { RefuseField("Hole", name, why); };
    if (name.empty() || name.find_first_of(".#@") != std::string::npos || name == "number") {
        refuse("could be the name of another field");
    }
    if (FieldsOf(*mStack).count(name) != 0) refuse("is the name of another hole");
    if (size == 0) refuse("has no bytes");
    mStack->CheckSize(LayerKind::Hole, size);
    FrameLayer layer;
    layer.kind = LayerKind::Hole;
    layer.bytes.assign(size, '\0');
    layer.hasOwnName = true;
    FrameField field;
    field.name = name;
    field.size = size;
    field.isHole = true;
    layer.fields.push_back(std::move(field));
    return Add(std::move(layer));
}

ByteSpan FrameBuilder::GetSpan(const std::string& name) const
{
    for (const FrameLayer& layer : mStack->layers) {
        for (const FrameField& field : layer.fields) {
            if (field.name == name) return {layer.offset + field.offset, field.size};
        }
    }
    for (const FrameField& field : mStack->spans) {
        if (field.name == name) return {field.offset, field.size};
    }
    RefuseField("GetSpan", name, "is not a field of the frame");
}

} // namespace zor::common
