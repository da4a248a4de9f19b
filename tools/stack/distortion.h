#pragma once

#include <optional>
#include <string>

#include "script/script_writer.h"
#include "stack/pass_review.h"

/// How the air moved the parts of the frames against each other, once whole shifts are taken off.
struct Distortion {
    double strength = 0;  // rms of the displacement along one axis, pixels
    double scale = 0;     // distance at which two displacements have 1/e in common, pixels
    double error = 0;     // of one measured displacement, rms, pixels
    int samples = 0;      // displacements measured; too few: the others mean nothing
};

/// Lays small pieces of some aligned frames on the mean of all.
[[nodiscard]] Distortion measureDistortion(const PassReview& review);

/// The Bloc line for frames enlarged by that factor, and why; nothing, and why, where bending has nothing to gain.
[[nodiscard]] std::optional<BlockSettings> chooseBending(const Distortion& distortion, cv::Size frame, int enlarge,
                                                         std::string& why);
