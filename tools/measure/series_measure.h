#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "frames/brightness_scale.h"
#include "frames/frame_series.h"
#include "measure/object_kind.h"
#include "measure/sharpness.h"
#include "measure/tracker.h"

/// What the first reading of a series tells about one frame.
struct MeasuredFrame {
    std::string source;              // its path, "#12" behind it for frame 12 of a film
    std::string problem;             // why it could not be read; empty: it could
    std::vector<std::string> flags;  // why it cannot be used: none for a good frame
    TrackedPose tracked;
    cv::Size extent;          // of the object, pixels; planets only
    double area = 0;          // of the object, pixels; planets only
    std::vector<Star> stars;  // the brightest; stars only
    DetailMeasure detail;     // in the values of the file
    double sharpness = 0;
    double angleError = 0;  // standard deviation of its measured turn, radians; stars only
};

struct MeasuredSeries {
    ObjectKind kind = ObjectKind::planet;
    cv::Size size;      // of the frames
    bool deep = false;  // they have more than 8 bits
    std::vector<MeasuredFrame> frames;
    BrightnessHistogram histogram;  // of the frames of more than 8 bits
    cv::Mat spikeCounts;            // CV_32S: in how many frames a pixel stood out all alone
};

/// "film.ser#12", or the path of a still picture.
[[nodiscard]] std::string nameSource(const FrameResult& frame);

/// Looks at the first frames and tells what they show.
[[nodiscard]] ObjectKind findKind(FrameSeries& series, KindVotes& votes);

/// Reads the whole series once, frame after frame, and flags those that are unreadable, of another size or depth than
/// the first one, without the object or with only a part of it.
[[nodiscard]] MeasuredSeries measureSeries(FrameSeries& series, ObjectKind kind);
