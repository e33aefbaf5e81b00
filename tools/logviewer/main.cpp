// veltrane-logviewer: connects to a log hub, prints its messages, and sends the filter words typed on stdin.
//
//   veltrane-logviewer [host] [port]      (defaults: 127.0.0.1 61234)
//
// Messages go to stdout as the hub sends them, without the heartbeat bytes. Connection news goes to stderr,
// one line each, starting with "[logviewer]". Each line typed on stdin is sent as one filter word; the same
// word again switches it off. The end of stdin ends the viewer.
#include <Veltrane.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

namespace {

constexpr unsigned int kChunkSize = 4096;
constexpr unsigned int kReceiveWaitMilliseconds = 100;
constexpr uint32_t kReconnectPauseMilliseconds = 200;
constexpr uint32_t kWordPauseMilliseconds = 50;
constexpr char kHeartbeat = '\x07';

class Viewer
{
public:
    Viewer(std::string host, unsigned short port) : m_host(std::move(host)), m_port(port) {}

    // The receiving side: connect, print, notice the hub going away, connect again, until told to quit.
    void Receive()
    {
        bool announcedWaiting = false;
        while (!m_quit) {
            COsSocket* socket = COsSocket::CreateInstance();
            if (socket == nullptr || !socket->Create(eSocketTypeTcp, 0, 0) || !socket->Connect(m_host, m_port)) {
                COsSocket::FreeInstance(&socket);
                if (!announcedWaiting)
                    Say("waiting for a hub at %s:%u", m_host.c_str(), m_port);
                announcedWaiting = true;
                COsThread::Sleep(kReconnectPauseMilliseconds);
                continue;
            }
            announcedWaiting = false;
            Publish(socket);
            Say("connected to %s:%u", m_host.c_str(), m_port);
            PrintUntilClosed(socket);
            Publish(nullptr);
            COsSocket::FreeInstance(&socket);
            if (!m_quit)
                Say("the hub went away; reconnecting");
        }
    }

    // Sends one filter word to the hub that is connected now; a word typed while none is, is dropped. The
    // word goes with its NUL, so an empty line is the empty filter, and two words that the hub happens to
    // read at once still give the first one whole.
    void SendWord(const std::string& word)
    {
        m_section.Enter();
        if (m_connected == nullptr)
            Say("not connected; the word \"%s\" was not sent", word.c_str());
        else if (m_connected->Send(word.c_str(), static_cast<unsigned int>(word.size() + 1)) < 0)
            Say("the word \"%s\" could not be sent", word.c_str());
        m_section.Leave();
        // The hub reads one word per receive: a pause keeps the next word out of this one's receive.
        COsThread::Sleep(kWordPauseMilliseconds);
    }

    void Quit()
    {
        m_quit = true;
    }

private:
    void PrintUntilClosed(COsSocket* socket)
    {
        char chunk[kChunkSize];
        while (!m_quit) {
            int received = socket->ReceiveWithTimeout(chunk, kChunkSize, kReceiveWaitMilliseconds, 0);
            if (received < 0)
                return;
            size_t printed = 0;
            for (int index = 0; index < received; ++index) {
                if (chunk[index] != kHeartbeat)
                    chunk[printed++] = chunk[index];
            }
            if (printed > 0) {
                std::fwrite(chunk, 1, printed, stdout);
                std::fflush(stdout);
            }
        }
    }

    void Publish(COsSocket* socket)
    {
        m_section.Enter();
        m_connected = socket;
        m_section.Leave();
    }

    static void Say(const char* format, ...) __attribute__((format(printf, 1, 2)))
    {
        std::va_list arguments;
        va_start(arguments, format);
        std::fputs("[logviewer] ", stderr);
        std::vfprintf(stderr, format, arguments);
        std::fputs("\n", stderr);
        std::fflush(stderr);
        va_end(arguments);
    }

    std::string m_host;
    unsigned short m_port;
    std::atomic<bool> m_quit{false};
    CMonitoredSection m_section;
    COsSocket* m_connected = nullptr;
};

}  // namespace

int main(int argc, char** argv)
{
    std::string host = argc > 1 ? argv[1] : "127.0.0.1";
    int port = argc > 2 ? std::atoi(argv[2]) : 61234;
    if (port < 1 || port > 65535) {
        std::fprintf(stderr, "usage: veltrane-logviewer [host] [port]\n");
        return 2;
    }
#ifdef _WIN32
    // The messages carry their own line ends ("\r\n"): printed in text mode each would gain another CR.
    _setmode(_fileno(stdout), _O_BINARY);
#endif
    Viewer viewer(host, static_cast<unsigned short>(port));
    COsThreadTpl<Viewer>* receiver = COsThreadTpl<Viewer>::CreateThread(&viewer, &Viewer::Receive);
    receiver->Start();

    char line[kChunkSize];
    while (std::fgets(line, sizeof(line), stdin) != nullptr) {
        size_t length = std::strcspn(line, "\r\n");
        viewer.SendWord(std::string(line, length));
    }
    viewer.Quit();
    receiver->Finish(2000);
    delete receiver;
    return 0;
}
