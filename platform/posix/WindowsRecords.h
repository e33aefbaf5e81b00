// The Windows records and constants that the interface carries, defined by the library on a host that has
// no Windows SDK, with the fields the library uses. Installed as VeltraneWindowsRecords.h.
#pragma once

#include <cstdint>

typedef void* HANDLE;
typedef void* HINSTANCE;
#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<intptr_t>(-1)))

// A socket handle; INVALID_SOCKET (all ones) means none.
typedef uint64_t SOCKET;
constexpr SOCKET INVALID_SOCKET = ~static_cast<SOCKET>(0);

// A point in time as 100-ns ticks since 1601-01-01, split into two 32-bit halves.
typedef struct _FILETIME {
    uint32_t dwLowDateTime;
    uint32_t dwHighDateTime;
} FILETIME;

typedef struct _SYSTEMTIME {
    uint16_t wYear;
    uint16_t wMonth;
    uint16_t wDayOfWeek;
    uint16_t wDay;
    uint16_t wHour;
    uint16_t wMinute;
    uint16_t wSecond;
    uint16_t wMilliseconds;
} SYSTEMTIME;

constexpr uint32_t FILE_ATTRIBUTE_READONLY = 0x00000001;
constexpr uint32_t FILE_ATTRIBUTE_HIDDEN = 0x00000002;
constexpr uint32_t FILE_ATTRIBUTE_SYSTEM = 0x00000004;
constexpr uint32_t FILE_ATTRIBUTE_DIRECTORY = 0x00000010;
constexpr uint32_t FILE_ATTRIBUTE_ARCHIVE = 0x00000020;
constexpr uint32_t FILE_ATTRIBUTE_NORMAL = 0x00000080;

typedef struct _WIN32_FIND_DATAW {
    uint32_t dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    uint32_t nFileSizeHigh;
    uint32_t nFileSizeLow;
    char16_t cFileName[260];  // the interface's wchar16
} WIN32_FIND_DATAW;

// Opaque: the library only stores a pointer to it.
struct _EXCEPTION_POINTERS;
