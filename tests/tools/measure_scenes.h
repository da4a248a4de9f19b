#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

// Scenes whose truth is known, as bad as real nights: noise, hot pixels, gradients of the sky, flicker, blur that
// changes from frame to frame. Frames are CV_16U, of 12 bits: 0 to 4095.

/// What the camera and the sky do to every frame.
struct Weather {
    double noise = 30;                          // standard deviation, levels
    double gradient = 200;                      // levels that the sky gains from left to right
    double flicker = 0.2;                       // the brightness varies by up to this part
    double leastBlur = 0.8, largestBlur = 2.0;  // pixels
    int hotPixels = 200;                        // that stand still
};

struct PlanetScene {
    double radius = 35;  // pixels
    double phase = 1;    // lit part of the diameter: 1 full, 0.4 a crescent
    double halo = 0.1;   // of the disc's brightness
    bool moons = true;
    double brightness = 2500;  // levels
};

/// A planet with its centre (that of its whole disc) at a place of the frame.
[[nodiscard]] cv::Mat drawPlanet(cv::Size size, double x, double y, const PlanetScene& scene);

/// A large textured ground, CV_32F, 0 to 2500 levels, from which frames are cut.
[[nodiscard]] cv::Mat drawGround(cv::Size size, uint64_t seed);

/// The part of the ground whose top left corner stands at (x, y), fractions of a pixel included.
[[nodiscard]] cv::Mat cutGround(const cv::Mat& ground, cv::Size size, double x, double y);

struct SkyStar {
    double x, y, brightness;
};

/// Stars scattered over an area larger than a frame: from -margin to the frame's size plus margin.
[[nodiscard]] std::vector<SkyStar> scatterStars(cv::Size size, double margin, int count, uint64_t seed);

/// The stars, turned by angle (radians) about the middle of the frame and then moved, each a small spot.
[[nodiscard]] cv::Mat drawStars(cv::Size size, const std::vector<SkyStar>& stars, double moveX, double moveY,
                                double angle);

/// What comes out of the camera: the scene blurred, flickering, over a bright sky, noisy, cut off at 4095.
[[nodiscard]] cv::Mat takeFrame(const cv::Mat& scene, const Weather& weather, uint64_t seed);
