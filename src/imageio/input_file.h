#pragma once

#include <cstdio>

/// Opens a file for reading bytes; null when it cannot be opened or is a folder. The caller closes it. Stops the run when
/// memory is short.
[[nodiscard]] std::FILE* openInputFile(const char* path);
