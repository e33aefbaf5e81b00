// The version resource of PE files: files made by mingw-w64's tools, and images written byte by byte
// with one fault each (damaged headers, trees that loop or point outside the file, truncations).
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "filesystem/PeVersion.h"
#include "tests/filesystem/PeImageBuilder.h"
#include "tests/filesystem/PeStreamSource.h"

using namespace pe_test;

namespace {

// Wraps a source, counting reads and bytes, and failing the read numbered `failAt` (from 0) if set.
class CountingSource final : public peversion::ByteSource {
public:
    explicit CountingSource(const peversion::ByteSource& inner, int failAt = -1) : m_inner(inner), m_failAt(failAt) {}
    uint64_t Size() const override { return m_inner.Size(); }
    bool ReadAt(uint64_t offset, void* buffer, size_t count) const override
    {
        if (m_reads++ == m_failAt)
            return false;
        m_bytes += count;
        return m_inner.ReadAt(offset, buffer, count);
    }
    int Reads() const { return m_reads; }
    uint64_t Bytes() const { return m_bytes; }

private:
    const peversion::ByteSource& m_inner;
    int m_failAt;
    mutable int m_reads = 0;
    mutable uint64_t m_bytes = 0;
};

// A file of `size` bytes that holds `head` at its start, `tail` at `tailOffset` and zeros elsewhere.
class SparseSource final : public peversion::ByteSource {
public:
    SparseSource(uint64_t size, Bytes head, uint64_t tailOffset, Bytes tail)
        : m_size(size), m_head(std::move(head)), m_tailOffset(tailOffset), m_tail(std::move(tail))
    {
    }
    uint64_t Size() const override { return m_size; }
    bool ReadAt(uint64_t offset, void* buffer, size_t count) const override
    {
        if (offset > m_size || count > m_size - offset)
            return false;
        unsigned char* out = static_cast<unsigned char*>(buffer);
        for (size_t i = 0; i < count; ++i) {
            const uint64_t at = offset + i;
            out[i] = at < m_head.size() ? m_head[at]
                     : at >= m_tailOffset && at - m_tailOffset < m_tail.size() ? m_tail[at - m_tailOffset]
                                                                               : 0;
        }
        return true;
    }

private:
    uint64_t m_size;
    Bytes m_head;
    uint64_t m_tailOffset;
    Bytes m_tail;
};

struct Outcome {
    bool found;
    std::u16string version;
};

Outcome ReadVersion(const peversion::ByteSource& source)
{
    Outcome outcome{false, u"(untouched)"};
    outcome.found = peversion::ReadFileVersion(source, outcome.version);
    return outcome;
}

Outcome ReadVersion(const Bytes& file)
{
    return ReadVersion(peversion::MemorySource(file.data(), file.size()));
}

// Four tables; the first translation names the last one, through a key in other letter case.
const std::vector<Table> kTables = {
    {u"040704B0", u"7.0 de"},
    {u"041103A4", u"2.5.0 cp932"},
    {u"040904B0", u"1.2.3.4 en"},
    {u"041104b0", u"2.5.0 \u7248\U0001F600"},
};
const std::vector<std::pair<uint16_t, uint16_t>> kTranslation = {{0x411, 1200}, {0x409, 1200}};

PeImage VersionImageOf(const Bytes& block, bool pe32Plus)
{
    PeOptions options;
    options.pe32Plus = pe32Plus;
    return VersionImage(block, options);
}

std::u16string ToU16(const char* text)
{
    return std::u16string(text, text + std::strlen(text));
}

}  // namespace

