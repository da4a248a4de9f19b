#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>

/// The sum of a run divided by the number of frames that reach each place: what a frame shows there, 0 to 255.
struct MeanPicture {
    cv::Mat mean;        // blue, green, red as 32-bit floats, top row first; black where no frame reaches
    cv::Mat coverage;    // 32-bit integers: the number of frames at each place; empty: not known
    int64_t frames = 0;  // frames summed; 0: not known
    std::string problem;
};

/// The files that hold one sum: the exact sums with their coverage, or the three channels without.
struct SumFiles {
    std::string stem;           // the path without NAME's endings
    bool hasExactSums = false;  // STEM.sums.fit is there; else STEMR.fit, STEMV.fit and STEMB.fit are to be read
};

/// Where the sum that a user names lies: one of its files, its picture STEM.bmp, or STEM alone.
[[nodiscard]] SumFiles findSumFiles(const std::string& name);

/// Reads a sum. When it cannot be read, problem says which file is at fault, and the pictures are empty.
[[nodiscard]] MeanPicture readMeanPicture(const SumFiles& files);

/// The largest rectangle that all frames reach, or all but the few in a hundred that a count may miss; empty when there
/// is none or the coverage is not known.
[[nodiscard]] cv::Rect findCommonField(const MeanPicture& picture);
