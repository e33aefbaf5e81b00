// A directory of the test's own under the system's temporary directory, removed with all it holds.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include <Veltrane.h>

namespace veltrane_test {

// The file system's path for a UTF-8 name. A narrow std::string given to std::filesystem is read in the
// system's ANSI code page on Windows, where the library's names are UTF-8 on both hosts.
inline std::filesystem::path HostPath(const std::string& name)
{
    return std::filesystem::u8path(name);
}

class TempDir
{
public:
    TempDir() : m_path(std::filesystem::temp_directory_path() / ("veltrane-test-" + COsGuid::NewGuid()))
    {
        std::filesystem::create_directories(m_path);
    }
    ~TempDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
        if (!std::filesystem::exists(m_path, ignored))
            return;
        // What stayed: on Windows a read-only file, which the system refuses to remove, or a name beyond the
        // classic length limit, which std::filesystem cannot reach there and the library can.
        std::error_code walk;
        for (auto entry = std::filesystem::recursive_directory_iterator(m_path, walk);
             !walk && entry != std::filesystem::recursive_directory_iterator(); entry.increment(walk))
            std::filesystem::permissions(entry->path(), std::filesystem::perms::owner_write,
                                         std::filesystem::perm_options::add | std::filesystem::perm_options::nofollow,
                                         ignored);
        std::filesystem::remove_all(m_path, ignored);
        if (COsDirectory::CleanDirectory(name()))
            COsDirectory::DeleteDirectory(name());
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return m_path; }
    // The absolute UTF-8 name of `relative` inside the directory.
    // The bytes of `relative` are joined as they stand, so a test can name what no path object would hold.
    std::string operator/(const std::string& relative) const { return name() + "/" + relative; }
    // The directory's absolute UTF-8 name in the library's normal form ("/" between the levels).
    std::string name() const { return m_path.generic_u8string(); }

private:
    std::filesystem::path m_path;
};

// The whole contents of a file as bytes; "" when it cannot be read.
inline std::string FileBytes(const std::string& path)
{
    try {
        std::ifstream in(HostPath(path), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    } catch (const std::exception&) {  // a name Windows cannot be given (ill-formed UTF-8) holds nothing
        return std::string();
    }
}

inline void WriteBytes(const std::string& path, const std::string& bytes)
{
    std::ofstream(HostPath(path), std::ios::binary | std::ios::trunc) << bytes;
}

}  // namespace veltrane_test
