#ifndef ZOR_COMMON_TOOLS_PROGRESS_H
#define ZOR_COMMON_TOOLS_PROGRESS_H

/// \file
/// Progress, a line on the terminal for work that lasts.

#include <chrono>
#include <cstdint>

namespace zor::tools {

/// Shows how much is done, how fast and how long the rest takes. Nothing is shown in the first second, where standard error
/// is no terminal, and where it is switched off.
class Progress {
public:
    explicit Progress(bool isWanted);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress(); ///< Takes the line away.

    /// \param packets  so far.
    /// \param share    of the work, from 0 to 1; below 0 if that is not known.
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
