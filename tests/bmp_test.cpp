#include <malloc.h>

#include <set>
#include <vector>

#include "core/vector_level.h"
#include "imageio/bmp_layout.h"
#include "imageio/bmp_reader.h"
#include "imageio/bmp_writer.h"
#include "scenes.h"

namespace {

// Released arrays are kept for later pictures: each is handed out once, and none to a larger picture.
TEST(MakeImage, HandsOutArraysThatFit) {
    constexpr int32_t sides[] = {300, 290, 310, 300, 310, 260, 400, 300, 300, 299};
    for (int round = 0; round < 3; ++round) {
        std::vector<Image> images;
        std::set<Pixel*> arrays;
        for (const int32_t side : sides) {
            images.push_back(makeImage(side, side));
            arrays.insert(images.back().pixels);
            EXPECT_GE(malloc_usable_size(images.back().pixels), countPixels(images.back()) * sizeof(Pixel)) << side;
        }
        EXPECT_EQ(arrays.size(), std::size(sides));
        for (Image& image : images) releaseImage(image);
    }
}

TEST(Bmp, ReadsBackWhatWasWritten) {
    enterScratchFolder();
    Random random(13);
    for (const int32_t height : {1, 2, 3, 300})
        for (const int32_t width : {1, 2, 3, 4, 5, 15, 16, 17, 33, 2000}) {
            const Image image = makeScene(random, Fill::noise, Mask::none, false, width, height);
            for (const VectorLevel level : listVectorLevels()) {
                setVectorLevel(level);
                Image back = {nullptr, 0, 0, 77, 88};
                testing::internal::CaptureStdout();
                EXPECT_TRUE(writeBmp(image, "back.bmp"));
                EXPECT_EQ(readBmp(back, "back.bmp"), bmpLoaded);
                EXPECT_EQ(testing::internal::GetCapturedStdout(),
                          "Sauvegarde d'une image back.bmp FIN\nChargement du fichier back.bmp");
                EXPECT_TRUE(sameImage(keep(back), {image.pixels, width, height, 77, 88})) << nameOf(level);
            }
        }
}

// 2 x 2 pixels: every byte of the file, and what is read from variants of it.
TEST(Bmp, OfTwoRows) {
    enterScratchFolder();
    Pixel pixels[] = {{1, 2, 3, 0}, {4, 5, 6, 9}, {7, 8, 9, 255}, {10, 11, 12, 255}};
    testing::internal::CaptureStdout();
    EXPECT_TRUE(writeBmp({pixels, 2, 2, 5, 6}, "out.bmp"));
    testing::internal::GetCapturedStdout();
    const std::string whole = readFile("out.bmp");
    constexpr char expected[] =
        "BM\x46\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0\2\0\0\0\2\0\0\0\1\0\x18\0\0\0\0\0\0\0\0\0\x18\x0B\0\0"
        "\x18\x0B\0\0\0\0\0\0\0\0\0\0\7\10\11\12\13\14\0\0\1\2\3\4\5\6\0\0";
    EXPECT_EQ(whole, std::string(expected, 70));
    const std::string incomplete = "Attention : fichier incomplet, les pixels manquants sont sans donnees : in.bmp\n";
    const struct {
        const char* what;
        size_t at;
        std::string patch;
        size_t length;
        std::array<int, 4> blue;  // green is one more, red two; -1: no data
        std::string notice;
    } cases[] = {{"as written", 0, "B", 70, {1, 4, 7, 10}, ""},
                 {"top row first", bmpHeightOffset, "\xFE\xFF\xFF\xFF", 70, {7, 10, 1, 4}, ""},
                 {"cut in the padding", 0, "B", 68, {1, 4, 7, 10}, ""},
                 {"cut in the last pixel", 0, "B", 67, {1, -1, 7, 10}, incomplete},
                 {"cut in the first row", 0, "B", 59, {-1, -1, 7, -1}, incomplete},
                 {"rows behind the end", bmpDataOffsetOffset, "\x46", 70, {-1, -1, -1, -1}, incomplete},
                 {"rows from the second on", bmpDataOffsetOffset, "\x3E", 70, {-1, -1, 1, 4}, incomplete}};
    for (const auto& [what, at, patch, length, blue, notice] : cases) {
        std::string bytes = whole;
        writeFile("in.bmp", bytes.replace(at, patch.size(), patch).substr(0, length));
        Image image;
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        EXPECT_EQ(readBmp(image, "in.bmp"), bmpLoaded);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Chargement du fichier in.bmp") << what;
        EXPECT_EQ(testing::internal::GetCapturedStderr(), notice) << what;
        Pixel rows[4] = {};
        for (size_t i = 0; i < 4; ++i)
            if (const int b = blue[i]; b >= 0) rows[i] = {uint8_t(b), uint8_t(b + 1), uint8_t(b + 2), 255};
        EXPECT_TRUE(sameImage(keep(image), {rows, 2, 2, 0, 0})) << what;
    }
}

}  // namespace
