// The library's directory, found once per process from the host's name for the library's file.
#include "filesystem/LibraryDirectory.h"

#include "filesystem/COsDirectory.h"
#include "filesystem/PathRules.h"
#include "platform/dynlib.h"

namespace location {

namespace {

std::string FindLibraryDirectory()
{
    std::string directory;
    COsDirectory::GetDirectory(platform::LibraryFilePath(), directory);
    directory = pathrules::ToForwardSlashes(directory, true);
    if (directory.empty())
        COsDirectory::GetDirectory(COsDirectory::GetCurrentModuleFileName(), directory);
    return directory;
}

}  // namespace

const std::string& LibraryDirectory()
{
    static const std::string directory = FindLibraryDirectory();
    return directory;
}

}  // namespace location
