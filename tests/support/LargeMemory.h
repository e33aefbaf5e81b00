// Memory for tests of sizes near the limits: texts of gigabytes that cost a few megabytes, made of one
// block of a repeated byte mapped again and again, and buffers that end right before an unreadable page.
#pragma once

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

#include <cstddef>
#include <cstring>

namespace veltrane_test {

#ifdef _WIN32
// Windows maps views only at free addresses on its 64 KiB granularity: the place is found by reserving it
// and giving it back, then the block's section is viewed there again and again, and a section of zeros
// behind the last view holds the terminator.
class RepeatedText
{
public:
    RepeatedText(size_t length, char byte) : m_nLength(length)
    {
        const size_t blocks = (length + kBlock - 1) / kBlock;
        const size_t covered = blocks * kBlock;
        m_hBlock = ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kBlock, nullptr);
        m_hZeros = ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READONLY, 0, kZeros, nullptr);
        if (m_hBlock == nullptr || m_hZeros == nullptr)
            return;
        void* fill = ::MapViewOfFile(m_hBlock, FILE_MAP_WRITE, 0, 0, kBlock);
        if (fill == nullptr)
            return;
        std::memset(fill, byte, kBlock);
        ::UnmapViewOfFile(fill);
        char* place = static_cast<char*>(::VirtualAlloc(nullptr, covered + kZeros, MEM_RESERVE, PAGE_NOACCESS));
        if (place == nullptr)
            return;
        ::VirtualFree(place, 0, MEM_RELEASE);
        bool mapped = true;
        for (size_t index = 0; mapped && index < blocks; ++index)
            mapped = Map(m_hBlock, place + index * kBlock, kBlock);
        if (mapped && Map(m_hZeros, place + covered, kZeros))
            m_pText = place + (covered - length);
    }
    ~RepeatedText()
    {
        for (size_t index = 0; index < m_nViews; ++index)
            ::UnmapViewOfFile(m_aViews[index]);
        if (m_hBlock != nullptr)
            ::CloseHandle(m_hBlock);
        if (m_hZeros != nullptr)
            ::CloseHandle(m_hZeros);
    }
    RepeatedText(const RepeatedText&) = delete;
    RepeatedText& operator=(const RepeatedText&) = delete;

    bool Empty() const { return m_pText == nullptr; }
    const char* Data() const { return m_pText; }
    size_t Length() const { return m_nLength; }

private:
    static constexpr size_t kBlock = 16u << 20;
    static constexpr size_t kZeros = 64u << 10;
    static constexpr size_t kMaxViews = 1024;  // 16 GiB of text

    bool Map(HANDLE section, char* at, size_t size)
    {
        if (m_nViews == kMaxViews)
            return false;
        void* view = ::MapViewOfFileEx(section, FILE_MAP_READ, 0, 0, size, at);
        if (view == nullptr)
            return false;
        m_aViews[m_nViews++] = view;
        return true;
    }

    size_t m_nLength;
    HANDLE m_hBlock = nullptr;
    HANDLE m_hZeros = nullptr;
    void* m_aViews[kMaxViews] = {};
    size_t m_nViews = 0;
    const char* m_pText = nullptr;
};

class GuardedBuffer
{
public:
    explicit GuardedBuffer(size_t bytes)
    {
        SYSTEM_INFO system;
        ::GetSystemInfo(&system);
        const size_t page = system.dwPageSize;
        const size_t pages = (bytes + page - 1) / page * page;
        m_pMapped = static_cast<char*>(::VirtualAlloc(nullptr, pages + page, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
        DWORD previous;
        if (m_pMapped != nullptr && ::VirtualProtect(m_pMapped + pages, page, PAGE_NOACCESS, &previous))
            m_pData = m_pMapped + (pages - bytes);
    }
    ~GuardedBuffer()
    {
        if (m_pMapped != nullptr)
            ::VirtualFree(m_pMapped, 0, MEM_RELEASE);
    }
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    void* Data() const { return m_pData; }

private:
    char* m_pMapped = nullptr;
    char* m_pData = nullptr;
};
#else

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

#endif

}  // namespace veltrane_test
