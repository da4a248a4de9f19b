#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "harness.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

// Runs the body on every file of a folder, without the fuzzer.
int main(int argumentCount, char** arguments) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(argumentCount == 2 ? arguments[1] : "")) {
        std::fprintf(stderr, "%s\n", entry.path().c_str());
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        ++count;
    }
    return count > 0 ? 0 : 2;
}
