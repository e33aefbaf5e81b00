// COsEncoding's code page names: every documented name, ASCII case folding, the Unicode pages and the ANSI page.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <Veltrane.h>

#include "platform/codepages.h"
#include "tests/encoding/TableProbe.h"
#include "tests/support/HostSystem.h"

namespace {

struct DocumentedName {
    std::string name;
    unsigned page;
    std::string charset;  // "not on this host", "folds to page 0 ...", or the host charset
};

// The rows of the page table in docs/codepages.md: "| page | `name`, `name` | charset |".
std::vector<DocumentedName> ReadDocumentedNames()
{
    std::vector<DocumentedName> names;
    std::ifstream document(VELTRANE_SOURCE_DIR "/docs/codepages.md");
    for (std::string line; std::getline(document, line);) {
        std::istringstream row(line);
        std::string bar, page, list, charset;
        row >> bar >> page;
        if (bar != "|" || page.empty() || !std::all_of(page.begin(), page.end(), ::isdigit))
            continue;  // not a row of the table, or its head
        std::getline(row, list, '|');  // what is left of the page cell
        std::getline(row, list, '|');
        std::getline(row, charset, '|');
        charset = charset.substr(1, charset.size() - 2);
        // Each name stands between backquotes.
        for (size_t open = list.find('`'); open != std::string::npos; open = list.find('`', open)) {
            size_t close = list.find('`', open + 1);
            unsigned number = static_cast<unsigned>(std::stoul(page));
            names.push_back({list.substr(open + 1, close - open - 1), number, charset});
            open = close + 1;
        }
    }
    return names;
}

}  // namespace

TEST(COsEncodingNames, EveryDocumentedNameFindsItsPageInAnyCaseAndConvertsAsDocumented)
{
    std::vector<DocumentedName> names = ReadDocumentedNames();
    ASSERT_EQ(names.size(), 141u);  // the whole name table
    const wchar16 text[] = {u'A', u'z', u'?', 0x00E9, 0x4E2D, 0};
    for (const DocumentedName& row : names) {
        SCOPED_TRACE(row.name);
        std::string upper = row.name, lower = row.name;  // the names are ASCII
        std::transform(row.name.begin(), row.name.end(), upper.begin(), ::toupper);
        std::transform(row.name.begin(), row.name.end(), lower.begin(), ::tolower);
        for (const std::string& name : {row.name, upper, lower})
            EXPECT_EQ(COsEncodingTableProbe::Lookup(name.c_str()), row.page) << name;
        bool folds = row.charset.rfind("folds", 0) == 0;
        EXPECT_EQ(COsEncodingTableProbe::LangId(row.name.c_str()), folds ? 0u : row.page);

        char* bytes = nullptr;
        int encoded = COsEncoding::UnicodeToAnsi(text, row.name.c_str(), &bytes);
        wchar16* wide = nullptr;
        int decoded = COsEncoding::AnsiToUnicode("Az", row.name.c_str(), &wide);
        // The document lists glibc's tables. Windows converts with its own pages, so there a page fails when
        // the system lacks it (1201 always; Wine lacks more); the library's own pages 0 and 1252 never do.
        bool unsupported = veltrane_test::kWindowsHost
                               ? !folds && row.page != 0 && row.page != 1252 &&
                                     veltrane_test::SystemLacksCodePage(row.page)
                               : row.charset == "not on this host";
        EXPECT_EQ(bytes == nullptr, unsupported);
        EXPECT_EQ(wide == nullptr, unsupported);
        // Five characters, each at least one byte, and the terminator; two units and the terminator.
        EXPECT_TRUE(unsupported ? encoded == OS_ERR_ENCODING : encoded >= 6) << encoded;
        EXPECT_TRUE(unsupported ? decoded == OS_ERR_ENCODING : decoded == 3) << decoded;
        delete[] bytes;
        delete[] wide;
    }
}

TEST(COsEncodingNames, WholeNameMatchesIgnoringAsciiCaseOnlyAndUnicodePagesFold)
{
    struct Row {
        const char* name;
        unsigned lookup;
        unsigned langId;
    } rows[] = {
        {"wInDoWs-1252", 1252, 1252}, {"gbk", 936, 936}, {"GB2312", 936, 936}, {"euc-jp", 20932, 20932},
        {"x-cp20936", 20936, 20936}, {"IBM037", 37, 37}, {"iso-8859-13", 28603, 28603}, {"CP_ACP", 0, 0},
        {"unicodeFFFE", 1201, 1201},  // not a Unicode page, so not folded
        {"UTF-16", 1200, 0}, {"Unicode", 12000, 0}, {"utf-32BE", 12001, 0}, {"utf-7", 65000, 0}, {"utf-8", 65001, 0},
        {"windows-1252 ", 65001, 0}, {"windows-125", 65001, 0}, {"windows1252", 65001, 0}, {"cp1252", 65001, 0},
        {"shift-jis", 65001, 0}, {"", 65001, 0}, {nullptr, 65001, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name ? row.name : "null");
        EXPECT_EQ(COsEncodingTableProbe::Lookup(row.name), row.lookup);
        EXPECT_EQ(COsEncodingTableProbe::LangId(row.name), row.langId);
    }
}

TEST(COsEncodingNames, TheDocumentedCharsetOfEveryPageIsTheOneTheHostLayerUses)
{
    if (veltrane_test::kWindowsHost)
        GTEST_SKIP() << "the document lists glibc's charsets; Windows converts every page with its own tables";
    for (const DocumentedName& row : ReadDocumentedNames()) {
        SCOPED_TRACE(row.name);
        const char* table = platform::LegacyPageTableName(row.page);
        if (row.charset == "not on this host") {
            EXPECT_EQ(table, nullptr);
        } else if (row.charset.rfind("folds", 0) != 0 && row.charset.find("library table") == std::string::npos) {
            EXPECT_EQ(table ? std::string(table) : "(none)", row.charset);
        }
    }
}
