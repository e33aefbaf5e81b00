// veltrane: the demonstration. Each section shows one capability of the library at work.
#include <Veltrane.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace {

void Heading(const char* title)
{
    std::printf("\n== %s\n", title);
}

void ShowGuids()
{
    Heading("GUIDs");
    for (int i = 0; i < 3; ++i)
        std::printf("  COsGuid::NewGuid()        %s\n", COsGuid::NewGuid().c_str());
}

void ShowBlocks()
{
    Heading("Blocks");
    void* block = AllocBlock(nullptr, 1500);
    std::printf("  AllocBlock(1500)           capacity %d, length %d\n", GetBufferLength(block), GetBlockLength(block));
    block = AllocBlock(block, 100);
    std::printf("  AllocBlock(block, 100)     capacity %d, length %d (never shrinks)\n", GetBufferLength(block),
                GetBlockLength(block));
    FreeBlock(block);
}

void ShowStrings()
{
    Heading("Strings and conversions");
    char label[128];
    auto line = [&label](const std::string& value) { std::printf("  %-40s %s\n", label, value.c_str()); };

    std::string tokens;
    for (const std::string& token : COsString::Split("red,,green,blue,", ","))
        tokens += "'" + token + "' ";
    veltrane::snprintf(label, sizeof label, "Split(\"red,,green,blue,\", \",\")");
    line(tokens);
    veltrane::snprintf(label, sizeof label, "Replace(\"aaa\", \"a\", \"aa\")");
    line("'" + COsString::Replace("aaa", "a", "aa") + "' (inserted text is not searched again)");
    veltrane::snprintf(label, sizeof label, "TrimEnd(\"notes.TXT.txt\", \".txt\", true)");
    line("'" + COsString::TrimEnd("notes.TXT.txt", ".txt", true) + "'");
    veltrane::snprintf(label, sizeof label, "Compare(\"_\", \"a\", true)");
    line(std::to_string(COsString::Compare("_", "a", true)) + " (0x5F folds below every letter)");

    const char* integers[] = {"42", "1e3", "12.00000000001", "12.5"};
    for (const char* text : integers) {
        int value = 0;
        bool read = COsConverter::StringToInt32(text, value);
        veltrane::snprintf(label, sizeof label, "StringToInt32(\"%s\")", text);
        line(read ? "true, " + std::to_string(value) : "false");
    }
    const double reals[] = {1234567.891, 2.0, 1e20, -0.0000001};
    for (double value : reals) {
        veltrane::snprintf(label, sizeof label, "DoubleToString(%.10g)", value);
        line("'" + COsConverter::DoubleToString(value) + "'");
    }

    const unsigned char bytes[] = {0xCA, 0xFE, 0x01};
    char* hex = nullptr;
    int64_t hexLength = COsConverter::BytesToHexString(bytes, sizeof bytes, ":", &hex);
    char* back = nullptr;
    int64_t byteCount = COsConverter::HexStringToBytes(hex, static_cast<size_t>(hexLength), ":", &back);
    bool same = byteCount == 3 && std::memcmp(back, bytes, 3) == 0;
    veltrane::snprintf(label, sizeof label, "BytesToHexString(CA FE 01, \":\")");
    line(std::string("'") + hex + "', back through HexStringToBytes: " + std::to_string(byteCount) + " bytes, " +
         (same ? "the same" : "different"));
    delete[] hex;
    delete[] back;

    const char* versions[][2] = {{"1.2.10", "1.2.9"}, {"2.0", "10.0"}, {"1.2", "1.2.0"}};
    for (const auto& pair : versions) {
        veltrane::snprintf(label, sizeof label, "compareversion(\"%s\", \"%s\")", pair[0], pair[1]);
        line(std::to_string(compareversion(pair[0], pair[1])));
    }
}

