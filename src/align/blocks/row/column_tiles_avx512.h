#pragma once

#include "align/blocks/row/column_bounds.h"
#include "core/vector_instructions.h"

// How the sums of column_bounds.h and of open_bounds.h go through rows and shifts, for sixteen columns at a time. What
// one pair of rows adds is Pair::addSquares(sum, still, moving).

struct Rows16 {
    __m512i factors, norms;
};

namespace tiles16 {

[[TARGET_AVX512, gnu::always_inline]] inline Rows16 loadStill(const FacingColumns& columns, size_t y) {
    return {_mm512_loadu_si512(columns.factors + y * columns.stride),
            _mm512_loadu_si512(columns.norms + y * columns.stride)};
}

[[TARGET_AVX512, gnu::always_inline]] inline Rows16 loadMoving(const MovingPixels& moving) {
    return {_mm512_load_si512(moving.factors), _mm512_load_si512(moving.norms)};
}

// What follows works on as many shifts as their sums stay in registers: a number known when compiling.

template <typename Pair>
[[TARGET_AVX512_VNNI, gnu::always_inline]] inline void addRow(const FacingColumns& columns, size_t y, size_t firstShift,
                                                              const size_t shifts, __m512* sum) {
    const int32_t* movingRows = columns.movingRows + y * columns.shifts + firstShift;
    const Rows16 still = loadStill(columns, y);
#pragma GCC unroll 9
    for (size_t s = 0; s < shifts; ++s) {
        sum[s] = Pair::addSquares(sum[s], still, loadMoving(columns.moving[movingRows[s]]));
    }
}

// Four rows from y on at a run of shifts: each moving row is loaded once.
template <typename Pair>
[[TARGET_AVX512_VNNI, gnu::always_inline]] inline void addRun(const FacingColumns& columns, size_t y, size_t firstShift,
                                                              const size_t shifts, __m512* sum) {
    const MovingPixels* moving = columns.moving + columns.movingRows[y * columns.shifts + firstShift];
    Rows16 still[runRows];
#pragma GCC unroll 4
    for (size_t k = 0; k < runRows; ++k) still[k] = loadStill(columns, y + k);
#pragma GCC unroll 12
    for (size_t row = 0; row < shifts + runRows - 1; ++row) {
        const Rows16 facing = loadMoving(moving[row]);
#pragma GCC unroll 4
        for (size_t k = 0; k < runRows; ++k) {
            if (row < k || row - k >= shifts) continue;
            sum[row - k] = Pair::addSquares(sum[row - k], still[k], facing);
        }
    }
}

template <typename Pair>
[[TARGET_AVX512_VNNI, gnu::always_inline]] inline void sumTile(const FacingColumns& columns, size_t firstShift,
                                                               const size_t shifts, float* sums, size_t sumStride) {
    __m512 sum[9];
#pragma GCC unroll 9
    for (size_t s = 0; s < shifts; ++s) sum[s] = _mm512_setzero_ps();
    size_t y = 0;
    for (; y + runRows <= columns.rows; y += runRows) {
        if (static_cast<size_t>(columns.runs[y / runRows * columns.shifts + firstShift]) >= shifts) {
            addRun<Pair>(columns, y, firstShift, shifts, sum);
            continue;
        }
        for (size_t k = 0; k < runRows; ++k) addRow<Pair>(columns, y + k, firstShift, shifts, sum);
    }
    for (; y < columns.rows; ++y) addRow<Pair>(columns, y, firstShift, shifts, sum);
#pragma GCC unroll 9
    for (size_t s = 0; s < shifts; ++s) _mm512_storeu_ps(sums + (firstShift + s) * sumStride, sum[s]);
}

}  // namespace tiles16

template <typename Pair>
[[TARGET_AVX512_VNNI, gnu::always_inline]] inline void sumColumns16(const FacingColumns& columns, float* sums,
                                                                    size_t sumStride) {
    const size_t groups = columns.rows / runRows;  // the last one seldom reaches over a corner
    for (size_t s = 0; s < columns.shifts;) {
        size_t run = groups > 0 ? static_cast<size_t>(columns.runs[(groups - 1) * columns.shifts + s]) : 0;
        if (run < 3) run = columns.shifts - s;
        const size_t tile = run >= 9 ? 9 : run >= 8 ? 8 : run >= 5 ? 5 : run >= 3 ? 3 : 1;
        if (tile == 9) tiles16::sumTile<Pair>(columns, s, 9, sums, sumStride);
        if (tile == 8) tiles16::sumTile<Pair>(columns, s, 8, sums, sumStride);
        if (tile == 5) tiles16::sumTile<Pair>(columns, s, 5, sums, sumStride);
        if (tile == 3) tiles16::sumTile<Pair>(columns, s, 3, sums, sumStride);
        if (tile == 1) tiles16::sumTile<Pair>(columns, s, 1, sums, sumStride);
        s += tile;
    }
}
