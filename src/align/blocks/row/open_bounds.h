#pragma once

#include <cstddef>
#include <cstdint>

#include "align/blocks/row/column_bounds.h"
#include "imageio/image.h"

// Lower bounds of what pairs of pixels cost when the moving one is known up to a range of levels a channel (open).
//
// The still level's distance from the range bounds the difference of the channel. Green and red are clipped to 96 to
// 159 as in column_bounds.h and doubled. Blue is cut in two, its part up to 127 and its part from 128 on, whose
// distances add up to that of the whole: the squares of four distances, none above 127, add up to a lower bound of d.
// The squares of e = d + 127 are summed as there. A range of all levels has no distance from any: so a moving pixel
// counts that may lack data. A still pixel without data takes no part.
//
// The records are those of column_bounds.h: factors of a still pixel hold its four levels, norms a 1 in each half, or 0
// without data; factors of a moving pixel hold its lowest levels, norms its highest.

/// Prepares pixels of a moving picture between lower and upper, as many as fill records, which lie stride apart.
using PrepareOpenMoving = void (*)(const Pixel* lower, const Pixel* upper, size_t count, MovingPixels* moving,
                                   size_t stride);

struct OpenKernel {
    PrepareStill prepareStill;
    PrepareOpenMoving prepareMoving;
    SumColumns sumColumns;
    MixRows mixRows;  // null: rows are mixed down first, then prepared
};

void prepareOpenStillPlain(const Pixel* pixels, size_t count, uint32_t* factors, int32_t* norms);

/// The version of the vector level in use.
[[nodiscard]] const OpenKernel& openKernel();
