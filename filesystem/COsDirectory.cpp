// COsDirectory: the text rules of paths, the executable's path, absolute paths and directory existence.
#include "filesystem/COsDirectory.h"

#include <utility>

#include "core/CVeltrane.h"
#include "filesystem/PathRules.h"
#include "platform/pathstat.h"
#include "platform/process.h"

namespace {

// The dot resolution works in a buffer of this many UTF-16 units, terminator included; a longer
// result leaves the buffer cleared.
constexpr size_t kFullPathCapacity = 1024;

bool HasDotSequence(const std::string& path)
{
    return path.find(".\\") != std::string::npos || path.find("./") != std::string::npos;
}

std::string ResolveDots(const std::string& path)
{
    std::string resolved = pathrules::ResolveDotSegments(path);
    if (pathrules::CountUtf16Units(resolved) >= kFullPathCapacity)
        return std::string();
    return resolved;
}

// "/"-rooted paths are rooted in this host's file system: without this no caller could name a file
// outside the library directory.
bool IsAbsoluteOnHost(const std::string& path, int textRule)
{
    return textRule == 1 || (!path.empty() && path[0] == '/');
}

}  // namespace

int COsDirectory::IsAbsolutePath(const char* path)
{
    return pathrules::ClassifyPath(path);
}

int COsDirectory::GetDirectory(const std::string& path, std::string& out)
{
    if (path.size() > pathrules::kMaxPathBytes)
        return OS_ERR_OUT_OF_RANGE;
    const size_t separator = pathrules::LastSeparator(path);
    if (separator == std::string::npos)
        out.clear();
    else
        out.assign(path, 0, separator + 1);
    return 0;
}

int COsDirectory::GetFileName(const std::string& path, std::string& out)
{
    if (path.size() > pathrules::kMaxPathBytes)
        return OS_ERR_OUT_OF_RANGE;
    const size_t separator = pathrules::LastSeparator(path);
    if (separator == std::string::npos)
        out = path;
    else
        out.assign(path, separator + 1, std::string::npos);
    return 0;
}

std::string COsDirectory::GetCurrentModuleFileName()
{
    return pathrules::ToForwardSlashes(platform::ExecutablePath(), true);
}

int COsDirectory::GetAbsolutePath(std::string path, std::string& out)
{
    const int textRule = IsAbsolutePath(path.c_str());
    if (textRule < 0)
        return textRule;
    const bool absolute = IsAbsoluteOnHost(path, textRule);

    std::string working = absolute ? std::move(path) : CVeltrane::GetInstance()->VeltraneLibDir() + path;
    if (HasDotSequence(working))
        working = ResolveDots(working);

    // A relative name built on a UNC library directory gets no UNC head back: the head was never the
    // caller's.
    out = pathrules::ToForwardSlashes(std::move(working), absolute);
    return 0;
}

bool COsDirectory::DirectoryExist(const std::string& path)
{
    std::string absolutePath;
    if (GetAbsolutePath(path, absolutePath) < 0)
        return false;
    return platform::IsExistingDirectory(absolutePath);
}
