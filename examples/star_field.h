#pragma once

#include <vector>

#include "scene.h"

/// A star, pixels to the right of and below the centre of the reference; light is that of its brightest point, which
/// may saturate the camera.
struct Star {
    double x, y;
    Light light;
};

/// The stars of the sky that the frames drift over.
[[nodiscard]] std::vector<Star> makeStars();

/// The light of the faint nebula behind the stars.
[[nodiscard]] Light lookAtNebula(double x, double y);

/// Adds a star to frame, frameHeight rows of frameWidth; (x, y) is the place of its middle.
void addStar(std::vector<Light>& frame, const Star& star, double x, double y);
