#pragma once

#include <opencv2/core.hpp>
#include <string>

/// How the place of the object in a frame is found: by the centre of one compact bright thing, by what covers the whole
/// frame, or by many small points.
enum class ObjectKind { planet, surface, stars };

/// The kind's word on the command line and in notices: planet, surface, stars.
[[nodiscard]] const char* nameObjectKind(ObjectKind kind);

/// What a few frames of a series look like, frame by frame.
struct KindVotes {
    int planet = 0, surface = 0, stars = 0;
};

/// Judges one frame (CV_32F, one channel) and adds its vote. A frame that shows nothing has none.
void voteForKind(const cv::Mat& grey, KindVotes& votes);

/// The kind with the most votes.
[[nodiscard]] ObjectKind decideKind(const KindVotes& votes);