void ShowSockets()
{
    Heading("Sockets");
    COsSocket* listener = COsSocket::CreateInstance();
    COsSocket* client = COsSocket::CreateInstance();
    COsSocket* server = COsSocket::CreateInstance();
    char text[32] = {};
    unsigned short port = 0;
    if (listener->Create(eSocketTypeTcp, 0, 0) && listener->Bind("127.0.0.1", 0) && listener->Listen() &&
        listener->GetLocalIPAddress(text, sizeof(text) - 1, &port)) {
        std::printf("  listening on                %s:%u\n", text, port);
        // One thread is enough: the connection waits in the listener's queue until it is accepted.
        client->Create(eSocketTypeTcp, 0, 0);
        bool connected = client->Connect("127.000.000.001", port);
        char peer[32] = {};
        unsigned short peerPort = 0;
        if (connected && listener->Accept(server, peer, sizeof(peer), &peerPort)) {
            std::printf("  accepted                    %s:%u\n", peer, peerPort);
            const char message[] = "hello through COsSocket";
            client->Send(message, sizeof(message));
            char echo[64] = {};
            int received = server->ReceiveWithTimeout(echo, sizeof(echo), 1000, 0);
            server->Send(echo, received > 0 ? received : 0);
            char reply[64] = {};
            int replied = client->ReceiveWithTimeout(reply, sizeof(reply), 1000, 0);
            std::printf("  echo                        %d bytes back: \"%s\"\n", replied, reply);
            std::printf("  idle ReceiveWithTimeout(50) %d (a time-out)\n", client->ReceiveWithTimeout(reply, 1, 50, 0));
        }
    }
    COsSocket* refused = COsSocket::CreateInstance();
    refused->Create(eSocketTypeTcp, 0, 0);
    listener->ShutDown();
    bool ok = refused->Connect("127.0.0.1", port);
    std::printf("  Connect to a closed port    %s, error %d, system code %d\n", ok ? "true" : "false",
                static_cast<int>(refused->GetSocketError()), refused->GetOriginSocketError());
    COsSocket::FreeInstance(&refused);
    COsSocket::FreeInstance(&server);
    COsSocket::FreeInstance(&client);
    COsSocket::FreeInstance(&listener);
}

void ShowIdentityAndPaths()
{
    Heading("Library, machine, system and process");
    CVeltrane* facade = CVeltrane::GetInstance();
    std::printf("  VeltraneVersion            %s\n", facade->VeltraneVersion().c_str());
    std::printf("  VeltraneLibDir             %s\n", facade->VeltraneLibDir().c_str());
    std::printf("  DestOsVersion / DestOsBit  %s / %s\n", facade->DestOsVersion().c_str(), facade->DestOsBit().c_str());
    std::printf("  MachineName                %s\n", facade->MachineName().c_str());
    std::printf("  OsVersion                  %s\n", facade->OsVersion().c_str());
    std::printf("  OsBits                     %u\n", facade->OsBits());
    std::printf("  GCCVersion                 %s\n", facade->GCCVersion().c_str());
    std::printf("  ProcessName                %s\n", facade->ProcessName().c_str());
    std::printf("  ProcessPath                %s\n", facade->ProcessPath().c_str());

    _S_WindowsVersion windows7{};
    windows7.bVersionKnown = true;
    windows7.dwMajorVersion = 6;
    windows7.dwMinorVersion = 1;
    windows7.dwBuildNumber = 7601;
    windows7.wProductType = 1;
    windows7.wServicePackMajor = 1;
    windows7.bHasProductInfo = true;
    windows7.dwProductInfoType = 1;
    std::printf("  A Windows 6.1.7601 SP1 record, product 1, is named  %s\n",
                COsSystem::NameWindowsVersion(windows7).c_str());

    Heading("Paths");
    const char* samples[] = {"C:\\data\\a.txt", "\\\\srv\\share\\a\\..\\b.txt", "/usr/lib", "logs/run.txt",
                             "../etc/./x.conf"};
    for (const char* sample : samples) {
        std::string directory, fileName, absolute;
        COsDirectory::GetDirectory(sample, directory);
        COsDirectory::GetFileName(sample, fileName);
        COsDirectory::GetAbsolutePath(sample, absolute);
        std::printf("  %-26s absolute %d, directory '%s', name '%s'\n", sample, COsDirectory::IsAbsolutePath(sample),
                    directory.c_str(), fileName.c_str());
        std::printf("  %-26s GetAbsolutePath -> %s\n", "", absolute.c_str());
    }
    std::printf("  DirectoryExist(\"/tmp\")     %s\n", COsDirectory::DirectoryExist("/tmp") ? "true" : "false");
    CVeltrane::FreeInstance();
}

void CountOneRun(void** ppArgs)
{
    int* counter = static_cast<int*>(ppArgs[0]);
    ++*counter;
}

void WaitForever()
{
    for (;;)
        COsThread::Sleep(5);
}

