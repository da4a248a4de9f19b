#include "plain/plain.h"

namespace plain {

void accumulateComposite(CompositeSum* sums, const Image& reference, const Image& aligned) {
    for (int64_t y = 0; y < reference.height; ++y)
        for (int64_t x = 0; x < reference.width; ++x) {
            const int64_t sx = x + aligned.originX - reference.originX, sy = y + aligned.originY - reference.originY;
            if (sx < 0 || sx >= aligned.width || sy < 0 || sy >= aligned.height) continue;
            const Pixel p = rowOf(aligned, sy)[sx];
            CompositeSum& sum = sums[y * reference.width + x];
            sum.sumBlue += p.blue * p.weight / 255u;
            sum.sumGreen += p.green * p.weight / 255u;
            sum.sumRed += p.red * p.weight / 255u;
            sum.fullCount += p.weight == 255;
        }
}

}  // namespace plain
