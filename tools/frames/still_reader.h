#pragma once

#include <opencv2/core.hpp>
#include <string>

/// Reads a PNG, JPEG, TIFF or BMP file: one or three channels of 8 or 16 bits; transparency is dropped. problem says
/// what is wrong, and then the picture is empty.
[[nodiscard]] cv::Mat readStillPicture(const std::string& path, std::string& problem);
