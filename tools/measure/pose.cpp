#include "measure/pose.h"

#include <cmath>

Place placeInFrame(const Pose& pose, Place scene) {
    const double cosine = std::cos(pose.angle), sine = std::sin(pose.angle);
    return {pose.x + scene.x * cosine - scene.y * sine, pose.y + scene.x * sine + scene.y * cosine};
}

Place placeInScene(const Pose& pose, Place frame) {
    const double cosine = std::cos(pose.angle), sine = std::sin(pose.angle);
    const double u = frame.x - pose.x, v = frame.y - pose.y;
    return {u * cosine + v * sine, -u * sine + v * cosine};
}

Pose chainPoses(const Pose& base, const Pose& step) {
    const Place origin = placeInFrame(step, {base.x, base.y});
    return {origin.x, origin.y, base.angle + step.angle};
}
