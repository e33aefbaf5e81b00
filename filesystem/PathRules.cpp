// The Windows path rules of COsDirectory: absolute heads, separators, normal form and dot resolution.
#include "filesystem/PathRules.h"

#include <vector>

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

std::vector<std::string> ResolveSegments(const std::string& path, size_t start, bool rooted)
{
    std::vector<std::string> kept;
    size_t position = start;
    while (position < path.size()) {
        size_t end = position;
        while (end < path.size() && !IsSeparator(path[end]))
            ++end;
        std::string segment = path.substr(position, end - position);
        if (segment == "..") {
            if (!kept.empty() && kept.back() != "..")
                kept.pop_back();
            else if (!rooted)
                kept.push_back(segment);
        } else if (!segment.empty() && segment != ".") {
            kept.push_back(segment);
        }
        position = end + 1;
    }
    return kept;
}

}  // namespace

int ClassifyPath(const char* path)
{
    if (path == nullptr)
        return OS_ERR_NULL_ARGUMENT;
    const std::string text(path);
    if (text.size() >= 3 && HasUncHead(text))
        return 1;
    if (text.size() < 2)
        return 0;
    return HasDriveHead(text) ? 1 : 0;
}

bool HasUncHead(const std::string& path)
{
    return path.size() >= 2 && path[0] == '\\' && path[1] == '\\';
}

size_t LastSeparator(const std::string& path)
{
    return path.find_last_of("/\\");
}

std::string ToForwardSlashes(const std::string& path, bool keepUncHead)
{
    std::string result = path;
    const size_t start = keepUncHead && HasUncHead(path) ? 2 : 0;
    for (size_t i = start; i < result.size(); ++i) {
        if (result[i] == '\\')
            result[i] = '/';
    }
    return result;
}

std::string ResolveDotSegments(const std::string& path)
{
    const PathHead head = SplitHead(path);
    const std::vector<std::string> segments = ResolveSegments(path, head.restStart, head.rooted);
    std::string result = head.text;
    for (size_t i = 0; i < segments.size(); ++i) {
        if (i > 0)
            result += '/';
        result += segments[i];
    }
    // A trailing separator says the name is a directory; it stays.
    if (!segments.empty() && path.size() > head.restStart && IsSeparator(path.back()))
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
