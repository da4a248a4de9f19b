#include <cstdio>
#include <string_view>

#include "benches.h"

// bench PROGRAM [searches | blocks | files]: prints the ratios of the versions of this build, all of them or one group.
// The program is run for the whole runs.
int main(int argumentCount, char** arguments) {
    if (argumentCount != 2 && argumentCount != 3) {
        std::printf("usage: bench PROGRAM [searches | blocks | files]\n");
        return 1;
    }
    const std::string_view group = argumentCount == 3 ? arguments[2] : "";
    std::printf("%-52s %13s %13s %10s\n", "fast against plain", "plain", "fast", "faster");
    if (group.empty() || group == "searches") benchSearches();
    if (group.empty() || group == "blocks") benchBlocks();
    if (group.empty() || group == "files") benchFiles(arguments[1]);
}
