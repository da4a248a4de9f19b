#pragma once

#include <opencv2/core.hpp>

#include "export/export.h"

/// How values become brightness on a screen: black and below is 0, white and above 1; between, with x running from 0 to
/// 1, asinh(strength x) / asinh(strength), or x itself for a strength of 0. One curve for all channels.
struct StretchCurve {
    float black = 0, white = 255;
    float strength = 0;
};

/// The curve for a mean picture (three channels of floats). Black lies under the background's noise, white where one
/// pixel in ten thousand is brighter, so that a planet is not burnt out; automatic makes the faint bulk of what stands
/// out of the background visible, and leaves what is bright already as it is. Pixels outside reached (8 bits, 0: no
/// frame reaches the place) count for nothing.
[[nodiscard]] StretchCurve chooseCurve(const cv::Mat& mean, const cv::Mat& reached, Stretch stretch);

/// The picture of 8 bits. The brightest channel of a pixel follows the curve, the others keep their ratio to it, so
/// that colours stay.
[[nodiscard]] cv::Mat applyCurve(const cv::Mat& mean, const StretchCurve& curve);
