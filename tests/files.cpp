#include "files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

void enterScratchFolder() {
    static const struct Folder {
        std::string path = testing::TempDir() + "quillorne-XXXXXX";
        Folder() { std::filesystem::current_path(mkdtemp(path.data())); }
        ~Folder() { std::filesystem::remove_all(path); }
    } folder;
}

std::string readFile(const char* path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const char* path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

void showOutputOnError() {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
}
