#pragma once

#include <string>

#include "script/script_run.h"

/// What a run needs, beyond what is there already. Bytes; seconds on one core, a rough estimate.
struct ScriptNeeds {
    int pictures = 0;
    double disk = 0, memory = 0;
    double freeDisk = -1;  // where the results go; -1: unknown
    double seconds = 0;
};

/// From the settings and the image list of the run state and the reference's size.
[[nodiscard]] ScriptNeeds estimateNeeds(const ScriptRun& run);

/// In a sentence.
[[nodiscard]] std::string describeNeeds(const ScriptNeeds& needs, const PictureHeader& picture);
