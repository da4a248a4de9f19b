#include "align/blocks/row/shift_choice.h"

#include <algorithm>
#include <cstddef>
#include <span>

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

// The score of the block whose corner in the moving picture is at column x.
float scoreShift(ScoringWork& work, const SearchPlan& plan, const BlockGroup& group, int64_t x, const AxisShift& across,
                 const AxisShift& down) {
    if (plan.sampled) {
        sampleBlock(work, plan, group, x, across, down);
    } else {
        cutBlock(group.moving, x + across.behind.index, group.movingY + down.behind.index, plan.size,
                 work.candidate.data());
    }
    CostSum sum;
    addPairs(sum, work.still.data(), work.candidate.data(), work.still.size());
    return computeScore(sum, plan.size * plan.size);
}

BlockMatch chooseShift(ScoringWork& work, const SearchPlan& plan, const BlockGroup& group, int64_t x,
                       std::span<const float> squares, const std::vector<size_t>& downPlaces) {
    const std::vector<AxisShift>&across = plan.across.shifts, &down = plan.down.shifts;
    const int64_t pairs = plan.size * plan.size;
    const auto limitSquares = [pairs](float score) {
        return findSquaresLimit(static_cast<double>(score) * static_cast<double>(pairs), pairs);
    };
    const auto likely = static_cast<size_t>(std::min_element(squares.begin(), squares.end()) - squares.begin());
    const auto likelyDown =
        static_cast<size_t>(std::find(downPlaces.begin(), downPlaces.end(), likely % down.size()) - downPlaces.begin());
    float ceiling = scoreShift(work, plan, group, x, across[likely / down.size()], down[likelyDown]);
    const float likelyScore = ceiling;
    double squaresLimit = limitSquares(ceiling);
    BlockMatch best = noBlockMatch;
    for (size_t i = 0; i < across.size(); ++i) {
        for (size_t j = 0; j < down.size(); ++j) {
            const size_t entry = i * down.size() + downPlaces[j];
            if (static_cast<double>(squares[entry]) > squaresLimit) continue;
            const float score = entry == likely ? likelyScore : scoreShift(work, plan, group, x, across[i], down[j]);
            takeBetter(best, score, across[i].shift, down[j].shift);
            if (best.score == 0.0f) return best;  // nothing scores lower
            if (best.score >= ceiling) continue;
            ceiling = best.score;
            squaresLimit = limitSquares(ceiling);
        }
    }
    return best;
}

}  // namespace

void chooseShifts(ScoringWork& work, const SearchPlan& plan, const BlockGroup& group, const GroupBounds& bounds,
                  BlockMatch* matches) {
    const size_t count = plan.across.shifts.size() * plan.down.shifts.size();
    const auto pairs = static_cast<size_t>(plan.size * plan.size);
    work.still.resize(pairs);
    work.candidate.resize(pairs + static_cast<size_t>(plan.samplesPerBlock));
    work.columns.resize(static_cast<size_t>(plan.samplesPerBlock));
    for (int64_t b = 0; b < group.count; ++b) {
        cutBlock(group.still, group.stillX + b * group.spacing, group.stillY, plan.size, work.still.data());
        matches[b] =
            chooseShift(work, plan, group, group.movingX + b * group.spacing,
                        std::span(bounds.squares).subspan(static_cast<size_t>(b) * count, count), bounds.downPlaces);
    }
}
