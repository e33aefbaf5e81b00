// Internal to the Windows side: UTF-8 names and texts to the system's UTF-16 and back, and module names.
#pragma once

#include <string>

namespace platform {
namespace win32 {

// The UTF-16 form of a UTF-8 text; ill-formed bytes become U+FFFD, as the library's own decoder does.
std::wstring Widen(const std::string& text);
// The UTF-8 form of `count` UTF-16 units; a lone surrogate becomes U+FFFD.
std::string Narrow(const wchar_t* text, size_t count);
std::string Narrow(const std::wstring& text);

// The system's name for a file or directory path (UTF-8, the library's normal form): UTF-16; a name too
// long for the classic limit is given in its verbatim form (VerbatimName), so that deep trees stay
// reachable and mean what the same name would mean if it were short; a name that the caller gave in one of
// the system's own forms ("\\?\", "\\.\") keeps it, with its separators the system's again. Empty, with the system's last error set, for a name the system must not be given: ill-formed
// UTF-8 or a NUL inside (ERROR_INVALID_NAME, never a look-alike name with U+FFFD), nothing at all
// (ERROR_PATH_NOT_FOUND), or longer than the system's longest name (ERROR_FILENAME_EXCED_RANGE).
std::wstring FileName(const std::string& path);

// The verbatim form ("\\?\" before a full name) of a UTF-16 name, which the system takes as it stands and
// at any length: the full-name rule applied first (levels "." and "..", trailing dots and blanks, a
// relative name), unless the name is verbatim already. Below a directory given in this form, an entry
// name that the system listed reaches that entry whatever it is (a trailing dot, a device's name).
// Empty, with the last error set, when the result would pass the system's longest name.
std::wstring VerbatimName(const std::wstring& name);

// The full path of a loaded module (null: the process's executable), however long; "" on failure.
std::string ModuleFilePath(void* module);

}  // namespace win32
}  // namespace platform
