// Internal: the version resource of a PE file, read from the file itself on any host.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "core/Types.h"

namespace peversion {

// A read-only run of bytes, read at offsets: a file or a buffer. The parser asks it for the headers,
// the section table, the resource tree and the version block, a few kilobytes whatever the file's size.
class ByteSource {
public:
    virtual ~ByteSource() = default;
    // The number of bytes in the source.
    virtual uint64_t Size() const = 0;
    // Copies exactly `count` bytes from `offset` into `buffer`; false when they cannot all be read.
    virtual bool ReadAt(uint64_t offset, void* buffer, size_t count) const = 0;
};

// A source over bytes in memory, which stay the caller's and must outlive it.
class MemorySource final : public ByteSource {
public:
    MemorySource(const void* data, size_t size);
    uint64_t Size() const override;
    bool ReadAt(uint64_t offset, void* buffer, size_t count) const override;

private:
    const unsigned char* m_pData;
    size_t m_nSize;
};

// The root node's 16-bit length cannot describe more: a version block is at most this long.
constexpr uint32_t kMaxVersionBlockSize = 0xFFFF;

// The size of the file's version block (resource type 16, name 1, language chosen as
// docs/decisions.md says), at most kMaxVersionBlockSize; 0 for a file without one, or whose headers,
// section table or resource tree are damaged or point outside the file.
uint32_t GetVersionInfoSize(const ByteSource& file);

// Fills `block` with the first `size` bytes of the version block, clearing what the block does not
// cover. False (and `block` untouched) for a file without one, for a size of 0, or when a read fails.
bool GetVersionInfo(const ByteSource& file, uint32_t size, void* block);

// Finds the node that `subBlock` names in a version block, as the system's query does: components
// between backslashes, empty ones skipped, each matching a child's whole key, ASCII letters without
// regard to case; an empty path names the root. Gives the node's value and its length, counted in
// UTF-16 units for a text node and in bytes otherwise, cut at the node's end. False when the path
// names no node or the block is damaged on the way; nothing is ever read outside the block.
bool QueryValue(const void* block, uint32_t blockSize, const wchar16* subBlock,
                const unsigned char*& value, uint32_t& length);

// The first language and code page of "\VarFileInfo\Translation"; false when the value is missing
// or holds less than one pair.
bool QueryTranslation(const void* block, uint32_t blockSize, uint16_t& language, uint16_t& codePage);

// The text that `subBlock` names: its units from the value's place up to the first 0 unit or the end
// of the node, whichever comes first. False when the path names no node.
bool QueryText(const void* block, uint32_t blockSize, const wchar16* subBlock, std::u16string& text);

// The whole road: the version block, its first translation, and the "FileVersion" text of the string
// table "\StringFileInfo\LLLLCCCC" that it names (language and code page in upper-case hexadecimal).
// False at the first step that finds nothing; `version` is written only on success.
bool ReadFileVersion(const ByteSource& file, std::u16string& version);

}  // namespace peversion
