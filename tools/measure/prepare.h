#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "measure/frame_table.h"
#include "measure/object_kind.h"

struct PrepareOptions {
    std::vector<std::string> pictures;           // files and folders
    std::string folder;                          // made when it is not there
    std::optional<ObjectKind> object;            // not given: decided from the frames
    std::string reference;                       // file name of a frame, "film.ser#12" for one of a film; empty: chosen
    std::string keep = "all";                    // all, auto, 60%, 200
    std::optional<std::array<double, 2>> scale;  // values that become black and white; not given: from the series
    bool turn = false;                           // search angles
    double maximumTurn = 0;                      // degrees to either side; 0: from what was measured
    bool bend = false;                           // propose a Bloc line
    bool crop = false;                           // write only what lies round the object
    bool force = false;                          // replace what is in the folder
};

/// What prepareFrames found out and chose.
struct PreparedSeries {
    ObjectKind kind = ObjectKind::planet;
    std::vector<FrameRecord> frames;  // one an input frame, as in frames.csv: kept or not, flags say why not
    std::vector<double> angles;       // one an input frame: measured turn against the reference, degrees; stars only
    int64_t reference = 0;            // number of the reference frame
    int32_t width = 0, height = 0;    // of the BMP frames
    double objectWidth = 0, objectHeight = 0;  // extent of the object, pixels; of the frame for surfaces and stars
    double brightness = 0;                     // mean of the object above the sky, levels of the BMP frames
    double noise = 0;    // standard deviation of one pixel within the object, levels of the BMP frames
    double scatter = 0;  // largest distance of a kept frame's object from the reference's, pixels
};

/// Reads the pictures, measures them, writes frameN.bmp, frames.csv and script.txt into the folder. result may be null.
/// Returns 0 when every frame is used, 1 when some were left out, 2 when nothing was done.
[[nodiscard]] int prepareFrames(const PrepareOptions& options, PreparedSeries* result);
