#pragma once

#include <cstdint>

#include "align/blocks/block_grid.h"
#include "align/blocks/block_search.h"
#include "align/global/shift_search.h"
#include "imageio/composite_sum.h"
#include "imageio/image.h"
#include "state/run_state.h"

// The slow, obvious versions of the program's calculations: they say what is right, and every fast version is compared
// with them bit for bit. They share the program's records and nothing else. Whoever gets an image owns it.

namespace plain {

/// The four-pixel mix at pixel (x, y) plus the fraction (fx, fy); the pixel itself in the last column and row; outside
/// no data. Fractions below 0 extrapolate.
Pixel samplePixel(const Image& image, int64_t x, int64_t y, float fx, float fy);

/// The same at a position, which is outside when it is below 0 on either axis.
Pixel samplePosition(const Image& image, float x, float y);

/// The cost of one facing pair, masked or not.
float computePairCost(Pixel a, Pixel b);

float measureDifference(const Image& a, const Image& b);
Image makeRotatedWindow(const Image& source, int32_t width, int32_t height, float angle);
Image makeScaledCopy(const Image& source, float factor);
Image makeAlignedImage(const Image& source, float angle, float shiftX, float shiftY);

/// Tries every shift of the range; true when one was strictly better than best, which then holds the first such.
bool searchShift(const Image& moving, const Image& fixed, const ShiftRange& range, ShiftMatch& best);

/// The outcome of a global search of the run state's current image, by its settings. No output, nothing changed.
struct GlobalMatch {
    float angle;
    ShiftMatch shift;
};
GlobalMatch findRotationAndTranslation(const RunState& run);
GlobalMatch findTranslation(const RunState& run);

BlockMatch matchBlockIntegerStep(const BlockSearch& search, const Image& current, const Image& reference, int64_t x,
                                 int64_t y);
BlockMatch matchBlockFractionalStep(const BlockSearch& search, const Image& current, const Image& reference, int64_t x,
                                    int64_t y);
Displacement interpolateDisplacement(const BlockGrid& grid, int32_t x, int32_t y, int32_t spacing);
Image deformImage(const Image& source, const BlockGrid& grid, int32_t spacing);

/// What the local stage makes of the run state's current image.
Image alignBlocks(const RunState& run);

void accumulateComposite(CompositeSum* sums, const Image& reference, const Image& aligned);

}  // namespace plain
