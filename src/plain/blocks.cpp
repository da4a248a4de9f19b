#include <algorithm>
#include <cmath>
#include <vector>

#include "plain/plain.h"

namespace plain {
namespace {

// The square block around (x, y), moved by (dx, dy) within the picture; its origin is that of the picture.
Image sampleBlock(const BlockSearch& search, const Image& image, int64_t x, int64_t y, float dx, float dy) {
    const int64_t left = x - search.halfSize, top = y - search.halfSize;
    Image block = makeImage(2 * search.halfSize + 1, 2 * search.halfSize + 1);
    block.originX = static_cast<int32_t>(image.originX - left);
    block.originY = static_cast<int32_t>(image.originY - top);
    for (int32_t by = 0; by < block.height; ++by)
        for (int32_t bx = 0; bx < block.width; ++bx) {
            const float rx = static_cast<float>(bx) - dx, ix = std::trunc(rx);
            const float ry = static_cast<float>(by) - dy, iy = std::trunc(ry);
            rowOf(block, by)[bx] =
                samplePixel(image, left + static_cast<int64_t>(ix), top + static_cast<int64_t>(iy), rx - ix, ry - iy);
        }
    return block;
}

void keepBetter(BlockMatch& best, const Image& block, const Image& reference, float x, float y) {
    const float score = measureDifference(block, reference);
    if (score < best.score) best = {score, x, y};
}

Image makeGradientImage(const Image& image) {
    Image gradient = copyImage(image);
    for (size_t i = 0; i < countPixels(image); ++i) {
        const Pixel p = image.pixels[i];
        gradient.pixels[i].blue = static_cast<uint8_t>((p.blue + p.green + p.red) / 3);
    }
    for (int32_t y = 1; y < image.height - 1; ++y)
        for (int32_t x = 1; x < image.width - 1; ++x) {
            Pixel* p = rowOf(gradient, y) + x;
            p->green = static_cast<uint8_t>((p[-1].blue - p[1].blue) / 2 + 128);
            p->red = static_cast<uint8_t>((p[-image.width].blue - p[image.width].blue) / 2 + 128);
        }
    return gradient;
}

struct Cell {
    int32_t first, second;
    float fraction;
};

Cell findCell(int32_t x, int32_t step, int32_t count) {
    Cell cell = {0, 0, 0};
    if (const int32_t half = step / 2; x > half) {
        cell.first = (x - half) / step;
        cell.fraction = static_cast<float>((x - (0.5 * step + cell.first * step)) / step);
        if (cell.first >= count) cell = {count - 1, 0, 0};
    }
    cell.second = std::min(cell.first + 1, count - 1);
    return cell;
}

}  // namespace

BlockMatch matchBlockIntegerStep(const BlockSearch& search, const Image& current, const Image& reference, int64_t x,
                                 int64_t y) {
    Image block = sampleBlock(search, current, x, y, 0, 0), moved = block;
    BlockMatch best = {1e9f, 0, 0};
    for (int32_t dx = search.shiftMinX; dx <= search.shiftMaxX;
         dx = static_cast<int32_t>(static_cast<float>(dx) + search.shiftStep))
        for (int32_t dy = search.shiftMinY; dy <= search.shiftMaxY;
             dy = static_cast<int32_t>(static_cast<float>(dy) + search.shiftStep)) {
            moved.originX = block.originX - dx;
            moved.originY = block.originY - dy;
            keepBetter(best, moved, reference, static_cast<float>(dx), static_cast<float>(dy));
        }
    releaseImage(block);
    return best;
}

BlockMatch matchBlockFractionalStep(const BlockSearch& search, const Image& current, const Image& reference, int64_t x,
                                    int64_t y) {
    const double step = static_cast<double>(search.shiftStep);
    BlockMatch best = {1e9f, 0, 0};
    for (double dx = search.shiftMinX; dx <= search.shiftMaxX; dx += step)
        for (double dy = search.shiftMinY; dy <= search.shiftMaxY; dy += step) {
            const auto x1 = static_cast<float>(dx), y1 = static_cast<float>(dy);
            Image block = sampleBlock(search, current, x, y, x1, y1);
            keepBetter(best, block, reference, x1, y1);
            releaseImage(block);
        }
    return best;
}

Displacement interpolateDisplacement(const BlockGrid& grid, int32_t x, int32_t y, int32_t spacing) {
    const Cell column = findCell(x, spacing, grid.columns), row = findCell(y, spacing, grid.rows);
    const float fx = column.fraction, fy = row.fraction;
    const Displacement *first = grid.displacements + int64_t{row.first} * grid.columns,
                       *second = grid.displacements + int64_t{row.second} * grid.columns;
    const auto mix = [&](float Displacement::*axis) {
        return (1 - fx) * (1 - fy) * first[column.first].*axis + fx * (1 - fy) * first[column.second].*axis +
               (1 - fx) * fy * second[column.first].*axis + fx * fy * second[column.second].*axis;
    };
    return {mix(&Displacement::x), mix(&Displacement::y)};
}

Image deformImage(const Image& source, const BlockGrid& grid, int32_t spacing) {
    Image bent = makeImage(source.width, source.height);
    bent.originX = source.originX;
    bent.originY = source.originY;
    for (int32_t y = 0; y < bent.height; ++y)
        for (int32_t x = 0; x < bent.width; ++x) {
            const Displacement d = interpolateDisplacement(grid, x, y, spacing);
            rowOf(bent, y)[x] = samplePosition(source, static_cast<float>(x) - d.x, static_cast<float>(y) - d.y);
        }
    return bent;
}

Image alignBlocks(const RunState& run) {
    Image current = makeGradientImage(run.current), reference = makeGradientImage(run.reference);
    const int32_t half = run.blockSearchWidth, offsetX = reference.originX - current.originX,
                  offsetY = reference.originY - current.originY;
    const BlockSearch search = {
        half, run.blockShiftMinX, run.blockShiftMaxX, run.blockShiftMinY, run.blockShiftMaxY, run.blockShiftStep};
    std::vector<Displacement> shifts;
    int32_t rows = 0;
    for (int32_t y = half - search.shiftMinY + 1; y < current.height - half - search.shiftMaxY - 1;
         y += run.blockGridWidth, ++rows)
        for (int32_t x = half - search.shiftMinX + 1; x < current.width - half - search.shiftMaxX - 1;
             x += run.blockGridWidth) {
            const bool inside = x - half + search.shiftMinX + offsetX >= 0 &&
                                y - half + search.shiftMinY + offsetY >= 0 &&
                                x + half + search.shiftMaxX + offsetX <= reference.width &&
                                y + half + search.shiftMaxY + offsetY <= reference.height;
            const bool whole = search.shiftStep == std::trunc(search.shiftStep);
            BlockMatch match = {-10, 0, 0};
            if (inside)
                match = (whole ? plain::matchBlockIntegerStep : plain::matchBlockFractionalStep)(search, current,
                                                                                                 reference, x, y);
            shifts.push_back({match.x, match.y});
        }
    releaseImage(current);
    releaseImage(reference);
    if (shifts.empty()) return copyImage(run.current);
    const BlockGrid grid = {shifts.data(), static_cast<int32_t>(shifts.size()) / rows, rows};
    return plain::deformImage(run.current, grid, run.blockGridWidth);
}

}  // namespace plain
