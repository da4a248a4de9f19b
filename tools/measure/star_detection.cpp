#include "measure/star_detection.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "measure/sky.h"

namespace {

constexpr int tileSize = 24;  // pixels; the sky follows what changes more slowly
constexpr double starSigmas = 6;
constexpr int reach = 4;             // pixels from the middle of a star that count as its own
constexpr double spikeRatio = 0.22;  // a neighbour below this part of the peak: sharper than any star's image

struct FlatSky {
    cv::Mat excess, smooth;  // above the local sky, as it is and slightly smoothed
    double noise = 0, smoothNoise = 0;
};

FlatSky flattenSky(const cv::Mat& grey) {
    const int tiles = std::max(2, std::max(grey.cols, grey.rows) / tileSize);
    const Sky sky = measureSky(grey, tiles);
    FlatSky flat;
    flat.excess = grey - followSky(sky, grey.size());
    cv::GaussianBlur(flat.excess, flat.smooth, {}, 1.0);
    flat.noise = sky.noise;
    flat.smoothNoise = measureSky(flat.smooth, 16).noise;
    return flat;
}

// The middle of a peak that may be flat: the first pixel met of those that nothing around exceeds.
std::vector<cv::Point> listPeaks(const cv::Mat& smooth, double level) {
    cv::Mat highest;
    cv::dilate(smooth, highest, cv::Mat::ones(7, 7, CV_8U));
    std::vector<cv::Point> peaks;
    for (int y = 0; y < smooth.rows; ++y) {
        const float* row = smooth.ptr<float>(y);
        const float* top = highest.ptr<float>(y);
        for (int x = 0; x < smooth.cols; ++x)
            if (row[x] >= top[x] && static_cast<double>(row[x]) > level) peaks.emplace_back(x, y);
    }
    return peaks;
}

bool isSpike(const cv::Mat& excess, int x, int y, double noise) {
    const double peak = static_cast<double>(excess.at<float>(y, x));
    if (peak < 4 * noise) return false;
    double largest = 0;
    for (const auto& [stepX, stepY] : {cv::Point(-1, 0), cv::Point(1, 0), cv::Point(0, -1), cv::Point(0, 1)}) {
        largest = std::max(largest, static_cast<double>(excess.at<float>(y + stepY, x + stepX)));
    }
    return largest < std::max(spikeRatio * peak, 2.5 * noise);
}

// The hottest pixel of a peak tells whether it is one alone.
bool standsOnSpike(const FlatSky& flat, cv::Point peak) {
    cv::Point hottest = peak;
    for (int y = peak.y - 1; y <= peak.y + 1; ++y)
        for (int x = peak.x - 1; x <= peak.x + 1; ++x)
            if (flat.excess.at<float>(y, x) > flat.excess.at<float>(hottest)) hottest = {x, y};
    return isSpike(flat.excess, hottest.x, hottest.y, flat.noise);
}

// Twice, the second time round the centre found first: the window then cuts off as much on either side.
Star measureStar(const FlatSky& flat, cv::Point peak) {
    Star star{static_cast<double>(peak.x), static_cast<double>(peak.y),
              static_cast<double>(flat.smooth.at<float>(peak))};
    for (int round = 0; round < 2; ++round) {
        const int middleX = static_cast<int>(std::lround(star.x)), middleY = static_cast<int>(std::lround(star.y));
        double sum = 0, sumX = 0, sumY = 0, light = 0, middleLight = 0;
        for (int y = std::max(0, middleY - reach); y <= std::min(flat.smooth.rows - 1, middleY + reach); ++y) {
            for (int x = std::max(0, middleX - reach); x <= std::min(flat.smooth.cols - 1, middleX + reach); ++x) {
                const double level = static_cast<double>(flat.smooth.at<float>(y, x)) -
                                     std::max(2 * flat.smoothNoise, 0.1 * star.brightness);
                if (level > 0) {
                    sum += level;
                    sumX += level * x;
                    sumY += level * y;
                }
                const double raw = static_cast<double>(flat.excess.at<float>(y, x));
                light += raw;
                if (std::abs(x - middleX) <= 1 && std::abs(y - middleY) <= 1) middleLight += raw;
            }
        }
        if (sum <= 0) break;
        star.x = sumX / sum;
        star.y = sumY / sum;
        star.concentration = std::clamp(middleLight / std::max(light, middleLight), 0.0, 1.0);
    }
    return star;
}

}  // namespace

StarField findStars(const cv::Mat& grey, int maximum) {
    const FlatSky flat = flattenSky(grey);
    const double level = starSigmas * flat.smoothNoise;
    StarField field;
    for (const cv::Point& peak : listPeaks(flat.smooth, level)) {
        const bool inside = peak.x > 2 && peak.y > 2 && peak.x < grey.cols - 3 && peak.y < grey.rows - 3;
        if (inside && !standsOnSpike(flat, peak)) field.stars.push_back(measureStar(flat, peak));
    }
    std::sort(field.stars.begin(), field.stars.end(),
              [](const Star& a, const Star& b) { return a.brightness > b.brightness; });
    // A flat top has several peaks, all of one centre.
    std::vector<Star> apart;
    for (const Star& star : field.stars) {
        const bool alone = std::none_of(apart.begin(), apart.end(), [&star](const Star& other) {
            return std::hypot(star.x - other.x, star.y - other.y) < reach;
        });
        if (alone) apart.push_back(star);
        if (static_cast<int>(apart.size()) == maximum) break;
    }
    field.stars = apart;
    field.darkCount = static_cast<int>(listPeaks(-flat.smooth, level).size());
    field.coverage = static_cast<double>(cv::countNonZero(cv::abs(flat.smooth) > 4 * flat.smoothNoise)) /
                     static_cast<double>(grey.total());
    field.noise = flat.noise;
    return field;
}
