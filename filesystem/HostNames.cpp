// The preparation of names: the library's absolute form, then the check that the host can be given it.
#include "filesystem/HostNames.h"

#include "core/Types.h"
#include "encoding/Utf8Utf16.h"
#include "filesystem/COsDirectory.h"

namespace filesystem {

bool IsConvertible(const std::string& text)
{
    return text.find('\0') == std::string::npos && encoding::IsWellFormedUtf8(text.data(), text.size());
}

int PrepareName(const std::string& name, std::string& path)
{
    // An empty form is what a name too long to have its dots resolved comes to: it names no file, and
    // handed on it would mean the library's own directory.
    if (COsDirectory::GetAbsolutePath(name, path) < 0 || path.empty())
        return OS_ERR_BAD_PATH;
    return IsConvertible(path) ? 0 : OS_ERR_ENCODING;
}

}  // namespace filesystem