void ShowThreads()
{
    Heading("Threads");
    int counter = 0;
    void* args[] = {&counter};
    COsThread* thread = COsThread::CreateThread(&CountOneRun);
    thread->SetPriority(PRIORITY_BELOW_NORMAL);
    thread->Start(args);
    bool ended = thread->Finish(1000);
    std::printf("  Start(args) + Finish(1000)  ended by itself: %s, counter %d, exit code %llu\n", ended ? "yes" : "no",
                counter, static_cast<unsigned long long>(thread->GetExitCode()));
    std::printf("  Start again after Finish    %s\n", thread->Start(args) && thread->Finish(1000) ? "ran" : "failed");
    std::printf("  counter now                 %d\n", counter);
    COsThread::FreeThread(&thread);

    COsThread* stuck = COsThread::CreateThread(&WaitForever);
    stuck->Start();
    ended = stuck->Finish(50);
    std::printf("  Finish(50) on a busy thread ended by itself: %s (forced)\n", ended ? "yes" : "no");
    COsThread::FreeThread(&stuck);
}

void ShowLogHub()
{
    Heading("Log hub");
    COsLog* hub = COsLog::GetInstance();
    std::printf("  GetLogOutputPort() before Start  %d\n", COsLog::GetLogOutputPort());
    int status = hub->Start();
    std::printf("  Start()                          %d, listening on port %d\n", status, COsLog::GetLogOutputPort());

    // A viewer of our own, so that the pushed messages have somewhere to go.
    COsSocket* viewer = COsSocket::CreateInstance();
    viewer->Create(eSocketTypeTcp, 0, 0);
    viewer->Connect("127.0.0.1", static_cast<unsigned short>(COsLog::GetLogOutputPort()));
    char heartbeat = 0;
    viewer->ReceiveWithTimeout(&heartbeat, 1, 3000, 0);
    std::printf("  a viewer connects, first byte    0x%02X (the heartbeat)\n", static_cast<unsigned char>(heartbeat));
    hub->LogMsgPush("first message\r\n");
    hub->LogMsgPush("second message\r\n");
    std::string received;
    char chunk[256];
    for (int attempt = 0; attempt < 20 && received.size() < 31; ++attempt) {
        int count = viewer->ReceiveWithTimeout(chunk, sizeof(chunk), 100, 0);
        if (count > 0)
            received.append(chunk, static_cast<size_t>(count));
    }
    std::printf("  the viewer received              %zu bytes: \"first message\\r\\nsecond message\\r\\n\" %s\n",
                received.size(), received == "first message\r\nsecond message\r\n" ? "exactly" : "NOT as pushed");
    COsLog::FreeInstance();
    std::printf("  FreeInstance()                   done, the hub and its threads are gone\n");
    COsSocket::FreeInstance(&viewer);
}

void ShowCodePages()
{
    Heading("Code pages");
    const char* text = "Gr\xC3\xBC\xC3\x9F\xE2\x82\xAC \xE4\xB8\xAD\xE6\x96\x87";  // "Grüß€ 中文"
    std::printf("  UTF-8 text                 %s\n", text);
    for (const char* page : {"windows-1252", "GBK", "shift_jis", "IBM037", "koi8-r", "x-mac-arabic"}) {
        char* bytes = nullptr;
        int count = COsEncoding::UTF8ToAnsi(text, page, &bytes);
        std::printf("  UTF8ToAnsi(%-13s)   %3d:", page, count);
        for (int i = 0; count > 0 && i < count - 1; ++i)
            std::printf(" %02X", static_cast<unsigned char>(bytes[i]));
        char* back = nullptr;
        if (count > 0 && COsEncoding::AnsiToUTF8(bytes, page, &back) > 0)
            std::printf("  -> back: %s", back);
        std::printf("\n");
        delete[] back;
        delete[] bytes;
    }
    wchar16* wide = nullptr;
    int units = COsEncoding::UTF8ToUTF16("\xE4\xB8", &wide);
    std::printf("  UTF8ToUTF16(E4 B8)         %d (a cut-off sequence becomes U+%04X)\n", units,
                static_cast<unsigned>(wide ? wide[0] : 0));
    delete[] wide;
}

