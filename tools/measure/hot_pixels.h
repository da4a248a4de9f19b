#pragma once

#include <opencv2/core.hpp>

/// Counts, in counts (CV_32S, empty at first), the pixels of a grey picture that stand out of all their neighbours by
/// more than noise can: hot and dead pixels, and the middles of the smallest stars.
void countSpikes(const cv::Mat& grey, cv::Mat& counts);

/// Replaces the pixels of a picture where mask (CV_8U) is not 0 by the median of what lies around them.
void repairPixels(cv::Mat& picture, const cv::Mat& mask);
