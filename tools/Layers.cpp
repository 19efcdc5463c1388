#include "Layers.h"

#include "Errors.h"
#include "Quantities.h"

#include <common/AddressRange.h>
#include <common/AddressText.h>
#include <common/Wildcards.h>

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <optional>
#include <variant>

namespace zor::tools {

using namespace common;
using common::detail::Uint128;

namespace {

std::string_view Trimmed(std::string_view text)
{
    constexpr std::string_view kBlanks = " \t\r\n";
    const std::size_t from = text.find_first_not_of(kBlanks);
    if (from == std::string_view::npos) return text.substr(text.size());
    return text.substr(from, text.find_last_not_of(kBlanks) - from + 1);
}

// What a value says, element by element.

bool ReadElement(std::string_view text, std::uint64_t& number)
{
    const bool isHex = text.substr(0, 2) == "0x" || text.substr(0, 2) == "0X";
    if (isHex) text.remove_prefix(2);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, isHex ? 16 : 10);
    return error == std::errc() && end == text.data() + text.size();
}

template <class Address>
bool ReadElement(std::string_view text, Address& address)
{
    return FromChars(text.data(), text.data() + text.size(), address).fault == TextFault::None;
}

Uint128 NumberOf(std::uint64_t number)
{
    return {0, number};
}

template <class Address>
Uint128 NumberOf(const Address& address)
{
    return FrameAddress<Address>(address).GetValue().first;
}

bool IsBelow(const Uint128& left, const Uint128& right)
{
    return left.high != right.high ? left.high < right.high : left.low < right.low;
}

Uint128 Difference(const Uint128& left, const Uint128& right)
{
    return {left.high - right.high - (left.low < right.low ? 1 : 0), left.low - right.low};
}

/// What may follow the elements of a value.
struct Suffixes {
    std::optional<std::uint64_t> step, times, seed;
};

/// Cuts the suffixes off a value.
Suffixes TakeSuffixes(std::string_view& text)
{
    Suffixes suffixes;
    std::size_t at = text.find_first_of("+*~");
    const std::string_view head = text.substr(0, at);
    while (at != std::string_view::npos) {
        const char sign = text[at];
        const std::size_t end = text.find_first_of("+*~", at + 1);
        const std::string_view digits = Trimmed(text.substr(at + 1, end - at - 1));
        std::optional<std::uint64_t>& number = sign == '+'   ? suffixes.step
                                               : sign == '*' ? suffixes.times
                                                             : suffixes.seed;
        std::uint64_t read = 0;
        if (!ReadElement(digits, read)) {
            throw InputError("a number must follow " + std::string(1, sign) + ", not \"" + std::string(digits) + "\"");
        }
        if (number) throw InputError(std::string(1, sign) + " is given twice");
        number = read;
        at = end;
    }
    text = Trimmed(head);
    if (suffixes.times == 0u) throw InputError("*0 shows no value at all");
    if (suffixes.step && (*suffixes.step == 0 || *suffixes.step > std::uint64_t{1} << 62)) {
        throw InputError("a step must be from 1 to 2^62");
    }
    return suffixes;
}

/// What the elements of a value say.
template <class Element>
using Elements = std::variant<Element, Counting<Element>, OneOf<Element>>;

/// How many values there are from one number to another; 0 for 2^64.
std::uint64_t CountBetween(const Uint128& least, const Uint128& greatest, std::uint64_t step)
{
    const Uint128 distance = Difference(greatest, least);
    if (distance.high != 0) throw InputError("there are 2^64 values and more, so the range must be one without an end");
    return distance.low / step + 1; // 0 only from 0 to 2^64 - 1
}

template <class Element>
Elements<Element> ReadRange(std::string_view first, std::string_view last, const Suffixes& suffixes,
                            const Element& from)
{
    const std::uint64_t again = suffixes.times.value_or(1) - 1;
    const auto step = static_cast<std::int64_t>(suffixes.step.value_or(1));
    if (last.empty()) return Counting<Element>(from, 0, step, again);
    Element to{};
    if (!ReadElement(last, to)) {
        throw InputError("\"" + std::string(last) + "\" does not end a range from " + std::string(first));
    }
    const Uint128 start = NumberOf(from);
    const Uint128 end = NumberOf(to);
    if (IsBelow(end, start)) {
        return Counting<Element>(from, CountBetween(end, start, static_cast<std::uint64_t>(step)), -step, again);
    }
    return Counting<Element>(from, CountBetween(start, end, static_cast<std::uint64_t>(step)), step, again);
}

/// Reads a value without its suffixes; nothing if its first element is none of the type.
template <class Element>
std::optional<Elements<Element>> ReadElements(std::string_view text, const Suffixes& suffixes)
{
    Element first{};
    if (const std::size_t dots = text.find(".."); dots != std::string_view::npos) {
        const std::string_view from = Trimmed(text.substr(0, dots));
        if (!ReadElement(from, first)) return std::nullopt;
        return ReadRange(from, Trimmed(text.substr(dots + 2)), suffixes, first);
    }
    if constexpr (!std::is_same_v<Element, std::uint64_t>) {
        Prefix<Element> prefix;
        if (FromChars(text.data(), text.data() + text.size(), prefix).fault == TextFault::None) {
            const auto network = AddressRange<Element>::Network(prefix.network, prefix.length);
            const std::uint64_t step = suffixes.step.value_or(1);
            const std::uint64_t last = network.GetSize().value_or(0) - 1; // 2^64 - 1 for 2^64 and more
            return Counting<Element>(network.GetAt(0), last / step + 1, static_cast<std::int64_t>(step),
                                     suffixes.times.value_or(1) - 1);
        }
    }
    const std::vector<std::string_view> pieces = SplitAt('|', text);
    std::vector<Element> values;
    for (const std::string_view piece : pieces) {
        Element value{};
        if (!ReadElement(Trimmed(piece), value)) {
            if (values.empty()) return std::nullopt;
            throw InputError("\"" + std::string(Trimmed(piece)) + "\" cannot stand in the list");
        }
        values.push_back(value);
    }
    if (suffixes.step) throw InputError("a step needs a range");
    if (values.size() > 1) return OneOf<Element>(std::move(values), suffixes.times.value_or(1) - 1);
    if (suffixes.times || suffixes.seed) throw InputError("a constant has neither repeats nor an order");
    return values.front();
}

/// Reads a value as what a layer takes; nothing if its first element is none of the type.
template <class Element, class Target>
std::optional<Target> ReadValue(std::string_view text)
{
    const Suffixes suffixes = TakeSuffixes(text);
    const std::optional<Elements<Element>> elements = ReadElements<Element>(text, suffixes);
    if (!elements) return std::nullopt;
    return std::visit(
        [&suffixes](const auto& value) -> Target {
            if constexpr (!std::is_same_v<std::decay_t<decltype(value)>, Element>) {
                if (suffixes.seed) return Target(Shuffled(value, *suffixes.seed));
            }
            return Target(value);
        },
        *elements);
}

/// What stands between the parentheses of a layer: values by their names, or by their places.
class Arguments {
public:
    struct Argument {
        std::string_view name, value;
        std::size_t pos; // of the whole in the text
        std::size_t len;
        bool isUsed = false;
    };

