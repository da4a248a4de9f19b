#pragma once

#include <optional>
#include <string>
#include <vector>

#include "script/script_writer.h"
#include "stack/pass_review.h"

/// A pass that builds on the one before: its own folder PASS in the stack's folder, with a script that can be run there
/// by hand.
struct PassPlan {
    std::string folder;  // of the stack
    int number = 2;      // its folder is called pass2, pass3, ...
    int enlarge = 1;     // frames and reference are this many times larger than those of the first pass
    std::optional<BlockSettings> blocks;
    std::string blocksWhy, keepWhy;
};

[[nodiscard]] std::string namePass(const PassPlan& plan);

/// Makes the pass's folder: the reference, which is the mean of the first pass or the sum of the pass before, enlarged
/// frames where they are wanted, and script.txt. Only frames that records keep are in it. False when something cannot
/// be written, with a message.
[[nodiscard]] bool preparePass(const PassPlan& plan, const PassReview& first, const std::vector<FrameRecord>& records);

/// Brings what the pass made into the stack's folder, at the size of the frames: alignedN.bmp, sum.bmp, the three FITS
/// files and sum.sums.fit, with the mean of the first pass as reference.bmp to compare them with. False when something
/// cannot be read or written, with a message.
[[nodiscard]] bool collectPass(const PassPlan& plan, const PassReview& first);
