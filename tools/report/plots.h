#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "report/frame_report.h"

/// The plots of a run as SVG elements that stand in a page: drift, angle where angles were searched, sharpness and
/// difference where they are known. Text and axes take the page's colour of text. gnuplot draws them; an empty list
/// means that it cannot be run.
/// referenceX and referenceY: the reference's origin, from which the drift counts.
[[nodiscard]] std::vector<std::string> drawPlots(const std::vector<FrameReport>& frames, int32_t referenceX,
                                                 int32_t referenceY, bool withAngles);
