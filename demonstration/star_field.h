#pragma once

#include <vector>

#include "scene.h"

/// A star, pixels to the right of and below the middle of the sky; light is that of its brightest point, which may
/// saturate the camera; width is the distance in pixels at which an eighth of it is left.
struct Star {
    double x, y, width;
    Light light;
};

/// 420 stars, many faint ones for a bright one, over a sky of that many pixels.
[[nodiscard]] std::vector<Star> makeRichField(cv::Size pixels, uint32_t seed);

/// 75 small stars, all well above the noise.
[[nodiscard]] std::vector<Star> makeSparseField(cv::Size pixels, uint32_t seed);

/// The light of a faint nebula; pixels to the right of and below its middle.
[[nodiscard]] Light lookAtNebula(double x, double y);

/// Adds a star to light, a picture of three planes (blue, green, red) with the middle of the sky in its middle.
void addStar(cv::Mat& light, const Star& star);
