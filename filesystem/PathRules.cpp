// The Windows path rules of COsDirectory: absolute heads, separators, normal form and dot resolution.
#include "filesystem/PathRules.h"

#include "core/Types.h"

namespace pathrules {

namespace {

bool IsSeparator(char c)
{
    return c == '/' || c == '\\';
}

bool IsAsciiLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool HasDriveHead(const std::string& path)
{
    return path.size() >= 2 && IsAsciiLetter(path[0]) && path[1] == ':';
}

// The head that ".." never climbs above, and where the segments behind it begin.
struct PathHead {
    std::string text;
    size_t restStart = 0;
    bool rooted = false;
};

// Skips one segment of a UNC head (server or share) with the separators behind it.
size_t SkipUncSegment(const std::string& path, size_t position, std::string& head)
{
    size_t end = position;
    while (end < path.size() && !IsSeparator(path[end]))
        ++end;
    head.append(path, position, end - position);
    while (end < path.size() && IsSeparator(path[end]))
        ++end;
    return end;
}

PathHead SplitHead(const std::string& path)
{
    PathHead head;
    if (HasUncHead(path) && path.size() >= 3) {
        head.text = "\\\\";
        size_t position = SkipUncSegment(path, 2, head.text);
        head.text += '/';
        position = SkipUncSegment(path, position, head.text);
        if (position > 0 && IsSeparator(path[position - 1]))
            head.text += '/';
        head.restStart = position;
        head.rooted = true;
        return head;
    }
    size_t position = 0;
    if (HasDriveHead(path)) {
        head.text = path.substr(0, 2);
        position = 2;
    }
    if (position < path.size() && IsSeparator(path[position])) {
        head.text += '/';
        head.rooted = true;
        while (position < path.size() && IsSeparator(path[position]))
            ++position;
    }
    head.restStart = position;
    return head;
}

// The start of the last segment written behind the head, or the head's end when there is none.
size_t LastSegmentStart(const std::string& result, size_t headLength)
{
    const size_t separator = result.find_last_of('/');
    return separator == std::string::npos || separator < headLength ? headLength : separator + 1;
}

// Appends the segments of path[start..] to result, resolving "." and ".." as it goes.
void AppendResolvedSegments(const std::string& path, size_t start, bool rooted, std::string& result)
{
    const size_t headLength = result.size();
    size_t position = start;
    while (position < path.size()) {
        size_t end = position;
        while (end < path.size() && !IsSeparator(path[end]))
            ++end;
        const size_t length = end - position;
        const bool isDot = length == 1 && path[position] == '.';
        const bool isDotDot = length == 2 && path[position] == '.' && path[position + 1] == '.';
        if (isDotDot) {
            const size_t last = LastSegmentStart(result, headLength);
            const bool lastIsDotDot = result.compare(last, std::string::npos, "..") == 0;
            if (result.size() > headLength && !lastIsDotDot)
                result.resize(last > headLength ? last - 1 : headLength);
            else if (!rooted)
                result.append(result.size() > headLength ? "/.." : "..");
        } else if (length > 0 && !isDot) {
            if (result.size() > headLength)
                result += '/';
            result.append(path, position, length);
        }
        position = end + 1;
    }
}

}  // namespace

int ClassifyPath(const char* path)
{
    if (path == nullptr)
        return OS_ERR_NULL_ARGUMENT;
    // Only the first three bytes matter; the text is not measured further.
    const size_t length = path[0] == '\0' ? 0 : path[1] == '\0' ? 1 : path[2] == '\0' ? 2 : 3;
    if (length >= 3 && path[0] == '\\' && path[1] == '\\')
        return 1;
    if (length < 2)
        return 0;
    return IsAsciiLetter(path[0]) && path[1] == ':' ? 1 : 0;
}

bool HasUncHead(const std::string& path)
{
    return path.size() >= 2 && path[0] == '\\' && path[1] == '\\';
}

size_t LastSeparator(const std::string& path)
{
    return path.find_last_of("/\\");
}

std::string ToForwardSlashes(std::string path, bool keepUncHead)
{
    const size_t start = keepUncHead && HasUncHead(path) ? 2 : 0;
    for (size_t i = start; i < path.size(); ++i) {
        if (path[i] == '\\')
            path[i] = '/';
    }
    return path;
}

std::string FoldSeparatorRuns(std::string path)
{
    // Two backslashes that still begin the text are the head of an absolute UNC path, which the caller wrote
    // and the normal form keeps whatever follows them; two forward slashes begin a network name only before
    // a server's name.
    const bool networkName = path.size() > 2 && ((path[0] == '\\' && path[1] == '\\') ||
                                                 (IsSeparator(path[0]) && IsSeparator(path[1]) && !IsSeparator(path[2])));
    size_t kept = networkName ? 2 : 0;
    for (size_t index = kept; index < path.size(); ++index) {
        if (IsSeparator(path[index]) && kept > 0 && IsSeparator(path[kept - 1]) && kept > (networkName ? 2u : 0u))
            continue;
        path[kept++] = path[index];
    }
    path.resize(kept);
    return path;
}

std::string DriveOf(const std::string& directory)
{
    std::string drive = SplitHead(directory).text;
    while (!drive.empty() && IsSeparator(drive.back()))
        drive.pop_back();
    return drive;
}

std::string ResolveDotSegments(const std::string& path)
{
    const PathHead head = SplitHead(path);
    std::string result;
    result.reserve(path.size());
    result = head.text;
    AppendResolvedSegments(path, head.restStart, head.rooted, result);
    // A trailing separator says the name is a directory; it stays.
    if (result.size() > head.text.size() && path.size() > head.restStart && IsSeparator(path.back()))
        result += '/';
    return result;
}

size_t CountUtf16Units(const std::string& text)
{
    size_t units = 0;
    for (unsigned char byte : text) {
        if ((byte & 0xC0) != 0x80)
            ++units;
        if (byte >= 0xF0)
            ++units;
    }
    return units;
}

}  // namespace pathrules
