#include "align/global/shift_search.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <vector>

#include "align/global/box_bounds.h"
#include "align/global/telling_segments.h"
#include "align/measure/difference.h"
#include "align/measure/pair_cost.h"

namespace {

// Every shift has its exact score, but few shifts need all of their pairs read: costs are never negative and the number
// of pairs is known beforehand, so a placement is given up as soon as the costs estimated so far cannot score as low as
// the ceiling. What tells placements apart best is looked at first, by all shifts of one y: short segments, stars and
// edges, or where light is spread over the picture the sums of boxes, which rule most shifts out; then whole rows.

// The candidates of one axis: steps 0 to count - 1, of which first to last leave an overlap.
struct AxisRange {
    int64_t min, step, count;
    int64_t first, last;

    [[nodiscard]] bool overlapsAtFirst() const { return first == 0 && last >= 0; }
    [[nodiscard]] int64_t at(int64_t i) const { return min + i * step; }
};

struct Candidate {
    int64_t x;
    Overlap overlap;
    double largestSum;  // beyond this sum of estimates it loses
    double sum;
};

struct ShiftSearch {
    const Image& moving;
    const Image& fixed;
    AxisRange x, y;
    TellingSegments telling;            // read before rows are; or, where there are none,
    BoxBounds boxes;                    // these looked at
    std::vector<int64_t> dataRows;      // rows of moving that hold data, the most telling first
    std::vector<int64_t> maskedRowsTo;  // entry y: rows above row y that hold none
};

// Rounds toward minus infinity; the divisor is positive.
int64_t divideDown(int64_t a, int64_t b) {
    return a / b - (a % b < 0 ? 1 : 0);
}

// Moved by s, an axis of length a with its origin at offset from that of b overlaps it for -b < offset + s < a.
AxisRange makeAxisRange(int64_t min, int64_t max, int64_t step, int64_t offset, int64_t a, int64_t b) {
    const int64_t count = max < min ? 0 : (max - min) / step + 1;
    if (a == 0 || b == 0) return {min, step, count, 0, -1};
    const int64_t lowest = 1 - b - offset, highest = a - 1 - offset;
    return {min, step, count, std::max<int64_t>(0, -divideDown(min - lowest, step)),
            std::min(count - 1, divideDown(highest - min, step))};
}

void listRows(ShiftSearch& search) {
    const Image& moving = search.moving;
    std::vector<double> contrast(static_cast<size_t>(moving.height));
    search.maskedRowsTo.assign(1, 0);
    for (int64_t y = 0; y < moving.height; ++y) {
        const Pixel* row = rowOf(moving, y);
        const bool hasData = std::any_of(row, row + moving.width, [](Pixel pixel) { return pixel.weight != 0; });
        search.maskedRowsTo.push_back(search.maskedRowsTo.back() + (hasData ? 0 : 1));
        if (!hasData) continue;
        search.dataRows.push_back(y);
        contrast[static_cast<size_t>(y)] = measureContrast(row, moving.width);
    }
    std::stable_sort(search.dataRows.begin(), search.dataRows.end(), [&contrast](int64_t a, int64_t b) {
        return contrast[static_cast<size_t>(a)] > contrast[static_cast<size_t>(b)];
    });
}

ShiftSearch prepareSearch(const Image& moving, const Image& fixed, const ShiftRange& range) {
    ShiftSearch search = {
        .moving = moving,
        .fixed = fixed,
        .x = makeAxisRange(range.minX, range.maxX, range.step, int64_t{moving.originX} - fixed.originX, moving.width,
                           fixed.width),
        .y = makeAxisRange(range.minY, range.maxY, range.step, int64_t{moving.originY} - fixed.originY, moving.height,
                           fixed.height),
        .telling = {},
        .boxes = {},
        .dataRows = {},
        .maskedRowsTo = {},
    };
    if (search.x.first <= search.x.last && search.y.first <= search.y.last) listRows(search);
    return search;
}

Overlap overlapAt(const ShiftSearch& search, int64_t x, int64_t y) {
    const Image &moving = search.moving, &fixed = search.fixed;
    return findOverlap(moving, fixed, x + moving.originX - fixed.originX, y + moving.originY - fixed.originY);
}

// The facing rows of a placement, row being one of moving; false when fixed has no such row.
bool findFacingRows(const ShiftSearch& search, const Overlap& overlap, int64_t row, const Pixel*& a, const Pixel*& b) {
    const int64_t v = row - overlap.aY;
    if (v < 0 || v >= overlap.height) return false;
    a = rowOf(search.moving, row) + overlap.aX;
    b = rowOf(search.fixed, overlap.bY + v) + overlap.bX;
    return true;
}

float scoreExactly(const ShiftSearch& search, const Overlap& overlap) {
    CostSum sum;
    for (const int64_t row : search.dataRows) {
        const Pixel *a, *b;
        if (findFacingRows(search, overlap, row, a, b)) addPairs(sum, a, b, static_cast<size_t>(overlap.width));
    }
    const auto top = static_cast<size_t>(overlap.aY), bottom = static_cast<size_t>(overlap.aY + overlap.height);
    addMaskedPairs(sum, (search.maskedRowsTo[bottom] - search.maskedRowsTo[top]) * overlap.width);
    return computeScore(sum, overlap.width * overlap.height);
}

bool hasLost(const Candidate& candidate) {
    return candidate.sum > candidate.largestSum;
}

// What the shifts let moving face in fixed.
Area findReach(const ShiftSearch& search) {
    const Image &moving = search.moving, &fixed = search.fixed;
    const int64_t offsetX = int64_t{moving.originX} - fixed.originX, offsetY = int64_t{moving.originY} - fixed.originY;
    return {.left = std::max<int64_t>(0, -(search.x.at(search.x.last) + offsetX)),
            .right = std::min<int64_t>(fixed.width, moving.width - search.x.at(search.x.first) - offsetX),
            .top = std::max<int64_t>(0, -(search.y.at(search.y.last) + offsetY)),
            .bottom = std::min<int64_t>(fixed.height, moving.height - search.y.at(search.y.first) - offsetY)};
}

// Of the candidates of one y, those that the boxes leave a chance.
void dropByBoxes(const ShiftSearch& search, std::vector<Candidate>& candidates, std::vector<float>& limits,
                 std::vector<float>& bounds) {
    // As x grows, moving faces what lies further to the left.
    limits.clear();
    for (size_t i = candidates.size(); i-- > 0;) limits.push_back(static_cast<float>(candidates[i].largestSum));
    const Overlap& last = candidates.back().overlap;
    boundPlacements(search.boxes, {.firstX = last.bX - last.aX, .y = last.bY - last.aY, .step = search.x.step}, limits,
                    bounds);
    size_t k = limits.size();
    std::erase_if(candidates, [&](const Candidate&) {
        --k;
        return bounds[k] > limits[k] * boxMargin;
    });
}

// The facing pixels of a segment at a placement; false where it lies not wholly in the overlap. A segment of fixed that
// faces a telling one of moving is left out: its pairs count already.
bool findFacingSegment(const ShiftSearch& search, const Overlap& overlap, const Segment& segment, const Pixel*& a,
                       const Pixel*& b) {
    const int64_t fromA = segment.ofMoving ? 0 : overlap.aX - overlap.bX, fromB = fromA + overlap.bX - overlap.aX;
    const int64_t x = segment.x + fromA;
    const int64_t y = segment.y + (segment.ofMoving ? 0 : overlap.aY - overlap.bY);
    if (x < overlap.aX || x + segmentLength > overlap.aX + overlap.width) return false;
    if (y < overlap.aY || y >= overlap.aY + overlap.height) return false;
    if (!segment.ofMoving && countsAlready(search.telling, x, y)) return false;
    a = rowOf(search.moving, y) + x;
    b = rowOf(search.fixed, y - overlap.aY + overlap.bY) + segment.x + fromB;
    return true;
}

// Of the candidates of one y, those that the telling segments leave a chance.
void dropBySegments(const ShiftSearch& search, std::vector<Candidate>& candidates) {
    const EstimateRow estimateRow = rowKernel().estimateRow;
    for (const Segment& segment : search.telling.segments) {
        for (Candidate& candidate : candidates) {
            const Pixel *a, *b;
            if (findFacingSegment(search, candidate.overlap, segment, a, b)) {
                candidate.sum += estimateRow(a, b, segmentLength);
            }
        }
        std::erase_if(candidates, hasLost);
        if (candidates.empty()) return;
    }
    for (Candidate& candidate : candidates) candidate.sum = 0.0;  // whole rows begin anew
}

// Those that may score as low as the ceiling.
void dropByRows(const ShiftSearch& search, std::vector<Candidate>& candidates) {
    const EstimateRow estimateRow = rowKernel().estimateRow;
    for (const int64_t row : search.dataRows) {
        for (Candidate& candidate : candidates) {
            const Pixel *a, *b;
            if (!findFacingRows(search, candidate.overlap, row, a, b)) continue;
            candidate.sum += estimateRow(a, b, static_cast<size_t>(candidate.overlap.width));
        }
        std::erase_if(candidates, hasLost);
        if (candidates.empty()) return;
    }
}

void takeBetter(ShiftMatch& best, bool& found, float score, int64_t x, int64_t y) {
    const bool earlier = x < best.x || (x == best.x && y < best.y);
    if (score < best.score || (score == best.score && found && earlier)) {
        best = {score, static_cast<int32_t>(x), static_cast<int32_t>(y)};
        found = true;
    }
}

// Placements without a facing pair all score the same: only the first of them in the order of the search counts.
void tryFirstWithoutOverlap(const ShiftSearch& search, ShiftMatch& best, bool& found) {
    const AxisRange &x = search.x, &y = search.y;
    if (x.count == 0 || y.count == 0) return;
    int64_t i = 0, j = 0;
    if (x.overlapsAtFirst() && y.overlapsAtFirst()) {
        if (y.last + 1 < y.count) {
            j = y.last + 1;
        } else if (x.last + 1 < x.count) {
            i = x.last + 1;
        } else {
            return;
        }
    }
    takeBetter(best, found, scoreWithoutPairs, x.at(i), y.at(j));
}

// About the mean cost of a placement, from the rows that tell most.
float glance(const ShiftSearch& search, const Overlap& overlap) {
    constexpr size_t rowsToGlanceAt = 24;
    double sum = 0.0;
    int64_t pairs = 0;
    for (const int64_t row : std::span(search.dataRows).first(std::min(rowsToGlanceAt, search.dataRows.size()))) {
        const Pixel *a, *b;
        if (!findFacingRows(search, overlap, row, a, b)) continue;
        sum += rowKernel().estimateRow(a, b, static_cast<size_t>(overlap.width));
        pairs += overlap.width;
    }
    return pairs == 0 ? HUGE_VALF : static_cast<float>(sum / static_cast<double>(pairs));
}

}  // namespace

