#pragma once

#include <string>

// Files in memory that processes share: what a process wrote there before it died can still be read.

/// An empty one; below 0 when there is none to be had.
[[nodiscard]] int makeMemoryFile();

/// All that was written into it; and that, leaving it empty.
[[nodiscard]] std::string readContents(int file);
[[nodiscard]] std::string takeContents(int file);
