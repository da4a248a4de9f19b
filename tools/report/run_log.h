#pragma once

#include <cstdint>
#include <map>
#include <string>

/// What the console of a run says of one image.
struct LogEntry {
    bool opened = true;
    bool aligned = false;  // its shift stands there
    int32_t shiftX = 0, shiftY = 0;
    double angle = 0;      // degrees
    bool onLimit = false;  // the best shift is the largest that was tried
};

/// What the console says of the images, by their number in the script, and whether the run came to its end.
struct RunLog {
    std::map<int32_t, LogEntry> entries;
    bool finished = false;
};

/// Reads a console text. Only ASCII parts of its lines are looked at, so any encoding of the accented letters will do.
[[nodiscard]] RunLog parseRunLog(const std::string& text);
