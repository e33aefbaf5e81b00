// platform/win32/process.cpp — the executable's name, and child programs on a pipe. The child runs inside a
// job object that kills what is left of it when the job's handle closes, so the programs it starts end with
// it. Only the pipe's write end is handed to the child: a concurrent
// query's child never holds this query's pipe open. An anonymous pipe has no time-limited read, so the
// one read waits by looking at the pipe until output is there, its writers are gone, or the time is up.
#include "platform/process.h"

#include <windows.h>

#include <vector>

#include "platform/win32/SystemText.h"

namespace platform {

namespace {

// A killed child is gone within milliseconds; the bound keeps a system that never says so from holding us.
constexpr DWORD kEndWaitMilliseconds = 5000;

class Handle
{
public:
    explicit Handle(HANDLE handle = nullptr) : m_handle(handle) {}
    ~Handle() { Close(); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    HANDLE Get() const { return m_handle; }
    HANDLE* Out() { return &m_handle; }
    void Close()
    {
        if (m_handle != nullptr && m_handle != INVALID_HANDLE_VALUE)
            ::CloseHandle(m_handle);
        m_handle = nullptr;
    }

private:
    HANDLE m_handle;
};

std::wstring SystemPath(UINT(WINAPI* directoryOf)(LPWSTR, UINT))
{
    wchar_t directory[MAX_PATH];
    UINT length = directoryOf(directory, MAX_PATH);
    if (length == 0 || length >= MAX_PATH)
        return std::wstring();
    return std::wstring(directory, length);
}

// A drive's root ("C:\", "C:/") or a network name ("\\server"): a program from anywhere else would be looked
// for relative to the current directory or along PATH.
bool IsAbsoluteProgram(const std::string& path)
{
    const bool drive = path.size() >= 3 && ((path[0] >= 'A' && path[0] <= 'Z') || (path[0] >= 'a' && path[0] <= 'z')) &&
                       path[1] == ':' && (path[2] == '\\' || path[2] == '/');
    const bool network = path.size() >= 3 && (path[0] == '\\' || path[0] == '/') && (path[1] == '\\' || path[1] == '/');
    return drive || network;
}

bool Runnable(const ChildProgram& program)
{
    if (!IsAbsoluteProgram(program.path) || program.path.find('\0') != std::string::npos)
        return false;
    for (const std::string& argument : program.arguments)
        if (argument.find('\0') != std::string::npos)
            return false;
    return true;
}

// One argument as the C runtime splits a command line back: quoted when it is empty or holds a blank or a
// quote, a quote escaped with a backslash, and the backslashes before a quote (or the closing one) doubled.
void AppendArgument(std::wstring& line, const std::wstring& argument)
{
    if (!line.empty())
        line += L' ';
    if (!argument.empty() && argument.find_first_of(L" \t\n\v\"") == std::wstring::npos) {
        line += argument;
        return;
    }
    line += L'"';
    size_t backslashes = 0;
    for (wchar_t unit : argument) {
        if (unit == L'\\') {
            ++backslashes;
            continue;
        }
        if (unit == L'"')
            line.append(2 * backslashes + 1, L'\\');
        else
            line.append(backslashes, L'\\');
        backslashes = 0;
        line += unit;
    }
    line.append(2 * backslashes, L'\\');
    line += L'"';
}

// The child's whole environment: the system's root and its directories on PATH, nothing of the caller's.
std::wstring MinimalEnvironment()
{
    const std::wstring root = SystemPath(::GetSystemWindowsDirectoryW);
    const std::wstring system = SystemPath(::GetSystemDirectoryW);
    std::wstring block;
    for (const std::wstring& entry : {L"SystemRoot=" + root, L"windir=" + root, L"PATH=" + system + L";" + root}) {
        block += entry;
        block += L'\0';
    }
    block += L'\0';
    return block;
}

// Starts the program suspended with `writeEnd` as its standard output and error and no other handle.
bool StartChild(const ChildProgram& program, HANDLE writeEnd, PROCESS_INFORMATION& child)
{
    const std::wstring path = win32::Widen(program.path);
    std::wstring line;
    AppendArgument(line, path);
    for (const std::string& argument : program.arguments)
        AppendArgument(line, win32::Widen(argument));
    std::vector<wchar_t> mutableLine(line.begin(), line.end());
    mutableLine.push_back(L'\0');
    std::wstring environment = MinimalEnvironment();

    SIZE_T attributeSize = 0;
    ::InitializeProcThreadAttributeList(nullptr, 1, 0, &attributeSize);
    std::vector<unsigned char> attributeStorage(attributeSize);
    auto attributes = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(attributeStorage.data());
    if (!::InitializeProcThreadAttributeList(attributes, 1, 0, &attributeSize))
        return false;
    HANDLE inherited[] = {writeEnd};
    bool listed = ::UpdateProcThreadAttribute(attributes, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, inherited,
                                              sizeof(inherited), nullptr, nullptr) != 0;

    STARTUPINFOEXW startup;
    ZeroMemory(&startup, sizeof(startup));
    startup.StartupInfo.cb = sizeof(startup);
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES | STARTF_USESHOWWINDOW;
    startup.StartupInfo.wShowWindow = SW_HIDE;
    startup.StartupInfo.hStdInput = ::GetStdHandle(STD_INPUT_HANDLE);
    startup.StartupInfo.hStdOutput = writeEnd;
    startup.StartupInfo.hStdError = writeEnd;
    startup.lpAttributeList = listed ? attributes : nullptr;
    DWORD flags = CREATE_SUSPENDED | CREATE_NO_WINDOW | CREATE_UNICODE_ENVIRONMENT |
                  (listed ? EXTENDED_STARTUPINFO_PRESENT : 0);
    // The application name is given, so the system never searches for the program.
    BOOL started = ::CreateProcessW(path.c_str(), mutableLine.data(), nullptr, nullptr, TRUE, flags, &environment[0],
                                    nullptr, &startup.StartupInfo, &child);
    ::DeleteProcThreadAttributeList(attributes);
    return started != 0;
}

// A child that writes UTF-16 to a pipe (the system's management tool does) is given as UTF-8, so that its
// columns are found like any other program's: the byte order mark, or a first unit that is ASCII, tells.
std::string AsUtf8(const std::string& bytes)
{
    const bool marked = bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF &&
                        static_cast<unsigned char>(bytes[1]) == 0xFE;
    const bool wide = marked || (bytes.size() >= 2 && bytes[0] != '\0' && bytes[1] == '\0');
    if (!wide)
        return bytes;
    std::wstring units(bytes.size() / 2, L'\0');
    for (size_t index = 0; index < units.size(); ++index)
        units[index] = static_cast<wchar_t>(static_cast<unsigned char>(bytes[2 * index]) |
                                            static_cast<unsigned char>(bytes[2 * index + 1]) << 8);
    return win32::Narrow(marked ? units.substr(1) : units);
}

// Waits until the pipe has output or no writer, or the time is up. False when the pipe failed.
bool WaitForOutput(HANDLE readEnd, unsigned milliseconds, bool& hasOutput)
{
    ULONGLONG deadline = ::GetTickCount64() + milliseconds;
    for (;;) {
        DWORD available = 0;
        if (!::PeekNamedPipe(readEnd, nullptr, 0, nullptr, &available, nullptr)) {
            hasOutput = false;
            return ::GetLastError() == ERROR_BROKEN_PIPE;  // every writer has gone: nothing more will come
        }
        if (available > 0) {
            hasOutput = true;
            return true;
        }
        if (::GetTickCount64() >= deadline) {
            hasOutput = false;
            return true;
        }
        ::Sleep(2);
    }
}

}  // namespace

uint32_t CurrentProcessId()
{
    return ::GetCurrentProcessId();
}

std::string ExecutablePath()
{
    return win32::ModuleFilePath(nullptr);
}

bool RunAndReadOnce(const ChildProgram& program, unsigned waitMilliseconds, unsigned readMilliseconds,
                    size_t capacity, std::string& output)
{
    if (!Runnable(program))
        return false;
    Handle readEnd, writeEnd;
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    if (!::CreatePipe(readEnd.Out(), writeEnd.Out(), &inheritable, 0))
        return false;
    ::SetHandleInformation(readEnd.Get(), HANDLE_FLAG_INHERIT, 0);

    Handle job(::CreateJobObjectW(nullptr, nullptr));
    if (job.Get() == nullptr)
        return false;
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits;
    ZeroMemory(&limits, sizeof(limits));
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    ::SetInformationJobObject(job.Get(), JobObjectExtendedLimitInformation, &limits, sizeof(limits));

    PROCESS_INFORMATION child;
    ZeroMemory(&child, sizeof(child));
    if (!StartChild(program, writeEnd.Get(), child))
        return false;
    Handle process(child.hProcess), thread(child.hThread);
    const bool inJob = ::AssignProcessToJobObject(job.Get(), process.Get()) != 0;
    ::ResumeThread(thread.Get());
    writeEnd.Close();

    const bool ended = ::WaitForSingleObject(process.Get(), waitMilliseconds) == WAIT_OBJECT_0;
    bool hasOutput = false;
    bool read = WaitForOutput(readEnd.Get(), ended ? 0 : readMilliseconds, hasOutput);
    if (read && hasOutput && capacity > 0) {
        std::vector<char> buffer(capacity);
        DWORD chunk = capacity > MAXDWORD ? MAXDWORD : static_cast<DWORD>(capacity);
        DWORD count = 0;
        read = ::ReadFile(readEnd.Get(), buffer.data(), chunk, &count, nullptr) != 0;
        if (read)
            output = AsUtf8(std::string(buffer.data(), count));
    }
    if (!ended) {
        if (!inJob || !::TerminateJobObject(job.Get(), 1))
            ::TerminateProcess(process.Get(), 1);
        ::WaitForSingleObject(process.Get(), kEndWaitMilliseconds);
    }
    return read;
}

}  // namespace platform
