// COsDirectory: path arithmetic on UTF-8 text, the library's one absolute form of a path, the creation of
// directories, the enumeration of a directory's entries and the removal of directories and trees.
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

    // Starts an enumeration of the entries of `directory` (relative names are taken from the library's
    // directory) whose names match `filter` ("*" any run of characters, "?" one character, in exact case on
    // this host; "*.*" every name; a filter may lead with directories of its own, but szDirectory and
    // szFullPath still start from `directory`: walk a subdirectory as a directory of its own). Fills the
    // record with the first entry; "." and ".." are never handed out. False when nothing matches or the
    // directory cannot be read (hFind is INVALID_HANDLE_VALUE), and also when only "." and ".." match, as in
    // an empty directory (hFind is open). Every enumeration that got as far as the search ends with
    // FindClose, after a false result too; a caller starts from a cleared record (`_S_FileData record{};`). A
    // symbolic link is described as itself: never a directory, with its own times.
    static bool FindFirstFileA(const std::string& directory, const std::string& filter, _S_FileData& record);
    // The same with the filter "*".
    static bool FindFirstFileA(const std::string& directory, _S_FileData& record);
    // Moves the record to the next entry. False at the end, or for a name that cannot be converted; the
    // record then keeps the last entry's texts and the search stays open until FindClose.
    static bool FindNextFileA(_S_FileData& record);
    // Ends the record's search. hFind keeps its value, which then stands for no search: a second FindClose
    // does nothing.
    static void FindClose(_S_FileData& record);

    // The creation and last write times of the record's entry as local time; they read no file. Where the
    // file system keeps no creation time, the creation time is the last write time.
    static bool GetDirectoryCreateTime(const _S_FileData& record, _STSystemTime& out);
    static bool GetDirectoryLastWriteTime(const _S_FileData& record, _STSystemTime& out);

    // The number of files (not directories) listed by the pattern `path` + "*" whose full name, `path`
    // followed by the entry's name, contains `prefix` anywhere, in exact case: "C:/logs/" looks in that
    // directory, "C:/logs/app" at the names that begin with "app". 0 for a missing directory,
    // OS_ERR_ENCODING for a path that cannot be converted. It only reads.
    static int GetFileNumHaveSamePrefix(const std::string& path, const std::string& prefix);

    // Removes an empty directory. False for a directory with entries, a missing one, or a symbolic link
    // (which stays).
    static bool DeleteDirectory(const std::string& path);

    // Removes everything below the directory and keeps the directory. False at the first read-only file
    // (which is not touched) or removal that fails; what was removed before stays removed. A missing or
    // unreadable directory gives true. Symbolic links below it are removed as links, never followed, and
    // nothing outside the directory is ever removed, even when its entries are swapped for links meanwhile.
    static bool CleanDirectory(const std::string& path);

private:
    // Makes one directory whose parent exists; something of that name already there counts as success.
    static bool CreateDir(const std::string& path);

    // Brings the record's name, full path, directory flag and times into line with its find data; false,
    // with an empty name, when the record has no search.
    static bool UpdateDescriptor(_S_FileData& record);

    // Removes everything below the absolute directory `path`, as CleanDirectory tells.
    static bool DeleteTree(const std::string& path);

    COsDirectory() {}
    ~COsDirectory() {}
};
