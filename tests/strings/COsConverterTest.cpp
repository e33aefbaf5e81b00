// COsConverter: the two stages of the integer readers, scaling, number texts and the hexadecimal pair.
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

#include <Veltrane.h>

namespace {

constexpr int kUntouched = 4242;   // no case reads this value

}  // namespace

TEST(COsConverterStringToInteger, WholeTextInTheRadixElseAWholeNumberWrittenAsFloatingPoint)
{
    // The 64-bit reader takes the whole text in its range, but its floating-point stage reaches only 32 bits.
    struct Row { const char* text; unsigned int radix; int as32; int64_t as64; };   // kUntouched: refused
    const Row rows[] = {
        {" 12", 10, 12, 12},
        {"12 ", 10, kUntouched, kUntouched},
        {"", 10, kUntouched, kUntouched},
        {"   ", 0, kUntouched, kUntouched},
        {"2147483647", 10, 2147483647, 2147483647},
        {"-2147483648", 10, INT32_MIN, INT32_MIN},
        {"2147483648", 10, kUntouched, 2147483648LL},
        {"9223372036854775807", 10, kUntouched, INT64_MAX},
        {"9223372036854775808", 10, kUntouched, kUntouched},
        {"ffffffffff", 16, kUntouched, 0xffffffffffLL},
        {"ff", 0, kUntouched, kUntouched},
        {"0x10", 0, 16, 16},
        {"010", 0, 8, 8},
        {"z", 36, 35, 35},
        {"1", 1, kUntouched, kUntouched},
        {"1", 37, kUntouched, kUntouched},
        {"-1e3", 10, -1000, -1000},
        {"12.00000000001", 10, 12, 12},                 // within the tolerance of a whole number
        {"12.5", 10, kUntouched, kUntouched},
        {"11.99999999999", 10, kUntouched, kUntouched}, // cut towards zero, not rounded
        {"12", 2, 12, 12},                              // not binary, but a decimal floating-point text
        {"-2147483648.0", 10, INT32_MIN, INT32_MIN},
        {"2147483648.0", 10, kUntouched, kUntouched},   // 64 bits too: the second stage cuts to 32
        {".5e1", 10, 5, kUntouched},                    // 64 bits: no digit, so no second stage
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.text) + " radix " + std::to_string(row.radix));
        int as32[2] = {kUntouched, kUntouched};       // from the pointer form, from the standard-string form
        int64_t as64[2] = {kUntouched, kUntouched};
        EXPECT_EQ(COsConverter::StringToInt32(row.text, row.radix, as32[0]), row.as32 != kUntouched);
        EXPECT_EQ(COsConverter::StringToInt32(std::string(row.text), row.radix, as32[1]), row.as32 != kUntouched);
        EXPECT_EQ(COsConverter::StringToInt64(row.text, row.radix, as64[0]), row.as64 != kUntouched);
        EXPECT_EQ(COsConverter::StringToInt64(std::string(row.text), row.radix, as64[1]), row.as64 != kUntouched);
        EXPECT_EQ(as32[0], row.as32);
        EXPECT_EQ(as32[1], row.as32);
        EXPECT_EQ(as64[0], row.as64);
        EXPECT_EQ(as64[1], row.as64);
    }
    int value = kUntouched;
    int64_t wide = kUntouched;
    EXPECT_FALSE(COsConverter::StringToInt32(static_cast<const char*>(nullptr), value));
    EXPECT_FALSE(COsConverter::StringToInt32(static_cast<const char*>(nullptr), 16, value));
    EXPECT_FALSE(COsConverter::StringToInt64(static_cast<const char*>(nullptr), wide));
    EXPECT_EQ(value, kUntouched);
    EXPECT_EQ(wide, kUntouched);
    // The forms without a radix read decimal; a range error left by an earlier call does not count.
    errno = ERANGE;
    EXPECT_TRUE(COsConverter::StringToInt32("010", value));
    EXPECT_TRUE(COsConverter::StringToInt64(std::string("010"), wide));
    EXPECT_EQ(value, 10);
    EXPECT_EQ(wide, 10);
}

