#pragma once

/// One batch from start to end, as the script named by the first argument says. Returns the exit status: 0, or 1 when
/// a file could not be written whole. A fatal error does not return.
[[nodiscard]] int runBatch(int argumentCount, char** arguments);
