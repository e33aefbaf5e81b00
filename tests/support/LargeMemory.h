// Memory for tests of sizes near the limits: texts of gigabytes that cost a few megabytes, made of one
// block of a repeated byte mapped again and again, and buffers that end right before an unreadable page.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>

namespace veltrane_test {

// `length` bytes of `byte` followed by a NUL, read-only. Whatever the length, it holds only one
// 16 MiB block of memory and one page of zeros. Empty() when the host refused the mappings.
class RepeatedText
{
public:
    RepeatedText(size_t length, char byte) : m_nLength(length)
    {
        const size_t page = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
        const size_t pages = (length + page - 1) / page * page;
        const size_t blocks = (pages + kBlock - 1) / kBlock;
        m_nReserved = blocks * kBlock + page;
        void* reserved = ::mmap(nullptr, m_nReserved, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (reserved == MAP_FAILED)
            return;
        m_pReserved = static_cast<char*>(reserved);
        const int block = ::memfd_create("veltrane-test-text", 0);
        bool mapped = block >= 0 && ::ftruncate(block, kBlock) == 0;
        if (mapped) {
            void* fill = ::mmap(nullptr, kBlock, PROT_READ | PROT_WRITE, MAP_SHARED, block, 0);
            mapped = fill != MAP_FAILED;
            if (mapped) {
                std::memset(fill, byte, kBlock);
                ::munmap(fill, kBlock);
            }
        }
        for (size_t index = 0; mapped && index < blocks; ++index)
            mapped = ::mmap(m_pReserved + index * kBlock, kBlock, PROT_READ, MAP_SHARED | MAP_FIXED, block, 0) != MAP_FAILED;
        if (block >= 0)
            ::close(block);
        // The text ends where a page of zeros begins, so its terminator is that page's first byte.
        if (mapped)
            mapped = ::mmap(m_pReserved + pages, page, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) != MAP_FAILED;
        if (mapped)
            m_pText = m_pReserved + (pages - length);
    }
    ~RepeatedText()
    {
        if (m_pReserved != nullptr)
            ::munmap(m_pReserved, m_nReserved);
    }
    RepeatedText(const RepeatedText&) = delete;
    RepeatedText& operator=(const RepeatedText&) = delete;

    bool Empty() const { return m_pText == nullptr; }
    const char* Data() const { return m_pText; }
    size_t Length() const { return m_nLength; }

private:
    static constexpr size_t kBlock = 16u << 20;
    size_t m_nLength;
    size_t m_nReserved = 0;
    char* m_pReserved = nullptr;
    const char* m_pText = nullptr;
};

// `bytes` writable bytes whose end touches a page that can be neither read nor written, so that a read
// of one byte too many faults at once, in every build. Null Data() when the host refused.
class GuardedBuffer
{
public:
    explicit GuardedBuffer(size_t bytes)
    {
        const size_t page = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
        const size_t pages = (bytes + page - 1) / page * page;
        m_nMapped = pages + page;
        void* mapped = ::mmap(nullptr, m_nMapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (mapped == MAP_FAILED)
            return;
        m_pMapped = static_cast<char*>(mapped);
        if (::mprotect(m_pMapped + pages, page, PROT_NONE) == 0)
            m_pData = m_pMapped + (pages - bytes);
    }
    ~GuardedBuffer()
    {
        if (m_pMapped != nullptr)
            ::munmap(m_pMapped, m_nMapped);
    }
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    void* Data() const { return m_pData; }

private:
    size_t m_nMapped = 0;
    char* m_pMapped = nullptr;
    char* m_pData = nullptr;
};

}  // namespace veltrane_test
