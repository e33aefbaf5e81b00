// COsEncoding: results and buffers of the conversions, replacement rules, legacy pages, counted forms, limits.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include <Veltrane.h>

#include "tests/encoding/TableProbe.h"
#include "tests/support/HostSystem.h"
#include "tests/support/LargeMemory.h"

namespace {

// Runs one conversion and gives its text; a buffer must come back exactly when the result is 0 or above.
// `Between` names the parameters between the text and the result, such as the code page name.
template <typename... Between, typename From, typename To>
std::basic_string<To> Convert(int (*convert)(const From*, Between..., To**), const From* text, Between... between,
                              int& status)
{
    To* out = nullptr;
    status = convert(text, between..., &out);
    EXPECT_EQ(out != nullptr, status >= 0) << status;
    std::basic_string<To> result = out ? out : std::basic_string<To>();
    delete[] out;
    return result;
}

char* const kUntouched = reinterpret_cast<char*>(0x1);
wchar16* const kUntouchedWide = reinterpret_cast<wchar16*>(0x1);

}  // namespace

TEST(COsEncoding, Utf8ToUtf16CountsUnitsWithTerminatorAndReplacesEachMaximalInvalidSubpart)
{
    wchar16* wide = nullptr;
    ASSERT_EQ(COsEncoding::UTF8ToUTF16("abc", &wide), 4);
    EXPECT_EQ(std::u16string(wide, 4), std::u16string(u"abc\0", 4));
    delete[] wide;

    struct Row {
        const char* input;
        std::u16string expected;
    } rows[] = {
        {"", u""},                                                 // the empty text gives 0
        {"\xF0\x9F\x98\x80z", u"\U0001F600z"},
        {"a\x80z", u"a\uFFFDz"},                                   // stray continuation byte
        {"\xC1\xBF", u"\uFFFD\uFFFD"},                             // overlong two-byte form
        {"\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD"},                   // overlong three-byte form
        {"\xF0\x80\x80\xAF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},         // overlong four-byte form
        {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},                   // a surrogate written in UTF-8
        {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},         // past U+10FFFF
        {"\xF5\xF8\xFE\xFF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},         // bytes that never occur
        {"\xE4\xB8", u"\uFFFD"}, {"\xE4\xB8z", u"\uFFFDz"},          // cut off by the end, by an ASCII byte
        {"\xF0\x9F\x98\xE4\xB8\xAD", u"\uFFFD\u4E2D"},             // the breaking byte starts a new character
        {"\xED\x9F\xBF", u"\uD7FF"}, {"\xEE\x80\x80", u"\uE000"},  // edges that are valid
        {"\xF4\x8F\xBF\xBF", u"\U0010FFFF"}, {"\xC2\x80", u"\u0080"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.input);
        int status = 0;
        EXPECT_EQ(Convert(&COsEncoding::UTF8ToUTF16, row.input, status), row.expected);
        EXPECT_EQ(status, row.expected.empty() ? 0 : static_cast<int>(row.expected.size()) + 1);
        EXPECT_EQ(Convert(&COsEncoding::UTF8ToUnicode, row.input, status), row.expected);
    }
}

TEST(COsEncoding, Utf16ToUtf8CountsBytesWithTerminatorAndReplacesLoneSurrogates)
{
    struct Row {
        std::u16string input;
        const char* expected;
    } rows[] = {
        {u"", ""}, {u"\u4E2D", "\xE4\xB8\xAD"}, {u"\U0001F600", "\xF0\x9F\x98\x80"},
        {u"\u00E9\u07FF\u0800\uFFFF", "\xC3\xA9\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"},  // edges of the lengths
        {u"\xD800", "\xEF\xBF\xBD"}, {u"\xDC00" "a", "\xEF\xBF\xBD" "a"},
        {u"\xD800\xD800\xDC00", "\xEF\xBF\xBD\xF0\x90\x80\x80"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.expected);
        int status = 0;
        EXPECT_EQ(Convert(&COsEncoding::UTF16ToUTF8, row.input.c_str(), status), row.expected);
        EXPECT_EQ(status, row.input.empty() ? 0 : static_cast<int>(std::strlen(row.expected)) + 1);
        EXPECT_EQ(Convert(&COsEncoding::UnicodeToUTF8, row.input.c_str(), status), row.expected);
    }
}

TEST(COsEncoding, NullArgumentsFailWithoutTouchingTheOutParameter)
{
    char* narrow = kUntouched;
    wchar16* wide = kUntouchedWide;
    EXPECT_EQ(COsEncoding::UTF8ToUTF16(nullptr, &wide), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsEncoding::UTF8ToUTF16("a", nullptr), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsEncoding::UTF16ToUTF8(nullptr, &narrow), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsEncoding::UTF16ToUTF8(u"a", nullptr), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsEncoding::UTF16ToUTF8(nullptr, 3, &narrow), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsEncoding::UnicodeToAnsi(nullptr, "GBK", &narrow), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsEncoding::UnicodeToAnsi(u"a", "GBK", nullptr), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsEncoding::AnsiToUnicode(nullptr, "GBK", &wide), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsEncoding::UTF8ToAnsi(nullptr, nullptr, &narrow), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsEncoding::UTF8ToAnsi("a", nullptr, nullptr), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsEncoding::AnsiToUTF8(nullptr, "GBK", &narrow), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsEncoding::AnsiToUTF8(nullptr, 3, "GBK", &narrow), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsEncoding::AnsiToUTF8("a", 3, "GBK", nullptr), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(narrow, kUntouched);
    EXPECT_EQ(wide, kUntouchedWide);
}

TEST(COsEncoding, UnicodeNamesUnknownAndNullNamesConvertThroughAnsiPage)
{
    // The ANSI page is Windows-1252: 'é' is one byte 0xE9, so none of these is a copy of the UTF-8 text.
    const char* names[] = {"utf-8", "UTF-16", "Unicode", "utf-32", "utf-32BE", "utf-7", "CP_ACP", "no-such-page", "",
                           nullptr, "windows-1252"};
    for (const char* name : names) {
        SCOPED_TRACE(name ? name : "null");
        int status = 0;
        const char* text = "caf\xC3\xA9 \xE2\x82\xAC";
        EXPECT_EQ(Convert<const char*>(&COsEncoding::UTF8ToAnsi, text, name, status), "caf\xE9 \x80");
        EXPECT_EQ(status, 7);
        EXPECT_EQ(Convert<const char*>(&COsEncoding::AnsiToUTF8, "\x80\xE9", name, status), "\xE2\x82\xAC\xC3\xA9");
    }
}

TEST(COsEncoding, PagesWithoutTableFailAndLeaveOutParameterButEmptyTextSucceeds)
{
    // 1201 is not folded to the ANSI page and no system converts it; glibc has no x-mac-arabic, which
    // Windows has, so there it converts.
    for (const char* name : {"unicodeFFFE", "x-mac-arabic"}) {
        SCOPED_TRACE(name);
        if (veltrane_test::kWindowsHost && !veltrane_test::SystemLacksCodePage(COsEncodingTableProbe::Lookup(name)))
            continue;
        char* narrow = kUntouched;
        wchar16* wide = kUntouchedWide;
        EXPECT_EQ(COsEncoding::UnicodeToAnsi(u"abc", name, &narrow), OS_ERR_ENCODING);
        EXPECT_EQ(COsEncoding::AnsiToUnicode("abc", name, &wide), OS_ERR_ENCODING);
        EXPECT_EQ(COsEncoding::AnsiToUTF8("abc", name, &narrow), OS_ERR_ENCODING);
        EXPECT_EQ(COsEncoding::UTF8ToAnsi("abc", name, &narrow), OS_ERR_ENCODING);
        EXPECT_EQ(COsEncoding::AnsiToUTF8("abc", 2, name, &narrow), OS_ERR_ENCODING);
        EXPECT_EQ(narrow, kUntouched);
        EXPECT_EQ(wide, kUntouchedWide);

        // The name is not looked up for an empty text.
        int status = -1;
        EXPECT_EQ(Convert<const char*>(&COsEncoding::UnicodeToAnsi, u"", name, status), "");
        EXPECT_EQ(status, 0);
        EXPECT_EQ(Convert<const char*>(&COsEncoding::AnsiToUnicode, "", name, status), u"");
        EXPECT_EQ(status, 0);
        EXPECT_EQ(Convert<const char*>(&COsEncoding::UTF8ToAnsi, "", name, status), "");
        EXPECT_EQ(status, 0);
    }
}

TEST(COsEncoding, LegacyPagesEncodeAndDecode)
{
    // Each text is encoded to the bytes (when it is given), and the bytes decode back to the last column.
    struct Row {
        const char* page;
        std::u16string text;
        const char* bytes;
        std::u16string back;
        bool undefinedBytes = false;  // Windows gives its own answer for them (a best-fit or U+30FB): no U+FFFD
    } rows[] = {
        {"GBK", u"\u4E2D\u6587 abc", "\xD6\xD0\xCE\xC4 abc", u"\u4E2D\u6587 abc"},
        {"GB18030", u"\u4E2D\U0001F600", "\xD6\xD0\x94\x39\xFC\x36", u"\u4E2D\U0001F600"},
        {"shift_jis", u"\u3042\\", "\x82\xA0\\", u"\u3042\\"},  // 0x5C stays a backslash on this page
        {"big5", u"\u4E2D", "\xA4\xA4", u"\u4E2D"}, {"ks_c_5601-1987", u"\uD55C", "\xC7\xD1", u"\uD55C"},
        {"windows-1251", u"\u0416", "\xC6", u"\u0416"}, {"koi8-r", u"\u0416", "\xF6", u"\u0416"},
        {"windows-1255", u"\u05E9\u05D0", "\xF9\xE0", u"\u05E9\u05D0"},  // the last letter waits for the flush
        {"iso-8859-15", u"\u20AC", "\xA4", u"\u20AC"}, {"IBM037", u"Hi", "\xC8\x89", u"Hi"},
        {"EUC-JP", u"\u3042", "\xA4\xA2", u"\u3042"}, {"us-ascii", u"plain", "plain", u"plain"},
        // A character the page lacks becomes the page's own default character; a pair is one character.
        {"windows-1252", u"\u20AC\u0178\u0100\U0001F600\uFFFD.", "\x80\x9F???.", u"\u20AC\u0178???."},
        {"IBM037", u"A\u4E2D", "\xC1\x6F", u"A?"},  // EBCDIC's '?' is 0x6F
        {"windows-1251", u"\u4E2D\u00E9", "??", u"??"}, {"GBK", u"x\U0001F600y", "x?y", u"x?y"},
        {"GBK", u"a\xD800" u"b", "a?b", u"a?b"},
        // Bytes the page does not define decode to U+FFFD, and decoding goes on.
        {"windows-1252", u"", "\x80\x81\x8D\x8F\x90\x9D\x9F\xFF!", u"\u20AC\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\u0178\u00FF!", true},
        {"windows-1255", u"", "\xF9\xFF", u"\u05E9\uFFFD", true},  // the held-back letter comes first
        {"GBK", u"", "\xD6\xD0\x81", u"\u4E2D\uFFFD", true},        // a lone lead byte at the end
        {"gb2312", u"", "\x81 x\xD6\xD0", u"\uFFFD x\u4E2D", true},  // a lead byte before a byte that cannot trail it
        {"shift_jis", u"", "\x82\xA0\x82", u"\u3042\uFFFD", true},
    };
    std::string lacking;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.page);
        // Windows-1252 is the library's own table on every host; the other pages are the host's.
        if (row.undefinedBytes && veltrane_test::kWindowsHost && std::string(row.page) != "windows-1252")
            continue;
        if (veltrane_test::SystemLacksCodePage(COsEncodingTableProbe::Lookup(row.page))) {
            lacking += std::string(" ") + row.page;
            continue;
        }
        int status = 0;
        if (!row.text.empty()) {
            EXPECT_EQ(Convert<const char*>(&COsEncoding::UnicodeToAnsi, row.text.c_str(), row.page, status), row.bytes);
            EXPECT_EQ(status, static_cast<int>(std::strlen(row.bytes)) + 1);
        }
        EXPECT_EQ(Convert<const char*>(&COsEncoding::AnsiToUnicode, row.bytes, row.page, status), row.back);
        EXPECT_EQ(status, static_cast<int>(row.back.size()) + 1);
    }
    // A shifting page: the default character comes out in the state the text is in.
    if (veltrane_test::SystemLacksCodePage(COsEncodingTableProbe::Lookup("iso-2022-jp"))) {
        lacking += " iso-2022-jp";
    } else {
        int status = 0;
        const char* snowman = "a\xE4\xB8\xAD\xE2\x98\x83\xE4\xB8\xAD" "b";
        std::string jis = Convert<const char*>(&COsEncoding::UTF8ToAnsi, snowman, "iso-2022-jp", status);
        ASSERT_GT(status, 0);
        EXPECT_EQ(Convert<const char*>(&COsEncoding::AnsiToUTF8, jis.c_str(), "iso-2022-jp", status),
                  "a\xE4\xB8\xAD?\xE4\xB8\xAD" "b");
    }
    if (!lacking.empty())
        GTEST_SKIP() << "this system has no table for" << lacking << " (Wine lacks pages that Windows has)";
}

TEST(COsEncoding, CountedFormsStopAtCountOrTerminator)
{
    struct Row {
        size_t count;
        int status;
        const char* expected;
    } rows[] = {{2, 3, "ab"}, {3, 4, "abc"}, {5, 4, "abc"}, {0, 0, ""}};
    const wchar16 wide[] = {u'a', u'b', u'c', 0, u'd', 0};  // a NUL inside the count ends the text
    int status = -1;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.count);
        EXPECT_EQ((Convert<size_t, const char*>(&COsEncoding::AnsiToUTF8, "abc", row.count, "windows-1252", status)),
                  row.expected);
        EXPECT_EQ(status, row.status);
        EXPECT_EQ(Convert<size_t>(&COsEncoding::UnicodeToUTF8, wide, row.count, status), row.expected);
        EXPECT_EQ(status, row.status);
    }
    const char unterminated[3] = {'\xE9', 'x', 'y'};  // the count alone bounds what is read
    EXPECT_EQ((Convert<size_t, const char*>(&COsEncoding::AnsiToUTF8, unterminated, 2, nullptr, status)),
              "\xC3\xA9x");
    EXPECT_EQ(status, 4);
    const wchar16 pair[] = {0xD83D, 0xDE00, 0};  // a pair cut by the count is a lone surrogate
    EXPECT_EQ(Convert<size_t>(&COsEncoding::UTF16ToUTF8, pair, 1, status), "\xEF\xBF\xBD");
    EXPECT_EQ(status, 4);
    EXPECT_EQ(Convert<size_t>(&COsEncoding::UTF16ToUTF8, u"", 7, status), "");  // whatever the count
    EXPECT_EQ(status, 0);
}

