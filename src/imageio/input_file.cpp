#include "imageio/input_file.h"

#include <filesystem>
#include <system_error>

std::FILE* openInputFile(const char* path) {
    // The library opens a folder gladly and fails at the first read only.
    std::error_code ignored;
    return std::filesystem::is_directory(path, ignored) ? nullptr : std::fopen(path, "rb");
}
