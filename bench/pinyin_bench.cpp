// Pinyin initials beside ICU's Han-Latin transliterator followed by the first letter of each syllable, what a
// user without the library would write: single characters, names of two to four characters, and a 1 MiB
// Chinese text cut into names of eight. ICU gives one reading per character where the library gives every
// combination. The cost per character of the library as texts grow is timed alone.
#include <benchmark/benchmark.h>

#include <cctype>
#include <memory>
#include <string>
#include <unicode/translit.h>
#include <unicode/unistr.h>
#include <vector>

#include <Veltrane.h>

#include "bench/RunPair.h"
#include "tests/support/TextConversions.h"

namespace {

constexpr size_t kTextBytes = 1u << 20;

// Ideographs drawn evenly from U+4E00..U+9FA5, the block the tables cover, three UTF-8 bytes each.
std::u16string MakeChinese(size_t units, unsigned start)
{
    std::u16string text;
    text.reserve(units);
    unsigned state = start;
    for (size_t i = 0; i < units; ++i) {
        state = state * 1103515245u + 12345u;
        text += static_cast<char16_t>(0x4E00 + (state >> 8) % 0x51A6);
    }
    return text;
}

// The text cut into names of `length` characters.
std::vector<std::string> Names(const std::u16string& text, size_t length)
{
    std::vector<std::string> names;
    for (size_t start = 0; start + length <= text.size(); start += length)
        names.push_back(veltrane_test::ToUtf8(text.substr(start, length)));
    return names;
}

const std::u16string& ChineseText()
{
    static const std::u16string text = MakeChinese(kTextBytes / 3, 20240601);
    return text;
}

icu::Transliterator& HanLatin()
{
    static std::unique_ptr<icu::Transliterator> transliterator = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::Transliterator> made(
            icu::Transliterator::createInstance("Han-Latin; Latin-ASCII", UTRANS_FORWARD, status));
        if (U_FAILURE(status) || !made)
            std::abort();
        return made;
    }();
    return *transliterator;
}

// ICU's reading of the name, then the first letter of each blank-separated syllable, in capitals.
std::string IcuFirstLetters(const std::string& name)
{
    icu::UnicodeString text = icu::UnicodeString::fromUTF8(name);
    HanLatin().transliterate(text);
    std::string letters;
    bool syllableStart = true;
    for (int32_t i = 0; i < text.length(); ++i) {
        char16_t unit = text[i];
        if (unit == u' ') {
            syllableStart = true;
        } else if (syllableStart) {
            letters += static_cast<char>(unit < 0x80 ? std::toupper(unit) : '?');
            syllableStart = false;
        }
    }
    return letters;
}

// The initials of every name, by the library and by ICU, in the same iteration.
void RunNames(benchmark::State& state, const std::vector<std::string>& names)
{
    bench::RunPair(
        state,
        [&] {
            for (const std::string& name : names)
                benchmark::DoNotOptimize(GetPinYinFirstLetters(name));
        },
        [&] {
            for (const std::string& name : names)
                benchmark::DoNotOptimize(IcuFirstLetters(name));
        });
}

void ReportRate(benchmark::State& state, double characters)
{
    state.counters["library_chars_per_s"] = characters / (state.counters["library_ms"] / 1000);
    state.counters["alternative_chars_per_s"] = characters / (state.counters["alternative_ms"] / 1000);
}

// The lookup alone: IsChinese of every unit of the 1 MiB text (two indexed reads each).
void BM_IsChinese(benchmark::State& state)
{
    const std::u16string& text = ChineseText();
    for (auto _ : state) {
        size_t chinese = 0;
        for (char16_t unit : text)
            chinese += IsChinese(unit);
        benchmark::DoNotOptimize(chinese);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_IsChinese)->Unit(benchmark::kMillisecond);

// GetPinYin of every unit beside ICU's reading of each character alone.
void BM_GetPinYinPerCharacter(benchmark::State& state)
{
    const std::u16string& text = ChineseText();
    const size_t count = 5000;  // ICU takes tens of microseconds a character
    std::vector<std::string> singles = Names(text.substr(0, count), 1);
    bench::RunPair(
        state,
        [&] {
            size_t letters = 0;
            for (size_t i = 0; i < count; ++i)
                letters += GetPinYin(text[i]).size();
            benchmark::DoNotOptimize(letters);
        },
        [&] {
            size_t letters = 0;
            for (const std::string& single : singles)
                letters += IcuFirstLetters(single).size();
            benchmark::DoNotOptimize(letters);
        });
    ReportRate(state, static_cast<double>(count));
}
BENCHMARK(BM_GetPinYinPerCharacter)->Unit(benchmark::kMillisecond);

// Names of two, three and four characters (common lengths of Chinese personal names).
void BM_NameFirstLetters(benchmark::State& state)
{
    const size_t length = static_cast<size_t>(state.range(0));
    std::vector<std::string> names = Names(ChineseText().substr(0, 4000 * length), length);
    RunNames(state, names);
    state.counters["library_us_per_name"] = state.counters["library_ms"] * 1000 / static_cast<double>(names.size());
    state.counters["alternative_us_per_name"] =
        state.counters["alternative_ms"] * 1000 / static_cast<double>(names.size());
}
BENCHMARK(BM_NameFirstLetters)->Arg(2)->Arg(3)->Arg(4)->Unit(benchmark::kMillisecond);

// The whole 1 MiB text as names of eight characters.
void BM_TextAsEightCharacterNames(benchmark::State& state)
{
    std::vector<std::string> names = Names(ChineseText(), 8);
    RunNames(state, names);
    ReportRate(state, static_cast<double>(names.size() * 8));
}
// ICU takes seconds over the whole text, so one iteration (each side once) is the measure.
BENCHMARK(BM_TextAsEightCharacterNames)->Unit(benchmark::kMillisecond)->Iterations(1);

// The library's cost per character as one text grows: short texts expand in full, long ones pass the
// limit and give one combination.
void BM_FirstLettersPerCharacter(benchmark::State& state)
{
    const size_t length = static_cast<size_t>(state.range(0));
    std::string text = veltrane_test::ToUtf8(ChineseText().substr(0, length));
    size_t resultBytes = 0;
    for (auto _ : state) {
        std::string letters = GetPinYinFirstLetters(text);
        resultBytes = letters.size();
        benchmark::DoNotOptimize(letters);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * length));
    state.counters["result_bytes"] = static_cast<double>(resultBytes);
    state.counters["time_per_char"] = benchmark::Counter(static_cast<double>(state.iterations() * length),
                                                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_FirstLettersPerCharacter)->RangeMultiplier(8)->Range(1, 262144);

}  // namespace

BENCHMARK_MAIN();
