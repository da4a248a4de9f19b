#include "align/blocks/deformation.h"

#include "align/global/sampling.h"

Image deformImage(Image source, const BlockGrid& grid, int32_t stepX, int32_t stepY) {
    Image bent = makeUnfilledImage(source.width, source.height);
    bent.originX = source.originX;
    bent.originY = source.originY;
    for (int32_t y = 0; y < bent.height; ++y) {
        Pixel* row = rowOf(bent, y);
        for (int32_t x = 0; x < bent.width; ++x) {
            const Displacement displacement = interpolateDisplacement(grid, x, y, stepX, stepY);
            row[x] = samplePosition(source, static_cast<float>(x) - displacement.x, static_cast<float>(y) - displacement.y);
        }
    }
    return bent;
}
