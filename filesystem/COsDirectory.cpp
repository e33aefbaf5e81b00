// COsDirectory: the text rules of paths, the executable's path, absolute paths and directory existence.
#include "filesystem/COsDirectory.h"

#include <utility>
#include <vector>

#include "filesystem/HostNames.h"
#include "filesystem/LibraryDirectory.h"
#include "filesystem/PathRules.h"
#include "platform/files.h"
#include "platform/lasterror.h"
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

// A name the host roots in its own file system is taken as it stands: without this no caller could name a
// file outside the library directory on a host whose absolute names the text rules do not know.
bool IsAbsoluteOnHost(const std::string& path, int textRule)
{
    return textRule == 1 || platform::IsRootedOnHost(path);
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

    // A name rooted by a separator alone stands on the library directory's drive, as the system's own
    // full-path rule puts it on the current drive: joined to the whole directory it would name a
    // directory below the library's, behind a doubled separator.
    std::string working;
    if (absolute)
        working = std::move(path);
    else if (!path.empty() && (path[0] == '/' || path[0] == '\\'))
        working = pathrules::DriveOf(location::LibraryDirectory()) + path;
    else
        working = location::LibraryDirectory() + path;
    if (HasDotSequence(working))
        working = ResolveDots(working);

    // A relative name built on a UNC library directory gets no UNC head back: the head was never the
    // caller's. No result holds a doubled separator but the two that begin a network name.
    out = pathrules::FoldSeparatorRuns(pathrules::ToForwardSlashes(std::move(working), absolute));
    return 0;
}

bool COsDirectory::DirectoryExist(const std::string& path)
{
    std::string absolutePath;
    if (filesystem::PrepareName(path, absolutePath) != 0)
        return false;
    return platform::IsExistingDirectory(absolutePath);
}

bool COsDirectory::CreateDir(const std::string& path)
{
    std::string absolutePath;
    if (filesystem::PrepareName(path, absolutePath) != 0)
        return false;
    return platform::MakeDirectory(absolutePath) || platform::GetLastError() == platform::kErrorAlreadyExists;
}

bool COsDirectory::CreateDirectoryA(const std::string& path)
{
    // Climb to the first level that exists or can be made, remembering the levels below it, then make them
    // downwards. A loop rather than a call per level: a path of many thousand levels must not exhaust the stack.
    std::vector<size_t> pending;  // lengths of the prefixes still to make, the deepest first
    size_t length = path.size();
    for (;;) {
        const std::string level = path.substr(0, length);
        if (DirectoryExist(level))
            break;
        platform::SetLastError(0);
        if (CreateDir(level))
            break;
        // A path too long for the host can never be made: refuse it before any level above it is made, and
        // without climbing through thousands of levels that are all too long.
        if (pending.empty() && platform::GetLastError() == platform::kErrorFilenameTooLong)
            return false;
        if (level.empty())
            return false;
        const size_t slash = level.rfind('/');
        if (slash == std::string::npos)
            return false;
        pending.push_back(length);
        length = slash;
    }
    for (size_t index = pending.size(); index-- > 0;) {
        if (!CreateDir(path.substr(0, pending[index])))
            return false;
    }
    return true;
}

bool FileTimeCompGreater::operator()(const _S_FileData& left, const _S_FileData& right) const
{
    return left.stWriteTime > right.stWriteTime;
}
