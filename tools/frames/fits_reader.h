#pragma once

#include <opencv2/core.hpp>
#include <string>

/// Reads the first picture of a FITS file, compressed ones too: one plane, three (red, green, blue), or a mosaic that
/// BAYERPAT or COLORTYP names, in the order in which rows lie in the file, moved by XBAYROFF and YBAYROFF. One or three
/// channels, top row first: the file's last row is the top one unless ROWORDER says TOP-DOWN. Bytes stay bytes, 16 bits
/// without sign stay such, all else becomes floats; values that are none, or beyond 1e30, become 0. problem says what
/// is wrong, and then the picture is empty.
[[nodiscard]] cv::Mat readFits(const std::string& path, std::string& problem);
