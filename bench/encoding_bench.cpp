// COsEncoding beside ICU and glibc's iconv: UTF-8 <-> UTF-16 on 64 MiB of mostly-ASCII and of Chinese text,
// and the legacy pages GBK (936) and Windows-1252 both ways beside iconv. Every conversion of the library
// includes its measuring pass and its allocation; ICU measures too (preflight), iconv writes into a buffer
// of the worst-case size in one pass, as a user of each would. Ratios are printed at the end.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <iconv.h>
#include <map>
#include <memory>
#include <string>
#include <unicode/ustring.h>
#include <vector>

#include <Veltrane.h>

namespace {

constexpr size_t kTextBytes = 64u << 20;

// English-like text with an accented letter or a euro sign now and then: mostly ASCII, not only ASCII.
std::string MakeMostlyAscii()
{
    const char* words[] = {"the", "quick", "brown", "fox", "jumps", "over", "lazy", "dog", "caf\xC3\xA9",
                           "price", "12", "\xE2\x82\xAC", "network", "adapter", "library", "file"};
    std::string text;
    text.reserve(kTextBytes + 64);
    unsigned state = 12345;
    while (text.size() < kTextBytes) {
        state = state * 1103515245u + 12345u;
        text += words[(state >> 16) % 16];
        text += ((state >> 8) % 11 == 0) ? ".\n" : " ";
    }
    text.resize(kTextBytes);
    while ((static_cast<unsigned char>(text.back()) & 0xC0) == 0x80 || static_cast<unsigned char>(text.back()) >= 0xC0)
        text.pop_back();
    return text;
}

// Common Chinese characters with full-width punctuation and a space now and then.
std::string MakeChinese()
{
    std::string text;
    text.reserve(kTextBytes + 8);
    unsigned state = 777;
    while (text.size() + 4 < kTextBytes) {
        state = state * 1103515245u + 12345u;
        unsigned pick = (state >> 16) % 64;
        char32_t character = pick == 0 ? U'\u3002' : pick == 1 ? U'\uFF0C' : 0x4E00 + (state >> 4) % 0x1000;
        text += static_cast<char>(0xE0 | (character >> 12));
        text += static_cast<char>(0x80 | ((character >> 6) & 0x3F));
        text += static_cast<char>(0x80 | (character & 0x3F));
        if (pick == 2)
            text += ' ';
    }
    return text;
}

struct Texts {
    std::string utf8[2];
    std::u16string utf16[2];
    std::string gbk;         // the Chinese text in GBK
    std::u16string latin;    // text Windows-1252 holds entirely
    std::string windows1252;
};

const Texts& GetTexts()
{
    static const Texts texts = [] {
        Texts made;
        made.utf8[0] = MakeMostlyAscii();
        made.utf8[1] = MakeChinese();
        for (int i = 0; i < 2; ++i) {
            wchar16* wide = nullptr;
            COsEncoding::UTF8ToUTF16(made.utf8[i].c_str(), &wide);
            made.utf16[i] = wide;
            delete[] wide;
        }
        char* gbk = nullptr;
        COsEncoding::UnicodeToAnsi(made.utf16[1].c_str(), "GBK", &gbk);
        made.gbk = gbk;
        delete[] gbk;
        // A page's tables are read on its first long text in a process (about 0.1 s); read them here, so that
        // the figures are those of every later conversion.
        wchar16* warm = nullptr;
        COsEncoding::AnsiToUnicode(made.gbk.c_str(), "GBK", &warm);
        delete[] warm;
        char* latin = nullptr;
        COsEncoding::UnicodeToAnsi(made.utf16[0].c_str(), "windows-1252", &latin);
        made.windows1252 = latin;
        delete[] latin;
        wchar16* back = nullptr;
        COsEncoding::AnsiToUnicode(made.windows1252.c_str(), "windows-1252", &back);
        made.latin = back;
        delete[] back;
        return made;
    }();
    return texts;
}

void SetBytes(benchmark::State& state, size_t bytes)
{
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}

// iconv in one pass into a buffer of the worst-case size.
size_t IconvOnce(const char* to, const char* from, const void* input, size_t inputBytes, size_t worstCase)
{
    iconv_t cd = iconv_open(to, from);
    std::unique_ptr<char[]> output(new char[worstCase]);
    char* in = const_cast<char*>(static_cast<const char*>(input));
    size_t inLeft = inputBytes;
    char* out = output.get();
    size_t outLeft = worstCase;
    iconv(cd, &in, &inLeft, &out, &outLeft);
    iconv(cd, nullptr, nullptr, &out, &outLeft);
    iconv_close(cd);
    benchmark::DoNotOptimize(output.get());
    return worstCase - outLeft;
}

void Utf8ToUtf16_Library(benchmark::State& state)
{
    const std::string& text = GetTexts().utf8[state.range(0)];
    for (auto _ : state) {
        wchar16* wide = nullptr;
        benchmark::DoNotOptimize(COsEncoding::UTF8ToUTF16(text.c_str(), &wide));
        delete[] wide;
    }
    SetBytes(state, text.size());
}

void Utf8ToUtf16_Icu(benchmark::State& state)
{
    const std::string& text = GetTexts().utf8[state.range(0)];
    for (auto _ : state) {
        UErrorCode status = U_ZERO_ERROR;
        int32_t units = 0;
        u_strFromUTF8(nullptr, 0, &units, text.c_str(), -1, &status);
        std::unique_ptr<UChar[]> wide(new UChar[units + 1]);
        status = U_ZERO_ERROR;
        u_strFromUTF8(wide.get(), units + 1, &units, text.c_str(), -1, &status);
        benchmark::DoNotOptimize(wide.get());
    }
    SetBytes(state, text.size());
}

void Utf8ToUtf16_Iconv(benchmark::State& state)
{
    const std::string& text = GetTexts().utf8[state.range(0)];
    for (auto _ : state)
        benchmark::DoNotOptimize(IconvOnce("UTF-16LE", "UTF-8", text.data(), text.size(), 2 * text.size() + 2));
    SetBytes(state, text.size());
}

void Utf16ToUtf8_Library(benchmark::State& state)
{
    const std::u16string& text = GetTexts().utf16[state.range(0)];
    for (auto _ : state) {
        char* narrow = nullptr;
        benchmark::DoNotOptimize(COsEncoding::UTF16ToUTF8(text.c_str(), &narrow));
        delete[] narrow;
    }
    SetBytes(state, text.size() * 2);
}

void Utf16ToUtf8_Icu(benchmark::State& state)
{
    const std::u16string& text = GetTexts().utf16[state.range(0)];
    for (auto _ : state) {
        UErrorCode status = U_ZERO_ERROR;
        int32_t bytes = 0;
        u_strToUTF8(nullptr, 0, &bytes, text.c_str(), -1, &status);
        std::unique_ptr<char[]> narrow(new char[bytes + 1]);
        status = U_ZERO_ERROR;
        u_strToUTF8(narrow.get(), bytes + 1, &bytes, text.c_str(), -1, &status);
        benchmark::DoNotOptimize(narrow.get());
    }
    SetBytes(state, text.size() * 2);
}

void Utf16ToUtf8_Iconv(benchmark::State& state)
{
    const std::u16string& text = GetTexts().utf16[state.range(0)];
    for (auto _ : state)
        benchmark::DoNotOptimize(IconvOnce("UTF-8", "UTF-16LE", text.data(), text.size() * 2, 3 * text.size() + 1));
    SetBytes(state, text.size() * 2);
}

void GbkToUtf16_Library(benchmark::State& state)
{
    const std::string& text = GetTexts().gbk;
    for (auto _ : state) {
        wchar16* wide = nullptr;
        benchmark::DoNotOptimize(COsEncoding::AnsiToUnicode(text.c_str(), "GBK", &wide));
        delete[] wide;
    }
    SetBytes(state, text.size());
}

void GbkToUtf16_Iconv(benchmark::State& state)
{
    const std::string& text = GetTexts().gbk;
    for (auto _ : state)
        benchmark::DoNotOptimize(IconvOnce("UTF-16LE", "CP936", text.data(), text.size(), 2 * text.size() + 2));
    SetBytes(state, text.size());
}

void Utf16ToGbk_Library(benchmark::State& state)
{
    const std::u16string& text = GetTexts().utf16[1];
    for (auto _ : state) {
        char* bytes = nullptr;
        benchmark::DoNotOptimize(COsEncoding::UnicodeToAnsi(text.c_str(), "GBK", &bytes));
        delete[] bytes;
    }
    SetBytes(state, text.size() * 2);
}

void Utf16ToGbk_Iconv(benchmark::State& state)
{
    const std::u16string& text = GetTexts().utf16[1];
    for (auto _ : state)
        benchmark::DoNotOptimize(IconvOnce("CP936", "UTF-16LE", text.data(), text.size() * 2, 4 * text.size() + 1));
    SetBytes(state, text.size() * 2);
}

void Windows1252ToUtf16_Library(benchmark::State& state)
{
    const std::string& text = GetTexts().windows1252;
    for (auto _ : state) {
        wchar16* wide = nullptr;
        benchmark::DoNotOptimize(COsEncoding::AnsiToUnicode(text.c_str(), "windows-1252", &wide));
        delete[] wide;
    }
    SetBytes(state, text.size());
}

void Windows1252ToUtf16_Iconv(benchmark::State& state)
{
    const std::string& text = GetTexts().windows1252;
    for (auto _ : state)
        benchmark::DoNotOptimize(IconvOnce("UTF-16LE", "CP1252", text.data(), text.size(), 2 * text.size() + 2));
    SetBytes(state, text.size());
}

void Utf16ToWindows1252_Library(benchmark::State& state)
{
    const std::u16string& text = GetTexts().latin;
    for (auto _ : state) {
        char* bytes = nullptr;
        benchmark::DoNotOptimize(COsEncoding::UnicodeToAnsi(text.c_str(), "windows-1252", &bytes));
        delete[] bytes;
    }
    SetBytes(state, text.size() * 2);
}

void Utf16ToWindows1252_Iconv(benchmark::State& state)
{
    const std::u16string& text = GetTexts().latin;
    for (auto _ : state)
        benchmark::DoNotOptimize(IconvOnce("CP1252", "UTF-16LE", text.data(), text.size() * 2, text.size() + 1));
    SetBytes(state, text.size() * 2);
}

// Keeps each run's processor time per iteration (the machine is shared, so wall time says less), so that
// the ratios can be printed after the console report.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        // With repetitions the median stands for the benchmark; a single run stands for itself.
        for (const Run& run : runs) {
            bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            if (median || run.run_type == Run::RT_Iteration)
                m_times[run.run_name.str()] = run.GetAdjustedCPUTime();
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void PrintRatio(const std::string& library, const std::string& alternative)
    {
        auto mine = m_times.find(library);
        auto theirs = m_times.find(alternative);
        if (mine == m_times.end() || theirs == m_times.end())
            return;
        std::printf("%-40s ratio library/alternative = %.2f  (vs %s)\n", library.c_str(), mine->second / theirs->second,
                    alternative.c_str());
    }

private:
    std::map<std::string, double> m_times;
};

}  // namespace