TEST(COsEncoding, CountedFormsReadNoUnitBehindTheCountWhateverItsSize)
{
    // Three units, then a page that faults when read: the count alone must bound the reading.
    veltrane_test::GuardedBuffer guardedWide(3 * sizeof(wchar16));
    veltrane_test::GuardedBuffer guardedBytes(3);
    ASSERT_NE(guardedWide.Data(), nullptr);
    ASSERT_NE(guardedBytes.Data(), nullptr);
    auto* wide = static_cast<wchar16*>(guardedWide.Data());
    auto* bytes = static_cast<char*>(guardedBytes.Data());
    std::memcpy(wide, u"abc", 3 * sizeof(wchar16));
    std::memcpy(bytes, "abc", 3);
    int status = -1;
    for (size_t count : {size_t{2}, size_t{3}}) {
        SCOPED_TRACE(count);
        EXPECT_EQ(Convert<size_t>(&COsEncoding::UTF16ToUTF8, wide, count, status), std::string("abc", count));
        EXPECT_EQ(status, static_cast<int>(count) + 1);
        EXPECT_EQ((Convert<size_t, const char*>(&COsEncoding::AnsiToUTF8, bytes, count, "windows-1252", status)),
                  std::string("abc", count));
        EXPECT_EQ(status, static_cast<int>(count) + 1);
    }
    // A count past the terminator, up to the largest there is, stops at the terminator.
    EXPECT_EQ(Convert<size_t>(&COsEncoding::UnicodeToUTF8, u"abc", SIZE_MAX, status), "abc");
    EXPECT_EQ(status, 4);
    EXPECT_EQ((Convert<size_t, const char*>(&COsEncoding::AnsiToUTF8, "abc", SIZE_MAX, "gb2312", status)), "abc");
    EXPECT_EQ(status, 4);
}