TEST(COsConverterStringToDouble, WholeTextWithinRange)
{
    double value = 9.0;
    errno = ERANGE;
    EXPECT_TRUE(COsConverter::StringToDouble("1.5", value));
    EXPECT_EQ(value, 1.5);
    EXPECT_TRUE(COsConverter::StringToDouble(std::string(" -2.25"), value));
    EXPECT_EQ(value, -2.25);
    value = 9.0;
    for (const char* text : {"1.5 ", "", "1e999", "1e-999"})
        EXPECT_FALSE(COsConverter::StringToDouble(text, value)) << text;
    EXPECT_FALSE(COsConverter::StringToDouble(static_cast<const char*>(nullptr), value));
    EXPECT_FALSE(COsConverter::StringToDouble(std::string("1\0", 2), value));
    EXPECT_EQ(value, 9.0);
}

TEST(COsConverterScaling, PowersOfTenByDecimalPlacesAndHalvesRoundedAwayFromZero)
{
    int64_t power = 1;
    for (unsigned int scale = 0; scale <= 8; ++scale, power *= 10) {
        int result = 0;
        double back = 0;
        double one = 0;
        EXPECT_EQ(COsConverter::DoubleToInt32(1.0, scale, result), 0);
        EXPECT_EQ(COsConverter::Int64ToDouble(125 * power, scale, back), 0);
        EXPECT_EQ(COsConverter::Int32ToDouble(static_cast<int>(power), scale, one), 0);
        EXPECT_EQ(result, power) << "scale " << scale;
        EXPECT_EQ(back, 125.0) << "scale " << scale;
        EXPECT_EQ(one, 1.0) << "scale " << scale;
    }
    struct Row { double value; unsigned int scale; int expected; };
    const Row rows[] = {{0.49999, 0, 0}, {0.5, 0, 1}, {-0.5, 0, -1}, {1.005, 2, 100}, {-0.004, 2, 0}};
    for (const Row& row : rows) {
        int result = kUntouched;
        int64_t wide = kUntouched;
        EXPECT_EQ(COsConverter::DoubleToInt32(row.value, row.scale, result), 0);
        EXPECT_EQ(COsConverter::DoubleToInt64(row.value, row.scale, wide), 0);
        EXPECT_EQ(result, row.expected) << row.value << " scale " << row.scale;
        EXPECT_EQ(wide, row.expected) << row.value << " scale " << row.scale;
    }
    // The forms without a scale mean scale 0.
    int result = 0;
    int64_t wide = 0;
    double real = 0;
    EXPECT_EQ(COsConverter::DoubleToInt32(2.5, result), 0);
    EXPECT_EQ(result, 3);
    EXPECT_EQ(COsConverter::DoubleToInt64(-2.5, wide), 0);
    EXPECT_EQ(wide, -3);
    EXPECT_EQ(COsConverter::Int32ToDouble(7, real), 0);
    EXPECT_EQ(real, 7.0);
    EXPECT_EQ(COsConverter::Int64ToDouble(-3, real), 0);
    EXPECT_EQ(real, -3.0);
    EXPECT_EQ(COsConverter::DoubleToInt64(3e12, 2, wide), 0);
    EXPECT_EQ(wide, 300000000000000LL);
}

