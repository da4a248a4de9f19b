#include <cstdio>

#include "benches.h"

// bench PROGRAM: prints the ratios of the versions of this build. The program is run for the whole runs.
int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        std::printf("usage: bench PROGRAM\n");
        return 1;
    }
    std::printf("%-52s %13s %13s %10s\n", "fast against plain", "plain", "fast", "faster");
    benchSearches();
    benchBlocks();
    benchFiles(arguments[1]);
}
