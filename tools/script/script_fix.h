#pragma once

#include <string>
#include <vector>

#include "script/script_run.h"

/// A script whose mechanical faults are mended, and what was changed: the line in the script as it was, and what.
struct MendedScript {
    struct Change {
        int line;
        std::string text;
    };
    std::string bytes;
    std::vector<Change> changes;
};

/// Mends line ends, byte-order mark, tabs, comments of other languages, misspelled words when one is nearest, missing
/// or misplaced colons, decimal commas that can be nothing else, and numbered pictures whose names have leading zeros.
/// Everything else stays. The run says where the pictures are.
[[nodiscard]] MendedScript mendScript(const ScriptRun& run, const std::string& bytes);
