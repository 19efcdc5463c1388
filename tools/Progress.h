#ifndef ZOR_COMMON_TOOLS_PROGRESS_H
#define ZOR_COMMON_TOOLS_PROGRESS_H

/// \file
/// Progress, a line on the terminal during long work.

#include <chrono>
#include <cstdint>

namespace zor::tools {

/// Shows how much is done, the speed and the remaining time. Nothing is shown in the first second, if standard error is
/// not a terminal, and if it is switched off.
class Progress {
public:
    explicit Progress(bool isWanted);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress(); ///< Clears the line.

    /// \param packets  the number of packets so far.
    /// \param share    the part of the work that is done, from 0 to 1; below 0 if it is unknown.
    void Update(std::uint64_t packets, double share)
    {
        if (mIsShown) Show(packets, share);
    }

private:
    using Clock = std::chrono::steady_clock;

    void Show(std::uint64_t packets, double share);

    bool mIsShown;
    bool mHasLine = false;
    Clock::time_point mStart = Clock::now();
    Clock::time_point mNext = mStart + std::chrono::seconds(1);
};

} // namespace zor::tools

#endif // ZOR_COMMON_TOOLS_PROGRESS_H
