#include "star_field.h"

#include <algorithm>
#include <cmath>

#include "random_field.h"

namespace {

constexpr double reach = 5.0;  // widths beyond which the brightest star adds less than one level

}  // namespace

std::vector<Star> makeRichField(cv::Size pixels, uint32_t seed) {
    RandomSequence sequence = {.state = seed};
    std::vector<Star> stars;
    for (int i = 0; i < 420; ++i) {
        const double x = (takeRandom(sequence) - 0.5) * pixels.width;
        const double y = (takeRandom(sequence) - 0.5) * pixels.height;
        // Half of them stay below 25 levels, a few saturate.
        const double peak = 12.0 / (0.012 + takeRandom(sequence));
        const double warmth = takeRandom(sequence);
        stars.push_back(
            {x, y, 3.0, {peak * (0.72 + 0.28 * warmth), peak * (0.85 + 0.05 * warmth), peak * (1.0 - 0.45 * warmth)}});
    }
    return stars;
}

std::vector<Star> makeSparseField(cv::Size pixels, uint32_t seed) {
    RandomSequence sequence = {.state = seed};
    std::vector<Star> stars;
    for (int i = 0; i < 75; ++i) {
        const double x = (takeRandom(sequence) - 0.5) * pixels.width;
        const double y = (takeRandom(sequence) - 0.5) * pixels.height;
        const double peak = 45.0 / (0.2 + takeRandom(sequence));
        stars.push_back({x, y, 1.3, {peak, peak, peak}});
    }
    return stars;
}

Light lookAtNebula(double x, double y) {
    const double u = (x + 40.0) / 230.0, v = (y - 20.0) / 170.0;
    const double density = 0.55 + 0.45 * sampleNoiseField(11, x / 90.0, y / 90.0) +
                           0.30 * sampleNoiseField(12, x / 40.0, y / 40.0) +
                           0.15 * sampleNoiseField(13, x / 18.0, y / 18.0);
    const double glow = 46.0 * std::max(0.0, density) / (1.0 + (u * u + v * v) * (u * u + v * v));
    return {12.0 + glow, 12.0 + 0.42 * glow, 14.0 + 0.55 * glow};
}

void addStar(cv::Mat& light, const Star& star) {
    const double x = light.cols / 2.0 + star.x * sceneFineness, y = light.rows / 2.0 + star.y * sceneFineness;
    const double width = star.width * sceneFineness;
    const int firstX = std::max(0, static_cast<int>(x - reach * width));
    const int firstY = std::max(0, static_cast<int>(y - reach * width));
    for (int row = firstY; row < light.rows && row <= y + reach * width; ++row) {
        for (int column = firstX; column < light.cols && column <= x + reach * width; ++column) {
            const double u = (column + 0.5 - x) / width, v = (row + 0.5 - y) / width;
            const double spread = 1.0 + u * u + v * v;  // the profile of Moffat (1969), its exponent 3
            const double share = 1.0 / (spread * spread * spread);
            light.at<cv::Vec3f>(row, column) +=
                cv::Vec3f(static_cast<float>(star.light.blue * share), static_cast<float>(star.light.green * share),
                          static_cast<float>(star.light.red * share));
        }
    }
}
