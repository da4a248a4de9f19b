#pragma once

#include "scene.h"

/// The light of a banded planet and its moons at a point of the sky: pixels to the right of and below the planet's
/// centre.
[[nodiscard]] Light lookAtPlanet(double x, double y);
