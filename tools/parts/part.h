#pragma once

#include <string>

#include "parts/run_process.h"

/// A slice of a script, to be processed here and put together with the others elsewhere.
struct PartOptions {
    std::string script;
    int part = 0, parts = 0;  // the part-th of that many slices, from 1; parts 0: the entries are given
    int first = 0, last = 0;  // entries of the image list, both included
    std::string output;       // empty: named after script and slice
    bool force = false;       // replaces a part of that name
};

/// Writes the results of these images and the part file. Returns 0 when every one of them was used, 1 when one was not
/// opened, not written or on the limit, 2 when nothing was done, statusFatal after a fatal error of the run, 128 and
/// the signal's number when it was stopped by one; in the last three cases there is no part file.
int processPart(const PartOptions& options);
