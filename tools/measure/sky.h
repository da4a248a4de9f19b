#pragma once

#include <opencv2/core.hpp>
#include <vector>

/// One channel of floats of a picture: blue counts 0.2, green and red 0.4 each, about as the alignment weighs them.
/// What is no number becomes 0.
[[nodiscard]] cv::Mat makeGrey(const cv::Mat& picture);

/// Middle levels of a picture, tile by tile, and how much a pixel scatters where it scatters least.
struct Sky {
    cv::Mat tiles;     // CV_32F, the median of each tile
    double noise = 0;  // standard deviation of a pixel in the quieter tiles; above 0
};

/// Measures the tiles of a grey picture, as many across and down as tileCount says where the picture is large enough.
[[nodiscard]] Sky measureSky(const cv::Mat& grey, int tileCount);

/// The smooth level of the sky under the whole picture: a curved surface through those tiles that hold sky alone,
/// beginning with those of the border. CV_32F of that size.
[[nodiscard]] cv::Mat fitSky(const Sky& sky, cv::Size size);

/// The level that follows every tile, so that nebulae and large halos count as sky. CV_32F of that size.
[[nodiscard]] cv::Mat followSky(const Sky& sky, cv::Size size);

/// The median of values; 0 without any. Their order is lost.
[[nodiscard]] double takeMedian(std::vector<float>& values);
