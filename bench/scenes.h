#pragma once

#include <cstdint>

#include "imageio/image.h"

/// Where the object of a frame stands against the reference: turned (radians) about the centre, then shifted (pixels).
struct FramePose {
    double angle = 0.0, shiftX = 0.0, shiftY = 0.0;
};

/// A noisy frame, its origin in the centre; the caller owns it. Equal seeds give equal noise.
[[nodiscard]] Image makePlanet(int32_t width, int32_t height, const FramePose& pose, uint32_t seed);
[[nodiscard]] Image makeStarField(int32_t width, int32_t height, const FramePose& pose, uint32_t seed);
