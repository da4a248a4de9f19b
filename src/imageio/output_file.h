#pragma once

#include <cstdio>

/// Creates a file for writing bytes, replacing any of that name; null when it cannot be created. Stops the run when memory
/// is short.
[[nodiscard]] std::FILE* createOutputFile(const char* path);

/// Closes an output file (null when it could not be created). When anything failed since its creation, a full disk
/// say, prints the line that names the file, removes what was written of it, and returns false.
[[nodiscard]] bool finishOutputFile(std::FILE* file, const char* path);
