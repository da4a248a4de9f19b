#include "align/blocks/row/column_bounds_neon.h"

#if defined(__aarch64__)

#include <algorithm>

#include "core/vector_instructions.h"

// Products of 16 bits serve here. With blue, green and red around their middles, which a difference does not see, the
// norms are the squares |a|^2 with their weights, and the products add up to half of -2ab: that fits 16 bits, as green
// and red are clipped. Factors are a half word for blue and one for green and red, a byte each; a still pixel's are
// negative. Green of a moving pixel counts from its lowest value on, which needs no sign; the still norms take away
// what that adds. A moving record keeps its sixteen half words of blue together, then the others, and of each eight
// norms the even ones before the odd ones.

namespace {

constexpr size_t lanes = 8;

struct PreparedPixels {
    int16x8_t blue, green, red;
    int32x4_t norms[2];
};

// Two bytes a lane, the second one above.
inline int16x8_t packBytes(int16x8_t low, int16x8_t high) {
    return vsliq_n_s16(low, high, 8);
}

inline int16x8_t takeLowByte(int16x8_t values) {
    return vshrq_n_s16(vshlq_n_s16(values, 8), 8);
}

inline int16x8_t takeHighByte(int16x8_t values) {
    return vshrq_n_s16(values, 8);
}

inline PreparedPixels preparePixels(const Pixel* pixels, int32_t offset) {
    const uint8x16_t lowest = vreinterpretq_u8_u32(vdupq_n_u32(0x00606000)),
                     highest = vreinterpretq_u8_u32(vdupq_n_u32(0x009F9FFF));
    uint32x4_t masked[2];
    int16x8_t centred[2];
    for (size_t v = 0; v < 2; ++v) {
        const uint32x4_t colours = vld1q_u32(reinterpret_cast<const uint32_t*>(pixels + 4 * v));
        const uint8x16_t clipped = vminq_u8(vmaxq_u8(vreinterpretq_u8_u32(colours), lowest), highest);
        centred[v] = vreinterpretq_s16_u8(vsubq_u8(clipped, vdupq_n_u8(middleGradient)));
        masked[v] = vcltq_u32(colours, vdupq_n_u32(1 << 24));
    }
    const int16x8_t blueGreen = vuzp1q_s16(centred[0], centred[1]), redWeight = vuzp2q_s16(centred[0], centred[1]);
    const int16x8_t blue = takeLowByte(blueGreen), green = takeHighByte(blueGreen), red = takeLowByte(redWeight);
    const int16x8_t gradients = vmlaq_s16(vmulq_s16(green, green), red, red);
    const int16x8_t squares = vmlaq_s16(vshlq_n_s16(gradients, 2), blue, blue);
    const int32x4_t base = vdupq_n_s32(offset), lacking = vdupq_n_s32(maskedNorm);
    return {blue,
            green,
            red,
            {vbslq_s32(masked[0], lacking, vaddw_s16(base, vget_low_s16(squares))),
             vbslq_s32(masked[1], lacking, vaddw_high_s16(base, squares))}};
}

// Of four columns the sums of squares, as whole numbers: two vectors of two.
struct SquareSums {
    uint64x2_t low, high;
};

inline void addSquares(SquareSums& sums, int32x4_t e) {
    const uint32x4_t bounded = vreinterpretq_u32_s32(vmaxq_s32(e, vdupq_n_s32(squareOffset)));
    sums.low = vmlal_u32(sums.low, vget_low_u32(bounded), vget_low_u32(bounded));
    sums.high = vmlal_high_u32(sums.high, bounded, bounded);
}

inline float32x4_t roundSums(const SquareSums& sums) {
    return vcvt_high_f32_f64(vcvt_f32_f64(vcvtq_f64_u64(sums.low)), vcvtq_f64_u64(sums.high));
}

// Eight columns at several shifts, which share a still row; their sums stay in registers, so their number is known when
// compiling.
[[gnu::always_inline]] inline void sumTile(const FacingColumns& columns, size_t column, size_t firstShift,
                                           const size_t shifts, float* sums, size_t sumStride) {
    SquareSums even[3], odd[3];
#pragma GCC unroll 3
    for (size_t s = 0; s < shifts; ++s) even[s] = odd[s] = {vdupq_n_u64(0), vdupq_n_u64(0)};
    const int32_t* movingRows = columns.movingRows + firstShift;
    for (size_t y = 0; y < columns.rows; ++y, movingRows += columns.shifts) {
        const size_t at = y * columns.stride + column;
        const auto* halves = reinterpret_cast<const int16_t*>(columns.factors + at);
        const int16x8_t first = vld1q_s16(halves), second = vld1q_s16(halves + lanes);
        const int16x8_t blue = vuzp1q_s16(first, second), gradients = vuzp2q_s16(first, second);
        const int16x8_t green = vshlq_n_s16(takeLowByte(gradients), 2), red = vshlq_n_s16(takeHighByte(gradients), 2);
        const int32x4_t lowNorms = vld1q_s32(columns.norms + at), highNorms = vld1q_s32(columns.norms + at + 4);
        const int32x4_t evenNorms = vuzp1q_s32(lowNorms, highNorms), oddNorms = vuzp2q_s32(lowNorms, highNorms);
#pragma GCC unroll 3
        for (size_t s = 0; s < shifts; ++s) {
            const MovingPixels& moving = columns.moving[movingRows[s]];
            const auto* blues = reinterpret_cast<const int16_t*>(moving.factors) + column;
            const int16x8_t facing = vld1q_s16(blues + MovingPixels::count);
            int16x8_t products = vmulq_s16(blue, vld1q_s16(blues));
            products = vmlaq_s16(products, green, vandq_s16(facing, vdupq_n_s16(0xFF)));
            products = vmlaq_s16(products, red, takeHighByte(facing));
            // Twice the lower half of each 32 bits, and twice the upper one.
            const int32x4_t evens = vshlq_n_s32(vreinterpretq_s32_s16(products), 16);
            const int32x4_t odds = vandq_s32(vreinterpretq_s32_s16(products), vdupq_n_s32(-1 << 16));
            const int32x4_t bothEven = vaddq_s32(evenNorms, vld1q_s32(moving.norms + column));
            const int32x4_t bothOdd = vaddq_s32(oddNorms, vld1q_s32(moving.norms + column + 4));
            addSquares(even[s], vsraq_n_s32(bothEven, evens, 15));
            addSquares(odd[s], vsraq_n_s32(bothOdd, odds, 15));
        }
    }
#pragma GCC unroll 3
    for (size_t s = 0; s < shifts; ++s) {
        const float32x4x2_t alternating = {{roundSums(even[s]), roundSums(odd[s])}};
        vst2q_f32(sums + (firstShift + s) * sumStride + column, alternating);
    }
}

inline void prepareStill8(const Pixel* pixels, uint32_t* factors, int32_t* norms) {
    const PreparedPixels prepared = preparePixels(pixels, squareOffset);
    const int16x8x2_t alternating = {
        {vnegq_s16(prepared.blue), packBytes(vnegq_s16(prepared.green), vnegq_s16(prepared.red))}};
    vst2q_s16(reinterpret_cast<int16_t*>(factors), alternating);
    constexpr int16_t tooMuch = 8 * lowestGradient;  // of a moving pixel's green
    vst1q_s32(norms, vmlsl_n_s16(prepared.norms[0], vget_low_s16(prepared.green), tooMuch));
    vst1q_s32(norms + 4, vmlsl_high_n_s16(prepared.norms[1], prepared.green, tooMuch));
}

}  // namespace

