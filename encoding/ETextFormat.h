// ETextFormat: the formats of a text file, by byte order mark and unit size.
#pragma once

// A plain enumeration: the values are part of the interface and may be stored as numbers. It is an `int`
// wide, so a number outside the named values (a format read from a file, say) is a value that the library
// can look at and refuse.
enum ETextFormat : int {
    TextFormatAuto = 0,
    TextFormatAnsi = 1,
    TextFormatUTF8Bom = 2,
    TextFormatUTF8 = 3,
    TextFormatUTF16LEBom = 4,
    TextFormatUTF16LE = 5,
    TextFormatUTF16BEBom = 6,
    TextFormatUTF16BE = 7,
    TextFormatUTF32LEBom = 8,
    TextFormatUTF32LE = 9,
    TextFormatUTF32BEBom = 10,
    TextFormatUTF32BE = 11
};
