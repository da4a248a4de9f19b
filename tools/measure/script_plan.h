#pragma once

#include <vector>

#include "measure/placement.h"
#include "measure/prepare.h"
#include "script/script_writer.h"

/// The first script for a prepared series: settings from what was measured, each with its reason. What else the
/// introduction says, and the epilogue, are left to the caller.
[[nodiscard]] ScriptPlan planScript(const PreparedSeries& series, const Placement& placement,
                                    const PrepareOptions& options);

/// The Bloc line for an object of that size and noise: no larger blocks than the noise asks for.
[[nodiscard]] BlockSettings chooseBlocks(const PreparedSeries& series);