    Arguments(std::string layer, std::vector<Argument> arguments)
        : mLayer(std::move(layer)), mArguments(std::move(arguments))
    {
    }

    /// The value of a name.
    std::optional<std::string_view> Take(const char* name)
    {
        mNames += (mNames.empty() ? "" : ", ") + std::string(name);
        std::optional<std::string_view> value;
        for (Argument& argument : mArguments) {
            if (argument.isUsed || argument.name != name) continue;
            if (value) Refuse(argument, std::string(name) + " is given twice");
            argument.isUsed = true;
            mLast = &argument;
            value = argument.value;
        }
        return value;
    }

    /// The first of the values without a name, or else the value of the name.
    std::optional<std::string_view> TakePlace(const char* name)
    {
        for (Argument& argument : mArguments) {
            if (argument.isUsed || !argument.name.empty()) continue;
            argument.isUsed = true;
            mLast = &argument;
            mNames += (mNames.empty() ? "" : ", ") + std::string(name);
            return argument.value;
        }
        return Take(name);
    }

    FrameNumber TakeNumber(const char* name, FrameNumber otherwise = 0u)
    {
        return Number(name, Take(name)).value_or(otherwise);
    }
    std::optional<FrameNumber> TakeOptional(const char* name) { return Number(name, Take(name)); }
    FrameNumber TakeNumberAtPlace(const char* name, FrameNumber otherwise = 0u)
    {
        return Number(name, TakePlace(name)).value_or(otherwise);
    }

