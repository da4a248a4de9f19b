#include "align/blocks/row/column_bounds.h"

#include <algorithm>
#include <array>
#include <bit>
#include <numeric>

#include "align/blocks/row/column_bounds_neon.h"
#include "align/blocks/row/column_bounds_x86.h"
#include "align/blocks/row/row_mixing_avx512.h"
#include "align/measure/pair_cost.h"
#include "core/vector_level.h"

namespace {

int32_t clipGradient(uint32_t colour) {
    return std::clamp(static_cast<int32_t>(colour) - middleGradient, lowestGradient, highestGradient);
}

// With g for the clipped green and red, the factors of a still pixel are blue, blue, and 4 (g + 32) each, those of a
// moving one 127 - blue, twice, and -2 g, signed. Their products are -2ab, and
//     254 blue - 256 g
// of the still and the moving pixel too much, which the norms take away.
void prepareStillPixel(uint32_t pixel, uint32_t& factors, int32_t& norm) {
    const auto blue = static_cast<int32_t>(pixel & 0xFF);
    const int32_t green = clipGradient(pixel >> 8 & 0xFF), red = clipGradient(pixel >> 16 & 0xFF);
    factors = static_cast<uint32_t>(blue | blue << 8) | static_cast<uint32_t>(green - lowestGradient) << 18 |
              static_cast<uint32_t>(red - lowestGradient) << 26;
    norm = blue * blue - 254 * blue + 4 * (green * green + red * red) + squareOffset;
    if (pixel >> 24 == 0) norm = maskedNorm;
}

void prepareMovingPixel(uint32_t pixel, uint32_t& factors, int32_t& norm) {
    const auto blue = static_cast<int32_t>(pixel & 0xFF);
    const int32_t green = clipGradient(pixel >> 8 & 0xFF), red = clipGradient(pixel >> 16 & 0xFF);
    const auto rest = static_cast<uint32_t>(127 - blue) & 0xFF;
    factors = rest | rest << 8 | (static_cast<uint32_t>(-2 * green) & 0xFF) << 16 |
              (static_cast<uint32_t>(-2 * red) & 0xFF) << 24;
    norm = blue * blue + 4 * (green * green + red * red) + 256 * (green + red);
    if (pixel >> 24 == 0) norm = maskedNorm;
}

void prepareMovingPlain(const Pixel* pixels, size_t count, MovingPixels* moving, size_t stride) {
    for (size_t i = 0; i < count; ++i) {
        MovingPixels& to = moving[i / MovingPixels::count * stride];
        const size_t at = i % MovingPixels::count;
        prepareMovingPixel(std::bit_cast<uint32_t>(pixels[i]), to.factors[at], to.norms[at]);
    }
}

int32_t multiplyBytes(uint32_t a, uint32_t b) {
    int32_t sum = 0;
    for (int shift = 0; shift < 32; shift += 8) {
        sum += static_cast<uint8_t>(a >> shift) * static_cast<int8_t>(static_cast<uint8_t>(b >> shift));
    }
    return sum;
}

void sumColumnsPlain(const FacingColumns& columns, float* sums, size_t sumStride) {
    for (size_t s = 0; s < columns.shifts; ++s) {
        for (size_t i = 0; i < MovingPixels::count; ++i) {
            float sum = 0.0f;
            for (size_t y = 0; y < columns.rows; ++y) {
                const MovingPixels& moving = columns.moving[columns.movingRows[y * columns.shifts + s]];
                const size_t still = y * columns.stride + i;
                const int32_t e =
                    columns.norms[still] + moving.norms[i] + multiplyBytes(columns.factors[still], moving.factors[i]);
                const auto bounded = static_cast<float>(std::max(e, squareOffset));
                sum += bounded * bounded;
            }
            sums[s * sumStride + i] = sum;
        }
    }
}

void addRunsPlain(const float* sums, size_t sumStride, size_t count, float* totals, size_t rows) {
    for (size_t r = 0; r < rows; ++r, sums += sumStride) totals[r] += std::accumulate(sums, sums + count, 0.0f);
}

constexpr std::array columnKernels = {
    ColumnKernel{prepareStillPlain, prepareMovingPlain, sumColumnsPlain, addRunsPlain, nullptr},
#if defined(__x86_64__)
    ColumnKernel{prepareStillAvx2, prepareMovingAvx2, sumColumnsAvx2, addRunsAvx2, nullptr},
    ColumnKernel{prepareStillAvx2, prepareMovingAvx2, sumColumnsAvx512, addRunsAvx2, mixExactRowsAvx512},
#elif defined(__aarch64__)
    ColumnKernel{prepareStillNeon, prepareMovingNeon, sumColumnsNeon, addRunsNeon, nullptr},
#endif
};

}  // namespace

void prepareStillPlain(const Pixel* pixels, size_t count, uint32_t* factors, int32_t* norms) {
    for (size_t i = 0; i < count; ++i) prepareStillPixel(std::bit_cast<uint32_t>(pixels[i]), factors[i], norms[i]);
}

const ColumnKernel& columnKernel() {
    return columnKernels[vectorLevelIndex()];
}

// A square is rounded when it is formed and with each addition: down a column, along the run of columns, and to the
// total of the pieces. Every rounding is at most 2^-24 of a sum of squares, which only grows, so all of them together
// stay below half of the margin; the other half is for the roundings of the costs themselves, three a pair, and those
// of the score and its count of pairs.
constexpr int64_t roundingLimit = 2 * blockSizeLimit + blockSizeLimit + 4;
constexpr double squaresMargin = 0x1p-14;
static_assert(static_cast<double>(roundingLimit) * 0x1p-24 < squaresMargin / 2);
static_assert(5 * 0x1p-24 < squaresMargin / 4);
static_assert(2.0 * static_cast<double>(squareWeight) * squareOffset <= 1.0);

double findSquaresLimit(double costLimit, int64_t pairs) {
    const auto offsets = static_cast<double>(pairs * squareOffset * squareOffset);
    return (costLimit / static_cast<double>(squareWeight) + offsets) * (1.0 + squaresMargin);
}
