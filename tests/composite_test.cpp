#include "composite/composite.h"

#include <cstring>
#include <vector>

#include "imageio/bmp_reader.h"
#include "plain/plain.h"
#include "scenes.h"

namespace {

TEST(AccumulateComposite, EqualsThePlainOne) {
    Random random(12);
    for (int round = 0; round < 600; ++round) {
        runState.reference = makeAnyScene(random, 0, true, 60);
        std::vector<CompositeSum> expected(countPixels(runState.reference));
        allocateComposite();
        for (int image = 0; image < 3; ++image) {
            const Image aligned = makeAnyScene(random, 0, false, 60);
            accumulateComposite(aligned);
            plain::accumulateComposite(expected.data(), runState.reference, aligned);
        }
        EXPECT_EQ(std::memcmp(runState.compositeSum, expected.data(), expected.size() * sizeof(CompositeSum)), 0)
            << "round " << round << ", reference " << describe(runState.reference);
        delete[] runState.compositeSum;
    }
}

// Means by the rounded reciprocal: with 25 and 41 images a product in double precision or a quotient differs.
TEST(WriteComposite, AveragesInSinglePrecision) {
    enterScratchFolder();
    const struct {
        int32_t imageCount;
        uint32_t sum;
        int mean;
    } cases[] = {{3, 300, 100}, {25, 25, 1}, {41, 41, 0}, {41, 10455, 254}, {4, 30, 7}, {0, 0, 0}};
    for (auto [imageCount, sum, mean] : cases) {
        Pixel black = {};
        char name[] = "compo.v1.bmp";
        runState.reference = {&black, 1, 1, 0, 0};
        runState.imageCount = imageCount;
        runState.compositeName = name;
        allocateComposite();
        *runState.compositeSum = {sum, 0, 2 * sum, 0};
        Image written;
        testing::internal::CaptureStdout();
        writeComposite();
        ASSERT_EQ(readBmp(written, "compo.bmp"), bmpLoaded);
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(keep(written).pixels->blue, mean) << imageCount << " images, sum " << sum;
    }
    runState.compositeName = nullptr;
}

}  // namespace
