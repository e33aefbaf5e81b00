// platform/win32/directories.cpp — directory searches over FindFirstFileExW, and removal below a search.
// A directory below a search is entered only after its own open handle shows a plain directory, never a
// reparse point (a symbolic link or a junction), so a walk does not follow a link out of its tree; the
// handle is held while the search lives. It shares deletion, as a listing on any host does: another
// process may still remove or rename a directory that is being listed, and the listing then ends.
// Searches live in the same table of slots and generations as on every host: a stale or made-up handle is
// refused, never followed into freed memory.
#include "platform/directories.h"

#include <windows.h>

#include <memory>

#include "platform/SearchTable.h"
#include "platform/lasterror.h"
#include "platform/win32/SystemText.h"

namespace platform {
namespace {

struct Search {
    ~Search()
    {
        if (find != INVALID_HANDLE_VALUE)
            ::FindClose(find);
        if (directory != INVALID_HANDLE_VALUE)
            ::CloseHandle(directory);
    }
    HANDLE directory = INVALID_HANDLE_VALUE;  // held open while the search lives
    HANDLE find = INVALID_HANDLE_VALUE;
    std::wstring path;                        // the directory's verbatim system name, no separator behind it
    std::string name;                         // the UTF-8 name of the entry handed out last
};

SearchTable<Search>& Searches()
{
    return SearchTable<Search>::Instance();
}

Search* FindSearch(HANDLE handle)
{
    return Searches().FindOpen(handle);
}

// A link is described as a link, never as a directory, whatever it points at.
void Describe(Search& search, const WIN32_FIND_DATAW& found, DirectoryEntry& entry)
{
    search.name = win32::Narrow(found.cFileName);
    entry.name = search.name.c_str();
    uint32_t attributes = found.dwFileAttributes;
    if (attributes & FILE_ATTRIBUTE_REPARSE_POINT)
        attributes &= ~static_cast<uint32_t>(FILE_ATTRIBUTE_DIRECTORY);
    entry.attributes = attributes != 0 ? attributes : FILE_ATTRIBUTE_NORMAL;
    entry.creationTime = found.ftCreationTime;
    entry.lastAccessTime = found.ftLastAccessTime;
    entry.lastWriteTime = found.ftLastWriteTime;
    entry.size = (uint64_t{found.nFileSizeHigh} << 32) | found.nFileSizeLow;
}

// Opens the directory `name` for listing; with `plainOnly`, a reparse point is opened as itself and refused. INVALID_HANDLE_VALUE with the last error set.
HANDLE OpenDirectory(const std::wstring& name, bool plainOnly)
{
    if (name.empty())
        return INVALID_HANDLE_VALUE;
    const DWORD flags = FILE_FLAG_BACKUP_SEMANTICS | (plainOnly ? FILE_FLAG_OPEN_REPARSE_POINT : 0);
    HANDLE directory = ::CreateFileW(name.c_str(), FILE_LIST_DIRECTORY | FILE_READ_ATTRIBUTES,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                     flags, nullptr);
    if (directory == INVALID_HANDLE_VALUE) {
        if (::GetLastError() == ERROR_FILE_NOT_FOUND || ::GetLastError() == ERROR_DIRECTORY)
            SetLastError(kErrorPathNotFound);
        return INVALID_HANDLE_VALUE;
    }
    BY_HANDLE_FILE_INFORMATION information;
    const bool plain = ::GetFileInformationByHandle(directory, &information) &&
                       (information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
                       (!plainOnly || (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0);
    if (!plain) {
        ::CloseHandle(directory);
        SetLastError(kErrorPathNotFound);
        return INVALID_HANDLE_VALUE;
    }
    return directory;
}

// The verbatim system name of the entry `name` below a search's directory. The entries below a search are
// named in the verbatim form: a name the system listed ("name.", "CON", "a ") reaches that entry, never a
// name the system's full-name rule makes of it. Empty, with the last error set, when it cannot be given.
std::wstring EntryName(const Search& search, const std::string& name)
{
    const std::wstring entry = win32::Widen(name);
    if (entry.empty() || entry.find_first_of(L"\\/") != std::wstring::npos) {
        SetLastError(ERROR_INVALID_NAME);
        return std::wstring();
    }
    if (search.path.size() + 1 + entry.size() > 32767) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return std::wstring();
    }
    return search.path + L"\\" + entry;
}

// Starts the search of the directory `path` (verbatim) with `pattern` over the open `directory`, which
// it takes over.
HANDLE Begin(HANDLE directory, const std::wstring& path, const std::wstring& pattern, DirectoryEntry& entry)
{
    std::unique_ptr<Search> search(new Search);
    search->directory = directory;
    search->path = path;
    WIN32_FIND_DATAW found;
    if (!pattern.empty())
        search->find = ::FindFirstFileExW(pattern.c_str(), FindExInfoBasic, &found, FindExSearchNameMatch, nullptr, 0);
    if (search->find == INVALID_HANDLE_VALUE) {
        const DWORD error = ::GetLastError();
        SetLastError(error == ERROR_NO_MORE_FILES || error == ERROR_FILE_NOT_FOUND || pattern.empty() ? kErrorFileNotFound
                                                                                                       : error);
        return INVALID_HANDLE_VALUE;
    }
    Describe(*search, found, entry);
    return Searches().Add(std::move(search));
}

bool Gone(DWORD error)
{
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

// The system's name of the entry `name` of the search's directory and its attributes
// (INVALID_FILE_ATTRIBUTES, with the last error, when it cannot be looked at). False when the handle names
// no search or the name cannot be given to the system.
bool LookAtEntry(HANDLE handle, const std::string& name, std::wstring& entryName, DWORD& attributes)
{
    Search* search = FindSearch(handle);
    if (search == nullptr)
        return false;
    entryName = EntryName(*search, name);
    if (entryName.empty())
        return false;
    attributes = ::GetFileAttributesW(entryName.c_str());
    return true;
}

}  // namespace

HANDLE StartSearch(const std::string& pattern, DirectoryEntry& entry)
{
    const size_t slash = pattern.find_last_of("/\\");
    const std::string directory = slash == std::string::npos ? "." : pattern.substr(0, slash == 0 ? 1 : slash);
    const std::string segment = slash == std::string::npos ? pattern : pattern.substr(slash + 1);
    if (segment.empty()) {
        SetLastError(kErrorFileNotFound);
        return INVALID_HANDLE_VALUE;
    }
    // The directory the caller named may itself be reached through a link: only what lies below is checked.
    const std::wstring name = win32::FileName(directory);
    // The entries are named below the directory with its separator kept: "C:/" is the drive's root, where
    // "C:" alone would be the drive's current directory.
    const std::wstring withSeparator = win32::FileName(slash == std::string::npos ? "./" : pattern.substr(0, slash + 1));
    std::wstring path = name.empty() || withSeparator.empty() ? std::wstring() : win32::VerbatimName(withSeparator);
    if (path.empty())
        return INVALID_HANDLE_VALUE;
    if (path.back() == L'\\')
        path.pop_back();
    const HANDLE opened = OpenDirectory(name, false);
    if (opened == INVALID_HANDLE_VALUE)
        return INVALID_HANDLE_VALUE;
    // The caller's pattern goes through the system's name rules, as the caller's name does.
    return Begin(opened, path, win32::FileName(directory + "\\" + segment), entry);
}

HANDLE StartSearchBelow(HANDLE parent, const std::string& name, DirectoryEntry& entry)
{
    Search* search = FindSearch(parent);
    if (search == nullptr)
        return INVALID_HANDLE_VALUE;
    const std::wstring path = EntryName(*search, name);
    const HANDLE opened = OpenDirectory(path, true);
    if (opened == INVALID_HANDLE_VALUE)
        return INVALID_HANDLE_VALUE;
    return Begin(opened, path, path + L"\\*", entry);
}

bool ContinueSearch(HANDLE handle, DirectoryEntry& entry)
{
    Search* search = FindSearch(handle);
    if (search == nullptr)
        return false;
    WIN32_FIND_DATAW found;
    if (!::FindNextFileW(search->find, &found)) {
        SetLastError(kErrorNoMoreFiles);
        return false;
    }
    Describe(*search, found, entry);
    return true;
}

void EndSearch(HANDLE handle)
{
    Searches().Remove(handle);
}

bool RemoveFileBelow(HANDLE handle, const std::string& name)
{
    std::wstring entryName;
    DWORD attributes;
    if (!LookAtEntry(handle, name, entryName, attributes))
        return false;
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return Gone(::GetLastError());  // gone already: the caller's aim, its absence, holds
    const bool isDirectory = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    const bool isLink = (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    if (isDirectory && !isLink) {
        SetLastError(kErrorAccessDenied);
        return false;
    }
    // A link to a directory is removed as a directory entry: itself, never what it points at.
    const BOOL removed = isDirectory ? ::RemoveDirectoryW(entryName.c_str()) : ::DeleteFileW(entryName.c_str());
    return removed || Gone(::GetLastError());
}

bool RemoveDirectoryBelow(HANDLE handle, const std::string& name)
{
    std::wstring entryName;
    DWORD attributes;
    if (!LookAtEntry(handle, name, entryName, attributes))
        return false;
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return Gone(::GetLastError());
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0 || (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        SetLastError(ERROR_DIRECTORY);
        return false;
    }
    return ::RemoveDirectoryW(entryName.c_str()) || Gone(::GetLastError());
}

bool RemoveEmptyDirectory(const std::string& path)
{
    const std::wstring name = win32::FileName(path);
    if (name.empty())
        return false;
    const DWORD attributes = ::GetFileAttributesW(name.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        SetLastError(ERROR_DIRECTORY);  // a link is neither followed nor removed
        return false;
    }
    return ::RemoveDirectoryW(name.c_str()) != 0;
}

}  // namespace platform
