#pragma once

#include <opencv2/core.hpp>
#include <optional>
#include <vector>

#include "measure/star_detection.h"

/// The brightest star within an area, to the pixel: where to put the origin when nothing turns.
[[nodiscard]] std::optional<cv::Point> chooseStarOrigin(const std::vector<Star>& stars, const cv::Rect& area);
