// The library's directory, found once per process from the host's name for the library's file.
#include "filesystem/LibraryDirectory.h"

#include "filesystem/COsDirectory.h"
#include "filesystem/PathRules.h"
#include "platform/dynlib.h"

namespace location {

namespace {

// The text up to and including the last separator. Unlike GetDirectory's, the cut has no length limit:
// the host names files longer than that limit, and a library installed under such a name would otherwise
// take its relative names from the executable's directory, or from the current one.
std::string DirectoryOf(const std::string& path)
{
    const size_t separator = pathrules::LastSeparator(path);
    return separator == std::string::npos ? std::string() : path.substr(0, separator + 1);
}

std::string FindLibraryDirectory()
{
    std::string directory = pathrules::ToForwardSlashes(DirectoryOf(platform::LibraryFilePath()), true);
    if (directory.empty())
        directory = DirectoryOf(COsDirectory::GetCurrentModuleFileName());
    return directory;
}

}  // namespace

const std::string& LibraryDirectory()
{
    static const std::string directory = FindLibraryDirectory();
    return directory;
}

}  // namespace location
