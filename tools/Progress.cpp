#include "Progress.h"

#include "Quantities.h"

#include <cstdio>
#include <string>

#include <unistd.h>

namespace zor::tools {

Progress::Progress(bool isWanted) : mIsShown(isWanted && isatty(STDERR_FILENO) == 1) {}

Progress::~Progress()
{
    if (mHasLine) std::fputs("\r\033[K", stderr);
}

void Progress::Show(std::uint64_t packets, double share)
{
    const Clock::time_point now = Clock::now();
    if (now < mNext) return;
    mNext = now + std::chrono::milliseconds(200);
    const double seconds = std::chrono::duration<double>(now - mStart).count();
    std::string line = "\r\033[K" + ShowCount(static_cast<double>(packets)) + "packets, " +
                       ShowCount(static_cast<double>(packets) / seconds) + "packets/s";
    if (share > 0) {
        line += ", " + std::to_string(static_cast<int>(100 * share)) + " %, " +
                ShowDuration(seconds / share * (1 - share)) + " left";
    }
    std::fputs(line.c_str(), stderr);
    std::fflush(stderr);
    mHasLine = true;
}

} // namespace zor::tools
