// Internal: the Windows path rules that COsDirectory carries out on text alone, on any host.
#pragma once

#include <cstddef>
#include <string>

namespace pathrules {

// Paths longer than this many bytes are out of range for splitting.
constexpr size_t kMaxPathBytes = 1024;

// 1 for a UNC head (two backslashes and at least one more byte) or a drive head (ASCII letter and
// colon), 0 for anything else, OS_ERR_NULL_ARGUMENT for null.
int ClassifyPath(const char* path);

// True when the text begins with the two backslashes of a UNC head.
bool HasUncHead(const std::string& path);

// Position of the last "/" or "\", or std::string::npos.
size_t LastSeparator(const std::string& path);

// Every "\" becomes "/"; with keepUncHead, two leading backslashes stay as they are.
std::string ToForwardSlashes(std::string path, bool keepUncHead);

// A run of separators folds into one, but for the two that begin a network name ("//srv/share") or an
// absolute UNC path (two backslashes, whatever follows them).
std::string FoldSeparatorRuns(std::string path);

// The part of an absolute directory that a name rooted by a separator alone stands on: its drive ("C:"),
// its server and share ("//srv/share"), or nothing for a "/"-rooted directory.
std::string DriveOf(const std::string& directory);

// Resolves "." and ".." segments on the text without touching the file system, never above the root:
// a UNC head keeps its server and share, a drive head its letter, a "/"-rooted path its root. Repeated
// separators fold into one and every separator becomes "/", except the two backslashes of a UNC head.
// A relative text keeps the ".." segments that have nothing left to climb.
std::string ResolveDotSegments(const std::string& path);

// The number of UTF-16 units that the UTF-8 text takes (a four-byte sequence takes two).
size_t CountUtf16Units(const std::string& text);

}  // namespace pathrules
