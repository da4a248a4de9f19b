#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "imageio/image.h"

// Sampling a block of the gradient image anew for every shift repeats itself when the step is a multiple of a quarter
// pixel: only a few fractions occur, and shifts of the same fractions show the same samples in other places. So the
// surroundings of the block are sampled once for every pair of fractions (a patch), and the block of a shift is put
// together from pieces of patches. With other steps every shift has fractions of its own.

/// The samples of one axis of a block for a shift: pixel b of the block is source pixel position[b] plus fraction[b].
/// Offsets are cut toward zero: before the block's corner fractions are negative and extrapolate.
struct AxisSamples {
    std::vector<int32_t> position;
    std::vector<float> fraction;
};

/// For a block of size pixels a side with its corner at that position, moved by shift.
void sampleAxis(AxisSamples& samples, int64_t corner, int64_t size, float shift);

/// Whether the fractions of a search with that step are all multiples of a quarter.
[[nodiscard]] bool hasQuarterFractions(double step);

/// A piece of an axis in one patch: pixels first to first + count - 1 of the block are the consecutive source pixels
/// from index on, counted from the block's corner, all with one fraction, which is given in quarters plus 3: 0 to 6.
struct AxisPiece {
    int64_t first, count, index;
    size_t fraction;
};

/// The two pieces of an axis of size pixels moved by a multiple of a quarter: before the corner, where fractions are
/// negative, and behind it. Either may be empty.
[[nodiscard]] std::array<AxisPiece, 2> cutIntoPieces(int64_t size, double shift);

/// The surroundings of a block, sampled at one pair of fractions: pixel (x, y) from the block's corner is
/// pixels[(y - top) * stride + x - left].
struct Patch {
    bool made = false;
    int64_t left, top, stride;
    std::vector<Pixel> pixels;
};

/// The patches of one block, made when first asked for. Offsets from the corner run from leftmost to rightmost and from
/// topmost to bottommost.
struct BlockPatches {
    const Image& source;
    int64_t cornerX, cornerY;
    int64_t leftmost, rightmost, topmost, bottommost;
    std::array<std::array<Patch, 7>, 7> patches = {};  // by the fractions down and across
};

[[nodiscard]] const Patch& patchOf(BlockPatches& patches, size_t fractionX, size_t fractionY);
