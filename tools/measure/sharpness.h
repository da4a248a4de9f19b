#pragma once

#include <opencv2/core.hpp>

/// How much fine detail a part of a picture shows, and how noisy it is.
struct DetailMeasure {
    double detail = 0;       // rms of what changes within one to three pixels, the noise's share taken off
    double noise = 0;        // standard deviation of one pixel
    double noiseDetail = 0;  // what that noise adds to the rms, by itself
    double brightness = 0;   // mean above base
};

/// Measures the pixels of a grey picture where mask (CV_8U) is not 0. base: the level of the sky there, taken off the
/// brightness.
[[nodiscard]] DetailMeasure measureDetail(const cv::Mat& grey, const cv::Mat& mask, double base);

/// Detail against brightness: a number that clouds do not change and that blur lowers. 0 for what shows nothing.
[[nodiscard]] double computeSharpness(const DetailMeasure& measure);
