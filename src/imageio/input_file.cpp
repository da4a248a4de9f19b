#include "imageio/input_file.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "core/fatal_error.h"

std::FILE* openInputFile(const char* path) {
    // The library opens a folder gladly and fails at the first read only.
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) return nullptr;
    std::FILE* file = std::fopen(path, "rb");
    if (file == nullptr && errno == ENOMEM) stopForMemory();
    return file;
}
