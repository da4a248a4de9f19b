#include "parts/dependency.h"

#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <system_error>
#include <unordered_map>

#include "base/format_text.h"
#include "base/messages.h"
#include "composite/composite.h"
#include "state/run_state.h"

namespace {

constexpr int mostLinks = 40;  // as many as the system follows

std::string nameInode(const struct stat& file) {
    return std::to_string(file.st_dev) + ":" + std::to_string(file.st_ino);
}

// One key a file, whatever name leads to it. One that does not exist yet is known by its folder and its name, that
// behind a link that leads nowhere by those of the link's end.
std::string identifyFile(std::filesystem::path path) {
    std::error_code problem;
    for (int links = 0; links < mostLinks && std::filesystem::is_symlink(path, problem); ++links) {
        path = path.parent_path() / std::filesystem::read_symlink(path, problem);
    }
    struct stat file {};
    if (stat(path.c_str(), &file) == 0) return nameInode(file);
    const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";
    if (stat(folder.c_str(), &file) == 0) return nameInode(file) + "/" + path.filename().string();
    return path.string();
}

bool isSpecial(const char* path) {
    struct stat file {};
    return stat(path, &file) == 0 && !S_ISREG(file.st_mode) && !S_ISDIR(file.st_mode);
}

// The files that the run itself reads or writes, beside those of the images.
std::unordered_map<std::string, std::string> listFilesOfRun() {
    std::unordered_map<std::string, std::string> files;
    const auto add = [&files](const std::string& path) { files.emplace(identifyFile(path), path); };
    add(runState.scriptPath);
    add(runState.referenceName);
    add("shift.lst");
    if (runState.compositeName == nullptr) return files;
    for (const char* ending : {"R.fit", "V.fit", "B.fit", ".bmp", ".sums.fit"}) add(compositeBaseName() + ending);
    return files;
}

// The composite's files must not be those that the run reads, nor the shift list.
std::string findOverwriting() {
    if (runState.compositeName == nullptr) return {};
    const std::array<std::string, 3> others = {identifyFile(runState.scriptPath), identifyFile(runState.referenceName),
                                               identifyFile("shift.lst")};
    for (const char* ending : {"R.fit", "V.fit", "B.fit", ".bmp", ".sums.fit"}) {
        const std::string path = compositeBaseName() + ending;
        for (const std::string& other : others) {
            if (identifyFile(path) == other) return formatText(tr("the composite replaces %s"), path.c_str());
        }
    }
    return {};
}

}  // namespace

std::string findDependency() {
    std::string problem = findOverwriting();
    if (!problem.empty()) return problem;
    if (isSpecial(runState.referenceName)) return formatText(tr("%s is no plain file"), runState.referenceName);
    const auto filesOfRun = listFilesOfRun();
    std::unordered_map<std::string, int32_t> results;
    for (int32_t entry = 1; entry <= runState.imageCount; ++entry) {
        const char* result = runState.resultNames[entry];
        for (const char* name : {static_cast<const char*>(runState.sourceNames[entry]), result}) {
            if (isSpecial(name)) return formatText(tr("%s is no plain file"), name);
        }
        const std::string key = identifyFile(result);
        if (const auto [other, isNew] = results.emplace(key, entry); !isNew) {
            return formatText(tr("images %i and %i have one result, %s"), other->second, entry, result);
        }
        if (filesOfRun.contains(key)) {
            return formatText(tr("the result of image %i, %s, is a file of the run itself"), entry, result);
        }
    }
    for (int32_t entry = 1; entry <= runState.imageCount; ++entry) {
        const std::string key = identifyFile(runState.sourceNames[entry]);
        if (const auto writer = results.find(key); writer != results.end()) {
            return formatText(tr("image %i is read from %s, the result of image %i"), entry,
                              runState.sourceNames[entry], writer->second);
        }
        // The reference may be one of the sources; the script is none, but nobody writes it.
        const auto file = filesOfRun.find(key);
        if (file != filesOfRun.end() && file->second != runState.referenceName && file->second != runState.scriptPath) {
            return formatText(tr("image %i is read from %s, which the run writes"), entry, runState.sourceNames[entry]);
        }
    }
    return {};
}
