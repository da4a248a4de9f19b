#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "imageio/image.h"

// Which source pixels a block of the gradient image shows at a shift.

/// The samples of one axis of a block for a shift: pixel b of the block is source pixel position[b] plus fraction[b].
/// Offsets are cut toward zero: before the block's corner fractions are negative and extrapolate.
struct AxisSamples {
    std::vector<int32_t> position;
    std::vector<float> fraction;
};

/// For a block of size pixels a side with its corner at that position, moved by shift.
void sampleAxis(AxisSamples& samples, int64_t corner, int64_t size, float shift);

// When the step is a multiple of a quarter pixel, only a few fractions occur, and shifts of the same fractions show the
// same samples in other places. Fractions are counted in quarters plus 3: 0 to 6.

constexpr size_t fractionCount = 7, zeroFraction = 3;

/// Whether the fractions of a search with that step are all multiples of a quarter.
[[nodiscard]] bool hasQuarterFractions(double step);

/// A piece of an axis: pixels first to first + count - 1 of the block are consecutive source pixels, the first one at
/// offset index from the block's corner, all plus one fraction.
struct AxisPiece {
    int64_t first, count, index;
    size_t fraction;
};

/// The two pieces of an axis of size pixels moved by a multiple of a quarter: before the corner, where fractions are
/// negative, and behind it. Either may be empty.
[[nodiscard]] std::array<AxisPiece, 2> cutIntoPieces(int64_t size, double shift);

/// The offsets between lowest and highest that a fraction occurs with: a negative one before the corner only, a
/// positive one behind it.
[[nodiscard]] int64_t findFirstOffset(size_t fraction, int64_t lowest);
[[nodiscard]] int64_t findLastOffset(size_t fraction, int64_t highest);

/// Samples width pixels, those from (x, y) on plus the two fractions, all within the picture with their neighbours.
void sampleQuarters(const Image& source, int64_t x, int64_t y, size_t fractionX, size_t fractionY, Pixel* row,
                    int64_t width);