TEST(PeVersionMingw, FilesOfBothWordSizesGiveTheTableOfTheirFirstTranslation)
{
    const struct Row {
        const char* file;
        bool found;
        std::u16string version;
    } rows[] = {
        {"versioned64.exe", true, u"2.5.0 \u7248\U0001F600"},
        {"versioned32.exe", true, u"2.5.0 \u7248\U0001F600"},
        {"languages64.dll", true, u"3.0 en"},       // German, French and English: English is read
        {"noversion64.exe", false, u"(untouched)"},  // resources, but none of the version type
        {"notranslation32.dll", false, u"(untouched)"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.file);
        StreamSource file(std::string(VELTRANE_PE_SAMPLES) + "/" + row.file);
        ASSERT_TRUE(file.IsOpen());
        const Outcome outcome = ReadVersion(file);
        EXPECT_EQ(outcome.found, row.found);
        EXPECT_EQ(outcome.version, row.version);
    }
}

TEST(PeVersionMingw, BlockOfACompiledFileAnswersTheSystemsQueries)
{
    StreamSource file(std::string(VELTRANE_PE_SAMPLES) + "/versioned64.exe");
    const uint32_t size = peversion::GetVersionInfoSize(file);
    ASSERT_GT(size, 0u);
    // One byte more than the block: the rest of what the caller asks for is cleared.
    std::vector<unsigned char> block(size + 1, 0xAA);
    ASSERT_TRUE(peversion::GetVersionInfo(file, size + 1, block.data()));
    EXPECT_EQ(block[size], 0);
    EXPECT_EQ(block[0] | block[1] << 8, static_cast<int>(size));  // the root's length is the resource's

    uint16_t language = 0, codePage = 0;
    ASSERT_TRUE(peversion::QueryTranslation(block.data(), size, language, codePage));
    EXPECT_EQ(language, 0x411);
    EXPECT_EQ(codePage, 1200);

    const unsigned char* value = nullptr;
    uint32_t length = 0;
    ASSERT_TRUE(peversion::QueryValue(block.data(), size, u"\\", value, length));
    ASSERT_EQ(length, 52u);  // the fixed record, whose file version is 2.5.0.0
    EXPECT_EQ(value[0] | value[1] << 8 | value[2] << 16 | static_cast<uint32_t>(value[3]) << 24, 0xFEEF04BDu);
    EXPECT_EQ(value[10] | value[11] << 8, 2);
    EXPECT_EQ(value[8] | value[9] << 8, 5);
    ASSERT_TRUE(peversion::QueryValue(block.data(), size, u"\\VarFileInfo\\Translation", value, length));
    EXPECT_EQ(length, 8u);  // two pairs, in bytes

    std::u16string text;
    ASSERT_TRUE(peversion::QueryText(block.data(), size, u"\\StringFileInfo\\041104B0\\FileDescription", text));
    EXPECT_EQ(text, u"\u7248\u672c");
    ASSERT_TRUE(peversion::QueryValue(block.data(), size, u"\\StringFileInfo\\041104B0\\FileDescription", value,
                                      length));
    EXPECT_EQ(length, 3u);  // text values count units, the 0 unit included
    ASSERT_TRUE(peversion::QueryText(block.data(), size, u"\\StringFileInfo\\041103A4\\FileVersion", text));
    EXPECT_EQ(text, u"2.5.0 cp932");
}

TEST(PeVersionImage, BothFormsGiveTheTableTheFirstTranslationNames)
{
    const Bytes block = StandardBlock(kTables, kTranslation);
    for (bool pe32Plus : {false, true}) {
        SCOPED_TRACE(pe32Plus ? "PE32+" : "PE32");
        const PeImage image = VersionImageOf(block, pe32Plus);
        const peversion::MemorySource source(image.bytes.data(), image.bytes.size());
        EXPECT_EQ(peversion::GetVersionInfoSize(source), block.size());
        Bytes copy(block.size());
        ASSERT_TRUE(peversion::GetVersionInfo(source, static_cast<uint32_t>(copy.size()), copy.data()));
        EXPECT_EQ(copy, block);
        const Outcome outcome = ReadVersion(image.bytes);
        EXPECT_TRUE(outcome.found);
        EXPECT_EQ(outcome.version, u"2.5.0 \u7248\U0001F600");
    }
}

