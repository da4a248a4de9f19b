#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "measure/series_measure.h"

/// Lays every usable frame of a series of stars on the mean places that the stars have in all frames. Frames were laid
/// on single ones until then, and shared those frames' errors. size is that of the frames, pixels.
void layOnAllStars(std::vector<MeasuredFrame>& frames, cv::Size size);
