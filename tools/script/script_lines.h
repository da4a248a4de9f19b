#pragma once

#include <string>
#include <vector>

#include "script/command_words.h"

/// A line as the program reads it: at most 999 characters, up to the first NUL byte.
struct ScriptLine {
    int number = 0;                        // as an editor counts; the pieces of a long line share it
    std::string text;                      // without line feed, carriage return at its end and byte-order mark
    std::string word;                      // the command word, without the line end that the program leaves at it
    std::vector<std::string> arguments;    // as the program cuts them
    const CommandForm* command = nullptr;  // null: blank or unknown
    bool wordIsLast = false;  // nothing, not even a blank, between the word and the line feed: then nothing matches it
    bool hasReturn = false, hasMark = false, hasNul = false, isContinued = false;
};

/// The lines of a script's bytes.
[[nodiscard]] std::vector<ScriptLine> cutScript(const std::string& bytes);

/// All that stands behind the command word and what ended it.
[[nodiscard]] std::string findArguments(const ScriptLine& line);

/// Reads a whole file; false when it cannot be read or is a pipe or a device.
[[nodiscard]] bool readWholeFile(const std::string& path, std::string& bytes);
