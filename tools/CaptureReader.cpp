#include "CaptureReader.h"

#include "Errors.h"

#include <pcap/pcap.h>

#include <cerrno>
#include <cstring>

#include <sys/stat.h>

namespace zor::tools {

namespace {

constexpr std::size_t kBufferSize = 1 << 20;

} // namespace

CaptureReader::CaptureReader(const std::string& path, bool isIp)
    : mPath(path == "-" ? "standard input" : path), mBuffer(new char[kBufferSize])
{
    std::FILE* const file = path == "-" ? stdin : std::fopen(path.c_str(), "rb");
    if (file == nullptr) throw InputError("cannot read \"" + mPath + "\": " + std::strerror(errno));
    struct stat status = {};
    if (fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode)) mSize = static_cast<double>(status.st_size);
    std::setvbuf(file, mBuffer.get(), _IOFBF, kBufferSize);
    char error[PCAP_ERRBUF_SIZE] = "";
    mCapture = pcap_fopen_offline(file, error);
    if (mCapture == nullptr) {
        if (file != stdin) std::fclose(file);
        throw InputError(mPath + " is no capture: " + error);
    }
    const int link = pcap_datalink(mCapture);
    const int expected = isIp ? DLT_RAW : DLT_EN10MB;
    if (link == expected) return;
    const char* const name = pcap_datalink_val_to_name(link);
    const std::string shown = name == nullptr ? std::to_string(link) : name;
    pcap_close(mCapture);
    throw InputError(mPath + " has packets of link type " + shown + " and not of " + (isIp ? "RAW" : "EN10MB"));
}

CaptureReader::~CaptureReader()
{
    pcap_close(mCapture);
}

bool CaptureReader::Next(std::string_view& packet)
{
    pcap_pkthdr* header = nullptr;
    const unsigned char* bytes = nullptr;
    const int result = pcap_next_ex(mCapture, &header, &bytes);
    if (result == PCAP_ERROR_BREAK) return false;
    if (result != 1) {
        throw InputError(mPath + " is damaged after packet " + std::to_string(mNumber) + ": " + pcap_geterr(mCapture));
    }
    ++mNumber;
    packet = std::string_view(reinterpret_cast<const char*>(bytes), header->caplen);
    return true;
}

double CaptureReader::GetShare() const
{
    std::FILE* const file = pcap_file(mCapture);
    if (mSize == 0 || file == nullptr) return -1;
    return static_cast<double>(ftello(file)) / mSize;
}

} // namespace zor::tools
