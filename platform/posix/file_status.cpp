// platform/posix/file_status.cpp — errno to the Windows file error numbers, and a mode to attribute bits.
#include "platform/posix/file_status.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

#include "core/WindowsTypes.h"
#include "platform/lasterror.h"

namespace platform {

void SetLastErrorFromErrno(int error)
{
    switch (error) {
    case ENOENT:
        SetLastError(kErrorFileNotFound);
        break;
    case ENOTDIR:
        SetLastError(kErrorPathNotFound);
        break;
    case EEXIST:
        SetLastError(kErrorAlreadyExists);
        break;
    case ENAMETOOLONG:
        SetLastError(kErrorFilenameTooLong);
        break;
    case ENOSPC:
    case EDQUOT:
        SetLastError(kErrorDiskFull);
        break;
    case EINVAL:
        SetLastError(kErrorInvalidParameter);
        break;
    default:
        SetLastError(kErrorAccessDenied);  // EACCES, EPERM, EROFS, EISDIR, ETXTBSY and the rest
        break;
    }
}

uint32_t AttributesOf(unsigned int mode, const char* name)
{
    const char* slash = std::strrchr(name, '/');
    const char* last = slash != nullptr ? slash + 1 : name;
    uint32_t bits = 0;
    if (S_ISDIR(mode))
        bits |= FILE_ATTRIBUTE_DIRECTORY;
    if ((mode & S_IWUSR) == 0)
        bits |= FILE_ATTRIBUTE_READONLY;
    if (last[0] == '.')
        bits |= FILE_ATTRIBUTE_HIDDEN;
    return bits == 0 ? FILE_ATTRIBUTE_NORMAL : bits;
}

}  // namespace platform
