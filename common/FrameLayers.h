#ifndef ZOR_COMMON_FRAME_LAYERS_H
#define ZOR_COMMON_FRAME_LAYERS_H

/// \file
/// Internal: the layers of a frame, and the bytes, counters and checksums that they come to.

#include "FrameBuilder.h"
#include "IndexOrder.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zor::common::detail {

/// The greatest size of a frame in bytes: what tools that read captures take.
constexpr std::size_t kMaxFrame = 262144;

enum class LayerKind : std::uint8_t {
    Ethernet,
    Vlan,
    Mpls,
    Arp,
    Ipv4,
    Ipv6,
    Udp,
    Tcp,
    Icmp,
    Icmpv6,
    Gre,
    Vxlan,
    GtpU,
    Number,
    Bytes,
    Fill,
    Pattern,
    Hole,
    Padding
};
constexpr std::size_t kLayerKinds = 19;

constexpr unsigned int Bit(LayerKind kind) noexcept
{
    return 1u << static_cast<unsigned int>(kind);
}

constexpr unsigned int kPayloads = Bit(LayerKind::Number) | Bit(LayerKind::Bytes) | Bit(LayerKind::Fill) |
                                   Bit(LayerKind::Pattern) | Bit(LayerKind::Hole);

/// What is known of a kind of layer. An offset of 0 is none.
struct LayerTraits {
    const char* call = "";      ///< The function that adds it.
    const char* name = "";      ///< The first part of the names of its fields.
    unsigned int behind = 0;    ///< What it may stand behind.
    unsigned int etherType = 0; ///< What says in front that it follows, where that is an EtherType; 0 is none.
    unsigned int protocol = 0;  ///< The same as a protocol number of IP.
    unsigned int port = 0;      ///< The same as a destination port of UDP.
    std::size_t typeAt = 0;     ///< Where the EtherType of the next header stands.
    std::size_t protocolAt = 0; ///< Where its protocol number stands.
    std::size_t lengthAt = 0;   ///< Where the length stands, in two bytes.
    std::size_t lengthFrom = 0; ///< From where on it counts.
    std::size_t checksumAt = 0;
};

const LayerTraits& TraitsOf(LayerKind kind) noexcept;

/// Bytes of the frame with a name, as one number in network order.
struct FrameField {
    std::string name;                        ///< Before the layer has its place, the part behind the dot.
    std::size_t offset = 0;                  ///< In the layer; of an assembled frame, in that.
    std::size_t size = 0;                    ///< From 1 to 16.
    std::size_t bits = 0;                    ///< Of the number; the others of its bytes never change.
    unsigned int shift = 0;                  ///< Where the lowest one stands in the bytes.
    std::uint64_t others = 0;                ///< The bytes without the number, where it shares them.
    Uint128 first{0, 0};                     ///< With the other bits of the bytes.
    Uint128 step{0, 0};                      ///< Modulo the width.
    std::uint64_t count = 1;                 ///< 0 is without end.
    std::uint64_t interval = 1;              ///< How many indexes a turn lasts.
    std::shared_ptr<const FrameTable> table; ///< Of a field that goes through a list.
    std::size_t column = 0;                  ///< Of the table.
    std::size_t rows = 0;                    ///< 1 more than the number of the table, if its columns count together.
    std::uint64_t seed = 0;                  ///< Of the order.
    bool isShuffled = false;
    bool isHole = false;
    bool isCounting = false;
    bool isCrossed = false;

    std::size_t GetEnd() const noexcept { return offset + size; }

    /// The order of the turns of a field that is shuffled.
    IndexOrder GetOrder() const noexcept { return {count, seed}; }

    /// What the bytes of a table's row hold.
    Uint128 GetListed(std::size_t row) const noexcept;

    /// What the bytes hold at index 0.
    std::string GetText() const;

    /// After how many turns the sum shows the first value again; 0 for 2^64 and more.
    std::uint64_t CountSums() const noexcept;
};

