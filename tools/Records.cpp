#include "Records.h"

#include "Errors.h"
#include "Settings.h"

#include <pcap/pcap.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace zor::tools {

namespace {

constexpr std::uint64_t kSecond = 1000000000;
constexpr char kDigits[] = "0123456789abcdef";

// Fields of captures are those of this machine, least significant byte first.

template <class Number>
void Store(unsigned char* at, Number number) noexcept
{
    std::memcpy(at, &number, sizeof number);
}

template <class Number>
void Append(std::string& out, Number number)
{
    char bytes[sizeof number];
    std::memcpy(bytes, &number, sizeof number);
    out.append(bytes, sizeof bytes);
}

constexpr std::size_t Padded(std::size_t size) noexcept
{
    return (size + 3) & ~std::size_t{3};
}

/// The header of a pcap file, as libpcap writes it.
std::string PcapHeader(bool isIp)
{
    char* bytes = nullptr;
    std::size_t size = 0;
    std::FILE* const file = open_memstream(&bytes, &size);
    pcap_t* const capture =
        pcap_open_dead_with_tstamp_precision(isIp ? DLT_RAW : DLT_EN10MB, kLongestPacket, PCAP_TSTAMP_PRECISION_NANO);
    if (file == nullptr || capture == nullptr) throw std::bad_alloc();
    pcap_dumper_t* const dumper = pcap_dump_fopen(capture, file);
    if (dumper != nullptr) pcap_dump_close(dumper);
    pcap_close(capture);
    std::string header(bytes, size);
    std::free(bytes); // NOLINT(cppcoreguidelines-no-malloc)
    return header;
}

// Blocks of pcapng: type, length, content, length again.

void AppendOption(std::string& out, std::uint16_t code, std::string_view value)
{
    Append(out, code);
    Append(out, static_cast<std::uint16_t>(value.size()));
    out += value;
    out.append(Padded(value.size()) - value.size(), '\0');
}

void AppendBlock(std::string& out, std::uint32_t type, const std::string& content)
{
    const auto size = static_cast<std::uint32_t>(content.size() + 12);
    Append(out, type);
    Append(out, size);
    out += content;
    Append(out, size);
}

constexpr std::uint16_t kComment = 1;            // an option of every block
constexpr std::size_t kLongestComment = 65000;   // longer recipes go on in the next one
constexpr std::uint32_t kSection = 0x0a0d0d0a;   // types of blocks
constexpr std::uint32_t kByteOrder = 0x1a2b3c4d; // behind the length of a section's block

std::string PcapngHeader(bool isIp, const std::string& recipe)
{
    std::string section;
    Append(section, kByteOrder);
    Append(section, std::uint32_t{1});  // version 1.0
    Append(section, ~std::uint64_t{0}); // the length of the section is not given
    for (std::size_t at = 0; at < recipe.size(); at += kLongestComment) {
        AppendOption(section, kComment, std::string_view(recipe).substr(at, kLongestComment));
    }
    AppendOption(section, 4, "zor-packets"); // what has written it
    AppendOption(section, 0, "");
    std::string header;
    AppendBlock(header, kSection, section);

    std::string interface;
    Append(interface, static_cast<std::uint32_t>(isIp ? 101 : 1)); // link type
    Append(interface, static_cast<std::uint32_t>(kLongestPacket));
    AppendOption(interface, 9, "\x09"); // times in 10^-9 seconds
    AppendOption(interface, 0, "");
    AppendBlock(header, 1, interface);
    return header;
}

constexpr std::size_t kPcapHeader = 16;
constexpr std::size_t kPacketBlock = 28;   // what stands before the packet
constexpr std::size_t kPacketTrailer = 20; // its id, the end of options, the length
constexpr std::size_t kTimeLine = 23;      // "T 0000000000.000000000\n"

/// Writes the digits of a number, as many as asked for.
void WriteDecimal(unsigned char* at, std::size_t digits, std::uint64_t number) noexcept
{
    for (; digits-- > 0; number /= 10) at[digits] = static_cast<unsigned char>('0' + number % 10);
}

unsigned char* WriteByte(unsigned char* at, unsigned char byte) noexcept
{
    *at++ = static_cast<unsigned char>(kDigits[byte >> 4]);
    *at++ = static_cast<unsigned char>(kDigits[byte & 15]);
    return at;
}

} // namespace

