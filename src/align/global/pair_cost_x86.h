#pragma once

#include "align/global/pair_cost.h"

// The cost of a row on x86-64 processors with wide vectors. Every operation of the plain version stands in its order, so
// each pair's cost has the same bits; the sums are exact in any order. Other processors do without.

#if defined(__x86_64__)

/// Eight pairs a step. Needs AVX2.
[[nodiscard]] RowCost sumRowAvx2(const Pixel* a, const Pixel* b, size_t count);

/// Sixteen pairs a step. Needs AVX-512 F, BW, DQ and VL.
[[nodiscard]] RowCost sumRowAvx512(const Pixel* a, const Pixel* b, size_t count);

#endif