    /// A constant from 0 to \a limit.
    std::uint64_t TakeConstant(const char* name, std::uint64_t limit, std::uint64_t otherwise, bool hasPlace = false)
    {
        const std::optional<std::string_view> text = hasPlace ? TakePlace(name) : Take(name);
        if (!text) return otherwise;
        std::uint64_t number = 0;
        if (!ReadElement(*text, number) || number > limit) {
            Refuse(name + std::string(" must be a number from 0 to ") + std::to_string(limit));
        }
        return number;
    }

    bool TakeBool(const char* name, bool otherwise)
    {
        const std::optional<std::string_view> text = Take(name);
        if (!text) return otherwise;
        for (const char* const word : {"1", "yes", "on", "true"}) {
            if (*text == word) return true;
        }
        for (const char* const word : {"0", "no", "off", "false"}) {
            if (*text == word) return false;
        }
        Refuse(name + std::string(" must be yes or no"));
    }

    template <class Address>
    FrameAddress<Address> TakeAddress(const char* name, const Address& otherwise)
    {
        const std::optional<std::string_view> text = Take(name);
        if (!text) return otherwise;
        return Placed([&] {
            const auto value = ReadValue<Address, FrameAddress<Address>>(*text);
            if (!value) throw InputError(name + std::string(" must be an address, not \"") + std::string(*text) + "\"");
            return *value;
        });
    }

    /// Fails if there is a value that nothing has taken.
    void Finish()
    {
        for (const Argument& argument : mArguments) {
            if (argument.isUsed) continue;
            const std::string name(argument.name.empty() ? argument.value : argument.name);
            Refuse(argument, "there is no \"" + name + "\"" +
                                 (mNames.empty() ? ", and nothing else in the parentheses" : ", but " + mNames));
        }
    }

    /// All values, which are names.
    std::vector<std::string> TakeAll()
    {
        std::vector<std::string> names;
        for (Argument& argument : mArguments) {
            if (!argument.name.empty()) Refuse(argument, "names of fields must stand here");
            argument.isUsed = true;
            names.emplace_back(argument.value);
        }
        return names;
    }

    [[noreturn]] void Refuse(const std::string& message) const { Refuse(*mLast, message); } ///< Of the last one taken.

private:
    [[noreturn]] void Refuse(const Argument& argument, const std::string& message) const
    {
        throw PlacedError(mLayer + ": " + message, argument.pos, argument.len);
    }

    /// Runs what reads the last value taken.
    template <class Read>
    auto Placed(Read read) const -> decltype(read())
    {
        try {
            return read();
        } catch (const PlacedError&) {
            throw;
        } catch (const InputError& error) {
            Refuse(error.what());
        }
    }

    std::optional<FrameNumber> Number(const char* name, std::optional<std::string_view> text) const
    {
        if (!text) return std::nullopt;
        return Placed([&] {
            auto value = ReadValue<std::uint64_t, FrameNumber>(*text);
            if (!value) throw InputError(name + std::string(" must be a number, not \"") + std::string(*text) + "\"");
            return value;
        });
    }

