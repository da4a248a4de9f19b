#pragma once

#include <cstdint>

#include "scene.h"

constexpr double planetFlattening = 0.06;
constexpr double darkSky = 6.0;  // its light behind planets

/// The light of a banded planet and its moons at a point of the sky: pixels to the right of and below the planet's
/// centre. radius is that of its equator; every seed gives other clouds.
[[nodiscard]] Light lookAtPlanet(double x, double y, double radius, uint32_t seed);
