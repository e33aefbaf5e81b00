// Legacy character sets through glibc's iconv, with the replacement rules the library promises.
// iconv stops at the first byte it cannot decode and at the first character it cannot encode; here the
// conversion goes on past them. Some tables (windows-1255 among them) hold the last character back
// until the flush call, so every conversion ends with it.
#include "platform/codepages.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iconv.h>

namespace platform {
namespace {

// UTF-16 in the host's own byte order, so that units are written straight into the caller's buffer.
const char* HostUtf16()
{
    const char16_t probe = 1;
    unsigned char first;
    std::memcpy(&first, &probe, 1);
    return first == 1 ? "UTF-16LE" : "UTF-16BE";
}

class Descriptor
{
public:
    Descriptor(const char* to, const char* from) : m_cd(iconv_open(to, from)) {}
    ~Descriptor()
    {
        if (valid())
            iconv_close(m_cd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    bool valid() const { return m_cd != reinterpret_cast<iconv_t>(-1); }
    iconv_t get() const { return m_cd; }

private:
    iconv_t m_cd;
};

// Where converted bytes go: the caller's buffer while it has room, then a scratch area that is only counted.
class Sink
{
public:
    Sink(char* target, size_t capacity) : m_target(target), m_capacity(target ? capacity : 0) {}

    // Runs one iconv call into the sink; returns iconv's result and leaves errno as iconv set it.
    size_t Convert(iconv_t cd, char** in, size_t* inLeft)
    {
        char* out;
        size_t outLeft;
        bool intoTarget = Window(&out, &outLeft);
        char* start = out;
        size_t result = iconv(cd, in, inLeft, &out, &outLeft);
        int saved = errno;
        m_produced += static_cast<size_t>(out - start);
        // A character that does not fit the rest of the caller's buffer goes on in the scratch area, so the
        // count stays right and the caller sees that its buffer was too small.
        if (result == static_cast<size_t>(-1) && saved == E2BIG && intoTarget && out == start)
            m_capacity = m_produced;
        errno = saved;
        return result;
    }

    // The flush call: emits what the table held back and returns the state to its start.
    void Flush(iconv_t cd)
    {
        for (;;) {
            if (Convert(cd, nullptr, nullptr) != static_cast<size_t>(-1) || errno != E2BIG)
                return;
        }
    }

    void Put(const void* bytes, size_t count)
    {
        const char* from = static_cast<const char*>(bytes);
        for (size_t i = 0; i < count; ++i) {
            if (m_produced < m_capacity)
                m_target[m_produced] = from[i];
            ++m_produced;
        }
    }

    size_t produced() const { return m_produced; }

private:
    bool Window(char** out, size_t* outLeft)
    {
        if (m_produced < m_capacity) {
            *out = m_target + m_produced;
            *outLeft = m_capacity - m_produced;
            return true;
        }
        *out = m_scratch;
        *outLeft = sizeof m_scratch;
        return false;
    }

    char* m_target;
    size_t m_capacity;
    size_t m_produced = 0;
    char m_scratch[4096];
};

bool IsHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

}  // namespace

bool CharsetAvailable(const char* charset)
{
    Descriptor decoder(HostUtf16(), charset);
    Descriptor encoder(charset, HostUtf16());
    return decoder.valid() && encoder.valid();
}

long long DecodeCharset(const char* charset, const char* bytes, size_t count, char16_t* target, size_t capacity)
{
    Descriptor cd(HostUtf16(), charset);
    if (!cd.valid())
        return -1;
    Sink sink(reinterpret_cast<char*>(target), capacity * sizeof(char16_t));
    char* in = const_cast<char*>(bytes);
    size_t inLeft = count;
    while (inLeft > 0) {
        if (sink.Convert(cd.get(), &in, &inLeft) != static_cast<size_t>(-1))
            break;
        if (errno == E2BIG)
            continue;
        if (errno != EILSEQ && errno != EINVAL)
            return -1;
        // A held-back character came before the bad byte, so it goes out first.
        sink.Flush(cd.get());
        const char16_t replacement = 0xFFFD;
        sink.Put(&replacement, sizeof replacement);
        ++in;
        --inLeft;
    }
    sink.Flush(cd.get());
    return static_cast<long long>(sink.produced() / sizeof(char16_t));
}

long long EncodeCharset(const char* charset, const char16_t* text, size_t count, char* target, size_t capacity)
{
    Descriptor cd(charset, HostUtf16());
    if (!cd.valid())
        return -1;
    Sink sink(target, capacity);
    const char16_t* unit = text;
    const char16_t* end = text + count;
    while (unit < end) {
        char* in = reinterpret_cast<char*>(const_cast<char16_t*>(unit));
        size_t inLeft = static_cast<size_t>(end - unit) * sizeof(char16_t);
        size_t result = sink.Convert(cd.get(), &in, &inLeft);
        unit = end - inLeft / sizeof(char16_t);
        if (result != static_cast<size_t>(-1))
            break;
        if (errno == E2BIG)
            continue;
        if (errno != EILSEQ && errno != EINVAL)
            return -1;
        // The set's own question mark goes through the same descriptor, so a shifting set stays in step.
        bool pair = IsHighSurrogate(unit[0]) && unit + 1 < end && IsLowSurrogate(unit[1]);
        unit += pair ? 2 : 1;
        char16_t question = u'?';
        char* mark = reinterpret_cast<char*>(&question);
        size_t markLeft = sizeof question;
        while (markLeft > 0) {
            if (sink.Convert(cd.get(), &mark, &markLeft) != static_cast<size_t>(-1) || errno == E2BIG)
                continue;
            sink.Put("?", 1);  // a set without a question mark of its own gets the ASCII one
            break;
        }
    }
    sink.Flush(cd.get());
    return static_cast<long long>(sink.produced());
}

}  // namespace platform
