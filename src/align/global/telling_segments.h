#pragma once

#include <cstdint>
#include <vector>

#include "align/global/area.h"
#include "imageio/image.h"

// Where the light of a picture gathers in few places, in stars above all, those places alone tell most placements
// apart: they are read before whole rows are.

constexpr int64_t segmentLength = 16;  // pixels of a row: one look at a star

struct Segment {
    int64_t x, y;   // its first pixel
    bool ofMoving;  // else of the fixed picture
    double contrast;
};

/// The segments of both pictures of a search that stand out, the most telling one first; none where contrast is spread
/// over the pictures.
struct TellingSegments {
    std::vector<Segment> segments;
    std::vector<bool> inMoving;  // of every segment of moving, row by row, whether it is one of them
    int64_t perRow = 0;          // segments of a row of moving
};

/// dataRows are the rows of moving that hold data, reach what the shifts let moving face in fixed.
[[nodiscard]] TellingSegments listTellingSegments(const Image& moving, const std::vector<int64_t>& dataRows,
                                                  const Image& fixed, const Area& reach);

/// Whether the segmentLength pixels of moving from (x, y) on share one with a telling segment of moving.
[[nodiscard]] bool countsAlready(const TellingSegments& telling, int64_t x, int64_t y);

/// How much pixels differ from those two columns on: what plain sky does not.
[[nodiscard]] double measureContrast(const Pixel* pixels, int64_t count);
