#ifndef ZOR_COMMON_TOOLS_CAPTURE_READER_H
#define ZOR_COMMON_TOOLS_CAPTURE_READER_H

/// \file
/// CaptureReader, which reads the packets of a capture file in order.

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

struct pcap;

namespace zor::tools {

/// Reads pcap and pcapng files by libpcap. Throws an InputError for a file that is damaged, cut or of another link
/// type.
class CaptureReader {
public:
    /// \param path  "-" is standard input.
    /// \param isIp  whether packets must start with a header of IP and not of Ethernet.
    CaptureReader(const std::string& path, bool isIp);
    CaptureReader(const CaptureReader&) = delete;
    CaptureReader& operator=(const CaptureReader&) = delete;
    ~CaptureReader();

    /// The next packet, valid until the next call; false at the end of the file.
    bool Next(std::string_view& packet);

    std::uint64_t GetNumber() const noexcept { return mNumber; } ///< The number of the packet, from 1 on.
    double GetShare() const; ///< The part of the file that has been read, from 0 to 1; -1 for a pipe.

private:
    std::string mPath;
    std::unique_ptr<char[]> mBuffer;
    pcap* mCapture = nullptr;
    std::uint64_t mNumber = 0;
    double mSize = 0; // of the file
};

} // namespace zor::tools

#endif // ZOR_COMMON_TOOLS_CAPTURE_READER_H
