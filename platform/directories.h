// The directory reading and removal that the library's enumeration and tree removal need from the host.
// Paths are UTF-8 text in the library's normal form that the caller has checked to be well formed and free
// of NUL bytes. A search is named by a HANDLE that stands for nothing once the search has ended: every call
// below refuses a handle that stands for no open search (a stale or made-up value) instead of using it.
// A search is used by one thread at a time; different searches may be used by different threads at once.
#pragma once

#include <cstdint>
#include <string>

#include "core/WindowsTypes.h"  // HANDLE, FILETIME and the FILE_ATTRIBUTE_* bits
#include "platform/lasterror.h"

namespace platform {

// What the host says of one directory entry: the entry itself, so that a symbolic link is described as a
// link (never as a directory, whatever it points at) with its own times.
struct DirectoryEntry {
    const char* name;         // UTF-8 as the host lists it, NUL-terminated; the search's, valid until its next call
    uint32_t attributes;      // FILE_ATTRIBUTE_* bits; FILE_ATTRIBUTE_NORMAL when none applies
    FILETIME creationTime;    // where the file system keeps no creation time: the last write time
    FILETIME lastAccessTime;
    FILETIME lastWriteTime;
    uint64_t size;            // bytes of a file; what the host reports for anything else
};

// Starts a search of the directory named by `pattern` up to its last "/" (the whole pattern is one name
// when it has none) for the entries whose names match the pattern's last segment: "*" stands for any run
// of characters, none included, "?" for exactly one character, and every other character for itself in
// the host's case rule; "*.*" matches every name. "." and ".." are among the entries, as the host lists
// them. Gives the search with its first match in `entry`, or INVALID_HANDLE_VALUE with the last error set
// when nothing matches (kErrorFileNotFound) or the directory cannot be read (kErrorPathNotFound,
// kErrorAccessDenied).
// Host notes: POSIX matches bytes in exact case, as its file systems name files, and a character is one
// UTF-8 sequence (each byte of a broken one counts alone). A last segment without "*" and "?" is looked
// up directly. Windows gives the pattern to FindFirstFileW, which matches without regard to case.
HANDLE StartSearch(const std::string& pattern, DirectoryEntry& entry);

// Starts a search of every entry of the directory `name` that the search `parent` lists, reached through
// the directory that `parent` holds open and never through a symbolic link: a link, or anything else that
// stands under `name` now, gives INVALID_HANDLE_VALUE, as a directory that cannot be read does. A tree
// walked this way cannot be left by a link swapped in while it is walked.
HANDLE StartSearchBelow(HANDLE parent, const std::string& name, DirectoryEntry& entry);

// The search's next match into `entry`; false at the end (the last error kErrorNoMoreFiles), or for a
// handle that stands for no open search. An entry that vanishes between being listed and being looked at
// is passed over; one that comes or goes during the search may or may not be found, but none is found
// twice.
bool ContinueSearch(HANDLE search, DirectoryEntry& entry);

// Ends the search; a handle that stands for no open search is ignored.
void EndSearch(HANDLE search);

// Removes the entry `name` of the directory that `search` lists, through that open directory. A file,
// a link (itself, never what it points at) or any other entry but a directory: a directory gives false.
// An entry that is gone already counts as removed.
bool RemoveFileBelow(HANDLE search, const std::string& name);

// Removes the empty directory `name` of the directory that `search` lists, through that open directory.
// A directory with entries, a link or anything else gives false; one that is gone already counts as
// removed.
bool RemoveDirectoryBelow(HANDLE search, const std::string& name);

// Removes the empty directory `path`. A directory with entries gives false, and so does a symbolic link,
// which is neither followed nor removed.
bool RemoveEmptyDirectory(const std::string& path);

}  // namespace platform
