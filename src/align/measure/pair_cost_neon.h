#pragma once

#include "align/measure/pair_cost.h"

// The cost of a row on 64-bit Arm processors. In the sum every operation of the plain version stands in its order, so
// each pair's cost has the same bits. The estimate adds whole numbers and is rounded once.

#if defined(__aarch64__)

[[nodiscard]] RowCost sumRowNeon(const Pixel* a, const Pixel* b, size_t count);
[[nodiscard]] double estimateRowNeon(const Pixel* a, const Pixel* b, size_t count);

#endif
