#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "measure/series_measure.h"

/// Whether the frame has nothing against it so far.
[[nodiscard]] bool isGood(const MeasuredFrame& frame);

/// The sharpest good frame of the half that lies nearest to the middle of the series' scatter. Nothing without a good
/// frame.
[[nodiscard]] std::optional<size_t> chooseReference(const std::vector<MeasuredFrame>& frames);

/// The good frame of that file name, path, or "film.ser#12". problem says why there is none.
[[nodiscard]] std::optional<size_t> findReference(const std::vector<MeasuredFrame>& frames, const std::string& name,
                                                  std::string& problem);

/// How many frames to keep.
struct KeepRule {
    enum { all, automatic, share, number } kind = all;
    double value = 0;  // 0 to 1 for a share, frames for a number
};

/// Reads "all", "auto", "60%" or "200"; nothing for anything else.
[[nodiscard]] std::optional<KeepRule> parseKeepRule(const std::string& text);

/// Flags with rank those good frames that are not sharp enough to be kept; the reference always is. Returns the reason
/// in words, for the script.
std::string flagByRank(std::vector<MeasuredFrame>& frames, size_t reference, const KeepRule& rule);
