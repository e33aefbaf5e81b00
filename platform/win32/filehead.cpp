// platform/win32/filehead.cpp — the start of a small settings file, opened only when it is a file on disk:
// a directory is not opened at all (no backup semantics), and a pipe, console or device is closed unread.
#include "platform/filehead.h"

#include <windows.h>

#include "platform/win32/SystemText.h"

namespace platform {

bool ReadFileHead(const std::string& path, size_t capacity, std::string& content)
{
    const std::wstring name = win32::FileName(path);
    if (name.empty())
        return false;
    HANDLE file = ::CreateFileW(name.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    bool read = ::GetFileType(file) == FILE_TYPE_DISK;
    content.clear();
    while (read && content.size() < capacity) {
        char buffer[4096];
        const size_t wanted = capacity - content.size() < sizeof(buffer) ? capacity - content.size() : sizeof(buffer);
        DWORD got = 0;
        read = ::ReadFile(file, buffer, static_cast<DWORD>(wanted), &got, nullptr) != 0;
        if (!read || got == 0)
            break;
        content.append(buffer, got);
    }
    ::CloseHandle(file);
    return read;
}

}  // namespace platform