BENCHMARK(Utf8ToUtf16_Library)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(Utf8ToUtf16_Icu)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(Utf8ToUtf16_Iconv)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(Utf16ToUtf8_Library)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(Utf16ToUtf8_Icu)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(Utf16ToUtf8_Iconv)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(GbkToUtf16_Library)->Unit(benchmark::kMillisecond);
BENCHMARK(GbkToUtf16_Iconv)->Unit(benchmark::kMillisecond);
BENCHMARK(Utf16ToGbk_Library)->Unit(benchmark::kMillisecond);
BENCHMARK(Utf16ToGbk_Iconv)->Unit(benchmark::kMillisecond);
BENCHMARK(Windows1252ToUtf16_Library)->Unit(benchmark::kMillisecond);
BENCHMARK(Windows1252ToUtf16_Iconv)->Unit(benchmark::kMillisecond);
BENCHMARK(Utf16ToWindows1252_Library)->Unit(benchmark::kMillisecond);
BENCHMARK(Utf16ToWindows1252_Iconv)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\nText 0 is mostly ASCII, text 1 is Chinese; 64 MiB of UTF-8 each.\n");
    for (const char* text : {"/0", "/1"}) {
        for (const char* way : {"Utf8ToUtf16", "Utf16ToUtf8"}) {
            std::string library = std::string(way) + "_Library" + text;
            reporter.PrintRatio(library, std::string(way) + "_Icu" + text);
            reporter.PrintRatio(library, std::string(way) + "_Iconv" + text);
        }
    }
    for (const char* way : {"GbkToUtf16", "Utf16ToGbk", "Windows1252ToUtf16", "Utf16ToWindows1252"})
        reporter.PrintRatio(std::string(way) + "_Library", std::string(way) + "_Iconv");
    benchmark::Shutdown();
    return 0;
}
