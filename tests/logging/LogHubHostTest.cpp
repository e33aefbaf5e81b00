// The log hub in a host process of its own whose standard output is closed, never read, or read by the test:
// the echo of the viewer's words must neither kill nor hold the host, and the words it keeps are bounded.
#include "tests/logging/LogHubFixture.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <poll.h>
#include <unistd.h>

extern char** environ;
#endif

#include <cerrno>

#include "logging/LogFilterList.h"

namespace loghub_test {

namespace {

enum class Output { Closed, Unread, Read };

// Finds in `text` the first whole line that begins with `prefix`: gives the rest of it in `rest` (a CR before
// its line end dropped) and drops it and all before it from `text`.
bool TakeLine(std::string& text, const std::string& prefix, std::string& rest)
{
    for (size_t lineStart = 0, end; (end = text.find('\n', lineStart)) != std::string::npos; lineStart = end + 1) {
        if (text.compare(lineStart, prefix.size(), prefix) == 0) {
            rest = text.substr(lineStart + prefix.size(), end - lineStart - prefix.size());
            text.erase(0, end + 1);
            if (!rest.empty() && rest.back() == '\r')
                rest.pop_back();
            return true;
        }
    }
    return false;
}

#ifdef _WIN32
// Windows has no SIGPIPE: a write to a pipe whose reader has gone fails with an error of its own.
struct NoSigPipe
{
    NoSigPipe() {}
    ~NoSigPipe() {}
};

// The hub host as a child process, with its standard input and error on pipes to the test and its standard
// output as `kind` says; it runs beside this program, and ends with the test's job if the test dies.
class ChildHost
{
public:
    explicit ChildHost(Output kind)
    {
        SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        HANDLE inputRead, inputWrite, outputRead, outputWrite, errorsRead, errorsWrite;
        if (!CreatePipe(&inputRead, &inputWrite, &inheritable, 0))
            return;
        CreatePipe(&outputRead, &outputWrite, &inheritable, 0);
        CreatePipe(&errorsRead, &errorsWrite, &inheritable, 0);
        for (HANDLE own : {inputWrite, outputRead, errorsRead})
            SetHandleInformation(own, HANDLE_FLAG_INHERIT, 0);
        STARTUPINFOA startup{};
        startup.cb = sizeof(startup);
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdInput = inputRead;
        startup.hStdOutput = outputWrite;
        startup.hStdError = errorsWrite;
        std::string program = COsSystem::GetProcessPath();
        program = program.substr(0, program.rfind('/') + 1) + VELTRANE_LOGHUB_HOST_FILE_NAME;
        std::string line = "\"" + program + "\"";
        PROCESS_INFORMATION child{};
        if (CreateProcessA(nullptr, &line[0], nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr, nullptr, &startup,
                           &child)) {
            m_process = child.hProcess;
            CloseHandle(child.hThread);
        }
        for (HANDLE childs : {inputRead, outputWrite, errorsWrite})
            CloseHandle(childs);
        m_input = inputWrite;
        m_errors = errorsRead;
        if (kind == Output::Closed)
            CloseHandle(outputRead);  // a pipe whose reader has gone: the host's writes fail
        else
            m_output = outputRead;  // Unread: held open and never read, so that it fills up
    }

    ~ChildHost()
    {
        if (m_process != nullptr) {
            TerminateProcess(m_process, 1);
            WaitForSingleObject(m_process, 5000);
            CloseHandle(m_process);
        }
        for (HANDLE handle : {m_input, m_output, m_errors}) {
            if (handle != nullptr)
                CloseHandle(handle);
        }
    }

    // The port that the host's hub listens on, or -1.
    int Port() { return std::atoi(AwaitLine(m_errors, m_errorText, "port ", milliseconds(10000)).c_str()); }

    bool Command(const std::string& line)
    {
        const std::string text = line + "\n";
        DWORD written = 0;
        return WriteFile(m_input, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) &&
               written == text.size();
    }

    // Up to the next line end of the host's standard output, or "" after `limit`.
    std::string OutputLine(milliseconds limit = milliseconds(5000)) { return AwaitLine(m_output, m_outputText, "", limit); }

