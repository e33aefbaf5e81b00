// COsFile: whole-file and stream access under UTF-8 names, and reading a text file of any encoding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "../core/Types.h"
#include "../encoding/ETextFormat.h"
#include "COsDirectory.h"
#include "../time/COsSystemTime.h"

// A relative name is taken from the library's directory. Names that are not well-formed UTF-8, or that
// hold a NUL byte, cannot be converted: the operations refuse them as they refuse any name the system
// cannot take. Streams are the caller's: Open hands one out and Close ends it.
class VELTRANE_API COsFile
{
public:
    // The file opened with a C stream mode ("rb", "a+", "w+" ...), or null. Never makes a directory.
    // Only a regular file opens: a directory, a pipe or a device gives null without waiting.
    static FILE* Open(const std::string& name, const std::string& mode);
    // Closes a stream from Open; null is ignored.
    static void Close(FILE* stream);

    // Reads up to `count` bytes into a new buffer (count + 1 bytes, zero-terminated; the caller releases it
    // with delete[]; a buffer passed in is released first). A read that reaches the end of the file gives
    // nothing: buffer null, got 0, result 0, the stream at its end. That holds for the bytes it did get too:
    // asking for 100 bytes where 6 remain loses those 6. Ask for no more than remains (GetFileSize), or
    // read the whole file by name. OS_ERR_NULL_ARGUMENT for a null stream or a null buffer pointer,
    // OS_ERR_READ when reading failed.
    static int Read(FILE* stream, size_t count, char** buffer, size_t& got);
    // Writes and flushes. OS_ERR_NULL_ARGUMENT for a null stream, OS_ERR_WRITE when the stream reports an
    // error after writing; `written` is what was written.
    static int Write(FILE* stream, const char* data, size_t count, size_t& written);

    // The whole file in a new zero-terminated buffer, as the stream form describes; an empty file gives 0
    // with got 0 and leaves the buffer as it came. OS_ERR_NULL_ARGUMENT for a null buffer pointer,
    // OS_ERR_OPEN, OS_ERR_READ, or OS_ERR_OUT_OF_RANGE for a file of more than 0x7FFFFFFF bytes.
    static int Read(const std::string& name, const std::string& mode, char** buffer, size_t& got);
    // Makes the file's missing directories, opens it with `mode`, and writes under the file's range lock,
    // which other writers through this library or COsFileLocker wait for, across processes too. Null data
    // only opens the file (an empty file for a truncating mode). OS_ERR_BAD_PATH, OS_ERR_CREATE_DIRECTORY,
    // OS_ERR_ENCODING, OS_ERR_OPEN, OS_ERR_WRITE.
    static int Write(const std::string& name, const std::string& mode, const char* data, size_t count,
                     size_t& written);

    // Removes a file (never a directory).
    static bool Delete(const std::string& name);
    // Renames a file or directory; an existing new name is never replaced, and its directory is not made.
    static bool Rename(const std::string& oldName, const std::string& newName);
    // Copies contents, permissions and last write time; with overwrite false an existing target stays.
    static bool Copy(const std::string& source, const std::string& target, bool overwrite);
    // True for an existing file, false for a directory or nothing.
    static bool Exists(const std::string& name);

    // The attribute byte: 0x01 directory, 0x02 hidden, 0x04 read-only, 0x08 system.
    static bool GetAttributes(const std::string& name, unsigned char& attributes);
    // Replaces the attributes with those of the byte; bits the host cannot set are ignored.
    static bool SetAttributes(const std::string& name, unsigned char attributes);

    // The whole file decoded into UTF-8 by `format` (TextFormatAuto looks for a byte order mark and takes
    // the code page otherwise). The statuses of Read by name; 0 once the file is read, with `out` empty
    // when the text could not be decoded.
    static int GetFileContent(const std::string& name, ETextFormat format, const char* codePage,
                              std::string& out);

    // The "FileVersion" text of the version resource of the record's file (its full path), as the first
    // translation of the resource names it; false for a file without one, or a damaged one.
    static bool GetFileVersion(const _S_FileData& record, std::string& out);
    // The creation and last write times of the record's entry as local time; they read no file.
    static bool GetFileCreateTime(const _S_FileData& record, _STSystemTime& out);
    static bool GetFileLastWriteTime(const _S_FileData& record, _STSystemTime& out);

    // The extension of an existing file from its last "." on ("" for none).
    static bool GetFileExtensionName(const std::string& name, std::string& out);
    // The size of a file in bytes; -1 for a missing file, a directory or one that cannot be read,
    // OS_ERR_BAD_PATH or OS_ERR_ENCODING for a name that cannot be prepared.
    static int64_t GetFileSize(const std::string& name);

private:
    COsFile() {}
    ~COsFile() {}
};