const char* FormatName(ETextFormat format)
{
    const char* names[] = {"empty (nothing to detect)", "ANSI", "UTF-8 with byte order mark", "UTF-8",
                           "UTF-16LE with byte order mark", "UTF-16LE", "UTF-16BE with byte order mark", "UTF-16BE",
                           "UTF-32LE with byte order mark", "UTF-32LE", "UTF-32BE with byte order mark", "UTF-32BE"};
    return format >= TextFormatAuto && format <= TextFormatUTF32BE ? names[format] : "?";
}

// Prints a text file of any encoding as UTF-8, line by line, after the format that detection found: the
// work of `veltrane --text FILE [CODE-PAGE]`. The code page names the encoding of a file without a mark
// that is not UTF-8; the ANSI code page by default. 0, or 1 when the file cannot be opened.
int PrintTextFile(const char* path, const char* codePage, const char* indent)
{
    COsTextFile* file = COsTextFile::CreateInstance();
    if (file == nullptr)
        return 1;
    file->SetCodePage(codePage);
    if (file->Open(path, "rb", TextFormatAuto, 0) != 0) {
        std::printf("%scannot open '%s' as text (missing, not a file, or UTF-8 cut off at its end)\n", indent, path);
        COsTextFile::FreeInstance(&file);
        return 1;
    }
    std::printf("%s[%s]\n", indent, FormatName(file->GetFormat()));
    char* line = nullptr;
    for (int number = 1; file->ReadLine(nullptr, &line) != -1; ++number)
        std::printf("%s%4d  %s\n", indent, number, line);
    FreeBlock(line);
    COsTextFile::FreeInstance(&file);
    return 0;
}

void ShowTextFiles()
{
    Heading("Text files");
    const std::string root =
        (std::filesystem::temp_directory_path() / ("veltrane-demo-" + COsGuid::NewGuid())).string();
    std::filesystem::create_directories(root);
    // One text, "Grüße, 世界 😀" CR LF "zweite Zeile" LF, in six encodings; the Latin-1 file holds only what
    // windows-1252 can say.
    const std::string utf16le("\xFF\xFEG\0r\0\xFC\0\xDF\0e\0,\0 \0\x16\x4E\x4C\x75 \0\x3D\xD8\x00\xDE\r\0\n\0"
                              "z\0w\0e\0i\0t\0e\0 \0Z\0e\0i\0l\0e\0\n\0", 56);
    std::string utf16be(utf16le);
    for (size_t i = 0; i + 1 < utf16be.size(); i += 2)
        std::swap(utf16be[i], utf16be[i + 1]);
    const std::string utf8 = "Gr\xC3\xBC\xC3\x9F" "e, \xE4\xB8\x96\xE7\x95\x8C \xF0\x9F\x98\x80\r\nzweite Zeile\n";
    const struct {
        const char* name;
        std::string bytes;
    } files[] = {
        {"utf8.txt", utf8},
        {"utf8-mark.txt", "\xEF\xBB\xBF" + utf8},
        {"utf16le.txt", utf16le},
        {"utf16be.txt", utf16be},
        {"utf32le.txt", std::string("\xFF\xFE\0\0G\0\0\0\xFC\0\0\0\x00\xF6\x01\0\n\0\0\0", 20)},
        {"latin1.txt", "Gr\xFC\xDF" "e, caf\xE9\r\nzweite Zeile\n"},
    };
    for (const auto& file : files) {
        const std::string path = root + "/" + file.name;
        size_t written = 0;
        COsFile::Write(path, "wb", file.bytes.data(), file.bytes.size(), written);
        std::printf("  %s, %zu bytes, TextFormatAuto:\n", file.name, file.bytes.size());
        PrintTextFile(path.c_str(), nullptr, "    ");
    }
    std::printf("  (any file: veltrane --text FILE [CODE-PAGE])\n");
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
}

