// COsFile: streams, whole-file reads and writes under the range lock, names, attributes, sizes, and
// the decoding of a whole text file into UTF-8.
#include "filesystem/COsFile.h"

#include <climits>
#include <cstring>
#include <memory>
#include <new>

#include "core/WindowsTypes.h"
#include "encoding/COsEncoding.h"
#include "encoding/Utf32.h"
#include "encoding/Utf8Utf16.h"
#include "filesystem/COsDirectory.h"
#include "filesystem/FileLockRange.h"
#include "filesystem/HostNames.h"
#include "filesystem/PeVersion.h"
#include "platform/files.h"
#include "platform/memory.h"

namespace {

// Read by name and GetFileContent hold the whole file in memory, and its size must fit an int.
constexpr uint64_t kMaxWholeFile = 0x7FFFFFFF;

// The library's attribute byte and the system's attribute bits, bit for bit.
struct AttributeBit {
    unsigned char library;
    uint32_t system;
};
constexpr AttributeBit kAttributeBits[] = {
    {0x01, FILE_ATTRIBUTE_DIRECTORY},
    {0x02, FILE_ATTRIBUTE_HIDDEN},
    {0x04, FILE_ATTRIBUTE_READONLY},
    {0x08, FILE_ATTRIBUTE_SYSTEM},
};

// The first steps of a whole-file read: open and measure. Gives 0 with the file open and its size (0 for
// an empty file), or the status that ends the read. Reading starts at the beginning of the file, whatever
// the mode.
int OpenWholeFile(const std::string& name, const std::string& mode, platform::File& file, uint64_t& size)
{
    std::string path;
    if (filesystem::PrepareName(name, path) != 0 || !filesystem::IsConvertible(mode) || !file.Open(path, mode))
        return OS_ERR_OPEN;
    const int64_t measured = file.Size();
    if (measured < 0)
        return OS_ERR_READ;
    size = static_cast<uint64_t>(measured);
    return size > kMaxWholeFile ? OS_ERR_OUT_OF_RANGE : 0;
}

// Reads up to `size` bytes into a new buffer of size + `padding` bytes, with zeros behind the bytes read.
// Null when nothing could be read. A file that shrank since it was measured gives what it still has; one
// that grew gives its first `size` bytes.
std::unique_ptr<char[]> ReadWholeFile(platform::File& file, size_t size, size_t padding, size_t& got)
{
    std::unique_ptr<char[]> buffer(new char[size + padding]);
    platform::PrepareLargeWrite(buffer.get(), size + padding);
    bool failed = false;
    got = file.Read(buffer.get(), size, failed);
    if (got == 0)
        return nullptr;
    std::memset(buffer.get() + got, 0, size + padding - got);
    return buffer;
}

// The directory of an absolute name in normal form: the text before its last "/", or all of it when it
// has none. Only "/" counts, which in normal form is every separator but the two of a UNC head.
std::string DirectoryOf(const std::string& absolutePath)
{
    const size_t slash = absolutePath.rfind('/');
    return slash == std::string::npos ? absolutePath : absolutePath.substr(0, slash);
}

// Opens the target of a write by name with its directories made. They are made only when a first open
// fails, so a write into a directory that exists, nearly every write, costs no look at the directory; the
// outcome is the same as making them first, since an open that succeeded needed nothing made. A name
// without "/" (a drive head and a name) or one that cannot be converted goes the long way: its whole
// text counts as the directory, which must come first.
int OpenMakingDirectories(const std::string& path, const std::string& mode, platform::File& file)
{
    const bool convertible = filesystem::IsConvertible(path) && filesystem::IsConvertible(mode);
    if (convertible && path.find('/') != std::string::npos && file.Open(path, mode))
        return 0;
    if (!COsDirectory::CreateDirectoryA(DirectoryOf(path)))
        return OS_ERR_CREATE_DIRECTORY;
    if (!convertible)
        return OS_ERR_ENCODING;
    return file.Open(path, mode) ? 0 : OS_ERR_OPEN;
}

template <typename Unit>
void ReverseByteOrder(Unit* units, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        if constexpr (sizeof(Unit) == 2)
            units[i] = static_cast<Unit>(__builtin_bswap16(static_cast<uint16_t>(units[i])));
        else
            units[i] = static_cast<Unit>(__builtin_bswap32(static_cast<uint32_t>(units[i])));
    }
}