bool searchShift(const Image& moving, const Image& fixed, const ShiftRange& range, float ceiling, ShiftMatch& best) {
    ShiftSearch search = prepareSearch(moving, fixed, range);
    if (!search.dataRows.empty()) {
        const Area reach = findReach(search);
        search.telling = listTellingSegments(moving, search.dataRows, fixed, reach);
        if (search.telling.segments.empty()) {
            const bool evenRowsOnly =
                std::all_of(search.dataRows.begin(), search.dataRows.end(), [](int64_t y) { return y % 2 == 0; });
            search.boxes = prepareBoxes(moving, fixed, reach, evenRowsOnly ? 2 : 1);
        }
    }
    bool found = false;
    tryFirstWithoutOverlap(search, best, found);
    std::vector<Candidate> candidates;
    std::vector<float> limits, bounds;
    for (int64_t j = search.y.first; j <= search.y.last; ++j) {
        const int64_t y = search.y.at(j);
        candidates.clear();
        for (int64_t i = search.x.first; i <= search.x.last; ++i) {
            const int64_t x = search.x.at(i);
            const Overlap overlap = overlapAt(search, x, y);
            const double largestMean = static_cast<double>(std::min(ceiling, best.score)) * estimateMargin;
            const double pairs = static_cast<double>(overlap.width) * static_cast<double>(overlap.height);
            candidates.push_back({.x = x, .overlap = overlap, .largestSum = largestMean * pairs, .sum = 0.0});
        }
        if (!search.boxes.boxes.empty()) dropByBoxes(search, candidates, limits, bounds);
        dropBySegments(search, candidates);
        dropByRows(search, candidates);
        for (const Candidate& candidate : candidates) {
            takeBetter(best, found, scoreExactly(search, candidate.overlap), candidate.x, y);
        }
    }
    return found;
}

