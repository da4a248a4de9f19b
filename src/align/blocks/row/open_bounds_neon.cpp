#include "align/blocks/row/open_bounds_neon.h"

#if defined(__aarch64__)

#include <arm_neon.h>

namespace {

// The bytes of a pixel, its blue in place of the weight too: between what they are cut, and which are doubled then.
constexpr uint32_t lowestBytes = 0x80606000, highestBytes = 0xFF9F9F7F, doubledBytes = 0x00FFFF00;

inline uint8x16_t repeat(uint32_t bytes) {
    return vreinterpretq_u8_u32(vdupq_n_u32(bytes));
}

inline uint8x16_t load(const void* from) {
    return vld1q_u8(static_cast<const uint8_t*>(from));
}

inline void store(void* to, uint8x16_t value) {
    vst1q_u8(static_cast<uint8_t*>(to), value);
}

inline uint8x16_t packLevels4(uint8x16_t pixels) {
    constexpr uint8_t order[16] = {0, 1, 2, 0, 4, 5, 6, 4, 8, 9, 10, 8, 12, 13, 14, 12};
    const uint8x16_t bytes = vmaxq_u8(vqtbl1q_u8(pixels, vld1q_u8(order)), repeat(lowestBytes));
    const uint8x16_t levels = vsubq_u8(vminq_u8(bytes, repeat(highestBytes)), repeat(lowestBytes));
    return vaddq_u8(levels, vandq_u8(levels, repeat(doubledBytes)));
}

// All bits of a lane set where there is data, or is none.
inline uint8x16_t findData4(uint8x16_t pixels) {
    return vreinterpretq_u8_u32(vtstq_u32(vreinterpretq_u32_u8(pixels), vdupq_n_u32(0xFF000000)));
}

// Four columns, the first ones from column on; the number of shifts, whose sums stay in registers, is known when
// compiling.
[[gnu::always_inline]] inline void sumTile4(const FacingColumns& columns, size_t column, size_t firstShift,
                                            const size_t shifts, float* sums, size_t sumStride) {
    float32x4_t sum[8];
#pragma GCC unroll 8
    for (size_t s = 0; s < shifts; ++s) sum[s] = vdupq_n_f32(0.0f);
    const int32_t* movingRows = columns.movingRows + firstShift;
    for (size_t y = 0; y < columns.rows; ++y, movingRows += columns.shifts) {
        const uint8x16_t still = load(columns.factors + y * columns.stride + column);
        const uint32x4_t norms = vreinterpretq_u32_u8(load(columns.norms + y * columns.stride + column));
        const uint8x16_t hasData = vreinterpretq_u8_u32(vtstq_u32(norms, norms));
#pragma GCC unroll 8
        for (size_t s = 0; s < shifts; ++s) {
            const MovingPixels& moving = columns.moving[movingRows[s]];
            const uint8x16_t above = vqsubq_u8(still, load(moving.norms + column));
            const uint8x16_t below = vqsubq_u8(load(moving.factors + column), still);
            const uint8x16_t distance = vandq_u8(vorrq_u8(above, below), hasData);
            const uint16x8_t low = vmull_u8(vget_low_u8(distance), vget_low_u8(distance));
            const uint32x4_t squares = vpaddq_u32(vpaddlq_u16(low), vpaddlq_u16(vmull_high_u8(distance, distance)));
            const float32x4_t e = vcvtq_f32_u32(vaddq_u32(squares, vdupq_n_u32(squareOffset)));
            sum[s] = vfmaq_f32(sum[s], e, e);
        }
    }
#pragma GCC unroll 8
    for (size_t s = 0; s < shifts; ++s) vst1q_f32(sums + (firstShift + s) * sumStride + column, sum[s]);
}

}  // namespace

void prepareOpenStillNeon(const Pixel* pixels, size_t count, uint32_t* factors, int32_t* norms) {
    size_t i = 0;
    for (; i + 4 <= count; i += 4) {
        const uint8x16_t four = load(pixels + i);
        store(factors + i, packLevels4(four));
        store(norms + i, vandq_u8(findData4(four), repeat(0x00010001)));
    }
    prepareOpenStillPlain(pixels + i, count - i, factors + i, norms + i);
}

void prepareOpenMovingNeon(const Pixel* lower, const Pixel* upper, size_t count, MovingPixels* moving, size_t stride) {
    for (size_t i = 0; i < count; i += 4) {
        const uint8x16_t low = load(lower + i), hasData = findData4(low);
        MovingPixels& to = moving[i / MovingPixels::count * stride];
        store(to.factors + i % MovingPixels::count, vandq_u8(packLevels4(low), hasData));
        store(to.norms + i % MovingPixels::count, vornq_u8(packLevels4(load(upper + i)), hasData));
    }
}

void sumOpenColumnsNeon(const FacingColumns& columns, float* sums, size_t sumStride) {
    for (size_t column = 0; column < MovingPixels::count; column += 4) {
        size_t s = 0;
        for (; s + 8 <= columns.shifts; s += 8) sumTile4(columns, column, s, 8, sums, sumStride);
        for (; s < columns.shifts; ++s) sumTile4(columns, column, s, 1, sums, sumStride);
    }
}

#endif
