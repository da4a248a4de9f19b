#include "measure/sharpness.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

namespace {

constexpr double fineBlur = 1.0, coarseBlur = 2.5;  // pixels, the two ends of the band

cv::Mat takeBand(const cv::Mat& grey) {
    cv::Mat fine, coarse;
    cv::GaussianBlur(grey, fine, {}, fineBlur);
    cv::GaussianBlur(grey, coarse, {}, coarseBlur);
    return fine - coarse;
}

// The rms that white noise of standard deviation 1 has in the band.
double computeBandGain() {
    cv::Mat point = cv::Mat::zeros(41, 41, CV_32F);
    point.at<float>(20, 20) = 1;
    return cv::norm(takeBand(point));
}

// What a second difference in both directions leaves of a smooth picture is noise alone; white noise of standard
// deviation 1 gets 6 by it.
double measureNoise(const cv::Mat& grey, const cv::Mat& mask) {
    cv::Mat rest;
    cv::filter2D(grey, rest, CV_32F, cv::Matx33f(1, -2, 1, -2, 4, -2, 1, -2, 1));
    const double squares = cv::mean(rest.mul(rest), mask)[0];
    return std::sqrt(squares) / 6;
}

}  // namespace

DetailMeasure measureDetail(const cv::Mat& grey, const cv::Mat& mask, double base) {
    static const double bandGain = computeBandGain();
    const cv::Mat band = takeBand(grey);
    DetailMeasure measure;
    measure.noise = measureNoise(grey, mask);
    measure.noiseDetail = measure.noise * bandGain;
    const double squares = cv::mean(band.mul(band), mask)[0];
    measure.detail = std::sqrt(std::max(0.0, squares - measure.noiseDetail * measure.noiseDetail));
    measure.brightness = cv::mean(grey, mask)[0] - base;
    return measure;
}

double computeSharpness(const DetailMeasure& measure) {
    return measure.brightness > 0 ? 100 * measure.detail / measure.brightness : 0;
}