    std::string mLayer;
    std::vector<Argument> mArguments;
    const Argument* mLast = nullptr;
    std::string mNames;
};

unsigned char TakeFlags(Arguments& arguments)
{
    static constexpr std::string_view kFlags[] = {"fin", "syn", "rst", "psh", "ack", "urg", "ece", "cwr"};
    const std::optional<std::string_view> text = arguments.Take("flags");
    if (!text) return TcpOptions().flags;
    std::uint64_t number = 0;
    if (ReadElement(*text, number) && number <= 255) return static_cast<unsigned char>(number);
    unsigned int flags = 0;
    for (const std::string_view word : SplitAt('+', *text)) {
        const auto* const flag = std::find(std::begin(kFlags), std::end(kFlags), Trimmed(word));
        if (flag == std::end(kFlags)) arguments.Refuse("flags must be a number up to 255 or words such as syn+ack");
        flags |= 1u << (flag - std::begin(kFlags));
    }
    return static_cast<unsigned char>(flags);
}

void AddUdp(Arguments& arguments, FrameBuilder& frame)
{
    UdpOptions options;
    const FrameNumber sport = arguments.TakeNumber("sport", 49152u);
    const std::optional<FrameNumber> dport = arguments.TakeOptional("dport");
    options.hasChecksum = arguments.TakeBool("checksum", options.hasChecksum);
    arguments.Finish();
    if (dport) {
        frame.Udp(sport, *dport, options);
    } else {
        frame.Udp(sport, options); // the port of the tunnel behind it
    }
}

void AddIpv4(Arguments& arguments, FrameBuilder& frame)
{
    Ipv4Options options;
    const auto source = arguments.TakeAddress("src", CIpAddress(10, 0, 0, 1));
    const auto destination = arguments.TakeAddress("dst", CIpAddress(10, 0, 0, 2));
    options.ttl = arguments.TakeNumber("ttl", options.ttl);
    options.dscp = arguments.TakeNumber("dscp", options.dscp);
    options.ecn = static_cast<unsigned int>(arguments.TakeConstant("ecn", 3, options.ecn));
    options.id = arguments.TakeNumber("id", options.id);
    options.isDontFragment = arguments.TakeBool("df", options.isDontFragment);
    options.isMoreFragments = arguments.TakeBool("mf", options.isMoreFragments);
    options.fragmentOffset = static_cast<std::uint16_t>(arguments.TakeConstant("offset", 8191, 0));
    options.protocol = static_cast<unsigned char>(arguments.TakeConstant("proto", 255, options.protocol));
    arguments.Finish();
    frame.Ipv4(source, destination, options);
}

void AddIpv6(Arguments& arguments, FrameBuilder& frame)
{
    Ipv6Options options;
    const auto source = arguments.TakeAddress("src", CIpv6Address(0x20010db800000000, 1));
    const auto destination = arguments.TakeAddress("dst", CIpv6Address(0x20010db800000000, 2));
    options.hopLimit = arguments.TakeNumber("hop", options.hopLimit);
    options.flowLabel = arguments.TakeNumber("flow", options.flowLabel);
    options.dscp = static_cast<unsigned int>(arguments.TakeConstant("dscp", 63, options.dscp));
    options.ecn = static_cast<unsigned int>(arguments.TakeConstant("ecn", 3, options.ecn));
    options.nextHeader = static_cast<unsigned char>(arguments.TakeConstant("proto", 255, options.nextHeader));
    arguments.Finish();
    frame.Ipv6(source, destination, options);
}

void AddEthernet(Arguments& arguments, FrameBuilder& frame)
{
    EthernetOptions options;
    const auto source = arguments.TakeAddress("src", CMacAddress(0x020000000001));
    const auto destination = arguments.TakeAddress("dst", CMacAddress(0x020000000002));
    options.etherType = static_cast<std::uint16_t>(arguments.TakeConstant("type", 65535, options.etherType));
    arguments.Finish();
    frame.Ethernet(source, destination, options);
}

void AddVlan(Arguments& arguments, FrameBuilder& frame)
{
    VlanOptions options;
    const FrameNumber id = arguments.TakeNumberAtPlace("id", 1u);
    options.priority = static_cast<unsigned int>(arguments.TakeConstant("priority", 7, options.priority));
    options.isDropEligible = arguments.TakeBool("dei", options.isDropEligible);
    options.tagType = static_cast<std::uint16_t>(arguments.TakeConstant("tpid", 65535, options.tagType));
    options.etherType = static_cast<std::uint16_t>(arguments.TakeConstant("type", 65535, options.etherType));
    arguments.Finish();
    frame.Vlan(id, options);
}

void AddArp(Arguments& arguments, FrameBuilder& frame)
{
    ArpOptions options;
    const auto senderMac = arguments.TakeAddress("sha", CMacAddress(0x020000000001));
    const auto sender = arguments.TakeAddress("spa", CIpAddress(10, 0, 0, 1));
    const auto target = arguments.TakeAddress("tpa", CIpAddress(10, 0, 0, 2));
    options.targetMac = arguments.TakeAddress("tha", CMacAddress(0ul));
    options.operation = static_cast<std::uint16_t>(arguments.TakeConstant("op", 65535, options.operation));
    arguments.Finish();
    frame.Arp(senderMac, sender, target, options);
}

void AddTcp(Arguments& arguments, FrameBuilder& frame)
{
    TcpOptions options;
    const FrameNumber sport = arguments.TakeNumber("sport", 49152u);
    const FrameNumber dport = arguments.TakeNumber("dport", 80u);
    options.seq = arguments.TakeNumber("seq", options.seq);
    options.ack = arguments.TakeNumber("ack", options.ack);
    options.flags = TakeFlags(arguments);
    options.window = arguments.TakeNumber("window", options.window);
    options.urgentPointer = static_cast<std::uint16_t>(arguments.TakeConstant("urgent", 65535, options.urgentPointer));
    arguments.Finish();
    frame.Tcp(sport, dport, options);
}

void AddIcmp(Arguments& arguments, FrameBuilder& frame, bool isVersion6)
{
    IcmpOptions options;
    const auto type = static_cast<unsigned char>(arguments.TakeConstant("type", 255, isVersion6 ? 128 : 8, true));
    options.code = static_cast<unsigned char>(arguments.TakeConstant("code", 255, options.code));
    options.id = arguments.TakeNumber("id", options.id);
    options.seq = arguments.TakeNumber("seq", options.seq);
    arguments.Finish();
    if (isVersion6) {
        frame.Icmpv6(type, options);
    } else {
        frame.Icmp(type, options);
    }
}

void AddMpls(Arguments& arguments, FrameBuilder& frame)
{
    MplsOptions options;
    const FrameNumber label = arguments.TakeNumberAtPlace("label", 16u);
    options.trafficClass = static_cast<unsigned int>(arguments.TakeConstant("tc", 7, options.trafficClass));
    options.ttl = arguments.TakeNumber("ttl", options.ttl);
    options.hasControlWord = arguments.TakeBool("cw", options.hasControlWord);
    arguments.Finish();
    frame.Mpls(label, options);
}

void AddGre(Arguments& arguments, FrameBuilder& frame)
{
    GreOptions options;
    options.key = arguments.TakeOptional("key");
    options.seq = arguments.TakeOptional("seq");
    options.hasChecksum = arguments.TakeBool("checksum", options.hasChecksum);
    options.protocolType = static_cast<std::uint16_t>(arguments.TakeConstant("type", 65535, options.protocolType));
    arguments.Finish();
    frame.Gre(options);
}

void AddGtp(Arguments& arguments, FrameBuilder& frame)
{
    GtpUOptions options;
    const FrameNumber teid = arguments.TakeNumberAtPlace("teid", 1u);
    options.seq = arguments.TakeOptional("seq");
    options.qfi = arguments.TakeOptional("qfi");
    options.isUplink = arguments.TakeBool("uplink", options.isUplink);
    arguments.Finish();
    frame.GtpU(teid, options);
}

void AddNumber(Arguments& arguments, FrameBuilder& frame)
{
    const std::uint64_t size = arguments.TakeConstant("size", 8, 4, true);
    const FrameNumber value = arguments.TakeNumber("value", Counting<std::uint64_t>(0, 0));
    arguments.Finish();
    if (size == 0) arguments.Refuse("size must be a number from 1 to 8");
    frame.Number(value, size);
}

void AddBytes(Arguments& arguments, FrameBuilder& frame)
{
    const std::optional<std::string_view> text = arguments.TakePlace("hex");
    if (!text) {
        const std::optional<std::string_view> words = arguments.Take("text");
        arguments.Finish();
        frame.Bytes(words.value_or(""));
        return;
    }
    if (text->find_first_not_of("0123456789abcdefABCDEF: ") != std::string_view::npos) {
        arguments.Refuse("bytes are hex digits, or text=...");
    }
    arguments.Finish();
    std::string bytes;
    Wildcards::ConvertAsciiHexToBin(std::string(*text), bytes);
    frame.Bytes(bytes);
}

/// Adds a layer by its name; false if there is none of that name.
bool AddLayer(const std::string& name, Arguments& arguments, FrameBuilder& frame)
{
    constexpr std::uint64_t kLongest = 262144;
    if (name == "eth") {
        AddEthernet(arguments, frame);
    } else if (name == "vlan") {
        AddVlan(arguments, frame);
    } else if (name == "mpls") {
        AddMpls(arguments, frame);
    } else if (name == "arp") {
        AddArp(arguments, frame);
    } else if (name == "ipv4") {
        AddIpv4(arguments, frame);
    } else if (name == "ipv6") {
        AddIpv6(arguments, frame);
    } else if (name == "udp") {
        AddUdp(arguments, frame);
    } else if (name == "tcp") {
        AddTcp(arguments, frame);
    } else if (name == "icmp" || name == "icmpv6") {
        AddIcmp(arguments, frame, name == "icmpv6");
    } else if (name == "gre") {
        AddGre(arguments, frame);
    } else if (name == "vxlan") {
        const FrameNumber vni = arguments.TakeNumberAtPlace("vni", 1u);
        arguments.Finish();
        frame.Vxlan(vni);
    } else if (name == "gtp") {
        AddGtp(arguments, frame);
    } else if (name == "number") {
        AddNumber(arguments, frame);
    } else if (name == "bytes") {
        AddBytes(arguments, frame);
    } else if (name == "fill") {
        const std::uint64_t size = arguments.TakeConstant("size", kLongest, 0, true);
        const auto byte = static_cast<unsigned char>(arguments.TakeConstant("byte", 255, 0));
        arguments.Finish();
        frame.Fill(size, byte);
    } else if (name == "pattern" || name == "prbs31") {
        const std::uint64_t size = arguments.TakeConstant("size", kLongest, 0, true);
        arguments.Finish();
        frame.Pattern(size, name == "prbs31" ? FramePattern::Prbs31 : FramePattern::Incrementing);
    } else if (name == "hole") {
        const std::string hole(arguments.TakePlace("name").value_or(""));
        const std::uint64_t size = arguments.TakeConstant("size", kLongest, 8, true);
        arguments.Finish();
        frame.Hole(hole, size);
    } else if (name == "pad") {
        const std::uint64_t size = arguments.TakeConstant("size", kLongest, 60, true);
        arguments.Finish();
        frame.PadTo(size);
    } else if (name == "cross") {
        frame.Cross(arguments.TakeAll());
    } else {
        return false;
    }
    return true;
}

/// Goes through the text of a frame.
class Scanner {
public:
    explicit Scanner(const std::string& text) : mText(text) {}

