// The removal of directories and trees on the real file system: what goes and what stays, read-only files,
// directories that cannot be read, links that lead out of the tree, a tree that is changed under the
// removal, and a tree deeper than any path.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <pthread.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <Veltrane.h>

#include "tests/support/ProcessCounts.h"
#include "tests/support/TempDir.h"

namespace fs = std::filesystem;
using veltrane_test::TempDir;
using veltrane_test::WriteBytes;

namespace {

size_t EntryCount(const fs::path& directory)
{
    return static_cast<size_t>(std::distance(fs::directory_iterator(directory), fs::directory_iterator()));
}

// Runs `body` on a thread of its own that has given up the capabilities that let root read and search any
// directory, so that permission bits refuse it as they refuse anyone else. False where the thread could not
// give them up; a process that is not root needs nothing given up.
template <typename Body>
bool WithoutReadOverride(Body body)
{
    bool ran = false;
    std::thread worker([&] {
        if (geteuid() == 0) {
            __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
            __user_cap_data_struct data[2] = {};
            if (syscall(SYS_capget, &header, data) != 0)
                return;
            data[0].effective &= ~((1u << CAP_DAC_OVERRIDE) | (1u << CAP_DAC_READ_SEARCH));
            if (syscall(SYS_capset, &header, data) != 0)  // this thread's capabilities only
                return;
        }
        ran = true;
        body();
    });
    worker.join();
    return ran;
}

}  // namespace

TEST(COsDirectoryDeleteDirectory, RemovesOnlyAnEmptyDirectoryAndNeverALinksTarget)
{
    TempDir dir;
    fs::create_directories(dir / "full/sub");
    fs::create_directory(dir / "empty");
    fs::create_directory(dir / "target");
    fs::create_directory_symlink(dir / "target", dir / "link");
    WriteBytes(dir / "file", "");

    EXPECT_FALSE(COsDirectory::DeleteDirectory(dir / "full"));
    EXPECT_TRUE(fs::exists(dir / "full/sub"));
    EXPECT_TRUE(COsDirectory::DeleteDirectory(dir / "empty"));
    EXPECT_FALSE(fs::exists(dir / "empty"));
    EXPECT_FALSE(COsDirectory::DeleteDirectory(dir / "empty"));  // gone now
    EXPECT_FALSE(COsDirectory::DeleteDirectory(dir / "link"));
    EXPECT_FALSE(COsDirectory::DeleteDirectory(dir / "link/"));
    EXPECT_TRUE(fs::is_symlink(dir / "link"));
    EXPECT_TRUE(fs::is_directory(dir / "target"));
    EXPECT_FALSE(COsDirectory::DeleteDirectory(dir / "file"));
    EXPECT_TRUE(fs::exists(dir / "file"));
}

TEST(COsDirectoryCleanDirectory, EmptiesTheTreeAndKeepsTheDirectory)
{
    TempDir dir;
    const std::string tree = dir / "tree";
    fs::create_directories(tree + "/a/b/c/d");
    fs::create_directories(tree + "/empty");
    for (const char* name : {"top.txt", ".hidden", "a/x", "a/b/y", "a/b/c/d/z", "a/.h"})
        WriteBytes(tree + "/" + name, "data");
    WriteBytes(tree + "/bad\xFF", "");  // a name that is not UTF-8 goes too
    const int descriptors = veltrane_test::OpenDescriptorCount();

    EXPECT_TRUE(COsDirectory::CleanDirectory(tree));
    EXPECT_TRUE(fs::is_directory(tree));
    EXPECT_EQ(EntryCount(tree), 0u);
    EXPECT_TRUE(COsDirectory::CleanDirectory(tree));              // an empty directory
    EXPECT_TRUE(COsDirectory::CleanDirectory(dir / "missing"));   // and a missing one: nothing to do
    EXPECT_EQ(veltrane_test::OpenDescriptorCount(), descriptors);
}

TEST(COsDirectoryCleanDirectory, ANameWithoutAnAbsoluteFormEmptiesNothing)
{
    // A name too long to have its dots resolved has an empty absolute form; searched as it stands, that is
    // the library's own directory. The removal runs in a child that sees this test's directory in place of
    // the library's, so that a removal led there empties this one and nothing else.
    TempDir dir;
    WriteBytes(dir / "canary", "keep");
    std::string library;
    COsDirectory::GetAbsolutePath("", library);
    const std::string covered = library.substr(0, library.find_last_not_of('/') + 1);
    const std::string longName = dir / ("gone/./" + std::string(1100, 'a'));
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        // 77: no private view of the mounts could be made here.
        if (unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
            _exit(77);
        if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount(dir.name().c_str(), covered.c_str(), nullptr, MS_BIND, nullptr) != 0 ||
            veltrane_test::FileBytes(covered + "/canary") != "keep")
            _exit(77);
        const bool cleaned = COsDirectory::CleanDirectory(longName);
        _exit(veltrane_test::FileBytes(covered + "/canary") != "keep" ? 1 : cleaned ? 2 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 77)
        GTEST_SKIP() << "no private mount namespace here to put a directory in place of the library's";
    EXPECT_EQ(WEXITSTATUS(status), 0) << "1: the library's directory was emptied; 2: true for a name with no form";
    EXPECT_EQ(veltrane_test::FileBytes(dir / "canary"), "keep");
}