TEST(PeVersionImage, DamagedHeadersAndTreesGiveNoBlock)
{
    const Bytes block = StandardBlock(kTables, kTranslation);
    using Damage = std::function<void(PeImage&)>;
    const std::pair<const char*, Damage> rows[] = {
        {"no MZ", [](PeImage& i) { i.bytes[0] = 'Z'; }},
        {"new header past the end", [](PeImage& i) { Put32(i.bytes, 0x3C, static_cast<uint32_t>(i.bytes.size())); }},
        {"new header near 2^32", [](PeImage& i) { Put32(i.bytes, 0x3C, 0xFFFFFFF8u); }},
        {"no PE signature", [](PeImage& i) { i.bytes[i.ntOffset + 1] = 'X'; }},
        {"ROM optional header", [](PeImage& i) { Put16(i.bytes, i.optionalOffset, 0x107); }},
        {"two data directories", [](PeImage& i) { Put32(i.bytes, i.resourceSlot - 16 - 4, 2); }},
        {"resource directory at 0", [](PeImage& i) { Put32(i.bytes, i.resourceSlot, 0); }},
        {"resource directory of size 0", [](PeImage& i) { Put32(i.bytes, i.resourceSlot + 4, 0); }},
        {"resource directory in no section", [](PeImage& i) { Put32(i.bytes, i.resourceSlot, 0x9000); }},
        {"no sections", [](PeImage& i) { Put16(i.bytes, i.ntOffset + 6, 0); }},
        {"65535 sections", [](PeImage& i) { Put16(i.bytes, i.ntOffset + 6, 0xFFFF); }},
        {"section data past the end",
         [](PeImage& i) { Put32(i.bytes, i.sectionHeader + 20, uint32_t(i.bytes.size() - 0x10)); }},
        {"section data near 2^32", [](PeImage& i) { Put32(i.bytes, i.sectionHeader + 20, 0xFFFFFF00u); }},
        {"section without file data", [](PeImage& i) { Put32(i.bytes, i.sectionHeader + 16, 0); }},
        {"section address near 2^32", [](PeImage& i) { Put32(i.bytes, i.sectionHeader + 12, 0xFFFFFF00u); }},
        {"no type 16", [](PeImage& i) { Put32(i.bytes, i.typeEntry, 10); }},
        {"type 16 is a leaf", [](PeImage& i) { i.bytes[i.typeEntry + 7] = 0; }},
        {"type 16 named by a string", [](PeImage& i) { Put32(i.bytes, i.typeEntry, 0x80000010u); }},
        {"no name 1", [](PeImage& i) { Put32(i.bytes, i.nameEntry, 2); }},
        {"language level is a directory", [](PeImage& i) { i.bytes[i.languageEntry + 7] = 0x80; }},
        {"type level points back at the root",
         [](PeImage& i) { Put32(i.bytes, i.typeEntry + 4, 0x80000000u); }},
        {"name level points at itself",
         [](PeImage& i) { Put32(i.bytes, i.nameEntry + 4, 0x80000000u | uint32_t(i.nameDirectory - i.sectionRaw)); }},
        {"root claims 65535 named entries", [](PeImage& i) { Put16(i.bytes, i.sectionRaw + 12, 0xFFFF); }},
        // The type sought comes first, but the entries claimed do not fit in the section.
        {"root claims 4096 numbered entries", [](PeImage& i) { Put16(i.bytes, i.sectionRaw + 14, 0x1000); }},
        {"language directory claims 65535 entries",
         [](PeImage& i) { Put16(i.bytes, i.languageDirectory + 14, 0xFFFF); }},
        {"data entry past the section", [](PeImage& i) { Put32(i.bytes, i.languageEntry + 4, 0x7FFFFFF0u); }},
        {"data in no section", [](PeImage& i) { Put32(i.bytes, i.dataEntry, 0x50000); }},
        {"data of size 0", [](PeImage& i) { Put32(i.bytes, i.dataEntry + 4, 0); }},
        {"data of size 2^32 - 1", [](PeImage& i) { Put32(i.bytes, i.dataEntry + 4, 0xFFFFFFFFu); }},
        {"data one byte past its section",
         [](PeImage& i) {
             const uint32_t virtualSize = i.bytes[i.sectionHeader + 8] | i.bytes[i.sectionHeader + 9] << 8;
             Put32(i.bytes, i.dataEntry + 4, virtualSize - uint32_t(i.data - i.sectionRaw) + 1);
         }},
    };
    for (bool pe32Plus : {false, true}) {
        ASSERT_TRUE(ReadVersion(VersionImageOf(block, pe32Plus).bytes).found);
        for (const auto& [name, damage] : rows) {
            SCOPED_TRACE(std::string(name) + (pe32Plus ? " (PE32+)" : " (PE32)"));
            PeImage image = VersionImageOf(block, pe32Plus);
            damage(image);
            const peversion::MemorySource source(image.bytes.data(), image.bytes.size());
            EXPECT_EQ(peversion::GetVersionInfoSize(source), 0u);
            Bytes copy(block.size(), 0xAA);
            EXPECT_FALSE(peversion::GetVersionInfo(source, static_cast<uint32_t>(copy.size()), copy.data()));
            EXPECT_EQ(copy, Bytes(block.size(), 0xAA));
            EXPECT_EQ(ReadVersion(image.bytes).version, u"(untouched)");
        }
    }
}

