#pragma once

#include <string>

#include "parts/run_process.h"
#include "parts/run_report.h"

/// How a script is run on this machine. Paths may be relative to folder.
struct RunOptions {
    std::string script;
    std::string folder;         // the working directory of the run; empty: the present one
    int cores = 0;              // processes at work at the same time; 0: one a core
    std::string log;            // the console in UTF-8; empty: the script's name with the ending .log
    bool resume = false;        // goes on with what an unfinished run has saved
    bool force = false;         // throws away what an unfinished run has saved
    double secondsToSave = 30;  // of work that a kill may cost; 0: every image is saved
};

/// Runs a script on all cores, with the results of `quillorne SCRIPT` to the byte, and NAME.sums.fit beside them, the
/// exact sums of a composite NAME. May be called again and again: the run itself is in processes of its own. Returns 0
/// when every image was used, 1 when it finished but an image was not opened, not written or on the limit, 2 when it
/// did not run, statusFatal after a fatal error of the run, 128 and the signal's number when it was stopped by one.
int runScript(const RunOptions& options, RunSummary& summary);