void DecodeUtf8(const char* text, size_t size, std::string& out)
{
    const void* terminator = std::memchr(text, '\0', size);
    out.assign(text, terminator ? static_cast<const char*>(terminator) - text : size);
}

// As the counted UTF-16 conversion of the library: up to the first 0 unit, and nothing when the result with
// its terminator would not fit an int.
void DecodeUtf16(char16_t* units, size_t count, bool swap, std::string& out)
{
    if (swap)
        ReverseByteOrder(units, count);
    const size_t length = encoding::Utf16LengthWithin(units, count);
    const size_t bytes = encoding::Utf16ToUtf8(units, length, nullptr, 0);
    if (bytes >= static_cast<size_t>(INT_MAX))
        return;
    out.resize(bytes);
    encoding::Utf16ToUtf8(units, length, &out[0], bytes);
}

void DecodeUtf32(char32_t* units, size_t count, bool swap, std::string& out)
{
    if (swap)
        ReverseByteOrder(units, count);
    const size_t length = encoding::Utf32LengthWithin(units, count);
    out.resize(encoding::Utf32ToUtf8(units, length, nullptr));
    encoding::Utf32ToUtf8(units, length, &out[0]);
}

void DecodeAnsi(const char* text, const char* codePage, std::string& out)
{
    char* converted = nullptr;
    if (COsEncoding::AnsiToUTF8(text, codePage, &converted) >= 0)
        out = converted;
    delete[] converted;
}

bool StartsWith(const unsigned char* bytes, size_t size, const char* mark, size_t markSize)
{
    return size >= markSize && std::memcmp(bytes, mark, markSize) == 0;
}

// The format that TextFormatAuto stands for: the first byte order mark that matches, else the code page.
ETextFormat DetectFormat(const unsigned char* bytes, size_t size)
{
    if (StartsWith(bytes, size, "\xFF\xFE\x00\x00", 4))
        return TextFormatUTF32LEBom;
    if (StartsWith(bytes, size, "\x00\x00\xFE\xFF", 4))
        return TextFormatUTF32BEBom;
    if (StartsWith(bytes, size, "\xEF\xBB\xBF", 3))
        return TextFormatUTF8Bom;
    if (StartsWith(bytes, size, "\xFF\xFE", 2))
        return TextFormatUTF16LEBom;
    if (StartsWith(bytes, size, "\xFE\xFF", 2))
        return TextFormatUTF16BEBom;
    return TextFormatAnsi;
}

// Decodes the `size` bytes of `data`, which has four zero bytes of room behind them, into `out`. A format
// with a mark skips the mark's length unseen; a text too short for its mark gives nothing.
void DecodeText(char* data, size_t size, ETextFormat format, const char* codePage, std::string& out)
{
    if (format == TextFormatAuto)
        format = DetectFormat(reinterpret_cast<const unsigned char*>(data), size);
    char16_t* units16 = reinterpret_cast<char16_t*>(data);
    char32_t* units32 = reinterpret_cast<char32_t*>(data);
    switch (format) {
    case TextFormatUTF8Bom:
        if (size >= 3)
            DecodeUtf8(data + 3, size - 3, out);
        break;
    case TextFormatUTF8:
        DecodeUtf8(data, size, out);
        break;
    case TextFormatUTF16LEBom:
    case TextFormatUTF16BEBom:
        if (size > 2)
            DecodeUtf16(units16 + 1, (size - 2) / 2, format == TextFormatUTF16BEBom, out);
        break;
    case TextFormatUTF16LE:
    case TextFormatUTF16BE:
        DecodeUtf16(units16, size / 2, format == TextFormatUTF16BE, out);
        break;
    case TextFormatUTF32LEBom:
    case TextFormatUTF32BEBom:
        if (size > 4)
            DecodeUtf32(units32 + 1, (size - 4) / 4, format == TextFormatUTF32BEBom, out);
        break;
    case TextFormatUTF32LE:
    case TextFormatUTF32BE:
        DecodeUtf32(units32, size / 4, format == TextFormatUTF32BE, out);
        break;
    default:  // TextFormatAnsi, and every value outside the enumeration
        DecodeAnsi(data, codePage, out);
        break;
    }
}

// The text of a record's character field: up to its terminator, or all of it when it has none.
std::string FieldText(const char* field, size_t size)
{
    const void* end = std::memchr(field, '\0', size);
    return std::string(field, end ? static_cast<size_t>(static_cast<const char*>(end) - field) : size);
}