TEST(PeVersionImage, EveryTruncationShortOfTheDataGivesFalse)
{
    const Bytes block = StandardBlock(kTables, kTranslation);
    for (bool pe32Plus : {false, true}) {
        SCOPED_TRACE(pe32Plus ? "PE32+" : "PE32");
        const PeImage image = VersionImageOf(block, pe32Plus);
        ASSERT_LT(image.dataEnd, image.bytes.size());  // the section's padding follows the data
        for (size_t length = 0; length <= image.bytes.size(); ++length) {
            // An exact-size copy, so that a read past the cut is caught by the address sanitizer too.
            const Bytes prefix(image.bytes.begin(), image.bytes.begin() + static_cast<std::ptrdiff_t>(length));
            const Outcome outcome = ReadVersion(prefix);
            ASSERT_EQ(outcome.found, length >= image.dataEnd) << "cut at " << length;
        }
    }
}

TEST(PeVersionImage, ALevelPointingBackIsRefusedEvenWhereItWouldLeadToData)
{
    // The root's first entry is made a leaf numbered 0 that leads to the version data; the name level
    // then points back at the root, whose entries a walk without the check would take for languages.
    const Bytes block = StandardBlock({{u"040904B0", u"1.0"}}, {{0x409, 1200}});
    PeImage image = BuildPe({{3, 1, 0x409, {1, 2, 3, 4}}, {16, 1, 0x409, block}});
    const size_t firstRootEntry = image.sectionRaw + 16;
    ASSERT_NE(firstRootEntry, image.typeEntry);
    Put32(image.bytes, firstRootEntry, 0);
    Put32(image.bytes, firstRootEntry + 4, uint32_t(image.dataEntry - image.sectionRaw));
    ASSERT_TRUE(ReadVersion(image.bytes).found);
    Put32(image.bytes, image.nameEntry + 4, 0x80000000u);
    EXPECT_FALSE(ReadVersion(image.bytes).found);
}

