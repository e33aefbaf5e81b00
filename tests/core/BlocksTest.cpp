// Blocks: capacity rounding, growth that keeps contents, copies of the whole capacity.
#include <gtest/gtest.h>

#include <cstring>

#include <Veltrane.h>

TEST(Blocks, CapacityRoundsUpToWholeKiBAndZeroGivesARealBlock)
{
    struct { int size; int capacity; } rows[] = {{0, 0}, {1, 1024}, {1024, 1024}, {1025, 2048}, {2049, 3072}};
    for (auto row : rows) {
        void* block = AllocBlock(nullptr, row.size);
        ASSERT_NE(block, nullptr) << row.size;
        EXPECT_EQ(GetBufferLength(block), row.capacity) << row.size;
        EXPECT_EQ(GetBlockLength(block), row.size);
        EXPECT_EQ(std::memcmp(static_cast<char*>(block) - 12, "BDSG", 4), 0) << row.size;
        FreeBlock(block);
    }
}

TEST(Blocks, NeverShrinksAndKeepsContentsWhenGrowing)
{
    void* block = AllocBlock(nullptr, 2048);
    std::memset(block, 'x', 2048);
    void* same = AllocBlock(block, 100);
    EXPECT_EQ(same, block);
    EXPECT_EQ(GetBufferLength(same), 2048);
    EXPECT_EQ(GetBlockLength(same), 100);

    void* grown = AllocBlock(same, 2049);
    ASSERT_NE(grown, nullptr);
    EXPECT_EQ(GetBufferLength(grown), 3072);
    EXPECT_EQ(GetBlockLength(grown), 2049);
    for (int i = 0; i < 2048; ++i)
        ASSERT_EQ(static_cast<char*>(grown)[i], 'x') << i;
    FreeBlock(grown);
}

TEST(Blocks, CopyTakesTheWholeCapacityAndNullIsHarmless)
{
    void* block = AllocBlock(nullptr, 10);
    for (int i = 0; i < 1024; ++i)
        static_cast<unsigned char*>(block)[i] = static_cast<unsigned char>(i);
    void* copy = CopyBlock(block);
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, block);
    EXPECT_EQ(GetBlockLength(copy), 10);
    EXPECT_EQ(GetBufferLength(copy), 1024);
    EXPECT_EQ(std::memcmp(copy, block, 1024), 0);
    FreeBlock(block);
    FreeBlock(copy);

    EXPECT_EQ(GetBlockLength(nullptr), 0);
    EXPECT_EQ(GetBufferLength(nullptr), 0);
    FreeBlock(nullptr);
    EXPECT_EQ(CopyBlock(nullptr), nullptr);
}
