// platform/win32/pathstat.cpp — directory existence through the file's attributes.
#include "platform/pathstat.h"

#include <windows.h>

#include "platform/win32/SystemText.h"

namespace platform {

bool IsExistingDirectory(const std::string& path)
{
    std::wstring wide = win32::FileName(path);
    if (wide.empty())
        return false;
    DWORD attributes = ::GetFileAttributesW(wide.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsRootedOnHost(const std::string&)
{
    return false;
}

}  // namespace platform
