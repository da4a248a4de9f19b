#pragma once

#include <optional>
#include <string>

#include "report/aligned_frames.h"
#include "report/run_log.h"

/// The script and the console of a run; problem says what is missing.
struct RunFiles {
    std::string script, log;
    std::string problem;
};

/// target: a folder that holds script.txt, or a script. log: empty for the script's name ending in .log.
[[nodiscard]] RunFiles findRun(const std::string& target, const std::string& log);

/// The pass behind the first whose results lie beside the script of the first.
struct FurtherPass {
    RunScript script;
    RunLog log;
    double enlarge = 1;  // its frames are this many times larger
};
constexpr const char* passReference = "reference.bmp";  // what its results are compared with, beside the first script

/// The last pass that stack ran, in a folder of its own beside the script; nothing where there is none, or where it is
/// older than the run of the script.
[[nodiscard]] std::optional<FurtherPass> findFurtherPass(const RunFiles& run);

[[nodiscard]] std::string readText(const std::string& path);
