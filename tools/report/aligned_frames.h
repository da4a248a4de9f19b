#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "imageio/image.h"
#include "report/frame_report.h"

/// An entry of a script's image list; paths as the script says them.
struct ScriptEntry {
    std::string source, result;
    bool hasOriginX = false, hasOriginY = false;
    int32_t originX = 0, originY = 0;
};

/// What a run was told by its script. folder is the run's working directory, to which the script's paths are relative.
struct RunScript {
    std::string folder;
    std::vector<ScriptEntry> entries;  // entry 1 comes first
    std::string reference, composite;  // paths; empty: none
    bool hasReferenceX = false, hasReferenceY = false;
    int32_t referenceX = 0, referenceY = 0;
    double angleMin = 0, angleMax = 0;  // degrees
    int32_t shiftMaximum = 0, shiftStep = 1, translationFraction = 6;
    int32_t blockWidth = 0, blockSearch = 0, blockMaximum = 0;  // width 0 or less: nothing is bent
    double blockStep = 1;
};

/// Reads a script with the program's own reader, whose console goes nowhere. The file must be there.
[[nodiscard]] RunScript readRunScript(const std::string& path);

/// The path of a file that the script names.
[[nodiscard]] std::string locate(const RunScript& script, const std::string& name);

/// The reference with its origin; no pixels when it is no uncompressed 24-bit BMP file. The caller releases it.
[[nodiscard]] Image readReference(const RunScript& script);

/// The frame as the script reads it, its origin set; no pixels when it cannot be read. The caller releases it.
[[nodiscard]] Image readFrame(const RunScript& script, const FrameReport& frame);

/// The frame as the run aligned it: turned and shifted as the console says, which tells where it has data, with the
/// colours of the result file where that is there. Takes over what readFrame returned; the caller releases the result.
[[nodiscard]] Image makeAlignedFrame(const RunScript& script, const FrameReport& frame, Image source);

/// The part of a picture that lies on a field of the reference, origin on origin: three channels (blue, green, red) of
/// 32-bit floats, 0 where the picture has no data.
[[nodiscard]] cv::Mat cutField(const Image& picture, const Image& reference, const cv::Rect& field);

/// Measures each frame that the run aligned: the differences to the reference before and after, and where that is not
/// known yet its sharpness. A frame whose file cannot be read any more keeps them empty.
void measureFrames(const RunScript& script, const Image& reference, std::vector<FrameReport>& frames);
