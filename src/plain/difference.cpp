#include <algorithm>

#include "plain/plain.h"

namespace plain {
namespace {

// Every term is a multiple of 2^-31 and below 2^31, so in these units their sum is exact in any order.
__extension__ using ExactSum = unsigned __int128;

}  // namespace

float computePairCost(Pixel a, Pixel b) {
    if (a.weight == 0 || b.weight == 0) return 0.5f * 0.01f;
    const int blue = a.blue - b.blue, green = a.green - b.green, red = a.red - b.red;
    const float d = static_cast<float>(blue * blue + 4 * (green * green + red * red));
    return d + d * d * 0.003921569f;
}

float measureDifference(const Image& a, const Image& b) {
    const int64_t dx = static_cast<int64_t>(b.originX) - a.originX, dy = static_cast<int64_t>(b.originY) - a.originY;
    ExactSum sum = 0;
    int64_t count = 0;
    for (int64_t y = std::max<int64_t>(0, -dy); y < std::min<int64_t>(a.height, b.height - dy); ++y)
        for (int64_t x = std::max<int64_t>(0, -dx); x < std::min<int64_t>(a.width, b.width - dx); ++x, ++count)
            sum += static_cast<uint64_t>(computePairCost(rowOf(a, y)[x], rowOf(b, y + dy)[x + dx]) * 0x1p31f);
    if (count == 0) return 0.05f;
    return static_cast<float>(static_cast<double>(sum) * 0x1p-31 / static_cast<double>(static_cast<float>(count)));
}

}  // namespace plain