void ShowPinYin()
{
    Heading("Pinyin initials");
    const char16_t* names[] = {u"\u5F20\u4E09",              // 张三
                               u"\u91CD\u5E86",              // 重庆: ZHONG or CHONG
                               u"\u5355\u884C\u9053",        // 单行道
                               u"\u66FE\u957F\u4E50",        // 曾长乐
                               u"\u674E\u3007\u4E00",        // 李〇一: the ideographic zero reads LING
                               u"Wang \u5C0F\u4E8C 2",       // Latin letters and digits keep their case
                               u"abc 123"};                   // nothing Chinese: no initials
    for (const char16_t* name : names) {
        char* utf8 = nullptr;
        if (COsEncoding::UTF16ToUTF8(name, &utf8) < 0)
            continue;
        std::string initials = GetPinYinFirstLetters(utf8);
        size_t commas = static_cast<size_t>(std::count(initials.begin(), initials.end(), ','));
        size_t combinations = initials.empty() ? 0 : commas + 1;
        int width = 0;  // columns on a terminal: an ideograph takes two
        for (const char16_t* unit = name; *unit != 0; ++unit)
            width += *unit < 0x80 ? 1 : 2;
        std::printf("  %s%*s %zu combination%s: %s\n", utf8, width < 18 ? 18 - width : 0, "", combinations,
                    combinations == 1 ? "" : "s", initials.empty() ? "(none)" : initials.c_str());
        delete[] utf8;
    }
    std::string letters;
    for (const std::string& letter : GetPinYin(u'\u884C'))
        letters += letter + " ";
    std::printf("  GetPinYin(U+884C)  %s(XING, HENG and HANG give X and H)\n", letters.c_str());
    std::u16string long16(13, u'\u91CD');
    char* longName = nullptr;
    if (COsEncoding::UTF16ToUTF8(long16.c_str(), &longName) > 0)
        std::printf("  13 x U+91CD        %s (8192 combinations would pass 102400 bytes: one letter each)\n",
                    GetPinYinFirstLetters(longName).c_str());
    delete[] longName;
}

_STSystemTime Date(int year, int month, int day, int hour = 0, int minute = 0)
{
    _STSystemTime record;
    record.wYear = static_cast<uint16_t>(year);
    record.wMonth = static_cast<uint16_t>(month);
    record.wDay = static_cast<uint16_t>(day);
    record.wHour = static_cast<uint16_t>(hour);
    record.wMinute = static_cast<uint16_t>(minute);
    return record;
}

