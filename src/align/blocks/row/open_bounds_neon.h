#pragma once

#include "align/blocks/row/open_bounds.h"

#if defined(__aarch64__)

/// Four pixels or columns a step.
void prepareOpenStillNeon(const Pixel* pixels, size_t count, uint32_t* factors, int32_t* norms);
void prepareOpenMovingNeon(const Pixel* lower, const Pixel* upper, size_t count, MovingPixels* moving, size_t stride);
void sumOpenColumnsNeon(const FacingColumns& columns, float* sums, size_t sumStride);

#endif
