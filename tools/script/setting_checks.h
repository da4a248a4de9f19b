#pragma once

#include <vector>

#include "script/findings.h"
#include "script/script_run.h"

/// Looks at what the settings in the run state do to pictures of the reference's size: searches that cannot find, or
/// end the run, or take long.
void checkSettings(const ScriptRun& run, std::vector<Finding>& findings);

/// Whether the program has a fast way for blocks of that step: multiples of 1/n of a pixel with a small n.
[[nodiscard]] bool isFastStep(double step);
