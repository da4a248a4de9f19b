#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// What became of one input frame: a row of frames.csv.
struct FrameRecord {
    int64_t number = 0;                // in the order read, from 1
    std::string source;                // the input path, "#12" behind it for frame 12 of a film
    std::string frame;                 // the BMP file in the folder; empty: none was written
    bool kept = false;                 // it has a Source line in the script, or in that of the last pass
    double sharpness = 0;              // as measured within the object, higher is sharper
    int32_t originX = 0, originY = 0;  // where the reference's origin lies in the BMP frame, whole pixels
    double angle = 0;                  // degrees by which the BMP frame was turned back, about that origin
    std::vector<std::string> flags;    // single words; an ordinary good frame has none
};

/// Whether the frame carries that flag.
[[nodiscard]] bool hasFlag(const FrameRecord& record, const std::string& flag);

/// Reads a table. False with what is wrong (file, line) in problem, and records empty.
[[nodiscard]] bool readFrameTable(const std::string& path, std::vector<FrameRecord>& records, std::string& problem);

/// Writes a table with its header line, whole or not at all. False when it could not be written.
[[nodiscard]] bool writeFrameTable(const std::string& path, const std::vector<FrameRecord>& records);
