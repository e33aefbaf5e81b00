// Runs test cases inside a fresh network namespace, from which no packet can leave the machine. A launcher
// test makes the namespace, sets it up and runs this same test program in it on a filter of disabled cases;
// those cases derive from PrivateNetworkTest, which skips them anywhere else.
#pragma once

#include <gtest/gtest.h>

#ifndef _WIN32
#include <unistd.h>
#endif

#include <cstdlib>
#include <filesystem>
#include <string>

namespace veltrane_test {

constexpr const char* kPrivateNetworkVariable = "VELTRANE_PRIVATE_NETWORK";
// A name that resolves nowhere; looked up only inside a private network, where the lookup cannot leave.
constexpr const char* kNoSuchHost = "no-such-host.invalid";

inline bool InsidePrivateNetwork()
{
    return std::getenv(kPrivateNetworkVariable) != nullptr;
}

// The cases a launcher runs: disabled, so that no ordinary run starts them, and skipped outside the namespace.
struct PrivateNetworkTest : ::testing::Test
{
    void SetUp() override
    {
        if (!InsidePrivateNetwork())
            GTEST_SKIP() << "runs only inside a private network namespace that a launcher test makes";
    }
};

// `text` as one word of the shell, whatever it holds.
inline std::string ShellWord(const std::string& text)
{
    std::string word = "'";
    for (char character : text)
        word += character == '\'' ? std::string("'\\''") : std::string(1, character);
    return word + "'";
}

// Makes a network namespace, runs the shell commands `setup` in it (with the loopback up first), then this
// test program there on the disabled cases that `filter` names, behind the command prefix `wrapper` when
// one is given (a setpriv line that drops a capability, say). Skips the calling test where no such
// namespace can be made or set up; fails it when a case inside fails.
#ifdef _WIN32
inline void RunInPrivateNetwork(const std::string& setup, const std::string&, const std::string& = "")
{
    GTEST_SKIP() << "private network namespaces are Linux's (unshare --net); set-up: " << setup;
}
#else
inline void RunInPrivateNetwork(const std::string& setup, const std::string& filter, const std::string& wrapper = "")
{
    // Root makes the namespace in its own user namespace, where every group id is valid for the network's
    // settings; others map themselves to root in a new one, where only their own group is.
    const std::string enter = std::string("unshare --net ") + (geteuid() == 0 ? "" : "--map-root-user ") + "sh -c ";
    const std::string prepared = "ip link set lo up && " + setup;
    if (std::system((enter + ShellWord(prepared + (wrapper.empty() ? "" : " && " + wrapper + " true")) +
                     " >/dev/null 2>&1").c_str()) != 0)
        GTEST_SKIP() << "no private network namespace here (needs unshare --net with user namespaces, ip, sysctl"
                     << (wrapper.empty() ? "" : " and " + wrapper) << "); set-up: " << setup;
    const std::string inside = prepared + " && exec env " + kPrivateNetworkVariable + "=1 " + wrapper +
                               " \"$0\" --gtest_also_run_disabled_tests --gtest_filter=\"$1\"";
    const std::string command = enter + ShellWord(inside) + " " +
                                ShellWord(std::filesystem::read_symlink("/proc/self/exe").string()) + " " +
                                ShellWord(filter);
    EXPECT_EQ(0, std::system(command.c_str())) << command;
}
#endif

}  // namespace veltrane_test
