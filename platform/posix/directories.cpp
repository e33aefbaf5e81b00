// platform/posix/directories.cpp — directory searches over getdents64 and statx, and removal through the
// open directory. Searches live in a table and are named by a slot and a generation, not by an address:
// the handle sits in a record that the caller owns, and a stale or made-up value must be refused, never
// followed into freed memory. Every entry below the first directory is opened, looked at and removed
// relative to its parent's open descriptor and without following a link, so that a directory swapped for a
// link during a walk cannot lead the walk out of its tree.
#include "platform/directories.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <mutex>
#include <vector>

#include "platform/SearchTable.h"
#include "platform/lasterror.h"
#include "platform/posix/file_status.h"

namespace platform {
namespace {

constexpr uint32_t kAttributeReparsePoint = 0x400;  // FILE_ATTRIBUTE_REPARSE_POINT: the mark of a link

// The listing buffer of one search. Small, because a tree removal holds one search open per level.
constexpr size_t kListingBytes = 8192;

struct Search {
    ~Search()
    {
        if (descriptor >= 0)
            ::close(descriptor);
    }
    int descriptor = -1;     // the open directory
    std::string segment;     // the pattern's last segment
    bool everything = false; // the segment matches every name
    bool single = false;     // the segment names one entry, looked up instead of listed
    bool ended = false;      // the listing gave its last entry, or the single entry was given
    size_t position = 0;     // the next record in the buffer
    size_t filled = 0;       // the bytes of records in the buffer
    alignas(8) char buffer[kListingBytes];
};

SearchTable<Search>& Searches()
{
    return SearchTable<Search>::Instance();
}

Search* FindSearch(HANDLE handle)
{
    return Searches().FindOpen(handle);
}

// 100-ns ticks since 1601-01-01 UTC; times before 1601 read as 1601, times beyond the ticks' range as the
// last tick.
FILETIME FileTimeOf(const struct statx_timestamp& time)
{
    constexpr int64_t kSecondsFrom1601To1970 = 11644473600LL;
    constexpr int64_t kTicksPerSecond = 10000000;
    uint64_t ticks;
    if (time.tv_sec < -kSecondsFrom1601To1970)
        ticks = 0;
    else if (time.tv_sec > LLONG_MAX / kTicksPerSecond - kSecondsFrom1601To1970 - 1)
        ticks = LLONG_MAX;
    else
        ticks = static_cast<uint64_t>(time.tv_sec + kSecondsFrom1601To1970) * kTicksPerSecond + time.tv_nsec / 100;
    return FILETIME{static_cast<uint32_t>(ticks), static_cast<uint32_t>(ticks >> 32)};
}

// Describes the entry `name` of the open directory `directory`; `type` is the listing's d_type (DT_UNKNOWN
// for a lookup). False when the entry is gone.
bool Describe(int directory, const char* name, unsigned char type, DirectoryEntry& entry)
{
    struct statx status;
    const unsigned int wanted = STATX_TYPE | STATX_MODE | STATX_SIZE | STATX_ATIME | STATX_MTIME | STATX_BTIME;
    entry.name = name;
    if (::statx(directory, name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, wanted, &status) != 0) {
        if (errno == ENOENT)
            return false;
        // Listed, but not to be looked at (a directory that may be read and not searched): what the listing
        // itself tells.
        entry.attributes = AttributesOf(type == DT_DIR ? S_IFDIR | S_IWUSR : S_IFREG | S_IWUSR, name);
        entry.creationTime = entry.lastAccessTime = entry.lastWriteTime = FILETIME{0, 0};
        entry.size = 0;
        return true;
    }
    uint32_t attributes = AttributesOf(status.stx_mode, name);
    if (S_ISLNK(status.stx_mode))
        attributes = (attributes & ~FILE_ATTRIBUTE_NORMAL) | kAttributeReparsePoint;
    entry.attributes = attributes;
    entry.lastWriteTime = FileTimeOf(status.stx_mtime);
    entry.lastAccessTime = FileTimeOf(status.stx_atime);
    entry.creationTime = (status.stx_mask & STATX_BTIME) ? FileTimeOf(status.stx_btime) : entry.lastWriteTime;
    entry.size = status.stx_size;
    return true;
}

// The bytes of the character at `text`: a whole UTF-8 sequence, or 1 for a byte that begins none.
size_t CharacterLength(const unsigned char* text)
{
    const unsigned char lead = text[0];
    size_t length;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        low = lead == 0xE0 ? 0xA0 : 0x80;  // no overlong form
        high = lead == 0xED ? 0x9F : 0xBF; // no surrogate
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        low = lead == 0xF0 ? 0x90 : 0x80;
        high = lead == 0xF4 ? 0x8F : 0xBF;
    } else {
        return 1;
    }
    if (text[1] < low || text[1] > high)
        return 1;
    for (size_t i = 2; i < length; ++i) {
        if (text[i] < 0x80 || text[i] > 0xBF)
            return 1;
    }
    return length;
}

// Whether `name` matches the wildcard segment `pattern`. A "*" is retried one character further each time
// the rest fails; only the latest "*" is retried, which is enough, since any earlier one could only take
// what the latest can.
bool Matches(const char* name, const std::string& pattern)
{
    const unsigned char* text = reinterpret_cast<const unsigned char*>(name);
    size_t at = 0;
    size_t wanted = 0;
    size_t starWanted = std::string::npos;
    size_t starAt = 0;
    while (text[at] != 0) {
        if (wanted < pattern.size() && pattern[wanted] == '*') {
            starWanted = ++wanted;
            starAt = at;
        } else if (wanted < pattern.size() && pattern[wanted] == '?') {
            at += CharacterLength(text + at);
            ++wanted;
        } else if (wanted < pattern.size() && static_cast<unsigned char>(pattern[wanted]) == text[at]) {
            ++at;
            ++wanted;
        } else if (starWanted != std::string::npos) {
            starAt += CharacterLength(text + starAt);
            at = starAt;
            wanted = starWanted;
        } else {
            return false;
        }
    }
    while (wanted < pattern.size() && pattern[wanted] == '*')
        ++wanted;
    return wanted == pattern.size();
}

// The search's next entry that matches; false at its end.
bool NextEntry(Search& search, DirectoryEntry& entry)
{
    if (search.single) {
        if (search.ended)
            return false;
        search.ended = true;
        return Describe(search.descriptor, search.segment.c_str(), DT_UNKNOWN, entry);
    }
    for (;;) {
        if (search.position >= search.filled) {
            if (search.ended)
                return false;
            ssize_t got;
            do {
                got = ::getdents64(search.descriptor, search.buffer, sizeof search.buffer);
            } while (got < 0 && errno == EINTR);
            if (got <= 0) {
                search.ended = true;
                return false;
            }
            search.filled = static_cast<size_t>(got);
            search.position = 0;
        }
        const struct dirent64* record = reinterpret_cast<const struct dirent64*>(search.buffer + search.position);
        search.position += record->d_reclen;
        if (!search.everything && !Matches(record->d_name, search.segment))
            continue;
        if (Describe(search.descriptor, record->d_name, record->d_type, entry))
            return true;
    }
}

// Starts a search of the open directory `descriptor`, which it takes over, for `segment`.
HANDLE Begin(int descriptor, const std::string& segment, DirectoryEntry& entry)
{
    std::unique_ptr<Search> search(new Search);
    search->descriptor = descriptor;
    search->segment = segment;
    search->everything = segment == "*" || segment == "*.*";
    search->single = segment.find_first_of("*?") == std::string::npos;
    if (!NextEntry(*search, entry)) {
        SetLastError(kErrorFileNotFound);
        return INVALID_HANDLE_VALUE;
    }
    return Searches().Add(std::move(search));
}

// Opens a directory without waiting for anything, with `flags` added; -1 with the last error set.
int OpenDirectory(int parent, const char* name, int flags)
{
    int descriptor;
    do {
        descriptor = ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK | flags);
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0) {
        const int error = errno;
        if (error == ENOENT || error == ENOTDIR || error == ELOOP)
            SetLastError(kErrorPathNotFound);
        else
            SetLastErrorFromErrno(error);
    }
    return descriptor;
}

}  // namespace

