#pragma once

#include <cstdint>
#include <opencv2/core.hpp>

/// Cratered ground as a low sun from the left shows it: one plane of floats about 0 to 255, points along and across,
/// pointsPerPixel of them a pixel. Every seed gives other craters.
[[nodiscard]] cv::Mat makeCrateredGround(cv::Size points, double pointsPerPixel, uint32_t seed);