// The version parser's view of a file: reads at offsets through one open file.
class FileSource final : public peversion::ByteSource
{
public:
    explicit FileSource(platform::File& file) : m_file(file), m_nSize(file.Size()) {}
    uint64_t Size() const override { return m_nSize < 0 ? 0 : static_cast<uint64_t>(m_nSize); }
    bool ReadAt(uint64_t offset, void* buffer, size_t count) const override
    {
        return m_file.ReadAt(offset, buffer, count);
    }

private:
    platform::File& m_file;
    int64_t m_nSize;
};

}  // namespace

FILE* COsFile::Open(const std::string& name, const std::string& mode)
{
    std::string path;
    if (filesystem::PrepareName(name, path) != 0 || !filesystem::IsConvertible(mode))
        return nullptr;
    return platform::OpenStream(path, mode);
}

void COsFile::Close(FILE* stream)
{
    if (stream != nullptr)
        std::fclose(stream);
}

int COsFile::Write(FILE* stream, const char* data, size_t count, size_t& written)
{
    if (stream == nullptr || (data == nullptr && count > 0)) {
        written = 0;
        return OS_ERR_NULL_ARGUMENT;
    }
    // No bytes are no request: the C library takes no null data, not even for none.
    written = count == 0 ? 0 : std::fwrite(data, 1, count, stream);
    if (std::ferror(stream))
        return OS_ERR_WRITE;
    std::fflush(stream);
    return 0;
}

int COsFile::Read(FILE* stream, size_t count, char** buffer, size_t& got)
{
    if (stream == nullptr || buffer == nullptr) {
        got = 0;
        return OS_ERR_NULL_ARGUMENT;
    }
    delete[] *buffer;
    *buffer = nullptr;
    if (count == SIZE_MAX)
        throw std::bad_alloc();  // count + 1 bytes cannot be had
    std::unique_ptr<char[]> data(new char[count + 1]);
    got = std::fread(data.get(), 1, count, stream);
    data[got] = '\0';
    if (std::feof(stream)) {
        // A read that reaches the end gives nothing, even the bytes it got on the way.
        std::fseek(stream, 0, SEEK_END);
        got = 0;
        return 0;
    }
    if (std::ferror(stream)) {
        got = 0;
        return OS_ERR_READ;
    }
    // Every byte the caller may look at is written: the count read, then the terminator. Past them the
    // buffer is never handed out, since a short read is an end of file or an error.
    *buffer = data.release();
    return 0;
}

int COsFile::Read(const std::string& name, const std::string& mode, char** buffer, size_t& got)
{
    got = 0;
    if (buffer == nullptr)
        return OS_ERR_NULL_ARGUMENT;
    platform::File file;
    uint64_t size = 0;
    const int status = OpenWholeFile(name, mode, file, size);
    if (status != 0 || size == 0)
        return status;
    delete[] *buffer;
    *buffer = nullptr;
    size_t read = 0;
    std::unique_ptr<char[]> data = ReadWholeFile(file, static_cast<size_t>(size), 1, read);
    if (!data)
        return OS_ERR_READ;
    *buffer = data.release();
    got = read;
    return 0;
}

int COsFile::Write(const std::string& name, const std::string& mode, const char* data, size_t count,
                   size_t& written)
{
    std::string path;
    if (COsDirectory::GetAbsolutePath(name, path) < 0)
        return OS_ERR_BAD_PATH;
    platform::File file;
    if (const int status = OpenMakingDirectories(path, mode, file); status != 0)
        return status;
    if (data == nullptr) {  // a truncating mode leaves an empty file; an appending one only makes sure it exists
        written = 0;
        return 0;
    }
    // The data goes to the file in one request under the lock. Closing the file, right behind, releases
    // the lock: an unlock of its own would cost one more call into the system for every write and change
    // nothing that another writer can see.
    file.LockRange(filesystem::kLockOffset, filesystem::kLockLength);
    bool failed = false;
    written = file.Write(data, count, failed);
    return failed ? OS_ERR_WRITE : 0;
}

bool COsFile::Delete(const std::string& name)
{
    std::string path;
    return filesystem::PrepareName(name, path) == 0 && platform::RemoveFile(path);
}

bool COsFile::Rename(const std::string& oldName, const std::string& newName)
{
    std::string oldPath;
    std::string newPath;
    return filesystem::PrepareName(oldName, oldPath) == 0 && filesystem::PrepareName(newName, newPath) == 0 &&
           platform::RenameWithoutReplacing(oldPath, newPath);
}

