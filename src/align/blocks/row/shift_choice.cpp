#include "align/blocks/row/shift_choice.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <limits>
#include <span>

#include "align/blocks/row/level_mixing.h"
#include "align/measure/difference.h"
#include "align/sampling/row_sampling.h"

namespace {

// Cuts the block at (x, y) from a picture.
void cutBlock(const Image& image, int64_t x, int64_t y, int64_t size, Pixel* to) {
    for (int64_t row = 0; row < size; ++row, to += size) std::copy_n(rowOf(image, y + row) + x, size, to);
}

// Samples the block as the definition says. Each row is followed by some more samples, which the next row replaces.
void sampleBlock(ScoringWork& work, const SearchPlan& plan, const BlockGroup& group, int64_t x, const AxisShift& across,
                 const AxisShift& down) {
    const auto count = static_cast<size_t>(plan.samplesPerBlock);
    for (size_t i = 0; i < count; ++i) {
        work.columns[i] = static_cast<int32_t>(x + across.samples.position[i]);
    }
    for (size_t row = 0; row < static_cast<size_t>(plan.size); ++row) {
        samplingKernel().sampleFractions(group.moving, work.columns.data(), across.samples.fraction.data(),
                                         static_cast<int32_t>(group.movingY + down.samples.position[row]),
                                         down.samples.fraction[row],
                                         work.candidate.data() + row * static_cast<size_t>(plan.size), count);
    }
}

// Mixes the part of a block where two pieces meet from multiples of 1/n; false where a level is not known.
bool mixPiece(ScoringWork& work, const SearchPlan& plan, const BlockGroup& group, int64_t x, const AxisPiece& across,
              const AxisPiece& down) {
    const int32_t n = plan.fractionsPerPixel;
    const auto width = static_cast<size_t>(across.count), height = static_cast<size_t>(down.count);
    const size_t mixesPerRow = width * sizeof(Pixel);
    for (size_t row = 0; row <= height; ++row) {
        const Pixel* from =
            rowOf(group.moving, group.movingY + down.index + static_cast<int64_t>(row)) + x + across.index;
        mixingKernel().mixAcross(from, from + 1, width, across.fraction, n, work.mixes.data() + row * mixesPerRow);
    }
    const bool inside = across.fraction >= 0 && down.fraction >= 0;
    mixingKernel().mixDown(work.mixes.data(), work.mixes.data() + mixesPerRow, height * mixesPerRow,
                           {.fraction = down.fraction, .n = n, .exact = true, .inside = inside},
                           reinterpret_cast<uint8_t*>(work.lower.data()),
                           reinterpret_cast<uint8_t*>(work.upper.data()));
    if (!inside && std::memcmp(work.lower.data(), work.upper.data(), height * width * sizeof(Pixel)) != 0) return false;
    for (size_t row = 0; row < height; ++row) {
        const auto to = static_cast<size_t>((down.first + static_cast<int64_t>(row)) * plan.size + across.first);
        std::copy_n(work.lower.data() + row * width, width, work.candidate.data() + to);
    }
    return true;
}

// Samples the block in whole numbers where these are what the definition gives; false where they are not.
bool mixBlock(ScoringWork& work, const SearchPlan& plan, const BlockGroup& group, int64_t x, const AxisShift& across,
              const AxisShift& down) {
    if (!plan.exact || plan.fractionsPerPixel == 1) return false;
    for (const AxisPiece& rows : {down.before, down.behind}) {
        for (const AxisPiece& columns : {across.before, across.behind}) {
            if (rows.count > 0 && columns.count > 0 && !mixPiece(work, plan, group, x, columns, rows)) return false;
        }
    }
    return true;
}

// The score of the block whose corner in the moving picture is at column x.
float scoreShift(ScoringWork& work, const SearchPlan& plan, const BlockGroup& group, int64_t x, const AxisShift& across,
                 const AxisShift& down) {
    if (plan.sampled) {
        if (!mixBlock(work, plan, group, x, across, down)) sampleBlock(work, plan, group, x, across, down);
    } else {
        cutBlock(group.moving, x + across.behind.index, group.movingY + down.behind.index, plan.size,
                 work.candidate.data());
    }
    CostSum sum;
    addPairs(sum, work.still.data(), work.candidate.data(), work.still.size());
    return computeScore(sum, plan.size * plan.size);
}

// A shift by its number in the order of the search, with its score: the lower one is the better one, the earlier one of
// equals.
struct RatedShift {
    float rating;
    size_t number;
    bool operator<(const RatedShift& other) const {
        return rating < other.rating || (rating == other.rating && number < other.number);
    }
};

// The lowest of numbers that are not negative: their bits have the same order, and compare faster.
float findLowest(std::span<const float> numbers) {
    int32_t lowest = std::numeric_limits<int32_t>::max();
    for (const float number : numbers) lowest = std::min(lowest, std::bit_cast<int32_t>(number));
    return std::bit_cast<float>(lowest);
}

// A block and its bounds: those of one shift across follow each other by place down.
struct BoundedBlock {
    const SearchPlan& plan;
    const BlockGroup& group;
    const GroupBounds& bounds;
    int64_t movingX;
    std::span<float> squares;
};

RatedShift rateShift(ScoringWork& work, const BoundedBlock& block, size_t number) {
    const std::vector<AxisShift>&across = block.plan.across.shifts, &down = block.plan.down.shifts;
    return {scoreShift(work, block.plan, block.group, block.movingX, across[number / down.size()],
                       down[number % down.size()]),
            number};
}

// What the squares of a better shift, or of one as good, do not exceed.
double limitSquares(const SearchPlan& plan, const RatedShift& best) {
    const int64_t pairs = plan.size * plan.size;
    return findSquaresLimit(static_cast<double>(best.rating) * static_cast<double>(pairs), pairs);
}

// Rates the shifts that their bounds leave, those with the lowest bounds first, so that few are left, until one is
// known to cost nothing. The bounds of those that are rated are taken away.
RatedShift findLowestShift(ScoringWork& work, const BoundedBlock& block) {
    constexpr float rated = std::numeric_limits<float>::infinity();
    const size_t places = block.plan.down.shifts.size();
    const auto ofRow = [&](size_t row) { return block.squares.subspan(row * places, places); };
    work.lowest.resize(block.plan.across.shifts.size());
    for (size_t row = 0; row < work.lowest.size(); ++row) work.lowest[row] = findLowest(ofRow(row));
    RatedShift best = {rated, 0};
    double limit = rated;
    while (best.rating > 0.0f) {
        const float bound = findLowest(work.lowest);
        if (static_cast<double>(bound) > limit) break;
        const auto row =
            static_cast<size_t>(std::find(work.lowest.begin(), work.lowest.end(), bound) - work.lowest.begin());
        const auto entry = std::find(ofRow(row).begin(), ofRow(row).end(), bound);
        const auto place = static_cast<size_t>(entry - ofRow(row).begin());
        best = std::min(best, rateShift(work, block, row * places + block.bounds.downShifts[place]));
        limit = limitSquares(block.plan, best);
        *entry = rated;
        work.lowest[row] = findLowest(ofRow(row));
    }
    return best;
}

// The first one of the shifts that cost nothing, of which one is known.
RatedShift findFirstWithoutCost(ScoringWork& work, const BoundedBlock& block, const RatedShift& known) {
    const size_t places = block.plan.down.shifts.size();
    const double limit = limitSquares(block.plan, known);
    for (size_t number = 0; number < known.number; ++number) {
        const size_t entry = number - number % places + block.bounds.downPlaces[number % places];
        if (static_cast<double>(block.squares[entry]) > limit) continue;
        const RatedShift shift = rateShift(work, block, number);
        if (shift.rating == 0.0f) return shift;
    }
    return known;
}

BlockMatch chooseShift(ScoringWork& work, const BoundedBlock& block) {
    RatedShift best = findLowestShift(work, block);
    if (best.rating == 0.0f) best = findFirstWithoutCost(work, block, best);
    const size_t places = block.plan.down.shifts.size();
    BlockMatch match = noBlockMatch;
    takeBetter(match, best.rating, block.plan.across.shifts[best.number / places].shift,
               block.plan.down.shifts[best.number % places].shift);
    return match;
}

}  // namespace

void chooseShifts(ScoringWork& work, const SearchPlan& plan, const BlockGroup& group, GroupBounds& bounds,
                  BlockMatch* matches) {
    const size_t count = plan.across.shifts.size() * plan.down.shifts.size();
    const auto pairs = static_cast<size_t>(plan.size * plan.size);
    work.still.resize(pairs);
    work.candidate.resize(pairs + static_cast<size_t>(plan.samplesPerBlock));
    work.columns.resize(static_cast<size_t>(plan.samplesPerBlock));
    work.mixes.resize(static_cast<size_t>((plan.size + 1) * plan.size) * sizeof(Pixel));
    work.lower.resize(pairs);
    work.upper.resize(pairs);
    for (int64_t b = 0; b < group.count; ++b) {
        cutBlock(group.still, group.stillX + b * group.spacing, group.stillY, plan.size, work.still.data());
        matches[b] =
            chooseShift(work, {.plan = plan,
                               .group = group,
                               .bounds = bounds,
                               .movingX = group.movingX + b * group.spacing,
                               .squares = std::span(bounds.squares).subspan(static_cast<size_t>(b) * count, count)});
    }
}
