#pragma once

#include <cstdio>

/// Opens a file for reading bytes; null when it cannot be opened or is a folder. The caller closes it.
[[nodiscard]] std::FILE* openInputFile(const char* path);
