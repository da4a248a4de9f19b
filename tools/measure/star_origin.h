#pragma once

#include <opencv2/core.hpp>
#include <optional>
#include <vector>

#include "measure/star_detection.h"

/// The brightest star within an area, to the pixel: where to put the origin when nothing turns.
[[nodiscard]] std::optional<cv::Point> chooseStarOrigin(const std::vector<Star>& stars, const cv::Rect& area);

/// The point of an area from which the stars, within a window of that size round it, tell angles best: many bright
/// ones, far out, on all sides. Nothing when no window holds three.
[[nodiscard]] std::optional<cv::Point> chooseTurnOrigin(const std::vector<Star>& stars, const cv::Rect& area,
                                                        cv::Size window);
