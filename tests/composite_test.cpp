#include "composite/composite.h"

#include <cstring>
#include <vector>

#include "core/vector_level.h"
#include "imageio/bmp_reader.h"
#include "plain/plain.h"
#include "scenes.h"

namespace {

TEST(AccumulateComposite, EqualsThePlainOne) {
    Random random(12);
    for (int round = 0; round < 600; ++round) {
        setVectorLevel(listVectorLevels()[static_cast<size_t>(round) % listVectorLevels().size()]);
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
        releaseComposite();
    }
}

// Means by the rounded reciprocal: with 25, 41 and 29999 images a product in double precision or a quotient differs. Of
// a channel's file, what whole runs do not compare: the largest of the samples' range, and a sample.
TEST(WriteComposite, ScalesTheSums) {
    enterScratchFolder();
    using namespace std::string_literals;
    const struct {
        int32_t imageCount;
        uint32_t sum;
        int mean;
        std::string high, sample;
    } cases[] = {{0, 0, 0, "0", "\0\0"s},
                 {3, 300, 100, "768", "\1\x2C"},
                 {4, 30, 7, "1024", "\0\x1E"s},
                 {25, 25, 1, "6400", "\0\x19"s},
                 {41, 41, 0, "10496", "\0\x29"s},
                 {41, 10455, 254, "10496", "\x28\xD7"},
                 {126, 32130, 255, "32256", "\x7D\x82"},
                 {127, 32385, 255, "32512", "\x7E\x81"},
                 {200, 12345, 61, "32512", "\x1E\x9F"},
                 {1000, 254937, 254, "32512", "\x7E\x78"},
                 {29999, 7649745, 254, "32512", "\x7E\x81"}};
    for (const auto& [imageCount, sum, mean, high, sample] : cases) {
        const auto trial = testing::Message() << imageCount << " images, sum " << sum;
        Pixel black = {};
        char name[] = "compo.v1.bmp";
        runState.reference = {&black, 1, 1, 0, 0};
        runState.imageCount = imageCount;
        runState.compositeName = name;
        allocateComposite();
        *runState.compositeSum = {sum, 1, 2, 7};
        Image written;
        testing::internal::CaptureStdout();
        writeComposite();
        releaseComposite();
        ASSERT_EQ(readBmp(written, "compo.bmp"), bmpLoaded) << trial;
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(keep(written).pixels->blue, mean) << trial;
        const std::string channel = readFile("compoB.fit");
        EXPECT_EQ(channel.substr(2880), sample) << trial;
        EXPECT_THAT(channel.substr(400, 31), testing::MatchesRegex("MIPS-HI = *" + high + " ")) << trial;
    }
    runState.compositeName = nullptr;
}

}  // namespace
