// platform/posix/files.cpp — streams, the range lock, attributes and copies over POSIX descriptors.
// Every file opens without blocking and is checked to be a regular file before it is used: a FIFO planted
// where a file is expected would otherwise hold an open or a read until a peer comes, which may be never.
#include "platform/files.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <memory>

#include "core/WindowsTypes.h"
#include "platform/lasterror.h"
#include "platform/posix/file_status.h"

namespace platform {
namespace {

constexpr uint32_t kErrorNotRegular = 1920;  // ERROR_CANT_ACCESS_FILE: the name is there, but not as a file

// Closes a descriptor on every path; release() hands it on.
class Descriptor
{
public:
    explicit Descriptor(int descriptor) : m_nDescriptor(descriptor) {}
    ~Descriptor()
    {
        if (m_nDescriptor >= 0)
            ::close(m_nDescriptor);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return m_nDescriptor; }
    void reset(int descriptor)
    {
        if (m_nDescriptor >= 0)
            ::close(m_nDescriptor);
        m_nDescriptor = descriptor;
    }
    int release()
    {
        int descriptor = m_nDescriptor;
        m_nDescriptor = -1;
        return descriptor;
    }

private:
    int m_nDescriptor;
};

// Opens without blocking (a FIFO with no peer would wait for one) and keeps the descriptor only when it
// names a regular file. A terminal named there is never taken as the process's controlling terminal,
// which the open of one by a session leader without a terminal would do, refused or not.
int OpenRegular(const std::string& path, int flags, mode_t permissions = 0666)
{
    int descriptor;
    do {
        descriptor = ::open(path.c_str(), flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, permissions);
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0) {
        SetLastErrorFromErrno(errno);
        return -1;
    }
    struct stat status;
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        ::close(descriptor);
        SetLastError(kErrorNotRegular);
        return -1;
    }
    // O_NONBLOCK stays: a regular file ignores it for reads and writes.
    return descriptor;
}

struct StreamMode {
    int flags;
    const char* canonical;  // the mode handed to fdopen, without the letters that only open() needs
};

bool ParseMode(const std::string& mode, StreamMode& parsed)
{
    if (mode.empty())
        return false;
    bool update = mode.find('+', 1) != std::string::npos;
    int exclusive = mode.find('x', 1) != std::string::npos ? O_EXCL : 0;
    switch (mode[0]) {
    case 'r':
        parsed = {update ? O_RDWR : O_RDONLY, update ? "r+" : "r"};
        return true;
    case 'w':
        parsed = {(update ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC | exclusive, update ? "w+" : "w"};
        return true;
    case 'a':
        parsed = {(update ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND | exclusive, update ? "a+" : "a"};
        return true;
    default:
        return false;
    }
}

bool SetRangeLock(int descriptor, short type, uint64_t offset, uint64_t length)
{
    if (offset > static_cast<uint64_t>(LLONG_MAX) || length > static_cast<uint64_t>(LLONG_MAX) - offset) {
        SetLastError(kErrorInvalidParameter);
        return false;
    }
    struct flock range;
    std::memset(&range, 0, sizeof range);
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = static_cast<off_t>(offset);
    range.l_len = static_cast<off_t>(length);
    int result;
    do {
        result = ::fcntl(descriptor, F_OFD_SETLKW, &range);
    } while (result != 0 && errno == EINTR);
    if (result != 0)
        SetLastErrorFromErrno(errno);
    return result == 0;
}

// Takes the exclusive range lock through `descriptor`. The host grants an exclusive fcntl lock only to a
// descriptor open for writing, while the lock belongs to any open file, as a stream opened for reading only
// may hold it too. Such a holder takes the shared lock on the range, which holds off every writable
// holder, and an exclusive flock on its open file description, which holds off the other read-only
// holders. Writable holders never take the flock, so no two takers ever wait for each other in a cycle.
bool LockDescriptorRange(int descriptor, uint64_t offset, uint64_t length)
{
    // Asked first, so that a writer, nearly every taker, pays no call for the descriptor's mode.
    if (SetRangeLock(descriptor, F_WRLCK, offset, length))
        return true;
    const int access = ::fcntl(descriptor, F_GETFL);
    if (access < 0 || (access & O_ACCMODE) != O_RDONLY)
        return false;  // the last error is the refused lock's
    int result;
    do {
        result = ::flock(descriptor, LOCK_EX);
    } while (result != 0 && errno == EINTR);
    // Where the file system has no flock, the shared lock still holds off every writer.
    if (SetRangeLock(descriptor, F_RDLCK, offset, length))
        return true;
    if (result == 0)
        ::flock(descriptor, LOCK_UN);
    return false;
}

// Releases what LockDescriptorRange took, whichever of its two forms that was.
bool UnlockDescriptorRange(int descriptor, uint64_t offset, uint64_t length)
{
    const bool released = SetRangeLock(descriptor, F_UNLCK, offset, length);
    ::flock(descriptor, LOCK_UN);
    return released;
}

// One request of the system carries less than 1 GiB: some kernels take no more at once.
constexpr size_t kLargestRequest = size_t{1} << 30;

// Repeats `step(done, chunk)` (a read or a write of at most `chunk` bytes at `done`) until `count` bytes
// are moved, a step moves nothing (the end of a file, or a write the system took none of, which is a
// full disk) or a step fails; gives the bytes moved. An interrupted step is repeated.
template <typename Step>
size_t MoveFully(size_t count, bool zeroIsFailure, bool& failed, Step step)
{
    failed = false;
    size_t done = 0;
    while (done < count) {
        const size_t chunk = count - done < kLargestRequest ? count - done : kLargestRequest;
        const ssize_t moved = step(done, chunk);
        if (moved < 0 && errno == EINTR)
            continue;
        if (moved < 0 || (moved == 0 && zeroIsFailure)) {
            SetLastErrorFromErrno(moved < 0 ? errno : ENOSPC);
            failed = true;
            break;
        }
        if (moved == 0)
            break;
        done += static_cast<size_t>(moved);
    }
    return done;
}

// Reads until `count` bytes, the end of the file or an error; gives the bytes read.
size_t ReadFully(int descriptor, char* buffer, size_t count, bool& failed)
{
    return MoveFully(count, false, failed,
                     [&](size_t done, size_t chunk) { return ::read(descriptor, buffer + done, chunk); });
}

// Writes until all `count` bytes are taken or an error; gives the bytes written.
size_t WriteFully(int descriptor, const char* data, size_t count, bool& failed)
{
    return MoveFully(count, true, failed,
                     [&](size_t done, size_t chunk) { return ::write(descriptor, data + done, chunk); });
}

// Copies the data from the start of `from` to the start of `to`: in the kernel where it can, through a
// buffer where it cannot (copy_file_range refuses some pairs of file systems).
bool CopyData(int from, int to)
{
    for (;;) {
        ssize_t copied = ::copy_file_range(from, nullptr, to, nullptr, 1 << 30, 0);
        if (copied == 0)
            return true;
        if (copied > 0)
            continue;
        if (errno == EINTR)
            continue;
        if (errno != EXDEV && errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP) {
            SetLastErrorFromErrno(errno);
            return false;
        }
        break;
    }
    constexpr size_t kBuffer = 1 << 16;
    std::unique_ptr<char[]> buffer(new char[kBuffer]);
    for (;;) {
        bool failed = false;
        const size_t got = ReadFully(from, buffer.get(), kBuffer, failed);
        if (failed)
            return false;
        if (WriteFully(to, buffer.get(), got, failed) != got || failed)
            return false;
        if (got < kBuffer)
            return true;
    }
}

// What a copy takes of the source's mode: read, write and execute. Never the set-user-ID, set-group-ID or
// sticky bit: a privileged process that copied another user's set-user-ID program would make one that runs
// as itself.
constexpr mode_t kCopiedPermissions = 0777;

// Copies `from` into a new file in the directory of `target` (the file it names, through links), gives it
// the source's permissions and times and the target's owner where the host lets it, and renames it over
// the target in one step. 1 when done; 0 when it failed, the target untouched and the new file gone; -1
// when no file could be made beside the target or put in its place, nothing done.
int ReplaceByCopy(int from, const std::string& target, const struct stat& source, const struct stat& existing)
{
    std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(target.c_str(), nullptr), &std::free);
    if (!resolved)
        return -1;
    std::string temporary(resolved.get());
    temporary.erase(temporary.rfind('/') + 1);
    temporary += ".copy-XXXXXX";
    Descriptor fresh(::mkostemp(&temporary[0], O_CLOEXEC));
    if (fresh.get() < 0)
        return -1;
    if (::fchown(fresh.get(), existing.st_uid, existing.st_gid) != 0) {
        // Another owner can only be given by a privileged process; the copy is then the caller's.
    }
    const struct timespec times[2] = {source.st_atim, source.st_mtim};
    bool done = CopyData(from, fresh.get());  // sets the last error when it fails
    if (done && (::futimens(fresh.get(), times) != 0 ||
                 ::fchmod(fresh.get(), source.st_mode & kCopiedPermissions) != 0)) {
        SetLastErrorFromErrno(errno);
        done = false;
    }
    if (done) {
        if (::rename(temporary.c_str(), resolved.get()) == 0)
            return 1;
        // A file that may be written but not replaced (another user's, in a directory with the sticky bit):
        // the copy is whole, so overwriting in place can succeed.
        ::unlink(temporary.c_str());
        ::lseek(from, 0, SEEK_SET);
        return -1;
    }
    const uint32_t error = GetLastError();
    ::unlink(temporary.c_str());
    SetLastError(error);
    return 0;
}

}  // namespace

File::~File()
{
    if (m_nHandle >= 0)
        ::close(static_cast<int>(m_nHandle));
}

bool File::Open(const std::string& path, const std::string& mode)
{
    StreamMode parsed;
    if (!ParseMode(mode, parsed)) {
        SetLastError(kErrorInvalidParameter);
        return false;
    }
    if (m_nHandle >= 0)
        ::close(static_cast<int>(m_nHandle));
    m_nHandle = OpenRegular(path, parsed.flags);
    return m_nHandle >= 0;
}

int64_t File::Size() const
{
    struct stat status;
    if (m_nHandle < 0 || ::fstat(static_cast<int>(m_nHandle), &status) != 0)
        return -1;
    return static_cast<int64_t>(status.st_size);
}

size_t File::Read(char* buffer, size_t count, bool& failed)
{
    return ReadFully(static_cast<int>(m_nHandle), buffer, count, failed);
}

bool File::ReadAt(uint64_t offset, void* buffer, size_t count) const
{
    if (offset > static_cast<uint64_t>(LLONG_MAX) || count > static_cast<uint64_t>(LLONG_MAX) - offset) {
        SetLastError(kErrorInvalidParameter);
        return false;
    }
    char* bytes = static_cast<char*>(buffer);
    bool failed = false;
    const size_t got = MoveFully(count, false, failed, [&](size_t done, size_t chunk) {
        return ::pread(static_cast<int>(m_nHandle), bytes + done, chunk, static_cast<off_t>(offset + done));
    });
    return !failed && got == count;
}

size_t File::Write(const char* data, size_t count, bool& failed)
{
    return WriteFully(static_cast<int>(m_nHandle), data, count, failed);
}

bool File::LockRange(uint64_t offset, uint64_t length)
{
    return LockDescriptorRange(static_cast<int>(m_nHandle), offset, length);
}

FILE* OpenStream(const std::string& path, const std::string& mode)
{
    StreamMode parsed;
    if (!ParseMode(mode, parsed)) {
        SetLastError(kErrorInvalidParameter);
        return nullptr;
    }
    Descriptor descriptor(OpenRegular(path, parsed.flags));
    if (descriptor.get() < 0)
        return nullptr;
    FILE* stream = ::fdopen(descriptor.get(), parsed.canonical);
    if (stream == nullptr) {
        SetLastErrorFromErrno(errno);
        return nullptr;
    }
    descriptor.release();
    return stream;
}

int64_t StreamSize(FILE* stream)
{
    struct stat status;
    if (stream == nullptr || ::fstat(::fileno(stream), &status) != 0)
        return -1;
    return static_cast<int64_t>(status.st_size);
}

bool LockStreamRange(FILE* stream, uint64_t offset, uint64_t length)
{
    return LockDescriptorRange(::fileno(stream), offset, length);
}

bool UnlockStreamRange(FILE* stream, uint64_t offset, uint64_t length)
{
    return UnlockDescriptorRange(::fileno(stream), offset, length);
}

bool RemoveFile(const std::string& path)
{
    if (::unlink(path.c_str()) == 0)
        return true;
    SetLastErrorFromErrno(errno);
    return false;
}

bool RenameWithoutReplacing(const std::string& from, const std::string& to)
{
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP) {
        SetLastErrorFromErrno(errno);
        return false;
    }
    // The file system cannot rename without replacing: a second hard link cannot replace anything either.
    // Directories cannot be linked, so they cannot be renamed on such a file system.
    if (::link(from.c_str(), to.c_str()) != 0) {
        SetLastErrorFromErrno(errno);
        return false;
    }
    if (::unlink(from.c_str()) != 0) {
        int error = errno;
        ::unlink(to.c_str());
        SetLastErrorFromErrno(error);
        return false;
    }
    return true;
}

