#pragma once

#include <opencv2/core.hpp>

#include "measure/pose.h"

/// The picture turned back: pixel origin + (u, v) of the result shows what stands at (pose.x, pose.y) + (u, v) turned
/// by pose.angle, interpolated by Lanczos' kernel. Both are CV_8UC3 and of one size. Black, the mark of pixels without
/// data, where the picture has none, and nowhere else.
[[nodiscard]] cv::Mat turnBack(const cv::Mat& picture, const Pose& pose, cv::Point origin);
