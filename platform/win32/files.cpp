// platform/win32/files.cpp — streams, the range lock, attributes and copies over the system's file handles.
// Every file is opened with CreateFileW and checked to be a file on disk before it is used: a pipe or a
// device planted where a file is expected would otherwise hold a read until a peer comes. Streams are made
// from those handles through the C runtime's descriptors; the range lock is LockFileEx on the handle, which
// belongs to that open file, as the contract asks.
#include "platform/files.h"

#include <windows.h>
#include <fcntl.h>
#include <io.h>

#include <climits>

#include "platform/lasterror.h"
#include "platform/win32/SystemText.h"

namespace platform {
namespace {

constexpr uint32_t kErrorNotRegular = 1920;  // ERROR_CANT_ACCESS_FILE: the name is there, but not as a file

struct OpenMode {
    DWORD access;
    DWORD disposition;
    bool append;
    int runtimeFlags;
    const char* canonical;
};

bool ParseMode(const std::string& mode, OpenMode& parsed)
{
    if (mode.empty())
        return false;
    const bool update = mode.find('+', 1) != std::string::npos;
    const bool exclusive = mode.find('x', 1) != std::string::npos;
    const bool text = mode.find('t', 1) != std::string::npos;
    const int translation = text ? _O_TEXT : _O_BINARY;
    const DWORD readWrite = GENERIC_READ | GENERIC_WRITE;
    switch (mode[0]) {
    case 'r':
        parsed = {update ? readWrite : GENERIC_READ, OPEN_EXISTING, false, (update ? _O_RDWR : _O_RDONLY) | translation,
                  update ? (text ? "r+t" : "r+b") : (text ? "rt" : "rb")};
        return true;
    case 'w':
        parsed = {update ? readWrite : GENERIC_WRITE, static_cast<DWORD>(exclusive ? CREATE_NEW : CREATE_ALWAYS), false,
                  (update ? _O_RDWR : _O_WRONLY) | translation, update ? (text ? "w+t" : "w+b") : (text ? "wt" : "wb")};
        return true;
    case 'a':
        parsed = {update ? readWrite : GENERIC_WRITE, static_cast<DWORD>(exclusive ? CREATE_NEW : OPEN_ALWAYS), true,
                  (update ? _O_RDWR : _O_WRONLY) | _O_APPEND | translation,
                  update ? (text ? "a+t" : "a+b") : (text ? "at" : "ab")};
        return true;
    default:
        return false;
    }
}

// Opens `path` with the mode's access and keeps the handle only when it names a file on disk.
HANDLE OpenRegular(const std::string& path, DWORD access, DWORD disposition)
{
    const std::wstring name = win32::FileName(path);
    if (name.empty())
        return INVALID_HANDLE_VALUE;  // the reason is the last error
    SECURITY_ATTRIBUTES notInherited{sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
    HANDLE file = ::CreateFileW(name.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                &notInherited, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return INVALID_HANDLE_VALUE;  // the system's last error stands
    if (::GetFileType(file) != FILE_TYPE_DISK) {
        ::CloseHandle(file);
        SetLastError(kErrorNotRegular);
        return INVALID_HANDLE_VALUE;
    }
    return file;
}

// True when `name` opens as something that is not on disk: a device, which a name such as "NUL" or "COM1"
// means in any directory, or a pipe. Nothing is read from or written to it.
bool NamesDevice(const std::wstring& name)
{
    HANDLE handle = ::CreateFileW(name.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return false;
    const bool device = ::GetFileType(handle) != FILE_TYPE_DISK;
    ::CloseHandle(handle);
    return device;
}

HANDLE HandleOf(FILE* stream)
{
    return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
}

bool RangeOf(uint64_t offset, uint64_t length, OVERLAPPED& where)
{
    if (offset > static_cast<uint64_t>(LLONG_MAX) || length > static_cast<uint64_t>(LLONG_MAX) - offset) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    ZeroMemory(&where, sizeof(where));
    where.Offset = static_cast<DWORD>(offset);
    where.OffsetHigh = static_cast<DWORD>(offset >> 32);
    return true;
}

bool LockHandleRange(HANDLE file, uint64_t offset, uint64_t length)
{
    OVERLAPPED where;
    return RangeOf(offset, length, where) &&
           ::LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK, 0, static_cast<DWORD>(length), static_cast<DWORD>(length >> 32),
                        &where) != 0;
}

}  // namespace

FILE* OpenStream(const std::string& path, const std::string& mode)
{
    OpenMode parsed;
    if (!ParseMode(mode, parsed)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    HANDLE file = OpenRegular(path, parsed.access, parsed.disposition);
    if (file == INVALID_HANDLE_VALUE)
        return nullptr;
    const int descriptor = _open_osfhandle(reinterpret_cast<intptr_t>(file), parsed.runtimeFlags);
    if (descriptor < 0) {
        ::CloseHandle(file);
        SetLastError(ERROR_TOO_MANY_OPEN_FILES);
        return nullptr;
    }
    FILE* stream = _fdopen(descriptor, parsed.canonical);
    if (stream == nullptr) {
        _close(descriptor);
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    return stream;
}

File::~File()
{
    if (m_nHandle != -1)
        ::CloseHandle(reinterpret_cast<HANDLE>(m_nHandle));  // releases a lock taken through it too
}

bool File::Open(const std::string& path, const std::string& mode)
{
    OpenMode parsed;
    if (!ParseMode(mode, parsed)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    // An appending file writes at its end only: the system moves every write there by itself.
    const DWORD access = parsed.append ? ((parsed.access & GENERIC_READ) | FILE_APPEND_DATA) : parsed.access;
    HANDLE file = OpenRegular(path, access, parsed.disposition);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    if (m_nHandle != -1)
        ::CloseHandle(reinterpret_cast<HANDLE>(m_nHandle));
    m_nHandle = reinterpret_cast<intptr_t>(file);
    return true;
}

int64_t File::Size() const
{
    LARGE_INTEGER size;
    return ::GetFileSizeEx(reinterpret_cast<HANDLE>(m_nHandle), &size) ? size.QuadPart : -1;
}

size_t File::Read(char* buffer, size_t count, bool& failed)
{
    failed = false;
    size_t total = 0;
    while (total < count) {
        const DWORD piece = count - total > 0x40000000 ? 0x40000000 : static_cast<DWORD>(count - total);
        DWORD got = 0;
        if (!::ReadFile(reinterpret_cast<HANDLE>(m_nHandle), buffer + total, piece, &got, nullptr)) {
            failed = true;
            break;
        }
        if (got == 0)
            break;
        total += got;
    }
    return total;
}

bool File::ReadAt(uint64_t offset, void* buffer, size_t count) const
{
    char* next = static_cast<char*>(buffer);
    while (count > 0) {
        OVERLAPPED where;
        ZeroMemory(&where, sizeof(where));
        where.Offset = static_cast<DWORD>(offset);
        where.OffsetHigh = static_cast<DWORD>(offset >> 32);
        const DWORD piece = count > 0x40000000 ? 0x40000000 : static_cast<DWORD>(count);
        DWORD got = 0;
        // A positioned read through OVERLAPPED on a synchronous handle moves the file pointer: keep it.
        LARGE_INTEGER position{}, zero{};
        ::SetFilePointerEx(reinterpret_cast<HANDLE>(m_nHandle), zero, &position, FILE_CURRENT);
        const BOOL read = ::ReadFile(reinterpret_cast<HANDLE>(m_nHandle), next, piece, &got, &where);
        ::SetFilePointerEx(reinterpret_cast<HANDLE>(m_nHandle), position, nullptr, FILE_BEGIN);
        if (!read || got == 0)
            return false;
        next += got;
        offset += got;
        count -= got;
    }
    return true;
}

size_t File::Write(const char* data, size_t count, bool& failed)
{
    failed = false;
    size_t total = 0;
    while (total < count) {
        const DWORD piece = count - total > 0x40000000 ? 0x40000000 : static_cast<DWORD>(count - total);
        DWORD written = 0;
        if (!::WriteFile(reinterpret_cast<HANDLE>(m_nHandle), data + total, piece, &written, nullptr) || written == 0) {
            failed = true;
            break;
        }
        total += written;
    }
    return total;
}

bool File::LockRange(uint64_t offset, uint64_t length)
{
    return LockHandleRange(reinterpret_cast<HANDLE>(m_nHandle), offset, length);
}

bool LockStreamRange(FILE* stream, uint64_t offset, uint64_t length)
{
    return LockHandleRange(HandleOf(stream), offset, length);
}

bool UnlockStreamRange(FILE* stream, uint64_t offset, uint64_t length)
{
    OVERLAPPED where;
    return RangeOf(offset, length, where) &&
           ::UnlockFileEx(HandleOf(stream), 0, static_cast<DWORD>(length), static_cast<DWORD>(length >> 32), &where) != 0;
}

int64_t StreamSize(FILE* stream)
{
    LARGE_INTEGER size;
    if (stream == nullptr || !::GetFileSizeEx(HandleOf(stream), &size))
        return -1;
    return size.QuadPart;
}

bool RemoveFile(const std::string& path)
{
    const std::wstring name = win32::FileName(path);
    return !name.empty() && ::DeleteFileW(name.c_str()) != 0;
}

bool RenameWithoutReplacing(const std::string& from, const std::string& to)
{
    const std::wstring source = win32::FileName(from), target = win32::FileName(to);
    // Without MOVEFILE_REPLACE_EXISTING the system refuses a target that exists.
    return !source.empty() && !target.empty() && ::MoveFileExW(source.c_str(), target.c_str(), 0) != 0;
}

bool CopyRegularFile(const std::string& source, const std::string& target, bool failIfExists)
{
    const std::wstring from = win32::FileName(source), to = win32::FileName(target);
    if (from.empty() || to.empty())
        return false;
    const DWORD sourceAttributes = ::GetFileAttributesW(from.c_str());
    const DWORD targetAttributes = ::GetFileAttributesW(to.c_str());
    if (sourceAttributes == INVALID_FILE_ATTRIBUTES || (sourceAttributes & FILE_ATTRIBUTE_DIRECTORY) ||
        (targetAttributes != INVALID_FILE_ATTRIBUTES && (targetAttributes & FILE_ATTRIBUTE_DIRECTORY))) {
        SetLastError(kErrorAccessDenied);
        return false;
    }
    // The system copies into a device as into a file and reports success: the data went nowhere.
    if (NamesDevice(from) || NamesDevice(to)) {
        SetLastError(kErrorNotRegular);
        return false;
    }
    // CopyFileW refuses a target that is the source itself, copies contents, attributes and write time, and
    // removes a target it made when the copy fails.
    return ::CopyFileW(from.c_str(), to.c_str(), failIfExists ? TRUE : FALSE) != 0;
}

bool ReadAttributes(const std::string& path, uint32_t& attributes)
{
    const std::wstring name = win32::FileName(path);
    const DWORD found = name.empty() ? INVALID_FILE_ATTRIBUTES : ::GetFileAttributesW(name.c_str());
    if (found == INVALID_FILE_ATTRIBUTES)
        return false;
    attributes = found;
    return true;
}

bool WriteAttributes(const std::string& path, uint32_t attributes)
{
    const std::wstring name = win32::FileName(path);
    // The directory bit is the file's type, never an attribute to set.
    return !name.empty() && ::SetFileAttributesW(name.c_str(), attributes & ~FILE_ATTRIBUTE_DIRECTORY) != 0;
}

int64_t RegularFileSize(const std::string& path)
{
    HANDLE file = OpenRegular(path, GENERIC_READ, OPEN_EXISTING);
    if (file == INVALID_HANDLE_VALUE)
        return -1;
    LARGE_INTEGER size;
    const bool known = ::GetFileSizeEx(file, &size) != 0;
    ::CloseHandle(file);
    return known ? size.QuadPart : -1;
}

bool MakeDirectory(const std::string& path)
{
    const std::wstring name = win32::FileName(path);
    if (name.empty())
        return false;  // the reason is the last error, the system's "too long" among them
    if (::CreateDirectoryW(name.c_str(), nullptr))
        return true;
    if (::GetLastError() == ERROR_FILENAME_EXCED_RANGE)
        SetLastError(kErrorFilenameTooLong);
    return false;
}

}  // namespace platform
