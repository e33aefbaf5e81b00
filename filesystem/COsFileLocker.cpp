// COsFileLocker: the library's file range lock, taken and released through a caller's stream.
#include "filesystem/COsFileLocker.h"

#include "filesystem/FileLockRange.h"
#include "platform/files.h"

void COsFileLocker::LockFile(FILE* stream)
{
    if (stream != nullptr)
        platform::LockStreamRange(stream, filesystem::kLockOffset, filesystem::kLockLength);
}

void COsFileLocker::UnLockFile(FILE* stream)
{
    if (stream != nullptr)
        platform::UnlockStreamRange(stream, filesystem::kLockOffset, filesystem::kLockLength);
}
