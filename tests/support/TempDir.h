// A directory of the test's own under the system's temporary directory, removed with all it holds.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include <Veltrane.h>

namespace veltrane_test {

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
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return m_path; }
    // The absolute UTF-8 name of `relative` inside the directory.
    std::string operator/(const std::string& relative) const { return (m_path / relative).string(); }

private:
    std::filesystem::path m_path;
};

// The whole contents of a file as bytes; "" when it cannot be read.
inline std::string FileBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteBytes(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

}  // namespace veltrane_test
