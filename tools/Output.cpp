#include "Output.h"

#include "Errors.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zor::tools {

namespace {

constexpr mode_t kMode = 0666; // less what the umask takes

/// The file that a link leads to, so that the link stays.
std::string Resolved(const std::string& path)
{
    char* const real = realpath(path.c_str(), nullptr);
    if (real == nullptr) return path; // a new file
    std::string resolved(real);
    std::free(real); // NOLINT(cppcoreguidelines-no-malloc)
    return resolved;
}

/// Has the file for itself as long as it lives; machines that share the file system take part.
class FileLock {
public:
    explicit FileLock(int file) : mFile(file) { mIsHeld = Set(F_WRLCK); }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    ~FileLock() { Set(F_UNLCK); }

    bool IsHeld() const { return mIsHeld; }

private:
    bool Set(short type) const
    {
        struct flock lock = {};
        lock.l_type = type;
        lock.l_whence = SEEK_SET;
        int result = 0;
        do {
            result = fcntl(mFile, F_OFD_SETLKW, &lock);
        } while (result != 0 && errno == EINTR);
        return result == 0;
    }

    int mFile;
    bool mIsHeld;
};

bool ReadAll(int file, std::string& content)
{
    char buffer[4096];
    ssize_t size = 0;
    for (off_t at = 0; (size = pread(file, buffer, sizeof buffer, at)) > 0; at += size) {
        content.append(buffer, static_cast<std::size_t>(size));
    }
    return size == 0;
}

} // namespace

void Output::Fail(const std::string& name) const
{
    throw InputError("cannot write " + (name.empty() ? "standard output" : "\"" + name + "\"") + ": " +
                     std::strerror(errno));
}

Output::Output(const std::optional<std::string>& path)
{
    if (!path || *path == "-") {
        mFile = STDOUT_FILENO;
        return;
    }
    if (path->empty()) throw InputError("cannot write \"\": the name is empty");
    mPath = Resolved(*path);
    struct stat status = {};
    const bool isThere = stat(mPath.c_str(), &status) == 0;
    if (isThere && !S_ISREG(status.st_mode)) {
        mFile = open(mPath.c_str(), O_WRONLY | O_CLOEXEC);
        if (mFile < 0) Fail(mPath);
        return;
    }
    mPart = mPath + ".part";
    if (stat((mPart + ".marks").c_str(), &status) == 0) {
        throw InputError("\"" + mPart + "\" belongs to shards: remove it and \"" + mPart + ".marks\" to write anew");
    }
    mFile = open(mPart.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kMode);
    if (mFile < 0) Fail(mPath);
    mIsOpen = true;
}

Output::Output(const std::string& path, const Shard& shard, const std::string& recipe, std::uint64_t size)
    : mPath(Resolved(path)), mPart(mPath + ".part"), mShard(shard), mIsShared(true)
{
    struct stat status = {};
    if (stat(mPath.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        throw InputError("\"" + mPath + "\" is no file that shards could share");
    }
    if (size > static_cast<std::uint64_t>(LLONG_MAX)) throw InputError("the file would have 2^63 bytes and more");
    OpenMarks(recipe, size);
}

void Output::OpenMarks(const std::string& recipe, std::uint64_t size)
{
    const std::string marks = mPart + ".marks";
    mFirstMark = recipe.size();
    while (true) {
        mMarks = open(marks.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kMode);
        if (mMarks < 0) Fail(marks);
        const FileLock lock(mMarks);
        struct stat status = {};
        if (!lock.IsHeld() || fstat(mMarks, &status) != 0) Fail(marks);
        if (status.st_nlink == 0) { // another process has completed the file in between
            close(mMarks);
            mMarks = -1;
            continue;
        }
        std::string content;
        if (!ReadAll(mMarks, content)) Fail(marks);
        const bool isNew = access(mPart.c_str(), F_OK) != 0; // marks without a file are those of one that is complete
        const std::uint64_t whole = recipe.size() + mShard.count;
        if (!isNew && !content.empty() && (content.size() != whole || content.compare(0, recipe.size(), recipe) != 0)) {
            throw InputError("\"" + mPart + "\" belongs to shards of other packets: remove it and \"" + marks +
                             "\" to write anew");
        }
        if (isNew || content.empty()) {
            content = recipe;
            content.resize(whole, '\0');
            if (ftruncate(mMarks, 0) != 0 ||
                pwrite(mMarks, content.data(), content.size(), 0) != static_cast<ssize_t>(content.size())) {
                Fail(marks);
            }
        }
        mIsMarked = content[recipe.size() + mShard.place] != '\0';
        mFile = open(mPart.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, kMode);
        if (mFile < 0 || ftruncate(mFile, static_cast<off_t>(size)) != 0) Fail(mPart);
        return;
    }
}

Output::~Output()
{
    if (mFile > STDERR_FILENO) close(mFile);
    if (mMarks >= 0) close(mMarks);
    if (mIsOpen) unlink(mPart.c_str());
}

void Output::MoveTo(std::uint64_t offset)
{
    if (lseek(mFile, static_cast<off_t>(offset), SEEK_SET) < 0) Fail(mPart);
}

void Output::Write(const unsigned char* bytes, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = write(mFile, bytes, size);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) Fail(mPath);
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
}

void Output::Close()
{
    if (mIsShared) return Mark();
    if (mFile == STDOUT_FILENO) return;
    const int file = mFile;
    mFile = -1;
    if (close(file) != 0) Fail(mPath);
    if (mIsOpen && rename(mPart.c_str(), mPath.c_str()) != 0) Fail(mPath);
    mIsOpen = false;
}

void Output::Mark()
{
    // The block is on the disk before its mark is: the machine that finds all marks may be another one.
    if (!mIsMarked && fsync(mFile) != 0) Fail(mPart);
    const FileLock lock(mMarks);
    struct stat status = {};
    if (!lock.IsHeld() || fstat(mMarks, &status) != 0) Fail(mPart + ".marks");
    if (status.st_nlink == 0) return; // complete: only the last mark lets the file be renamed
    if (!mIsMarked && pwrite(mMarks, "x", 1, static_cast<off_t>(mFirstMark + mShard.place)) != 1)
        Fail(mPart + ".marks");
    std::string content;
    if (!ReadAll(mMarks, content)) Fail(mPart + ".marks");
    if (content.find('\0', mFirstMark) != std::string::npos) return;
    if (rename(mPart.c_str(), mPath.c_str()) != 0 || unlink((mPart + ".marks").c_str()) != 0) Fail(mPath);
}

} // namespace zor::tools
