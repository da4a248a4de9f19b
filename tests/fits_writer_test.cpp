#include "imageio/fits_writer.h"

#include "scenes.h"

namespace {

// Samples and the largest of their range; what else a file holds, whole runs compare.
TEST(WriteFitsChannel, ScalesTheSumsToSixteenBits) {
    enterScratchFolder();
    using namespace std::string_literals;
    const struct {
        int32_t imageCount;
        uint32_t sum;
        std::string high, sample;
    } cases[] = {{126, 32130, "32256", "\x7D\x82"},
                 {127, 32385, "32512", "\x7E\x81"},
                 {200, 12345, "32512", "\x1E\x9F"},
                 {29999, 7649745, "32512", "\x7E\x81"},
                 {0, 0, "0", "\0\0"s}};
    for (const auto& [imageCount, sum, high, sample] : cases) {
        const CompositeSum sums = {1, 1, sum, 7};
        ASSERT_TRUE(writeFitsChannel({&sums, 1, 1, imageCount}, "channel.fit", fitsRed));
        const std::string bytes = readFile("channel.fit");
        EXPECT_EQ(bytes.substr(2880), sample) << imageCount << " images";
        EXPECT_THAT(bytes.substr(400, 31), testing::MatchesRegex("MIPS-HI = *" + high + " "))
            << imageCount << " images";
    }
}

}  // namespace