HANDLE StartSearch(const std::string& pattern, DirectoryEntry& entry)
{
    const size_t slash = pattern.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : slash == 0 ? "/" : pattern.substr(0, slash);
    const std::string segment = slash == std::string::npos ? pattern : pattern.substr(slash + 1);
    if (segment.empty()) {
        SetLastError(kErrorFileNotFound);
        return INVALID_HANDLE_VALUE;
    }
    const int descriptor = OpenDirectory(AT_FDCWD, directory.c_str(), 0);
    if (descriptor < 0)
        return INVALID_HANDLE_VALUE;
    return Begin(descriptor, segment, entry);
}

HANDLE StartSearchBelow(HANDLE parent, const std::string& name, DirectoryEntry& entry)
{
    Search* search = FindSearch(parent);
    if (search == nullptr)
        return INVALID_HANDLE_VALUE;
    const int descriptor = OpenDirectory(search->descriptor, name.c_str(), O_NOFOLLOW);
    if (descriptor < 0)
        return INVALID_HANDLE_VALUE;
    return Begin(descriptor, "*", entry);
}

bool ContinueSearch(HANDLE handle, DirectoryEntry& entry)
{
    Search* search = FindSearch(handle);
    if (search == nullptr)
        return false;
    if (NextEntry(*search, entry))
        return true;
    SetLastError(kErrorNoMoreFiles);
    return false;
}

void EndSearch(HANDLE handle)
{
    Searches().Remove(handle);
}

bool RemoveFileBelow(HANDLE handle, const std::string& name)
{
    Search* search = FindSearch(handle);
    if (search == nullptr)
        return false;
    // Gone already (another remover got there first): the caller's aim, its absence, holds.
    if (::unlinkat(search->descriptor, name.c_str(), 0) == 0 || errno == ENOENT)
        return true;
    SetLastErrorFromErrno(errno);
    return false;
}

bool RemoveDirectoryBelow(HANDLE handle, const std::string& name)
{
    Search* search = FindSearch(handle);
    if (search == nullptr)
        return false;
    if (::unlinkat(search->descriptor, name.c_str(), AT_REMOVEDIR) == 0 || errno == ENOENT)
        return true;
    SetLastErrorFromErrno(errno);
    return false;
}

bool RemoveEmptyDirectory(const std::string& path)
{
    if (::rmdir(path.c_str()) == 0)
        return true;
    SetLastErrorFromErrno(errno);
    return false;
}

}  // namespace platform
