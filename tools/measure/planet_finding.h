#pragma once

#include <opencv2/core.hpp>

/// Where a disc or any compact bright thing lies in a frame.
struct PlanetFix {
    bool found = false;
    bool cut = false;       // it reaches the border of the frame
    double x = 0, y = 0;    // centre of its light, pixels
    double area = 0;        // pixels above a third of its mean brightness
    double brightness = 0;  // mean of those above the sky
    double sky = 0;         // level of the sky under its centre
    cv::Rect box;           // extent, pixels
};

/// Finds the largest piece that stands out of the sky of a grey frame. Halos, moons, gradients of the sky and hot
/// pixels do not move its centre.
[[nodiscard]] PlanetFix findPlanet(const cv::Mat& grey);

/// What lies beside a planet.
struct PlanetSurroundings {
    double share = 0;    // of all light as bright as the object, the part that is its own
    double scatter = 0;  // what 9 of 10 pixels well beside it stay within, above or below the sky
};

[[nodiscard]] PlanetSurroundings measureSurroundings(const cv::Mat& grey, const PlanetFix& fix);
