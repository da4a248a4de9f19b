#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>

/// Light of a point of the sky, 0 to 255 where the camera does not saturate.
struct Light {
    double red = 0.0, green = 0.0, blue = 0.0;
};

constexpr int sceneFineness = 2;  // points of a scene along a pixel of a frame

/// A piece of the sky without air, noise and camera: light has the planes blue, green, red in floats, sceneFineness
/// points a pixel along both axes, top row first. object holds 255 where the object is, else 0; the same size.
struct Scene {
    cv::Mat light, object;
};

/// The kinds of scenes: planet, crescent, surface, disc (a small planet), stars (75 small ones), nebula (420 stars
/// before one).
[[nodiscard]] bool isSceneKind(const std::string& kind);

/// A scene of that many pixels, its object in the middle; every seed gives another surface, other craters, other stars.
/// Without colour all three planes are equal.
[[nodiscard]] Scene makeScene(const std::string& kind, cv::Size pixels, uint32_t seed, bool colour);