TEST(COsDirectoryCleanDirectory, StopsAtAReadOnlyFileWithoutTouchingIt)
{
    TempDir dir;
    const std::string tree = dir / "tree";
    fs::create_directories(tree + "/sub");
    WriteBytes(tree + "/sub/locked", "keep me");
    fs::permissions(tree + "/sub/locked", fs::perms::owner_read);
    for (int i = 0; i < 20; ++i)
        WriteBytes(tree + "/f" + std::to_string(i), "");

    EXPECT_FALSE(COsDirectory::CleanDirectory(tree));
    EXPECT_EQ(veltrane_test::FileBytes(tree + "/sub/locked"), "keep me");
    EXPECT_EQ(fs::status(tree + "/sub/locked").permissions(), fs::perms::owner_read);  // not cleared
    EXPECT_TRUE(fs::is_directory(tree + "/sub"));

    fs::permissions(tree + "/sub/locked", fs::perms::owner_write, fs::perm_options::add);
    EXPECT_TRUE(COsDirectory::CleanDirectory(tree));
    EXPECT_EQ(EntryCount(tree), 0u);
}

TEST(COsDirectoryCleanDirectory, RemovesLinksAsLinksAndNothingOutsideTheTree)
{
    TempDir dir;
    const std::string outside = dir / "outside";  // what every link below leads to, and must outlive the removal
    fs::create_directories(outside + "/inner");
    WriteBytes(outside + "/keep", "k");
    WriteBytes(outside + "/inner/keep", "k");
    const std::string tree = dir / "tree";
    fs::create_directories(tree + "/sub");
    fs::create_directory_symlink(outside, tree + "/to-dir");
    fs::create_directory_symlink(outside, tree + "/sub/to-dir");
    fs::create_symlink(outside + "/keep", tree + "/to-file");
    fs::create_symlink(tree + "/gone", tree + "/dangling");
    fs::create_directory_symlink(tree, tree + "/sub/loop");
    fs::create_symlink("self", tree + "/self");
    // A directory whose name is not UTF-8 beside a link named as that name reads: the walk must not take
    // one for the other.
    fs::create_directory(tree + "/d\xFF");
    WriteBytes(tree + "/d\xFF/f", "");
    fs::create_directory_symlink(outside, tree + "/d\xEF\xBF\xBD");

    EXPECT_TRUE(COsDirectory::CleanDirectory(tree));
    EXPECT_EQ(EntryCount(tree), 0u);
    EXPECT_EQ(veltrane_test::FileBytes(outside + "/keep"), "k");
    EXPECT_EQ(veltrane_test::FileBytes(outside + "/inner/keep"), "k");

    // A tree that is itself reached through a link is the tree it leads to: its entries go, the link stays.
    fs::create_directory(dir / "real");
    WriteBytes(dir / "real/f", "");
    fs::create_directory_symlink(dir / "real", dir / "via");
    EXPECT_TRUE(COsDirectory::CleanDirectory(dir / "via"));
    EXPECT_TRUE(fs::is_symlink(dir / "via"));
    EXPECT_EQ(EntryCount(dir / "real"), 0u);
}

TEST(COsDirectoryCleanDirectory, ADirectoryThatCannotBeReadStaysWithItsEntries)
{
    TempDir dir;
    const std::string tree = dir / "tree";
    fs::create_directories(tree + "/locked");
    WriteBytes(tree + "/locked/f", "keep");
    WriteBytes(tree + "/other", "");
    fs::permissions(tree + "/locked", fs::perms::none);

    bool listed = true;
    bool cleanedLocked = false;
    bool cleanedTree = true;
    int counted = -1;
    const bool ran = WithoutReadOverride([&] {
        _S_FileData record{};
        listed = COsDirectory::FindFirstFileA(tree + "/locked", record);
        EXPECT_EQ(record.hFind, INVALID_HANDLE_VALUE);
        COsDirectory::FindClose(record);
        counted = COsDirectory::GetFileNumHaveSamePrefix(tree + "/locked/", "");
        cleanedLocked = COsDirectory::CleanDirectory(tree + "/locked");
        cleanedTree = COsDirectory::CleanDirectory(tree);
    });
    fs::permissions(tree + "/locked", fs::perms::owner_all);
    if (!ran)
        GTEST_SKIP() << "this thread could not give up the capabilities that let root read any directory";
    EXPECT_FALSE(listed);
    EXPECT_EQ(counted, 0);
    EXPECT_TRUE(cleanedLocked);  // a directory that cannot be read has nothing to remove
    EXPECT_FALSE(cleanedTree);   // but it cannot be removed while it has entries
    EXPECT_EQ(veltrane_test::FileBytes(tree + "/locked/f"), "keep");
}

