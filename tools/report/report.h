#pragma once

#include <string>
#include <vector>

#include "measure/frame_table.h"
#include "report/aligned_frames.h"
#include "report/frame_report.h"
#include "report/run_files.h"
#include "report/run_log.h"

struct ReportOptions {
    std::string target;   // a folder that prepare or stack made, or the script of a run
    std::string log;      // the console of that run, in UTF-8 or Mac OS Roman; empty: the script's name ending in .log
    std::string output;   // the folder for table.csv and report.html; empty: the script's folder
    bool force = false;   // replace files that are there
    bool silent = false;  // nothing on standard output
};

/// What became of each frame of a run: one record an input frame by its row of records, and one for each picture that
/// the script names besides. Reads frames and results. pass, which may be null, is where these come from.
[[nodiscard]] std::vector<FrameReport> examineRun(const RunScript& script, const Image& reference, const RunLog& log,
                                                  const std::vector<FrameRecord>& records, const FurtherPass* pass);

/// Where stack bent the results in a further pass they are compared with the mean that they were bent to, and of their
/// differences only what frames.csv says makes them doubtful. Writes table.csv and report.html, and says on standard
/// output how many frames were summed and which are doubtful or left out. frames, which may be null, takes what became
/// of each frame. Returns the status: 0 every frame is used and none is doubtful, 1 some are left out or doubtful, 2
/// nothing written.
[[nodiscard]] int reportFolder(const ReportOptions& options, std::vector<FrameReport>* frames);

/// What became of the frames, in a sentence: "9 of 10 frames summed; frame 7 left out (cut); frame 3 doubtful (limit)."
[[nodiscard]] std::string summarizeFrames(const std::vector<FrameReport>& frames);
