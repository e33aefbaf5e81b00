// CVeltrane: the facade's snapshot of library, machine and process, and its life cycle.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <Veltrane.h>

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

    std::string release, host;
    std::ifstream("/proc/sys/kernel/osrelease") >> release;
    std::ifstream("/proc/sys/kernel/hostname") >> host;
    EXPECT_EQ(facade->VeltraneVersion(), "1.25.0104.00");
    EXPECT_EQ(facade->DestOsVersion(), "Linux");
    EXPECT_EQ(facade->DestOsBit(), "64");
    EXPECT_EQ(facade->CoreVersion(), facade->OsVersion());
    EXPECT_NE(facade->OsVersion().find(release), std::string::npos) << facade->OsVersion();
    EXPECT_EQ(facade->OsBits(), 64u);   // a 64-bit process runs on a 64-bit machine only
    EXPECT_EQ(facade->MachineName(), host);
    EXPECT_EQ(facade->ProcessName(), "identity_tests");
    EXPECT_EQ(facade->ProcessPath(), std::filesystem::canonical("/proc/self/exe").string());
    EXPECT_EQ(COsSystem::GetProcessPath(), COsDirectory::GetCurrentModuleFileName());
    EXPECT_FALSE(facade->GCCVersion().empty());

    const std::string library = facade->VeltraneLibDir();
    ASSERT_FALSE(library.empty());
    EXPECT_EQ(library.front(), '/');
    // The library's own directory, not the executable's: the test binary lives in a subdirectory.
    EXPECT_TRUE(std::filesystem::exists(library + "libVeltrane.so")) << library;
    EXPECT_NE(library, facade->ProcessPath().substr(0, facade->ProcessPath().rfind('/') + 1));
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
