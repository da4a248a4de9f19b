#include "align/sampling/row_sampling_neon.h"

#if defined(__aarch64__)

#include <algorithm>

#include "align/sampling/bilinear.h"
#include "core/vector_instructions.h"

namespace {

constexpr size_t lanes = 4;

// Two neighbours of a row, a channel a lane.
struct Neighbours {
    float32x4_t left, right;
};

inline Neighbours loadNeighbours(const Pixel* pixels) {
    const uint16x8_t both = vmovl_u8(vld1_u8(reinterpret_cast<const uint8_t*>(pixels)));
    return {vcvtq_f32_u32(vmovl_u16(vget_low_u16(both))), vcvtq_f32_u32(vmovl_high_u16(both))};
}

// All channels of a mix, each in the order of mixByte; the low bytes of the lanes are wanted.
inline uint16x4_t mixPixel(const Image& source, int32_t x, int32_t y, float fx, float fy) {
    const Pixel* corner = rowOf(source, y) + x;
    const Neighbours top = loadNeighbours(corner), bottom = loadNeighbours(corner + source.width);
    const float gx = 1.0f - fx, gy = 1.0f - fy;
    float32x4_t value = vmulq_n_f32(vmulq_n_f32(top.left, gx), gy);
    value = vaddq_f32(value, vmulq_n_f32(vmulq_n_f32(top.right, fx), gy));
    value = vaddq_f32(value, vmulq_n_f32(vmulq_n_f32(bottom.left, gx), fy));
    value = vaddq_f32(value, vmulq_n_f32(vmulq_n_f32(bottom.right, fx), fy));
    return vmovn_u32(vreinterpretq_u32_s32(vcvtq_s32_f32(value)));
}

// Four positions, each with all four neighbours in the picture.
inline void mixPixels(const Image& source, int32x4_t x, int32x4_t y, float32x4_t fx, float32x4_t fy, Pixel* row) {
    const auto mix = [&](int lane) { return mixPixel(source, x[lane], y[lane], fx[lane], fy[lane]); };
    const uint8x8_t first = vmovn_u16(vcombine_u16(mix(0), mix(1))), second = vmovn_u16(vcombine_u16(mix(2), mix(3)));
    vst1q_u8(reinterpret_cast<uint8_t*>(row), vcombine_u8(first, second));
}

// Lanes 0 <= value < limit, all bits of each.
inline uint32x4_t findBelow(int32x4_t values, int32_t limit) {
    return vcltq_u32(vreinterpretq_u32_s32(values), vdupq_n_u32(static_cast<uint32_t>(limit)));
}

inline bool all(uint32x4_t mask) {
    return vminvq_u32(mask) != 0;
}

// Positions cut toward zero; what no 32-bit integer holds lands outside every picture. The instruction takes the
// nearest integer that there is, which does so but for what is not a number.
inline int32x4_t truncateToIntegers(float32x4_t positions) {
    const uint32x4_t isNumber = vceqq_f32(positions, positions);
    return vornq_s32(vcvtq_s32_f32(positions), vreinterpretq_s32_u32(isNumber));
}

}  // namespace

void samplePositionsNeon(const Image& source, const float* x, const float* y, Pixel* row, size_t count) {
    for (size_t i = 0; i < count; i += lanes) {
        if (count - i >= lanes && source.width > 0 && source.height > 0) {
            const float32x4_t positionX = vld1q_f32(x + i), positionY = vld1q_f32(y + i);
            const int32x4_t ix = truncateToIntegers(positionX), iy = truncateToIntegers(positionY);
            const uint32x4_t notBelow = vandq_u32(vcgezq_f32(positionX), vcgezq_f32(positionY));
            const uint32x4_t inside = vandq_u32(findBelow(ix, source.width - 1), findBelow(iy, source.height - 1));
            if (all(vandq_u32(inside, notBelow))) {
                const float32x4_t fx = vsubq_f32(positionX, vcvtq_f32_s32(ix));
                const float32x4_t fy = vsubq_f32(positionY, vcvtq_f32_s32(iy));
                mixPixels(source, ix, iy, fx, fy, row + i);
                continue;
            }
        }
        // The border of the picture, and what is left of the row.
        for (size_t k = i; k < std::min(i + lanes, count); ++k) row[k] = samplePosition(source, x[k], y[k]);
    }
}

void sampleFractionsNeon(const Image& source, const int32_t* x, const float* fx, int32_t y, float fy, Pixel* row,
                         size_t count) {
    const bool rowInside = y >= 0 && y < source.height - 1 && source.width > 0;
    for (size_t i = 0; i < count; i += lanes) {
        if (count - i >= lanes && rowInside) {
            const int32x4_t columns = vld1q_s32(x + i);
            if (all(findBelow(columns, source.width - 1))) {
                mixPixels(source, columns, vdupq_n_s32(y), vld1q_f32(fx + i), vdupq_n_f32(fy), row + i);
                continue;
            }
        }
        for (size_t k = i; k < std::min(i + lanes, count); ++k) row[k] = samplePixel(source, x[k], y, fx[k], fy);
    }
}

void sampleTurnedRowNeon(const Image& source, const TurnedRow& positions, Pixel* row, size_t count) {
    const float32x4_t startX = vdupq_n_f32(positions.startX), startY = vdupq_n_f32(positions.startY);
    const int32x4_t laneNumbers = {0, 1, 2, 3};
    for (size_t i = 0; i < count; i += lanes) {
        const int32_t firstU = positions.firstU + static_cast<int32_t>(i);
        const float32x4_t u = vcvtq_f32_s32(vaddq_s32(laneNumbers, vdupq_n_s32(firstU)));
        const int32x4_t x = truncateToIntegers(vaddq_f32(vmulq_n_f32(u, positions.cosA), startX));
        const int32x4_t y = truncateToIntegers(vaddq_f32(vmulq_n_f32(u, positions.sinA), startY));
        const uint32x4_t inside = vandq_u32(findBelow(x, source.width), findBelow(y, source.height));
        if (count - i >= lanes && all(inside)) {
            for (size_t k = 0; k < lanes; ++k) row[i + k] = rowOf(source, y[k])[x[k]];
            continue;
        }
        for (size_t k = 0; k < std::min(lanes, count - i); ++k) {
            row[i + k] = inside[k] != 0 ? rowOf(source, y[k])[x[k]] : Pixel{};
        }
    }
}

#endif
