#pragma once

#include <string>
#include <vector>

#include "parts/run_process.h"

/// Parts of a script to be put together.
struct MergeOptions {
    std::string script;
    std::vector<std::string> parts;
    std::string output;  // a larger part, in place of the run's results; empty: the results
    std::string log;     // the console in UTF-8, too; empty: none
    bool force = false;  // replaces a part of the name output
};

/// Writes what `quillorne SCRIPT` writes beside the images: the shift list, the composite and, on standard output, the
/// console, to the byte; and the exact sums. Returns 0 when every image was used, 1 when one was not opened, not
/// written or on the limit, 2 when the parts are not those of this script and reference, damaged or do not hold every
/// image once, statusFatal after a fatal error of the run.
int mergeParts(const MergeOptions& options);