TEST(COsDirectoryCleanDirectory, NeverFollowsADirectorySwappedForALinkDuringTheRemoval)
{
    // While the removal works in tree/a/b, tree/a is moved aside and a link to a directory that holds the
    // same names takes its place. A removal that named its files by path from the top would go on in there.
    TempDir dir;
    const std::string tree = dir / "tree";
    const std::string outside = dir / "outside";
    constexpr int kFiles = 1000;
    fs::create_directories(tree + "/a/b");
    fs::create_directories(outside + "/b");
    for (int i = 0; i < kFiles; ++i) {
        WriteBytes(tree + "/a/b/f" + std::to_string(i), "");
        WriteBytes(outside + "/b/f" + std::to_string(i), "keep");
    }
    std::atomic<bool> swapped{false};
    std::atomic<bool> stop{false};
    std::thread racer([&] {
        // Waits until the removal has begun in tree/a/b (one of the files is gone), for three seconds at most.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
        while (!stop.load() && std::chrono::steady_clock::now() < deadline) {
            bool begun = false;
            for (int i = 0; i < kFiles && !begun; i += 50)
                begun = !fs::exists(tree + "/a/b/f" + std::to_string(i));
            if (begun) {
                swapped = std::rename((tree + "/a").c_str(), (dir / "aside").c_str()) == 0 &&
                          symlink(outside.c_str(), (tree + "/a").c_str()) == 0;
                return;
            }
        }
    });
    const bool cleaned = COsDirectory::CleanDirectory(tree);
    stop = true;
    racer.join();

    size_t kept = 0;
    for (int i = 0; i < kFiles; ++i)
        kept += veltrane_test::FileBytes(outside + "/b/f" + std::to_string(i)) == "keep" ? 1 : 0;
    EXPECT_EQ(kept, static_cast<size_t>(kFiles));
    if (swapped) {
        EXPECT_FALSE(cleaned);  // tree/a is a link by the end: it cannot be removed as a directory
        EXPECT_TRUE(fs::is_symlink(tree + "/a"));
    } else {
        std::printf("the removal ended before the directory could be swapped\n");
    }
}

TEST(COsDirectoryCleanDirectory, ATreeDeeperThanAnyPathIsRemovedOnASmallStack)
{
    TempDir dir;
    const std::string tree = dir / "tree";
    fs::create_directory(tree);
    // 400 levels of a 24-byte name: a tree beyond the host's longest path (4096 bytes), built level by level
    // through descriptors, with a file now and then. A removal that spent a record on the stack for each
    // level would need far more than the 512 KiB stack it runs on.
    constexpr int kLevels = 400;
    const char* name = "level-level-level-level";
    int parent = open(tree.c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_GE(parent, 0);
    for (int level = 0; level < kLevels && parent >= 0; ++level) {
        ASSERT_EQ(mkdirat(parent, name, 0755), 0);
        if (level % 100 == 0)
            close(openat(parent, "file", O_WRONLY | O_CREAT, 0644));
        const int child = openat(parent, name, O_RDONLY | O_DIRECTORY);
        close(parent);
        parent = child;
    }
    ASSERT_GE(parent, 0);
    close(parent);

    struct Job {
        std::string tree;
        bool cleaned = false;
    } job{tree};
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 512 * 1024);
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes,
                             [](void* argument) -> void* {
                                 Job* job = static_cast<Job*>(argument);
                                 job->cleaned = COsDirectory::CleanDirectory(job->tree);
                                 return nullptr;
                             },
                             &job),
              0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    EXPECT_TRUE(job.cleaned);
    EXPECT_EQ(EntryCount(tree), 0u);
}

TEST(COsDirectoryCleanDirectory, TwoRemovalsOfTheSameTreeBothSucceed)
{
    // Each removal finds entries that the other took away between its listing and its removal; what is
    // gone already counts as removed, so neither fails on the other's work.
    TempDir dir;
    const std::string tree = dir / "tree";
    for (int i = 0; i < 40; ++i) {
        const std::string sub = tree + "/d" + std::to_string(i);
        fs::create_directories(sub + "/inner");
        for (int j = 0; j < 25; ++j)
            WriteBytes(sub + "/inner/f" + std::to_string(j), "");
    }
    bool cleaned[2] = {false, false};
    std::thread first([&] { cleaned[0] = COsDirectory::CleanDirectory(tree); });
    std::thread second([&] { cleaned[1] = COsDirectory::CleanDirectory(tree); });
    first.join();
    second.join();
    EXPECT_TRUE(cleaned[0]);
    EXPECT_TRUE(cleaned[1]);
    EXPECT_EQ(EntryCount(tree), 0u);
}
