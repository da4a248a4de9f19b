#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// What became of one input frame: a row of table.csv. What is not known is empty.
struct FrameReport {
    int64_t number = 0;          // in the order read, from 1
    std::string source, result;  // as the observer and the script name them
    std::string picture;         // the BMP file that the script reads
    int32_t entry = 0;           // its place in the script, from 1; 0: the script does not name it
    bool kept = false;           // it was read and summed
    std::optional<double> sharpness;
    bool aligned = false;  // the next three are known
    int32_t originX = 0, originY = 0;
    double shiftX = 0, shiftY = 0;        // whole pixels, or halves of them where enlarged frames were aligned
    double turnedBefore = 0;              // degrees by which the picture had been turned back when the run read it
    double angle = 0;                     // degrees, what had been turned before included
    std::optional<double> before, after;  // mean cost of facing pixels, frame against reference
    std::vector<std::string> flags;
};

[[nodiscard]] bool hasFlag(const FrameReport& frame, const std::string& flag);
void addFlag(FrameReport& frame, const std::string& flag);

/// Whether the frame was summed, but had better be looked at.
[[nodiscard]] bool isDoubtful(const FrameReport& frame);

/// Flags what does not fit its neighbours: `jump` where shift or angle lie far from the trend of the frames before and
/// behind, `different` where the difference to the reference is far above that of the other frames, `worse` where it is
/// greater than it was before the alignment.
void flagDoubtfulFrames(std::vector<FrameReport>& frames);

/// table.csv: a header and one row a frame, quoted where a comma, a quotation mark or a line end asks for it.
[[nodiscard]] std::string formatTable(const std::vector<FrameReport>& frames);
