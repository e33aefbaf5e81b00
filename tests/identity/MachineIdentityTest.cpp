// The machine identity query: column search and cleaning, one read of the first output, and children
// that stay silent or never end, which must neither hang the caller nor be left behind.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include <Veltrane.h>

#include "identity/MachineIdentity.h"
#include "tests/support/HostSystem.h"
#include "tests/support/ProcessCounts.h"

namespace {

using platform::MachineQuery;

#ifndef _WIN32
// A query answered by the shell, run from its fixed path like any child program.
MachineQuery Shell(const std::string& script, const std::string& column)
{
    return {{"/bin/sh", {"-c", script}}, column};
}

MachineQuery Printing(const std::string& printfText, const std::string& column)
{
    return Shell("printf '" + printfText + "'", column);
}
#endif

// A unique directory under the temporary directory, removed with the fixture.
class ChildFiles : public ::testing::Test {
protected:
    ChildFiles() { std::filesystem::create_directories(m_Directory); }
    ~ChildFiles() override { std::filesystem::remove_all(m_Directory); }
    std::string File(const std::string& name) const { return (m_Directory / name).string(); }
    const std::filesystem::path m_Directory =
        std::filesystem::temp_directory_path() / ("veltrane-identity-" + COsGuid::NewGuid());
};

#ifndef _WIN32
// The state letter of a process ("R", "S", "Z"...), "" when it is gone and reaped.
std::string ProcessState(const std::string& pid)
{
    std::ifstream stat("/proc/" + pid + "/stat");
    std::string number, name, state;
    stat >> number >> name >> state;
    return state;
}
#endif

double SecondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

TEST(MachineIdentityColumn, ValueBehindFirstColumnNameWithBlanksAndLineEndsRemoved)
{
    // A null value: the column is not found, and the value is left alone.
    struct Row {
        std::string output;
        std::string column;
        const char* value;
    } rows[] = {
        {"SerialNumber  \r\r\nABC 123  \r\r\n", "SerialNumber", "ABC123"},
        {"ProcessorId  \r\r\nBFEBFBFF000906EA  \r\r\nBFEBFBFF000906EB  \r\r\n", "ProcessorId", "BFEBFBFF000906EABFEBFBFF000906EB"},
        {"SerialNumber\nA SerialNumber B\n", "SerialNumber", "ASerialNumberB"},
        {"noise before SerialNumber\tX\n", "SerialNumber", "\tX"},   // only blanks, CR and LF go
        {"SerialNumber\r\n", "SerialNumber", ""},
        {std::string("SerialNumber A\0B", 16), "SerialNumber", "A"},  // the text ends at the first NUL
        {"serialnumber ABC", "SerialNumber", nullptr},                 // case matters
        {std::string("\0SerialNumber A", 15), "SerialNumber", nullptr},
        {"", "SerialNumber", nullptr},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.output);
        std::string value = "stale";
        EXPECT_EQ(identity::ExtractColumnValue(row.output, row.column, value), row.value != nullptr);
        EXPECT_EQ(value, row.value ? row.value : "stale");
    }
}

#ifdef _WIN32
// The children are the system's cmd.exe here, so the commands are cmd's; what they must show is the same.
std::string CommandShell()
{
    wchar_t directory[MAX_PATH];
    UINT length = ::GetSystemDirectoryW(directory, MAX_PATH);
    std::string shell;
    for (UINT index = 0; index < length; ++index)
        shell += static_cast<char>(directory[index]);
    return shell + "\\cmd.exe";
}

// `options` go before /c: "/u" makes cmd write its own output in UTF-16, as the management tool does.
MachineQuery Cmd(const std::string& command, const std::string& column, const char* options = "/d")
{
    return {{CommandShell(), {options, "/c", command}}, column};
}