Records::Records(Format format, bool isText, bool isIp, const std::string& recipe) : mFormat(format), mIsText(isText)
{
    if (format == Format::Pcap) mHeader = PcapHeader(isIp);
    if (format == Format::Pcapng) mHeader = PcapngHeader(isIp, recipe);
}

std::size_t Records::GetRecordSize(std::size_t packetSize) const noexcept
{
    switch (mFormat) {
    case Format::Pcap: return kPcapHeader + packetSize;
    case Format::Pcapng: return kPacketBlock + Padded(packetSize) + kPacketTrailer;
    case Format::Hex: // of each 16 bytes an offset, blanks and an end
        return kTimeLine + 3 * packetSize + 7 * std::max<std::size_t>(1, (packetSize + 15) / 16);
    case Format::Raw: return packetSize;
    case Format::Lines: break;
    }
    return (mIsText ? 1 : 2) * packetSize + 1;
}

std::size_t Records::GetPacketPlace() const noexcept
{
    return mFormat == Format::Pcap ? kPcapHeader : mFormat == Format::Pcapng ? kPacketBlock : 0;
}

std::uint64_t Records::GetLastTime() const noexcept
{
    switch (mFormat) {
    case Format::Pcap: return (std::uint64_t{1} << 32) * kSecond - 1;
    case Format::Hex: return 10 * kSecond * kSecond - 1; // ten digits of seconds
    default: return ~std::uint64_t{0};
    }
}

void Records::WriteFrame(unsigned char* record, std::size_t packetSize) const noexcept
{
    const auto size = static_cast<std::uint32_t>(packetSize);
    if (mFormat == Format::Pcap) {
        Store(record + 8, size);  // in the file
        Store(record + 12, size); // on the wire
    } else if (mFormat == Format::Pcapng) {
        const auto length = static_cast<std::uint32_t>(GetRecordSize(packetSize));
        Store(record, std::uint32_t{6}); // a packet
        Store(record + 4, length);
        Store(record + 8, std::uint32_t{0}); // of the only interface
        Store(record + 20, size);
        Store(record + 24, size);
        unsigned char* const behind = record + kPacketBlock + Padded(packetSize);
        std::memset(record + kPacketBlock + packetSize, 0, Padded(packetSize) - packetSize);
        Store(behind, std::uint16_t{5}); // the packet's id
        Store(behind + 2, std::uint16_t{8});
        Store(behind + 12, std::uint32_t{0});
        Store(behind + 16, length);
    }
}

void Records::WriteStamps(unsigned char* records, std::size_t recordSize, std::size_t packetSize, std::size_t count,
                          std::uint64_t time, std::uint64_t gap, const std::uint64_t* indexes) const noexcept
{
    if (mFormat == Format::Pcap) {
        auto seconds = static_cast<std::uint32_t>(time / kSecond);
        auto nanoseconds = static_cast<std::uint32_t>(time % kSecond);
        const auto gapSeconds = static_cast<std::uint32_t>(gap / kSecond);
        const auto gapNanoseconds = static_cast<std::uint32_t>(gap % kSecond);
        for (; count > 0; --count, records += recordSize) {
            Store(records, seconds);
            Store(records + 4, nanoseconds);
            seconds += gapSeconds;
            nanoseconds += gapNanoseconds;
            if (nanoseconds >= kSecond) {
                nanoseconds -= static_cast<std::uint32_t>(kSecond);
                ++seconds;
            }
        }
    } else if (mFormat == Format::Pcapng) {
        const std::size_t id = kPacketBlock + Padded(packetSize) + 4;
        for (std::size_t i = 0; i < count; ++i, records += recordSize, time += gap) {
            Store(records + 12, static_cast<std::uint32_t>(time >> 32));
            Store(records + 16, static_cast<std::uint32_t>(time));
            Store(records + id, indexes[i]);
        }
    }
}

