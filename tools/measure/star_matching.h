#pragma once

#include <optional>
#include <vector>

#include "measure/pose.h"
#include "measure/star_detection.h"

/// How two frames' stars lie on each other: the pose of the second against the first, the first's own points being the
/// scene.
struct StarMatch {
    Pose pose;
    int pairs = 0;          // stars that face each other within a pixel and a half
    double spread = 0;      // rms distance of those, pixels
    double angleError = 0;  // standard deviation of the turn, radians
};

/// Finds the shift and the turn between two star lists by the votes of all pairs: first near the expected turn
/// (radians), then up to maximumTurn to either side of it. What stands still to a fraction of a pixel, as hot pixels
/// do, counts only when nothing else agrees. Empty when too few stars do.
[[nodiscard]] std::optional<StarMatch> matchStars(const std::vector<Star>& first, const std::vector<Star>& second,
                                                  double expectedTurn, double maximumTurn);

/// The same from a pose within a few pixels, which may stand still; without turns the angle is 0.
[[nodiscard]] std::optional<StarMatch> refineMatch(const std::vector<Star>& first, const std::vector<Star>& second,
                                                   const Pose& start, bool turns);
