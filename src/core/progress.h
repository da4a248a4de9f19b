#pragma once

#include <cstdint>

/// The line of 50 hyphens above a row of stars.
void printRuler();

/// Lengthens the row of stars from printed to target stars, when that is more, and flushes standard output so that the
/// row grows while the work goes on. Returns the number of stars now in the row.
int32_t printProgress(int32_t printed, int32_t target);
