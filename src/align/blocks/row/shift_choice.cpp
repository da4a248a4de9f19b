#include "align/blocks/row/shift_choice.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
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
        mixingKernel().mixAcross(from, width, across.fraction, n, work.mixes.data() + row * mixesPerRow);
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
    work.mixes.resize(static_cast<size_t>((plan.size + 1) * plan.size) * sizeof(Pixel));
    work.lower.resize(pairs);
    work.upper.resize(pairs);
    for (int64_t b = 0; b < group.count; ++b) {
        cutBlock(group.still, group.stillX + b * group.spacing, group.stillY, plan.size, work.still.data());
        matches[b] =
            chooseShift(work, plan, group, group.movingX + b * group.spacing,
                        std::span(bounds.squares).subspan(static_cast<size_t>(b) * count, count), bounds.downPlaces);
    }
}
