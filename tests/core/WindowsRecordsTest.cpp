// The interface's Windows records: the fields and sizes a client relies on, with the system's header included
// before <Veltrane.h> here and after it in WindowsRecordsAfterTest.cpp (on Windows; elsewhere the library's
// own records stand alone).
#ifdef _WIN32
#undef WIN32_LEAN_AND_MEAN  // the client's full <windows.h>, with the old winsock.h inside
#include <windows.h>
#endif

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

#include <Veltrane.h>

bool RecordsAgreeWithSystemHeaderIncludedAfter();

TEST(WindowsRecords, FieldsAndSizesAreTheSystemsWhicheverHeaderCameFirst)
{
    static_assert(sizeof(FILETIME) == 8 && offsetof(FILETIME, dwHighDateTime) == 4, "two 32-bit halves");
    static_assert(sizeof(SYSTEMTIME) == 16 && offsetof(SYSTEMTIME, wMilliseconds) == 14, "eight 16-bit fields");
    static_assert(sizeof(WIN32_FIND_DATAW::cFileName) == 260 * 2, "260 UTF-16 units");
    static_assert(offsetof(WIN32_FIND_DATAW, ftLastWriteTime) == 20, "the system's layout");
    static_assert(sizeof(SOCKET) == 8 && std::is_unsigned<SOCKET>::value, "64-bit unsigned handles");
    EXPECT_EQ(INVALID_SOCKET, ~static_cast<SOCKET>(0));
    EXPECT_EQ(FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY, 0x13u);
    EXPECT_NE(INVALID_HANDLE_VALUE, HANDLE(nullptr));
    EXPECT_TRUE(RecordsAgreeWithSystemHeaderIncludedAfter());
}
