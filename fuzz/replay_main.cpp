#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "harness.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

// Runs the body on every file of a folder, without the fuzzer.
int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) return 2;
    std::vector<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    for (const std::filesystem::path& path : paths) {
        std::fprintf(stderr, "%s\n", path.c_str());
        std::ifstream file(path, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }
    return paths.empty() ? 2 : 0;
}
