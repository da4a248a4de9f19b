#include <algorithm>

#include "align/blocks/block_place.h"
#include "align/blocks/block_samples.h"
#include "align/blocks/single/single_block.h"
#include "align/measure/difference.h"
#include "align/measure/pair_cost.h"
#include "align/sampling/row_sampling.h"

namespace {

// What the matching of one block works with.
struct FractionalMatching {
    const Image& current;
    const Image& reference;
    BlockPlace place;
    bool facesReference;        // the whole block does
    AxisSamples columns, rows;  // of the shift being tried, columns counted from the picture's edge
    Image pixels;               // the block as last sampled
};

// Adds the estimated costs of a row of pairs to sum and returns whether it stays within the limit.
bool staysWithin(double& sum, double sumLimit, const Pixel* a, const Pixel* b, int64_t count) {
    // Between two looks at the sum: long enough for wide vectors, short beside the rows of large blocks.
    constexpr int64_t pairsPerLook = 144;
    const EstimateRow estimateRow = rowKernel().estimateRow;
    for (int64_t i = 0; i < count; i += pairsPerLook) {
        sum += estimateRow(a + i, b + i, static_cast<size_t>(std::min(pairsPerLook, count - i)));
        if (sum > sumLimit) return false;
    }
    return true;
}

// Samples the block row by row, until it has lost when all of it faces the reference. The columns are sampled already.
void takeShift(FractionalMatching& matching, BlockMatch& best, float ceiling, double dx, double dy) {
    const BlockPlace& place = matching.place;
    const AxisSamples &columns = matching.columns, &rows = matching.rows;
    sampleAxis(matching.rows, place.size, dy);
    const double pairs = static_cast<double>(place.size) * static_cast<double>(place.size);
    const double sumLimit = static_cast<double>(std::min(best.score, ceiling)) * estimateMargin * pairs;
    double sum = 0.0;
    for (int64_t by = 0; by < place.size; ++by) {
        const auto entry = static_cast<size_t>(by);
        Pixel* row = rowOf(matching.pixels, by);
        samplingKernel().sampleFractions(matching.current, columns.position.data(), columns.fraction.data(),
                                         static_cast<int32_t>(place.currentY + rows.position[entry]),
                                         rows.fraction[entry], row, columns.position.size());
        if (!matching.facesReference) continue;
        const Pixel* facing = rowOf(matching.reference, place.referenceY + by) + place.referenceX;
        if (!staysWithin(sum, sumLimit, row, facing, place.size)) return;
    }
    const float score = measurePlacement(matching.pixels, matching.reference, -place.referenceX, -place.referenceY);
    takeBetter(best, score, dx, dy);
}

void sampleColumns(FractionalMatching& matching, double dx) {
    sampleAxis(matching.columns, matching.place.size, dx);
    for (int32_t& position : matching.columns.position) {
        position = static_cast<int32_t>(matching.place.currentX + position);
    }
}

}  // namespace

BlockMatch matchBlockFractionalStep(const BlockSearch& search, const Image& current, const Image& reference, int64_t x,
                                    int64_t y, const BlockMatch& start) {
    const BlockPlace place = placeBlock(search, current, reference, x, y);
    FractionalMatching matching = {
        .current = current,
        .reference = reference,
        .place = place,
        .facesReference = liesInside(reference, place.referenceX, place.referenceY, place.size, place.size),
        .columns = {},
        .rows = {},
        .pixels = makeUnfilledImage(place.size, place.size)};
    BlockMatch reached = noBlockMatch;
    if (start.score < worstBlockScore) {
        sampleColumns(matching, static_cast<double>(start.x));
        takeShift(matching, reached, worstBlockScore, static_cast<double>(start.x), static_cast<double>(start.y));
    }
    BlockMatch best = noBlockMatch;
    const double step = static_cast<double>(search.shiftStep);
    for (double dx = search.shiftMinX; dx <= search.shiftMaxX; dx = advanceFractional(dx, step, search.shiftMaxX)) {
        sampleColumns(matching, dx);
        for (double dy = search.shiftMinY; dy <= search.shiftMaxY; dy = advanceFractional(dy, step, search.shiftMaxY)) {
            takeShift(matching, best, reached.score, dx, dy);
        }
    }
    releaseImage(matching.pixels);
    return best;
}
