#include "core/platform.h"

#if defined(_WIN32)

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdlib>

void preparePlatform() {
    // Line ends as they are printed. A stream that is closed has no number.
    if (_fileno(stdout) >= 0) _setmode(_fileno(stdout), _O_BINARY);
    if (_fileno(stderr) >= 0) _setmode(_fileno(stderr), _O_BINARY);
    // No window that asks what to do about a file on a disk that was taken out.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
}

bool seekTo(std::FILE* file, int64_t position) {
    return _fseeki64(file, position, SEEK_SET) == 0;
}

int64_t measureFile(std::FILE* file) {
    return _fseeki64(file, 0, SEEK_END) == 0 ? _ftelli64(file) : -1;
}

void preferLargePages(void*, size_t) {}

void endAbnormally() {
    std::_Exit(3);  // the status of an abort, which would add words of its own, or a window
}

#else

#include <sys/mman.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

void preparePlatform() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    // A run started with its standard streams closed would open its pictures under their numbers, 0 to 2, and print
    // into them: those numbers are taken first.
    std::FILE* file = std::fopen("/dev/null", "r+");
    while (file != nullptr && fileno(file) <= STDERR_FILENO) file = std::fopen("/dev/null", "r+");
    if (file != nullptr) std::fclose(file);
}

bool seekTo(std::FILE* file, int64_t position) {
    return fseeko(file, position, SEEK_SET) == 0;
}

int64_t measureFile(std::FILE* file) {
    return fseeko(file, 0, SEEK_END) == 0 ? ftello(file) : -1;
}

void preferLargePages([[maybe_unused]] void* memory, [[maybe_unused]] size_t bytes) {
#if defined(MADV_HUGEPAGE)
    // The whole pages within, which belong to nothing else.
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t before = (page - reinterpret_cast<uintptr_t>(memory) % page) % page;
    if (before < bytes) madvise(static_cast<char*>(memory) + before, (bytes - before) / page * page, MADV_HUGEPAGE);
#endif
}

void endAbnormally() {
    std::abort();
}

#endif
