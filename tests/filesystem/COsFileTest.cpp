// COsFile on the real file system: streams, whole-file reads and writes, names, attributes and sizes, and
// what bad input gets: the documented result, no lost data and no leaked descriptor.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <Veltrane.h>

#ifndef _WIN32
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include "tests/support/HostSystem.h"
#include "tests/support/ProcessCounts.h"
#include "tests/support/TempDir.h"

namespace fs = std::filesystem;
using veltrane_test::FileBytes;
using veltrane_test::TempDir;
using veltrane_test::WriteBytes;

namespace {

// A FIFO at `path`, or false where the host cannot make one.
bool MakeFifo(const std::string& path)
{
    return std::system(("mkfifo '" + path + "' 2>/dev/null").c_str()) == 0;
}

// Makes a file immutable for its lifetime: a refusal that holds for root too, where permission bits do
// not. `made` is false where the file system or the process cannot do it.
class Immutable
{
public:
    explicit Immutable(const std::string& path) : m_path(path)
    {
        made = std::system(("chattr +i '" + m_path + "' 2>/dev/null").c_str()) == 0;
    }
    ~Immutable()
    {
        if (made)
            std::system(("chattr -i '" + m_path + "'").c_str());
    }
    bool made;

private:
    std::string m_path;
};

}  // namespace

TEST(COsFileWriteByName, MakesTheDirectoriesThenWritesAppendsOrTruncates)
{
    TempDir dir;
    size_t written = 99;
    EXPECT_EQ(COsFile::Write(dir / "a/b/c.txt", "wb", "hello", 5, written), 0);
    EXPECT_EQ(written, 5u);
    EXPECT_EQ(FileBytes(dir / "a/b/c.txt"), "hello");

    EXPECT_EQ(COsFile::Write(dir / "a/b/c.txt", "a+", " world", 6, written), 0);
    EXPECT_EQ(FileBytes(dir / "a/b/c.txt"), "hello world");

    // Null data: an appending mode only makes sure the file is there, a truncating one empties it.
    written = 99;
    EXPECT_EQ(COsFile::Write(dir / "a/b/c.txt", "a+", nullptr, 5, written), 0);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(FileBytes(dir / "a/b/c.txt"), "hello world");
    EXPECT_EQ(COsFile::Write(dir / "n/new.txt", "ab", nullptr, 0, written), 0);
    EXPECT_TRUE(fs::is_regular_file(dir.path() / "n/new.txt"));
    EXPECT_EQ(COsFile::Write(dir / "a/b/c.txt", "wb", nullptr, 0, written), 0);
    EXPECT_EQ(fs::file_size(dir.path() / "a/b/c.txt"), 0u);

    // Bytes pass as they are, NULs and all, under a name with non-ASCII characters.
    const std::string name = dir / "\xE6\x97\xA5\xE5\xBF\x97/caf\xC3\xA9.bin";
    const std::string bytes("\0\r\n\xFF", 4);
    EXPECT_EQ(COsFile::Write(name, "wb", bytes.data(), bytes.size(), written), 0);
    EXPECT_EQ(FileBytes(name), bytes);
}

