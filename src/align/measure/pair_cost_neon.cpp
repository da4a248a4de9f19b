#include "align/measure/pair_cost_neon.h"

#if defined(__aarch64__)

#include <algorithm>
#include <cstring>

#include "core/vector_instructions.h"

namespace {

// Four pairs a step, a pixel being one 32-bit lane: blue in the low byte, then green, red, weight.
constexpr size_t lanes = 4;

struct PairDifferences {
    uint32x4_t d;         // 0 where data lacks on one side
    uint32x4_t unmasked;  // all bits where both sides have data
};

// What is left of a row is filled up with pixels without data.
inline uint32x4_t loadPixels(const Pixel* pixels, size_t left) {
    if (left >= lanes) return vld1q_u32(reinterpret_cast<const uint32_t*>(pixels));
    uint32_t filledUp[lanes] = {};
    std::memcpy(filledUp, pixels, left * sizeof(Pixel));
    return vld1q_u32(filledUp);
}

// The squares of byte differences fit 16-bit lanes: blue and red in one vector, green in the other. Widening products
// would need twice the instructions.
inline PairDifferences computeDifferences(uint32x4_t a, uint32x4_t b) {
    const uint8x16_t bytesA = vreinterpretq_u8_u32(a), bytesB = vreinterpretq_u8_u32(b);
    const uint32x4_t unmasked = vcgtq_u32(vreinterpretq_u32_u8(vminq_u8(bytesA, bytesB)), vdupq_n_u32(0x00FFFFFF));
    const uint32x4_t colours = vandq_u32(vreinterpretq_u32_u8(vabdq_u8(bytesA, bytesB)), vshrq_n_u32(unmasked, 8));
    const uint16x8_t blueAndRed = vandq_u16(vreinterpretq_u16_u32(colours), vdupq_n_u16(0xFF));
    const uint16x8_t green = vshrq_n_u16(vreinterpretq_u16_u32(colours), 8);
    const uint32x4_t squares = vreinterpretq_u32_u16(vmulq_u16(blueAndRed, blueAndRed));
    const uint32x4_t greenAndRed = vsraq_n_u32(vreinterpretq_u32_u16(vmulq_u16(green, green)), squares, 16);
    const uint32x4_t blue = vandq_u32(squares, vdupq_n_u32(0xFFFF));
    return {vaddq_u32(blue, vshlq_n_u32(greenAndRed, 2)), unmasked};
}

}  // namespace

RowCost sumRowNeon(const Pixel* a, const Pixel* b, size_t count) {
    float64x2_t sumLow = vdupq_n_f64(0.0), sumHigh = vdupq_n_f64(0.0);
    uint32x4_t unmaskedPairs = vdupq_n_u32(0);
    for (size_t i = 0; i < count; i += lanes) {
        const PairDifferences pairs = computeDifferences(loadPixels(a + i, count - i), loadPixels(b + i, count - i));
        const float32x4_t d = vcvtq_f32_u32(pairs.d);
        const float32x4_t costs = vaddq_f32(d, vmulq_n_f32(vmulq_f32(d, d), squareWeight));
        sumLow = vaddq_f64(sumLow, vcvt_f64_f32(vget_low_f32(costs)));
        sumHigh = vaddq_f64(sumHigh, vcvt_high_f64_f32(costs));
        unmaskedPairs = vsubq_u32(unmaskedPairs, pairs.unmasked);
    }
    return {vaddvq_f64(vaddq_f64(sumLow, sumHigh)), static_cast<int64_t>(count - vaddlvq_u32(unmaskedPairs))};
}

double estimateRowNeon(const Pixel* a, const Pixel* b, size_t count) {
    constexpr size_t pairsPerFold = 1024;  // the sums of so many fit: of d below 2^20 in 32 bits, of its square in 64
    double total = 0.0;
    for (size_t start = 0; start < count; start += pairsPerFold) {
        const size_t end = std::min(count, start + pairsPerFold);
        uint32x4_t sum = vdupq_n_u32(0);
        uint64x2_t squaresLow = vdupq_n_u64(0), squaresHigh = vdupq_n_u64(0);
        for (size_t i = start; i < end; i += lanes) {
            const uint32x4_t d = computeDifferences(loadPixels(a + i, end - i), loadPixels(b + i, end - i)).d;
            sum = vaddq_u32(sum, d);
            squaresLow = vmlal_u32(squaresLow, vget_low_u32(d), vget_low_u32(d));
            squaresHigh = vmlal_high_u32(squaresHigh, d, d);
        }
        const auto squares = static_cast<double>(vaddvq_u64(vaddq_u64(squaresLow, squaresHigh)));
        total += static_cast<double>(vaddlvq_u32(sum)) + squares * static_cast<double>(squareWeight);
    }
    return total;
}

#endif
