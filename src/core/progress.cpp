#include "core/progress.h"

#include <cstdio>

void printRuler() {
    std::printf("--------------------------------------------------\n");
}

int32_t printProgress(int32_t printed, int32_t target) {
    for (; printed < target; ++printed) std::printf("*");
    std::fflush(stdout);
    return printed;
}
