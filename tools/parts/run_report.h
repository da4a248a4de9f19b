#pragma once

#include <cstdio>
#include <string>
#include <vector>

// What a run tells the process that started it: lines of a letter and a text.

constexpr char reportImageCount = 'i', reportFinishedCount = 'f', reportNotOpened = 'o', reportNotWritten = 'w',
               reportOnLimit = 'l', reportCompositeFailed = 'c', reportEnd = 'e';

/// What became of the images. The names are those of the sources as the script says them, in its order.
struct RunSummary {
    int images = 0;    // of the script
    int finished = 0;  // images that were processed
    std::vector<std::string> notOpened, notWritten, onLimit;
    bool compositeFailed = false;  // the composite, the shift list or the exact sums could not be written whole
    bool isWhole = false;          // all of this could be told: memory was not too short
    std::string log;               // where the console is
};

void reportLine(std::FILE* report, char letter, const char* text);

/// Takes the lines of a report into the summary.
void readReport(const std::string& report, RunSummary& summary);

/// 0 when every image was used, 1 when something was left out or is doubtful.
[[nodiscard]] int judgeRun(const RunSummary& summary);

/// Says on standard output what became of the images.
void printRunSummary(const RunSummary& summary);
