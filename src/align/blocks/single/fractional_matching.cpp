#include "align/blocks/block_search.h"
#include "align/blocks/row/quarter_samples.h"
#include "align/blocks/single/block.h"
#include "align/sampling/row_sampling.h"

namespace {

// What the matching of one block works with.
struct FractionalMatching {
    const Image& current;
    const Image& reference;
    Block block;
    bool facesReference;        // the whole block does
    AxisSamples columns, rows;  // of the shift being tried
    Image pixels;               // the block as last sampled
};

// The next value of a running shift; beyond last when the step does not change it.
double advance(double shift, double step, double last) {
    return shift + step == shift ? last + 1.0 : shift + step;
}

// Samples the block row by row, until it has lost when all of it faces the reference. The columns are sampled already.
void takeShift(FractionalMatching& matching, BlockMatch& best, float ceiling, double dx, double dy) {
    const Block& block = matching.block;
    const AxisSamples &columns = matching.columns, &rows = matching.rows;
    sampleAxis(matching.rows, block.cornerY, block.size, static_cast<float>(dy));
    const double largestSum = findLargestSum(block, best.score, ceiling);
    double sum = 0.0;
    for (int64_t by = 0; by < block.size; ++by) {
        const auto entry = static_cast<size_t>(by);
        Pixel* row = rowOf(matching.pixels, by);
        samplingKernel().sampleFractions(matching.current, columns.position.data(), columns.fraction.data(),
                                         rows.position[entry], rows.fraction[entry], row, columns.position.size());
        if (!matching.facesReference) continue;
        const Pixel* facing = rowOf(matching.reference, block.facingY + by) + block.facingX;
        if (!staysWithin(sum, largestSum, row, facing, block.size)) return;
    }
    const float score = measurePlacement(matching.pixels, matching.reference, -block.facingX, -block.facingY);
    takeBetter(best, score, dx, dy);
}

void sampleColumns(FractionalMatching& matching, double dx) {
    sampleAxis(matching.columns, matching.block.cornerX, matching.block.size, static_cast<float>(dx));
}

}  // namespace

BlockMatch matchBlockFractionalStep(const BlockSearch& search, const Image& current, const Image& reference, int64_t x,
                                    int64_t y, const BlockMatch& start) {
    if (!hasShifts(search)) return noBlockMatch;
    const Block block = makeBlock(search, current, reference, x, y);
    if (block.size == 0) return matchEmptyBlock(search);
    FractionalMatching matching = {
        .current = current,
        .reference = reference,
        .block = block,
        .facesReference = liesInside(reference, block.facingX, block.facingY, block.size, block.size),
        .columns = {},
        .rows = {},
        .pixels = makeUnfilledImage(block.size, block.size)};
    BlockMatch reached = noBlockMatch;
    if (start.score < worstBlockScore) {
        sampleColumns(matching, static_cast<double>(start.x));
        takeShift(matching, reached, worstBlockScore, static_cast<double>(start.x), static_cast<double>(start.y));
    }
    BlockMatch best = noBlockMatch;
    const double step = static_cast<double>(search.shiftStep);
    for (double dx = search.shiftMinX; dx <= search.shiftMaxX; dx = advance(dx, step, search.shiftMaxX)) {
        sampleColumns(matching, dx);
        for (double dy = search.shiftMinY; dy <= search.shiftMaxY; dy = advance(dy, step, search.shiftMaxY)) {
            takeShift(matching, best, reached.score, dx, dy);
        }
    }
    releaseImage(matching.pixels);
    return best;
}
