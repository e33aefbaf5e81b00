// The block family: payload behind a 12-byte header of magic, capacity and length.
#include "core/Blocks.h"

#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int kHeaderSize = 12;
constexpr int kCapacityStep = 1024;
// The largest size whose capacity, a whole number of KiB, the header's signed 32-bit field can hold.
constexpr int kMaxBlockSize = INT_MAX / kCapacityStep * kCapacityStep;

struct BlockHeader {
    char magic[4];
    int32_t capacity;
    int32_t length;
};
static_assert(sizeof(BlockHeader) == kHeaderSize, "the header is 12 bytes");

BlockHeader* HeaderOf(void* payload)
{
    return reinterpret_cast<BlockHeader*>(static_cast<char*>(payload) - kHeaderSize);
}

const BlockHeader* HeaderOf(const void* payload)
{
    return reinterpret_cast<const BlockHeader*>(static_cast<const char*>(payload) - kHeaderSize);
}

void* PayloadOf(BlockHeader* header)
{
    return reinterpret_cast<char*>(header) + kHeaderSize;
}

}  // namespace

void* AllocBlock(void* block, int size)
{
    // A size the header cannot hold is refused like memory that ran out: the block stays as it was.
    if (size < 0 || size > kMaxBlockSize)
        return nullptr;
    int neededCapacity = (size + (kCapacityStep - 1)) / kCapacityStep * kCapacityStep;
    if (block != nullptr && HeaderOf(block)->capacity >= neededCapacity) {
        HeaderOf(block)->length = size;
        return block;
    }
    void* oldStart = block == nullptr ? nullptr : HeaderOf(block);
    auto* header = static_cast<BlockHeader*>(std::realloc(oldStart, static_cast<size_t>(neededCapacity) + kHeaderSize));
    if (header == nullptr)
        return nullptr;
    std::memcpy(header->magic, "BDSG", 4);
    header->capacity = neededCapacity;
    header->length = size;
    return PayloadOf(header);
}

void FreeBlock(void* block)
{
    if (block != nullptr)
        std::free(HeaderOf(block));
}

void* CopyBlock(const void* block)
{
    if (block == nullptr)
        return nullptr;
    const BlockHeader* source = HeaderOf(block);
    size_t total = static_cast<size_t>(source->capacity) + kHeaderSize;
    auto* copy = static_cast<BlockHeader*>(std::malloc(total));
    if (copy == nullptr)
        return nullptr;
    std::memcpy(copy, source, total);
    return PayloadOf(copy);
}

int GetBlockLength(const void* block)
{
    return block == nullptr ? 0 : HeaderOf(block)->length;
}

int GetBufferLength(const void* block)
{
    return block == nullptr ? 0 : HeaderOf(block)->capacity;
}
