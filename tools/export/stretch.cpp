#include "export/stretch.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

constexpr float asinhStrength = 30;
constexpr float largestStrength = 3000;
constexpr float wantedMiddle = 0.35F;     // where half of the object's pixels shall be brighter
constexpr float backgroundDepth = 2.8F;   // black lies so many deviations under the background
constexpr float objectHeight = 3;         // and what stands out so many over it
constexpr double smallestObject = 0.002;  // of all pixels; noise alone gives about half of that
constexpr double brightest = 0.9999;      // the share of the pixels that white or less show
constexpr size_t sampleCount = 1 << 20;   // percentiles come from about so many pixels

// The brightest channel of evenly spread pixels, in ascending order.
std::vector<float> sampleBrightness(const cv::Mat& mean, const cv::Mat& reached) {
    const size_t step = std::max<size_t>(1, mean.total() / sampleCount);
    std::vector<float> values;
    for (size_t i = 0; i < mean.total(); i += step) {
        const int y = static_cast<int>(i / static_cast<size_t>(mean.cols));
        const int x = static_cast<int>(i % static_cast<size_t>(mean.cols));
        if (reached.at<uint8_t>(y, x) == 0) continue;
        const auto& pixel = mean.at<cv::Vec3f>(y, x);
        values.push_back(std::max({pixel[0], pixel[1], pixel[2]}));
    }
    std::sort(values.begin(), values.end());
    return values;
}

float valueAt(const std::vector<float>& ascending, double share) {
    return ascending[static_cast<size_t>(share * static_cast<double>(ascending.size() - 1))];
}

struct Background {
    float level, deviation;
};

// The middle and spread of what is left when the bright side has been cut again and again. The spread comes from the
// dark side alone, where no object adds to it.
Background findBackground(const std::vector<float>& ascending) {
    double share = 1;
    Background background{};
    for (int round = 0; round < 8; ++round) {
        background.level = valueAt(ascending, 0.5 * share);
        background.deviation = background.level - valueAt(ascending, 0.1587 * share);
        const float limit = background.level + 2.5F * std::max(background.deviation, 0.05F);
        const auto end = std::upper_bound(ascending.begin(), ascending.end(), limit);
        share = static_cast<double>(end - ascending.begin()) / static_cast<double>(ascending.size());
    }
    return background;
}

float stretchValue(float x, float strength) {
    return strength > 0 ? std::asinh(strength * x) / std::asinh(strength) : x;
}

// The strength that brings the value x, between 0 and 1, to the wanted middle.
float findStrength(float x) {
    if (x >= wantedMiddle) return 0;
    float low = 0.01F, high = largestStrength;
    for (int round = 0; round < 40; ++round) {
        const float middle = std::sqrt(low * high);
        (stretchValue(x, middle) < wantedMiddle ? low : high) = middle;
    }
    return high;
}

}  // namespace

StretchCurve chooseCurve(const cv::Mat& mean, const cv::Mat& reached, Stretch stretch) {
    const std::vector<float> values = sampleBrightness(mean, reached);
    StretchCurve curve;
    if (values.empty()) return curve;
    const Background background = findBackground(values);
    curve.black = std::max(values.front(), background.level - backgroundDepth * background.deviation);
    curve.white = std::max(valueAt(values, brightest), curve.black + 1);
    if (stretch == Stretch::asinh) curve.strength = asinhStrength;
    if (stretch != Stretch::automatic) return curve;

    const float height = background.level + objectHeight * std::max(background.deviation, 0.05F);
    const auto object = std::upper_bound(values.begin(), values.end(), height);
    const double share = static_cast<double>(values.end() - object) / static_cast<double>(values.size());
    const float middle = share >= smallestObject ? valueAt(values, 1 - 0.5 * share) : background.level;
    curve.strength = findStrength((middle - curve.black) / (curve.white - curve.black));
    return curve;
}

cv::Mat applyCurve(const cv::Mat& mean, const StretchCurve& curve) {
    cv::Mat picture(mean.size(), CV_8UC3);
    const float range = curve.white - curve.black;
    for (int y = 0; y < mean.rows; ++y) {
        const auto* from = mean.ptr<cv::Vec3f>(y);
        auto* to = picture.ptr<cv::Vec3b>(y);
        for (int x = 0; x < mean.cols; ++x) {
            const float peak = std::max({from[x][0], from[x][1], from[x][2]}) - curve.black;
            const float shown = stretchValue(std::clamp(peak / range, 0.0F, 1.0F), curve.strength);
            for (int c = 0; c < 3; ++c) {
                const float ratio = peak > 0 ? std::max(from[x][c] - curve.black, 0.0F) / peak : 0;
                to[x][c] = cv::saturate_cast<uint8_t>(255 * shown * ratio);
            }
        }
    }
    return picture;
}