    void SkipBlanks() { mAt = std::min(mText.find_first_not_of(" \t\r\n", mAt), mText.size()); }
    bool IsAtEnd() const { return mAt == mText.size(); }
    std::size_t GetPlace() const { return mAt; }

    /// Takes a character if it stands here.
    bool Take(char c)
    {
        if (IsAtEnd() || mText[mAt] != c) return false;
        ++mAt;
        return true;
    }

    /// Takes the name of a layer.
    std::string TakeName()
    {
        const std::size_t end =
            std::min(mText.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789", mAt),
                     mText.size());
        std::string name = mText.substr(mAt, end - mAt);
        if (name.empty()) Fail("a layer such as eth(...) must stand here", 1);
        mAt = end;
        return name;
    }

    /// Takes what stands in parentheses, if there are any.
    std::vector<Arguments::Argument> TakeArguments()
    {
        std::vector<Arguments::Argument> arguments;
        if (!Take('(')) return arguments;
        SkipBlanks();
        if (Take(')')) return arguments;
        do {
            arguments.push_back(TakeArgument());
        } while (Take(','));
        if (!Take(')')) Fail("the parenthesis is not closed", 1);
        return arguments;
    }

    [[noreturn]] void Fail(const std::string& message, std::size_t len) const { throw PlacedError(message, mAt, len); }

private:
    Arguments::Argument TakeArgument()
    {
        SkipBlanks();
        const std::size_t start = mAt;
        std::size_t end = std::min(mText.find_first_of(",)\"=", mAt), mText.size());
        std::string_view name;
        if (end < mText.size() && mText[end] == '=') {
            name = Trimmed(std::string_view(mText).substr(start, end - start));
            if (name.empty()) Fail("a name must stand before =", 1);
            mAt = end + 1;
            SkipBlanks();
        }
        const std::size_t from = mAt;
        std::string_view value;
        if (Take('"')) {
            end = mText.find('"', mAt);
            if (end == std::string::npos) {
                mAt = from;
                Fail("the quotation mark is not closed", mText.size() - from);
            }
            value = std::string_view(mText).substr(mAt, end - mAt);
            mAt = end + 1;
            SkipBlanks();
            if (!IsAtEnd() && mText[mAt] != ',' && mText[mAt] != ')') Fail("a comma must stand here", 1);
            return {name, value, start, mAt - start};
        }
        end = std::min(mText.find_first_of(",)", mAt), mText.size());
        value = Trimmed(std::string_view(mText).substr(from, end - from));
        mAt = from;
        if (value.empty()) Fail("a value must stand here", 1);
        mAt = end;
        return {name, value, start, static_cast<std::size_t>(value.data() + value.size() - mText.data()) - start};
    }

