#pragma once

#include <opencv2/core.hpp>
#include <string>

/// Writes a picture (CV_8UC3: blue, green, red) as an uncompressed 24-bit BMP file, whole or not at all.
[[nodiscard]] bool writeBmpFrame(const cv::Mat& picture, const std::string& path);
