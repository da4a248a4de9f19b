#include <fitsio.h>

#include <limits>

#include "frames/bayer.h"
#include "frames_fixture.h"

namespace {

using Keywords = std::vector<std::pair<const char*, const char*>>;

constexpr long fitsWidth = 14, fitsHeight = 6;

// A file of those values, row after row and plane after plane.
void writeFits(const std::string& file, int type, std::vector<float> values, const Keywords& keywords, bool packed) {
    const long planes = static_cast<long>(values.size()) / (fitsWidth * fitsHeight);
    std::vector<long> sizes{fitsWidth, fitsHeight, planes};
    int status = 0;
    fitsfile* fits = nullptr;
    fits_create_diskfile(&fits, file.c_str(), &status);
    if (packed) fits_set_compression_type(fits, RICE_1, &status);
    fits_create_img(fits, type, planes == 1 ? 2 : 3, sizes.data(), &status);
    for (const auto& [keyword, text] : keywords) fits_write_key_str(fits, keyword, text, "", &status);
    std::vector<uint16_t> integers(values.size());  // packed values must be of the type to be stored
    if (packed) std::copy(values.begin(), values.end(), integers.begin());
    void* data = packed ? static_cast<void*>(integers.data()) : values.data();
    fits_write_img(fits, packed ? TUSHORT : TFLOAT, 1, static_cast<LONGLONG>(values.size()), data, &status);
    fits_close_file(fits, &status);
    ASSERT_EQ(status, 0) << file;
}

struct FitsCase {
    const char* what;
    int storedType, planes;
    bool packed;
    const char* rowOrder;
    int expectedType;
};
const FitsCase fitsCases[] = {
    {"bytes", BYTE_IMG, 1, false, "", CV_8UC1},
    {"bytes, top first", BYTE_IMG, 1, false, "TOP-DOWN", CV_8UC1},
    {"bytes, bottom first", BYTE_IMG, 1, false, "BOTTOM-UP", CV_8UC1},
    {"16 bits", SHORT_IMG, 1, false, "", CV_32FC1},
    {"16 bits without sign", USHORT_IMG, 1, false, "", CV_16UC1},
    {"32 bits", LONG_IMG, 1, false, "", CV_32FC1},
    {"floats", FLOAT_IMG, 1, false, "", CV_32FC1},
    {"doubles", DOUBLE_IMG, 1, false, "", CV_32FC1},
    {"three planes", USHORT_IMG, 3, false, "", CV_16UC3},
    {"three planes of floats", FLOAT_IMG, 3, false, "TOP-DOWN", CV_32FC3},
    {"packed", USHORT_IMG, 1, true, "", CV_16UC1},
    {"three packed planes", USHORT_IMG, 3, true, "", CV_16UC3},
};

TEST_F(Frames, FitsOfEveryKind) {
    for (const FitsCase& fits : fitsCases) {
        cv::Mat expected(fitsHeight, fitsWidth, CV_32FC(fits.planes));
        std::vector<float> values;
        for (int plane = 0; plane < fits.planes; ++plane) {
            for (int row = 0; row < fitsHeight; ++row) {
                for (int x = 0; x < fitsWidth; ++x) {
                    values.push_back(static_cast<float>(4 * x + row + 60 * plane));
                    const int y =
                        fits.rowOrder == std::string("TOP-DOWN") ? row : static_cast<int>(fitsHeight) - 1 - row;
                    expected.ptr<float>(y, x)[fits.planes - 1 - plane] = values.back();
                }
            }
        }
        expected.convertTo(expected, CV_MAT_DEPTH(fits.expectedType));
        const std::string file = at(std::string(fits.what) + "[1].fit");  // no choice of rows: a name
        writeFits(file, fits.storedType, values, {{"ROWORDER", fits.rowOrder}}, fits.packed);
        const std::vector<FrameResult> frames = readAll({file});
        ASSERT_EQ(frames.size(), 1U);
        EXPECT_EQ(findLargestDifference(frames[0].picture, expected), 0) << fits.what << ": " << frames[0].problem;
    }
}

// A coloured scene seen through each pattern: colours change slowly, so that every pixel comes back but at the edges.
TEST_F(Frames, MosaicsGetTheirColours) {
    for (const char* name : {"RGGB", "GRBG", "GBRG", "BGGR"}) {
        for (const int depth : {CV_8U, CV_16U, CV_32F}) {
            cv::Mat mosaic(16, 20, CV_32F);
            for (int y = 0; y < mosaic.rows; ++y) {
                for (int x = 0; x < mosaic.cols; ++x) {
                    const char colour = name[y % 2 * 2 + x % 2];
                    mosaic.at<float>(y, x) = colour == 'R' ? 200.F : colour == 'G' ? 100.F : 20.F;
                }
            }
            mosaic.convertTo(mosaic, depth);
            for (const cv::Size size : {cv::Size{20, 16}, cv::Size{19, 15}, cv::Size{2, 2}}) {
                const cv::Mat picture = resolveBayer(mosaic(cv::Rect({0, 0}, size)).clone(), findBayerPattern(name));
                const cv::Mat expected(size, CV_MAKETYPE(depth, 3), cv::Scalar(20, 100, 200));
                EXPECT_EQ(findLargestDifference(picture, expected), 0) << name << ", depth " << depth << ", " << size;
            }
        }
    }
    EXPECT_EQ(moveBayerPattern(BayerPattern::rggb, 1, 0), BayerPattern::grbg);
    EXPECT_EQ(moveBayerPattern(BayerPattern::rggb, 2, 3), BayerPattern::gbrg);
    EXPECT_EQ(moveBayerPattern(BayerPattern::grbg, -1, 1), BayerPattern::gbrg);
}

struct MosaicCase {
    Keywords keywords;
    const char* pattern;  // of the file's first two rows; null: no mosaic
};
const MosaicCase mosaicCases[] = {
    {{{"BAYERPAT", "GRBG"}}, "GRBG"},
    {{{"BAYERPAT", "BGGR"}, {"ROWORDER", "TOP-DOWN"}}, "BGGR"},
    {{{"BAYERPAT", " RGGB "}, {"XBAYROFF", "1"}}, "GRBG"},
    {{{"BAYERPAT", "RGGB"}, {"XBAYROFF", "0"}, {"YBAYROFF", "1"}}, "GBRG"},
    {{{"COLORTYP", "GBRG"}}, "GBRG"},
    {{{"BAYERPAT", "MONO"}}, nullptr},
};

TEST_F(Frames, FitsMosaicsGoByTheirKeywords) {
    int number = 0;
    for (const MosaicCase& mosaic : mosaicCases) {
        for (const int type : {BYTE_IMG, USHORT_IMG, SHORT_IMG}) {
            std::vector<float> values;
            for (long i = 0; i < fitsWidth * fitsHeight; ++i) {
                const char colour =
                    (mosaic.pattern != nullptr ? mosaic.pattern : "RGGB")[i / fitsWidth % 2 * 2 + i % 2];
                values.push_back(colour == 'R' ? 200.F : colour == 'G' ? 100.F : 20.F);
            }
            const std::string file = at(std::to_string(++number));
            writeFits(file, type, values, mosaic.keywords, false);
            const cv::Mat picture = readAll({file})[0].picture;
            ASSERT_EQ(picture.channels(), mosaic.pattern != nullptr ? 3 : 1) << mosaic.keywords[0].second;
            if (mosaic.pattern == nullptr) continue;
            const cv::Mat expected(fitsHeight, fitsWidth, picture.type(), cv::Scalar(20, 100, 200));
            EXPECT_EQ(findLargestDifference(picture, expected), 0) << mosaic.pattern << ", type " << type;
        }
    }
}

TEST_F(Frames, DamagedFitsIsAProblem) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    std::vector<float> values(fitsWidth * fitsHeight, 3);
    values[0] = std::numeric_limits<float>::quiet_NaN();
    values[1] = -infinity;
    writeFits(at("whole.fit"), FLOAT_IMG, values, {{"ROWORDER", "TOP-DOWN"}}, false);
    const cv::Mat picture = readAll({at("whole.fit")})[0].picture;
    ASSERT_EQ(picture.total(), values.size());
    EXPECT_THAT((std::vector<float>(picture.begin<float>(), picture.begin<float>() + 3)),
                testing::ElementsAre(0, 0, 3));

