#include <algorithm>
#include <cstdio>
#include <cstring>
#include <span>
#include <string_view>

#include "benches.h"
#include "core/vector_level.h"

// bench PROGRAM [--level LEVEL] [kernels | searches | blocks | files | settings]: prints the ratios of the versions of
// this build, all of them or one group, at the level of vector instructions of that name or the fastest; the kernels at
// every level. The program is run for the whole runs: it takes the level as its first argument.
int main(int argumentCount, char** arguments) {
    const std::span given(arguments, static_cast<size_t>(argumentCount));
    const auto levels = listVectorLevels();
    const bool hasLevel = given.size() > 3 && std::strcmp(given[2], "--level") == 0;
    const auto level =
        hasLevel
            ? std::find_if(levels.begin(), levels.end(),
                           [given](VectorLevel candidate) { return std::strcmp(nameOf(candidate), given[3]) == 0; })
            : levels.end() - 1;
    const auto groups = given.subspan(std::min<size_t>(hasLevel ? 4 : 2, given.size()));
    if (given.size() < 2 || level == levels.end() || groups.size() > 1) {
        std::printf(
            "usage: bench PROGRAM [--level LEVEL] [kernels | searches | blocks | files | settings]; this processor's "
            "levels:");
        for (const VectorLevel known : levels) std::printf(" %s", nameOf(known));
        std::printf("\n");
        return 1;
    }
    setVectorLevel(*level);
    const std::string_view group = groups.empty() ? "" : groups[0];
    if (group.empty() || group == "kernels") benchKernels();
    if (group == "kernels") return 0;
    if (group == "settings") {  // at every level, unless one is named
        for (const VectorLevel each : hasLevel ? std::span(level, 1) : levels) benchSettings(given[1], nameOf(each));
        return 0;
    }
    std::printf("%-52s %13s %13s %10s\n", "fast against plain", "plain", nameOf(*level), "faster");
    if (group.empty() || group == "searches") benchSearches();
    if (group.empty() || group == "blocks") benchBlocks();
    if (group.empty() || group == "files") benchFiles(given[1], nameOf(*level));
    if (group.empty()) benchSettings(given[1], nameOf(*level));
}
