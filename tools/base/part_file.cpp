#include "base/part_file.h"

#include <unistd.h>

#include <array>
#include <climits>
#include <csignal>
#include <cstring>
#include <filesystem>

namespace {

// What an interrupt removes: a signal may come between any two operations, so the name stands in plain bytes.
std::array<char, PATH_MAX> partName{};
volatile std::sig_atomic_t partOpen = 0;

void removePart(int signal) {
    if (partOpen != 0) unlink(partName.data());
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

std::string namePart(const std::string& path) {
    return path + ".part";
}

}  // namespace

PartFile createPartFile(const std::string& path) {
    const std::string name = namePart(path);
    if (name.size() >= partName.size()) return {nullptr, path};
    std::memcpy(partName.data(), name.c_str(), name.size() + 1);
    partOpen = 1;
    std::signal(SIGINT, removePart);
    std::signal(SIGTERM, removePart);
    return {std::fopen(name.c_str(), "wb"), path};
}

bool finishPartFile(PartFile& part) {
    bool whole = false;
    std::error_code error;
    if (part.file != nullptr) {
        const bool failedBefore = std::ferror(part.file) != 0;
        whole = std::fclose(part.file) == 0 && !failedBefore;  // the last bytes may fail as late as here
        if (whole) std::filesystem::rename(namePart(part.path), part.path, error);
        whole = whole && !error;
        if (!whole) std::filesystem::remove(namePart(part.path), error);
    }
    partOpen = 0;
    return whole;
}

bool writeWholeFile(const std::string& path, const std::string& bytes) {
    PartFile part = createPartFile(path);
    if (part.file != nullptr) std::fwrite(bytes.data(), 1, bytes.size(), part.file);
    return finishPartFile(part);
}
