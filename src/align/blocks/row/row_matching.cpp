#include "align/blocks/row/row_matching.h"

#include <algorithm>

#include "align/blocks/block_place.h"
#include "align/blocks/single/single_block.h"

namespace {

// Whether a search area, carried over to the reference, lies in it; it may end at its width or height.
bool liesInReference(const BlockSearch& search, const Image& current, const Image& reference, int64_t x, int64_t y) {
    const int64_t referenceX = x - current.originX + reference.originX;
    const int64_t referenceY = y - current.originY + reference.originY;
    return referenceX - search.halfSize + search.shiftMinX >= 0 &&
           referenceX + search.halfSize + search.shiftMaxX <= reference.width &&
           referenceY - search.halfSize + search.shiftMinY >= 0 &&
           referenceY + search.halfSize + search.shiftMaxY <= reference.height;
}

BlockGroup makeGroup(const SearchPlan& plan, const Image& current, const Image& reference, const BlockRow& row) {
    const BlockPlace place = placeBlock(plan.search, current, reference, row.firstX, row.y);
    return {.still = plan.sampled ? reference : current,
            .moving = plan.sampled ? current : reference,
            .stillX = plan.sampled ? place.referenceX : place.currentX,
            .stillY = plan.sampled ? place.referenceY : place.currentY,
            .movingX = plan.sampled ? place.currentX : place.referenceX,
            .movingY = plan.sampled ? place.currentY : place.referenceY,
            .spacing = row.spacing,
            .count = row.count};
}

// Whether everything that the shifts look at lies in the two pictures: when sampled, with the right and lower
// neighbours.
bool liesInPictures(const SearchPlan& plan, const BlockGroup& group) {
    const int64_t way = (group.count - 1) * group.spacing, neighbours = plan.sampled ? 1 : 0;
    return liesInside(group.still, group.stillX, group.stillY, way + plan.size, plan.size) &&
           liesInside(group.moving, group.movingX + plan.across.firstOffset, group.movingY + plan.down.firstOffset,
                      way + plan.across.lastOffset - plan.across.firstOffset + 1 + neighbours,
                      plan.down.lastOffset - plan.down.firstOffset + 1 + neighbours);
}

// Matches blocks, halving what cannot be matched together. last is the last match found one by one.
void matchBlocks(RowMatching& matching, const Image& current, const Image& reference, const BlockRow& row,
                 BlockMatch& last, BlockMatch* matches) {
    const SearchPlan& plan = matching.plan;
    const int64_t lastX = row.firstX + (row.count - 1) * row.spacing;
    const bool inReference = liesInReference(plan.search, current, reference, row.firstX, row.y) &&
                             liesInReference(plan.search, current, reference, lastX, row.y);
    const bool together = plan.fractionsPerPixel > 0 && row.count <= countGroupBlocks(plan) &&
                          fitsStrips(matching.bounds, plan, row.spacing, row.count);
    const BlockGroup group = makeGroup(plan, current, reference, row);
    if (inReference && together && liesInPictures(plan, group)) {
        boundGroup(matching.bounds, plan, group);
        chooseShifts(matching.scoring, plan, group, matching.bounds, matches);
    } else if (row.count > 1) {
        const int64_t half = row.count / 2;
        const BlockRow first = {row.firstX, row.y, row.spacing, half};
        const BlockRow rest = {row.firstX + half * row.spacing, row.y, row.spacing, row.count - half};
        matchBlocks(matching, current, reference, first, last, matches);
        matchBlocks(matching, current, reference, rest, last, matches + half);
    } else if (!inReference) {
        *matches = unmatchedBlock;
    } else if (plan.sampled) {
        *matches = last = matchBlockFractionalStep(plan.search, current, reference, row.firstX, row.y, last);
    } else {
        *matches = matchBlockIntegerStep(plan.search, current, reference, row.firstX, row.y);
    }
}

}  // namespace

RowMatching prepareRowMatching(const BlockSearch& search) {
    RowMatching matching = {.plan = planSearch(search), .bounds = {}, .scoring = {}};
    if (matching.plan.fractionsPerPixel > 0) prepareBounds(matching.bounds, matching.plan);
    return matching;
}

void matchBlockRow(RowMatching& matching, const Image& current, const Image& reference, const BlockRow& row,
                   BlockMatch* matches) {
    BlockMatch last = noBlockMatch;
    const int64_t together = matching.plan.fractionsPerPixel > 0 ? countGroupBlocks(matching.plan) : row.count;
    for (int64_t first = 0; first < row.count; first += together) {
        const BlockRow part = {row.firstX + first * row.spacing, row.y, row.spacing,
                               std::min(together, row.count - first)};
        matchBlocks(matching, current, reference, part, last, matches + first);
    }
}
