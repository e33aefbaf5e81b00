// Pinyin initials: table lookups for one character, and the combinations of a whole text.
#include "encoding/PinYin.h"

#include <memory>

#include "encoding/COsEncoding.h"
#include "encoding/PinYinTables.h"

namespace {

using namespace encoding;

constexpr wchar16 kIdeographicZero = 0x3007;
constexpr int64_t kIdeographicZeroCode = 175;  // LING: the ideographic zero reads as the word for zero
// The most bytes the full list of combinations may take; past it each character gives one letter.
constexpr uint64_t kCombinationLimit = 102400;
// A positive code has seven 9-bit groups, so it gives at most seven letters.
constexpr int kMaxLetters = 63 / kPinYinBitsPerSyllable;

// The distinct letters of one unit, in order of first appearance.
struct Letters {
    char text[kMaxLetters];
    int count = 0;
};

// The code of a unit's readings, 0 where the tables hold none: two indexed reads, since row 0 of the codes
// is 0.
int64_t CodeOf(wchar16 unit)
{
    if (unit >= kPinYinCharFirst && unit <= kPinYinCharLast)
        return PinYinCodes[PinYinCharIndex[unit - kPinYinCharFirst]];
    if (unit >= kPinYinPrivateFirst && unit <= kPinYinPrivateLast)
        return PinYinCodes[PinYinPrivateIndex[unit - kPinYinPrivateFirst]];
    return 0;
}

// Appends the first letter of each syllable of the code that is not there yet. A group that is no syllable
// number cannot come from the tables, only from a caller's code: it names no letter, so it is passed over.
void DecodeLetters(int64_t code, Letters& letters)
{
    uint32_t seen = 0;  // one bit per letter A..Z
    for (; code > 0; code >>= kPinYinBitsPerSyllable) {
        int64_t number = code & kPinYinSyllableMask;
        if (number == 0 || number > static_cast<int64_t>(kPinYinSyllableCount))
            continue;
        char letter = PinYinSyllables[number - 1][0];
        uint32_t bit = uint32_t{1} << (letter - 'A');
        if ((seen & bit) == 0) {
            seen |= bit;
            letters.text[letters.count++] = letter;
        }
    }
}

bool IsAsciiLetterOrDigit(wchar16 unit)
{
    return (unit >= '0' && unit <= '9') || (unit >= 'a' && unit <= 'z') || (unit >= 'A' && unit <= 'Z');
}

// The letters of one unit; true when the unit is Chinese. A unit below 0x80 is its own single UTF-8 byte
// and every other unit takes two bytes or more (a surrogate half becomes U+FFFD), so only ASCII letters
// and digits give themselves.
bool LettersOf(wchar16 unit, Letters& letters)
{
    if (int64_t code = CodeOf(unit); code != 0) {
        DecodeLetters(code, letters);
        return true;
    }
    if (unit == kIdeographicZero) {
        DecodeLetters(kIdeographicZeroCode, letters);
        return true;
    }
    if (IsAsciiLetterOrDigit(unit))
        letters.text[letters.count++] = static_cast<char>(unit);
    return false;
}

std::vector<std::string> ToTexts(const Letters& letters)
{
    std::vector<std::string> texts;
    texts.reserve(static_cast<size_t>(letters.count));
    for (int i = 0; i < letters.count; ++i)
        texts.emplace_back(1, letters.text[i]);
    return texts;
}

// One combination: the last letter of the first character that has letters, the first letter of each one
// after it.
std::string SingleCombination(const wchar16* units, size_t count, size_t contributing)
{
    std::string result;
    result.reserve(contributing);
    for (size_t i = 0; i < count; ++i) {
        Letters letters;
        LettersOf(units[i], letters);
        if (letters.count > 0)
            result += result.empty() ? letters.text[letters.count - 1] : letters.text[0];
    }
    return result;
}

// Every combination, `combinations` rows of `contributing` letters joined by commas. Each character fills
// its own column: the rows made by the characters before it repeat `before` times, and within each its
// letters stand in order, each for the `after` rows that the characters behind it make.
std::string AllCombinations(const wchar16* units, size_t count, size_t contributing, uint64_t combinations)
{
    const size_t width = contributing + 1;
    std::string result(static_cast<size_t>(combinations) * width - 1, ',');
    uint64_t before = 1;
    size_t column = 0;
    for (size_t i = 0; i < count; ++i) {
        Letters letters;
        LettersOf(units[i], letters);
        if (letters.count == 0)
            continue;
        const uint64_t after = combinations / (before * static_cast<uint64_t>(letters.count));
        char* cell = &result[column];
        for (uint64_t block = 0; block < before; ++block)
            for (int letter = 0; letter < letters.count; ++letter)
                for (uint64_t row = 0; row < after; ++row, cell += width)
                    *cell = letters.text[letter];
        before *= static_cast<uint64_t>(letters.count);
        ++column;
    }
    return result;
}

}  // namespace

bool IsChinese(wchar16 unit)
{
    return CodeOf(unit) != 0 || unit == kIdeographicZero;
}

std::vector<std::string> DecodePinYin(int64_t code)
{
    Letters letters;
    DecodeLetters(code, letters);
    return ToTexts(letters);
}

std::vector<std::string> GetPinYin(wchar16 unit)
{
    Letters letters;
    LettersOf(unit, letters);
    return ToTexts(letters);
}

std::string GetPinYinFirstLetters(std::string text)
{
    wchar16* wide = nullptr;
    const int units = COsEncoding::UTF8ToUnicode(text.c_str(), &wide);
    std::unique_ptr<wchar16[]> owner(wide);
    if (units <= 0)
        return std::string();
    const size_t count = static_cast<size_t>(units) - 1;  // the terminator contributes nothing

    // The product stops growing at the limit, so it stays far from overflow whatever the text's length.
    bool chinese = false;
    size_t contributing = 0;
    uint64_t combinations = 1;
    for (size_t i = 0; i < count; ++i) {
        Letters letters;
        chinese |= LettersOf(wide[i], letters);
        if (letters.count == 0)
            continue;
        ++contributing;
        if (letters.count > 1 && combinations < kCombinationLimit)
            combinations *= static_cast<uint64_t>(letters.count);
    }
    if (!chinese)
        return std::string();

    // Each combination takes its letters and a comma; a list that would not fit the limit gives one.
    if (kCombinationLimit / (contributing + 1) < combinations)
        return SingleCombination(wide, count, contributing);
    return AllCombinations(wide, count, contributing, combinations);
}
