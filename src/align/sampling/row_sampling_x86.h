#pragma once

#include <algorithm>
#include <cstdint>

#include "align/sampling/row_sampling.h"

// Sampling on x86-64 processors with wide vectors; other processors do without. Every operation of the plain version
// stands in its order, so the bytes are the same. Neighbouring positions of a row lie close together in the source,
// mostly in as many columns of two rows as a vector has lanes: those are loaded whole and their pixels moved to their
// lanes, which is faster than fetching each pixel. Others are fetched pixel by pixel.

#if defined(__x86_64__)

/// Eight pixels a step. Needs AVX2.
void samplePositionsAvx2(const Image& source, const float* x, const float* y, Pixel* row, size_t count);
void sampleFractionsAvx2(const Image& source, const int32_t* x, const float* fx, int32_t y, float fy, Pixel* row,
                         size_t count);
void sampleTurnedRowAvx2(const Image& source, const TurnedRow& positions, Pixel* row, size_t count);

/// Sixteen pixels a step. Needs AVX-512 F, BW, DQ and VL.
void samplePositionsAvx512(const Image& source, const float* x, const float* y, Pixel* row, size_t count);
void sampleFractionsAvx512(const Image& source, const int32_t* x, const float* fx, int32_t y, float fy, Pixel* row,
                           size_t count);
void sampleTurnedRowAvx512(const Image& source, const TurnedRow& positions, Pixel* row, size_t count);

/// Asks for the pixels of a later row in the columns from corner on. Rows lie too far apart for the processor to see
/// coming what the next ones need.
inline void fetchAhead(const Image& source, const Pixel* corner) {
    // Of a turned copy of 2000 x 1500: 3 to 12 rows take equally long, 2 or 20 longer, none at all more than twice as
    // long.
    constexpr int64_t rowsAhead = 5;
    const int64_t last = static_cast<int64_t>(countPixels(source)) - 1;
    __builtin_prefetch(source.pixels + std::min(corner - source.pixels + rowsAhead * source.width, last));
}

#endif
