#include "align/blocks/row/column_bounds_neon.h"

#if defined(__aarch64__)

#include <algorithm>
#include <cstring>

#include "core/vector_instructions.h"

// Bytes of both signs multiply here, so still and moving pixels have the same factors: zero, then blue, green and red
// around their middles, green and red clipped. d being a difference, the middles change nothing, and norms are the
// squares |a|^2 with their weights.

namespace {

constexpr size_t lanes = 4;

struct PreparedPixels {
    uint32x4_t factors;
    int32x4_t norms;
};

// Of each pixel (zero, green) and (blue, red), with their signs, as 16-bit lanes.
inline int16x8_t takeGreen(uint32x4_t factors) {
    return vshrq_n_s16(vshlq_n_s16(vreinterpretq_s16_u32(factors), 8), 8);
}

inline int16x8_t takeBlueAndRed(uint32x4_t factors) {
    return vshrq_n_s16(vreinterpretq_s16_u32(factors), 8);
}

// That many times blue and red, alternating.
inline int16x8_t weighBlueAndRed(int16x8_t values, int16_t blue, int16_t red) {
    const int16x8_t weights = {blue, red, blue, red, blue, red, blue, red};
    return vmulq_s16(values, weights);
}

inline PreparedPixels preparePixels(uint32x4_t pixels, int32_t offset) {
    const uint8x16_t lowest = vreinterpretq_u8_u32(vdupq_n_u32(0x00606000)),
                     highest = vreinterpretq_u8_u32(vdupq_n_u32(0x009F9FFF));
    const uint8x16_t clipped = vminq_u8(vmaxq_u8(vreinterpretq_u8_u32(pixels), lowest), highest);
    const uint8x16_t centred = vsubq_u8(clipped, vdupq_n_u8(128));
    const uint32x4_t factors = vshlq_n_u32(vreinterpretq_u32_u8(centred), 8);
    const int16x8_t green = takeGreen(factors), blueAndRed = takeBlueAndRed(factors);
    const int16x8_t squares =
        vmlaq_s16(vmulq_s16(blueAndRed, weighBlueAndRed(blueAndRed, 1, 4)), green, vshlq_n_s16(green, 2));
    const int32x4_t norms = vpadalq_s16(vdupq_n_s32(offset), squares);
    const uint32x4_t masked = vcltq_u32(pixels, vdupq_n_u32(1 << 24));
    return {factors, vbslq_s32(masked, vdupq_n_s32(maskedNorm), norms)};
}

inline uint32x4_t loadPixels(const Pixel* pixels) {
    return vld1q_u32(reinterpret_cast<const uint32_t*>(pixels));
}

// Eight columns at several shifts, which share the loads of a still row; their sums stay in registers, so their number
// is known when compiling. Squares add up as whole numbers.
[[gnu::always_inline]] inline void sumTile(const FacingColumns& columns, size_t column, size_t firstShift,
                                           const size_t shifts, float* sums, size_t sumStride) {
    constexpr size_t vectors = 2;
    uint64x2_t low[4][vectors], high[4][vectors];
#pragma GCC unroll 4
    for (size_t s = 0; s < shifts; ++s) {
#pragma GCC unroll 2
        for (size_t v = 0; v < vectors; ++v) low[s][v] = high[s][v] = vdupq_n_u64(0);
    }
    const int32_t* movingRows = columns.movingRows + firstShift;
    for (size_t y = 0; y < columns.rows; ++y, movingRows += columns.shifts) {
        int16x8_t green[vectors], blueAndRed[vectors];
        int32x4_t norms[vectors];
#pragma GCC unroll 2
        for (size_t v = 0; v < vectors; ++v) {
            const size_t at = y * columns.stride + column + v * lanes;
            const uint32x4_t factors = vld1q_u32(columns.factors + at);
            green[v] = vmulq_n_s16(takeGreen(factors), -8);
            blueAndRed[v] = weighBlueAndRed(takeBlueAndRed(factors), -2, -8);
            norms[v] = vld1q_s32(columns.norms + at);
        }
#pragma GCC unroll 4
        for (size_t s = 0; s < shifts; ++s) {
            const MovingPixels& moving = columns.moving[movingRows[s]];
#pragma GCC unroll 2
            for (size_t v = 0; v < vectors; ++v) {
                const uint32x4_t facing = vld1q_u32(moving.factors + column + v * lanes);
                // -2 times blue fits a lane of its own, just so; -8 times green and red fit together.
                const int16x8_t products =
                    vmlaq_s16(vmulq_s16(blueAndRed[v], takeBlueAndRed(facing)), green[v], takeGreen(facing));
                const int32x4_t both = vaddq_s32(norms[v], vld1q_s32(moving.norms + column + v * lanes));
                const int32x4_t e = vmaxq_s32(vpadalq_s16(both, products), vdupq_n_s32(bendOffset));
                const uint32x4_t bounded = vreinterpretq_u32_s32(e);
                low[s][v] = vmlal_u32(low[s][v], vget_low_u32(bounded), vget_low_u32(bounded));
                high[s][v] = vmlal_high_u32(high[s][v], bounded, bounded);
            }
        }
    }
#pragma GCC unroll 4
    for (size_t s = 0; s < shifts; ++s) {
#pragma GCC unroll 2
        for (size_t v = 0; v < vectors; ++v) {
            const float32x2_t first = vcvt_f32_f64(vcvtq_f64_u64(low[s][v]));
            float* to = sums + (firstShift + s) * sumStride + column + v * lanes;
            vst1q_f32(to, vcvt_high_f32_f64(first, vcvtq_f64_u64(high[s][v])));
        }
    }
}

}  // namespace

