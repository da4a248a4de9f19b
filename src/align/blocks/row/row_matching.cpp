#include "align/blocks/row/row_matching.h"

#include "align/blocks/block_grid.h"
#include "align/blocks/single/block.h"

namespace {

// Whether a search area, carried over to the reference, lies in it; it may end at its width or height.
bool liesInReference(const BlockSearch& search, const Image& current, const Image& reference, int64_t x, int64_t y) {
    const int64_t referenceX = x - current.originX + reference.originX;
    const int64_t referenceY = y - current.originY + reference.originY;
    return referenceX - search.searchWidth + search.shiftMinX >= 0 &&
           referenceX + search.searchWidth + search.shiftMaxX <= reference.width &&
           referenceY - search.searchWidth + search.shiftMinY >= 0 &&
           referenceY + search.searchWidth + search.shiftMaxY <= reference.height;
}

// Matches blocks first to first + count - 1 of a row, halving what cannot be matched together. last is the last match
// found one by one.
void matchPart(GroupWork& work, const BlockSearch& search, const Image& current, const Image& reference,
               const BlockGroup& row, int64_t first, int64_t count, BlockMatch& last, BlockMatch* matches) {
    const BlockGroup part = {
        .firstX = row.firstX + first * row.spacing, .y = row.y, .spacing = row.spacing, .count = count};
    const int64_t lastX = part.firstX + (count - 1) * row.spacing;
    const bool inReference = liesInReference(search, current, reference, part.firstX, row.y) &&
                             liesInReference(search, current, reference, lastX, row.y);
    if (inReference && canMatchGroup(search, current, reference, part)) {
        matchGroup(work, search, current, reference, part, matches + first);
    } else if (count > 1) {
        matchPart(work, search, current, reference, row, first, count / 2, last, matches);
        matchPart(work, search, current, reference, row, first + count / 2, count - count / 2, last, matches);
    } else if (inReference) {
        const auto matchBlock = isWholeStep(search.shiftStep) ? matchBlockIntegerStep : matchBlockFractionalStep;
        matches[first] = last = matchBlock(search, current, reference, part.firstX, row.y, last);
    } else {
        matches[first] = {unmatchedBlockScore, 0.0f, 0.0f};
    }
}

}  // namespace

void matchBlockRow(GroupWork& work, const BlockSearch& search, const Image& current, const Image& reference,
                   const BlockGroup& row, BlockMatch* matches) {
    BlockMatch last = noBlockMatch;
    if (row.count > 0) matchPart(work, search, current, reference, row, 0, row.count, last, matches);
}
