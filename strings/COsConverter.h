// COsConverter: text to numbers and back, scaled integers, and bytes to hexadecimal text and back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "../core/Types.h"

// The text-to-number operations return true on success and write their target only then. The scaling
// operations take a scale of 0 to 8 decimal places (OS_ERR_OUT_OF_RANGE above, target unwritten). The
// hexadecimal `char**` forms store a new buffer made with new[] (zero-terminated, released by the caller
// with delete[]) without looking at the incoming value. The library sets no locale: the decimal point that
// strtod reads and DoubleToString writes is that of the locale the client has set (setlocale,
// std::locale::global), "." unless it set one.
class VELTRANE_API COsConverter
{
public:
    // The whole text as strtod reads it; leading white space is taken, trailing text and range errors fail.
    static bool StringToDouble(const std::string& text, double& value);
    static bool StringToDouble(const char* text, double& value);

    // The whole text as strtol reads it in the radix (0, or 2 to 36; 10 without one), on the 32-bit range;
    // failing that, a decimal floating-point text whose value lies within 1e-10 of a whole 32-bit number
    // ("12.0", "1e3") gives that number, cut towards zero.
    static bool StringToInt32(const std::string& text, int& value);
    static bool StringToInt32(const char* text, int& value);
    static bool StringToInt32(const std::string& text, unsigned int radix, int& value);
    static bool StringToInt32(const char* text, unsigned int radix, int& value);

    // The whole text as strtoll reads it. A text with no digits or out of the 64-bit range fails at once;
    // a text with something behind its digits takes the floating-point stage of StringToInt32, which
    // reaches only the 32-bit range.
    static bool StringToInt64(const std::string& text, int64_t& value);
    static bool StringToInt64(const char* text, int64_t& value);
    static bool StringToInt64(const std::string& text, unsigned int radix, int64_t& value);
    static bool StringToInt64(const char* text, unsigned int radix, int64_t& value);

    // value x 10^scale, rounded half away from zero. A result out of range, or a NaN, stores the most
    // negative value of the target's width; the status is still 0.
    static int DoubleToInt32(double value, int& result);
    static int DoubleToInt32(double value, unsigned int scale, int& result);
    static int DoubleToInt64(double value, int64_t& result);
    static int DoubleToInt64(double value, unsigned int scale, int64_t& result);

    // value / 10^scale.
    static int Int32ToDouble(int value, double& result);
    static int Int32ToDouble(int value, unsigned int scale, double& result);
    static int Int64ToDouble(int64_t value, double& result);
    static int Int64ToDouble(int64_t value, unsigned int scale, double& result);

    // "true" or "false".
    static std::string BoolToString(bool value);
    // Fixed notation with six decimals, then trailing zeros and a bare point removed: 1.5 "1.5", 2 "2".
    static std::string DoubleToString(double value);
    static std::string Int32ToString(int value);
    static std::string Int64ToString(int64_t value);

    // Two capital hexadecimal digits per byte, each followed by the separator (" " when not given; null or
    // "" for none), the last byte too. Returns the text's length, or OS_ERR_NULL_ARGUMENT for null data
    // and OS_ERR_OUT_OF_RANGE for a count whose text would be longer than a signed 64-bit length, both
    // with *result unchanged. The standard-string forms give "" for both.
    static int64_t BytesToHexString(const unsigned char* data, size_t count, char** result);
    static int64_t BytesToHexString(const unsigned char* data, size_t count, const char* separator, char** result);
    static std::string BytesToHexString(const unsigned char* data, size_t count);
    static std::string BytesToHexString(const unsigned char* data, size_t count, const char* separator);

    // Reads the first `length` bytes of text (up to its NUL) as two-character tokens between separators
    // (" " when not given; empty tokens dropped), or as unbroken pairs for a null or empty separator.
    // Returns the number of bytes stored; OS_ERR_NULL_ARGUMENT for a null text and OS_ERR_HEX_FORMAT for an
    // odd unbroken text, both with *result unchanged; OS_ERR_HEX_FORMAT with *result null for a bad token.
    static int64_t HexStringToBytes(const char* text, size_t length, char** result);
    static int64_t HexStringToBytes(const char* text, size_t length, const char* separator, char** result);
    static int64_t HexStringToBytes(const std::string& text, char** result);
    static int64_t HexStringToBytes(const std::string& text, const char* separator, char** result);

private:
    COsConverter() {}
    ~COsConverter() {}
};