void prepareStillNeon(const Pixel* pixels, size_t count, uint32_t* factors, int32_t* norms) {
    for (size_t i = 0; i < count; i += lanes) {
        if (count - i >= lanes) {
            const PreparedPixels prepared = preparePixels(loadPixels(pixels + i), bendOffset);
            vst1q_u32(factors + i, prepared.factors);
            vst1q_s32(norms + i, prepared.norms);
            continue;
        }
        Pixel filledUp[lanes] = {};
        std::copy(pixels + i, pixels + count, filledUp);
        const PreparedPixels prepared = preparePixels(loadPixels(filledUp), bendOffset);
        std::memcpy(factors + i, &prepared.factors, (count - i) * sizeof *factors);
        std::memcpy(norms + i, &prepared.norms, (count - i) * sizeof *norms);
    }
}

void prepareMovingNeon(const Pixel* pixels, size_t count, MovingPixels* moving, size_t stride) {
    for (size_t i = 0; i < count; i += lanes) {
        const PreparedPixels prepared = preparePixels(loadPixels(pixels + i), 0);
        MovingPixels& to = moving[i / MovingPixels::count * stride];
        vst1q_u32(to.factors + i % MovingPixels::count, prepared.factors);
        vst1q_s32(to.norms + i % MovingPixels::count, prepared.norms);
    }
}

void sumColumnsNeon(const FacingColumns& columns, float* sums, size_t sumStride) {
    for (size_t column = 0; column < MovingPixels::count; column += 8) {
        size_t s = 0;
        for (; s + 4 <= columns.shifts; s += 4) sumTile(columns, column, s, 4, sums, sumStride);
        for (; s < columns.shifts; ++s) sumTile(columns, column, s, 1, sums, sumStride);
    }
}

void addRunsNeon(const float* sums, size_t sumStride, size_t count, float* totals, size_t rows) {
    for (size_t r = 0; r < rows; ++r, sums += sumStride) {
        float32x4_t sum = vdupq_n_f32(0.0f);
        size_t i = 0;
        for (; i + lanes <= count; i += lanes) sum = vaddq_f32(sum, vld1q_f32(sums + i));
        float total = vaddvq_f32(sum);
        for (; i < count; ++i) total += sums[i];
        totals[r] += total;
    }
}

#endif
