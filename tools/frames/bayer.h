#pragma once

#include <opencv2/core.hpp>
#include <string>

/// The colours of a sensor's first two pixels in its first two rows, read as one reads a text; none: no colours.
enum class BayerPattern { none, rggb, grbg, gbrg, bggr };

/// The pattern of that name (RGGB, GRBG, GBRG, BGGR), or none.
[[nodiscard]] BayerPattern findBayerPattern(const std::string& name);

/// The pattern that begins so many columns and rows further on the same sensor.
[[nodiscard]] BayerPattern moveBayerPattern(BayerPattern pattern, int columns, int rows);

/// Blue, green and red at every pixel, missing colours being the mean of their neighbours; of the mosaic's depth (8 or
/// 16 bits or floats). A mosaic without pattern is given back as it is.
[[nodiscard]] cv::Mat resolveBayer(const cv::Mat& mosaic, BayerPattern pattern);
