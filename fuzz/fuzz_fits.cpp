#include <cfloat>
#include <cstdlib>
#include <string>

#include "frames/fits_reader.h"
#include "harness.h"

// Any bytes as a FITS file: a picture without values that are none, or a problem.
void runInput(std::span<const uint8_t> input) {
    writeInput("in.fit", input);
    std::string problem;
    const cv::Mat picture = readFits("in.fit", problem);
    if (picture.empty() == problem.empty()) std::abort();
    if (picture.depth() != CV_32F || picture.empty()) return;
    const cv::Mat values = picture.reshape(1);
    if (cv::countNonZero(cv::abs(values) <= FLT_MAX) != static_cast<int>(values.total())) std::abort();
}
