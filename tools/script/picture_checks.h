#pragma once

#include <vector>

#include "script/findings.h"
#include "script/script_run.h"

/// Looks at the reference, whose header it keeps in the run, and at every source: whether the program can read them and
/// whether they go together. Tells a fault of many images of a line once.
void checkPictures(ScriptRun& run, std::vector<Finding>& findings);

/// The file that a numbered picture that is missing was probably meant to be: its number with leading zeros. Empty when
/// there is none.
[[nodiscard]] std::string findPaddedName(const ScriptRun& run, const std::string& name);
