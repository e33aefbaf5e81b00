// A process that hosts the log hub for the tests that need a host of its own (its standard output closed or
// never read). It starts the hub in its current directory, says "port N" on standard error, follows the
// commands on standard input ("push TEXT", "end"), and says "freed N" with the milliseconds that
// COsLog::FreeInstance took before it returns 0. Standard error is the one channel that the tests never block.
#include <chrono>
#include <cstdio>
#include <iostream>
#include <string>

#include <Veltrane.h>

int main()
{
    COsLog* hub = COsLog::GetInstance();
    if (hub == nullptr || hub->Start() != 0 || !hub->IsRunning()) {
        std::fprintf(stderr, "no hub\n");
        return 2;
    }
    std::fprintf(stderr, "port %d\n", COsLog::GetLogOutputPort());
    for (std::string line; std::getline(std::cin, line) && line != "end";) {
        if (line.rfind("push ", 0) == 0)
            hub->LogMsgPush(line.c_str() + 5);
    }
    const auto start = std::chrono::steady_clock::now();
    COsLog::FreeInstance();
    const auto took = std::chrono::steady_clock::now() - start;
    std::fprintf(stderr, "freed %lld\n",
                 static_cast<long long>(std::chrono::duration_cast<std::chrono::milliseconds>(took).count()));
    return 0;
}