void prepareStillNeon(const Pixel* pixels, size_t count, uint32_t* factors, int32_t* norms) {
    size_t i = 0;
    for (; i + lanes <= count; i += lanes) prepareStill8(pixels + i, factors + i, norms + i);
    Pixel filledUp[lanes] = {};
    uint32_t lastFactors[lanes];
    int32_t lastNorms[lanes];
    std::copy(pixels + i, pixels + count, filledUp);
    prepareStill8(filledUp, lastFactors, lastNorms);
    std::copy_n(lastFactors, count - i, factors + i);
    std::copy_n(lastNorms, count - i, norms + i);
}

void prepareMovingNeon(const Pixel* pixels, size_t count, MovingPixels* moving, size_t stride) {
    for (size_t i = 0; i < count; i += lanes) {
        const PreparedPixels prepared = preparePixels(pixels + i, 0);
        MovingPixels& to = moving[i / MovingPixels::count * stride];
        const size_t at = i % MovingPixels::count;
        auto* blues = reinterpret_cast<int16_t*>(to.factors) + at;
        const int16x8_t green = vsubq_s16(prepared.green, vdupq_n_s16(lowestGradient));
        vst1q_s16(blues, prepared.blue);
        vst1q_s16(blues + MovingPixels::count, packBytes(green, prepared.red));
        vst1q_s32(to.norms + at, vuzp1q_s32(prepared.norms[0], prepared.norms[1]));
        vst1q_s32(to.norms + at + 4, vuzp2q_s32(prepared.norms[0], prepared.norms[1]));
    }
}

void sumColumnsNeon(const FacingColumns& columns, float* sums, size_t sumStride) {
    for (size_t column = 0; column < MovingPixels::count; column += lanes) {
        size_t s = 0;
        for (; s + 3 <= columns.shifts; s += 3) sumTile(columns, column, s, 3, sums, sumStride);
        for (; s + 2 <= columns.shifts; s += 2) sumTile(columns, column, s, 2, sums, sumStride);
        for (; s < columns.shifts; ++s) sumTile(columns, column, s, 1, sums, sumStride);
    }
}

void addRunsNeon(const float* sums, size_t sumStride, size_t count, float* totals, size_t rows) {
    for (size_t r = 0; r < rows; ++r, sums += sumStride) {
        float32x4_t sum = vdupq_n_f32(0.0f);
        size_t i = 0;
        for (; i + 4 <= count; i += 4) sum = vaddq_f32(sum, vld1q_f32(sums + i));
        float total = vaddvq_f32(sum);
        for (; i < count; ++i) total += sums[i];
        totals[r] += total;
    }
}

#endif
