#pragma once

#include <vector>

#include "base/progress_bar.h"
#include "parts/image_record.h"

/// The progress of a run: the bar, and the number of images that are doubtful so far.
struct RunProgress {
    ProgressBar bar;
    int doubtful = 0;
};

[[nodiscard]] RunProgress startRunProgress(int images, const std::vector<ImageRecord>& doneBefore);
void stepRunProgress(RunProgress& progress, const ImageFacts& facts);
void endRunProgress(RunProgress& progress);
