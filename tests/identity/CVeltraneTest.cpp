// CVeltrane: the facade's snapshot of library, machine and process, and its life cycle.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <Veltrane.h>

namespace {

std::string FirstLineOf(const std::string& path)
{
    std::ifstream stream(path);
    std::string line;
    std::getline(stream, line);
    return line;
}

}  // namespace

TEST(CVeltrane, AnswersForLibraryMachineAndProcess)
{
    CVeltrane* facade = CVeltrane::GetInstance();
    ASSERT_NE(facade, nullptr);
    EXPECT_EQ(facade->VeltraneVersion(), "1.25.0104.00");
    EXPECT_EQ(facade->DestOsVersion(), "Linux");
    EXPECT_EQ(facade->DestOsBit(), "64");
    EXPECT_EQ(facade->CoreVersion(), facade->OsVersion());
    EXPECT_NE(facade->OsVersion().find(FirstLineOf("/proc/sys/kernel/osrelease")), std::string::npos)
        << facade->OsVersion();
    EXPECT_EQ(facade->OsBits(), 64u);   // a 64-bit process runs on a 64-bit machine only
    EXPECT_EQ(facade->MachineName(), FirstLineOf("/proc/sys/kernel/hostname"));
    EXPECT_EQ(facade->ProcessName(), "identity_tests");
    EXPECT_EQ(facade->ProcessPath(), std::filesystem::canonical("/proc/self/exe").string());
    EXPECT_EQ(COsSystem::GetProcessPath(), COsDirectory::GetCurrentModuleFileName());
    EXPECT_FALSE(facade->GCCVersion().empty());

    const std::string library = facade->VeltraneLibDir();
    ASSERT_FALSE(library.empty());
    EXPECT_EQ(library.front(), '/');
    EXPECT_EQ(library.back(), '/');
    // The library's own directory, not the executable's: the test binary lives in a subdirectory.
    EXPECT_TRUE(std::filesystem::exists(library + "libVeltrane.so")) << library;
    EXPECT_NE(library, facade->ProcessPath().substr(0, facade->ProcessPath().rfind('/') + 1));
    EXPECT_EQ(library, COsSystem::GetVeltraneLibDir());
    CVeltrane::FreeInstance();
}

TEST(CVeltrane, ConcurrentFirstCallsMakeOneObjectAndFreeInstanceEndsItAndItsLogHub)
{
    CVeltrane::FreeInstance();
    CVeltrane::FreeInstance();  // without an object it does nothing
    std::vector<CVeltrane*> seen(8, nullptr);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < seen.size(); ++i)
        threads.emplace_back([&seen, i] { seen[i] = CVeltrane::GetInstance(); });
    for (std::thread& thread : threads)
        thread.join();
    const std::set<CVeltrane*> distinct(seen.begin(), seen.end());
    EXPECT_EQ(distinct.size(), 1u);
    EXPECT_NE(*distinct.begin(), nullptr);
    EXPECT_EQ(CVeltrane::GetInstance(), seen[0]);

    CVeltrane::FreeInstance();
    CVeltrane* again = CVeltrane::GetInstance();
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->VeltraneVersion(), "1.25.0104.00");

    // The facade ends a started log hub with itself.
    COsLog* hub = COsLog::GetInstance();
    if (hub->Start() != 0)
        GTEST_SKIP() << "no free port for the log hub on this machine";
    ASSERT_TRUE(hub->IsRunning());
    CVeltrane::FreeInstance();
    EXPECT_FALSE(COsLog::GetInstance()->IsRunning());
    COsLog::FreeInstance();
}
