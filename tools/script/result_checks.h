#pragma once

#include <vector>

#include "script/findings.h"
#include "script/script_run.h"

/// The files that a composite of that name becomes: the sums of red, green and blue, and the mean.
[[nodiscard]] std::vector<std::string> nameCompositeFiles(const std::string& compositeName);

/// Looks at all that the run would write: whether it can, and what it would overwrite.
void checkResults(const ScriptRun& run, std::vector<Finding>& findings);
