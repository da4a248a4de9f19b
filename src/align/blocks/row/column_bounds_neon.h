#pragma once

#include "align/blocks/row/column_bounds.h"

// Column bounds on 64-bit Arm processors.

#if defined(__aarch64__)

void prepareStillNeon(const Pixel* pixels, size_t count, uint32_t* factors, int32_t* norms);
void prepareMovingNeon(const Pixel* pixels, size_t count, MovingPixels* moving, size_t stride);
void sumColumnsNeon(const FacingColumns& columns, float* sums, size_t sumStride);
void addRunsNeon(const float* sums, size_t sumStride, size_t count, float* totals, size_t rows);

#endif