const char* Weekday(const _STSystemTime& record)
{
    static const char* const names[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    return record.wDayOfWeek < 7 ? names[record.wDayOfWeek] : "?";
}

void ShowCalendar()
{
    Heading("Calendar time (local wall-clock records)");
    _STSystemTime now = COsSystemTime::GetSystemTime();
    std::printf("  %-44s %s %s, zone %+d h (west positive), %lld s since 1970 UTC\n",
                "GetSystemTime()", COsSystemTime::TimeToString(now).c_str(), Weekday(now), COsSystemTime::GetTimeZone(),
                COsSystemTime::GetSystemTimeAsLong());

    COsSystemTime* time = COsSystemTime::CreateInstance(Date(2023, 1, 31, 9, 30));
    auto show = [](const char* label, const _STSystemTime& result) {
        std::printf("  %-44s %s\n", label, COsSystemTime::TimeToString(result).c_str());
    };
    show("month ends, from", time->GetTime());
    show("AddMonths(1)", time->AddMonths(1));
    time->SetTime(time->AddMonths(1));
    show("AddMonths(1) twice (the pull-back stays)", time->AddMonths(1));
    time->SetTime(Date(2024, 3, 31, 9, 30));
    show("2024-03-31 AddMonths(-1)", time->AddMonths(-1));
    show("2024-03-31 AddDays(-31) (elapsed days)", time->AddDays(-31));

    std::printf("  leap years: February 29 valid in");
    for (int year : {1900, 2000, 2023, 2024, 2100, 2400, 3200, 4000})
        std::printf(" %d:%s", year, COsSystemTime::CheckDateValid(Date(year, 2, 29)) ? "yes" : "no");
    std::printf(" (3200 is no leap year here)\n");
    time->SetTime(Date(2024, 2, 29));
    show("2024-02-29 AddYears(1)", time->AddYears(1));
    show("2024-02-29 AddYears(-4)", time->AddYears(-4));
    time->SetTime(Date(3196, 2, 29));
    show("3196-02-29 AddYears(4)", time->AddYears(4));

    _STSystemTime offset;
    offset.wDay = 1;
    offset.wMonth = 1;
    time->SetTime(Date(2024, 1, 30, 18, 0));
    show("2024-01-30 + 1 day + 1 month (days first)", time->AddDateOffset(offset));
    offset.wDay = 0;
    offset.wYear = 1;
    time->SetTime(Date(2023, 1, 31));
    show("2023-01-31 + 1 month + 1 year", time->AddDateOffset(offset));
    offset = _STSystemTime();
    offset.wMonth = 0xFFFF;
    time->SetTime(Date(2024, 3, 31));
    show("2024-03-31 + month 0xFFFF (one back)", time->AddDateOffset(offset));

    FILETIME fileTime{};
    _STSystemTime parsed;
    bool read = COsSystemTime::StringToTime("2024-02-29T09:05:03.5", parsed);
    bool converted = read && COsSystemTime::LocalTimeToFileTime(parsed, fileTime);
    _STSystemTime back;
    COsSystemTime::LocalTime(fileTime, back);
    std::printf("  StringToTime(\"2024-02-29T09:05:03.5\") %s, %s; as FILETIME %08X%08X, back: %s %s\n",
                read ? "true" : "false", COsSystemTime::TimeToString(parsed).c_str(),
                static_cast<unsigned>(fileTime.dwHighDateTime), static_cast<unsigned>(fileTime.dwLowDateTime), converted ? COsSystemTime::TimeToString(back).c_str() : "-", Weekday(back));
    time->SetTime(parsed);
    std::printf("  %-44s %.9f days since 1970 UTC\n", "its day count", time->GetTimeAsDouble());

    COsSystemTime* start = COsSystemTime::CreateInstance();
    std::printf("  %-44s 0 ms: %d, 60000 ms: %d (1 passed, 0 not yet)\n", "CheckTimeout on a new object",
                start->CheckTimeout(0), start->CheckTimeout(60000));
    COsSystemTime::FreeInstance(&start);
    COsSystemTime::FreeInstance(&time);
}

void ShowPingAndAdapters(unsigned int viewerWaitMilliseconds)
{
    Heading("Ping and adapters");
    // Ping tells its steps only to the log hub: a viewer attached to it shows them.
    COsLog* hub = COsLog::GetInstance();
    if (hub->Start() == 0) {
        const int port = COsLog::GetLogOutputPort();
        std::printf("  log hub on port %d: `veltrane-logviewer 127.0.0.1 %d` shows the ping's steps\n", port, port);
        if (viewerWaitMilliseconds > 0) {
            std::printf("  waiting %u ms for a viewer to attach\n", viewerWaitMilliseconds);
            std::fflush(stdout);
            COsThread::Sleep(viewerWaitMilliseconds);
        }
    }
    int status = COsPing::Ping("127.0.0.1", 1000, 2);
    std::printf("  Ping(\"127.0.0.1\", 1000, 2)     %d (%s)\n", status, status == 0 ? "a reply came" : "no reply");

    unsigned int size = 0;
    status = COsAdapter::GetAllAdapters(nullptr, &size);
    std::printf("  GetAllAdapters with size 0      %d (%s), %u bytes needed\n", status, OsErrorName(status), size);
    std::vector<_S_Adapter_Info> records(size / sizeof(_S_Adapter_Info) + 1);
    size = static_cast<unsigned int>(records.size() * sizeof(_S_Adapter_Info));
    status = COsAdapter::GetAllAdapters(records.data(), &size);
    std::printf("  GetAllAdapters                  %d\n", status);
    std::printf("  %-16s %-20s %-16s %s\n", "adapter", "hardware address", "address", "mask");
    const bool any = status == 0 && size >= sizeof(_S_Adapter_Info) && records[0].szIPAddress[0] != '\0';
    for (const _S_Adapter_Info* record = any ? &records[0] : nullptr; record != nullptr; record = record->pNext)
        std::printf("  %-16s %-20s %-16s %s\n", record->szAdapterName, record->szMac, record->szIPAddress,
                    record->szIPMask);
    std::string addresses;
    for (const std::string& address : COsAdapter::GetAllLocalIP())
        addresses += " '" + address + "'";
    std::printf("  GetAllLocalIP()                %s\n", addresses.c_str());
    if (any) {
        std::string lower = records[0].szMac;
        for (char& letter : lower)
            letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
        _S_Adapter_Info found{};
        status = COsAdapter::GetAdapterFromMac(lower, found);
        std::printf("  GetAdapterFromMac(\"%s\")  %d, %s %s\n", lower.c_str(), status, found.szAdapterName,
                    found.szIPAddress);
    }
    // The hub sends one message per 10 ms: give it time to hand the ping's steps over before it ends.
    COsThread::Sleep(300);
    COsLog::FreeInstance();
}

}  // namespace

const char* YesNo(bool value)
{
    return value ? "true" : "false";
}

