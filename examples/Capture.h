#ifndef ZOR_COMMON_EXAMPLES_CAPTURE_H
#define ZOR_COMMON_EXAMPLES_CAPTURE_H

/// \file
/// Reads and writes capture files of Ethernet packets in the classic pcap format: a header of 24 bytes for the file and
/// one of 16 bytes for each packet, with numbers least significant byte first.

#include "CommandLine.h"

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>

namespace examples {

inline constexpr std::uint32_t kLongestPacket = 262144; // the limit of capture tools

/// Writes packets one after the other.
class CaptureWriter {
public:
    explicit CaptureWriter(const std::string& path) : mPath(path), mOut(path, std::ios::binary | std::ios::trunc)
    {
        if (!mOut) throw UsageError("cannot write \"" + mPath + "\"");
        std::string header;
        // The format with times in microseconds, its version 2.4, no offset to UTC, Ethernet
        for (const std::uint32_t number : {0xa1b2c3d4u, 0x00040002u, 0u, 0u, kLongestPacket, 1u}) {
            Append(header, number);
        }
        mOut << header;
    }

    /// \param packet  at most kLongestPacket bytes.
    void Write(std::uint64_t microseconds, const std::string& packet)
    {
        std::string header;
        Append(header, static_cast<std::uint32_t>(microseconds / 1000000));
        Append(header, static_cast<std::uint32_t>(microseconds % 1000000));
        Append(header, static_cast<std::uint32_t>(packet.size())); // of the packet, in the file
        Append(header, static_cast<std::uint32_t>(packet.size())); // and on the wire
        mOut << header << packet;
    }

    /// Ends the file.
    void Close()
    {
        if (!mOut.flush()) throw std::runtime_error("cannot write \"" + mPath + "\"");
    }

private:
    static void Append(std::string& out, std::uint32_t number)
    {
        for (int shift = 0; shift < 32; shift += 8) out += static_cast<char>(number >> shift);
    }

    std::string mPath;
    std::ofstream mOut;
};

/// Reads packets one after the other.
class CaptureReader {
public:
    explicit CaptureReader(const std::string& path) : mPath(path), mIn(path, std::ios::binary)
    {
        if (!mIn) Fail("cannot be opened");
        const std::string header = Read(24);
        if (mIn.bad()) Fail("cannot be read");
        if (header.size() < 24) Fail("is too short for a capture file");
        const std::uint32_t format = NumberAt(header, 0); // with times in microseconds or in nanoseconds
        if (format != 0xa1b2c3d4 && format != 0xa1b23c4d) Fail("is not a little-endian pcap file");
        if ((NumberAt(header, 20) & 0xffff) != 1) Fail("does not hold Ethernet packets");
    }

    /// Reads the next packet; false at the end of the file.
    bool Next(std::string& packet)
    {
        const std::string header = Read(16);
        if (header.empty() && mIn.eof()) return false;
        const std::string name = "packet " + std::to_string(++mNumber);
        if (header.size() < 16) Fail("ends inside the header of " + name);
        const std::uint32_t size = NumberAt(header, 8);
        if (size > kLongestPacket) Fail("has a wrong length for " + name);
        packet = Read(size);
        if (packet.size() < size) Fail("ends inside " + name);
        return true;
    }

private:
    [[noreturn]] void Fail(const std::string& what) const { throw InputError(mPath + " " + what); }

    /// Reads up to \a size bytes.
    std::string Read(std::size_t size)
    {
        std::string bytes(size, '\0');
        mIn.read(bytes.data(), static_cast<std::streamsize>(size));
        bytes.resize(static_cast<std::size_t>(mIn.gcount()));
        return bytes;
    }

    static std::uint32_t NumberAt(const std::string& header, std::size_t at)
    {
        std::uint32_t number = 0;
        for (std::size_t i = 4; i-- > 0;) number = number << 8 | static_cast<unsigned char>(header.at(at + i));
        return number;
    }

    std::string mPath;
    std::ifstream mIn;
    std::uint64_t mNumber = 0;
};

} // namespace examples

#endif // ZOR_COMMON_EXAMPLES_CAPTURE_H
