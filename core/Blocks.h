// Blocks: growable raw memory behind a 12-byte header ("BDSG", capacity, length).
#pragma once

#include "Types.h"

// Gives a block of at least `size` bytes (capacity rounded up to whole KiB), keeping the contents of
// `block` (null makes a new one). The pointer may move. Null, with `block` left as it was, when memory
// ran out or the size is negative or above 2 147 482 624, the largest whole-KiB capacity the header holds.
VELTRANE_API void* AllocBlock(void* block, int size);
// Releases a block; null does nothing.
VELTRANE_API void FreeBlock(void* block);
// A new block with the same capacity, length and all capacity bytes; null only if memory ran out.
VELTRANE_API void* CopyBlock(const void* block);
// The length that the last AllocBlock asked for; 0 for null.
VELTRANE_API int GetBlockLength(const void* block);
// The capacity in bytes; 0 for null.
VELTRANE_API int GetBufferLength(const void* block);
