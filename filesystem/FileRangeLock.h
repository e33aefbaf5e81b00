// Internal: the byte range whose lock orders the writers of one file, and a holder of that lock.
#pragma once

#include <cstdint>
#include <cstdio>

#include "platform/files.h"

namespace filesystem {

// Far behind any real content, so the lock holds up no read or write of data: it only makes the takers
// of this same lock wait for each other. The numbers are the library's on every host, so that programs
// on either side that share a file exclude each other.
constexpr uint64_t kLockOffset = 0x0000FFFF00000000ull;
constexpr uint64_t kLockLength = 0x100000000ull;

// Holds the range lock of the stream's file from construction to destruction. Failures of the lock are
// not reported: the write goes ahead either way, as it would where locks are not supported.
class FileRangeLock
{
public:
    explicit FileRangeLock(FILE* stream) : m_pStream(stream)
    {
        platform::LockStreamRange(m_pStream, kLockOffset, kLockLength);
    }
    ~FileRangeLock() { platform::UnlockStreamRange(m_pStream, kLockOffset, kLockLength); }
    FileRangeLock(const FileRangeLock&) = delete;
    FileRangeLock& operator=(const FileRangeLock&) = delete;

private:
    FILE* m_pStream;
};

}  // namespace filesystem