TEST(COsConverterScaling, ScaleOfNineIsRefusedAndOverflowStoresTheMostNegativeValue)
{
    int result = kUntouched;
    int64_t wide = kUntouched;
    double real = 7.0;
    EXPECT_EQ(COsConverter::DoubleToInt32(1.0, 9, result), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(COsConverter::DoubleToInt64(1.0, 9, wide), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(COsConverter::Int32ToDouble(1, 9, real), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(COsConverter::Int64ToDouble(1, 12, real), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(result, kUntouched);
    EXPECT_EQ(wide, kUntouched);
    EXPECT_EQ(real, 7.0);

    EXPECT_EQ(COsConverter::DoubleToInt32(2147483647.6, result), 0);
    EXPECT_EQ(result, INT32_MIN);   // +0.5 takes it past the top
    result = kUntouched;
    EXPECT_EQ(COsConverter::DoubleToInt32(std::nan(""), result), 0);
    EXPECT_EQ(result, INT32_MIN);
    EXPECT_EQ(COsConverter::DoubleToInt64(1e19, wide), 0);
    EXPECT_EQ(wide, INT64_MIN);
}

TEST(COsConverterToString, DoubleTrimsZerosThenPoint)
{
    struct Row { double value; const char* expected; };
    const Row rows[] = {
        {1.5, "1.5"}, {100, "100"}, {0.1234567, "0.123457"}, {0.0000001, "0"}, {-0.0000001, "-0"},
        {1234567.891, "1234567.891"}, {1e20, "100000000000000000000"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(COsConverter::DoubleToString(row.value), row.expected);
    EXPECT_EQ(COsConverter::BoolToString(true), "true");
    EXPECT_EQ(COsConverter::BoolToString(false), "false");
    EXPECT_EQ(COsConverter::Int32ToString(-2147483647 - 1), "-2147483648");
    EXPECT_EQ(COsConverter::Int64ToString(1234567890123LL), "1234567890123");
}

TEST(COsConverterHex, EveryByteInCapitalsWithTheSeparatorBehindItLastOneTooAndBackAgain)
{
    unsigned char bytes[256];
    for (int value = 0; value < 256; ++value)
        bytes[value] = static_cast<unsigned char>(value);
    for (const char* separator : {":", "--", "", static_cast<const char*>(nullptr)}) {
        const std::string behind = separator == nullptr ? "" : separator;
        const size_t width = 2 + behind.size();
        char* text = nullptr;
        char* back = nullptr;
        ASSERT_EQ(COsConverter::BytesToHexString(bytes, sizeof bytes, separator, &text), static_cast<int64_t>(width * 256));
        EXPECT_EQ(std::string(text + 0x0A * width, width), "0A" + behind);
        EXPECT_EQ(std::string(text + 0xFF * width), "FF" + behind);
        EXPECT_EQ(COsConverter::BytesToHexString(bytes, sizeof bytes, separator), text);
        EXPECT_EQ(COsConverter::HexStringToBytes(text, width * 256, separator, &back), 256) << behind;
        ASSERT_NE(back, nullptr);
        EXPECT_EQ(std::memcmp(back, bytes, sizeof bytes), 0) << behind;
        EXPECT_EQ(back[256], '\0');
        delete[] back;
        delete[] text;
    }
    // The forms without a separator put a space behind every byte; no byte gives an empty text.
    char* text = nullptr;
    EXPECT_EQ(COsConverter::BytesToHexString(bytes + 0xAB, 2, &text), 6);
    EXPECT_STREQ(text, "AB AC ");
    delete[] text;
    EXPECT_EQ(COsConverter::BytesToHexString(bytes + 0xAB, 2), "AB AC ");
    EXPECT_EQ(COsConverter::BytesToHexString(bytes, 0, ":", &text), 0);
    EXPECT_STREQ(text, "");
    delete[] text;
    EXPECT_EQ(COsConverter::BytesToHexString(bytes, 0, ":"), "");

    char sentinel[] = "held";
    text = sentinel;
    EXPECT_EQ(COsConverter::BytesToHexString(nullptr, 3, &text), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsConverter::BytesToHexString(nullptr, 3, ":", &text), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsConverter::HexStringToBytes(nullptr, 3, &text), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsConverter::HexStringToBytes(nullptr, 3, nullptr, &text), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(text, sentinel);
    EXPECT_EQ(COsConverter::BytesToHexString(nullptr, 3), "");
    EXPECT_EQ(COsConverter::BytesToHexString(nullptr, 3, ":"), "");
}

TEST(COsConverterHex, ACountWhoseTextWouldNotFitTheResultIsRefusedBeforeAnythingIsWritten)
{
    const unsigned char data[1] = {0xAB};
    struct {
        size_t count;
        const char* separator;
    } rows[] = {
        {SIZE_MAX / 4 + 1, "ab"},                          // 4 * count wraps to 0
        {SIZE_MAX / 3 + 1, " "},                           // 3 * count wraps to 2
        {SIZE_MAX / 2 + 1, nullptr},                       // 2 * count wraps to 0
        {static_cast<size_t>(INT64_MAX) / 2 + 1, ""},      // 2^63 fits the size but not the signed result
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.count);
        char sentinel[] = "held";
        char* text = sentinel;
        EXPECT_EQ(COsConverter::BytesToHexString(data, row.count, row.separator, &text), OS_ERR_OUT_OF_RANGE);
        EXPECT_EQ(text, sentinel);
        EXPECT_EQ(COsConverter::BytesToHexString(data, row.count, row.separator), "");
    }
    char sentinel[] = "held";
    char* text = sentinel;
    EXPECT_EQ(COsConverter::BytesToHexString(data, SIZE_MAX / 3 + 1, &text), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(text, sentinel);
    EXPECT_EQ(COsConverter::BytesToHexString(data, SIZE_MAX / 3 + 1), "");
}

TEST(COsConverterHex, TokensMustBeTwoCharactersStartingWithADigit)
{
    static const char kDefault[] = " ";   // rows with this separator go through the form without one
    char sentinel[] = "held";
    struct Row { const char* text; size_t length; const char* separator; int64_t expected; const char* bytes; };
    // bytes: the expected buffer, nullptr for a null out-parameter, sentinel for one left as it came.
    const Row rows[] = {
        {"ab", 2, kDefault, 1, "\xAB"},
        {"AB CD ", 6, kDefault, 2, "\xAB\xCD"},
        {"AB CD", 5, " ", 2, "\xAB\xCD"},
        {"AB  CD", 6, kDefault, 2, "\xAB\xCD"},     // doubled separators make no token
        {"1Z", 2, " ", 1, "\x01"},                   // a second character that is no digit ends the number
        {"", 0, kDefault, 0, ""},
        {"ABCD", 4, kDefault, OS_ERR_HEX_FORMAT, nullptr},
        {"A", 1, kDefault, OS_ERR_HEX_FORMAT, nullptr},
        {"Z1", 2, " ", OS_ERR_HEX_FORMAT, nullptr},
        {"AB G1", 5, " ", OS_ERR_HEX_FORMAT, nullptr},
        {"AB::::CD::", 10, "::", 2, "\xAB\xCD"},
        {"AB:::CD", 7, "::", OS_ERR_HEX_FORMAT, nullptr},   // ':CD' is left once '::' has been cut
        {"1B", 2, "B", OS_ERR_HEX_FORMAT, nullptr},         // the separator may be a digit: the token is '1'
        {"ABCD", 4, "", 2, "\xAB\xCD"},
        {"GG", 2, "", OS_ERR_HEX_FORMAT, nullptr},
        {"ABC", 3, nullptr, OS_ERR_HEX_FORMAT, sentinel},   // odd: refused before anything is allocated
        {"ABC", 2, nullptr, 1, "\xAB"},
        {"AB", 4, "", OS_ERR_HEX_FORMAT, nullptr},         // beyond the text: an empty pair, rejected
    };
    for (const Row& row : rows) {
        char* bytes = sentinel;
        int64_t result = row.separator == kDefault ? COsConverter::HexStringToBytes(row.text, row.length, &bytes)
                                                   : COsConverter::HexStringToBytes(row.text, row.length, row.separator, &bytes);
        EXPECT_EQ(result, row.expected) << row.text << " length " << row.length;
        if (row.bytes == nullptr || row.bytes == sentinel) {
            EXPECT_EQ(bytes, row.bytes) << row.text << " length " << row.length;
            continue;
        }
        ASSERT_TRUE(bytes != sentinel && bytes != nullptr) << row.text;
        EXPECT_EQ(std::memcmp(bytes, row.bytes, std::strlen(row.bytes) + 1), 0) << row.text;
        delete[] bytes;
    }
    // The standard-string forms hand over the string's size and use the space separator by default.
    char* bytes = sentinel;
    EXPECT_EQ(COsConverter::HexStringToBytes(std::string("0a ff "), &bytes), 2);
    EXPECT_EQ(std::memcmp(bytes, "\x0a\xff", 3), 0);
    delete[] bytes;
    EXPECT_EQ(COsConverter::HexStringToBytes(std::string("0a-ff"), "-", &bytes), 2);
    EXPECT_EQ(std::memcmp(bytes, "\x0a\xff", 3), 0);
    delete[] bytes;
    EXPECT_EQ(COsConverter::HexStringToBytes(std::string("0A\0B", 4), "", &bytes), OS_ERR_HEX_FORMAT);
    EXPECT_EQ(bytes, nullptr);
}
