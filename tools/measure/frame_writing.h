#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "frames/brightness_scale.h"
#include "measure/placement.h"
#include "measure/prepare.h"

/// The paths of frameN.bmp files that lie in the folder already.
[[nodiscard]] std::vector<std::string> listOldFrames(const std::string& folder);

/// How frames become BMP files, and why so.
struct FramePlan {
    BrightnessScale scale;
    std::string scaleWhy;
    cv::Size crop;          // of the BMP frames
    cv::Mat repaired;       // CV_8U, not 0 for pixels that are replaced by what lies around them; empty: none
    std::string repairWhy;  // empty: nothing is repaired
    bool turnBack = false;  // by the turns that were measured
};

[[nodiscard]] FramePlan planFrames(const MeasuredSeries& measured, const Placement& placement,
                                   const PrepareOptions& options);

/// Reads the series a second time and writes the good frames as frameN.bmp into the folder. Completes records and sizes
/// of the series. False, with a message, when the disk refuses or no frame can be read again.
[[nodiscard]] bool writeFrames(const MeasuredSeries& measured, const Placement& placement,
                               const PrepareOptions& options, FramePlan& plan, PreparedSeries& series);