    // Ends the hub and the host: the milliseconds that FreeInstance took (-1 if the host never said), and
    // whether the host then exited with 0 within a few seconds (it is killed otherwise).
    std::pair<long long, bool> End()
    {
        Command("end");
        const std::string freed = AwaitLine(m_errors, m_errorText, "freed ", milliseconds(5000));
        const long long took = freed.empty() ? -1 : std::atoll(freed.c_str());
        const bool exited = m_process != nullptr && WaitForSingleObject(m_process, 5000) == WAIT_OBJECT_0;
        DWORD status = 1;
        if (exited) {
            GetExitCodeProcess(m_process, &status);
            CloseHandle(m_process);
            m_process = nullptr;
        }
        return {took, exited && status == 0};
    }

private:
    // Reads `pipe` into `text` until it holds a line that begins with `prefix`; gives the rest of that line
    // (its CR dropped) and drops what came before it, or "" when `limit` passed or the pipe ended first.
    static std::string AwaitLine(HANDLE pipe, std::string& text, const std::string& prefix, milliseconds limit)
    {
        const Clock::time_point start = Clock::now();
        for (;;) {
            std::string rest;
            if (TakeLine(text, prefix, rest))
                return rest;
            DWORD available = 0;
            if (!PeekNamedPipe(pipe, nullptr, 0, nullptr, &available, nullptr))
                return "";
            if (available == 0) {
                if (MillisecondsSince(start) >= limit.count())
                    return "";
                std::this_thread::sleep_for(milliseconds(5));
                continue;
            }
            char chunk[4096];
            DWORD got = 0;
            if (!ReadFile(pipe, chunk, sizeof(chunk) < available ? sizeof(chunk) : available, &got, nullptr) || got == 0)
                return "";
            text.append(chunk, got);
        }
    }

    HANDLE m_process = nullptr;
    HANDLE m_input = nullptr, m_output = nullptr, m_errors = nullptr;
    std::string m_outputText, m_errorText;
};

#else
// Ignores SIGPIPE in the test process for its scope: a write to a host that died must fail, not kill the test.
struct NoSigPipe
{
    struct sigaction previous {};
    NoSigPipe()
    {
        struct sigaction ignore {};
        ignore.sa_handler = SIG_IGN;
        sigaction(SIGPIPE, &ignore, &previous);
    }
    ~NoSigPipe() { sigaction(SIGPIPE, &previous, nullptr); }
};

// The hub host as a child process, with its standard input and error on pipes to the test and its standard
// output as `kind` says. SIGPIPE has its default action in the child, as in a shell's pipeline.
class ChildHost
{
public:
    explicit ChildHost(Output kind)
    {
        int input[2], output[2], errors[2];
        if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0 || pipe2(errors, O_CLOEXEC) != 0)
            return;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, input[0], 0);
        posix_spawn_file_actions_adddup2(&actions, output[1], 1);
        posix_spawn_file_actions_adddup2(&actions, errors[1], 2);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        sigset_t defaults, none;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE);
        sigemptyset(&none);
        posix_spawnattr_setsigdefault(&attributes, &defaults);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
        char path[] = VELTRANE_LOGHUB_HOST_PATH;
        char* arguments[] = {path, nullptr};
        if (posix_spawn(&m_pid, path, &actions, &attributes, arguments, environ) != 0)
            m_pid = -1;
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
        close(input[0]);
        close(output[1]);
        close(errors[1]);
        m_input = input[1];
        m_errors = errors[0];
        if (kind == Output::Closed)
            close(output[0]);  // a pipe whose reader has gone: the host's writes raise SIGPIPE
        else
            m_output = output[0];  // Unread: held open and never read, so that it fills up
    }

    ~ChildHost()
    {
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
        for (int descriptor : {m_input, m_output, m_errors}) {
            if (descriptor >= 0)
                close(descriptor);
        }
    }

    // The port that the host's hub listens on, or -1.
    int Port() { return std::atoi(AwaitLine(m_errors, m_errorText, "port ", milliseconds(10000)).c_str()); }

    bool Command(const std::string& line)
    {
        const std::string text = line + "\n";
        return write(m_input, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    }

    // Up to the next line end of the host's standard output, or "" after `limit`.
    std::string OutputLine(milliseconds limit = milliseconds(5000)) { return AwaitLine(m_output, m_outputText, "", limit); }

    // Ends the hub and the host: the milliseconds that FreeInstance took (-1 if the host never said), and
    // whether the host then exited with 0 within a few seconds (it is killed otherwise).
    std::pair<long long, bool> End()
    {
        Command("end");
        const std::string freed = AwaitLine(m_errors, m_errorText, "freed ", milliseconds(5000));
        const long long took = freed.empty() ? -1 : std::atoll(freed.c_str());
        int status = -1;
        const bool exited = WaitFor([&] { return waitpid(m_pid, &status, WNOHANG) == m_pid; }, milliseconds(5000));
        if (exited)
            m_pid = -1;
        return {took, exited && WIFEXITED(status) && WEXITSTATUS(status) == 0};
    }

private:
    // Reads `descriptor` into `text` until it holds a line that begins with `prefix`; gives the rest of that
    // line and drops what came before it, or "" when `limit` passed or the descriptor ended first.
    static std::string AwaitLine(int descriptor, std::string& text, const std::string& prefix, milliseconds limit)
    {
        const Clock::time_point start = Clock::now();
        for (;;) {
            std::string rest;
            if (TakeLine(text, prefix, rest))
                return rest;
            const long long left = limit.count() - MillisecondsSince(start);
            pollfd entry{descriptor, POLLIN, 0};
            if (left <= 0 || poll(&entry, 1, static_cast<int>(left)) <= 0)
                return "";
            char chunk[4096];
            const ssize_t got = read(descriptor, chunk, sizeof(chunk));
            if (got <= 0)
                return "";
            text.append(chunk, static_cast<size_t>(got));
        }
    }

    pid_t m_pid = -1;
    int m_input = -1, m_output = -1, m_errors = -1;
    std::string m_outputText, m_errorText;
};

