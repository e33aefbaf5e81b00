// COsDirectory: path arithmetic on UTF-8 text and the library's one absolute form of a path.
#pragma once

#include <string>

#include "../core/Types.h"
#include "../core/WindowsTypes.h"
#include "../time/COsSystemTime.h"

// The cursor of one directory enumeration and the description of its current entry; the caller owns
// it. Names and paths are UTF-8 in the library's normal form, each cut to 1023 bytes and terminated.
struct _S_FileData
{
    char szDirectory[1024];   // the directory of the enumeration, absolute; shorter than 1024 bytes
    char szFileName[1024];    // the current entry's name, without a directory
    char szFullPath[1024];    // szDirectory, a "/" unless it ends in a separator, and the name
    char szReserved[1024];    // read and written by nothing
    int32_t bDirectory;       // 1 for a directory, otherwise 0
    _STSystemTime stReserved; // read and written by nothing
    _STSystemTime stAccessTime;  // last access, local time
    _STSystemTime stWriteTime;   // last write, local time
    HANDLE hFind;             // the open search, or INVALID_HANDLE_VALUE when there is none
    WIN32_FIND_DATAW findData;   // the system's description of the current entry; its times are UTC
};

// Orders records newest first by their write time (a sort's "greater"); equal times give false.
struct VELTRANE_API FileTimeCompGreater
{
    bool operator()(const _S_FileData& left, const _S_FileData& right) const;
};

class VELTRANE_API COsDirectory
{
public:
    // 1 when the text has a UNC head (two backslashes and one more byte) or a drive head ("C:"),
    // 0 otherwise ("/usr" too), OS_ERR_NULL_ARGUMENT for null.
    static int IsAbsolutePath(const char* path);

    // The text up to and including the last "/" or "\" ("" without one). A path over 1024 bytes gives
    // OS_ERR_OUT_OF_RANGE and leaves out as it was.
    static int GetDirectory(const std::string& path, std::string& out);

    // The text behind the last "/" or "\" (the whole path without one). A path over 1024 bytes gives
    // OS_ERR_OUT_OF_RANGE and leaves out as it was.
    static int GetFileName(const std::string& path, std::string& out);

    // The path of the process's executable (never this library's) in normal form, "" on failure.
    static std::string GetCurrentModuleFileName();

    // The absolute normal form of a path: a relative name is taken from the library's directory,
    // "." and ".." are resolved on the text when a "./" or ".\" stands in it. On this host a path that
    // begins with "/" is taken as absolute too. Gives 0.
    static int GetAbsolutePath(std::string path, std::string& out);

    // True when the path, made absolute, names an existing directory; false for a name the host cannot
    // be given (not UTF-8, or holding a NUL byte).
    static bool DirectoryExist(const std::string& path);

    // Makes the directory and every missing directory above it, however deep. True when the directory
    // exists afterwards, or when something of its name already did (a file too); directories made before
    // a failure stay. Only "/" splits the path into its levels.
    static bool CreateDirectoryA(const std::string& path);

private:
    // Makes one directory whose parent exists; something of that name already there counts as success.
    static bool CreateDir(const std::string& path);

    COsDirectory() {}
    ~COsDirectory() {}
};
