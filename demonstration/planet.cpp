#include "planet.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "random_field.h"

namespace {

// Lengths on the disc are in radii. A belt darkens the zones: fully in its middle, not at all beyond its edge.
struct Belt {
    double latitude, halfWidth, depth;
};
constexpr Belt belts[] = {{-0.80, 0.14, 0.55}, {-0.48, 0.05, 0.45}, {-0.21, 0.10, 0.95}, {0.02, 0.012, 0.25},
                          {0.23, 0.11, 0.85},  {0.55, 0.05, 0.50},  {0.68, 0.03, 0.30},  {0.88, 0.12, 0.60}};

struct Spot {
    double x, y, halfWidth, halfHeight;
    Light colour;
};
constexpr Spot spots[] = {{0.24, 0.33, 0.140, 0.080, {205, 105, 70}},    {-0.20, 0.47, 0.040, 0.028, {250, 240, 225}},
                          {-0.06, 0.48, 0.035, 0.025, {250, 240, 225}},  {-0.42, -0.24, 0.060, 0.025, {95, 55, 40}},
                          {0.10, -0.17, 0.060, 0.025, {100, 60, 45}},    {0.02, 0.60, 0.030, 0.022, {245, 235, 220}},
                          {-0.36, -0.08, 0.045, 0.030, {165, 155, 150}}, {-0.07, -0.09, 0.060, 0.018, {150, 145, 145}},
                          {0.22, -0.07, 0.035, 0.030, {160, 150, 148}},  {-0.24, 0.20, 0.045, 0.030, {235, 215, 190}},
                          {0.04, 0.24, 0.035, 0.028, {230, 205, 175}},   {0.50, -0.09, 0.070, 0.016, {155, 148, 146}}};

struct Moon {
    double x, y, peak;
};
constexpr Moon moons[] = {{-1.42, 0.06, 190.0}, {1.28, -0.03, 150.0}, {1.52, 0.05, 170.0}};

Light mixLight(const Light& a, const Light& b, double weight) {
    return {a.red + (b.red - a.red) * weight, a.green + (b.green - a.green) * weight,
            a.blue + (b.blue - a.blue) * weight};
}

// 1 inside, 0 outside, with a soft edge; distance in units of the half-size.
double computeCoverage(double squaredDistance) {
    const double fourth = squaredDistance * squaredDistance;
    return 1.0 / (1.0 + fourth * fourth);
}

Light lookAtClouds(double x, double y, double facing, uint32_t seed) {
    // Across the disc eddies crowd towards the limb, as they do on a globe; the belts keep their latitudes.
    const double across = 2.0 * x / (1.0 + facing);
    const double wave = 0.025 * sampleNoiseField(seed + 1, across * 5.0, y * 6.0);
    const double eddies = 0.45 * sampleNoiseField(seed + 2, across * 6.0, y * 16.0) +
                          0.35 * sampleNoiseField(seed + 3, across * 12.0, y * 28.0) +
                          0.30 * sampleNoiseField(seed + 4, across * 25.0, y * 45.0);
    double depth = 0.0;
    for (const Belt& belt : belts) {
        const double distance = (y + wave - belt.latitude) / belt.halfWidth;
        depth += belt.depth * computeCoverage(distance * distance);
    }
    depth = std::clamp(depth * (1.0 + 0.5 * eddies) + 0.17 * eddies, 0.0, 1.0);
    Light light = mixLight({242, 226, 196}, {150, 92, 60}, depth);
    for (const Spot& spot : spots) {
        const double u = (x - spot.x) / spot.halfWidth, v = (y - spot.y) / spot.halfHeight;
        light = mixLight(light, spot.colour, 0.9 * computeCoverage(u * u + v * v) * (1.0 + 0.15 * eddies));
    }
    return light;
}

Light lookAtSky(double x, double y, double radius) {
    double light = darkSky;
    for (const Moon& moon : moons) {
        const double u = (x - moon.x * radius) / 3.2, v = (y - moon.y * radius) / 3.2;
        const double width = 1.0 + u * u + v * v;
        light += moon.peak / (width * width * width);
    }
    return {light, light * 0.97, light * 0.93};
}

}  // namespace

Light lookAtPlanet(double x, double y, double radius, uint32_t seed) {
    const double u = x / radius, v = y / (radius * (1.0 - planetFlattening));
    const double distance = std::sqrt(u * u + v * v);
    const double coverage = std::clamp((1.0 - distance) * radius + 0.5, 0.0, 1.0);
    const Light behind = lookAtSky(x, y, radius);
    if (coverage == 0.0) return behind;
    const double facing = std::sqrt(std::max(0.0, 1.0 - distance * distance));  // cosine to the surface's upright
    const double shade = 0.22 + 0.78 * std::sqrt(facing);
    const Light clouds = lookAtClouds(u, v, facing, seed);
    return mixLight(behind, {clouds.red * shade, clouds.green * shade, clouds.blue * shade}, coverage);
}