TEST_F(ChildFiles, ComposeJoinsBothValuesAndRunsTheProcessorQueryOnlyAfterTheBoard)
{
    const MachineQuery processor = Cmd("echo ProcessorId 00FF", "ProcessorId");
    struct {
        MachineQuery board, processor;
        std::string identity;
    } rows[] = {
        {Cmd("echo SerialNumber  ABC 123  ", "SerialNumber"), processor, "mode:Windows;baseBoardSN:ABC123;processorId:00FF"},
        {Cmd("echo SerialNumber", "SerialNumber"), processor, "mode:Windows;baseBoardSN:;processorId:00FF"},
        // Standard error goes to the same pipe.
        {Cmd("echo SerialNumber S1 1>&2", "SerialNumber"), Cmd("echo ProcessorId P1", "ProcessorId"),
         "mode:Windows;baseBoardSN:S1;processorId:P1"},
        // A child that writes UTF-16 is read as text, not cut at its first zero byte.
        {Cmd("echo SerialNumber W1", "SerialNumber", "/u"), Cmd("echo ProcessorId W2", "ProcessorId", "/u"),
         "mode:Windows;baseBoardSN:W1;processorId:W2"},
        {Cmd("echo SerialNumber A", "SerialNumber"), Cmd("echo no column", "ProcessorId"), ""},
    };
    for (const auto& row : rows)
        EXPECT_EQ(identity::ComposeMachineIdentity(row.board, row.processor), row.identity) << row.board.program.arguments[2];

    // A failed board query gives the empty text before the processor query runs.
    const std::string marker = File("processor-ran");
    const MachineQuery touching = Cmd("type nul > " + marker + " & echo ProcessorId 00FF", "ProcessorId");
    EXPECT_EQ(identity::ComposeMachineIdentity(Cmd("echo Nothing here", "SerialNumber"), touching), "");
    EXPECT_FALSE(std::filesystem::exists(marker));
    EXPECT_EQ(identity::ComposeMachineIdentity(Cmd("echo SerialNumber A", "SerialNumber"), touching),
              "mode:Windows;baseBoardSN:A;processorId:00FF");
    EXPECT_TRUE(std::filesystem::exists(marker));
}

TEST_F(ChildFiles, SilentHangingOrLongChildrenAreReadOnceNeitherHangTheCallerNorAreLeftBehind)
{
    const int handlesBefore = veltrane_test::OpenDescriptorCount();
    const int pingsBefore = veltrane_test::ProcessesNamed("ping.exe");
    auto start = std::chrono::steady_clock::now();
    std::string value = "kept";
    EXPECT_FALSE(identity::RunColumnQuery(Cmd("exit /b 0", "SerialNumber"), value));
    EXPECT_FALSE(identity::RunColumnQuery(Cmd("exit /b 3", "SerialNumber"), value));
    EXPECT_LT(SecondsSince(start), 1.0) << "a silent child that ends gives no value at once";

    // A silent child that would run 30 s, and one that writes and then hangs: the program each starts (a
    // ping of this machine, which waits a second between its echoes) dies with the job.
    start = std::chrono::steady_clock::now();
    EXPECT_FALSE(identity::RunColumnQuery(Cmd("ping -n 31 127.0.0.1 >nul", "SerialNumber"), value));
    EXPECT_LT(SecondsSince(start), 3.0);
    EXPECT_EQ(value, "kept");
    start = std::chrono::steady_clock::now();
    EXPECT_TRUE(identity::RunColumnQuery(Cmd("echo SerialNumber A& ping -n 31 127.0.0.1 >nul& echo B", "SerialNumber"),
                                         value));
    EXPECT_LT(SecondsSince(start), 1.9);
    EXPECT_EQ(value, "A");
    int pings = veltrane_test::ProcessesNamed("ping.exe");
    for (int attempt = 0; attempt < 100 && pings > pingsBefore; ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        pings = veltrane_test::ProcessesNamed("ping.exe");
    }
    EXPECT_EQ(pings, pingsBefore) << "a child's program was left running";

    // Only the first read counts, and it takes at most 10000 bytes: 200 lines of 100 characters.
    std::string line(98, 'x');
    ASSERT_TRUE(identity::RunColumnQuery(
        Cmd("echo SerialNumber& for /l %i in (1,1,200) do @echo " + line, "SerialNumber"), value));
    EXPECT_LE(value.size(), 10000u - 12);
    EXPECT_GT(value.size(), 0u);
    EXPECT_EQ(value.find_first_not_of('x'), std::string::npos);
    EXPECT_EQ(veltrane_test::OpenDescriptorCount(), handlesBefore);
}

TEST_F(ChildFiles, ChildProgramsRunFromTheirAbsolutePathWithTheirOwnEnvironment)
{
    // A child sees none of the caller's variables; cmd leaves an unknown %NAME% as written.
    ::SetEnvironmentVariableA("VELTRANE_TEST_SECRET", "leaked");
    std::string value;
    const bool ran = identity::RunColumnQuery(Cmd("echo SerialNumber [%VELTRANE_TEST_SECRET%]", "SerialNumber"), value);
    ::SetEnvironmentVariableA("VELTRANE_TEST_SECRET", nullptr);
    ASSERT_TRUE(ran);
    EXPECT_EQ(value, "[%VELTRANE_TEST_SECRET%]");

    // A program named without an absolute path is never looked for, neither on PATH nor in the current
    // directory; nor is a name or an argument with a NUL inside given to the system.
    value = "kept";
    for (const char* program : {"cmd.exe", "cmd", ".\\cmd.exe", "\\windows\\system32\\cmd.exe", ""})
        EXPECT_FALSE(identity::RunColumnQuery({{program, {"/c", "echo SerialNumber A"}}, "SerialNumber"}, value)) << program;
    EXPECT_FALSE(identity::RunColumnQuery(Cmd(std::string("echo SerialNumber A\0", 20), "SerialNumber"), value));
    EXPECT_EQ(value, "kept");
}

