#pragma once

#include <fitsio.h>

#include <cstdint>
#include <vector>

#include "parts/image_record.h"

// The table IMAGES of a part: a row an image. The names are there for other programs, bytes beyond ASCII written as
// %XX; the console's text is kept as the bytes that it is.

/// Appends the table; status is CFITSIO's.
void writeRecords(fitsfile* file, const std::vector<ImageRecord>& records, int& status);

/// Reads it. Returns false when it is not such a table, or has an entry twice or one that is
/// not between 1 and imageCount.
[[nodiscard]] bool readRecords(fitsfile* file, int32_t imageCount, std::vector<ImageRecord>& records);