struct FrameLayer {
    LayerKind kind = LayerKind::Bytes;
    std::string bytes;              ///< At index 0; what other layers decide is 0.
    std::vector<FrameField> fields; ///< In the order of the bytes.
    unsigned int tagType = 0;       ///< Of a VLAN tag, the number that the header in front says it by.
    bool isFragment = false;
    bool hasOwnName = false;   ///< Whether the name of the field is whole.
    bool isPseudowire = false; ///< Of an MPLS label with a control word behind it.
    bool hasPort = true;       ///< Whether a destination port was given. Otherwise the next layer says it.
    bool hasChecksum = true;
    bool hasLength = true;      ///< Whether the length follows from what is there. Of a captured packet it may not.
    bool isTaken = false;       ///< Whether it is that of a captured packet.
    bool zeroIsAllOnes = false; ///< Whether its sender writes a checksum of 0000 as ffff, as UDP does.
    std::size_t protocolAt = 0; ///< Where the protocol number stands, if it stands elsewhere than usual.
    std::size_t closes = 0;     ///< Of padding: which layer it ends, with all behind that one.
    std::size_t offset = 0;     ///< In the frame.
};

/// All layers of a builder.
struct FrameStack {
    std::vector<FrameLayer> layers;
    std::vector<FrameField> spans;         ///< Bytes that are varied by their place in the frame.
    std::size_t counts[kLayerKinds] = {};  ///< How many there are of each kind.
    std::size_t size = 0;                  ///< Of the frame, in bytes.
    std::size_t most = ~std::size_t{0};    ///< Where a length becomes too large for its field.
    LayerKind narrowest = LayerKind::Ipv4; ///< Whose length that is.
    std::size_t tables = 0;                ///< How many have been given to Rows().
    bool isCrossed = false;

    /// Throws std::invalid_argument if a layer of that size makes the frame too large.
    void CheckSize(LayerKind kind, std::size_t added) const;

    /// Adds a layer. Throws std::invalid_argument, which says why it cannot be.
    void Add(FrameLayer&& layer);

    /// Adds a layer of which is known that it can be.
    void Append(FrameLayer&& layer);

    /// How many flows there are, as FrameBuilder says.
    std::uint64_t CountFlows() const;
};

/// What a stack of layers comes to.
struct AssembledFrame {
    explicit AssembledFrame(const FrameStack& stack);

    std::string bytes;                    ///< At index 0, with 0 in the place of checksums.
    std::vector<FrameField> fields;       ///< Those that count, and holes, in the order of the bytes.
    std::vector<ChecksumField> checksums; ///< Each one before those that cover it.
};

/// What a field is to show.
/// \param who    whom a std::invalid_argument names, if the value does not fit the field.
/// \param place  the field with its place.
FrameField FieldOf(const std::string& who, const FrameValue& value, FrameField place);

/// A captured frame, taken apart. Whatever the bytes, nothing but memory fails.
FrameStack TakeApart(std::string_view frame);

/// Throws std::invalid_argument.
[[noreturn]] void RefuseLayer(LayerKind kind, const std::string& why);

/// Writes a header from its first byte to its last.
class LayerWriter {
public:
    explicit LayerWriter(LayerKind kind) { mLayer.kind = kind; }

    /// A number that never counts, in so many bytes.
    LayerWriter& Put(std::uint64_t number, std::size_t size);

    /// A number that has to fit bits which are written with others.
    LayerWriter& Check(const char* name, std::uint64_t number, std::uint64_t most);

    /// A field of whole bytes.
    LayerWriter& PutField(const char* name, const FrameValue& value, std::size_t size)
    {
        return PutBits(name, value, size, 8 * size, 0, 0);
    }

    /// A field that shares its bytes with bits that never change.
    /// \param bits    its width.
    /// \param shift   where its lowest bit stands in the bytes.
    /// \param others  the bytes without the field.
    LayerWriter& PutBits(const char* name, const FrameValue& value, std::size_t size, std::size_t bits,
                         unsigned int shift, std::uint64_t others);

    FrameLayer& GetLayer() noexcept { return mLayer; }

private:
    FrameLayer mLayer;
};

} // namespace zor::common::detail

#endif // ZOR_COMMON_FRAME_LAYERS_H
