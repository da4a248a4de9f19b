#pragma once

#include <opencv2/core.hpp>
#include <optional>

#include "measure/pose.h"

/// What is kept of a frame that shows one large textured thing, to be laid on others.
struct SurfaceView {
    cv::Mat detail;     // CV_32F, the frame averaged down, without its slow changes
    cv::Mat spectrum;   // of detail, faded out towards the borders
    cv::Mat fine;       // CV_32F, the frame averaged down less; empty where detail is fine enough
    double factor = 1;  // pixels of the frame a pixel of detail
    double fineFactor = 1;
};

[[nodiscard]] SurfaceView makeSurfaceView(const cv::Mat& grey);

/// The shift of the second frame against the first (angle 0) by the correlation of their phases, confirmed by how much
/// alike what overlaps looks. Frames of one size. Empty when nothing fits or less than a quarter would overlap.
[[nodiscard]] std::optional<Pose> matchSurfaces(const SurfaceView& first, const SurfaceView& second);
