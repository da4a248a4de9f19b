#pragma once

#include <cstddef>
#include <cstdint>

#include "align/blocks/row/open_bounds.h"

// Mixing down (level_mixing.h) and preparing the pixels (open_bounds.h) in one go: what lies between stays in
// registers, and a pair of rows is read once for all its fractions.

#if defined(__x86_64__)

/// Needs AVX-512 F, BW, DQ and VL.
void mixOpenRowsAvx512(const OpenRows& rows, size_t count, int32_t n, size_t stride);

#endif
