#ifndef ZOR_COMMON_TOOLS_RECORDS_H
#define ZOR_COMMON_TOOLS_RECORDS_H

/// \file
/// The records of packets in the file formats.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zor::tools {

enum class Format : unsigned char {
    Pcap,   ///< The file format of libpcap, with times in nanoseconds.
    Pcapng, ///< With the recipe in the comment of the section, and each packet's index as its id.
    Hex,    ///< Offsets and bytes for text2pcap; before each packet "T" and its time.
    Raw,    ///< The bytes of the values only.
    Lines   ///< A value on each line, as hex digits unless values are texts.
};

inline constexpr std::size_t kLongestPacket = 262144; ///< In bytes, of a capture.

/// Writes packets in a format into memory. Times are nanoseconds since 1970.
class Records {
public:
    /// \param isText  whether lines are texts.
    /// \param isIp    whether packets start with a header of IP and not of Ethernet.
    /// \param recipe  for the comment of a section.
    Records(Format format, bool isText, bool isIp, const std::string& recipe);

    /// The header of a file.
    const std::string& GetHeader() const noexcept { return mHeader; }

    /// Whether a record contains the bytes of the packet, so that it can be rendered in place.
    bool IsBinary() const noexcept
    {
        return mFormat == Format::Pcap || mFormat == Format::Pcapng || mFormat == Format::Raw;
    }

    bool HasIndexes() const noexcept { return mFormat == Format::Pcapng; } ///< Whether records have indexes.
    bool HasTimes() const noexcept { return mFormat != Format::Raw && mFormat != Format::Lines; } ///< And times.
    std::size_t GetRecordSize(std::size_t packetSize) const noexcept;                             ///< In bytes.
    std::size_t GetPacketPlace() const noexcept; ///< Offset of the packet in a binary record.
    std::uint64_t GetLastTime() const noexcept;  ///< The latest time that the format can express.

    /// Writes a binary record except the packet, its time and its index.
    void WriteFrame(unsigned char* record, std::size_t packetSize) const noexcept;

    /// Writes times and indexes into records that are one after the other.
    /// \param indexes  the indexes of the packets; ignored without HasIndexes().
    void WriteStamps(unsigned char* records, std::size_t recordSize, std::size_t packetSize, std::size_t count,
                     std::uint64_t time, std::uint64_t gap, const std::uint64_t* indexes) const noexcept;

    /// Writes a text record.
    void WriteText(unsigned char* record, std::string_view packet, std::uint64_t time) const noexcept;

private:
    Format mFormat;
    bool mIsText;
    std::string mHeader;
};

/// How many bytes of the file are needed to read the recipe of a capture; 0 if the bytes do not begin a capture.
std::size_t GetCaptureHead(std::string_view file);

/// The recipe in the comments of a pcapng file; nothing if the bytes are not a capture. Throws an InputError for a
/// capture without a recipe.
std::optional<std::string> FindRecipe(std::string_view file, const std::string& name);

} // namespace zor::tools

#endif // ZOR_COMMON_TOOLS_RECORDS_H