TEST(PeVersionImage, LanguageOfTheResourceIsNeutralThenUserDefaultThenUsEnglishThenTheFirst)
{
    const struct Row {
        std::vector<uint16_t> languages;
        uint16_t expected;
    } rows[] = {
        {{0x0407, 0x0409}, 0x0409},
        {{0x0407, 0x040C}, 0x0407},
        {{0x040C, 0x0411}, 0x040C},
        {{0x0000, 0x0409}, 0x0000},
        {{0x0400, 0x0407, 0x0409}, 0x0400},
        {{0x0000, 0x0400}, 0x0000},
        {{0x0809, 0x0C09}, 0x0809},  // British before Australian: only US English is preferred
    };
    for (const Row& row : rows) {
        std::vector<Resource> resources;
        for (uint16_t language : row.languages) {
            const std::u16string text = u"lang " + ToU16(std::to_string(language).c_str());
            resources.push_back({16, 1, language, StandardBlock({{u"040904B0", text}}, {{0x409, 1200}})});
        }
        const Outcome outcome = ReadVersion(BuildPe(resources).bytes);
        EXPECT_TRUE(outcome.found);
        EXPECT_EQ(outcome.version, u"lang " + ToU16(std::to_string(row.expected).c_str()));
    }
}

TEST(PeVersionImage, OnlyName1OfType16IsTheVersionResource)
{
    const Bytes one = StandardBlock({{u"040904B0", u"one"}}, {{0x409, 1200}});
    const Bytes two = StandardBlock({{u"040904B0", u"two"}}, {{0x409, 1200}});
    EXPECT_FALSE(ReadVersion(BuildPe({{16, 2, 0x409, two}}).bytes).found);
    EXPECT_FALSE(ReadVersion(BuildPe({{10, 1, 0x409, one}}).bytes).found);  // raw data that holds a block
    EXPECT_EQ(ReadVersion(BuildPe({{16, 2, 0x409, two}, {16, 1, 0x409, one}, {24, 1, 0, two}}).bytes).version,
              u"one");
}

TEST(PeVersionBlock, TheTextNeedsATranslationPairAndTheTableItNames)
{
    const auto image = [](const VersionNode& root) { return VersionImage(Serialize(root)).bytes; };
    const VersionNode strings = Block(u"StringFileInfo", {Block(u"040904B0", {Text(u"FileVersion", u"1.0")})});
    VersionNode shortPair = Translation({{0x409, 1200}});
    shortPair.value.resize(2);
    shortPair.declaredValueLength = 2;
    VersionNode longerThanItsNode = Translation({{0x409, 1200}});
    longerThanItsNode.declaredValueLength = 0x400;  // the pair is still read, within its node

    VersionNode oddRoot = Root(false, {strings, Block(u"VarFileInfo", {Translation({{0x409, 1200}})})});
    oddRoot.value = {1, 2, 3, 4, 5, 6};  // the children begin at the next multiple of 4 behind it
    oddRoot.declaredValueLength = 6;

    const struct Row {
        const char* name;
        Bytes file;
        bool found;
    } rows[] = {
        {"as compiled", image(Root(true, {strings, Block(u"VarFileInfo", {Translation({{0x409, 1200}})})})), true},
        {"with a root value of 6 bytes", image(oddRoot), true},
        {"without the fixed record",
         image(Root(false, {strings, Block(u"VarFileInfo", {Translation({{0x409, 1200}})})})), true},
        {"without VarFileInfo", image(Root(true, {strings})), false},
        {"with an empty translation", image(Root(true, {strings, Block(u"VarFileInfo", {Translation({})})})), false},
        {"with half a pair", image(Root(true, {strings, Block(u"VarFileInfo", {shortPair})})), false},
        {"with a length past its node", image(Root(true, {strings, Block(u"VarFileInfo", {longerThanItsNode})})),
         true},
        {"naming a missing table",
         image(Root(true, {strings, Block(u"VarFileInfo", {Translation({{0x407, 1200}, {0x409, 1200}})})})), false},
        {"naming a table without FileVersion",
         image(Root(true, {Block(u"StringFileInfo", {Block(u"040904B0", {Text(u"ProductVersion", u"1.0")})}),
                           Block(u"VarFileInfo", {Translation({{0x409, 1200}})})})),
         false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const Outcome outcome = ReadVersion(row.file);
        EXPECT_EQ(outcome.found, row.found);
        EXPECT_EQ(outcome.version, row.found ? u"1.0" : u"(untouched)");
    }
}

TEST(PeVersionBlock, KeysMatchWholeWithoutRegardToAsciiCaseBetweenAnyRunOfBackslashes)
{
    const Bytes block = StandardBlock(kTables, kTranslation);
    const struct Row {
        std::u16string path;
        bool found;
        std::u16string text;
    } rows[] = {
        {u"\\StringFileInfo\\040904B0\\FileVersion", true, u"1.2.3.4 en"},
        {u"\\STRINGFILEINFO\\040904b0\\fileversion", true, u"1.2.3.4 en"},
        {u"StringFileInfo\\040904B0\\FileVersion", true, u"1.2.3.4 en"},
        {u"\\\\StringFileInfo\\\\\\040904B0\\FileVersion\\\\", true, u"1.2.3.4 en"},
        {u"\\StringFileInfo\\041104B0\\FileVersion", true, u"2.5.0 \u7248\U0001F600"},
        {u"\\StringFileInfo\\040904B0\\CompanyName", true, u"Example"},
        {u"/StringFileInfo/040904B0/FileVersion", false, u""},
        {u"\\StringFileInfo\\040904B0\\FileVersio", false, u""},
        {u"\\StringFileInfo\\040904B0\\FileVersionX", false, u""},
        {u"\\StringFileInfo\\040904B0 \\FileVersion", false, u""},
        {u"\\StringFileInfo\\FileVersion", false, u""},  // one level is skipped
        {u"\\FileVersion", false, u""},
        {u"\\StringFileInfo\\040904B0\\FileVersion\\x", false, u""},
        {u"\\StringFile\u0130nfo\\040904B0\\FileVersion", false, u""},  // only ASCII letters fold
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.path.begin(), row.path.end()));
        std::u16string text = u"(untouched)";
        EXPECT_EQ(peversion::QueryText(block.data(), static_cast<uint32_t>(block.size()), row.path.c_str(), text),
                  row.found);
        EXPECT_EQ(text, row.found ? row.text : u"(untouched)");
    }
    const unsigned char* value = nullptr;
    uint32_t length = 0;
    ASSERT_TRUE(peversion::QueryValue(block.data(), static_cast<uint32_t>(block.size()), u"", value, length));
    EXPECT_EQ(length, 52u);
    EXPECT_EQ(value, block.data() + 40);  // behind the root's header, key and padding
}

