#ifndef ZOR_COMMON_TOOLS_OUTPUT_H
#define ZOR_COMMON_TOOLS_OUTPUT_H

/// \file
/// Output, which gives a file its name only when it is complete, also where several processes write it together.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace zor::tools {

/// Which of how many processes writes: from 0 on.
struct Shard {
    std::uint64_t place = 0;
    std::uint64_t count = 1;
};

/// Bytes on the way to a file or to standard output. What cannot be written is an InputError.
///
/// A file is written as FILE.part and renamed when it is complete. Where processes share it, each one writes its block and
/// then a mark into FILE.part.marks; who finds that all marks are there renames the file. A lock keeps the marks right, so
/// it does not matter which of them end at the same time or are killed, and when.
class Output {
public:
    /// One process that writes all.
    /// \param path  nothing or "-" is standard output. What is no regular file is written as it is.
    explicit Output(const std::optional<std::string>& path);

    /// One of several.
    /// \param recipe  what all of them write; others may not write to the file until it is complete.
    /// \param size    of the whole file.
    Output(const std::string& path, const Shard& shard, const std::string& recipe, std::uint64_t size);

    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output(); ///< Removes what one process has not completed.

    /// Whether another run has written the block of this process already.
    bool IsWritten() const noexcept { return mIsMarked; }

    void MoveTo(std::uint64_t offset); ///< Where the next bytes go, of a shared file.
    void Write(const unsigned char* bytes, std::size_t size);
    void Close(); ///< Says that all is written.

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