bool CopyRegularFile(const std::string& source, const std::string& target, bool failIfExists)
{
    Descriptor from(OpenRegular(source, O_RDONLY));
    if (from.get() < 0)
        return false;
    struct stat sourceStatus;
    if (::fstat(from.get(), &sourceStatus) != 0) {
        SetLastErrorFromErrno(errno);
        return false;
    }
    // Created exclusively first, so that the call knows whether the target is its own to remove on failure.
    const mode_t permissions = sourceStatus.st_mode & kCopiedPermissions;
    bool created = true;
    Descriptor to(OpenRegular(target, O_WRONLY | O_CREAT | O_EXCL, permissions));
    if (to.get() < 0 && GetLastError() == kErrorAlreadyExists && !failIfExists) {
        created = false;
        // Not truncated at open: the target may be the source under another name.
        to.reset(OpenRegular(target, O_WRONLY));
    }
    if (to.get() < 0)
        return false;
    struct stat targetStatus;
    if (::fstat(to.get(), &targetStatus) != 0 ||
        (targetStatus.st_dev == sourceStatus.st_dev && targetStatus.st_ino == sourceStatus.st_ino)) {
        SetLastError(kErrorAccessDenied);
        return false;
    }
    if (!created && targetStatus.st_nlink == 1) {
        // The copy goes to a new file beside the target, which takes the target's place only once it is
        // whole: a copy that fails half way leaves the target as it was. In place only where no file can
        // be made there, or where the target has other names that must keep seeing its contents.
        int replaced = ReplaceByCopy(from.get(), target, sourceStatus, targetStatus);
        if (replaced >= 0)
            return replaced == 1;
    }
    bool copied = ::ftruncate(to.get(), 0) == 0 && CopyData(from.get(), to.get());
    if (copied) {
        const struct timespec times[2] = {sourceStatus.st_atim, sourceStatus.st_mtim};
        ::futimens(to.get(), times);
        if (!created)
            ::fchmod(to.get(), permissions);
        return true;
    }
    int error = GetLastError();
    if (created)
        ::unlink(target.c_str());
    SetLastError(error);
    return false;
}

