#include "FrameLayers.h"

#include "BigEndian.h"
#include "IndexCounter.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

namespace zor::common::detail {

namespace {

/// The greatest size of a frame in bytes: what tools that read captures take.
constexpr std::size_t kMaxFrame = 262144;

constexpr unsigned int kIsFirst = 1u << kLayerKinds; ///< Stands for nothing in front.

constexpr unsigned int Bit(LayerKind kind)
{
    return 1u << static_cast<unsigned int>(kind);
}

constexpr unsigned int kLinks = Bit(LayerKind::Ethernet) | Bit(LayerKind::Vlan);
constexpr unsigned int kIp = Bit(LayerKind::Ipv4) | Bit(LayerKind::Ipv6);
constexpr unsigned int kTransports =
    Bit(LayerKind::Udp) | Bit(LayerKind::Tcp) | Bit(LayerKind::Icmp) | Bit(LayerKind::Icmpv6);
constexpr unsigned int kPayloads =
    Bit(LayerKind::Number) | Bit(LayerKind::Bytes) | Bit(LayerKind::Fill) | Bit(LayerKind::Pattern);
constexpr unsigned int kCarriers = kIsFirst | kLinks | kIp | kTransports | kPayloads; ///< Of payload.
constexpr unsigned int kAll = kCarriers | Bit(LayerKind::Arp) | Bit(LayerKind::Padding);

/// What is known of a kind of layer.
struct LayerTraits {
    const char* call;       ///< The function that adds it.
    const char* name;       ///< The first part of the names of its fields.
    unsigned int behind;    ///< What it may stand behind.
    unsigned int etherType; ///< 0 is none.
    unsigned int protocol;  ///< Of IP; 0 is none.
    std::size_t checksum;   ///< Where its checksum stands; 0 is none.
};

constexpr LayerTraits kTraits[kLayerKinds] = {
    {"Ethernet", "eth", kIsFirst, 0, 0, 0},
    {"Vlan", "vlan", kLinks, 0, 0, 0},
    {"Arp", "arp", kLinks, 0x0806, 0, 0},
    {"Ipv4", "ipv4", kIsFirst | kLinks, 0x0800, 0, 10},
    {"Ipv6", "ipv6", kIsFirst | kLinks, 0x86dd, 0, 0},
    {"Udp", "udp", kIp, 0, 17, 6},
    {"Tcp", "tcp", kIp, 0, 6, 16},
    {"Icmp", "icmp", Bit(LayerKind::Ipv4), 0, 1, 2},
    {"Icmpv6", "icmpv6", Bit(LayerKind::Ipv6), 0, 58, 2},
    {"Number", "number", kCarriers, 0, 0, 0},
    {"Bytes", "", kCarriers, 0, 0, 0},
    {"Fill", "", kCarriers, 0, 0, 0},
    {"Pattern", "", kCarriers, 0, 0, 0},
    {"PadTo", "", kAll, 0, 0, 0},
};

const LayerTraits& TraitsOf(LayerKind kind)
{
    return kTraits[static_cast<std::size_t>(kind)];
}

/// "Ipv4 or Ipv6".
std::string ListOf(unsigned int kinds)
{
    std::string list;
    for (unsigned int kind = 0; kind < kLayerKinds; ++kind) {
        if ((kinds >> kind & 1) != 0) list += (list.empty() ? "" : " or ") + std::string(kTraits[kind].call);
    }
    return list;
}

void CheckPlace(const FrameStack& stack, const FrameLayer& layer)
{
    const unsigned int behind = TraitsOf(layer.kind).behind;
    if (stack.layers.empty()) {
        if ((behind & kIsFirst) == 0) RefuseLayer(layer.kind, "cannot be first, it stands behind " + ListOf(behind));
        return;
    }
    const FrameLayer& previous = stack.layers.back();
    if ((behind & Bit(previous.kind)) == 0) {
        const std::string needed = behind == kCarriers ? "" : ListOf(behind); // which for payload are most
        RefuseLayer(layer.kind, std::string("cannot stand behind ") + TraitsOf(previous.kind).call +
                                    (needed.empty() ? "" : ", but behind " + needed));
    }
    if (previous.isFragment && (Bit(layer.kind) & kTransports) != 0) {
        RefuseLayer(layer.kind, "cannot stand behind a fragment of Ipv4, which carries a piece of a packet");
    }
    if (layer.kind == LayerKind::Udp && !layer.hasChecksum && previous.kind == LayerKind::Ipv6) {
        RefuseLayer(layer.kind, "needs its checksum behind Ipv6");
    }
}

/// Where the frame must end so that the length of a layer fits its field.
std::size_t MostOf(const FrameLayer& layer)
{
    constexpr std::size_t kMaxLength = 65535;
    switch (layer.kind) {
    case LayerKind::Ipv4:
    case LayerKind::Udp: return layer.offset + kMaxLength;
    case LayerKind::Ipv6: return layer.offset + layer.bytes.size() + kMaxLength;
    default: return std::numeric_limits<std::size_t>::max();
    }
}

} // namespace

void RefuseLayer(LayerKind kind, const std::string& why)
{
    throw std::invalid_argument(std::string(TraitsOf(kind).call) + ": " + why);
}

std::uint64_t FrameField::CountSums() const noexcept
{
    const std::size_t zeros = step.low != 0    ? static_cast<std::size_t>(__builtin_ctzll(step.low))
                              : step.high != 0 ? 64 + static_cast<std::size_t>(__builtin_ctzll(step.high))
                                               : 8 * size;
    const std::size_t power = 8 * size - zeros;
    return power < 64 ? std::uint64_t{1} << power : 0;
}

void FrameStack::CheckSize(LayerKind kind, std::size_t added) const
{
    if (added > kMaxFrame - size) {
        RefuseLayer(kind, "makes a frame of more than " + std::to_string(kMaxFrame) + " bytes");
    }
}

void FrameStack::Add(FrameLayer&& layer)
{
    CheckPlace(*this, layer);
    const LayerTraits& traits = TraitsOf(layer.kind);
    const auto kind = static_cast<std::size_t>(layer.kind);
    const std::size_t added = layer.bytes.size();
    CheckSize(layer.kind, added);
    layer.offset = size;
    if (layer.kind != LayerKind::Padding && size + added > most) {
        RefuseLayer(layer.kind, std::string("makes the length of ") + TraitsOf(narrowest).call + " more than 65535");
    }
    const std::string number = counts[kind] == 0 ? "" : '#' + std::to_string(counts[kind] + 1);
    for (FrameField& field : layer.fields) {
        field.name = traits.name + number + (field.name.empty() ? "" : '.' + field.name);
    }
    const std::size_t mostOf = MostOf(layer);
    layers.push_back(std::move(layer)); // from here on nothing fails
    ++counts[kind];
    size += added;
    if (layers.back().kind != LayerKind::Padding) end = size;
    if (mostOf < most) {
        most = mostOf;
        narrowest = layers.back().kind;
    }
}

namespace {

/// A counter of a flow: turn t, modulo the count, shows value t modulo the sums.
struct FlowField {
    std::uint64_t interval;
    std::uint64_t count; ///< Of turns before it starts again; 0 for 2^64 and more.
    std::uint64_t sums;  ///< 0 for 2^64 and more.