std::string AttributeText(unsigned char attributes)
{
    std::string text;
    const char* names[] = {"directory", "hidden", "read-only", "system"};
    for (int bit = 0; bit < 4; ++bit) {
        if (attributes & (1 << bit))
            text += std::string(text.empty() ? "" : ", ") + names[bit];
    }
    return text.empty() ? "none" : text;
}

void ShowFiles()
{
    Heading("Files");
    const std::string root =
        (std::filesystem::temp_directory_path() / ("veltrane-demo-" + COsGuid::NewGuid())).string();
    const std::string journal = root + "/\xE6\x97\xA5\xE5\xBF\x97/r\xC3\xA9sum\xC3\xA9.txt";  // "日志/résumé.txt"
    size_t written = 0;
    const std::string first = "premi\xC3\xA8re ligne \xE2\x80\x94 first line\n";
    int status = COsFile::Write(journal, "wb", first.data(), first.size(), written);
    std::printf("  Write(\"%s\", \"wb\")  status %d, %zu bytes; its directory was made on the way\n",
                journal.substr(root.size() + 1).c_str(), status, written);
    const std::string second = "\xE7\xAC\xAC\xE4\xBA\x8C\xE8\xA1\x8C second line\n";
    status = COsFile::Write(journal, "a+", second.data(), second.size(), written);
    std::printf("  Write(..., \"a+\")  status %d, %zu bytes appended under the file's range lock\n", status, written);

    char* buffer = nullptr;
    size_t got = 0;
    status = COsFile::Read(journal, "rb", &buffer, got);
    std::printf("  Read(..., \"rb\")   status %d, %zu bytes:\n%s", status, got, buffer ? buffer : "");
    delete[] buffer;

    const std::string copy = root + "/copie \xC3\xA0 part.txt";
    const std::string renamed = root + "/\xD0\xBA\xD0\xBE\xD0\xBF\xD0\xB8\xD1\x8F.txt";  // "копия.txt"
    std::printf("  Copy(journal, \"%s\", false)  %s\n", copy.substr(root.size() + 1).c_str(),
                YesNo(COsFile::Copy(journal, copy, false)));
    std::printf("  Copy(journal, \"%s\", false)  %s: the target exists now\n", copy.substr(root.size() + 1).c_str(),
                YesNo(COsFile::Copy(journal, copy, false)));
    std::printf("  Rename(copy, \"%s\")  %s\n", renamed.substr(root.size() + 1).c_str(),
                YesNo(COsFile::Rename(copy, renamed)));
    std::printf("  Rename(journal, \"%s\")  %s: a rename never replaces\n", renamed.substr(root.size() + 1).c_str(),
                YesNo(COsFile::Rename(journal, renamed)));

    unsigned char attributes = 0;
    COsFile::SetAttributes(renamed, 0x04);
    for (const std::string& name : {journal, renamed, root + "/\xE6\x97\xA5\xE5\xBF\x97"}) {
        std::string extension = "-";
        COsFile::GetFileExtensionName(name, extension);
        COsFile::GetAttributes(name, attributes);
        std::printf("  %-22s exists %-5s size %3lld  extension '%s'  attributes 0x%02X (%s)\n",
                    name.substr(root.size() + 1).c_str(), YesNo(COsFile::Exists(name)),
                    static_cast<long long>(COsFile::GetFileSize(name)), extension.c_str(), attributes,
                    AttributeText(attributes).c_str());
    }
    COsFile::SetAttributes(renamed, 0);

    // The journal's record as an enumeration fills it, found with a wildcard in its directory.
    _S_FileData record{};
    const std::string journalDirectory = root + "/\xE6\x97\xA5\xE5\xBF\x97";
    bool found = COsDirectory::FindFirstFileA(journalDirectory, "r?sum*.txt", record);
    std::printf("  FindFirstFileA(\"%s\", \"r?sum*.txt\")  %s: '%s'\n", journalDirectory.substr(root.size() + 1).c_str(),
                YesNo(found), record.szFileName);
    _STSystemTime writeTime;
    COsFile::GetFileLastWriteTime(record, writeTime);
    std::printf("  GetFileLastWriteTime(journal's record)  %s local time\n",
                COsSystemTime::TimeToString(writeTime).c_str());
    std::string version = "-";
    std::printf("  GetFileVersion(journal's record)       %s: a text file has no version resource\n",
                YesNo(COsFile::GetFileVersion(record, version)));
#ifdef VELTRANE_DEMO_PE
    COsDirectory::FindClose(record);
    std::string demoPe = VELTRANE_DEMO_PE;
    std::string peDirectory;
    std::string peName;
    COsDirectory::GetDirectory(demoPe, peDirectory);
    COsDirectory::GetFileName(demoPe, peName);
    found = COsDirectory::FindFirstFileA(peDirectory, peName, record) && COsFile::GetFileVersion(record, version);
    std::printf("  GetFileVersion(demo-versioned.exe)     %s, '%s' (the table its first translation names)\n",
                YesNo(found), version.c_str());
#else
    std::printf("  (no PE file to read a version from: the mingw-w64 tools were not found at build time)\n");
#endif
    COsDirectory::FindClose(record);

    // A UTF-16 file with its byte order mark, read back as UTF-8 by detection.
    const std::string wide = root + "/utf16.txt";
    const char utf16[] = "\xFF\xFE" "H\0i\0 \0\x2D\x4E\x87\x65";  // mark, "Hi 中文"
    COsFile::Write(wide, "wb", utf16, sizeof utf16 - 1, written);
    std::string text;
    COsFile::GetFileContent(wide, TextFormatAuto, nullptr, text);
    std::printf("  GetFileContent(utf16.txt, TextFormatAuto)  '%s'\n", text.c_str());

    std::printf("  Delete(renamed) %s\n", YesNo(COsFile::Delete(renamed)));

    // A listing with a wildcard, a count, and the tree removed.
    for (int i = 1; i <= 3; ++i) {
        const std::string log = "entry " + std::to_string(i) + "\n";
        COsFile::Write(root + "/logs/app" + std::to_string(i) + ".log", "wb", log.data(), log.size(), written);
    }
    COsFile::Write(root + "/logs/other.txt", "wb", nullptr, 0, written);
    COsDirectory::CreateDirectoryA(root + "/logs/app-archive");
    std::printf("  FindFirstFileA/FindNextFileA(\"logs\", \"app*\"):\n");
    int listed = 0;
    for (found = COsDirectory::FindFirstFileA(root + "/logs", "app*", record); found;
         found = COsDirectory::FindNextFileA(record), ++listed)
        std::printf("    %-12s %-9s %s\n", record.szFileName, record.bDirectory ? "directory" : "file",
                    COsSystemTime::TimeToString(record.stWriteTime).c_str());
    COsDirectory::FindClose(record);
    std::printf("  %d entries match; GetFileNumHaveSamePrefix(\"logs/app\", \"\") counts the files: %d\n", listed,
                COsDirectory::GetFileNumHaveSamePrefix(root + "/logs/app", ""));
    std::printf("  DeleteDirectory(\"logs\") %s: it is not empty\n", YesNo(COsDirectory::DeleteDirectory(root + "/logs")));
    const bool cleaned = COsDirectory::CleanDirectory(root);
    std::printf("  CleanDirectory(root) %s, then DeleteDirectory(root) %s\n", YesNo(cleaned),
                YesNo(COsDirectory::DeleteDirectory(root)));
}

