#pragma once

#include <string>

struct ReportOptions {
    std::string target;  // a folder that prepare or stack made, or the script of a run
    std::string log;     // the console of that run, in UTF-8 or Mac OS Roman; empty: the script's name ending in .log
    std::string output;  // the folder for table.csv and report.html; empty: the script's folder
    bool force = false;  // replace files that are there
};

/// Writes table.csv and report.html. Returns the status: 0 every frame is used and none is doubtful, 1 some are left
/// out or doubtful, 2 nothing written.
[[nodiscard]] int reportFolder(const ReportOptions& options);
