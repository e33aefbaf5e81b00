// COsDirectory: path arithmetic on UTF-8 text and the library's one absolute form of a path.
#pragma once

#include <string>

#include "core/Types.h"

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

    // True when the path, made absolute, names an existing directory.
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
