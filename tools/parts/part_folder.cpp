#include "parts/part_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <thread>

#include "base/format_text.h"
#include "base/messages.h"

namespace {

constexpr char partPrefix[] = "part";
constexpr char lockName[] = "lock";
constexpr int lockTries = 50;
constexpr auto lockWait = std::chrono::milliseconds(100);

std::vector<std::string> listFiles(const PartFolder& folder, const char* ending) {
    std::vector<std::string> files;
    std::error_code problem;
    for (const auto& file : std::filesystem::directory_iterator(folder.path, problem)) {
        const std::string name = file.path().filename().string();
        if (name.starts_with(partPrefix) && name.ends_with(ending)) files.push_back(file.path().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace

std::string takePartFolder(PartFolder& folder) {
    std::error_code problem;
    std::filesystem::create_directory(folder.path, problem);
    folder.lock = open((folder.path + "/" + lockName).c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0666);
    if (folder.lock < 0) return formatText(tr("%s cannot be written; is the disk full?"), folder.path.c_str());
    for (int attempt = 0; attempt < lockTries; ++attempt) {
        if (flock(folder.lock, LOCK_EX | LOCK_NB) == 0) return {};
        std::this_thread::sleep_for(lockWait);
    }
    close(folder.lock);
    return formatText(tr("another run of this script is at work, and holds %s; wait for its end."),
                      folder.path.c_str());
}

std::vector<std::string> listParts(const PartFolder& folder) {
    return listFiles(folder, ".fit");
}

std::string namePart(const PartFolder& folder, int number) {
    return folder.path + "/" + partPrefix + formatText("%06i.fit", number);
}

int findFreeNumber(const PartFolder& folder) {
    const std::vector<std::string> parts = listParts(folder);
    if (parts.empty()) return 1;
    const std::string last = std::filesystem::path(parts.back()).filename().string();
    return std::atoi(last.c_str() + sizeof partPrefix - 1) + 1;
}

void emptyPartFolder(const PartFolder& folder) {
    for (const char* ending : {".fit", ".fit.part"}) {
        for (const std::string& file : listFiles(folder, ending)) unlink(file.c_str());
    }
}

void removeEmptyPartFolder(const std::string& path) {
    const PartFolder folder{.path = path, .lock = open((path + "/" + lockName).c_str(), O_RDWR | O_CLOEXEC)};
    if (folder.lock < 0) return;
    if (flock(folder.lock, LOCK_EX | LOCK_NB) == 0 && listParts(folder).empty()) {
        emptyPartFolder(folder);
        unlink((path + "/" + lockName).c_str());
        std::error_code notEmpty;  // something else lies in it
        std::filesystem::remove(path, notEmpty);
    }
    close(folder.lock);
}
