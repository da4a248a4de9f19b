#include "star_field.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "noise_field.h"

namespace {

constexpr int starCount = 420;
constexpr double border = 40.0;     // stars beyond the frame's edges, which drift into it
constexpr double starWidth = 3.0;   // pixels; half of the light's peak at half of it
constexpr double starReach = 15.0;  // pixels beyond which the brightest star adds less than one level

}  // namespace

std::vector<Star> makeStars() {
    RandomSequence sequence = {.state = 20};
    std::vector<Star> stars;
    for (int i = 0; i < starCount; ++i) {
        const double x = (takeRandom(sequence) - 0.5) * (frameWidth + 2.0 * border);
        const double y = (takeRandom(sequence) - 0.5) * (frameHeight + 2.0 * border);
        // Many faint stars for a bright one: half of them stay below 25 levels, a few saturate.
        const double peak = 12.0 / (0.012 + takeRandom(sequence));
        const double warmth = takeRandom(sequence);
        stars.push_back(
            {x, y, {peak * (0.72 + 0.28 * warmth), peak * (0.85 + 0.05 * warmth), peak * (1.0 - 0.45 * warmth)}});
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

void addStar(std::vector<Light>& frame, const Star& star, double x, double y) {
    const auto firstX = static_cast<int32_t>(std::max(0.0, std::ceil(x - starReach)));
    const auto firstY = static_cast<int32_t>(std::max(0.0, std::ceil(y - starReach)));
    for (int32_t row = firstY; row < frameHeight && row <= y + starReach; ++row) {
        for (int32_t column = firstX; column < frameWidth && column <= x + starReach; ++column) {
            const double u = (column - x) / starWidth, v = (row - y) / starWidth;
            const double width = 1.0 + u * u + v * v;  // the profile of Moffat (1969), its exponent 3
            const double share = 1.0 / (width * width * width);
            Light& light = frame[static_cast<size_t>(row) * frameWidth + static_cast<size_t>(column)];
            light.red += star.light.red * share;
            light.green += star.light.green * share;
            light.blue += star.light.blue * share;
        }
    }
}
