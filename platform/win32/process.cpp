// platform/win32/process.cpp — the executable's name, and children started through cmd.exe on a pipe.
// The child runs inside a job object that kills what is left of it when the job's handle closes, so the
// programs a command starts end with it. Only the pipe's write end is handed to the child: a concurrent
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

std::wstring ShellPath()
{
    // The system directory, never PATH or COMSPEC: the caller's environment does not choose the shell.
    wchar_t directory[MAX_PATH];
    UINT length = ::GetSystemDirectoryW(directory, MAX_PATH);
    if (length == 0 || length >= MAX_PATH)
        return std::wstring();
    return std::wstring(directory, length) + L"\\cmd.exe";
}

// Starts the command suspended with `writeEnd` as its standard output and error and no other handle.
bool StartChild(const std::string& commandLine, HANDLE writeEnd, PROCESS_INFORMATION& child)
{
    std::wstring shell = ShellPath();
    if (shell.empty())
        return false;
    std::wstring line = L"\"" + shell + L"\" /d /c " + win32::Widen(commandLine);
    std::vector<wchar_t> mutableLine(line.begin(), line.end());
    mutableLine.push_back(L'\0');

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
    DWORD flags = CREATE_SUSPENDED | CREATE_NO_WINDOW | (listed ? EXTENDED_STARTUPINFO_PRESENT : 0);
    BOOL started = ::CreateProcessW(nullptr, mutableLine.data(), nullptr, nullptr, TRUE, flags, nullptr, nullptr,
                                    &startup.StartupInfo, &child);
    ::DeleteProcThreadAttributeList(attributes);
    return started != 0;
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

bool RunAndReadOnce(const std::string& commandLine, unsigned waitMilliseconds, unsigned readMilliseconds,
                    size_t capacity, std::string& output)
{
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
    if (!StartChild(commandLine, writeEnd.Get(), child))
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
            output.assign(buffer.data(), count);
    }
    if (!ended) {
        if (!inJob || !::TerminateJobObject(job.Get(), 1))
            ::TerminateProcess(process.Get(), 1);
        ::WaitForSingleObject(process.Get(), kEndWaitMilliseconds);
    }
    return read;
}

}  // namespace platform