TEST(COsFileWriteByName, RefusedWritesKeepWhatIsOnDiskAndLeakNothing)
{
    TempDir dir;
    WriteBytes(dir / "keep.txt", "original");
    fs::create_directory(dir.path() / "folder");
    WriteBytes(dir / "folder/inside.txt", "inside");
    WriteBytes(dir / "blocker", "file, not a directory");
    const int descriptors = veltrane_test::OpenDescriptorCount();

    struct Row {
        std::string name;
        std::string mode;
        int status;
    };
    const Row rows[] = {
        {dir / "folder", "wb", OS_ERR_OPEN},                        // a directory where a file is expected
        {dir / "keep.txt", "q", OS_ERR_OPEN},                       // a mode the system does not know
        {dir / "keep.txt", "", OS_ERR_OPEN},
        {dir / "keep.txt", "wx", OS_ERR_OPEN},                      // exclusive creation of an existing file
        {dir / "blocker/x.txt", "wb", OS_ERR_OPEN},                 // a file of the directory's name counts as there
        {dir / "blocker/sub/x.txt", "wb", OS_ERR_CREATE_DIRECTORY}, // but cannot hold a directory
        {dir / "bad\xC3.txt", "wb", OS_ERR_ENCODING},               // a cut-off UTF-8 sequence
        {dir / std::string("keep.txt\0.evil", 14), "wb", OS_ERR_ENCODING},  // would truncate keep.txt
        {dir / "keep.txt", "w\xFF", OS_ERR_ENCODING},
        {dir / "sub/bad\xFF.txt", "wb", OS_ERR_ENCODING},           // the directory is made first, and stays
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name + " " + row.mode);
        size_t written = 77;
        EXPECT_EQ(COsFile::Write(row.name, row.mode, "data", 4, written), row.status);
        EXPECT_EQ(written, 77u);
    }
    EXPECT_EQ(FileBytes(dir / "keep.txt"), "original");
    EXPECT_EQ(FileBytes(dir / "folder/inside.txt"), "inside");
    EXPECT_EQ(FileBytes(dir / "blocker"), "file, not a directory");
    EXPECT_TRUE(fs::is_directory(dir.path() / "sub"));
    EXPECT_EQ(veltrane_test::OpenDescriptorCount(), descriptors);
}

TEST(COsFileWriteByName, AFifoOrAnImmutableFileIsRefusedAtOnce)
{
    TempDir dir;
    size_t written = 0;
    if (MakeFifo(dir / "fifo")) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(COsFile::Write(dir / "fifo", "a+", "x", 1, written), OS_ERR_OPEN);  // no reader: must not wait
        EXPECT_EQ(COsFile::Write(dir / "fifo", "wb", "x", 1, written), OS_ERR_OPEN);
        EXPECT_EQ(COsFile::Open(dir / "fifo", "rb"), nullptr);                         // no writer: must not wait
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    }

    WriteBytes(dir / "locked.txt", "precious");
    Immutable immutable(dir / "locked.txt");
    if (!immutable.made)
        GTEST_SKIP() << "chattr +i is refused here (file system or capability): no refusal that binds root";
    EXPECT_EQ(COsFile::Write(dir / "locked.txt", "wb", "x", 1, written), OS_ERR_OPEN);
    EXPECT_EQ(COsFile::Write(dir / "locked.txt", "a+", "x", 1, written), OS_ERR_OPEN);
    EXPECT_FALSE(COsFile::Delete(dir / "locked.txt"));
    EXPECT_FALSE(COsFile::Rename(dir / "locked.txt", dir / "moved.txt"));
    EXPECT_FALSE(COsFile::SetAttributes(dir / "locked.txt", 0x04));
    WriteBytes(dir / "source.txt", "other");
    EXPECT_FALSE(COsFile::Copy(dir / "source.txt", dir / "locked.txt", true));
    EXPECT_EQ(FileBytes(dir / "locked.txt"), "precious");
}

TEST(COsFileOpen, OpensExistingFilesOnlyAndNeverMakesADirectory)
{
    TempDir dir;
    WriteBytes(dir / "x.txt", "abc");
    fs::create_directory(dir.path() / "folder");
    for (const char* mode : {"rb", "wb", "a", "a+b"}) {
        SCOPED_TRACE(mode);
        EXPECT_EQ(COsFile::Open(dir / "missing/x.txt", mode), nullptr);
        EXPECT_EQ(COsFile::Open(dir / "folder", mode), nullptr);
    }
    EXPECT_FALSE(fs::exists(dir.path() / "missing"));
    EXPECT_EQ(COsFile::Open(dir / "x.txt", "zz"), nullptr);

    FILE* stream = COsFile::Open(dir / "x.txt", "r+b");
    ASSERT_NE(stream, nullptr);
    size_t written = 0;
    EXPECT_EQ(COsFile::Write(stream, "XY", 2, written), 0);
    EXPECT_EQ(written, 2u);
    COsFile::Close(stream);
    EXPECT_EQ(FileBytes(dir / "x.txt"), "XYc");
    COsFile::Close(nullptr);  // ignored
}