    const std::string whole = readFile(at("whole.fit"));
    const auto changed = [&](const std::string& from, const std::string& to) {
        std::string bytes = whole;
        return bytes.replace(bytes.find(from), to.size(), to);
    };
    const std::string width = "NAXIS1  =                   14", planes = "NAXIS   =                    2";
    const std::string damaged[] = {
        whole.substr(0, 20),
        whole.substr(0, 2000),
        whole.substr(0, 2880),
        whole.substr(0, 2880 + 100),
        changed(width, "NAXIS1  =           2147483647"),
        changed(width, "NAXIS1  =  9223372036854775807"),
        changed(width, "NAXIS1  =                65535"),
        changed(width, "NAXIS1  =                  -14"),
        changed(width, "NAXIS1  =                    0"),
        changed(planes, "NAXIS   =                    0"),
        changed(planes, "NAXIS   =                  999"),
        changed("BITPIX  =                  -32", "BITPIX  =                   77"),
    };
    for (const std::string& bytes : damaged) {
        writeFile(at("damaged.fit"), bytes);
        const std::vector<FrameResult> frames = readAll({at("damaged.fit")});
        ASSERT_EQ(frames.size(), 1U);
        EXPECT_THAT(frames[0].problem, testing::HasSubstr("damaged.fit")) << bytes.substr(0, 600);
        EXPECT_TRUE(frames[0].picture.empty());
    }
}

}  // namespace