    const std::string& mText;
    std::size_t mAt = 0;
};

} // namespace

FrameBuilder ReadLayers(const std::string& text, bool* startsWithIp)
{
    FrameBuilder frame;
    try {
        Scanner scanner(text);
        for (bool isFirst = true;; isFirst = false) {
            scanner.SkipBlanks();
            const std::size_t start = scanner.GetPlace();
            const std::string name = scanner.TakeName();
            if (isFirst && startsWithIp != nullptr) *startsWithIp = name == "ipv4" || name == "ipv6";
            Arguments arguments(name, scanner.TakeArguments());
            const std::size_t len = scanner.GetPlace() - start;
            try {
                if (!AddLayer(name, arguments, frame)) {
                    throw PlacedError(
                        "there is no layer \"" + name +
                            "\", but eth, vlan, mpls, arp, ipv4, ipv6, udp, tcp, icmp, icmpv6, gre, vxlan, "
                            "gtp, number, bytes, fill, pattern, prbs31, hole, pad and cross",
                        start, name.size());
                }
            } catch (const std::invalid_argument& error) { // of the builder, which names the layer
                throw PlacedError(error.what(), start, len);
            }
            scanner.SkipBlanks();
            if (scanner.IsAtEnd()) return frame;
            if (!scanner.Take('/')) scanner.Fail("a / must stand between two layers", 1);
        }
    } catch (PlacedError& error) {
        error.SetText(text);
        throw;
    }
}

