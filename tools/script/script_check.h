#pragma once

#include <optional>
#include <string>
#include <vector>

#include "script/findings.h"
#include "script/script_needs.h"

struct CheckOptions {
    std::string script;
    std::string fixedCopy;  // where to write a mended copy, which is then what is checked; empty: none
};

/// Prints the findings, one a line as `script.txt:12: error: ...`, and what the run will need. Returns 0 when there is
/// no error, 1 when there are some, 2 when the script cannot be read or the copy not be written.
int checkScript(const CheckOptions& options);

/// What there is to say of a script, in the order of its lines.
struct ScriptReview {
    bool isReadable = false;
    std::vector<Finding> findings;
    std::optional<ScriptNeeds> needs;  // when the reference can be read
    PictureHeader picture;             // of the reference
};

/// The same without printing anything. Relative names in the script count from folder (empty: the present one). Leaves
/// the run state as at the start of the program; not for a process in the middle of a run.
[[nodiscard]] ScriptReview reviewScript(const std::string& script, const std::string& folder);

/// Whether one of them is an error.
[[nodiscard]] bool hasError(const std::vector<Finding>& findings);
