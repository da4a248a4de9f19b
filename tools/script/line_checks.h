#pragma once

#include <vector>

#include "script/findings.h"
#include "script/script_lines.h"

/// What can be told from each line alone: words that the program does not know, arguments that it misunderstands.
void checkLines(const std::vector<ScriptLine>& lines, std::vector<Finding>& findings);
