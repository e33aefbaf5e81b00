// Fuzz target: the version resource parser over any bytes. The first byte picks what the rest is: a whole
// file; a version block, put into a well-formed image of either word size; or patches (two bytes of
// offset, one of value) to a well-formed image, which reach the headers and the tree far more often than
// random files do. Beyond not faulting, the answers must agree with one another.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "filesystem/PeVersion.h"
#include "tests/filesystem/PeImageBuilder.h"

namespace {

void Require(bool condition)
{
    if (!condition)
        __builtin_trap();
}

void CheckFile(const pe_test::Bytes& file)
{
    const peversion::MemorySource source(file.data(), file.size());
    const uint32_t size = peversion::GetVersionInfoSize(source);
    Require(size <= peversion::kMaxVersionBlockSize);
    std::u16string version;
    const bool found = peversion::ReadFileVersion(source, version);
    Require(!found || size > 0);
    if (size == 0)
        return;
    // One unit more than the block: the parser clears what the block does not cover.
    std::vector<unsigned char> block(size + 2, 0xAA);
    Require(peversion::GetVersionInfo(source, size + 2, block.data()));
    Require(block[size] == 0 && block[size + 1] == 0);
    block.resize(size);
    for (const char16_t* path : {u"", u"\\VarFileInfo\\Translation", u"\\StringFileInfo",
                                 u"\\\\StringFileInfo\\040904B0\\\\FileVersion\\"}) {
        const unsigned char* value = nullptr;
        uint32_t length = 0;
        if (peversion::QueryValue(block.data(), size, path, value, length))
            Require(value >= block.data() && value <= block.data() + size);
        std::u16string text;
        if (peversion::QueryText(block.data(), size, path, text))
            Require(text.find(u'\0') == std::u16string::npos && text.size() * 2 <= size);
    }
    Require(version.find(u'\0') == std::u16string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const pe_test::Bytes rest(data + 1, data + size);
    switch (data[0] % 3) {
    case 0:
        CheckFile(rest);
        break;
    case 1: {
        pe_test::PeOptions options;
        options.pe32Plus = (data[0] & 0x80) != 0;
        CheckFile(pe_test::VersionImage(rest, options).bytes);
        break;
    }
    default: {
        pe_test::PeImage image = pe_test::VersionImage(
            pe_test::StandardBlock({{u"040704B0", u"7.0"}, {u"040904B0", u"1.0"}}, {{0x409, 1200}, {0x407, 1200}}));
        for (size_t i = 0; i + 3 <= rest.size(); i += 3) {
            const size_t offset = (rest[i] | rest[i + 1] << 8) % image.bytes.size();
            image.bytes[offset] = rest[i + 2];
        }
        CheckFile(image.bytes);
        break;
    }
    }
    return 0;
}
