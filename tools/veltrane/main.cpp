// veltrane: the demonstration. Each section shows one capability of the library at work.
#include <Veltrane.h>

#include <cstdio>
#include <string>

namespace {

void Heading(const char* title)
{
    std::printf("\n== %s\n", title);
}

void ShowGuids()
{
    Heading("GUIDs");
    for (int i = 0; i < 3; ++i)
        std::printf("  COsGuid::NewGuid()        %s\n", COsGuid::NewGuid().c_str());
}

void ShowBlocks()
{
    Heading("Blocks");
    void* block = AllocBlock(nullptr, 1500);
    std::printf("  AllocBlock(1500)           capacity %d, length %d\n", GetBufferLength(block), GetBlockLength(block));
    block = AllocBlock(block, 100);
    std::printf("  AllocBlock(block, 100)     capacity %d, length %d (never shrinks)\n", GetBufferLength(block),
                GetBlockLength(block));
    FreeBlock(block);
}

void ShowSockets()
{
    Heading("Sockets");
    COsSocket* listener = COsSocket::CreateInstance();
    COsSocket* client = COsSocket::CreateInstance();
    COsSocket* server = COsSocket::CreateInstance();
    char text[32] = {};
    unsigned short port = 0;
    if (listener->Create(eSocketTypeTcp, 0, 0) && listener->Bind("127.0.0.1", 0) && listener->Listen() &&
        listener->GetLocalIPAddress(text, sizeof(text) - 1, &port)) {
        std::printf("  listening on                %s:%u\n", text, port);
        // One thread is enough: the connection waits in the listener's queue until it is accepted.
        client->Create(eSocketTypeTcp, 0, 0);
        bool connected = client->Connect("127.000.000.001", port);
        char peer[32] = {};
        unsigned short peerPort = 0;
        if (connected && listener->Accept(server, peer, sizeof(peer), &peerPort)) {
            std::printf("  accepted                    %s:%u\n", peer, peerPort);
            const char message[] = "hello through COsSocket";
            client->Send(message, sizeof(message));
            char echo[64] = {};
            int received = server->ReceiveWithTimeout(echo, sizeof(echo), 1000, 0);
            server->Send(echo, received > 0 ? received : 0);
            char reply[64] = {};
            int replied = client->ReceiveWithTimeout(reply, sizeof(reply), 1000, 0);
            std::printf("  echo                        %d bytes back: \"%s\"\n", replied, reply);
            std::printf("  idle ReceiveWithTimeout(50) %d (a time-out)\n", client->ReceiveWithTimeout(reply, 1, 50, 0));
        }
    }
    COsSocket* refused = COsSocket::CreateInstance();
    refused->Create(eSocketTypeTcp, 0, 0);
    listener->ShutDown();
    bool ok = refused->Connect("127.0.0.1", port);
    std::printf("  Connect to a closed port    %s, error %d, system code %d\n", ok ? "true" : "false",
                static_cast<int>(refused->GetSocketError()), refused->GetOriginSocketError());
    COsSocket::FreeInstance(&refused);
    COsSocket::FreeInstance(&server);
    COsSocket::FreeInstance(&client);
    COsSocket::FreeInstance(&listener);
}

void ShowIdentityAndPaths()
{
    Heading("Library, machine, system and process");
    CVeltrane* facade = CVeltrane::GetInstance();
    std::printf("  VeltraneVersion            %s\n", facade->VeltraneVersion().c_str());
    std::printf("  VeltraneLibDir             %s\n", facade->VeltraneLibDir().c_str());
    std::printf("  DestOsVersion / DestOsBit  %s / %s\n", facade->DestOsVersion().c_str(), facade->DestOsBit().c_str());
    std::printf("  MachineName                %s\n", facade->MachineName().c_str());
    std::printf("  OsVersion                  %s\n", facade->OsVersion().c_str());
    std::printf("  OsBits                     %u\n", facade->OsBits());
    std::printf("  GCCVersion                 %s\n", facade->GCCVersion().c_str());
    std::printf("  ProcessName                %s\n", facade->ProcessName().c_str());
    std::printf("  ProcessPath                %s\n", facade->ProcessPath().c_str());

    _S_WindowsVersion windows7{};
    windows7.bVersionKnown = true;
    windows7.dwMajorVersion = 6;
    windows7.dwMinorVersion = 1;
    windows7.dwBuildNumber = 7601;
    windows7.wProductType = 1;
    windows7.wServicePackMajor = 1;
    windows7.bHasProductInfo = true;
    windows7.dwProductInfoType = 1;
    std::printf("  A Windows 6.1.7601 SP1 record, product 1, is named  %s\n",
                COsSystem::NameWindowsVersion(windows7).c_str());

    Heading("Paths");
    const char* samples[] = {"C:\\data\\a.txt", "\\\\srv\\share\\a\\..\\b.txt", "/usr/lib", "logs/run.txt",
                             "../etc/./x.conf"};
    for (const char* sample : samples) {
        std::string directory, fileName, absolute;
        COsDirectory::GetDirectory(sample, directory);
        COsDirectory::GetFileName(sample, fileName);
        COsDirectory::GetAbsolutePath(sample, absolute);
        std::printf("  %-26s absolute %d, directory '%s', name '%s'\n", sample, COsDirectory::IsAbsolutePath(sample),
                    directory.c_str(), fileName.c_str());
        std::printf("  %-26s GetAbsolutePath -> %s\n", "", absolute.c_str());
    }
    std::printf("  DirectoryExist(\"/tmp\")     %s\n", COsDirectory::DirectoryExist("/tmp") ? "true" : "false");
    CVeltrane::FreeInstance();
}

}  // namespace

int main()
{
    std::printf("Veltrane demonstration\n");
    ShowBlocks();
    ShowGuids();
    ShowSockets();
    ShowIdentityAndPaths();
    return 0;
}