void Records::WriteText(unsigned char* record, std::string_view packet, std::uint64_t time) const noexcept
{
    if (mFormat == Format::Lines) {
        if (mIsText) {
            std::memcpy(record, packet.data(), packet.size());
            record += packet.size();
        } else {
            for (const char c : packet) record = WriteByte(record, static_cast<unsigned char>(c));
        }
        *record = '\n';
        return;
    }
    record[0] = 'T';
    record[1] = ' ';
    WriteDecimal(record + 2, 10, time / kSecond);
    record[12] = '.';
    WriteDecimal(record + 13, 9, time % kSecond);
    record[22] = '\n';
    record += kTimeLine;
    for (std::size_t at = 0; at < packet.size() || at == 0; at += 16) {
        for (int shift = 16; shift >= 0; shift -= 8)
            record = WriteByte(record, static_cast<unsigned char>(at >> shift));
        for (std::size_t i = at; i < std::min(packet.size(), at + 16); ++i) {
            *record++ = ' ';
            record = WriteByte(record, static_cast<unsigned char>(packet[i]));
        }
        *record++ = '\n';
    }
}

namespace {

/// Numbers of a file that was written by a machine of either byte order.
class Numbers {
public:
    Numbers(std::string_view bytes, bool isSwapped) : mBytes(bytes), mIsSwapped(isSwapped) {}

    std::uint32_t GetAt(std::size_t at, std::size_t size) const
    {
        std::uint32_t number = 0;
        for (std::size_t i = 0; i < size; ++i) {
            const std::size_t place = at + (mIsSwapped ? i : size - 1 - i);
            number = number << 8 | static_cast<unsigned char>(mBytes[place]);
        }
        return number;
    }

private:
    std::string_view mBytes;
    bool mIsSwapped;
};

/// Whether the numbers of a section stand most significant byte first.
bool IsSwapped(std::string_view section)
{
    return Numbers(section, true).GetAt(8, 4) == kByteOrder;
}

} // namespace

std::size_t GetCaptureHead(std::string_view file)
{
    if (file.size() < 12) return 0;
    const std::uint32_t magic = Numbers(file, false).GetAt(0, 4);
    for (const std::uint32_t pcap : {0xa1b2c3d4u, 0xd4c3b2a1u, 0xa1b23c4du, 0x4d3cb2a1u}) {
        if (magic == pcap) return 12;
    }
    if (magic != kSection) return 0;
    return std::max<std::size_t>(28, Numbers(file, IsSwapped(file)).GetAt(4, 4));
}

std::optional<std::string> FindRecipe(std::string_view file, const std::string& name)
{
    const std::size_t head = GetCaptureHead(file);
    if (head == 0) return std::nullopt;
    if (head == 12) throw InputError(name + " is a pcap file, which holds no recipe");
    const Numbers numbers(file, IsSwapped(file));
    const std::size_t end = std::min(head - 4, file.size());
    std::string comments;
    for (std::size_t at = 24; at + 4 <= end;) {
        const std::uint32_t code = numbers.GetAt(at, 2);
        const std::size_t size = numbers.GetAt(at + 2, 2);
        at += 4;
        if (code == 0 || size > end - at) break;
        if (code == kComment) comments += file.substr(at, size);
        at += Padded(size);
    }
    if (!Settings::IsRecipe(comments)) throw InputError(name + " is a capture without a recipe");
    return comments;
}

} // namespace zor::tools
