#include <sys/mman.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <vector>

#include "align/blocks/row/column_bounds.h"
#include "align/measure/pair_cost.h"
#include "align/sampling/row_sampling.h"
#include "core/vector_level.h"
#include "imageio/pixel_packing.h"
#include "plain/plain.h"
#include "scenes.h"

namespace {

constexpr int32_t largestCount = 67;  // every remainder of sixteen, and several steps
// About the lengths after which estimates start a new sum.
constexpr int32_t longCounts[] = {511, 512, 513, 1023, 1024, 1025, 1100, 2051};

// Room for count pixels at one end of memory between two unmapped pages: a pixel too far crashes.
Pixel* takeGuarded(size_t slot, size_t count, bool atEnd) {
    constexpr size_t page = 4096, inside = 4 * page;
    static char* starts[6];
    if (starts[slot] == nullptr) {
        void* all = mmap(nullptr, inside + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        starts[slot] = static_cast<char*>(all) + page;
        mprotect(starts[slot], inside, PROT_READ | PROT_WRITE);
    }
    return reinterpret_cast<Pixel*>(starts[slot] + (atEnd ? inside - count * sizeof(Pixel) : 0));
}

Image moveToGuarded(size_t slot, Image image, bool atEnd) {
    Pixel* pixels = takeGuarded(slot, countPixels(image), atEnd);
    std::copy_n(image.pixels, countPixels(image), pixels);
    image.pixels = pixels;
    return image;
}

TEST(RowKernels, GiveTheExactSum) {
    Random random(2);
    constexpr int32_t counts = largestCount + 1 + static_cast<int32_t>(std::size(longCounts));
    for (int round = 0; round < fillCount * 4 * 2 * counts; ++round) {
        const auto fill = static_cast<Fill>(round % fillCount);
        const auto mask = static_cast<Mask>(round / fillCount % 4);
        const bool atEnd = round / fillCount / 4 % 2 == 0;
        const int32_t at = round / fillCount / 8, count = at <= largestCount ? at : longCounts[at - largestCount - 1];
        const Image a = moveToGuarded(0, makeScene(random, fill, mask, false, count, 1), atEnd);
        const Image b = moveToGuarded(1, makeScene(random, fill, Mask::scattered, true, count, 1), atEnd);
        long double exactSum = 0;  // wide enough
        int64_t masked = 0;
        for (int32_t i = 0; i < count; ++i) {
            const bool bothHaveData = a.pixels[i].weight != 0 && b.pixels[i].weight != 0;
            if (bothHaveData) exactSum += static_cast<long double>(plain::computePairCost(a.pixels[i], b.pixels[i]));
            masked += !bothHaveData;
        }
        const auto sum = static_cast<double>(exactSum), slack = sum < exactSumLimit ? 0.0 : sum * 0x1p-45;
        for (const VectorLevel level : listVectorLevels()) {
            setVectorLevel(level);
            const RowKernel& kernel = rowKernel();
            const auto trial = testing::Message() << nameOf(level) << ", round " << round << ", " << count << " pairs";
            const RowCost cost = kernel.sumRow(a.pixels, b.pixels, countPixels(a));
            EXPECT_EQ(cost.maskedPairs, masked) << trial;
            EXPECT_NEAR(cost.sum, sum, slack) << trial;
            EXPECT_NEAR(kernel.estimateRow(a.pixels, b.pixels, countPixels(a)), sum, sum * estimateError) << trial;
        }
    }
}

// Sums of (d + 127)^2 for d of pixels with green and red clipped, by the definition of d, and as bounds of the costs.
TEST(ColumnKernels, SumTheSquaresThatBoundTheCosts) {
    Random random(21);
    constexpr int32_t lanes = MovingPixels::count, rows = 17, shifts = 19, height = rows + shifts - 1;
    const auto clip = [](Pixel p) -> Pixel {
        return {p.blue, std::clamp<uint8_t>(p.green, 96, 159), std::clamp<uint8_t>(p.red, 96, 159), 255};
    };
    for (int round = 0; round < 2 * fillCount; ++round) {
        const Fill fill = static_cast<Fill>(round / 2);
        const Image a = moveToGuarded(0, makeScene(random, fill, Mask::scattered, false, lanes, rows), true);
        const Image b = makeScene(random, static_cast<Fill>(round / 2), Mask::patch, true, lanes, height);
        if (round % 2 == 1)
            for (size_t i = 0; i < countPixels(b); ++i) b.pixels[i].green = b.pixels[i].red = uint8_t(127 + i % 3);
        for (const VectorLevel level : listVectorLevels()) {
            setVectorLevel(level);
            const ColumnKernel& kernel = columnKernel();
            std::vector<uint32_t> factors(countPixels(a));
            std::vector<int32_t> norms(countPixels(a)), table;
            std::vector<MovingPixels> moving(height);
            const auto first = static_cast<size_t>(round) % 21;  // in two parts, neither of whole steps
            kernel.prepareStill(a.pixels, first, factors.data(), norms.data());
            kernel.prepareStill(a.pixels + first, countPixels(a) - first, factors.data() + first, norms.data() + first);
            for (int32_t y = 0; y < height; ++y) kernel.prepareMoving(rowOf(b, y), lanes, &moving[size_t(y)], 1);
            for (int32_t y = 0; y < rows; ++y)
                for (int32_t s = 0; s < shifts; ++s) table.push_back(y + s);
            std::vector<int32_t> runs;  // broken off at some shifts, as fractions do
            for (int32_t s = 0; s < rows / int32_t{runRows} * shifts; ++s) runs.push_back(round % 3 * (14 - s % 14));
            for (int32_t& run : runs) run = std::min(run, shifts - static_cast<int32_t>(&run - runs.data()) % shifts);
            std::vector<float> sums(shifts * lanes), totals(shifts, 1.0f);
            kernel.sumColumns(
                {factors.data(), norms.data(), lanes, rows, moving.data(), table.data(), runs.data(), shifts},
                sums.data(), lanes);
            kernel.addRuns(sums.data(), lanes, lanes - 3, totals.data(), shifts);
            for (int32_t s = 0; s < shifts; ++s) {
                double squares = 0.0, cost = 0.0;
                for (int32_t i = 0; i < rows * (lanes - 3); ++i) {
                    const Pixel p = rowOf(a, i / (lanes - 3))[i % (lanes - 3)];
                    const Pixel q = rowOf(b, i / (lanes - 3) + s)[i % (lanes - 3)], u = clip(p), v = clip(q);
                    const int blue = u.blue - v.blue, green = u.green - v.green, red = u.red - v.red;
                    const bool bothHaveData = p.weight != 0 && q.weight != 0;
                    const int d = bothHaveData ? blue * blue + 4 * (green * green + red * red) : 0;
                    squares += std::pow(d + 127, 2);
                    cost += bothHaveData ? static_cast<double>(plain::computePairCost(p, q)) : 0.0;
                }
                const auto total = static_cast<double>(totals[size_t(s)]);
                EXPECT_NEAR(total, squares + 1, squares * 0x1p-16) << nameOf(level) << ", round " << round;
                EXPECT_LE(total, findSquaresLimit(cost, rows * (lanes - 3))) << nameOf(level) << ", round " << round;
            }
        }
    }
}

TEST(SamplingKernels, GiveThePlainBytes) {
    Random random(3);
    constexpr float strange[] = {-0.0f, -1e-30f, -0.5f, -1.0f, NAN, INFINITY, -INFINITY, 3e9f, -3e9f, 1e30f};
    for (int round = 0; round < 40 * (largestCount + 1); ++round) {
        const int32_t count = round / 40, width = pick(random, 1, 1 + round % 30 * 2), height = pick(random, 1, 50);
        const Image scene = makeScene(random, Fill::noise, Mask::scattered, true, width, height);
        const Image source = moveToGuarded(0, scene, round % 2 == 0);
        float* x = reinterpret_cast<float*>(takeGuarded(1, static_cast<size_t>(count), true));
        float* y = reinterpret_cast<float*>(takeGuarded(2, static_cast<size_t>(count), true));
        auto* columns = reinterpret_cast<int32_t*>(takeGuarded(3, static_cast<size_t>(count), true));
        float* fractions = reinterpret_cast<float*>(takeGuarded(5, static_cast<size_t>(count), true));
        const auto cut = [](float position) { return std::abs(position) < 1e9f ? static_cast<int64_t>(position) : -1; };
        const auto offset = [&](int32_t side) { return static_cast<float>(pick(random, -128, 64 * side)) / 64; };
        const float angle = static_cast<float>(pick(random, -20, 20)) / (round % 3 == 0 ? 7.0f : 500.0f);
        TurnedRow turned = {std::cos(angle), std::sin(angle), offset(width), offset(height), pick(random, -9, 3)};
        if (round % 4 == 0) {  // one that ends in the bottom right corner, where fewer columns lie than a step is long
            const auto last = static_cast<float>(turned.firstU + count - 1);
            turned.cosA = 0.8f;
            turned.sinA = 0.0f;
            turned.startX = static_cast<float>(width) - 0.5f - 0.8f * last;
            turned.startY = static_cast<float>(height - 1 - round / 4 % 2) + 0.5f;
        }
        if (round % 9 == 0) turned.startX = strange[pick(random, 0, 9)];
        if (round % 9 == 1) turned.sinA = strange[pick(random, 4, 9)];
        const int32_t y0 = pick(random, -1, height), step = pick(random, 1, 3);
        const float fraction = static_cast<float>(pick(random, -7, 7)) / 8;
        const Image row = moveToGuarded(4, keep(makeImage(count, 1)), true);
        const Image atPositions = keep(copyImage(row)), onLine = keep(copyImage(row)),
                    atFractions = keep(copyImage(row));
        for (int32_t i = 0; i < count; ++i) {
            const auto u = static_cast<float>(turned.firstU + i);
            const float turnedX = turned.cosA * u + turned.startX, turnedY = turned.sinA * u + turned.startY;
            x[i] = round % 5 == 0 ? offset(width) : turnedX;
            y[i] = round % 5 == 0 ? offset(height) : turnedY;
            if (round % 7 == 0 && i % 5 == 0) x[i] = strange[pick(random, 0, 9)];
            if (round % 7 == 0 && i % 5 == 1) y[i] = strange[pick(random, 0, 9)];
            columns[i] = i * step - pick(random, 0, 2);
            fractions[i] = static_cast<float>(pick(random, -7, 7)) / 8;
            atFractions.pixels[i] = plain::samplePixel(source, columns[i], y0, fractions[i], fraction);
            atPositions.pixels[i] = plain::samplePosition(source, x[i], y[i]);
            onLine.pixels[i] = plain::samplePixel(source, cut(turnedX), cut(turnedY), 0, 0);
        }
        for (const VectorLevel level : listVectorLevels()) {
            setVectorLevel(level);
            const SamplingKernel& kernel = samplingKernel();
            const auto trial = testing::Message() << nameOf(level) << ", round " << round << ", " << count
                                                  << " pixels of " << describe(source);
            kernel.samplePositions(source, x, y, row.pixels, countPixels(row));
            EXPECT_TRUE(sameImage(row, atPositions)) << trial;
            kernel.sampleTurnedRow(source, turned, row.pixels, countPixels(row));
            EXPECT_TRUE(sameImage(row, onLine)) << trial << ", turned";
            kernel.sampleFractions(source, columns, fractions, y0, fraction, row.pixels, countPixels(row));
            EXPECT_TRUE(sameImage(row, atFractions)) << trial << ", fractions";
        }
    }
}

TEST(PackingKernels, MoveTheThreeColours) {
    Random random(15);
    for (int32_t count = 0; count <= largestCount; ++count) {
        const Image scene = makeScene(random, Fill::noise, Mask::scattered, false, count, 1);
        const Image row = moveToGuarded(0, scene, true);
        auto* bytes = reinterpret_cast<uint8_t*>(takeGuarded(2, 0, true)) - 3 * count;
        std::vector<uint8_t> colours;
        for (int32_t i = 0; i < count; ++i) {
            Pixel& pixel = scene.pixels[i];
            colours.insert(colours.end(), {pixel.blue, pixel.green, pixel.red});
            pixel.weight = 255;
        }
        for (const VectorLevel level : listVectorLevels()) {
            setVectorLevel(level);
            const PackingKernel& kernel = packingKernel();
            std::fill_n(bytes, colours.size(), uint8_t{0});
            kernel.packPixels(row.pixels, bytes, countPixels(row));
            EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 3 * count), colours) << nameOf(level);
            for (size_t beside = 0; beside < 16; ++beside) {  // rows start anywhere in a line of the cache
                Image back = scene;
                back.pixels = takeGuarded(1, countPixels(scene) + beside, true);
                kernel.expandPixels(bytes, back.pixels, countPixels(back));
                EXPECT_TRUE(sameImage(back, scene)) << nameOf(level) << ", " << count << " pixels, " << beside;
            }
        }
    }
}

}  // namespace
