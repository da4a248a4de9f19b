#include "align/global/box_bounds.h"

#include <algorithm>
#include <array>

#include "align/measure/pair_cost.h"
#include "core/vector_instructions.h"
#include "core/vector_level.h"

namespace {

constexpr int64_t boxPixels = boxWidth * boxRows;
constexpr uint16_t fullWeight = boxPixels * 255;
static_assert(boxPixels * 255 < noBox);

// A bound is rounded once a box and a few times within, by 2^-24 each.
constexpr size_t boxLimit = 4096;
static_assert(static_cast<double>(boxLimit + 16) * 0x1p-24 < 0x1p-10 / 2);

constexpr size_t boxesPerLook = 8;  // before placements that have lost are dropped
constexpr size_t overrun = 16;      // placements that may be looked at past the last one, to fill vectors

// One source for all vector levels: loops that both compilers turn into vector instructions, compiled once a level.

// The channels of each of count pixels, summed over the pixel and its right neighbours; the last ones lack some.
[[gnu::always_inline]] inline void sumAcrossBy(const Pixel* pixels, size_t count, uint16_t* sums) {
    const auto* levels = reinterpret_cast<const uint8_t*>(pixels);
    size_t left = count * sizeof(Pixel);
    for (size_t i = 0; i < left; ++i) sums[i] = levels[i];
    for (size_t lag = sizeof(Pixel); lag < boxWidth * sizeof(Pixel); lag *= 2) {
        left -= lag;
        for (size_t i = 0; i < left; ++i) sums[i] = static_cast<uint16_t>(sums[i] + sums[i + lag]);
    }
}

// Where count boxes of neighbouring first pixels have their sums.
struct BoxRow {
    uint16_t *blue, *green, *red;
};

[[gnu::always_inline]] inline void sumDownBy(const std::array<const uint16_t*, boxRows>& rows, size_t count,
                                             const BoxRow& boxes) {
    for (size_t i = 0; i < count; ++i) {
        const auto sum = [&](size_t channel) {
            const size_t at = i * sizeof(Pixel) + channel;
            return static_cast<uint16_t>(rows[0][at] + rows[1][at] + rows[2][at] + rows[3][at]);
        };
        boxes.blue[i] = sum(3) == fullWeight ? sum(0) : noBox;
        boxes.green[i] = sum(1);
        boxes.red[i] = sum(2);
    }
}

// The sums of boxes of fixed that one box faces, step entries apart.
struct FacingBoxes {
    const uint16_t *blue, *green, *red;
    size_t step;
};

// With the colours' differences B, G, R of two boxes of n pixels, the d of their pairs (pair_cost.h) sum up to
// (B^2 + 4 (G^2 + R^2)) / n or more, and the squares of d to the square of that / n or more.
[[gnu::always_inline]] inline void addBoxEvery(size_t step, const FacingBoxes& facing, const Box& box, size_t count,
                                               float* bounds) {
    constexpr float share = 1.0f / static_cast<float>(boxPixels);
    for (size_t i = 0; i < count; ++i) {
        const uint16_t facingBlue = facing.blue[i * step];
        const float blue = static_cast<float>(facingBlue) - box.blue;
        const float green = static_cast<float>(facing.green[i * step]) - box.green;
        const float red = static_cast<float>(facing.red[i * step]) - box.red;
        const float d = (blue * blue + 4.0f * (green * green + red * red)) * share;
        const float cost = d + d * d * (squareWeight * share);
        bounds[i] += facingBlue == noBox ? 0.0f : cost;
    }
}

[[gnu::always_inline]] inline void addBoxBy(const FacingBoxes& facing, const Box& box, size_t count, float* bounds) {
    if (facing.step == 1) {
        addBoxEvery(1, facing, box, count, bounds);
    } else {
        addBoxEvery(facing.step, facing, box, count, bounds);
    }
}

struct BoxKernel {
    void (*sumAcross)(const Pixel* pixels, size_t count, uint16_t* sums);
    void (*sumDown)(const std::array<const uint16_t*, boxRows>& rows, size_t count, const BoxRow& boxes);
    void (*addBox)(const FacingBoxes& facing, const Box& box, size_t count, float* bounds);
};

void sumAcrossPlain(const Pixel* pixels, size_t count, uint16_t* sums) {
    sumAcrossBy(pixels, count, sums);
}

void sumDownPlain(const std::array<const uint16_t*, boxRows>& rows, size_t count, const BoxRow& boxes) {
    sumDownBy(rows, count, boxes);
}

void addBoxPlain(const FacingBoxes& facing, const Box& box, size_t count, float* bounds) {
    addBoxBy(facing, box, count, bounds);
}

#if defined(__x86_64__)

[[TARGET_AVX2]] void sumAcrossAvx2(const Pixel* pixels, size_t count, uint16_t* sums) {
    sumAcrossBy(pixels, count, sums);
}

[[TARGET_AVX2]] void sumDownAvx2(const std::array<const uint16_t*, boxRows>& rows, size_t count, const BoxRow& boxes) {
    sumDownBy(rows, count, boxes);
}

[[TARGET_AVX2]] void addBoxAvx2(const FacingBoxes& facing, const Box& box, size_t count, float* bounds) {
    addBoxBy(facing, box, count, bounds);
}

[[TARGET_AVX512]] void addBoxAvx512(const FacingBoxes& facing, const Box& box, size_t count, float* bounds) {
    addBoxBy(facing, box, count, bounds);
}

#endif

constexpr std::array boxKernels = {
    BoxKernel{sumAcrossPlain, sumDownPlain, addBoxPlain},
#if defined(__x86_64__)
    BoxKernel{sumAcrossAvx2, sumDownAvx2, addBoxAvx2},
    BoxKernel{sumAcrossAvx2, sumDownAvx2, addBoxAvx512},
#elif defined(__aarch64__)
    BoxKernel{sumAcrossPlain, sumDownPlain, addBoxPlain},  // compiled for these instructions anyhow
#endif
};

const BoxKernel& boxKernel() {
    return boxKernels[vectorLevelIndex()];
}

BoxSums sumBoxes(const Image& image, const Area& area, int64_t rowStep) {
    BoxSums boxes = {.left = area.left,
                     .top = area.top,
                     .width = area.right - area.left - boxWidth + 1,
                     .height = area.bottom - area.top - (boxRows - 1) * rowStep,
                     .blue = {},
                     .green = {},
                     .red = {}};
    if (boxes.width <= 0 || boxes.height <= 0) return {};
    for (auto* sums : {&boxes.blue, &boxes.green, &boxes.red}) {
        sums->resize(static_cast<size_t>(boxes.width * boxes.height) + overrun);
    }
    const int64_t rowCount = (boxRows - 1) * rowStep + 1;
    const auto areaWidth = static_cast<size_t>(area.right - area.left);
    std::vector<uint16_t> sums(static_cast<size_t>(rowCount) * areaWidth * sizeof(Pixel));  // of the last rows
    const auto rowAt = [&](int64_t y) {
        return sums.data() + static_cast<size_t>(y % rowCount) * areaWidth * sizeof(Pixel);
    };
    for (int64_t y = area.top; y < area.bottom; ++y) {
        boxKernel().sumAcross(rowOf(image, y) + area.left, areaWidth, rowAt(y));
        const int64_t first = y - rowCount + 1;
        if (first < area.top) continue;
        const auto to = static_cast<size_t>((first - area.top) * boxes.width);
        boxKernel().sumDown({rowAt(first), rowAt(first + rowStep), rowAt(first + 2 * rowStep), rowAt(y)},
                            static_cast<size_t>(boxes.width),
                            {boxes.blue.data() + to, boxes.green.data() + to, boxes.red.data() + to});
    }
    return boxes;
}

// How much two boxes differ; nothing where one lacks data.
float compare(const BoxSums& a, size_t atA, const BoxSums& b, size_t atB) {
    if (a.blue[atA] == noBox || b.blue[atB] == noBox) return 0.0f;
    const auto square = [](uint16_t x, uint16_t y) {
        const float difference = static_cast<float>(x) - static_cast<float>(y);
        return difference * difference;
    };
    return square(a.blue[atA], b.blue[atB]) +
           4.0f * (square(a.green[atA], b.green[atB]) + square(a.red[atA], b.red[atB]));
}

std::vector<Box> listBoxes(const Image& moving, int64_t rowStep) {
    std::vector<Box> boxes;
    BoxSums above;
    const int64_t height = (boxRows - 1) * rowStep + 1;
    for (int64_t y = 0; y + height <= moving.height; y += boxRows * rowStep) {
        const BoxSums sums =
            sumBoxes(moving, {.left = 0, .right = moving.width, .top = y, .bottom = y + height}, rowStep);
        for (int64_t x = 0; x < sums.width; x += boxWidth) {
            const auto at = static_cast<size_t>(x);
            if (sums.blue[at] == noBox) continue;
            float contrast = 0.0f;
            if (x + boxWidth < sums.width) contrast += compare(sums, at, sums, at + boxWidth);
            if (y > 0) contrast += compare(sums, at, above, at);
            boxes.push_back({.x = x,
                             .y = y,
                             .blue = static_cast<float>(sums.blue[at]),
                             .green = static_cast<float>(sums.green[at]),
                             .red = static_cast<float>(sums.red[at]),
                             .contrast = contrast});
        }
        above = sums;
    }
    std::stable_sort(boxes.begin(), boxes.end(), [](const Box& a, const Box& b) { return a.contrast > b.contrast; });
    boxes.resize(std::min(boxes.size(), boxLimit));
    return boxes;
}

}  // namespace