#else
TEST_F(ChildFiles, ComposeJoinsBothValuesAndRunsTheProcessorQueryOnlyAfterTheBoard)
{
    const MachineQuery processor = Printing("ProcessorId\\n00FF\\n", "ProcessorId");
    struct {
        MachineQuery board, processor;
        std::string identity;
    } rows[] = {
        {Printing("SerialNumber  \\r\\r\\nABC 123  \\r\\r\\n", "SerialNumber"), processor,
         "mode:Windows;baseBoardSN:ABC123;processorId:00FF"},
        {Printing("SerialNumber\\n", "SerialNumber"), processor, "mode:Windows;baseBoardSN:;processorId:00FF"},
        // Standard error goes to the same pipe.
        {Shell("echo SerialNumber S1 >&2", "SerialNumber"), Shell("echo ProcessorId P1", "ProcessorId"),
         "mode:Windows;baseBoardSN:S1;processorId:P1"},
        {Printing("SerialNumber A\\n", "SerialNumber"), Printing("no column\\n", "ProcessorId"), ""},
    };
    for (const auto& row : rows)
        EXPECT_EQ(identity::ComposeMachineIdentity(row.board, row.processor), row.identity) << row.board.program.arguments.back();

    // A failed board query gives the empty text before the processor query runs.
    const std::string marker = File("processor-ran");
    const MachineQuery touching = Shell("touch '" + marker + "'; echo ProcessorId 00FF", "ProcessorId");
    EXPECT_EQ(identity::ComposeMachineIdentity(Printing("Nothing here\\n", "SerialNumber"), touching), "");
    EXPECT_FALSE(std::filesystem::exists(marker));
    EXPECT_EQ(identity::ComposeMachineIdentity(Printing("SerialNumber A\\n", "SerialNumber"), touching),
              "mode:Windows;baseBoardSN:A;processorId:00FF");
    EXPECT_TRUE(std::filesystem::exists(marker));
}

TEST_F(ChildFiles, SilentHangingOrLongChildrenAreReadOnceNeitherHangTheCallerNorAreLeftBehind)
{
    const std::string pidFile = File("pid");
    const int descriptorsBefore = veltrane_test::OpenDescriptorCount();
    auto start = std::chrono::steady_clock::now();
    std::string value = "kept";
    EXPECT_FALSE(identity::RunColumnQuery(Shell("true", "SerialNumber"), value));
    EXPECT_FALSE(identity::RunColumnQuery(Shell("exit 3", "SerialNumber"), value));
    EXPECT_LT(SecondsSince(start), 1.0) << "a silent child that ends gives no value at once";

    start = std::chrono::steady_clock::now();
    EXPECT_FALSE(identity::RunColumnQuery(Shell("echo $$ > '" + pidFile + "'; exec sleep 30", "SerialNumber"), value));
    EXPECT_LT(SecondsSince(start), 3.0);
    EXPECT_EQ(value, "kept");
    std::string pid, grandchild;
    std::ifstream(pidFile) >> pid;
    ASSERT_FALSE(pid.empty());
    EXPECT_EQ(ProcessState(pid), "") << "child " << pid << " was left running or unreaped";

    // A child that writes then hangs is read once. The grandchild holds the pipe too: only killing the
    // whole group lets nothing linger.
    start = std::chrono::steady_clock::now();
    EXPECT_TRUE(identity::RunColumnQuery(
        Shell("sleep 30 & echo $! > '" + pidFile + "'; printf 'SerialNumber A'; sleep 2; printf B; wait", "SerialNumber"),
        value));
    EXPECT_LT(SecondsSince(start), 1.9);
    EXPECT_EQ(value, "A");
    std::ifstream(pidFile) >> grandchild;
    ASSERT_FALSE(grandchild.empty());
    // The grandchild's parent was the killed shell; whoever inherits it reaps it, which takes a moment.
    std::string state = ProcessState(grandchild);
    for (int attempt = 0; attempt < 100 && !state.empty() && state != "Z"; ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        state = ProcessState(grandchild);
    }
    EXPECT_TRUE(state.empty() || state == "Z") << "grandchild " << grandchild << " still runs";

    // Only the first read counts, and it takes at most 10000 bytes.
    ASSERT_TRUE(identity::RunColumnQuery(
        Shell("printf 'SerialNumber '; head -c 20000 /dev/zero | tr '\\000' x", "SerialNumber"), value));
    EXPECT_EQ(value, std::string(10000 - 13, 'x'));
    EXPECT_EQ(veltrane_test::OpenDescriptorCount(), descriptorsBefore);
}

