#include "parts/memory_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

int makeMemoryFile() {
    const int made = memfd_create("quillorne", MFD_CLOEXEC);
    if (made < 0) return made;
    const int file = fcntl(made, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);  // the standard streams may be closed
    close(made);
    fcntl(file, F_SETFL, O_APPEND);
    return file;
}

std::string readContents(int file) {
    struct stat state {};
    if (fstat(file, &state) != 0) return {};
    std::string text(static_cast<size_t>(state.st_size), '\0');
    size_t filled = 0;
    while (filled < text.size()) {
        const ssize_t got = pread(file, text.data() + filled, text.size() - filled, static_cast<off_t>(filled));
        if (got <= 0) break;
        filled += static_cast<size_t>(got);
    }
    text.resize(filled);
    return text;
}

std::string takeContents(int file) {
    std::string text = readContents(file);
    if (ftruncate(file, 0) != 0) text.clear();
    return text;
}