bool COsFile::Copy(const std::string& source, const std::string& target, bool overwrite)
{
    std::string sourcePath;
    std::string targetPath;
    return filesystem::PrepareName(source, sourcePath) == 0 && filesystem::PrepareName(target, targetPath) == 0 &&
           platform::CopyRegularFile(sourcePath, targetPath, !overwrite);
}

bool COsFile::Exists(const std::string& name)
{
    std::string path;
    uint32_t attributes = 0;
    return filesystem::PrepareName(name, path) == 0 && platform::ReadAttributes(path, attributes) &&
           (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool COsFile::GetAttributes(const std::string& name, unsigned char& attributes)
{
    std::string path;
    uint32_t system = 0;
    if (filesystem::PrepareName(name, path) != 0 || !platform::ReadAttributes(path, system))
        return false;
    unsigned char byte = 0;
    for (const AttributeBit& bit : kAttributeBits) {
        if (system & bit.system)
            byte |= bit.library;
    }
    attributes = byte;
    return true;
}

bool COsFile::SetAttributes(const std::string& name, unsigned char attributes)
{
    uint32_t system = 0;
    for (const AttributeBit& bit : kAttributeBits) {
        if (attributes & bit.library)
            system |= bit.system;
    }
    std::string path;
    return filesystem::PrepareName(name, path) == 0 && platform::WriteAttributes(path, system);
}

int COsFile::GetFileContent(const std::string& name, ETextFormat format, const char* codePage, std::string& out)
{
    out.clear();
    platform::File file;
    uint64_t size = 0;
    const int status = OpenWholeFile(name, "rb", file, size);
    if (status != 0 || size == 0)
        return status;
    // Four zero bytes behind the text: room for the terminating unit of any format, written in place.
    size_t read = 0;
    std::unique_ptr<char[]> data = ReadWholeFile(file, static_cast<size_t>(size), 4, read);
    if (!data)
        return OS_ERR_READ;
    DecodeText(data.get(), read, format, codePage, out);
    return 0;
}

bool COsFile::GetFileExtensionName(const std::string& name, std::string& out)
{
    if (!Exists(name))
        return false;
    std::string fileName;
    if (COsDirectory::GetFileName(name, fileName) < 0)
        return false;
    const size_t dot = fileName.rfind('.');
    out = dot == std::string::npos ? std::string() : fileName.substr(dot);
    return true;
}

int64_t COsFile::GetFileSize(const std::string& name)
{
    std::string path;
    if (const int status = filesystem::PrepareName(name, path); status != 0)
        return status;
    return platform::RegularFileSize(path);
}

bool COsFile::GetFileVersion(const _S_FileData& record, std::string& out)
{
    // The record's full path, not its bare name: the bare name would be taken from the library's
    // directory and name another file for every entry enumerated elsewhere.
    std::string name = FieldText(record.szFullPath, sizeof record.szFullPath);
    // A full path that fills its field may have been cut, and would name another file or none. The
    // directory and the name, each whole in its own field, say what it was.
    const std::string directory = FieldText(record.szDirectory, sizeof record.szDirectory);
    const std::string fileName = FieldText(record.szFileName, sizeof record.szFileName);
    if (name.size() + 1 >= sizeof record.szFullPath && directory.size() + 1 < sizeof record.szDirectory &&
        !fileName.empty()) {
        const bool separated = !directory.empty() && (directory.back() == '/' || directory.back() == '\\');
        const std::string joined = directory + (separated ? "" : "/") + fileName;
        if (joined.compare(0, name.size(), name) == 0)
            name = joined;
    }
    std::string path;
    platform::File file;
    if (filesystem::PrepareName(name, path) != 0 || !file.Open(path, "rb"))
        return false;
    std::u16string version;
    if (!peversion::ReadFileVersion(FileSource(file), version))
        return false;
    char* converted = nullptr;
    const bool done = COsEncoding::UnicodeToUTF8(version.c_str(), &converted) >= 0;
    if (done)
        out = converted;
    delete[] converted;
    return done;
}

bool COsFile::GetFileCreateTime(const _S_FileData& record, _STSystemTime& out)
{
    COsSystemTime::LocalTime(record.findData.ftCreationTime, out);
    return true;
}

bool COsFile::GetFileLastWriteTime(const _S_FileData& record, _STSystemTime& out)
{
    COsSystemTime::LocalTime(record.findData.ftLastWriteTime, out);
    return true;
}