#endif

void SendWord(RawViewer& viewer, const std::string& word)
{
    const std::string withNul = word + '\0';
    viewer.socket->Send(withNul.data(), static_cast<unsigned int>(withNul.size()));
}

}  // namespace

TEST_F(LogHubTest, AHostWhoseStandardOutputIsClosedOrNeverReadKeepsServingAndEndsWithinASecond)
{
    NoSigPipe noSigPipe;
    for (Output kind : {Output::Closed, Output::Unread}) {
        SCOPED_TRACE(kind == Output::Closed ? "closed standard output" : "standard output nobody reads");
        ChildHost host(kind);
        const int port = host.Port();
        ASSERT_GT(port, 0) << "the host started its hub";
        RawViewer viewer(port);
        ASSERT_TRUE(viewer.AwaitHeartbeat());
        if (kind == Output::Unread) {
            // About 400 KiB of words, each a receive of its own: the echo fills the pipe after its first 64 KiB.
            const std::string block(4000, 'x');
            for (int word = 0; word < 100; ++word)
                viewer.socket->Send(block.data(), static_cast<unsigned int>(block.size()));
            std::this_thread::sleep_for(milliseconds(1000));
        }
        SendWord(viewer, "keep");
        std::this_thread::sleep_for(milliseconds(300));
        ASSERT_TRUE(host.Command("push dropped|") && host.Command("push keep|"));
        EXPECT_EQ(viewer.ReadMessages(5), "keep|") << "the host lives, and the receiver still toggles words";

        const auto [took, exitedCleanly] = host.End();
        EXPECT_GE(took, 0) << "FreeInstance returned";
        EXPECT_LT(took, 1000) << "FreeInstance was held up";
        EXPECT_TRUE(exitedCleanly) << "the host ended by itself, with 0, not by a signal";
    }
}

TEST_F(LogHubTest, HubEchoesEachWordOnItsOwnLineAndKeepsNoMoreWordsThanItsBound)
{
    NoSigPipe noSigPipe;
    ChildHost host(Output::Read);
    const int port = host.Port();
    ASSERT_GT(port, 0);
    RawViewer viewer(port);
    ASSERT_TRUE(viewer.AwaitHeartbeat());
    // Each word is sent once its predecessor has been echoed, so that each arrives in a receive of its own.
    auto sendAndEcho = [&](const std::string& word) {
        SendWord(viewer, word);
        return host.OutputLine() == word;
    };
    for (size_t word = 0; word < LogFilterList::kMaxWords; ++word)
        ASSERT_TRUE(sendAndEcho("w" + std::to_string(word))) << "word " << word;
    ASSERT_TRUE(sendAndEcho("over")) << "a word past the bound is still echoed";
    ASSERT_TRUE(host.Command("push over|") && host.Command("push w7|"));
    EXPECT_EQ(viewer.ReadMessages(3), "w7|") << "the word past the bound was not taken as a filter";

    ASSERT_TRUE(sendAndEcho("w0"));  // switched off, which makes room
    ASSERT_TRUE(sendAndEcho("over"));
    std::this_thread::sleep_for(milliseconds(100));  // the echo comes before the toggle
    ASSERT_TRUE(host.Command("push over|"));
    EXPECT_EQ(viewer.ReadMessages(5), "over|");

    const auto [took, exitedCleanly] = host.End();
    EXPECT_TRUE(took >= 0 && took < 1000) << took;
    EXPECT_TRUE(exitedCleanly);
}

}  // namespace loghub_test