TEST(PeVersionBlock, DamagedNodesAreCutAtTheirParentAndNothingBeyondTheBlockIsRead)
{
    // A text without its 0 unit whose declared length runs far past its node: the text ends with the node.
    VersionNode unterminated = Text(u"FileVersion", u"1.0!");
    unterminated.value.resize(8);  // no padding follows: the next node begins right behind
    unterminated.declaredValueLength = 0x7FFF;
    VersionNode zeroLength = Block(u"040704B0", {Text(u"FileVersion", u"de")});
    zeroLength.lengthOverride = 0;
    VersionNode overlong = Block(u"040904B0", {Text(u"FileVersion", u"1.0")});
    overlong.lengthOverride = 0xFFFF;
    VersionNode keyCut = Block(u"040904B0", {Text(u"FileVersion", u"1.0")});
    keyCut.lengthOverride = 6 + 4;  // ends inside its own key
    VersionNode shorterThanItsHeader = Block(u"040904B0", {Text(u"FileVersion", u"1.0")});
    shorterThanItsHeader.lengthOverride = 4;

    const auto query = [](const VersionNode& root) {
        const Bytes block = Serialize(root);
        // An exact-size copy on the heap: a read past it is caught by the address sanitizer.
        std::vector<unsigned char> exact(block.begin(), block.end());
        std::u16string text = u"(untouched)";
        peversion::QueryText(exact.data(), static_cast<uint32_t>(exact.size()),
                             u"\\StringFileInfo\\040904B0\\FileVersion", text);
        return text;
    };
    const auto strings = [](std::vector<VersionNode> tables) {
        return Root(true, {Block(u"StringFileInfo", std::move(tables))});
    };
    EXPECT_EQ(query(strings({Block(u"040904B0", {unterminated, Text(u"Other", u"xyz")})})), u"1.0!");
    EXPECT_EQ(query(strings({Block(u"040904B0", {unterminated})})), u"1.0!");
    // A node of length 0 would never let the walk move on: its list ends there.
    EXPECT_EQ(query(strings({zeroLength, Block(u"040904B0", {Text(u"FileVersion", u"1.0")})})), u"(untouched)");
    EXPECT_EQ(query(strings({overlong})), u"1.0");
    EXPECT_EQ(query(strings({keyCut})), u"(untouched)");
    EXPECT_EQ(query(strings({shorterThanItsHeader})), u"(untouched)");

    // The root may claim more than the caller's block holds; every shorter block gives a prefix or nothing.
    const Bytes block = StandardBlock({{u"040904B0", u"1.2.3.4 en"}}, {{0x409, 1200}});
    for (size_t size = 0; size <= block.size(); ++size) {
        std::vector<unsigned char> exact(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(size));
        std::u16string text;
        const bool found = peversion::QueryText(exact.data(), static_cast<uint32_t>(size),
                                                u"\\StringFileInfo\\040904B0\\FileVersion", text);
        if (found) {
            EXPECT_EQ(std::u16string(u"1.2.3.4 en").compare(0, text.size(), text), 0) << size;
        }
        if (size == block.size()) {
            EXPECT_EQ(text, u"1.2.3.4 en");
        }
    }
    std::u16string unused;
    EXPECT_FALSE(peversion::QueryText(nullptr, 100, u"\\", unused));

    // The last node claims 4 bytes, less than its own header, and its key has no 0 unit before the
    // block ends: it is no node, and its key is not read.
    const std::vector<unsigned char> tail = {22, 0, 0, 0, 1, 0, 'R', 0, 0, 0, 0, 0,
                                             4, 0, 0, 0, 1, 0, 'A', 0, 'B', 0};
    EXPECT_FALSE(peversion::QueryText(tail.data(), static_cast<uint32_t>(tail.size()), u"\\AB", unused));
}

