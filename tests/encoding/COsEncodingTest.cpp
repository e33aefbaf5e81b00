// COsEncoding: results and buffers of the conversions, replacement rules, legacy pages, counted forms, limits.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include <Veltrane.h>

namespace {

// Owns a result buffer of the library.
template <typename Unit>
struct Result {
    Unit* buffer = nullptr;
    ~Result() { delete[] buffer; }
};

std::u16string Wide(const char* utf8, int* status = nullptr)
{
    Result<wchar16> out;
    int result = COsEncoding::UTF8ToUTF16(utf8, &out.buffer);
    if (status)
        *status = result;
    return out.buffer ? std::u16string(out.buffer) : std::u16string();
}

std::string Narrow(const std::u16string& text, int* status = nullptr)
{
    Result<char> out;
    int result = COsEncoding::UTF16ToUTF8(text.c_str(), &out.buffer);
    if (status)
        *status = result;
    return out.buffer ? std::string(out.buffer) : std::string();
}

std::string ToPage(const char* utf8, const char* page, int* status)
{
    Result<char> out;
    *status = COsEncoding::UTF8ToAnsi(utf8, page, &out.buffer);
    return out.buffer ? std::string(out.buffer) : std::string();
}

std::string FromPage(const std::string& bytes, const char* page, int* status)
{
    Result<char> out;
    *status = COsEncoding::AnsiToUTF8(bytes.c_str(), page, &out.buffer);
    return out.buffer ? std::string(out.buffer) : std::string();
}

std::u16string PageToWide(const std::string& bytes, const char* page, int* status)
{
    Result<wchar16> out;
    *status = COsEncoding::AnsiToUnicode(bytes.c_str(), page, &out.buffer);
    return out.buffer ? std::u16string(out.buffer) : std::u16string();
}

std::string WideToPage(const std::u16string& text, const char* page, int* status)
{
    Result<char> out;
    *status = COsEncoding::UnicodeToAnsi(text.c_str(), page, &out.buffer);
    return out.buffer ? std::string(out.buffer) : std::string();
}

char* const kUntouched = reinterpret_cast<char*>(0x1);

}  // namespace

TEST(COsEncoding, ResultCountsUnitsWithTerminator)
{
    Result<wchar16> wide;
    ASSERT_EQ(COsEncoding::UTF8ToUTF16("abc", &wide.buffer), 4);
    EXPECT_EQ(std::u16string(wide.buffer, 4), std::u16string(u"abc\0", 4));

    Result<char> narrow;
    const wchar16 middle[] = {0x4E2D, 0};
    ASSERT_EQ(COsEncoding::UTF16ToUTF8(middle, &narrow.buffer), 4);
    EXPECT_EQ(std::string(narrow.buffer, 4), std::string("\xE4\xB8\xAD\0", 4));

    Result<char> pair;
    const wchar16 grinning[] = {0xD83D, 0xDE00, 0};
    ASSERT_EQ(COsEncoding::UnicodeToUTF8(grinning, &pair.buffer), 5);
    EXPECT_STREQ(pair.buffer, "\xF0\x9F\x98\x80");

    Result<wchar16> back;
    ASSERT_EQ(COsEncoding::UTF8ToUnicode("\xF0\x9F\x98\x80z", &back.buffer), 4);
    EXPECT_EQ(std::u16string(back.buffer), std::u16string(u"\U0001F600z"));
}

TEST(COsEncoding, EmptyTextGivesTerminatorOnlyAndZero)
{
    Result<wchar16> wide;
    ASSERT_EQ(COsEncoding::UTF8ToUTF16("", &wide.buffer), 0);
    ASSERT_NE(wide.buffer, nullptr);
    EXPECT_EQ(wide.buffer[0], 0);

    // The name is not looked up for an empty text, so even a page that cannot convert succeeds.
    Result<char> narrow;
    ASSERT_EQ(COsEncoding::UnicodeToAnsi(u"", "unicodeFFFE", &narrow.buffer), 0);
    EXPECT_EQ(narrow.buffer[0], '\0');
    Result<wchar16> decoded;
    ASSERT_EQ(COsEncoding::AnsiToUnicode("", "x-mac-arabic", &decoded.buffer), 0);
    EXPECT_EQ(decoded.buffer[0], 0);
    Result<char> twoLeg;
    ASSERT_EQ(COsEncoding::UTF8ToAnsi("", "unicodeFFFE", &twoLeg.buffer), 0);
    EXPECT_EQ(twoLeg.buffer[0], '\0');
}

