#pragma once

#include <string>

#include "export/mean_picture.h"

/// The bytes of a colour FITS file: planes red, green, blue of 32-bit floats, the picture's bottom row first, with
/// checksums. cutFrom is the corner that was cut to in the whole picture (0, 0 when all of it is there). Empty when
/// memory is short.
[[nodiscard]] std::string encodeFits(const MeanPicture& picture, cv::Point cutFrom);
