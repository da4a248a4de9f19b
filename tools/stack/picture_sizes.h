#pragma once

#include <opencv2/core.hpp>
#include <string>

#include "imageio/image.h"

// Larger and smaller by a whole factor. Pixel x of a picture lies where pixel factor x of the enlarged one does, so
// that making smaller picks pixels and does not blur.

/// The colours of an image: CV_8UC3, blue, green, red.
[[nodiscard]] cv::Mat toPicture(const Image& image);

/// The picture of 8-bit or float channels, interpolated by Lanczos' kernel. Levels stay above 0, the mark of pixels
/// without data.
[[nodiscard]] cv::Mat enlargePicture(const cv::Mat& picture, int factor);

/// Reads the BMP file of an aligned picture, makes it smaller and writes it. False when that cannot be done.
[[nodiscard]] bool reducePicture(const std::string& from, const std::string& to, int factor);

/// Writes the sum FROM.sums.fit, that many times smaller and cut to size, as TO.bmp, TOR.fit, TOV.fit, TOB.fit and
/// TO.sums.fit. Returns what went wrong.
[[nodiscard]] std::string collectSum(const std::string& from, const std::string& to, cv::Size size, int factor);
