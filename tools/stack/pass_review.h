#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "measure/frame_table.h"
#include "measure/object_kind.h"
#include "measure/selection.h"
#include "report/report.h"

/// What a pass did, looked at before the next one builds on it.
struct PassReview {
    RunScript script;
    std::vector<FrameReport> frames;  // one an input frame
    Image reference;                  // the caller releases it; no pixels: problem says why
    std::string problem;
    cv::Mat mean;                // of the good frames: blue, green, red, floats, on the reference's raster
    cv::Mat object;              // CV_8U, 255 where the object is and all good frames have data
    int good = 0, doubtful = 0;  // aligned frames
};

/// Reviews the run of script.txt in folder.
[[nodiscard]] PassReview reviewPass(const std::string& folder, const std::vector<FrameRecord>& records,
                                    ObjectKind kind);

/// Whether the frame was aligned and nothing speaks against it.
[[nodiscard]] bool isTrusted(const FrameReport& frame);

/// The frame as the pass laid it on the reference: three channels of floats on the reference's raster, 0 without data.
[[nodiscard]] cv::Mat readAligned(const PassReview& review, const FrameReport& frame);

/// Judges the sharpness of the aligned frames on the object and flags those with rank, in review and records, that the
/// rule does not keep. What the first pass found doubtful is noted in records as well. Returns the rule's reason in
/// words.
std::string rankAligned(PassReview& review, std::vector<FrameRecord>& records, const KeepRule& rule);
