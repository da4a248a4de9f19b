#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

/// The straight line by which values become 8 bits: low becomes 0, high 255. As it starts, 8-bit values stay the same.
struct BrightnessScale {
    double low = 0, high = 255;  // in the values of the pictures; low < high
};

/// How often each value occurs in a series. Colours count alike.
struct BrightnessHistogram {
    std::vector<int64_t>
        counts;         // by the rank of the value among all floats, rounded to 1 part in 2048; empty: no value
    int64_t total = 0;  // values counted
    float least = 0, largest = 0;  // of the values counted
};

/// Whether the values of the picture need a scale: all but 8-bit ones do.
[[nodiscard]] bool needsScale(const cv::Mat& picture);

/// Counts the values of one picture, as a FrameResult holds it, of 8 or 16 bits or floats.
void addToHistogram(BrightnessHistogram& histogram, const cv::Mat& picture);

/// The scale for all that was counted: of 10,000 values, one may lie below low; of 100,000, one above high (hot
/// pixels). Always low < high; where nothing was counted, the scale as it starts.
[[nodiscard]] BrightnessScale chooseScale(const BrightnessHistogram& histogram);

/// A picture in 8 bits, and how many of its values lay outside the scale and became 0 or 255.
struct ScaledPicture {
    cv::Mat picture;  // CV_8UC3: blue, green, red; three equal channels where the original has one
    int64_t belowCount = 0, aboveCount = 0;
};

/// The picture by the scale, rounded to the nearest. Colours are scaled alike.
[[nodiscard]] ScaledPicture applyScale(const cv::Mat& picture, const BrightnessScale& scale);
