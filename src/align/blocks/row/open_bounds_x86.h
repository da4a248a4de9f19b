#pragma once

#include "align/blocks/row/open_bounds.h"

#if defined(__x86_64__)

/// Eight pixels or columns a step. Needs AVX2 and FMA.
void prepareOpenStillAvx2(const Pixel* pixels, size_t count, uint32_t* factors, int32_t* norms);
void prepareOpenMovingAvx2(const Pixel* lower, const Pixel* upper, size_t count, MovingPixels* moving, size_t stride);
void sumOpenColumnsAvx2(const FacingColumns& columns, float* sums, size_t sumStride);

/// Sixteen pixels or columns a step. Needs AVX-512 with its F, BW, DQ, VL and VNNI parts.
void prepareOpenMovingAvx512(const Pixel* lower, const Pixel* upper, size_t count, MovingPixels* moving, size_t stride);
void sumOpenColumnsAvx512(const FacingColumns& columns, float* sums, size_t sumStride);

#endif
