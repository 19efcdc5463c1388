#ifndef ZOR_COMMON_TOOLS_OUTPUT_H
#define ZOR_COMMON_TOOLS_OUTPUT_H

/// \file
/// Output, which gives a file its name only when it is complete, even if several processes write it together.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace zor::tools {

/// The number of a process, from 0 on, and the number of processes.
struct Shard {
    std::uint64_t place = 0;
    std::uint64_t count = 1;
};

/// Writes bytes to a file or to standard output. Throws an InputError if they cannot be written.
///
/// A file is written as FILE.part and renamed when it is complete. If processes share a file, each writes its block and
/// then a mark in FILE.part.marks; the process that finds all marks renames the file. A lock protects the marks, so
/// processes may end at the same time or be killed at any time.
class Output {
public:
    /// For one process that writes everything.
    /// \param path  nothing or "-" is standard output. A path that is not a regular file is opened under its own name.
    explicit Output(const std::optional<std::string>& path);

    /// For one of several processes.
    /// \param recipe  the same for all of them; processes with another recipe are refused until the file is complete.
    /// \param size    the size of the whole file.
    Output(const std::string& path, const Shard& shard, const std::string& recipe, std::uint64_t size);

    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output(); ///< Removes an incomplete file of a single process.

    /// Whether another run has written the block of this process already.
    bool IsWritten() const noexcept { return mIsMarked; }

    void MoveTo(std::uint64_t offset); ///< Sets the place of the next bytes in a shared file.
    void Write(const unsigned char* bytes, std::size_t size);
    void Close(); ///< Completes the file.

private:
    void OpenMarks(const std::string& recipe, std::uint64_t size);
    void Mark();
    [[noreturn]] void Fail(const std::string& name) const;

    std::string mPath; // empty for standard output
    std::string mPart;
    int mFile = -1;
    int mMarks = -1;
    Shard mShard;
    std::uint64_t mFirstMark = 0; // where the marks stand
    bool mIsMarked = false;
    bool mIsShared = false;
    bool mIsOpen = false;
};

} // namespace zor::tools

#endif // ZOR_COMMON_TOOLS_OUTPUT_H
