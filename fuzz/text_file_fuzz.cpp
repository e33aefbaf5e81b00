// Fuzz target: any bytes written to a file, opened under every format (and one out of range), and read to
// the end with every buffer size from -1 to 9: by lines alone, by characters alone, and mixed in an order
// the bytes choose. Beyond not faulting, reading must end, and the lines and characters alone must be what
// the plain model of tests/support/TextFileModel.h works out unit by unit.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include "core/Blocks.h"
#include "encoding/COsTextFile.h"
#include "tests/support/TextFileModel.h"

namespace {

void Require(bool condition, const char* what)
{
    if (!condition) {
        std::fprintf(stderr, "text file fuzz: %s\n", what);
        __builtin_trap();
    }
}

// The input's file in the current directory (run-fuzzers.sh gives each target a directory of its own and
// removes it), as an absolute name: a relative one would be taken from the library's directory.
const std::string& InputPath()
{
    static const std::string path = [] {
        char directory[4096];
        Require(getcwd(directory, sizeof directory) != nullptr, "current directory");
        std::string name = std::string(directory) + "/text-file-fuzz-" + std::to_string(getpid()) + ".txt";
        static std::string removed;
        removed = name;
        std::atexit([] { std::remove(removed.c_str()); });
        return name;
    }();
    return path;
}

struct OpenFile {
    OpenFile(int format, int bufferSize, bool mac) : file(COsTextFile::CreateInstance())
    {
        file->SetMacCRLF(mac);
        result = file->Open(InputPath().c_str(), "rb", static_cast<ETextFormat>(format), bufferSize);
    }
    ~OpenFile()
    {
        FreeBlock(block);
        COsTextFile::FreeInstance(&file);
    }
    COsTextFile* file;
    char* block = nullptr;
    int result;
};

// The result Open must give and, for 0, the format in force and where reading starts.
int ExpectedOpen(const std::string& bytes, int format, int& inForce, size_t& start)
{
    inForce = format;
    start = 0;
    if (format < 0 || format > TextFormatUTF32BE)
        return -2;
    if (format == TextFormatAuto) {
        inForce = veltrane_test::DetectedFormat(bytes, start);
        return inForce == -2 ? -2 : 0;
    }
    const std::string mark = veltrane_test::ShapeOf(static_cast<ETextFormat>(format)).mark;
    start = mark.size();
    return bytes.compare(0, mark.size(), mark) == 0 ? 0 : -2;
}

void CheckLines(const std::string& bytes, int format, int bufferSize, bool mac)
{
    OpenFile open(format, bufferSize, mac);
    int inForce;
    size_t start;
    Require(open.result == ExpectedOpen(bytes, format, inForce, start), "Open's result");
    if (open.result != 0) {
        Require(open.file->ReadLine(nullptr, &open.block) == -1 && open.file->ReadChar() == -1, "no reader");
        return;
    }
    Require(open.file->GetFormat() == inForce, "the format found");
    std::vector<std::pair<int, std::string>> expected;
    if (inForce != TextFormatAuto)
        expected = veltrane_test::ExpectedLines(bytes, start, static_cast<ETextFormat>(inForce), bufferSize, mac);
    for (const auto& [result, text] : expected) {
        bool flag = true;
        Require(open.file->ReadLine(&flag, &open.block) == result && !flag, "a line's result");
        Require(GetBlockLength(open.block) == static_cast<int>(text.size() + 1), "a line's length");
        Require(text.compare(0, text.size(), open.block, text.size()) == 0 && open.block[text.size()] == 0,
                "a line's text");
    }
    Require(open.file->ReadLine(nullptr, &open.block) == -1, "the end after the last line");
    Require(open.file->ReadLine(nullptr, &open.block) == -1 && open.file->ReadChar() == -1, "the end stays");
}

void CheckChars(const std::string& bytes, int format, int bufferSize)
{
    OpenFile open(format, bufferSize, false);
    int inForce;
    size_t start;
    if (open.result != 0 || open.file->GetFormat() == TextFormatAuto) {
        Require(open.file->ReadChar() == -1, "nothing to read");
        return;
    }
    ExpectedOpen(bytes, format, inForce, start);
    for (int value : veltrane_test::ExpectedChars(bytes, start, static_cast<ETextFormat>(inForce), bufferSize))
        Require(open.file->ReadChar() == value, "a character");
    Require(open.file->ReadChar() == -1, "the end after the last character");
}

// Lines and characters drawn in turn from one buffer, in an order that the input's bytes choose. Each call
// takes a unit at least or reports the end, so the file's size bounds the calls.
void CheckMixed(const std::string& bytes, int format, int bufferSize, bool mac)
{
    OpenFile open(format, bufferSize, mac);
    if (open.result != 0)
        return;
    bool lineEnded = false, charEnded = false;
    for (size_t call = 0; !(lineEnded && charEnded); ++call) {
        Require(call <= bytes.size() + 2, "reading ends");
        // Once one kind of call has reported the end, the other must report it too.
        const bool byLine = charEnded || (!lineEnded && !bytes.empty() &&
                                          (static_cast<unsigned char>(bytes[call % bytes.size()]) >> (call % 8) & 1));
        if (byLine) {
            const int result = open.file->ReadLine(nullptr, &open.block);
            Require(result >= -1, "a line's result is -1 or more");
            Require(result <= 0 || GetBlockLength(open.block) == result, "a converted line's length");
            lineEnded = result == -1;
            charEnded = charEnded && lineEnded;
        } else {
            const int value = open.file->ReadChar();
            Require(value >= -1, "a character is -1 or more");
            charEnded = value == -1;
            lineEnded = lineEnded && charEnded;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    std::FILE* out = std::fopen(InputPath().c_str(), "wb");
    Require(out != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size(), "writing the input");
    std::fclose(out);
    uint32_t hash = 2166136261u;
    for (unsigned char byte : bytes)
        hash = (hash ^ byte) * 16777619u;
    for (int format = TextFormatAuto; format <= TextFormatUTF32BE + 1; ++format) {
        for (int bufferSize = -1; bufferSize <= 9; ++bufferSize) {
            const bool mac = (hash >> (format + bufferSize + 1) & 1) != 0;
            CheckLines(bytes, format, bufferSize, mac);
            CheckChars(bytes, format, bufferSize);
            CheckMixed(bytes, format, bufferSize, !mac);
        }
    }
    return 0;
}