ShiftMatch guessShift(const Image& moving, const Image& fixed, const ShiftRange& range, const ShiftMatch& start) {
    const ShiftSearch search = prepareSearch(moving, fixed, range);
    const AxisRange &x = search.x, &y = search.y;
    ShiftMatch guess = {HUGE_VALF, start.x, start.y};
    if (x.first > x.last || y.first > y.last) return guess;
    int64_t centreI = std::clamp((start.x - x.min) / x.step, x.first, x.last);
    int64_t centreJ = std::clamp((start.y - y.min) / y.step, y.first, y.last);
    constexpr std::array<std::array<int64_t, 2>, 5> moves = {{{0, 0}, {-1, 0}, {1, 0}, {0, -1}, {0, 1}}};
    for (int64_t stride = 8; stride > 0; stride /= 2) {  // in candidates
        for (bool better = true; better;) {
            better = false;
            const int64_t fromI = centreI, fromJ = centreJ;
            for (const auto& [di, dj] : moves) {
                const int64_t i = std::clamp(fromI + di * stride, x.first, x.last);
                const int64_t j = std::clamp(fromJ + dj * stride, y.first, y.last);
                const float score = glance(search, overlapAt(search, x.at(i), y.at(j)));
                if (score >= guess.score) continue;
                guess = {score, static_cast<int32_t>(x.at(i)), static_cast<int32_t>(y.at(j))};
                centreI = i;
                centreJ = j;
                better = true;
            }
        }
    }
    guess.score = scoreExactly(search, overlapAt(search, x.at(centreI), y.at(centreJ)));
    guess.x = static_cast<int32_t>(x.at(centreI));
    guess.y = static_cast<int32_t>(y.at(centreJ));
    return guess;
}