TEST(COsEncoding, LengthLimitIsChecked)
{
    // 0x7FFFFFFF units pass the length test; one more is out of range, for whole and counted texts alike,
    // in bytes and in UTF-16 units. The texts are one block mapped again and again, not allocated.
    const size_t limit = 0x7FFFFFFF;
    const veltrane_test::RepeatedText longText(limit + 1, 'a');
    const veltrane_test::RepeatedText longWide(2 * (limit + 1), 'a');  // units of 0x6161
    ASSERT_FALSE(longText.Empty());
    ASSERT_FALSE(longWide.Empty());
    const char* text = longText.Data();
    const auto* units = reinterpret_cast<const wchar16*>(longWide.Data());
    char* narrow = kUntouched;
    wchar16* wide = kUntouchedWide;
    EXPECT_EQ(COsEncoding::UTF8ToUTF16(text, &wide), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(COsEncoding::AnsiToUnicode(text, nullptr, &wide), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(COsEncoding::UTF8ToAnsi(text, "GBK", &narrow), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(COsEncoding::AnsiToUTF8(text, "GBK", &narrow), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(COsEncoding::AnsiToUTF8(text, limit + 1, "GBK", &narrow), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(COsEncoding::UTF16ToUTF8(units, &narrow), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(COsEncoding::UnicodeToAnsi(units, "GBK", &narrow), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(COsEncoding::UTF16ToUTF8(units, limit + 1, &narrow), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(COsEncoding::UTF16ToUTF8(units, SIZE_MAX, &narrow), OS_ERR_OUT_OF_RANGE);
    // A null out-parameter is reported before the text is measured.
    EXPECT_EQ(COsEncoding::UTF8ToUTF16(text, nullptr), OS_ERR_NULL_ARGUMENT);

    // The text at the limit then fails in the measuring pass: its units and the terminator do not fit
    // the int result.
    EXPECT_EQ(COsEncoding::UTF8ToUTF16(text + 1, &wide), OS_ERR_ENCODING);
    EXPECT_EQ(COsEncoding::AnsiToUnicode(text + 1, nullptr, &wide), OS_ERR_ENCODING);
    EXPECT_EQ(narrow, kUntouched);
    EXPECT_EQ(wide, kUntouchedWide);
}