// Programs of the caller's choosing, in a directory put first on PATH and made the current directory:
// each would leave a marker and answer both columns with INJECTED.
class PlantedPrograms : public ChildFiles {
protected:
    PlantedPrograms()
    {
        for (const char* name : {"awk", "mawk", "gawk", "sh", "cat", "printf", "env"}) {
            const std::string path = File(name);
            std::ofstream(path) << "#!/bin/sh\ntouch '" << File("ran") << "'\necho SerialNumber INJECTED ProcessorId INJECTED\n";
            std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        }
        const char* path = std::getenv("PATH");
        m_szPath = path ? path : "";
        ::setenv("PATH", (m_Directory.string() + ":" + m_szPath).c_str(), 1);
        ::setenv("VELTRANE_TEST_SECRET", "leaked", 1);
        m_Previous = std::filesystem::current_path();
        std::filesystem::current_path(m_Directory);
    }
    ~PlantedPrograms() override
    {
        std::filesystem::current_path(m_Previous);
        ::setenv("PATH", m_szPath.c_str(), 1);
        ::unsetenv("VELTRANE_TEST_SECRET");
    }
    std::string m_szPath;
    std::filesystem::path m_Previous;
};

TEST_F(PlantedPrograms, TheIdentityQueriesRunFixedProgramsWithTheirOwnEnvironment)
{
    const std::string code = COsSystem::GetPCUniqueCode();
    EXPECT_EQ(code.find("INJECTED"), std::string::npos) << code;
    EXPECT_EQ(code.rfind("mode:Windows;baseBoardSN:", 0), 0u) << code;
    EXPECT_FALSE(std::filesystem::exists(File("ran")));

    // A child sees neither the caller's variables nor the caller's PATH.
    std::string value;
    ASSERT_TRUE(identity::RunColumnQuery(Shell("echo SerialNumber \"[$VELTRANE_TEST_SECRET]\"; echo \"$PATH\"", "SerialNumber"), value));
    EXPECT_EQ(value.find("leaked"), std::string::npos) << value;
    EXPECT_EQ(value.rfind("[]", 0), 0u) << value;
    EXPECT_EQ(value.find(m_Directory.string()), std::string::npos) << value;
    ASSERT_TRUE(identity::RunColumnQuery(Shell("echo SerialNumber; awk 'BEGIN { print 7 }'", "SerialNumber"), value));
    EXPECT_EQ(value, "7");
    EXPECT_FALSE(std::filesystem::exists(File("ran")));

    // A program named without an absolute path is never looked for, neither on PATH nor here.
    value = "kept";
    for (const char* program : {"sh", "./sh", ""})
        EXPECT_FALSE(identity::RunColumnQuery({{program, {"-c", "echo SerialNumber A"}}, "SerialNumber"}, value)) << program;
    EXPECT_FALSE(identity::RunColumnQuery({{"/bin/sh", {"-c", std::string("echo SerialNumber A\0", 21)}}, "SerialNumber"}, value));
    EXPECT_EQ(value, "kept");
    EXPECT_FALSE(std::filesystem::exists(File("ran")));
}
#endif

TEST(COsSystemGetPCUniqueCode, ThisHostAnswersWithBothLabels)
{
    const std::string code = COsSystem::GetPCUniqueCode();
    ASSERT_EQ(code.rfind("mode:Windows;baseBoardSN:", 0), 0u) << code;
    const size_t processor = code.find(";processorId:");
    ASSERT_NE(processor, std::string::npos) << code;
    EXPECT_EQ(code.find_first_of(" \r\n"), std::string::npos) << code;
    // A processor id is the hexadecimal signature of each processor package: eight digits of CPUID's leaf 1
    // here, sixteen (its EDX and EAX) from the management tool on Windows.
    const std::string processorId = code.substr(processor + 13);
    EXPECT_EQ(processorId.size() % 8, 0u) << code;
    EXPECT_EQ(processorId.find_first_not_of("0123456789ABCDEF"), std::string::npos) << code;
}
