#pragma once

#include <map>
#include <string>
#include <vector>

#include "script/picture_header.h"
#include "script/script_lines.h"

/// A script as a run would see it. The settings and the image list are in the run state.
struct ScriptRun {
    std::string path;    // of the script
    std::string folder;  // the working directory of the run; empty: the present one
    std::vector<ScriptLine> lines;
    std::vector<int> entryLines;          // the line of each image, by its entry in the image list (0 unused)
    std::map<CommandKind, int> lastLine;  // where each command stands last; 0 or missing: nowhere
    PictureHeader reference;
};

/// A name without the carriage return that its line may have left at it: that is reported once for the whole script.
[[nodiscard]] std::string cleanName(std::string name);

/// A file of the script as seen from here.
[[nodiscard]] std::string placeFile(const ScriptRun& run, const std::string& name);

/// The line where a command stands last; 0: nowhere.
[[nodiscard]] int findLastLine(const ScriptRun& run, CommandKind kind);

/// Cuts the lines' images into entries: the line of each. More than the program takes are counted too.
void listEntries(ScriptRun& run);

/// Runs the program's reader over the script, its console unheard, into the run state. Only for a script that can be
/// opened and names no more images than the program takes.
void readIntoRunState(const ScriptRun& run);

/// Releases what the reader left in the run state, so that it is as at the start.
void clearRunState();
