// COsDirectory: the enumeration of a directory into the caller's record, the count of files whose full name
// contains a text, and the removal of directories and of everything below a directory.
#include "filesystem/COsDirectory.h"

#include <climits>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "encoding/COsEncoding.h"
#include "encoding/Utf8Utf16.h"
#include "filesystem/COsFile.h"
#include "filesystem/HostNames.h"
#include "platform/directories.h"
#include "strings/StringHelpers.h"

namespace {

constexpr size_t kNameUnits = sizeof(WIN32_FIND_DATAW::cFileName) / sizeof(wchar16);

// The record's name as UTF-16 units: the SDK's WCHAR in the Windows build, wchar16 elsewhere.
static_assert(sizeof(WIN32_FIND_DATAW::cFileName[0]) == sizeof(wchar16), "cFileName holds UTF-16 units");
wchar16* NameUnits(WIN32_FIND_DATAW& data)
{
    return reinterpret_cast<wchar16*>(data.cFileName);
}

// The UTF-8 form of a whole cFileName: at most three bytes for each unit but the terminator.
constexpr size_t kNameBytes = (kNameUnits - 1) * 3 + 1;

bool IsDotName(const char* name)
{
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

// Passes over the "." and ".." that the host lists among a directory's entries; false when the search
// ends before any other entry.
bool SkipDotEntries(HANDLE search, bool found, platform::DirectoryEntry& entry)
{
    while (found && IsDotName(entry.name))
        found = platform::ContinueSearch(search, entry);
    return found;
}

// The host's description of an entry as the record's find data, the name as UTF-16. False when the name
// does not fit cFileName with its terminator, which the host's names always do: such a name cannot be
// converted.
bool StoreEntry(const platform::DirectoryEntry& entry, WIN32_FIND_DATAW& data)
{
    const size_t length = std::strlen(entry.name);
    // A name of fewer bytes than cFileName has units takes no more units than it has bytes: no count first.
    if (length >= kNameUnits && encoding::Utf8ToUtf16(entry.name, length, nullptr, 0) >= kNameUnits)
        return false;
    const size_t units = encoding::Utf8ToUtf16(entry.name, length, NameUnits(data), kNameUnits - 1);
    data.cFileName[units] = 0;
    data.dwFileAttributes = entry.attributes;
    data.ftCreationTime = entry.creationTime;
    data.ftLastAccessTime = entry.lastAccessTime;
    data.ftLastWriteTime = entry.lastWriteTime;
    data.nFileSizeHigh = static_cast<uint32_t>(entry.size >> 32);
    data.nFileSizeLow = static_cast<uint32_t>(entry.size);
    return true;
}

// The absolute pattern of a search for `filter` in `directory`: the filter alone for an empty directory,
// otherwise the two joined by a "/" (a second one behind a directory that ends in one does no harm).
// False when it cannot be handed to the host.
bool SearchPattern(const std::string& directory, const std::string& filter, std::string& pattern)
{
    return filesystem::PrepareName(directory.empty() ? filter : directory + "/" + filter, pattern) == 0;
}

// The open searches of a tree removal, one per level, the deepest last; all are ended on every path.
class SearchStack
{
public:
    struct Level {
        HANDLE search;
        std::string name;  // the host's name of the directory entry being emptied below this level
    };

    SearchStack() {}
    ~SearchStack()
    {
        for (const Level& level : m_levels)
            platform::EndSearch(level.search);
    }
    SearchStack(const SearchStack&) = delete;
    SearchStack& operator=(const SearchStack&) = delete;

    void Push(HANDLE search) { m_levels.push_back(Level{search, std::string()}); }
    void Pop()
    {
        platform::EndSearch(m_levels.back().search);
        m_levels.pop_back();
    }
    bool Empty() const { return m_levels.empty(); }
    Level& Top() { return m_levels.back(); }

private:
    std::vector<Level> m_levels;
};

// Ends one search on every path.
class SearchCloser
{
public:
    explicit SearchCloser(HANDLE search) : m_search(search) {}
    ~SearchCloser() { platform::EndSearch(m_search); }
    SearchCloser(const SearchCloser&) = delete;
    SearchCloser& operator=(const SearchCloser&) = delete;

private:
    HANDLE m_search;
};

// The UTF-16 form of UTF-8 text, with U+FFFD for what is not well formed.
std::u16string ToUtf16(const char* text, size_t length)
{
    std::u16string wide(encoding::Utf8ToUtf16(text, length, nullptr, 0), u'\0');
    if (!wide.empty())
        encoding::Utf8ToUtf16(text, length, &wide[0], wide.size());
    return wide;
}

}  // namespace

bool COsDirectory::UpdateDescriptor(_S_FileData& record)
{
    if (record.hFind == INVALID_HANDLE_VALUE) {
        record.szFileName[0] = '\0';
        return false;
    }
    record.bDirectory = (record.findData.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? 1 : 0;

    char name[kNameBytes];
    const size_t units = encoding::Utf16LengthWithin(NameUnits(record.findData), kNameUnits);
    const size_t bytes = encoding::Utf16ToUtf8(NameUnits(record.findData), units, name, sizeof name - 1);
    name[bytes] = '\0';
    static_assert(kNameBytes <= sizeof record.szFileName, "every name fits the record's field whole");
    std::memcpy(record.szFileName, name, bytes + 1);

    // The full path is built whole, then cut to the field as the name is.
    char path[sizeof record.szDirectory + 1 + kNameBytes];
    size_t used = strnlen(record.szDirectory, sizeof record.szDirectory);
    std::memcpy(path, record.szDirectory, used);
    if (used == 0 || (path[used - 1] != '/' && path[used - 1] != '\\'))
        path[used++] = '/';
    std::memcpy(path + used, name, bytes + 1);
    strcpyz(record.szFullPath, sizeof record.szFullPath, path);

    COsSystemTime::LocalTime(record.findData.ftLastAccessTime, record.stAccessTime);
    COsSystemTime::LocalTime(record.findData.ftLastWriteTime, record.stWriteTime);
    return true;
}

bool COsDirectory::FindFirstFileA(const std::string& directory, const std::string& filter, _S_FileData& record)
{
    std::string absoluteDirectory;
    // An empty form (a directory too long to have its dots resolved) would put every entry at the root.
    if (GetAbsolutePath(directory, absoluteDirectory) < 0 || absoluteDirectory.empty())
        return false;
    // A directory too long for the field is cut there, with a terminator, as a full path is.
    strcpyz(record.szDirectory, sizeof record.szDirectory, absoluteDirectory.c_str());

    std::string pattern;
    if (!SearchPattern(directory, filter, pattern))
        return false;
    platform::DirectoryEntry entry{};
    record.hFind = platform::StartSearch(pattern, entry);
    if (record.hFind != INVALID_HANDLE_VALUE && !StoreEntry(entry, record.findData))
        return false;
    if (!UpdateDescriptor(record))
        return false;
    return IsDotName(entry.name) ? FindNextFileA(record) : true;
}

bool COsDirectory::FindFirstFileA(const std::string& directory, _S_FileData& record)
{
    return FindFirstFileA(directory, "*", record);
}

bool COsDirectory::FindNextFileA(_S_FileData& record)
{
    if (record.hFind == INVALID_HANDLE_VALUE)
        return false;
    platform::DirectoryEntry entry{};
    do {
        if (!platform::ContinueSearch(record.hFind, entry) || !StoreEntry(entry, record.findData))
            return false;
    } while (IsDotName(entry.name));
    return UpdateDescriptor(record);
}

void COsDirectory::FindClose(_S_FileData& record)
{
    if (record.hFind != INVALID_HANDLE_VALUE)
        platform::EndSearch(record.hFind);
}

bool COsDirectory::GetDirectoryCreateTime(const _S_FileData& record, _STSystemTime& out)
{
    return COsFile::GetFileCreateTime(record, out);
}

bool COsDirectory::GetDirectoryLastWriteTime(const _S_FileData& record, _STSystemTime& out)
{
    return COsFile::GetFileLastWriteTime(record, out);
}

int COsDirectory::GetFileNumHaveSamePrefix(const std::string& path, const std::string& prefix)
{
    std::string absolutePath;
    if (const int status = filesystem::PrepareName(path, absolutePath); status != 0)
        return status;
    // No separator is added: "C:/logs/" searches that directory, "C:/logs/app" its names that begin so.
    platform::DirectoryEntry entry{};
    const HANDLE search = platform::StartSearch(absolutePath + "*", entry);
    if (search == INVALID_HANDLE_VALUE)
        return 0;
    SearchCloser closer(search);

    // A prefix that cannot be converted matches nothing; it is converted once, as it is the same for all.
    wchar16* convertedPrefix = nullptr;
    const bool prefixConverted = COsEncoding::UTF8ToUnicode(prefix.c_str(), &convertedPrefix) >= 0;
    const std::unique_ptr<wchar16[]> widePrefix(convertedPrefix);
    if (!prefixConverted)
        return 0;
    const std::u16string widePath = ToUtf16(absolutePath.data(), absolutePath.size());

    int count = 0;
    std::u16string fullName;
    do {
        if ((entry.attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
            continue;
        fullName = widePath;
        fullName += ToUtf16(entry.name, std::strlen(entry.name));
        if (fullName.find(widePrefix.get()) != std::u16string::npos && count < INT_MAX)
            ++count;
    } while (platform::ContinueSearch(search, entry));
    return count;
}

bool COsDirectory::DeleteDirectory(const std::string& path)
{
    std::string absolutePath;
    return filesystem::PrepareName(path, absolutePath) == 0 && platform::RemoveEmptyDirectory(absolutePath);
}

bool COsDirectory::DeleteTree(const std::string& path)
{
    // One open search per level, the deepest last, in a loop rather than a call per level: no depth of tree
    // can exhaust the stack. Below the top every entry is listed, entered and removed through its parent's
    // open directory, never by a path and never through a link, so a directory that is swapped for a link
    // while the walk is in it cannot lead the removal out of the tree.
    std::string pattern;
    if (!SearchPattern(path, "*", pattern))
        return true;
    platform::DirectoryEntry entry{};
    const HANDLE top = platform::StartSearch(pattern, entry);
    if (top == INVALID_HANDLE_VALUE)
        return true;
    SearchStack levels;
    levels.Push(top);
    bool found = SkipDotEntries(top, true, entry);
    for (;;) {
        if (!found) {
            // This level is empty now: it is removed through the level above, which entered it.
            levels.Pop();
            if (levels.Empty())
                return true;
            SearchStack::Level& parent = levels.Top();
            if (!platform::RemoveDirectoryBelow(parent.search, parent.name))
                return false;
            found = SkipDotEntries(parent.search, platform::ContinueSearch(parent.search, entry), entry);
            continue;
        }
        SearchStack::Level& level = levels.Top();
        if ((entry.attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
            level.name = entry.name;
            const HANDLE below = platform::StartSearchBelow(level.search, level.name, entry);
            if (below != INVALID_HANDLE_VALUE) {
                levels.Push(below);
                found = SkipDotEntries(below, true, entry);
                continue;
            }
            // A directory that cannot be listed (or is a link by now) has nothing to empty: it goes if it can.
            if (!platform::RemoveDirectoryBelow(level.search, level.name))
                return false;
        } else if ((entry.attributes & FILE_ATTRIBUTE_READONLY) != 0) {
            return false;  // read-only is respected: the file is not touched, and nothing after it either
        } else if (!platform::RemoveFileBelow(level.search, entry.name)) {
            return false;
        }
        found = SkipDotEntries(level.search, platform::ContinueSearch(level.search, entry), entry);
    }
}

bool COsDirectory::CleanDirectory(const std::string& path)
{
    std::string absolutePath;
    // An empty absolute form (a name too long to have its dots resolved) would be searched as the filter
    // alone, that is in the library's own directory, and that directory would be emptied.
    if (GetAbsolutePath(path, absolutePath) < 0 || absolutePath.empty())
        return false;
    return DeleteTree(absolutePath);
}
