#pragma once

#include <string>
#include <vector>

#include "report/frame_report.h"

struct ReportOptions {
    std::string target;  // a folder that prepare or stack made, or the script of a run
    std::string log;     // the console of that run, in UTF-8 or Mac OS Roman; empty: the script's name ending in .log
    std::string output;  // the folder for table.csv and report.html; empty: the script's folder
    bool force = false;  // replace files that are there
};

/// Writes table.csv and report.html, and says on standard output how many frames were summed and which are doubtful or
/// left out. frames, which may be null, takes what became of each frame. Returns the status: 0 every frame is used and
/// none is doubtful, 1 some are left out or doubtful, 2 nothing written.
[[nodiscard]] int reportFolder(const ReportOptions& options, std::vector<FrameReport>* frames);

/// What became of the frames, in a sentence: "9 of 10 frames summed; frame 7 left out (cut); frame 3 doubtful (limit)."
[[nodiscard]] std::string summarizeFrames(const std::vector<FrameReport>& frames);
