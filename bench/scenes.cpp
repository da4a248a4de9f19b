#include "scenes.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace {

constexpr double sky = 8.0, noise = 4.0;  // grey levels; the noise is the standard deviation of each colour

uint8_t expose(double light) {
    return static_cast<uint8_t>(std::clamp(light, 0.0, 255.0));
}

// A frame of the light that lookAt gives at points of the object, pixels from its centre.
template <typename LookAt>
Image exposeFrame(int32_t width, int32_t height, const FramePose& pose, uint32_t seed, const LookAt& lookAt) {
    Image frame = makeUnfilledImage(width, height);
    frame.originX = width / 2;
    frame.originY = height / 2;
    std::mt19937 random(seed);
    std::normal_distribution<double> error(0.0, noise);
    const double cosA = std::cos(pose.angle), sinA = std::sin(pose.angle);
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            const double u = x - frame.originX - pose.shiftX, v = y - frame.originY - pose.shiftY;
            const double light = lookAt(cosA * u + sinA * v, -sinA * u + cosA * v);
            rowOf(frame, y)[x] = {expose(sky + 0.7 * light + error(random)), expose(sky + 0.9 * light + error(random)),
                                  expose(sky + light + error(random)), 255};
        }
    }
    return frame;
}

}  // namespace

Image makePlanet(int32_t width, int32_t height, const FramePose& pose, uint32_t seed) {
    const double radius = 0.38 * height;
    return exposeFrame(width, height, pose, seed, [radius](double x, double y) {
        const double u = x / radius, v = y / radius, r = u * u + v * v;
        if (r >= 1.0) return 0.0;
        const double bands = 150.0 + 50.0 * std::sin(14.0 * v) + 20.0 * std::sin(9.0 * u + 5.0 * v);
        return (0.25 + 0.75 * std::sqrt(1.0 - r)) * (bands + 10.0 * std::sin(40.0 * u) * std::sin(37.0 * v));
    });
}

Image makeStarField(int32_t width, int32_t height, const FramePose& pose, uint32_t seed) {
    constexpr int32_t starCount = 400, reach = 7;
    constexpr uint32_t skySeed = 1;
    // The light of the whole sky at whole points, wide enough for every pose, then looked up.
    const int32_t skyWidth = 2 * width, skyHeight = 2 * height;
    std::vector<float> lights(static_cast<size_t>(skyWidth) * static_cast<size_t>(skyHeight));
    std::mt19937 random(skySeed);
    std::uniform_real_distribution<double> even(0.0, 1.0);
    for (int32_t i = 0; i < starCount; ++i) {
        const double x = (0.4 + 1.2 * even(random)) * width, y = (0.4 + 1.2 * even(random)) * height;
        const double peak = 20.0 + 230.0 * even(random), spread = 1.0 + even(random);
        for (auto row = static_cast<int32_t>(y) - reach; row <= static_cast<int32_t>(y) + reach; ++row) {
            for (auto column = static_cast<int32_t>(x) - reach; column <= static_cast<int32_t>(x) + reach; ++column) {
                const double squared = (column - x) * (column - x) + (row - y) * (row - y);
                lights[static_cast<size_t>(row) * static_cast<size_t>(skyWidth) + static_cast<size_t>(column)] +=
                    static_cast<float>(peak * std::exp(-squared / (2.0 * spread * spread)));
            }
        }
    }
    return exposeFrame(width, height, pose, seed, [&](double x, double y) {
        const auto column = static_cast<size_t>(std::lround(x) + width),
                   row = static_cast<size_t>(std::lround(y) + height);
        return static_cast<double>(lights[row * static_cast<size_t>(skyWidth) + column]);
    });
}
