// COsTextFile: a text file in a legacy code page, UTF-8, UTF-16 or UTF-32, read line by line as UTF-8.
#pragma once

#include <cstdio>

#include "../core/Types.h"
#include "ETextFormat.h"

class COsTextFileReader;

// One open text file. The format is given to Open, or found there (TextFormatAuto): by the byte order mark,
// and without one by a scan of the whole file for the UTF-8 pattern: UTF-8 when it holds, ANSI otherwise.
// So UTF-16 or UTF-32 without a mark is never found (it opens as UTF-8 or ANSI), and a file without a
// mark that ends inside a UTF-8 sequence (an ANSI file whose last byte is "\xE9", say) fails to open: give
// such files their format. Lines come out as UTF-8 in a block (core/Blocks.h) that the caller hands back
// for the next line and releases with FreeBlock at the end.
//
// Objects come from CreateInstance and go back through FreeInstance. One thread uses an object at a time;
// different objects share nothing. The results -1 and -2 below are plain values, not status codes.
class VELTRANE_API COsTextFile
{
public:
    // A closed object, or null when memory ran out.
    static COsTextFile* CreateInstance();
    // Closes and deletes *instance and sets it to null; a null *instance does nothing.
    static void FreeInstance(COsTextFile** instance);

    // Opens `path` (UTF-8; a relative name is taken from the library's directory) with a C stream mode and
    // makes the reader of `format`. `bufferSize` bytes are read at a time: 0 means 4096, a negative size no
    // buffer at all, so that reading reports the end at once. 0, or -2 when the file cannot be opened (the
    // object is unchanged), when it is already open, or when the format is out of range, a required byte
    // order mark is missing or the scan fails (the file stays open until Close).
    int Open(const char* path, const char* mode, ETextFormat format, int bufferSize);
    // Releases the code page name, the reader, the text of SetUnknownChar and the stream; the result of
    // closing the stream, or 0 when there was none. The format, buffer size and Mac flag stay.
    int Close();

    // The next line, without its line end, as UTF-8 into the block *line (null or a block). The UTF-8
    // readers give 0 for any line; the converting readers the line's bytes with the terminator, or 0 for an
    // empty line. -1: no line (the end of the file, no reader, or a line that cannot be converted or held,
    // which is skipped). A CR before an LF is dropped, and so is one that ends a read of the buffer, or with
    // SetMacCRLF(true) a CR alone ends a line. `flag` may be null; false is stored there.
    int ReadLine(bool* flag, char** line);
    // The next byte (ANSI, UTF-8) or unit (UTF-16, UTF-32) as a number, CR skipped; -1 at the end.
    int ReadChar();

    // Names the code page of an ANSI file for the next ReadLine, as COsEncoding names them ("GBK"); null
    // means the ANSI code page. Close forgets it.
    void SetCodePage(const char* codePage);
    // Stores a copy of `text`; no reader acts on it. Close forgets it.
    void SetUnknownChar(const char* text);
    // True: lines end at CR alone.
    void SetMacCRLF(bool macLineEnds);

    // The format in force: the one given to Open, or the one detection found (TextFormatAuto for an empty
    // file).
    ETextFormat GetFormat() const;

    // Two objects would share one stream and one reader, and each would close them.
    COsTextFile(const COsTextFile&) = delete;
    COsTextFile& operator=(const COsTextFile&) = delete;

protected:
    COsTextFile();
    ~COsTextFile();

private:
    // Makes the reader of m_eFormat for the open stream: 0, or -2.
    int CreateFileReader();
    // Finds the format of a file by its mark, or by IsUTF8NoBom, and makes its reader: 0, or -2.
    int DetectFormat();
    // Makes the reader of `format` at the stream's position: 0, or -2 when memory ran out.
    int MakeReader(ETextFormat format);
    // Sets `isUtf8` to whether the whole file follows the UTF-8 lead and continuation pattern: 0, or -2 when
    // the file cannot be read or ends inside a sequence.
    static int IsUTF8NoBom(FILE* stream, bool& isUtf8);
    // The next byte, or -1 at the end.
    static int ReadStreamByte(FILE* stream);

    ETextFormat m_eFormat;
    int m_nBufferSize;
    FILE* m_pFile;
    COsTextFileReader* m_pReader;
    char* m_pCodePage;
    char* m_pUnknownChar;
    bool m_bMacCRLF;
};
