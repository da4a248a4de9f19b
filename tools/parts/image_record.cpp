#include "parts/image_record.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>

#include "parts/memory_file.h"
#include "run/shift_list.h"
#include "run/steps.h"
#include "state/run_state.h"

void noteSource(ImageFacts& facts) {
    struct stat file {};
    const bool found = stat(runState.sourceNames[facts.entry], &file) == 0;
    facts.sourceSize = found ? file.st_size : -1;
    facts.sourceTime = found ? int64_t{file.st_mtim.tv_sec} * 1'000'000'000 + file.st_mtim.tv_nsec : 0;
}

ImageFacts processEntry(int32_t entry) {
    ImageFacts facts{};
    facts.entry = entry;
    noteSource(facts);  // before it is read: one that changes meanwhile is seen to have changed
    const std::clock_t start = std::clock();
    const ImageOutcome outcome = processImage(entry);
    facts.seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    facts.opened = outcome.opened;
    facts.written = outcome.written;
    facts.shiftX = outcome.match.pose.shiftX;
    facts.shiftY = outcome.match.pose.shiftY;
    facts.angle = static_cast<double>(outcome.match.pose.angle) / radiansPerDegree;
    facts.onLimit = outcome.opened && liesOnLimit(outcome.match);
    return facts;
}

ImageRecord takeImage(int32_t entry, int shiftLines) {
    const ImageFacts facts = processEntry(entry);
    std::fflush(stdout);
    return {.facts = facts, .shiftLine = takeContents(shiftLines), .console = takeContents(STDOUT_FILENO)};
}
