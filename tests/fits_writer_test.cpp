#include "imageio/fits_writer.h"

#include "scenes.h"

namespace {

TEST(WriteFitsChannel, ScalesTheSumsToSixteenBits) {
    enterScratchFolder();
    const struct {
        int32_t imageCount;
        const char* high;
        uint32_t sum;
        const char* sample;
    } cases[] = {{126, "32256", 32130, "\x7D\x82"},
                 {127, "32512", 32385, "\x7E\x81"},
                 {200, "32512", 12345, "\x1E\x9F"},
                 {29999, "32512", 7649745, "\x7E\x81"}};
    for (auto [imageCount, high, sum, sample] : cases)
        for (const int channel : {fitsBlue, fitsGreen, fitsRed}) {
            // 2 x 2; the top right pixel alone holds sums, and bottom rows go out first.
            CompositeSum sums[4] = {};
            sums[1] = {channel == fitsBlue ? sum : 1, channel == fitsGreen ? sum : 1, channel == fitsRed ? sum : 1, 7};
            ASSERT_TRUE(writeFitsChannel({sums, 2, 2, imageCount}, "channel.fit", channel));
            const std::string bytes = readFile("channel.fit"),
                              trial = format("%i images, channel %i", imageCount, channel);
            EXPECT_EQ(bytes.substr(2880), std::string(6, '\0') + std::string(sample, 2)) << trial;
            EXPECT_THAT(bytes.substr(400, 30), testing::MatchesRegex("MIPS-HI = *" + std::string(high))) << trial;
        }
    CompositeSum none = {};
    ASSERT_TRUE(writeFitsChannel({&none, 1, 1, 0}, "channel.fit", fitsRed));
    EXPECT_EQ(readFile("channel.fit").substr(2880), std::string(2, '\0')) << "no image";
}

}  // namespace
