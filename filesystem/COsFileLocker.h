// COsFileLocker: the range lock that COsFile::Write takes by itself, for callers who hold a stream.
#pragma once

#include <cstdio>

#include "../core/Types.h"

// While one stream holds the lock, COsFile::Write of the same file, and LockFile through any other stream
// of it, wait: in this process and in others. The lock belongs to the stream: call LockFile and UnLockFile
// in pairs on a stream that stays open between them; closing the stream releases it.
class VELTRANE_API COsFileLocker
{
public:
    COsFileLocker() {}
    ~COsFileLocker() {}

    // Waits without limit until the stream's file is locked, whatever the stream's mode: one opened for
    // reading only holds the lock as firmly. A null stream is ignored.
    void LockFile(FILE* stream);
    // Releases the lock that LockFile took through the same stream. A null stream is ignored.
    void UnLockFile(FILE* stream);

private:
    COsFileLocker(const COsFileLocker&);
};
