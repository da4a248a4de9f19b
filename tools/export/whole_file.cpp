#include "export/whole_file.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

namespace {

// What a signal that ends the program has to remove. A signal handler may read nothing that moves in memory.
char unfinishedPath[4096];

void removeUnfinished(int signal) {
    unlink(unfinishedPath);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

bool writeAll(const char* path, std::span<const uint8_t> bytes) {
    std::FILE* file = std::fopen(path, "wb");
    if (file == nullptr) return false;
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size() && std::fflush(file) == 0;
    const int reason = errno;
    const bool closed = std::fclose(file) == 0;
    if (!written) errno = reason;
    return written && closed;
}

}  // namespace

bool writeWholeFile(const std::string& path, std::span<const uint8_t> bytes, std::string& problem) {
    const std::string part = path + ".part";
    if (part.size() >= sizeof unfinishedPath) {
        problem = std::strerror(ENAMETOOLONG);
        return false;
    }
    std::memcpy(unfinishedPath, part.c_str(), part.size() + 1);
    const auto interruptBefore = std::signal(SIGINT, removeUnfinished);
    const auto terminateBefore = std::signal(SIGTERM, removeUnfinished);
    const bool done = writeAll(part.c_str(), bytes) && std::rename(part.c_str(), path.c_str()) == 0;
    if (!done) {
        problem = std::strerror(errno);
        unlink(part.c_str());
    }
    std::signal(SIGINT, interruptBefore);
    std::signal(SIGTERM, terminateBefore);
    return done;
}
