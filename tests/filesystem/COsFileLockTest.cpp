// The file range lock: writers through COsFile::Write and holders of COsFileLocker exclude each other,
// across processes and between two streams of one process.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <Veltrane.h>

#include "tests/support/HostSystem.h"
#include "tests/support/TempDir.h"

namespace fs = std::filesystem;
using veltrane_test::FileBytes;
using veltrane_test::TempDir;

namespace {

// A name as one argument of the child's command line: the shell's quotes here, cmd.exe's on Windows.
std::string Quoted(const std::string& name)
{
    return veltrane_test::kWindowsHost ? "\"" + name + "\"" : "'" + name + "'";
}

FILE* StartChild(const std::string& arguments)
{
#ifdef _WIN32
    // The build names the child as the build machine sees it; under Windows it stands beside this program.
    // cmd.exe takes the outer pair of quotes for its own.
    std::string directory;
    COsDirectory::GetDirectory(COsSystem::GetProcessPath(), directory);
    return popen(("\"" + Quoted(directory + "veltrane-file-writer-child.exe") + " " + arguments + "\"").c_str(), "r");
#else
    return popen((std::string("exec ") + Quoted(VELTRANE_FILE_CHILD_PATH) + " " + arguments).c_str(), "r");
#endif
}

bool WaitFor(const std::string& path, std::chrono::milliseconds limit)
{
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!fs::exists(path)) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

}  // namespace

TEST(COsFileLock, EightProcessesAppendingLoseNoLineAndInterleaveNone)
{
    TempDir dir;
    const std::string name = dir / "shared.log";
    constexpr int kProcesses = 8;
    constexpr int kLines = 10000;
    std::vector<FILE*> children;
    for (int id = 0; id < kProcesses; ++id) {
        FILE* child = StartChild("append " + Quoted(name) + " w" + std::to_string(id) + " " + std::to_string(kLines));
        ASSERT_NE(child, nullptr);
        children.push_back(child);
    }
    for (FILE* child : children)
        EXPECT_EQ(pclose(child), 0);

    // Every line whole, and each writer's lines all there, in the order it wrote them.
    std::istringstream lines(FileBytes(name));
    std::vector<int> next(kProcesses, 0);
    std::string line;
    int total = 0;
    while (std::getline(lines, line)) {
        ++total;
        int id = -1;
        int number = -1;
        char extra = 0;
        ASSERT_EQ(std::sscanf(line.c_str(), "w%d:%d%c", &id, &number, &extra), 2) << "torn line: " << line;
        ASSERT_TRUE(id >= 0 && id < kProcesses) << line;
        ASSERT_EQ(number, next[id]) << "writer " << id << " lost or reordered a line";
        ++next[id];
    }
    EXPECT_EQ(total, kProcesses * kLines);
}

TEST(COsFileLock, AHolderInOneProcessMakesAnotherProcesssWriteWait)
{
    TempDir dir;
    const std::string name = dir / "held.log";
    const std::string done = dir / "done";
    size_t written = 0;
    ASSERT_EQ(COsFile::Write(name, "wb", "start|", 6, written), 0);

    FILE* held = COsFile::Open(name, "a+");
    ASSERT_NE(held, nullptr);
    COsFileLocker locker;
    locker.LockFile(held);
    // Closing some other stream of the file leaves the lock where it is.
    FILE* other = COsFile::Open(name, "rb");
    ASSERT_NE(other, nullptr);
    COsFile::Close(other);

    FILE* child = StartChild("write " + Quoted(name) + " child " + Quoted(done));
    ASSERT_NE(child, nullptr);
    EXPECT_FALSE(WaitFor(done, std::chrono::milliseconds(700))) << "the write went through a held lock";
    EXPECT_EQ(FileBytes(name), "start|");

    // A read through another stream is not held up: the range lies behind the data.
    char* buffer = nullptr;
    size_t got = 0;
    EXPECT_EQ(COsFile::Read(name, "rb", &buffer, got), 0);
    EXPECT_EQ(got, 6u);
    delete[] buffer;

    locker.UnLockFile(held);
    EXPECT_TRUE(WaitFor(done, std::chrono::seconds(20)));
    EXPECT_EQ(pclose(child), 0);
    EXPECT_EQ(FileBytes(name), "start|child");
    COsFile::Close(held);
}

TEST(COsFileLock, TwoStreamsOfOneProcessExcludeEachOtherAndClosingReleases)
{
    TempDir dir;
    const std::string name = dir / "threads.log";
    FILE* held = COsFile::Open(name, "a+");
    ASSERT_NE(held, nullptr);
    COsFileLocker locker;
    locker.LockFile(held);

    std::atomic<int> status{1};
    std::thread writer([&] {
        size_t written = 0;
        status = COsFile::Write(name, "a+", "late", 4, written);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(status.load(), 1) << "a second stream of the same process got the lock";
    EXPECT_EQ(FileBytes(name), "");

    COsFile::Close(held);  // closing the stream releases its lock
    writer.join();
    EXPECT_EQ(status.load(), 0);
    EXPECT_EQ(FileBytes(name), "late");

    locker.LockFile(nullptr);  // ignored
    locker.UnLockFile(nullptr);
}

TEST(COsFileLock, AStreamOpenedForReadingOnlyHoldsTheLockAgainstWritersAndOtherReaders)
{
    TempDir dir;
    const std::string name = dir / "snapshot.log";
    size_t written = 0;
    ASSERT_EQ(COsFile::Write(name, "wb", "first|", 6, written), 0);
    FILE* held = COsFile::Open(name, "rb");
    FILE* other = COsFile::Open(name, "rb");
    ASSERT_NE(held, nullptr);
    ASSERT_NE(other, nullptr);
    COsFileLocker locker;
    locker.LockFile(held);

    std::atomic<int> status{1};
    std::atomic<bool> otherLocked{false};
    std::thread writer([&] {
        size_t count = 0;
        status = COsFile::Write(name, "a+", "late", 4, count);
    });
    std::thread reader([&] {
        COsFileLocker second;
        second.LockFile(other);
        otherLocked = true;
        second.UnLockFile(other);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(status.load(), 1) << "a writer went past a holder whose stream reads only";
    EXPECT_FALSE(otherLocked.load()) << "two read-only streams held the lock at once";
    EXPECT_EQ(FileBytes(name), "first|");

    locker.UnLockFile(held);
    writer.join();
    reader.join();
    EXPECT_EQ(status.load(), 0);
    EXPECT_TRUE(otherLocked.load());
    EXPECT_EQ(FileBytes(name), "first|late");
    COsFile::Close(other);
    COsFile::Close(held);
}
