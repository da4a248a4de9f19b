#pragma once

#include "align/global/row_sampling.h"

// Sampling on x86-64 processors with AVX-512, sixteen pixels a step. Every operation of the plain version stands in its
// order, so the bytes are the same. Neighbouring positions of a row lie close together in the source, mostly in sixteen
// columns of two rows: those are loaded whole and their pixels moved to their lanes, which is faster than fetching
// each pixel. Other groups of sixteen are fetched pixel by pixel.

#if defined(__x86_64__)

void samplePositionsAvx512(const Image& source, const float* x, const float* y, Pixel* row, size_t count);
void sampleFractionsAvx512(const Image& source, const int32_t* x, const float* fx, int32_t y, float fy, Pixel* row,
                           size_t count);
void sampleTurnedRowAvx512(const Image& source, const TurnedRow& positions, Pixel* row, size_t count);

#endif
