#pragma once

#include "align/blocks/row/column_bounds.h"

// Column bounds on x86-64 processors with wide vectors; other processors do without.

#if defined(__x86_64__)

/// Need AVX2 with FMA.
void prepareStillAvx2(const Pixel* pixels, size_t count, uint32_t* factors, int32_t* norms);
void prepareMovingAvx2(const Pixel* pixels, size_t count, MovingPixels* moving, size_t stride);
void sumColumnsAvx2(const FacingColumns& columns, float* sums, size_t sumStride);
void addRunsAvx2(const float* sums, size_t sumStride, size_t count, float* totals, size_t rows);

/// Needs AVX-512 F, BW, DQ, VL and VNNI.
void sumColumnsAvx512(const FacingColumns& columns, float* sums, size_t sumStride);

#endif