    explicit FlowField(const FrameField& field) : interval(field.interval), count(field.count), sums(field.CountSums())
    {
        if (count == 0 || (sums != 0 && count % sums == 0)) count = sums;
    }

    bool HasOwnTurns() const { return sums == 0 || (count != 0 && count <= sums); } ///< Whether no value comes twice.
    std::uint64_t CountValues() const { return sums == 0 || count == 0 ? count : std::min(count, sums); }
    std::uint64_t ValueAt(std::uint64_t index) const
    {
        const std::uint64_t turn = index / interval % count;
        return sums == 0 ? turn : turn % sums;
    }
};

std::uint64_t Multiplied(std::uint64_t left, std::uint64_t right)
{
    std::uint64_t product = 0;
    return __builtin_mul_overflow(left, right, &product) ? 0 : product;
}

/// The number of different combinations that indexes below \a period show.
std::uint64_t CountCombinations(const std::vector<FlowField>& fields, std::uint64_t period)
{
    // Each field splits the groups of indexes that have looked alike so far.
    std::vector<std::uint64_t> groups(period);
    std::uint64_t count = 1;
    for (const FlowField& field : fields) {
        std::vector<std::pair<std::uint64_t, std::uint64_t>> seen(period);
        for (std::uint64_t i = 0; i < period; ++i) seen[i] = {groups[i], field.ValueAt(i)};
        std::vector<std::pair<std::uint64_t, std::uint64_t>> different = seen;
        std::sort(different.begin(), different.end());
        different.erase(std::unique(different.begin(), different.end()), different.end());
        for (std::uint64_t i = 0; i < period; ++i) {
            const auto found = std::lower_bound(different.begin(), different.end(), seen[i]);
            groups[i] = static_cast<std::uint64_t>(found - different.begin());
        }
        count = different.size();
    }
    return count;
}

} // namespace

std::uint64_t FrameStack::CountFlows() const
{
    std::vector<FlowField> crossed;
    std::vector<FlowField> others;
    for (const FrameLayer& layer : layers) {
        for (const FrameField& field : layer.fields) {
            if (!field.isCounting) continue;
            if (field.isCrossed) crossed.emplace_back(field);
            if (layer.kind != LayerKind::Number) others.emplace_back(field);
        }
    }
    std::uint64_t flows = 1;
    for (const FlowField& field : crossed) flows = Multiplied(flows, field.CountValues());
    if (!crossed.empty()) return flows;

    others.erase(std::remove_if(others.begin(), others.end(), [](const auto& f) { return f.CountValues() == 1; }),
                 others.end());
    if (others.size() == 1) return others[0].CountValues();
    std::sort(others.begin(), others.end(), [](const auto& l, const auto& r) { return l.interval < r.interval; });
    std::uint64_t turns = 1;                                      // of the fields that have the present interval
    std::uint64_t period = 1;                                     // in indexes
    bool isOdometer = !others.empty() && others[0].HasOwnTurns(); // whether each interval is full turns of those below
    for (std::size_t i = 0; i < others.size(); ++i) {
        const FlowField& field = others[i];
        const bool isNext = i != 0 && field.interval != others[i - 1].interval;
        if (isNext) {
            const std::uint64_t below = Multiplied(turns, others[i - 1].interval);
            isOdometer = isOdometer && below != 0 && field.interval % below == 0;
            flows = Multiplied(flows, turns);
            turns = 1;
        }
        isOdometer = isOdometer && field.HasOwnTurns();
        turns = CommonPeriod(turns, field.count);
        period = CommonPeriod(period, Multiplied(field.count, field.interval));
    }
    if (isOdometer || others.empty()) return Multiplied(flows, turns);
    constexpr std::uint64_t kMaxTried = 65536;
    return period == 0 || period > kMaxTried ? 0 : CountCombinations(others, period);
}

namespace {

void Store16(std::string& bytes, std::size_t offset, std::size_t number)
{
    StoreBig16(reinterpret_cast<unsigned char*>(bytes.data()) + offset, static_cast<std::uint16_t>(number));
}

/// Sets what a layer says of the next one, and the lengths.
/// \param next  null behind the last one.
/// \param end   where the frame ends, without padding.
void Complete(const FrameLayer& layer, const FrameLayer* next, std::size_t end, std::string& bytes)
{
    const LayerTraits traits = next ? TraitsOf(next->kind) : LayerTraits{};
    const unsigned int etherType = next && next->kind == LayerKind::Vlan ? next->tagType : traits.etherType;
    const auto protocol = static_cast<char>(traits.protocol);
    const std::size_t at = layer.offset;
    switch (layer.kind) {
    case LayerKind::Ethernet:
        if (etherType != 0) Store16(bytes, at + 12, etherType);
        break;
    case LayerKind::Vlan:
        if (etherType != 0) Store16(bytes, at + 2, etherType);
        break;
    case LayerKind::Ipv4:
        Store16(bytes, at + 2, end - at);
        if (protocol != 0) bytes[at + 9] = protocol;
        break;
    case LayerKind::Ipv6:
        Store16(bytes, at + 4, end - at - layer.bytes.size());
        if (protocol != 0) bytes[at + 6] = protocol;
        break;
    case LayerKind::Udp: Store16(bytes, at + 4, end - at); break;
    default: break;
    }
}

/// The checksum of a layer that has one.
/// \param previous  what it stands behind; null if it is the first one.
ChecksumField ChecksumOf(const FrameLayer& layer, const FrameLayer* previous, std::size_t end)
{
    const LayerTraits& traits = TraitsOf(layer.kind);
    const bool isHeaderAlone = layer.kind == LayerKind::Ipv4;
    const std::size_t size = isHeaderAlone ? layer.bytes.size() : end - layer.offset;
    ChecksumField field;
    field.at = layer.offset + traits.checksum;
    field.zeroIsAllOnes = layer.kind == LayerKind::Udp;
    if (!isHeaderAlone && layer.kind != LayerKind::Icmp) { // which have no pseudo header
        const bool isIpv4 = previous->kind == LayerKind::Ipv4;
        field.covered.push_back({previous->offset + (isIpv4 ? 12 : 8), isIpv4 ? 8u : 32u});
        field.initial = static_cast<std::uint32_t>(traits.protocol + size);
    }
    field.covered.push_back({layer.offset, size});
    return field;
}

} // namespace

AssembledFrame::AssembledFrame(const FrameStack& stack)
{
    bytes.reserve(stack.size);
    for (const FrameLayer& layer : stack.layers) bytes += layer.bytes;
    const FrameLayer* previous = nullptr;
    for (std::size_t i = 0; i < stack.layers.size(); ++i) {
        const FrameLayer& layer = stack.layers[i];
        Complete(layer, i + 1 < stack.layers.size() ? &stack.layers[i + 1] : nullptr, stack.end, bytes);
        for (const FrameField& field : layer.fields) {
            if (!field.isCounting) continue;
            fields.push_back(field);
            fields.back().offset += layer.offset;
        }
        if (TraitsOf(layer.kind).checksum != 0 && layer.hasChecksum) {
            checksums.push_back(ChecksumOf(layer, previous, stack.end));
        }
        previous = &layer;
    }
}

LayerWriter& LayerWriter::Put(std::uint64_t number, std::size_t size)
{
    for (std::size_t i = size; i-- > 0;) mLayer.bytes += static_cast<char>(number >> 8 * i);
    return *this;
}

LayerWriter& LayerWriter::Check(const char* name, std::uint64_t number, std::uint64_t most)
{
    if (number > most) {
        RefuseLayer(mLayer.kind,
                    std::string(name) + ' ' + std::to_string(number) + " is above " + std::to_string(most));
    }
    return *this;
}

namespace {

__extension__ typedef __int128 SignedProduct;

Uint128 Truncated(const Uint128& number, std::size_t size)
{
    if (size >= 8) return {size >= 16 ? number.high : 0, number.low};
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

LayerWriter& LayerWriter::PutBits(const char* name, const FrameValue& value, std::size_t size, std::size_t bits,
                                  unsigned int shift, std::uint64_t others)
{
    const char* const shown = *name == '\0' ? "the number" : name;
    if (value.isNegative) RefuseLayer(mLayer.kind, std::string(shown) + " is below 0");
    if (bits < 64) {
        const std::uint64_t most = LowBits(static_cast<unsigned int>(bits));
        Check(shown, value.first.low, most);
        if (value.isCounting && bits < 8 * size && !StaysBelow(value, most)) {
            const bool isDown = value.step.high >> 63 != 0;
            RefuseLayer(mLayer.kind, std::string(shown) + " counts past " + std::to_string(isDown ? 0 : most));
        }
    }
    if (value.repeat == std::numeric_limits<std::uint64_t>::max()) {
        RefuseLayer(mLayer.kind, std::string(shown) + " has a repeat above 2^64 - 2");
    }
    FrameField field;
    field.name = name;
    field.offset = mLayer.bytes.size();
    field.size = size;
    field.first = value.first;
    field.step = value.step;
    if (bits < 64) {
        field.first.low = value.first.low << shift | others;
        field.step.low = value.step.low << shift;
    }
    field.step = Truncated(field.step, size);
    field.count = value.count;
    field.interval = value.repeat + 1;
    field.isCounting = value.isCounting;
    unsigned char text[16];
    StoreBig128(text, field.first);
    mLayer.bytes.append(reinterpret_cast<const char*>(text) + 16 - size, size);
    mLayer.fields.push_back(std::move(field));
    return *this;
}

} // namespace zor::common::detail
