#pragma once

#include <cstdint>
#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

/// One frame as its file holds it. The picture has one channel (mono) or three (blue, green, red), of 8 or 16 bits
/// without sign or of 32-bit floats; Bayer patterns are resolved already. Values are the file's own: no scale applied.
struct FrameResult {
    cv::Mat picture;
    std::string file;     // the path as given or found in a folder
    int64_t number = 0;   // of the frame in its file, from 1; 0: a still picture
    std::string problem;  // empty: the frame is good; else what is wrong with it, and the picture is empty
};

/// A series of frames: still pictures, films (SER, AVI, MOV, MP4) and folders of them, one frame after another.
struct FrameSeries;

void closeFrames(FrameSeries* series);
using FrameSeriesHandle = std::unique_ptr<FrameSeries, decltype(&closeFrames)>;

/// Opens a series: files in the order given, those of a folder in natural order (2 before 10), whatever else lies in a
/// folder passed over. problem says what is wrong when there is nothing to read.
[[nodiscard]] FrameSeriesHandle openFrames(const std::vector<std::string>& paths, std::string& problem);

/// The number of frames; films that do not say theirs count by an estimate from their length.
[[nodiscard]] int64_t countFrames(const FrameSeries& series);

/// The next frame, good or not; false behind the last one. Memory does not grow with the number of frames.
[[nodiscard]] bool readNextFrame(FrameSeries& series, FrameResult& frame);