bool ReadAttributes(const std::string& path, uint32_t& attributes)
{
    struct stat status;
    if (::stat(path.c_str(), &status) != 0) {
        SetLastErrorFromErrno(errno);
        return false;
    }
    attributes = AttributesOf(status.st_mode, path.c_str());
    return true;
}

bool WriteAttributes(const std::string& path, uint32_t attributes)
{
    struct stat status;
    if (::stat(path.c_str(), &status) != 0) {
        SetLastErrorFromErrno(errno);
        return false;
    }
    mode_t permissions = status.st_mode & 07777;
    if (attributes & FILE_ATTRIBUTE_READONLY)
        permissions &= static_cast<mode_t>(~(S_IWUSR | S_IWGRP | S_IWOTH));
    else
        permissions |= S_IWUSR;
    if (::chmod(path.c_str(), permissions) != 0) {
        SetLastErrorFromErrno(errno);
        return false;
    }
    return true;
}

int64_t RegularFileSize(const std::string& path)
{
    Descriptor file(OpenRegular(path, O_RDONLY));
    struct stat status;
    if (file.get() < 0 || ::fstat(file.get(), &status) != 0)
        return -1;
    return static_cast<int64_t>(status.st_size);
}

bool MakeDirectory(const std::string& path)
{
    if (::mkdir(path.c_str(), 0777) == 0)
        return true;
    SetLastErrorFromErrno(errno);
    return false;
}

}  // namespace platform
