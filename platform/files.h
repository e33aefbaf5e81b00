// The file and directory operations that the library needs from the host. Every path is UTF-8 text in
// the library's normal form (absolute, "/" separators) that the caller has checked to be well formed and
// free of NUL bytes; the host side turns it into whatever its system calls take.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "core/WindowsTypes.h"  // the FILE_ATTRIBUTE_* bits

namespace platform {

// Opens `path` as a stream with a C stream mode: the access letter ("r", "w" or "a"), "+" and "x"
// (fail if the file exists) count; "b" and "t" are accepted, and other letters are ignored. Only a
// regular file opens: a directory, a pipe, a socket or a device gives null, at once, without waiting
// for a peer. A creating mode makes the file, never its directory. Null on any failure, with the last
// error set. The stream is not inherited by child processes.
// Host notes: POSIX opens without blocking and checks the file's type before it hands the stream out.
FILE* OpenStream(const std::string& path, const std::string& mode);

// A file opened for one whole-file operation of the library, without a stream: each call below is one
// request to the system, or a loop of them, and nothing is buffered. Closed with the object, which also
// releases a range lock taken through it.
class File
{
public:
    File() {}
    ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    // Opens `path` as OpenStream does, with the same mode rules, regular files only and without waiting.
    // False with the last error set.
    bool Open(const std::string& path, const std::string& mode);
    // The file's size in bytes, -1 when the host cannot tell.
    int64_t Size() const;
    // Reads up to `count` bytes from the current position, as many as there are; gives how many. `failed`
    // tells whether the host reported an error, which ends the read.
    size_t Read(char* buffer, size_t count, bool& failed);
    // Reads exactly `count` bytes from `offset`, leaving the current position alone; false when the file
    // holds fewer there or the host reports an error.
    bool ReadAt(uint64_t offset, void* buffer, size_t count) const;
    // Writes `count` bytes at the current position (at the end for an appending mode); gives how many the
    // host took before it reported an error, in which case `failed` is set.
    size_t Write(const char* data, size_t count, bool& failed);
    // As LockStreamRange, through this file.
    bool LockRange(uint64_t offset, uint64_t length);

private:
    intptr_t m_nHandle = -1;  // the host's handle of the open file
};

// The size in bytes of the file open as `stream`, as the host records it, whatever the stream's mode; the
// stream's position and buffer are left alone, so data written through it and not yet flushed is not
// counted. -1 when the host cannot tell. Sizes of 2 GiB and more come out whole, where ftell's `long` may be
// 32 bits wide.
// Host notes: POSIX asks fstat of the stream's descriptor, Windows GetFileSizeEx of its handle.
int64_t StreamSize(FILE* stream);

// Takes the exclusive lock on the bytes [offset, offset + length) of the stream's open file, waiting
// without limit while another holder has it. The lock belongs to this open stream, not to the thread or
// the process: a second stream of the same file in the same process waits too, closing some other
// descriptor of the file does not release it, and closing this stream does. The range may lie beyond the
// end of the file; it holds up no read or write of data, only other takers of a lock on the same bytes.
// A stream opened for reading only takes it as well as any other. False when the host refuses the lock.
// Host notes: POSIX uses an open-file-description lock (F_OFD_SETLKW), not a classic per-process one; a
// read-only stream, which the host grants no exclusive one, holds the shared one plus an exclusive flock.
bool LockStreamRange(FILE* stream, uint64_t offset, uint64_t length);

// Releases what LockStreamRange took on the same stream and range. False when the host refuses.
bool UnlockStreamRange(FILE* stream, uint64_t offset, uint64_t length);

// Removes a file. A directory, or a missing name, gives false.
bool RemoveFile(const std::string& path);

// Gives a file or directory a new name, never replacing what already has that name (false then). The new
// name's directory must exist.
// Host notes: POSIX renames with RENAME_NOREPLACE; where a file system lacks it, a file is linked to its new
// name and unlinked from the old one, which never replaces either.
bool RenameWithoutReplacing(const std::string& from, const std::string& to);

// Copies the contents, the permissions and the last write time of the regular file `source` to `target`.
// With `failIfExists` an existing target gives false and stays as it is; otherwise a regular file there is
// overwritten. A target that is the source itself, or not a regular file, gives false and nothing
// changes. A target that this call created is removed again if the copy fails.
// Host notes: POSIX copies the read, write and execute permissions, never a set-ID or sticky bit, and
// overwrites by renaming a whole copy made beside the target onto it, so that a failed copy leaves the
// target as it was (in place where no file can be made there, or the target has other hard links).
bool CopyRegularFile(const std::string& source, const std::string& target, bool failIfExists);

// The attributes of the file or directory at `path` as the library's Windows bits (FILE_ATTRIBUTE_*).
// False when there is nothing there. A plain file without another attribute gives
// FILE_ATTRIBUTE_NORMAL.
// Host notes: POSIX reports the directory bit from the file type, read-only when the owner may not write,
// hidden for a name that begins with "."; it never reports the system bit.
bool ReadAttributes(const std::string& path, uint32_t& attributes);

// Gives the file or directory at `path` the Windows attribute bits `attributes`, replacing those it had.
// Bits the host cannot set are ignored. False when the host refuses or there is nothing there.
// Host notes: POSIX sets read-only by taking every write permission away, and clears it by giving the owner
// back the write permission; hidden, system and directory cannot be set there.
bool WriteAttributes(const std::string& path, uint32_t attributes);

// The size in bytes of the regular file at `path`, -1 when it cannot be opened for reading or is no
// regular file.
int64_t RegularFileSize(const std::string& path);

// Makes one directory; its parent must exist. False with the last error set when it fails:
// kErrorAlreadyExists when something of that name exists, file or directory, kErrorFilenameTooLong when
// the path or one of its names is longer than the host takes.
bool MakeDirectory(const std::string& path);

}  // namespace platform
