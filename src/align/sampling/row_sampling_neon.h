#pragma once

#include "align/sampling/row_sampling.h"

// Sampling on 64-bit Arm processors. Every operation of the plain version stands in its order, so the bytes are the
// same. The four channels of one pixel are the lanes of a mix: neighbours lie together, so nothing needs gathering.

#if defined(__aarch64__)

void samplePositionsNeon(const Image& source, const float* x, const float* y, Pixel* row, size_t count);
void sampleFractionsNeon(const Image& source, const int32_t* x, const float* fx, int32_t y, float fy, Pixel* row,
                         size_t count);
void sampleTurnedRowNeon(const Image& source, const TurnedRow& positions, Pixel* row, size_t count);

#endif
