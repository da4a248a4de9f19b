#include "measure/hot_pixels.h"

#include <opencv2/imgproc.hpp>

#include "measure/sky.h"

namespace {

constexpr double hotSigmas = 5;
constexpr int localTiles = 8;

}  // namespace

void countSpikes(const cv::Mat& grey, cv::Mat& counts) {
    const cv::Mat neighbours = (cv::Mat_<uint8_t>(3, 3) << 1, 1, 1, 1, 0, 1, 1, 1, 1);
    cv::Mat highest, lowest;
    cv::dilate(grey, highest, neighbours);
    cv::erode(grey, lowest, neighbours);
    const double limit = hotSigmas * measureSky(grey, localTiles).noise;
    cv::Mat spikes = (grey > highest + limit) | (grey < lowest - limit);
    if (counts.empty()) counts = cv::Mat::zeros(grey.size(), CV_32S);
    cv::add(counts, cv::Scalar(1), counts, spikes);
}

void repairPixels(cv::Mat& picture, const cv::Mat& mask) {
    cv::Mat calm;
    cv::medianBlur(picture, calm, 3);
    calm.copyTo(picture, mask);
}
