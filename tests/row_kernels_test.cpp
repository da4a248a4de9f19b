#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cmath>

#include "align/global/pair_cost.h"
#include "align/global/row_sampling.h"
#include "plain/plain.h"
#include "scenes.h"

namespace {

// Memory between two unmapped pages, where one pixel too far on either side crashes: the first or the last count
// pixels.
Pixel* takeGuarded(size_t slot, size_t count, bool atEnd) {
    constexpr size_t page = 4096, inside = 4 * page;
    static char* starts[4];
    if (starts[slot] == nullptr) {
        void* all = mmap(nullptr, inside + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        starts[slot] = static_cast<char*>(all) + page;
        mprotect(starts[slot], inside, PROT_READ | PROT_WRITE);
    }
    return reinterpret_cast<Pixel*>(starts[slot] + (atEnd ? inside - count * sizeof(Pixel) : 0));
}

constexpr size_t largestCount = 67;  // every remainder of sixteen, and many steps

TEST(RowKernels, GiveTheExactSum) {
    Random random(2);
    for (size_t count = 0; count <= largestCount; ++count)
        for (const bool atEnd : {true, false}) {
            Pixel *a = takeGuarded(0, count, atEnd), *b = takeGuarded(1, count, atEnd);
            for (const Fill fill : allFills)
                for (const Mask mask : allMasks) {
                    const auto width = static_cast<int32_t>(count);
                    std::copy_n(makeScene(random, {fill, mask}, false, width, 1).pixels, count, a);
                    std::copy_n(makeScene(random, {fill, Mask::scattered}, true, width, 1).pixels, count, b);
                    long double sum = 0;  // wide enough to be exact
                    int64_t masked = 0;
                    for (size_t i = 0; i < count; ++i) {
                        if (a[i].weight == 0 || b[i].weight == 0)
                            ++masked;
                        else
                            sum += static_cast<long double>(plain::computePairCost(a[i], b[i]));
                    }
                    for (const RowKernel& kernel : listRowKernels()) {
                        const auto trial = testing::Message() << kernel.name << ", fill " << static_cast<int>(fill)
                                                              << ", mask " << static_cast<int>(mask) << ", " << count;
                        const RowCost cost = kernel.sumRow(a, b, count);
                        EXPECT_EQ(cost.maskedPairs, masked) << trial;
                        EXPECT_NEAR(cost.sum, static_cast<double>(sum),
                                    sum < exactSumLimit ? 0.0 : static_cast<double>(sum) * 0x1p-45)
                            << trial;
                        EXPECT_NEAR(kernel.estimateRow(a, b, count), static_cast<double>(sum),
                                    static_cast<double>(sum) * estimateError)
                            << trial;
                    }
                }
        }
}

TEST(SamplingKernels, GiveThePlainBytes) {
    Random random(3);
    constexpr float strange[] = {-0.0f, -1e-30f, -0.5f, -1.0f, NAN, INFINITY, -INFINITY, 3e9f, -3e9f, 1e30f};
    for (size_t count = 0; count <= largestCount; ++count)
        for (int round = 0; round < 30; ++round) {
            const Image scene = makeScene(random, {Fill::noise, Mask::scattered}, true, pick(random, 1, 1 + round * 2),
                                          pick(random, 1, 50));
            Image source = scene;
            source.pixels = takeGuarded(0, countPixels(source), round % 2 == 0);
            std::copy_n(scene.pixels, countPixels(source), source.pixels);
            float* x = reinterpret_cast<float*>(takeGuarded(1, count, true));
            float* y = reinterpret_cast<float*>(takeGuarded(2, count, true));
            Pixel* row = takeGuarded(3, count, true);
            const auto offset = [&](int32_t side) { return static_cast<float>(pick(random, -128, 64 * side)) / 64.0f; };
            const float startX = offset(source.width), startY = offset(source.height);
            const float angle = static_cast<float>(pick(random, -20, 20)) / (round % 3 == 0 ? 7.0f : 500.0f);
            for (size_t i = 0; i < count; ++i) {
                const bool scattered = round % 5 == 0;
                x[i] = scattered ? offset(source.width) : startX + std::cos(angle) * static_cast<float>(i);
                y[i] = scattered ? offset(source.height) : startY + std::sin(angle) * static_cast<float>(i);
                if (round % 7 == 0 && pick(random, 0, 5) == 0) x[i] = strange[pick(random, 0, 9)];
                if (round % 7 == 0 && pick(random, 0, 5) == 0) y[i] = strange[pick(random, 0, 9)];
            }
            const TurnedRow turned = {std::cos(angle), std::sin(angle), startX, startY, pick(random, -9, 3)};
            const auto width = static_cast<int32_t>(count);
            const Image expected = keep(makeImage(width, 1)), expectedTurned = keep(makeImage(width, 1));
            for (int32_t i = 0; i < width; ++i) {
                const auto u = static_cast<float>(turned.firstU + i);
                expected.pixels[i] = plain::samplePosition(source, x[i], y[i]);
                expectedTurned.pixels[i] =
                    plain::samplePixel(source, static_cast<int64_t>(turned.cosA * u + turned.startX),
                                       static_cast<int64_t>(turned.sinA * u + turned.startY), 0, 0);
            }
            for (const SamplingKernel& kernel : listSamplingKernels()) {
                kernel.samplePositions(source, x, y, row, count);
                EXPECT_TRUE(sameImage({row, width, 1, 0, 0}, expected)) << kernel.name << ", round " << round;
                kernel.sampleTurnedRow(source, turned, row, count);
                EXPECT_TRUE(sameImage({row, width, 1, 0, 0}, expectedTurned)) << kernel.name << " turned " << round;
            }
        }
}

}  // namespace
