#pragma once

#include "align/measure/pair_cost.h"

// The cost of a row on x86-64 processors with wide vectors; other processors do without. In the sums every operation of
// the plain version stands in its order, so each pair's cost has the same bits, and the sums are exact in any order.
// The estimates add in single precision and fuse multiplication and addition.

#if defined(__x86_64__)

/// Eight pairs a step. Needs AVX2 with FMA.
[[nodiscard]] RowCost sumRowAvx2(const Pixel* a, const Pixel* b, size_t count);
[[nodiscard]] double estimateRowAvx2(const Pixel* a, const Pixel* b, size_t count);

/// Sixteen pairs a step. Needs AVX-512 F, BW, DQ and VL.
[[nodiscard]] RowCost sumRowAvx512(const Pixel* a, const Pixel* b, size_t count);
[[nodiscard]] double estimateRowAvx512(const Pixel* a, const Pixel* b, size_t count);

#endif