int main(int argc, char** argv)
{
    // `veltrane --viewer-wait MS` waits that long after starting the hub for the ping, so that a log viewer
    // can attach and show the ping's steps.
    unsigned int viewerWait = 0;
    // `veltrane --text FILE [CODE-PAGE]` prints one text file as UTF-8 with its detected format, and nothing else.
    // The library takes a relative name from its own directory; on the command line it means the current one.
    if (argc >= 3 && std::strcmp(argv[1], "--text") == 0)
        return PrintTextFile(std::filesystem::absolute(argv[2]).string().c_str(), argc >= 4 ? argv[3] : nullptr, "");
    for (int i = 1; i + 1 < argc; ++i) {
        if (std::strcmp(argv[i], "--viewer-wait") == 0)
            viewerWait = static_cast<unsigned int>(std::strtoul(argv[i + 1], nullptr, 10));
    }
    std::printf("Veltrane demonstration\n");
    ShowBlocks();
    ShowStrings();
    ShowCodePages();
    ShowTextFiles();
    ShowPinYin();
    ShowGuids();
    ShowThreads();
    ShowLogHub();
    ShowSockets();
    ShowIdentityAndPaths();
    ShowCalendar();
    ShowPingAndAdapters(viewerWait);
    ShowFiles();
    return 0;
}
