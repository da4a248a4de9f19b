#pragma once

#include <vector>

#include "measure/series_measure.h"

/// Lays every usable frame of a series of stars on the mean places that the stars have in all frames. Frames were laid
/// on single ones until then, and shared those frames' errors.
void layOnAllStars(std::vector<MeasuredFrame>& frames);
