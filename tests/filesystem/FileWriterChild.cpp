// A writer in a process of its own, for the tests of the file range lock across processes.
//   append NAME ID COUNT        writes COUNT lines "ID:n\n" with COsFile::Write(NAME, "a+"), one call each
//   write NAME TEXT DONE        writes TEXT once the same way, then makes the file DONE
// Exits 0 when every write gave 0.
#include <cstring>
#include <fstream>
#include <string>

#include <Veltrane.h>

int main(int argc, char** argv)
{
    if (argc == 5 && std::strcmp(argv[1], "append") == 0) {
        const int count = std::stoi(argv[4]);
        for (int line = 0; line < count; ++line) {
            const std::string text = std::string(argv[3]) + ":" + std::to_string(line) + "\n";
            size_t written = 0;
            if (COsFile::Write(argv[2], "a+", text.data(), text.size(), written) != 0 || written != text.size())
                return 1;
        }
        return 0;
    }
    if (argc == 5 && std::strcmp(argv[1], "write") == 0) {
        size_t written = 0;
        const int status = COsFile::Write(argv[2], "a+", argv[3], std::strlen(argv[3]), written);
        std::ofstream(argv[4]) << status;
        return status == 0 ? 0 : 1;
    }
    return 2;
}
