#include <gtest/gtest.h>

#include <filesystem>

#include "files.h"
#include "imageio/bmp_reader.h"
#include "imageio/bmp_writer.h"
#include "scenes.h"

namespace {

std::string littleEndian(int64_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> 8 * i);
    return text;
}

struct Header {
    int64_t width, height;
    int bits = 24, compression = 0, dataOffset = 54;
};

std::string makeBmp(const Header& h, int64_t fileSize, const std::string& rows) {
    const std::string header = "BM" + littleEndian(fileSize, 4) + littleEndian(0, 4) + littleEndian(h.dataOffset, 4) +
                               littleEndian(40, 4) + littleEndian(h.width, 4) + littleEndian(h.height, 4) +
                               littleEndian(1, 2) + littleEndian(h.bits, 2) + littleEndian(h.compression, 4) +
                               littleEndian(0, 4) + littleEndian(2840, 4) + littleEndian(2840, 4) + littleEndian(0, 8);
    return header + std::string(static_cast<size_t>(h.dataOffset - 54), '?') + rows;
}

TEST(WriteBmp, WritesTheseBytes) {
    enterScratchFolder();
    Pixel pixels[] = {{1, 2, 3, 0}, {4, 5, 6, 9}, {7, 8, 9, 255}, {10, 11, 12, 255}};
    const struct {
        int32_t width, height;
        std::string rows;
    } cases[] = {{2, 2, std::string("\7\10\11\12\13\14\0\0\1\2\3\4\5\6\0\0", 16)},
                 {1, 1, std::string("\1\2\3\0", 4)},
                 {4, 1, "\1\2\3\4\5\6\7\10\11\12\13\14"},
                 {0, 0, ""}};
    for (const auto& [width, height, rows] : cases) {
        testing::internal::CaptureStdout();
        EXPECT_TRUE(writeBmp({pixels, width, height, 5, 6}, "out.bmp"));
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Sauvegarde d'une image out.bmp FIN\n");
        const auto fileSize = static_cast<int64_t>(54 + rows.size());
        EXPECT_EQ(readFile("out.bmp"), makeBmp({width, height}, fileSize, rows)) << width << " x " << height;
    }
    testing::internal::CaptureStdout();
    EXPECT_FALSE(writeBmp({pixels, 2, 2, 0, 0}, "no/out.bmp"));
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                testing::EndsWith("Erreur : impossible d'ecrire le fichier no/out.bmp\n"));
}

TEST(ReadBmp, ReadsBackWhatWasWritten) {
    enterScratchFolder();
    Random random(13);
    for (const int32_t height : {1, 2, 3, 64})
        for (const int32_t width : {1, 2, 3, 4, 5, 15, 16, 17, 33, 2000}) {
            const Image image = makeScene(random, {Fill::noise, Mask::none}, false, width, height);
            Image back = {nullptr, 0, 0, 77, 88};
            testing::internal::CaptureStdout();
            EXPECT_TRUE(writeBmp(image, "back.bmp"));
            EXPECT_EQ(readBmp(back, "back.bmp"), bmpLoaded);
            EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::EndsWith("Chargement du fichier back.bmp"));
            EXPECT_TRUE(sameImage(keep(back), {image.pixels, width, height, 77, 88}));
        }
}

TEST(ReadBmp, OfFilesOtherwiseMade) {
    enterScratchFolder();
    const std::string rows("\1\2\3\4\5\6??\7\10\11\12\13\14??", 16);
    const struct {
        const char* what;
        Header header;
        size_t rowBytes;
        std::array<int, 4> blue;  // top row first; -1: no data, all four bytes zero
        const char* message;
    } cases[] = {{"bottom row first", {2, 2}, 16, {7, 10, 1, 4}, ""},
                 {"data further on", {2, 2, 24, 0, 71}, 16, {7, 10, 1, 4}, ""},
                 {"top row first", {2, -2}, 16, {1, 4, 7, 10}, ""},
                 {"cut in the padding", {2, 2}, 14, {7, 10, 1, 4}, ""},
                 {"cut in the last pixel", {2, 2}, 13, {7, -1, 1, 4}, "incomplet"},
                 {"cut in the first row", {2, 2}, 5, {-1, -1, 1, -1}, "incomplet"},
                 {"no rows", {2, 2}, 0, {-1, -1, -1, -1}, "incomplet"},
                 {"8 bits", {2, 2, 8}, 16, {-1, -1, -1, -1}, "N&B"}};
    for (const auto& c : cases) {
        writeFile("in.bmp", makeBmp(c.header, 70, rows.substr(0, c.rowBytes)));
        Image image;
        testing::internal::CaptureStdout();
        EXPECT_EQ(readBmp(image, "in.bmp"), bmpLoaded);
        EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::HasSubstr(c.message)) << c.what;
        ASSERT_EQ(describe(keep(image)), "2 x 2 with origin (0, 0)") << c.what;
        for (size_t i = 0; i < 4; ++i) {
            const auto blue = static_cast<uint8_t>(c.blue[i]), green = static_cast<uint8_t>(c.blue[i] + 1);
            Pixel expected = c.blue[i] < 0 ? Pixel{} : Pixel{blue, green, static_cast<uint8_t>(c.blue[i] + 2), 255};
            EXPECT_TRUE(sameImage({image.pixels + i, 1, 1, 0, 0}, {&expected, 1, 1, 0, 0}))
                << c.what << ", pixel " << i;
        }
    }
}

TEST(ReadBmp, EndsTheRunOnFilesThatItCannotDecode) {
    enterScratchFolder();
    constexpr const char* noMemory =
        "Erreur : pas assez de memoire \nErreur fatale, appuyez sur entree.\nFatal error. ";
    const struct {
        Header header;
        const char* message;
    } cases[] = {{{2, 2, 24, 1}, "Fichier BMP compresse: chargement impossible\n"},
                 {{2, 2, 16}, "Erreur fatale: mode d'image non supporte\n"},
                 {{2, 2, 32}, "Erreur fatale: mode d'image non supporte\n"},
                 {{-2, 2}, noMemory},
                 {{65536, 65536}, noMemory},
                 {{2147483647, 2147483647}, noMemory},
                 {{2147483647, -2147483648}, noMemory}};
    for (const auto& c : cases) {
        writeFile("bad.bmp", makeBmp(c.header, 70, std::string(16, '?')));
        Image image;
        EXPECT_FATAL((void)readBmp(image, "bad.bmp"), c.message);
    }
    const std::string whole = makeBmp({2, 2}, 70, "");
    for (const size_t length : {0, 1, 17, 28}) {
        writeFile("bad.bmp", whole.substr(0, length));
        Image image;
        EXPECT_FATAL((void)readBmp(image, "bad.bmp"), "mode d'image non supporte");
    }
    for (const char* path : {"none%s.bmp", "."}) {
        Image image = {nullptr, 3, 4, 5, 6};
        testing::internal::CaptureStdout();
        EXPECT_EQ(readBmp(image, path), bmpCannotOpen);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  std::string("Chargement du fichier ") + path + "Erreur : impossible d'ouvrir l'image " + path + "\n");
        EXPECT_EQ(describe(image), "3 x 4 with origin (5, 6)") << "untouched";
    }
}

}  // namespace