bool LooksLikeLayers(std::string_view text)
{
    static constexpr std::string_view kFirst[] = {"eth",  "ipv4",    "ipv6",   "number", "bytes",
                                                  "fill", "pattern", "prbs31", "hole"};
    text = Trimmed(text);
    const std::string_view name = text.substr(0, text.find_first_of("(/ \t"));
    const std::string_view behind = Trimmed(text.substr(name.size()));
    return std::find(std::begin(kFirst), std::end(kFirst), name) != std::end(kFirst) &&
           (behind.empty() || behind.front() == '(' || behind.front() == '/');
}

void VaryField(FrameBuilder& frame, const std::string& text)
{
    const std::size_t equals = text.find('=');
    const std::string_view name = Trimmed(std::string_view(text).substr(0, equals));
    const std::string_view value =
        equals == std::string::npos ? std::string_view() : Trimmed(std::string_view(text).substr(equals + 1));
    if (name.empty() || value.empty()) {
        throw InputError("\"" + text + "\" is not of the form FIELD=VALUES, such as ipv4.src=10.0.0.1..10.0.0.9");
    }
    try {
        std::optional<FrameVariation> variation = ReadValue<std::uint64_t, FrameVariation>(value);
        if (!variation) variation = ReadValue<CIpAddress, FrameVariation>(value);
        if (!variation) variation = ReadValue<CIpv6Address, FrameVariation>(value);
        if (!variation) variation = ReadValue<CMacAddress, FrameVariation>(value);
        if (!variation)
            throw InputError("\"" + std::string(value) + "\" is no number, no address and no range of them");
        if (ByteSpan span; ReadSpan(name, span)) {
            frame.Vary(span, *variation);
        } else {
            frame.Vary(std::string(name), *variation);
        }
    } catch (const std::logic_error& error) { // of the builder
        throw InputError(error.what());
    } catch (const InputError& error) {
        throw InputError(std::string(name) + ": " + error.what());
    }
}

std::vector<std::string> ReadNames(std::string_view text)
{
    std::vector<std::string> names;
    for (const std::string_view name : SplitAt(',', text)) names.emplace_back(Trimmed(name));
    return names;
}

} // namespace zor::tools
