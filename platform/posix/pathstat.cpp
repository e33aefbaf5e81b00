// platform/posix/pathstat.cpp — directory existence through stat(2).
#include "platform/pathstat.h"

#include <sys/stat.h>

namespace platform {

bool IsExistingDirectory(const std::string& path)
{
    struct stat status;
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool IsRootedOnHost(const std::string& path)
{
    return !path.empty() && path[0] == '/';
}

}  // namespace platform