BoxBounds prepareBoxes(const Image& moving, const Image& fixed, const Area& reach, int64_t rowStep) {
    return {.boxes = listBoxes(moving, rowStep), .fixed = sumBoxes(fixed, reach, rowStep)};
}

void boundPlacements(const BoxBounds& boxes, const PlacementRow& row, const std::vector<float>& limits,
                     std::vector<float>& bounds) {
    const BoxSums& fixed = boxes.fixed;
    const auto hasLost = [&](int64_t k) {
        return bounds[static_cast<size_t>(k)] > limits[static_cast<size_t>(k)] * boxMargin;
    };
    bounds.assign(limits.size() + overrun, 0.0f);
    int64_t first = 0, end = static_cast<int64_t>(limits.size());  // what lies before or behind has lost
    for (size_t i = 0; i < boxes.boxes.size(); ++i) {
        const Box& box = boxes.boxes[i];
        const int64_t x = row.firstX + box.x - fixed.left, y = row.y + box.y - fixed.top;
        if (y >= 0 && y < fixed.height) {
            const int64_t from = x < 0 ? std::max(first, (row.step - 1 - x) / row.step) : first;
            const int64_t to = x < fixed.width ? std::min(end, (fixed.width - 1 - x) / row.step + 1) : first;
            if (from < to) {
                const auto at = static_cast<size_t>(y * fixed.width + x + from * row.step);
                auto count = static_cast<size_t>(to - from);
                // What comes behind the last placement has lost or is none, whatever it is taken to face.
                if (to == end && row.step == 1) count = (count + overrun - 1) / overrun * overrun;
                boxKernel().addBox({fixed.blue.data() + at, fixed.green.data() + at, fixed.red.data() + at,
                                    static_cast<size_t>(row.step)},
                                   box, count, bounds.data() + from);
            }
        }
        if (i % boxesPerLook != boxesPerLook - 1) continue;
        while (first < end && hasLost(first)) ++first;
        while (first < end && hasLost(end - 1)) --end;
        if (first == end) return;
    }
}