TEST(PeVersionSource, AHugeFileIsReadOnlyAtItsHeadersTreeAndBlock)
{
    // A 4 GiB file whose resource section lies 3 GiB in: a few reads of a few hundred bytes each.
    const Bytes block = StandardBlock(kTables, kTranslation);
    PeImage image = VersionImage(block);
    const uint64_t farOffset = 3ull << 30;
    Put32(image.bytes, image.sectionHeader + 20, static_cast<uint32_t>(farOffset));
    const Bytes head(image.bytes.begin(), image.bytes.begin() + static_cast<std::ptrdiff_t>(image.sectionRaw));
    const Bytes section(image.bytes.begin() + static_cast<std::ptrdiff_t>(image.sectionRaw), image.bytes.end());
    const SparseSource sparse(4ull << 30, head, farOffset, section);
    const CountingSource counting(sparse);
    const Outcome outcome = ReadVersion(counting);
    EXPECT_TRUE(outcome.found);
    EXPECT_EQ(outcome.version, u"2.5.0 \u7248\U0001F600");
    EXPECT_LT(counting.Bytes(), 3 * block.size() + 1024);
}

TEST(PeVersionSource, AReadThatFailsAnywhereGivesFalse)
{
    const PeImage image = VersionImage(StandardBlock(kTables, kTranslation));
    const peversion::MemorySource memory(image.bytes.data(), image.bytes.size());
    const CountingSource whole(memory);
    ASSERT_TRUE(ReadVersion(whole).found);
    ASSERT_GT(whole.Reads(), 6);
    for (int failAt = 0; failAt < whole.Reads(); ++failAt) {
        const CountingSource failing(memory, failAt);
        EXPECT_EQ(ReadVersion(failing).version, u"(untouched)") << "read " << failAt << " failed";
    }
}
