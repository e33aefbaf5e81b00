// CVeltrane: the facade's snapshot of library, machine and process, and its life cycle.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <cstdio>

#include <Veltrane.h>

#include "tests/support/HostSystem.h"
#include "tests/support/TempDir.h"

TEST(CVeltrane, OneObjectFromConcurrentFirstCallsAnswersForLibraryMachineAndProcessAndEndsWithItsLogHub)
{
    CVeltrane::FreeInstance();
    CVeltrane::FreeInstance();  // without an object it does nothing
    std::vector<CVeltrane*> seen(8, nullptr);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < seen.size(); ++i)
        threads.emplace_back([&seen, i] { seen[i] = CVeltrane::GetInstance(); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(std::set<CVeltrane*>(seen.begin(), seen.end()).size(), 1u);
    CVeltrane* facade = CVeltrane::GetInstance();
    ASSERT_NE(facade, nullptr);
    EXPECT_EQ(facade, seen[0]);

    EXPECT_EQ(facade->VeltraneVersion(), "1.25.0104.00");
    EXPECT_EQ(facade->DestOsVersion(), veltrane_test::kSystemFamily);
    EXPECT_EQ(facade->DestOsBit(), "64");
    EXPECT_EQ(facade->CoreVersion(), facade->OsVersion());
    EXPECT_EQ(facade->OsBits(), 64u);   // a 64-bit process runs on a 64-bit machine only
    EXPECT_EQ(facade->ProcessName(), std::string("identity_tests") + veltrane_test::kExecutableSuffix);
    EXPECT_EQ(COsSystem::GetProcessPath(), COsDirectory::GetCurrentModuleFileName());
    EXPECT_FALSE(facade->GCCVersion().empty());
    if (veltrane_test::kWindowsHost) {
        // Windows names itself through its version record; the computer's name is its DNS host name, of
        // which the environment's NetBIOS name is the first 15 characters in capitals.
        EXPECT_EQ(facade->OsVersion().rfind("Microsoft Windows ", 0), 0u) << facade->OsVersion();
        std::string host = facade->MachineName();
        for (char& c : host)
            c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        const char* netbios = std::getenv("COMPUTERNAME");
        EXPECT_EQ(host.substr(0, 15), netbios ? netbios : "") << facade->MachineName();
        EXPECT_TRUE(std::filesystem::exists(facade->ProcessPath())) << facade->ProcessPath();
    } else {
        std::string release, host;
        std::ifstream("/proc/sys/kernel/osrelease") >> release;
        std::ifstream("/proc/sys/kernel/hostname") >> host;
        EXPECT_NE(facade->OsVersion().find(release), std::string::npos) << facade->OsVersion();
        EXPECT_EQ(facade->MachineName(), host);
        EXPECT_EQ(facade->ProcessPath(), std::filesystem::canonical("/proc/self/exe").string());
    }

    const std::string library = facade->VeltraneLibDir();
    ASSERT_FALSE(library.empty());
    EXPECT_TRUE(library.front() == '/' || (veltrane_test::kWindowsHost && library.substr(1, 2) == ":/")) << library;
    EXPECT_TRUE(std::filesystem::exists(library + veltrane_test::kLibraryFileName)) << library;
    // The library's own directory, not the executable's: the test binary lives in a subdirectory. Windows
    // finds a program's DLLs beside it, so there the two directories are one and cannot be told apart.
    if (!veltrane_test::kWindowsHost) {
        EXPECT_NE(library, facade->ProcessPath().substr(0, facade->ProcessPath().rfind('/') + 1));
    }
    EXPECT_EQ(library, COsSystem::GetVeltraneLibDir());

    CVeltrane::FreeInstance();
    facade = CVeltrane::GetInstance();
    ASSERT_NE(facade, nullptr);
    EXPECT_EQ(facade->VeltraneLibDir(), library) << "a working object after FreeInstance";
    // The facade ends a started log hub with itself.
    COsLog* hub = COsLog::GetInstance();
    if (hub->Start() != 0)
        GTEST_SKIP() << "no free port for the log hub on this machine";
    ASSERT_TRUE(hub->IsRunning());
    CVeltrane::FreeInstance();
    EXPECT_FALSE(COsLog::GetInstance()->IsRunning());
    COsLog::FreeInstance();
}

#ifndef _WIN32
namespace {

// The output of `program`, a copy of this test binary, run from `directory` with the variables
// `environment` ("NAME='value' ...") for the tests named by `filter`.
std::string OutputOfChild(const std::string& program, const std::string& directory, const std::string& environment,
                          const std::string& filter)
{
    const std::string command = "cd '" + directory + "' && " + environment + " '" + program +
                                "' --gtest_filter=" + filter + " 2>&1";
    std::string output;
    if (FILE* child = ::popen(command.c_str(), "r")) {
        char chunk[4096];
        for (size_t got; (got = std::fread(chunk, 1, sizeof chunk, child)) > 0;)
            output.append(chunk, got);
        EXPECT_EQ(::pclose(child), 0) << output;
    }
    return output;
}

// The answers of a child run of this test binary that found the library through `searchPath`, from
// `directory`, and moved to `elsewhere` before its first question: "[directory D][absolute A]".
std::string AnswersOfChild(const std::string& directory, const std::string& searchPath, const std::string& elsewhere)
{
    return OutputOfChild(COsSystem::GetProcessPath(), directory,
                         "VELTRANE_TEST_MOVE_TO='" + elsewhere + "' LD_LIBRARY_PATH='" + searchPath + "'",
                         "COsSystemGetVeltraneLibDir.*");
}

}  // namespace

// A library's directory is the one it was loaded from, and relative names are taken from there, however
// the loader named it: by a relative name ("./libVeltrane.so.1" through the search path "."), relative to
// a current directory that the process has left since; or by a name longer than the path rules split.
// The test runs itself so, in children.
TEST(COsSystemGetVeltraneLibDir, ALibraryFoundByARelativeOrALongNameKeepsItsDirectory)
{
    if (const char* elsewhere = std::getenv("VELTRANE_TEST_MOVE_TO")) {
        std::filesystem::current_path(elsewhere);
        std::string absolute;
        COsDirectory::GetAbsolutePath("data.txt", absolute);
        std::printf("[directory %s][absolute %s]\n", COsSystem::GetVeltraneLibDir().c_str(), absolute.c_str());
        return;
    }
    veltrane_test::TempDir elsewhere;
    const std::string library = COsSystem::GetVeltraneLibDir();
    const std::string relative = AnswersOfChild(library, ".", elsewhere.name());
    EXPECT_NE(relative.find("[directory " + library + "][absolute " + library + "data.txt]"), std::string::npos)
        << relative;

    std::string deep = elsewhere.name();
    while (deep.size() <= 1100)
        deep += "/" + std::string(200, 'd');
    std::filesystem::create_directories(deep);
    std::filesystem::copy_file(library + veltrane_test::kLibraryFileName + ".1", deep + "/libVeltrane.so.1");
    const std::string longName = AnswersOfChild(elsewhere.name(), deep, elsewhere.name());
    EXPECT_NE(longName.find("[directory " + deep + "/][absolute " + deep + "/data.txt]"), std::string::npos)
        << longName.substr(0, 600);
}

// A program whose file was removed or replaced while it runs (an update of a running service) is still the
// program at that path: the kernel's note that the file is gone is no part of its name.
TEST(COsSystemGetProcessPath, AProgramWhoseFileWasRemovedWhileItRunsKeepsItsPathAndName)
{
    if (const char* self = std::getenv("VELTRANE_TEST_REMOVE_SELF")) {
        std::filesystem::remove(self);
        std::printf("[path %s][name %s]\n", COsSystem::GetProcessPath().c_str(), COsSystem::GetProcessName().c_str());
        return;
    }
    veltrane_test::TempDir place;
    const std::string program = std::filesystem::canonical(place.path()).generic_string() + "/runner";
    std::filesystem::copy_file(COsSystem::GetProcessPath(), program);
    const std::string output = OutputOfChild(program, place.name(), "VELTRANE_TEST_REMOVE_SELF='" + program + "'",
                                             "COsSystemGetProcessPath.*");
    EXPECT_FALSE(std::filesystem::exists(program)) << output;
    EXPECT_NE(output.find("[path " + program + "][name runner]"), std::string::npos) << output;
}
#endif
