// Loaded before the C library: refuses the one allocation whose number REFUSE says.

#include <cerrno>
#include <cstddef>
#include <cstdlib>

extern "C" {

void* __libc_malloc(size_t size);

void* malloc(size_t size) {
    static long left = -1;
    if (left < 0) {
        const char* number = std::getenv("REFUSE");
        left = number == nullptr ? 0 : std::atol(number);
    }
    if (left <= 0 || --left > 0) return __libc_malloc(size);
    errno = ENOMEM;
    return nullptr;
}

}  // extern "C"
