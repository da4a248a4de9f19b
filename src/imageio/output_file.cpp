#include "imageio/output_file.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "core/fatal_error.h"

std::FILE* createOutputFile(const char* path) {
    std::FILE* file = std::fopen(path, "wb");
    if (file == nullptr && errno == ENOMEM) stopForMemory();
    return file;
}

bool finishOutputFile(std::FILE* file, const char* path) {
    bool whole = file != nullptr;
    if (file != nullptr) {
        const bool failedBefore = std::ferror(file) != 0;
        whole = std::fclose(file) == 0 && !failedBefore;  // the last bytes may fail to reach the disk as late as here
        std::error_code ignored;
        // Only a regular file, that behind a link if need be: a device or a pipe that refused the bytes is not ours.
        if (!whole && std::filesystem::is_regular_file(path, ignored)) {
            std::filesystem::remove(std::filesystem::canonical(path, ignored), ignored);
        }
    }
    if (!whole) std::printf("Erreur : impossible d'ecrire le fichier %s\n", path);
    return whole;
}