TEST(COsEncoding, InvalidUtf8GivesOneReplacementPerMaximalSubpart)
{
    struct Row {
        const char* input;
        std::u16string expected;
    } rows[] = {
        {"a\x80z", u"a\uFFFDz"},                                   // stray continuation byte
        {"\xC0\xAF", u"\uFFFD\uFFFD"},                             // overlong two-byte form
        {"\xC1\xBF", u"\uFFFD\uFFFD"},
        {"\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD"},                   // overlong three-byte form
        {"\xF0\x80\x80\xAF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},         // overlong four-byte form
        {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},                   // a surrogate written in UTF-8
        {"\xED\xBF\xBFx", u"\uFFFD\uFFFD\uFFFDx"},
        {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},         // past U+10FFFF
        {"\xF5\xF8\xFE\xFF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},         // bytes that never occur
        {"\xE4\xB8", u"\uFFFD"},                                   // cut off by the end
        {"\xE4\xB8z", u"\uFFFDz"},                                 // cut off by an ASCII byte
        {"\xF0\x9F\x98", u"\uFFFD"},
        {"\xF0\x9F\x98\xE4\xB8\xAD", u"\uFFFD\u4E2D"},             // the breaking byte starts a new character
        {"\xED\x9F\xBF", u"\uD7FF"},                               // edges that are valid
        {"\xEE\x80\x80", u"\uE000"},
        {"\xF4\x8F\xBF\xBF", u"\U0010FFFF"},
        {"\xC2\x80", u"\u0080"},
    };
    for (const Row& row : rows) {
        int status = 0;
        std::u16string wide = Wide(row.input, &status);
        EXPECT_EQ(wide, row.expected) << row.input;
        EXPECT_EQ(status, static_cast<int>(row.expected.size()) + 1) << row.input;
    }
}

TEST(COsEncoding, InvalidUtf8AfterLongAsciiRunIsStillReplaced)
{
    // Long enough that the ASCII run is taken in blocks, with the bad byte at every position of a block.
    for (size_t at = 0; at < 40; ++at) {
        std::string text(40, 'q');
        text[at] = '\xFF';
        std::u16string expected(40, u'q');
        expected[at] = 0xFFFD;
        EXPECT_EQ(Wide(text.c_str()), expected) << at;
    }
}

TEST(COsEncoding, LoneSurrogateBecomesReplacementInUtf8)
{
    struct Row {
        std::u16string input;
        const char* expected;
    } rows[] = {
        {std::u16string(1, char16_t(0xD800)), "\xEF\xBF\xBD"},
        {std::u16string({char16_t(0xDC00), u'a'}), "\xEF\xBF\xBD" "a"},
        {std::u16string({char16_t(0xD800), char16_t(0xD800), char16_t(0xDC00)}), "\xEF\xBF\xBD\xF0\x90\x80\x80"},
        {std::u16string({char16_t(0xDBFF), u'x', char16_t(0xDFFF)}), "\xEF\xBF\xBDx\xEF\xBF\xBD"},
        {u"\u00E9\u07FF\u0800\uFFFF", "\xC3\xA9\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"},
    };
    for (const Row& row : rows) {
        int status = 0;
        EXPECT_EQ(Narrow(row.input, &status), row.expected);
        EXPECT_EQ(status, static_cast<int>(std::strlen(row.expected)) + 1);
    }
}

TEST(COsEncoding, NullArgumentsFailWithoutTouchingTheOutParameter)
{
    char* narrow = kUntouched;
    wchar16* wide = reinterpret_cast<wchar16*>(kUntouched);
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
    EXPECT_EQ(wide, reinterpret_cast<wchar16*>(kUntouched));
}

TEST(COsEncoding, UnicodeNamesUnknownAndNullNamesConvertThroughAnsiPage)
{
    // The ANSI page is Windows-1252: 'é' is one byte 0xE9, so none of these is a copy of the UTF-8 text.
    const char* names[] = {"utf-8", "UTF-16", "Unicode", "utf-32", "utf-32BE", "utf-7", "CP_ACP", "no-such-page", "",
                           nullptr, "windows-1252"};
    for (const char* name : names) {
        int status = 0;
        EXPECT_EQ(ToPage("caf\xC3\xA9 \xE2\x82\xAC", name, &status), "caf\xE9 \x80") << (name ? name : "null");
        EXPECT_EQ(status, 7);
        EXPECT_EQ(FromPage("\x80\xE9", name, &status), "\xE2\x82\xAC\xC3\xA9") << (name ? name : "null");
    }
}

TEST(COsEncoding, PagesWithoutTableFailAndLeaveOutParameter)
{
    const char* names[] = {"unicodeFFFE", "x-mac-arabic", "DOS-720", "x-iscii-de", "hz-gb-2312", "x-Europa"};
    for (const char* name : names) {
        char* narrow = kUntouched;
        wchar16* wide = reinterpret_cast<wchar16*>(kUntouched);
        EXPECT_EQ(COsEncoding::UnicodeToAnsi(u"abc", name, &narrow), OS_ERR_ENCODING) << name;
        EXPECT_EQ(COsEncoding::AnsiToUnicode("abc", name, &wide), OS_ERR_ENCODING) << name;
        EXPECT_EQ(COsEncoding::AnsiToUTF8("abc", name, &narrow), OS_ERR_ENCODING) << name;
        EXPECT_EQ(COsEncoding::UTF8ToAnsi("abc", name, &narrow), OS_ERR_ENCODING) << name;
        EXPECT_EQ(COsEncoding::AnsiToUTF8("abc", 2, name, &narrow), OS_ERR_ENCODING) << name;
        EXPECT_EQ(narrow, kUntouched);
        EXPECT_EQ(wide, reinterpret_cast<wchar16*>(kUntouched));
    }
}

TEST(COsEncoding, Windows1252UndefinedBytesDecodeToReplacementAndGoOn)
{
    int status = 0;
    EXPECT_EQ(PageToWide("\x80\x81\x8D\x8F\x90\x9D\x9F\xFF!", "windows-1252", &status),
              u"\u20AC\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\u0178\u00FF!");
    EXPECT_EQ(status, 10);
    EXPECT_EQ(WideToPage(u"\u20AC\u0178\u0100\U0001F600\uFFFD.", "windows-1252", &status), "\x80\x9F???.");
    EXPECT_EQ(status, 7);
}

TEST(COsEncoding, Windows1255LastCharacterIsNotLost)
{
    // The table holds a letter back in case a point follows; only the closing flush lets it out.
    int status = 0;
    EXPECT_EQ(PageToWide("\xF9", "windows-1255", &status), u"\u05E9");
    EXPECT_EQ(status, 2);
    EXPECT_EQ(PageToWide("\xE0\xE1\xF9", "windows-1255", &status), u"\u05D0\u05D1\u05E9");
    EXPECT_EQ(FromPage("\xF9\xFF", "windows-1255", &status), "\xD7\xA9\xEF\xBF\xBD");
    EXPECT_EQ(WideToPage(u"\u05E9\u05D0", "windows-1255", &status), "\xF9\xE0");
}

TEST(COsEncoding, LoneDoubleByteLeadDecodesToReplacementAndGoesOn)
{
    int status = 0;
    EXPECT_EQ(PageToWide("\x81", "GBK", &status), u"\uFFFD");
    EXPECT_EQ(status, 2);
    EXPECT_EQ(PageToWide("\xD6\xD0\x81", "GBK", &status), u"\u4E2D\uFFFD");
    EXPECT_EQ(PageToWide("\x81 x\xD6\xD0", "gb2312", &status), u"\uFFFD x\u4E2D");
    EXPECT_EQ(PageToWide("\x82\xA0\x82", "shift_jis", &status), u"\u3042\uFFFD");
}

TEST(COsEncoding, MissingCharacterBecomesThePagesOwnDefault)
{
    int status = 0;
    EXPECT_EQ(WideToPage(u"A\u4E2D", "IBM037", &status), "\xC1\x6F");  // EBCDIC's '?' is 0x6F
    EXPECT_EQ(status, 3);
    EXPECT_EQ(PageToWide("\xC1\x6F", "ibm037", &status), u"A?");
    EXPECT_EQ(WideToPage(u"\u4E2D\u00E9", "windows-1251", &status), "??");
    EXPECT_EQ(WideToPage(u"x\U0001F600y", "GBK", &status), "x?y");
    EXPECT_EQ(WideToPage(std::u16string({u'a', char16_t(0xD800), u'b'}), "GBK", &status), "a?b");
    // A shifting page: the default character comes out in the state the text is in.
    std::string jis = ToPage("a\xE4\xB8\xAD\xE2\x98\x83\xE4\xB8\xAD" "b", "iso-2022-jp", &status);
    ASSERT_GT(status, 0);
    EXPECT_EQ(FromPage(jis, "iso-2022-jp", &status), "a\xE4\xB8\xAD?\xE4\xB8\xAD" "b");
}

TEST(COsEncoding, RoundTripsThroughLegacyPages)
{
    struct Row {
        const char* page;
        const char* utf8;
        const char* bytes;
    } rows[] = {
        {"GBK", "\xE4\xB8\xAD\xE6\x96\x87 abc", "\xD6\xD0\xCE\xC4 abc"},
        {"GB18030", "\xE4\xB8\xAD\xF0\x9F\x98\x80", "\xD6\xD0\x94\x39\xFC\x36"},
        {"shift_jis", "\xE3\x81\x82\\", "\x82\xA0\\"},  // 0x5C stays a backslash on this page
        {"big5", "\xE4\xB8\xAD", "\xA4\xA4"},
        {"ks_c_5601-1987", "\xED\x95\x9C", "\xC7\xD1"},
        {"windows-1251", "\xD0\x96", "\xC6"},
        {"koi8-r", "\xD0\x96", "\xF6"},
        {"iso-8859-15", "\xE2\x82\xAC", "\xA4"},
        {"IBM037", "Hi", "\xC8\x89"},
        {"EUC-JP", "\xE3\x81\x82", "\xA4\xA2"},
        {"us-ascii", "plain", "plain"},
    };
    for (const Row& row : rows) {
        int status = 0;
        std::string bytes = ToPage(row.utf8, row.page, &status);
        EXPECT_EQ(bytes, row.bytes) << row.page;
        EXPECT_EQ(status, static_cast<int>(std::strlen(row.bytes)) + 1) << row.page;
        EXPECT_EQ(FromPage(bytes, row.page, &status), row.utf8) << row.page;
        EXPECT_EQ(status, static_cast<int>(std::strlen(row.utf8)) + 1) << row.page;
    }
}

TEST(COsEncoding, CountedAnsiToUtf8StopsAtCountOrTerminator)
{
    struct Row {
        size_t count;
        int status;
        const char* expected;
    } rows[] = {{2, 3, "ab"}, {3, 4, "abc"}, {100, 4, "abc"}, {0, 0, ""}};
    for (const Row& row : rows) {
        Result<char> out;
        EXPECT_EQ(COsEncoding::AnsiToUTF8("abc", row.count, "windows-1252", &out.buffer), row.status) << row.count;
        ASSERT_NE(out.buffer, nullptr);
        EXPECT_STREQ(out.buffer, row.expected);
    }
    // Bytes without a terminator: the count alone bounds what is read.
    const char unterminated[3] = {'\xE9', 'x', 'y'};
    Result<char> out;
    EXPECT_EQ(COsEncoding::AnsiToUTF8(unterminated, 2, nullptr, &out.buffer), 4);
    EXPECT_STREQ(out.buffer, "\xC3\xA9x");
}

TEST(COsEncoding, CountedUtf16ToUtf8TakesCountUnitsAndEndsAtNul)
{
    struct Row {
        size_t count;
        int status;
        const char* expected;
    } rows[] = {{2, 3, "ab"}, {0, 0, ""}, {3, 4, "abc"}, {5, 4, "abc"}};
    const wchar16 text[] = {u'a', u'b', u'c', 0, u'd', 0};  // a NUL inside the count ends the text
    for (const Row& row : rows) {
        Result<char> out;
        EXPECT_EQ(COsEncoding::UnicodeToUTF8(text, row.count, &out.buffer), row.status) << row.count;
        ASSERT_NE(out.buffer, nullptr);
        EXPECT_STREQ(out.buffer, row.expected);
    }
    // A pair cut by the count is a lone surrogate.
    const wchar16 pair[] = {0xD83D, 0xDE00, 0};
    Result<char> cut;
    EXPECT_EQ(COsEncoding::UTF16ToUTF8(pair, 1, &cut.buffer), 4);
    EXPECT_STREQ(cut.buffer, "\xEF\xBF\xBD");
    // An empty text gives the empty result whatever the count.
    Result<char> empty;
    EXPECT_EQ(COsEncoding::UTF16ToUTF8(u"", 7, &empty.buffer), 0);
    EXPECT_STREQ(empty.buffer, "");
}

TEST(COsEncoding, LengthLimitIsChecked)
{
    // 0x7FFFFFFF bytes pass the length test; one more is out of range. The text at the limit then fails
    // in the measuring pass, because its units and the terminator do not fit the int result.
    const size_t limit = 0x7FFFFFFF;
    std::string text(limit + 1, 'a');
    char* narrow = kUntouched;
    wchar16* wide = reinterpret_cast<wchar16*>(kUntouched);
    EXPECT_EQ(COsEncoding::UTF8ToUTF16(text.c_str(), &wide), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(COsEncoding::AnsiToUnicode(text.c_str(), nullptr, &wide), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(COsEncoding::UTF8ToAnsi(text.c_str(), "GBK", &narrow), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(COsEncoding::AnsiToUTF8(text.c_str(), "GBK", &narrow), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(COsEncoding::AnsiToUTF8(text.c_str(), limit + 1, "GBK", &narrow), OS_ERR_OUT_OF_RANGE);
    // A null out-parameter is reported before the text is measured.
    EXPECT_EQ(COsEncoding::UTF8ToUTF16(text.c_str(), nullptr), OS_ERR_NULL_ARGUMENT);

    text.resize(limit);
    EXPECT_EQ(COsEncoding::UTF8ToUTF16(text.c_str(), &wide), OS_ERR_ENCODING);
    EXPECT_EQ(COsEncoding::AnsiToUnicode(text.c_str(), nullptr, &wide), OS_ERR_ENCODING);
    EXPECT_EQ(narrow, kUntouched);
    EXPECT_EQ(wide, reinterpret_cast<wchar16*>(kUntouched));
}
