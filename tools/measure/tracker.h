#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "measure/pose.h"
#include "measure/star_detection.h"
#include "measure/surface_matching.h"

/// What a frame is recognised by: its stars, or without any its surface.
struct FrameView {
    std::vector<Star> stars;
    SurfaceView surface;
};

/// A frame's pose in the scene of its island: frames that could be laid on each other, directly or over others, are of
/// one island; poses of different islands have nothing to do with each other.
struct TrackedPose {
    int island = 0;
    Pose pose;
};

/// A frame kept to lay others on.
struct KeyFrame {
    FrameView view;
    TrackedPose tracked;
    int followers = 0;  // frames that were laid on it
};

/// Follows the scene through a series. Every frame is laid on the key frame nearest to where it is expected; one that
/// has moved far from there becomes a key frame itself, so that drifts may leave the first picture far behind. The key
/// frames grow in number with the area of the scene, not with the frames.
struct Tracker {
    std::vector<KeyFrame> keys;
    TrackedPose last;
    Pose step;  // from the frame before to the last one
    int islands = 0;
};

/// The next frame of the series; pictureSize the longer side of the frames in pixels.
TrackedPose trackFrame(Tracker& tracker, const FrameView& view, double pictureSize);
