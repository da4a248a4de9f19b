#pragma once

#include <opencv2/core.hpp>
#include <vector>

/// A small bright thing.
struct Star {
    double x = 0, y = 0;       // centre of its light, pixels
    double brightness = 0;     // height above the sky around, after a slight smoothing
    double concentration = 0;  // the part of its light that its middle 3 x 3 pixels hold, of 9 x 9
};

struct StarField {
    std::vector<Star> stars;  // brightest first, at most as many as asked for
    int darkCount = 0;        // what stands out as far below the sky: none in a star field, many in a textured picture
    double coverage = 0;      // the part of all pixels that stands out of the sky
    double noise = 0;         // standard deviation of one pixel of the sky
};

/// Finds the stars of a grey frame. Single hot pixels are passed over.
[[nodiscard]] StarField findStars(const cv::Mat& grey, int maximum);
