#pragma once

#include <cstddef>
#include <cstdint>

#include "align/blocks/row/column_bounds.h"

// Mixing down (level_mixing.h) and preparing the pixels in one go: what lies between stays in registers, and a pair of
// rows is read once for all its fractions.

#if defined(__x86_64__)

/// What the mixes are, for column_bounds.h: where no rounding has moved them. Needs AVX-512 F, BW, DQ and VL.
void mixExactRowsAvx512(const RowPair& pair, size_t count, int32_t n, size_t stride);

/// Between what levels they are, for open_bounds.h; there a pixel without data counts as any.
void mixOpenRowsAvx512(const RowPair& pair, size_t count, int32_t n, size_t stride);

#endif
