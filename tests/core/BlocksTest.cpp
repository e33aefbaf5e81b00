// Blocks: capacity rounding, growth that keeps contents, copies of the whole capacity, refused sizes.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include <Veltrane.h>

TEST(Blocks, CapacityRoundsUpToWholeKiBAndZeroGivesARealBlock)
{
    struct { int size; int capacity; } rows[] = {{0, 0}, {1, 1024}, {1024, 1024}, {1025, 2048}};
    for (auto row : rows) {
        SCOPED_TRACE(row.size);
        void* block = AllocBlock(nullptr, row.size);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(GetBufferLength(block), row.capacity);
        EXPECT_EQ(GetBlockLength(block), row.size);
        EXPECT_EQ(std::memcmp(static_cast<char*>(block) - 12, "BDSG", 4), 0);
        FreeBlock(block);
    }
    EXPECT_EQ(GetBlockLength(nullptr), 0);
    EXPECT_EQ(GetBufferLength(nullptr), 0);
    FreeBlock(nullptr);
    EXPECT_EQ(CopyBlock(nullptr), nullptr);
}

TEST(Blocks, NeverShrinksGrowsWithItsContentsAndCopiesTheWholeCapacity)
{
    void* block = AllocBlock(nullptr, 2048);
    for (int i = 0; i < 2048; ++i)
        static_cast<unsigned char*>(block)[i] = static_cast<unsigned char>(i * 7);
    EXPECT_EQ(AllocBlock(block, 100), block);
    EXPECT_EQ(GetBufferLength(block), 2048);
    EXPECT_EQ(GetBlockLength(block), 100);

    void* copy = CopyBlock(block);
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, block);
    EXPECT_EQ(GetBlockLength(copy), 100);
    EXPECT_EQ(GetBufferLength(copy), 2048);
    EXPECT_EQ(std::memcmp(copy, block, 2048), 0) << "the whole capacity, not only the length";

    void* grown = AllocBlock(block, 2049);
    ASSERT_NE(grown, nullptr);
    EXPECT_EQ(GetBufferLength(grown), 3072);
    EXPECT_EQ(GetBlockLength(grown), 2049);
    EXPECT_EQ(std::memcmp(grown, copy, 2048), 0) << "growth keeps the contents";
    FreeBlock(grown);
    FreeBlock(copy);
}

TEST(Blocks, SizesTheHeaderCannotHoldAreRefusedAndLeaveTheBlockAsItWas)
{
    void* block = AllocBlock(nullptr, 1000);
    ASSERT_NE(block, nullptr);
    std::memset(block, 'k', 1000);
    for (int size : {-1, INT_MIN, INT_MAX, INT_MAX - 100, 2147482625}) {
        SCOPED_TRACE(size);
        EXPECT_EQ(AllocBlock(block, size), nullptr);
        EXPECT_EQ(AllocBlock(nullptr, size), nullptr);
        EXPECT_EQ(GetBufferLength(block), 1024);
        EXPECT_EQ(GetBlockLength(block), 1000);
    }
    EXPECT_EQ(static_cast<char*>(block)[999], 'k');
    FreeBlock(block);

    // The largest size that fits takes the largest capacity (the pages are never touched).
    void* largest = AllocBlock(nullptr, 2147482624);
    ASSERT_NE(largest, nullptr);
    EXPECT_EQ(GetBufferLength(largest), 2147482624);
    EXPECT_EQ(GetBlockLength(largest), 2147482624);
    FreeBlock(largest);
}
