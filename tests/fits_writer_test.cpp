#include "imageio/fits_writer.h"

#include <gtest/gtest.h>

#include "files.h"
#include "scenes.h"

namespace {

std::string makeCard(const std::string& keyword, const std::string& value) {
    const std::string start = keyword + std::string(8 - keyword.size(), ' ') + "=";
    return start + std::string(30 - start.size() - value.size(), ' ') + value + std::string(50, ' ');
}

TEST(WriteFitsChannel, WritesHeaderAndSamples) {
    enterScratchFolder();
    const struct {
        int32_t imageCount;
        const char* high;
        uint32_t sum;
        const char* sample;
    } cases[] = {{10, "2560", 2550, "\x09\xF6"},
                 {126, "32256", 32130, "\x7D\x82"},
                 {127, "32512", 32385, "\x7E\x81"},
                 {200, "32512", 12345, "\x1E\x9F"},
                 {29999, "32512", 7649745, "\x7E\x81"}};
    for (auto [imageCount, high, sum, sample] : cases) {
        // 2 x 2; the top right pixel alone holds the sum, each channel another.
        CompositeSum sums[4] = {};
        for (const int channel : {fitsBlue, fitsGreen, fitsRed}) {
            sums[1] = {channel == fitsBlue ? sum : 1, channel == fitsGreen ? sum : 1, channel == fitsRed ? sum : 1, 7};
            ASSERT_TRUE(writeFitsChannel({sums, 2, 2, imageCount}, "channel.fit", channel));
            std::string expected = makeCard("SIMPLE", "T") + makeCard("BITPIX", "16") + makeCard("NAXIS", "2") +
                                   makeCard("NAXIS1", "2") + makeCard("NAXIS2", "2") + makeCard("MIPS-HI", high) +
                                   makeCard("MIPS-LO", "0") + "END";
            expected += std::string(2880 - expected.size(), ' ') + std::string(6, '\0') + std::string(sample, 2);
            EXPECT_EQ(readFile("channel.fit"), expected) << imageCount << " images, channel " << channel;
        }
    }
    CompositeSum empty = {};
    ASSERT_TRUE(writeFitsChannel({&empty, 1, 1, 0}, "channel.fit", fitsRed));
    EXPECT_EQ(readFile("channel.fit").substr(2880), std::string(2, '\0')) << "no image";
    testing::internal::CaptureStdout();
    EXPECT_FALSE(writeFitsChannel({&empty, 1, 1, 1}, "no/channel.fit", fitsRed));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Erreur : impossible d'ecrire le fichier no/channel.fit\n");
}

}  // namespace
