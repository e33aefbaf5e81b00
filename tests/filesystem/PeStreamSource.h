// A file read at offsets through one open stream, as a caller that never loads the whole file reads it:
// the version resource tests and benchmark read their PE files through it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>

#include "filesystem/PeVersion.h"

namespace pe_test {

class StreamSource final : public peversion::ByteSource {
public:
    explicit StreamSource(const std::string& path) : m_stream(path, std::ios::binary)
    {
        m_stream.seekg(0, std::ios::end);
        m_size = m_stream ? static_cast<uint64_t>(m_stream.tellg()) : 0;
    }
    bool IsOpen() const { return m_size != 0; }
    uint64_t Size() const override { return m_size; }
    bool ReadAt(uint64_t offset, void* buffer, size_t count) const override
    {
        m_stream.clear();
        m_stream.seekg(static_cast<std::streamoff>(offset));
        m_stream.read(static_cast<char*>(buffer), static_cast<std::streamsize>(count));
        return static_cast<size_t>(m_stream.gcount()) == count;
    }

private:
    mutable std::ifstream m_stream;
    uint64_t m_size = 0;
};

}  // namespace pe_test
