#pragma once

#include <cstdint>

// What the maker of the demonstration's pictures and their checker must agree on.

constexpr int32_t frameCount = 12;  // frame 1 is the reference
constexpr int32_t frameWidth = 640, frameHeight = 480;
constexpr double planetRadius = 185.0;  // pixels along the equator, from the centre of the reference
constexpr double planetFlattening = 0.06;

/// Light of a point of the sky, 0 to 255 where the camera does not saturate.
struct Light {
    double red = 0.0, green = 0.0, blue = 0.0;
};
