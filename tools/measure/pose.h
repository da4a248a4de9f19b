#pragma once

#include <numbers>

constexpr double degreesPerRadian = 180 / std::numbers::pi;

/// How a frame lies against the scene: the scene's point (u, v) stands in the frame at (x, y) + (u, v) turned by angle,
/// turned as the alignment turns: (u cos - v sin, u sin + v cos), rows downward.
struct Pose {
    double x = 0, y = 0;  // pixels
    double angle = 0;     // radians
};

struct Place {
    double x = 0, y = 0;
};

/// Where a point of the scene stands in the frame.
[[nodiscard]] Place placeInFrame(const Pose& pose, Place scene);

/// The point of the scene that stands at that place of the frame.
[[nodiscard]] Place placeInScene(const Pose& pose, Place frame);

/// The pose of a frame whose pose against another frame is step, that frame's being base.
[[nodiscard]] Pose chainPoses(const Pose& base, const Pose& step);
