#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "align/blocks/row/column_bounds.h"
#include "align/measure/pair_cost.h"
#include "align/sampling/row_sampling.h"
#include "benches.h"
#include "composite/row_accumulation.h"
#include "core/vector_level.h"
#include "imageio/pixel_packing.h"
#include "measure.h"
#include "scenes.h"

namespace {

constexpr int32_t width = 2000, height = 66;
constexpr size_t count = width;
constexpr size_t roundCount = 9;

// One calculation, as done at the level in use, and one number that all levels must agree on to within a part of it.
struct Kernel {
    const char* what;
    size_t pixels;  // of one call
    std::function<void()> work;
    std::function<double()> result;
    double slack;
};

double hashBytes(const void* data, size_t size) {
    return static_cast<double>(std::hash<std::string_view>{}({static_cast<const char*>(data), size}) >> 12);
}

double timeCalls(const Kernel& kernel, size_t calls) {
    const std::clock_t start = std::clock();
    for (size_t i = 0; i < calls; ++i) kernel.work();
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

// Nanoseconds of processor time a pixel at each level, which take turns; medians.
void benchKernel(const Kernel& kernel) {
    const auto levels = listVectorLevels();
    constexpr double enoughSeconds = 0.004;
    std::vector<std::vector<double>> times(levels.size());
    std::vector<size_t> calls(levels.size(), 1);
    double expected = 0.0;
    for (size_t at = 0; at < levels.size(); ++at) {
        setVectorLevel(levels[at]);
        while (timeCalls(kernel, calls[at]) < enoughSeconds) calls[at] *= 2;
        const double result = kernel.result();
        if (at == 0) expected = result;
        expectEqual(kernel.what, std::abs(result - expected) <= std::abs(expected) * kernel.slack);
    }
    for (size_t round = 0; round < roundCount; ++round) {
        for (size_t at = 0; at < levels.size(); ++at) {
            setVectorLevel(levels[at]);
            times[at].push_back(timeCalls(kernel, calls[at]) * 1e9 / static_cast<double>(calls[at] * kernel.pixels));
        }
    }
    std::printf("%-36s", kernel.what);
    double plain = 0.0;
    for (size_t at = 0; at < levels.size(); ++at) {
        std::nth_element(times[at].begin(), times[at].begin() + roundCount / 2, times[at].end());
        const double median = times[at][roundCount / 2];
        if (at == 0) plain = median;
        std::printf("  %8.3f ns %6.2f x", median, plain / median);
    }
    std::printf("\n");
    std::fflush(stdout);
}

void printLevels() {
    std::printf("%-36s", "kernels, a pixel");
    for (const VectorLevel level : listVectorLevels()) std::printf("  %20s", nameOf(level));
    std::printf("\n");
}

void benchRowCosts(const Image& a, const Image& b) {
    RowCost cost;
    double estimate = 0.0;
    benchKernel({"row cost", count, [&] { cost = rowKernel().sumRow(a.pixels, b.pixels, count); },
                 [&] { return cost.sum + static_cast<double>(cost.maskedPairs); }, 0.0});
    benchKernel({"row estimate", count, [&] { estimate = rowKernel().estimateRow(a.pixels, b.pixels, count); },
                 [&] { return estimate; }, 2 * estimateError});
}

// Blocks of 33 rows at 17 shifts downward, as the local stage lays them out.
void benchColumnBounds(const Image& a, const Image& b) {
    constexpr size_t rows = 33, shifts = 17, groups = count / MovingPixels::count, run = 33;
    std::vector<uint32_t> factors(countPixels(a));
    std::vector<int32_t> norms(countPixels(a)), movingRows, runs;
    std::vector<MovingPixels> moving(groups * height);
    std::vector<float> sums(shifts * count), totals;
    for (size_t y = 0; y < rows; ++y) {
        for (size_t s = 0; s < shifts; ++s) movingRows.push_back(static_cast<int32_t>(y + s));
    }
    for (size_t y = 0; y + runRows <= rows; y += runRows) {
        for (size_t s = 0; s < shifts; ++s) runs.push_back(static_cast<int32_t>(shifts - s));
    }
    const auto prepareStill = [&] {
        columnKernel().prepareStill(a.pixels, countPixels(a), factors.data(), norms.data());
    };
    const auto prepareMoving = [&] {
        for (int32_t y = 0; y < height; ++y) {
            columnKernel().prepareMoving(rowOf(b, y), count, moving.data() + y, height);
        }
    };
    const auto sumColumns = [&] {
        for (size_t group = 0; group < groups; ++group) {
            const size_t at = group * MovingPixels::count;
            columnKernel().sumColumns({factors.data() + at, norms.data() + at, count, rows,
                                       moving.data() + group * height, movingRows.data(), runs.data(), shifts},
                                      sums.data() + at, count);
        }
    };
    const auto addRuns = [&] {
        totals.assign(shifts, 0.0f);
        for (size_t at = 0; at + run <= count; at += run) {
            columnKernel().addRuns(sums.data() + at, count, run, totals.data(), shifts);
        }
    };
    // Levels may prepare pixels each in their own way: their sums must agree.
    const auto addAll = [&] {
        prepareStill();
        prepareMoving();
        sumColumns();
        addRuns();
        double all = 0.0;
        for (const float total : totals) all += static_cast<double>(total);
        return all;
    };
    constexpr double rounding = 0x1p-14;
    benchKernel({"column bounds, still pixels", countPixels(a), prepareStill, addAll, rounding});
    benchKernel({"column bounds, moving pixels", countPixels(b), prepareMoving, addAll, rounding});
    benchKernel({"column bounds, sums, a pair", rows * shifts * count, sumColumns, addAll, rounding});
    benchKernel({"column bounds, runs, a column", shifts * count, addRuns, addAll, rounding});
}

void benchSampling(const Image& source, float angle) {
    const TurnedRow turned = {std::cos(angle), std::sin(angle), 3.25f, 4.75f, 0};
    std::vector<float> x(count), y(count), fractions(count, 0.3f);
    std::vector<int32_t> columns(count);
    std::vector<Pixel> row(count);
    for (int32_t i = 0; i < width; ++i) {
        const auto at = static_cast<size_t>(i), inside = std::min(at, count - 6);
        x[at] = turned.cosA * static_cast<float>(inside) + turned.startX;
        y[at] = turned.sinA * static_cast<float>(inside) + turned.startY;
        columns[at] = static_cast<int32_t>(inside);
    }
    const auto hashRow = [&] { return hashBytes(row.data(), count * sizeof(Pixel)); };
    benchKernel({"sampling at positions", count,
                 [&] { samplingKernel().samplePositions(source, x.data(), y.data(), row.data(), count); }, hashRow,
                 0.0});
    benchKernel({"sampling at fractions", count,
                 [&] {
                     samplingKernel().sampleFractions(source, columns.data(), fractions.data(), 7, 0.7f, row.data(),
                                                      count);
                 },
                 hashRow, 0.0});
    benchKernel({"sampling a turned row", count,
                 [&] { samplingKernel().sampleTurnedRow(source, turned, row.data(), count); }, hashRow, 0.0});
}

void benchRowsOfFiles(const Image& source) {
    std::vector<uint8_t> bytes(3 * count);
    std::vector<Pixel> row(count);
    benchKernel({"pixels to bytes", count, [&] { packingKernel().packPixels(source.pixels, bytes.data(), count); },
                 [&] { return hashBytes(bytes.data(), bytes.size()); }, 0.0});
    benchKernel({"bytes to pixels", count, [&] { packingKernel().expandPixels(bytes.data(), row.data(), count); },
                 [&] { return hashBytes(row.data(), count * sizeof(Pixel)); }, 0.0});
    std::vector<CompositeSum> sums(count);
    const auto accumulate = [&] { accumulationKernel().accumulateRow(sums.data(), source.pixels, count); };
    benchKernel({"accumulation", count, accumulate,
                 [&] {
                     std::fill(sums.begin(), sums.end(), CompositeSum{});
                     accumulate();
                     return hashBytes(sums.data(), count * sizeof(CompositeSum));
                 },
                 0.0});
}

}  // namespace

void benchKernels() {
    const size_t levelInUse = vectorLevelIndex();
    printLevels();
    Image a = makePlanet(width, height, {}, 2), b = makePlanet(width, height, {0.0, 1.0, -1.0}, 3);
    std::mt19937 random(4);
    for (size_t i = 0; i < countPixels(a); i += 1 + random() % 64) a.pixels[i].weight = static_cast<uint8_t>(random());
    benchRowCosts(a, b);
    benchColumnBounds(a, b);
    benchSampling(a, 0.02f);
    benchRowsOfFiles(a);
    releaseImage(a);
    releaseImage(b);
    setVectorLevel(listVectorLevels()[levelInUse]);
}
