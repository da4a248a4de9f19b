#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "measure/series_measure.h"

/// Where the alignment is to look: a point of the reference, found again in every frame.
struct Placement {
    cv::Point referenceOrigin;       // whole pixels
    std::vector<cv::Point> origins;  // one a frame of the series; meaningless for frames that are not good
    std::vector<Pose> poses;         // the same before rounding, and the frame's turn against the reference
    int divisor = 1;                 // OptiTranslation: the window is 1/divisor of the frame's width and height
    double scatter = 0;              // largest distance of a good frame's origin from the reference's, pixels
    double largestTurn = 0, smallestTurn = 0;  // radians, of the good frames against the reference
};

/// Puts the origin on the object; for surfaces on a point that all good frames show with a window round it, for stars
/// on a bright one that they all show, or with turn in the middle of what they all show. Frames for which there is
/// no such place, since they share too little with the reference, are flagged overlap.
[[nodiscard]] Placement placeOrigins(MeasuredSeries& measured, size_t reference, bool turn);

/// The windows of one size, round the origins and within the frames, that --crop writes: the object of a planet with
/// some sky, of surfaces and stars what all good frames share.
[[nodiscard]] cv::Size chooseCrop(const MeasuredSeries& measured, const Placement& placement);

/// The window of that size round an origin, moved inside the frame.
[[nodiscard]] cv::Rect placeCrop(cv::Point origin, cv::Size crop, cv::Size frame);