TEST(COsFileReadByStream, AReadThatReachesTheEndGivesNothing)
{
    TempDir dir;
    WriteBytes(dir / "f.bin", "0123456789");
    FILE* stream = COsFile::Open(dir / "f.bin", "rb");
    ASSERT_NE(stream, nullptr);
    char* buffer = nullptr;
    size_t got = 99;

    EXPECT_EQ(COsFile::Read(stream, 6, &buffer, got), 0);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(got, 6u);
    EXPECT_STREQ(buffer, "012345");

    // Ten asked with four left: the end is reached, and the four are dropped; the old buffer is released.
    EXPECT_EQ(COsFile::Read(stream, 10, &buffer, got), 0);
    EXPECT_EQ(buffer, nullptr);
    EXPECT_EQ(got, 0u);
    EXPECT_EQ(std::ftell(stream), 10);

    std::fseek(stream, 6, SEEK_SET);
    EXPECT_EQ(COsFile::Read(stream, 4, &buffer, got), 0);  // exactly what is left: kept
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(std::string(buffer, got), "6789");
    EXPECT_EQ(buffer[4], '\0');
    EXPECT_EQ(COsFile::Read(stream, 4, &buffer, got), 0);  // and the next read gives nothing
    EXPECT_EQ(buffer, nullptr);
    EXPECT_EQ(got, 0u);
    COsFile::Close(stream);

    char kept[] = "kept";
    buffer = kept;
    got = 5;
    EXPECT_EQ(COsFile::Read(static_cast<FILE*>(nullptr), 4, &buffer, got), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(buffer, kept);
    EXPECT_EQ(got, 0u);
    size_t written = 5;
    EXPECT_EQ(COsFile::Write(static_cast<FILE*>(nullptr), "x", 1, written), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(written, 0u);
}

TEST(COsFileNullArguments, ANullBufferPointerOrNullDataOfNoBytesIsNoFault)
{
    TempDir dir;
    WriteBytes(dir / "f.bin", "0123456789");
    FILE* stream = COsFile::Open(dir / "f.bin", "rb+");
    ASSERT_NE(stream, nullptr);
    size_t got = 7;
    EXPECT_EQ(COsFile::Read(stream, 4, nullptr, got), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(got, 0u);
    EXPECT_EQ(std::ftell(stream), 0);  // nothing was read into nowhere
    got = 7;
    EXPECT_EQ(COsFile::Read(dir / "f.bin", "rb", nullptr, got), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(got, 0u);

    size_t written = 7;
    EXPECT_EQ(COsFile::Write(stream, nullptr, 0, written), 0);
    EXPECT_EQ(written, 0u);
    COsFile::Close(stream);
    EXPECT_EQ(FileBytes(dir / "f.bin"), "0123456789");
}

TEST(COsFileReadByStream, AStreamOpenedForWritingOnlyReportsAReadError)
{
    if (veltrane_test::UnderWine())
        GTEST_SKIP() << "Wine's C runtime reads an empty write-only stream as at its end, not as an error";
    TempDir dir;
    FILE* stream = COsFile::Open(dir / "w.bin", "wb");
    ASSERT_NE(stream, nullptr);
    char* buffer = new char[3]();
    size_t got = 9;
    EXPECT_EQ(COsFile::Read(stream, 4, &buffer, got), OS_ERR_READ);
    EXPECT_EQ(buffer, nullptr);  // the incoming buffer was released, the new one too
    EXPECT_EQ(got, 0u);

    size_t written = 0;
    FILE* reader = COsFile::Open(dir / "w.bin", "rb");
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(COsFile::Write(reader, "abc", 3, written), OS_ERR_WRITE);
    COsFile::Close(reader);
    COsFile::Close(stream);
}

TEST(COsFileReadByName, ReadsWholeFilesAndRefusesWhatItCannotHold)
{
    TempDir dir;
    WriteBytes(dir / "text.txt", std::string("line\0more", 9));
    WriteBytes(dir / "empty.txt", "");
    fs::create_directory(dir.path() / "folder");
    const bool fifo = MakeFifo(dir / "fifo");
    {
        std::ofstream sparse(dir / "sparse.bin", std::ios::binary);
    }
    fs::resize_file(dir.path() / "sparse.bin", 3ull << 30);  // 3 GiB, sparse: no disk taken
    const int descriptors = veltrane_test::OpenDescriptorCount();

    char* buffer = nullptr;
    size_t got = 7;
    EXPECT_EQ(COsFile::Read(dir / "text.txt", "rb", &buffer, got), 0);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(std::string(buffer, got), std::string("line\0more", 9));
    EXPECT_EQ(buffer[got], '\0');

    // Every refusal leaves the buffer as it came: here the one just read, which must stay valid.
    char* const previous = buffer;
    struct Row {
        std::string name;
        int status;
    };
    std::vector<Row> rows = {
        {dir / "empty.txt", 0},
        {dir / "missing.txt", OS_ERR_OPEN},
        {dir / "folder", OS_ERR_OPEN},
        {dir / "sparse.bin", OS_ERR_OUT_OF_RANGE},
        {dir / "text\xFE.txt", OS_ERR_OPEN},
    };
    if (fifo)
        rows.push_back({dir / "fifo", OS_ERR_OPEN});
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        got = 7;
        EXPECT_EQ(COsFile::Read(row.name, "rb", &buffer, got), row.status);
        EXPECT_EQ(buffer, previous);
        EXPECT_EQ(got, 0u);
    }
    EXPECT_STREQ(buffer, "line");
    delete[] buffer;
    EXPECT_EQ(veltrane_test::OpenDescriptorCount(), descriptors);
}

TEST(COsFileReadByName, AFileThatChangesSizeWhileItIsReadGivesAConsistentPrefix)
{
    TempDir dir;
    const std::string name = dir / "changing.bin";
    const std::string chunk(64 << 10, 'x');
    constexpr size_t kChunks = 16;

    // Another thread empties the file and fills it again, a chunk at a time, until the reader has seen
    // enough or time is up.
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        while (!stop) {
            std::ofstream out(name, std::ios::binary | std::ios::trunc);
            for (size_t i = 0; i < kChunks && !stop; ++i)
                out.write(chunk.data(), static_cast<std::streamsize>(chunk.size())).flush();
        }
    });
    int partial = 0;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (partial < 50 && std::chrono::steady_clock::now() < end) {
        char* buffer = nullptr;
        size_t got = 0;
        const int status = COsFile::Read(name, "rb", &buffer, got);
        if (status == OS_ERR_READ || status == OS_ERR_OPEN) {  // emptied between measuring and reading
            EXPECT_EQ(buffer, nullptr);
            continue;
        }
        ASSERT_EQ(status, 0);
        ASSERT_LE(got, chunk.size() * kChunks);
        if (buffer != nullptr) {
            EXPECT_GT(got, 0u);
            EXPECT_EQ(buffer[got], '\0');
            EXPECT_EQ(std::string(buffer, got).find_first_not_of('x'), std::string::npos);
            partial += got < chunk.size() * kChunks;
        }
        delete[] buffer;
    }
    stop = true;
    writer.join();
    EXPECT_GT(partial, 0) << "no read met the file part-way";
}

TEST(COsFileNames, DeleteRenameCopyAndExistsOnFilesAndDirectories)
{
    TempDir dir;
    WriteBytes(dir / "a.txt", "A");
    WriteBytes(dir / "b.txt", "B");
    fs::create_directory(dir.path() / "folder");
    const int descriptors = veltrane_test::OpenDescriptorCount();

    EXPECT_TRUE(COsFile::Exists(dir / "a.txt"));
    EXPECT_FALSE(COsFile::Exists(dir / "folder"));
    EXPECT_FALSE(COsFile::Exists(dir / "missing"));
    EXPECT_FALSE(COsFile::Exists(dir / "a.txt\xFF"));

    // Rename never replaces, and never makes the new name's directory.
    EXPECT_FALSE(COsFile::Rename(dir / "a.txt", dir / "b.txt"));
    EXPECT_EQ(FileBytes(dir / "b.txt"), "B");
    EXPECT_FALSE(COsFile::Rename(dir / "a.txt", dir / "nowhere/a.txt"));
    EXPECT_FALSE(COsFile::Rename(dir / "missing", dir / "c.txt"));
    const std::string moved = dir / "d\xC3\xA9j\xC3\xA0 vu.txt";
    EXPECT_TRUE(COsFile::Rename(dir / "a.txt", moved));
    EXPECT_EQ(FileBytes(moved), "A");
    EXPECT_FALSE(fs::exists(dir.path() / "a.txt"));
    EXPECT_TRUE(COsFile::Rename(dir / "folder", dir / "renamed-folder"));  // directories too

    // Copy onto an existing target only with overwrite; never onto the source itself.
    EXPECT_FALSE(COsFile::Copy(moved, dir / "b.txt", false));
    EXPECT_EQ(FileBytes(dir / "b.txt"), "B");
    EXPECT_TRUE(COsFile::Copy(moved, dir / "b.txt", true));
    EXPECT_EQ(FileBytes(dir / "b.txt"), "A");
    EXPECT_TRUE(COsFile::Copy(moved, dir / "copy.txt", false));
    EXPECT_EQ(FileBytes(dir / "copy.txt"), "A");
    EXPECT_FALSE(COsFile::Copy(moved, moved, true));
    EXPECT_EQ(FileBytes(moved), "A");
    EXPECT_FALSE(COsFile::Copy(moved, dir / "renamed-folder", true));
    EXPECT_FALSE(COsFile::Copy(dir / "renamed-folder", dir / "x.txt", true));
    EXPECT_FALSE(fs::exists(dir.path() / "x.txt"));
    EXPECT_FALSE(COsFile::Copy(moved, dir / "nowhere/x.txt", true));
    EXPECT_FALSE(COsFile::Copy(dir / "missing", dir / "y.txt", true));
    EXPECT_FALSE(fs::exists(dir.path() / "y.txt"));
    // A device is no file: nothing is copied into it, which would report a copy that went nowhere, nor
    // out of it. On Windows a device's name means the device in any directory.
    const std::string device = veltrane_test::kWindowsHost ? dir / "NUL" : "/dev/null";
    EXPECT_FALSE(COsFile::Copy(moved, device, true));
    EXPECT_FALSE(COsFile::Copy(moved, device, false));
    EXPECT_FALSE(COsFile::Copy(device, dir / "y.txt", true));
    EXPECT_FALSE(fs::exists(dir.path() / "y.txt"));

    // Delete removes files only.
    EXPECT_FALSE(COsFile::Delete(dir / "renamed-folder"));
    EXPECT_TRUE(fs::is_directory(dir.path() / "renamed-folder"));
    EXPECT_TRUE(COsFile::Delete(moved));
    EXPECT_FALSE(fs::exists(moved));
    EXPECT_FALSE(COsFile::Delete(moved));
    EXPECT_EQ(veltrane_test::OpenDescriptorCount(), descriptors);
}

TEST(COsFileCopy, ALargeFileArrivesWholeWithItsPermissionsAndWriteTime)
{
    TempDir dir;
    std::string data(3 << 20, '\0');
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<char>(i * 7 + i / 4096);
    WriteBytes(dir / "big.bin", data);
    fs::permissions(dir.path() / "big.bin", fs::perms::owner_read | fs::perms::group_read);
    const auto writeTime = fs::last_write_time(dir.path() / "big.bin") - std::chrono::hours(5);
    fs::last_write_time(dir.path() / "big.bin", writeTime);

    ASSERT_TRUE(COsFile::Copy(dir / "big.bin", dir / "copy.bin", false));
    EXPECT_TRUE(FileBytes(dir / "copy.bin") == data);
    // Windows keeps one read-only bit where Linux keeps a mode: the copy is read-only for everyone there.
    const fs::perms kept = veltrane_test::kWindowsHost ? fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read
                                                       : fs::perms::owner_read | fs::perms::group_read;
    EXPECT_EQ(fs::status(dir.path() / "copy.bin").permissions(), kept);
    EXPECT_EQ(fs::last_write_time(dir.path() / "copy.bin"), writeTime);
}

#ifndef _WIN32
// Copies in a child process whose files may not grow past 4 KiB, so that a copy of 1 MiB fails half way
// as on a full disk; gives whether the copy succeeded there.
bool CopyUnderSizeLimit(const std::string& source, const std::string& target)
{
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{4096, 4096};
        setrlimit(RLIMIT_FSIZE, &limit);
        _exit(COsFile::Copy(source, target, true) ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(COsFileCopy, ACopyThatFailsHalfWayLeavesAnOverwrittenTargetAsItWas)
{
    TempDir dir;
    const std::string data(1 << 20, 'S');
    WriteBytes(dir / "source.bin", data);
    WriteBytes(dir / "target.bin", "precious");
    WriteBytes(dir / "linked.bin", "linked");
    fs::create_symlink(dir.path() / "linked.bin", dir.path() / "link.bin");

    EXPECT_FALSE(CopyUnderSizeLimit(dir / "source.bin", dir / "target.bin"));
    EXPECT_EQ(FileBytes(dir / "target.bin"), "precious");
    EXPECT_FALSE(CopyUnderSizeLimit(dir / "source.bin", dir / "link.bin"));
    EXPECT_EQ(FileBytes(dir / "linked.bin"), "linked");
    EXPECT_FALSE(CopyUnderSizeLimit(dir / "source.bin", dir / "fresh.bin"));
    EXPECT_FALSE(fs::exists(dir.path() / "fresh.bin"));
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 4)
        << "a failed copy left a file behind";

    // Without the limit the same copies arrive, through the link into the file it names.
    EXPECT_TRUE(COsFile::Copy(dir / "source.bin", dir / "target.bin", true));
    EXPECT_TRUE(FileBytes(dir / "target.bin") == data);
    EXPECT_TRUE(COsFile::Copy(dir / "source.bin", dir / "link.bin", true));
    EXPECT_TRUE(fs::is_symlink(dir.path() / "link.bin"));
    EXPECT_TRUE(FileBytes(dir / "linked.bin") == data);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 4);
}

TEST(COsFileOpen, ATerminalNamedWhereAFileIsExpectedNeverBecomesTheCallersTerminal)
{
    // A daemon, a session leader without a terminal, would take any terminal it opens as its own, and
    // with it the hang-up and interrupt signals of whoever uses that terminal.
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0)
        GTEST_SKIP() << "no pseudo-terminal can be made here";
    const std::string terminal = ptsname(master);
    const pid_t child = fork();
    if (child == 0) {
        setsid();
        size_t written = 0;
        char* buffer = nullptr;
        size_t got = 0;
        const bool refused = COsFile::GetFileSize(terminal) == -1 && COsFile::Open(terminal, "rb") == nullptr &&
                             COsFile::Read(terminal, "rb", &buffer, got) == OS_ERR_OPEN &&
                             COsFile::Write(terminal, "ab", "x", 1, written) == OS_ERR_OPEN;
        const bool terminalTaken = open("/dev/tty", O_RDONLY | O_NOCTTY) >= 0;
        _exit(refused && !terminalTaken ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    close(master);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the terminal became the caller's";
}

TEST(COsFileCopy, ACopyNeverCarriesTheSetIdOrStickyBits)
{
    // A privileged service that copies a user's set-user-ID file would otherwise make a program that runs
    // as the service's own user.
    TempDir dir;
    WriteBytes(dir / "tool", "#!/bin/sh\n");
    WriteBytes(dir / "old", "old");
    fs::permissions(dir.path() / "tool", fs::perms::set_uid | fs::perms::set_gid | fs::perms::sticky_bit |
                                             fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec);
    ASSERT_TRUE(COsFile::Copy(dir / "tool", dir / "new", false));
    ASSERT_TRUE(COsFile::Copy(dir / "tool", dir / "old", true));
    for (const char* name : {"new", "old"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(fs::status(dir.path() / name).permissions(),
                  fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec);
    }
}
#endif

TEST(COsFileAttributes, TheLibraryBitsMapToTheHostAndBack)
{
    TempDir dir;
    WriteBytes(dir / "plain.txt", "x");
    WriteBytes(dir / ".hidden", "x");
    fs::create_directory(dir.path() / "folder");

    struct Row {
        std::string name;
        unsigned char attributes;
    };
    const Row rows[] = {
        {dir / "plain.txt", 0x00},
        {dir / ".hidden", 0x02},
        {dir / "folder", 0x01},
        {dir / "folder/", 0x01},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        unsigned char attributes = 0xEE;
        EXPECT_TRUE(COsFile::GetAttributes(row.name, attributes));
        EXPECT_EQ(attributes, row.attributes);
    }
    unsigned char untouched = 0xEE;
    EXPECT_FALSE(COsFile::GetAttributes(dir / "missing", untouched));
    EXPECT_EQ(untouched, 0xEE);

    // Read-only is set and cleared. Linux cannot set hidden and system, and ignores them; Windows keeps
    // both as the file's own bits (and Wine calls a dot file hidden, as Linux does).
    unsigned char attributes = 0;
    EXPECT_TRUE(COsFile::SetAttributes(dir / ".hidden", 0x04 | 0x08));
    EXPECT_TRUE(COsFile::GetAttributes(dir / ".hidden", attributes));
    EXPECT_EQ(attributes, veltrane_test::kWindowsHost ? 0x0E : 0x06);
    EXPECT_EQ(fs::status(dir.path() / ".hidden").permissions() &
                  (fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write),
              fs::perms::none);
    EXPECT_TRUE(COsFile::SetAttributes(dir / ".hidden", 0));
    EXPECT_TRUE(COsFile::GetAttributes(dir / ".hidden", attributes));
    EXPECT_EQ(attributes, 0x02);
    EXPECT_TRUE(COsFile::SetAttributes(dir / "folder", 0x01 | 0x04));
    EXPECT_TRUE(COsFile::GetAttributes(dir / "folder", attributes));
    if (veltrane_test::UnderWine())
        EXPECT_EQ(attributes & 0x01, 0x01) << "Wine keeps no read-only bit on a directory";
    else
        EXPECT_EQ(attributes, 0x05);
    EXPECT_TRUE(COsFile::SetAttributes(dir / "folder", 0x01));
    EXPECT_FALSE(COsFile::SetAttributes(dir / "missing", 0));
}

TEST(COsFileNames, ExtensionAndSize)
{
    TempDir dir;
    for (const char* name : {"a.tar.gz", "Makefile", ".profile", "trailing."})
        WriteBytes(dir / name, "12345");
    fs::create_directory(dir.path() / "folder.d");
    {
        std::ofstream sparse(dir / "sparse.bin", std::ios::binary);
    }
    fs::resize_file(dir.path() / "sparse.bin", 5ull << 30);

    struct Row {
        std::string name;
        bool result;
        std::string extension;
    };
    const Row rows[] = {
        {dir / "a.tar.gz", true, ".gz"},
        {dir / "Makefile", true, ""},
        {dir / ".profile", true, ".profile"},
        {dir / "trailing.", true, "."},
        {dir / "folder.d", false, "untouched"},
        {dir / "missing.txt", false, "untouched"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        std::string extension = "untouched";
        EXPECT_EQ(COsFile::GetFileExtensionName(row.name, extension), row.result);
        EXPECT_EQ(extension, row.extension);
    }

    EXPECT_EQ(COsFile::GetFileSize(dir / "a.tar.gz"), 5);
    EXPECT_EQ(COsFile::GetFileSize(dir / "sparse.bin"), int64_t{5} << 30);  // beyond 32 bits
    EXPECT_EQ(COsFile::GetFileSize(dir / "missing.txt"), -1);
    EXPECT_EQ(COsFile::GetFileSize(dir / "folder.d"), -1);
    EXPECT_EQ(COsFile::GetFileSize(dir / "bad\xFF"), OS_ERR_ENCODING);
    WriteBytes(dir / "empty", "");
    EXPECT_EQ(COsFile::GetFileSize(dir / "empty"), 0);
    if (MakeFifo(dir / "fifo")) {
        EXPECT_EQ(COsFile::GetFileSize(dir / "fifo"), -1);
    }
}

#ifdef _WIN32
TEST(COsFileNames, ALongNameOrOneInTheSystemsOwnFormNamesWhatItWouldNameShort)
{
    // Beyond the classic length limit a name reaches the system only in its verbatim form, which skips the
    // system's own name rules (trailing dots and blanks dropped, ".." resolved); a long name must still
    // mean what the same name means short. A name the caller gave in one of the system's own forms
    // ("\\?\", "\\.\") is taken as it stands, at any length.
    TempDir dir;
    std::string deep = dir.name();
    while (deep.size() < 300)
        deep += "/level-level-level-level";
    ASSERT_TRUE(COsDirectory::CreateDirectoryA(deep + "/"));
    std::string system = deep;
    std::replace(system.begin(), system.end(), '/', '\\');
    struct Row {
        std::string written;
        std::string read;
    };
    const Row rows[] = {
        {deep + "/dot.", deep + "/dot"},
        {deep + "/blank ", deep + "/blank"},
        {"\\\\?\\" + system + "\\verbatim.txt", deep + "/verbatim.txt"},
        {"\\\\.\\" + system + "\\device.txt", deep + "/device.txt"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.written);
        size_t written = 0;
        EXPECT_EQ(COsFile::Write(row.written, "wb", "abc", 3, written), 0);
        EXPECT_EQ(COsFile::GetFileSize(row.read), 3);
        EXPECT_TRUE(COsFile::Delete(row.read));
        EXPECT_FALSE(COsFile::Exists(row.written));
    }
    EXPECT_TRUE(COsDirectory::DirectoryExist(deep + "/.."));
    EXPECT_TRUE(COsDirectory::CleanDirectory(dir.name()));
}
#endif

TEST(COsFileNames, RelativeNamesAreTakenFromTheLibraryDirectory)
{
    const std::string name = "veltrane-file-" + COsGuid::NewGuid() + "/x.txt";
    const fs::path library = CVeltrane::GetInstance()->VeltraneLibDir();
    size_t written = 0;
    ASSERT_EQ(COsFile::Write(name, "wb", "rel", 3, written), 0);
    EXPECT_EQ(FileBytes((library / name).string()), "rel");
    EXPECT_TRUE(COsFile::Exists(name));
    EXPECT_EQ(COsFile::GetFileSize(name), 3);
    EXPECT_TRUE(COsFile::Delete(name));
    fs::remove_all(library / fs::path(name).parent_path());
}

TEST(COsLogWriteLogToFile, AppendsWithoutTheHubRunning)
{
    TempDir dir;
    COsLog* log = COsLog::GetInstance();
    EXPECT_EQ(log->WriteLogToFile((dir / "logs/run.txt").c_str(), "first\r\n"), 0);
    EXPECT_EQ(log->WriteLogToFile((dir / "logs/run.txt").c_str(), "second\r\n"), 0);
    EXPECT_EQ(FileBytes(dir / "logs/run.txt"), "first\r\nsecond\r\n");
    EXPECT_EQ(log->WriteLogToFile(nullptr, "x"), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(log->WriteLogToFile((dir / "x").c_str(), nullptr), OS_ERR_NULL_ARGUMENT);
    COsLog::FreeInstance();
}
