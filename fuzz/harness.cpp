#include "harness.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "core/fatal_error.h"
#include "state/run_state.h"

// A fatal error waits for a key and aborts, which here would end the search for the next input. This definition, which
// the linker meets before the library's, leaves the run by an exception instead: a process for every input is too slow,
// and a jump would pass over the buffers on its way. Arrays that the run still holds are lost, so leaks are not looked
// for.
namespace {

struct RunEnded {};

std::vector<std::FILE*> openFiles;  // what a run left open, the three streams that hold 0 to 2 among it

}  // namespace

void fatalError() {
    throw RunEnded{};
}

void stopForMemory() {
    throw RunEnded{};
}

extern "C" {

// The linker turns every fopen and fclose to these (--wrap).
std::FILE* __real_fopen(const char* path, const char* mode);
int __real_fclose(std::FILE* file);

std::FILE* __wrap_fopen(const char* path, const char* mode) {
    std::FILE* file = __real_fopen(path, mode);
    if (file != nullptr) openFiles.push_back(file);
    return file;
}

int __wrap_fclose(std::FILE* file) {
    std::erase(openFiles, file);
    return __real_fclose(file);
}

const char* __asan_default_options() {
    return "detect_leaks=0:allocator_may_return_null=1";
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    try {
        runInput({data, size});
    } catch (const RunEnded&) {
    }
    for (std::FILE* file : openFiles) __real_fclose(file);
    openFiles.clear();
    return 0;
}

}  // extern "C"

void writeInput(const char* path, std::span<const uint8_t> bytes) {
    std::remove(path);  // some file systems wait for the disk when a file is cut to nothing and written again
    std::FILE* file = std::fopen(path, "wb");
    if (file == nullptr || std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size()) std::abort();
    std::fclose(file);
}

void resetRunState() {
    static const RunState untouched{};
    runState = untouched;
}
