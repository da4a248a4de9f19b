#include "export/export.h"

#include <fitsio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <opencv2/core.hpp>
#include <random>

#include "export/mean_picture.h"
#include "export/stretch.h"
#include "frames/frame_series.h"
#include "scratch_folder.h"

namespace {

namespace fs = std::filesystem;

constexpr int width = 23, height = 17;  // no whole block of anything

class Export : public testing::Test {
protected:
    const ScratchFolder scratch;
    const fs::path folder = scratch.path;
    const std::string stem = folder / "sum";
};

// Planes as FITS has them: the bottom row of the picture first.
void writeFits(const std::string& path, int bits, const std::vector<cv::Mat>& planes, const char* key, int value) {
    fitsfile* file = nullptr;
    int status = 0;
    long sizes[] = {planes[0].cols, planes[0].rows, static_cast<long>(planes.size())};
    fits_create_file(&file, ("!" + path).c_str(), &status);
    fits_create_img(file, bits, planes.size() > 1 ? 3 : 2, sizes, &status);
    fits_update_key(file, TINT, key, &value, nullptr, &status);
    long first = 1;
    for (const cv::Mat& plane : planes) {
        for (int y = plane.rows - 1; y >= 0; --y, first += plane.cols) {
            fits_write_img(file, TINT, first, plane.cols, const_cast<uchar*>(plane.ptr(y)), &status);
        }
    }
    fits_close_file(file, &status);
    ASSERT_EQ(status, 0) << path;
}

cv::Mat makePlane(int value, int perColumn, int perRow) {
    cv::Mat plane(height, width, CV_32S);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) plane.at<int>(y, x) = value + perColumn * x + perRow * y;
    }
    return plane;
}

cv::Mat readPicture(const std::string& path) {
    std::string problem;
    const FrameSeriesHandle series = openFrames({path}, problem);
    FrameResult frame;
    if (!series || !readNextFrame(*series, frame)) return {};
    EXPECT_EQ(frame.problem, "") << path;
    return frame.picture;
}

// Red, green and blue differ along both axes, so that no exchange or mirroring goes unseen.
TEST_F(Export, EveryPictureShowsTheMeanInItsPlace) {
    const cv::Mat red = makePlane(400, 10, 20), green = makePlane(300, 20, -10), blue = makePlane(100, 0, 30);
    writeFits(stem + ".sums.fit", LONG_IMG, {red, green, blue, makePlane(10, 0, 0)}, "NIMAGES", 10);
    ASSERT_EQ(exportSum({.sum = stem + ".sums.fit", .output = ""}), 0);
    for (const char* ending : {".tif", "16.png"}) {
        const cv::Mat picture = readPicture(stem + ending);
        ASSERT_EQ(picture.type(), CV_16UC3) << ending;
        for (const cv::Point at : {cv::Point(0, 0), cv::Point(22, 0), cv::Point(0, 16), cv::Point(13, 5)}) {
            const cv::Vec3w expected(static_cast<uint16_t>(std::lround(25.7 * blue.at<int>(at))),
                                     static_cast<uint16_t>(std::lround(25.7 * green.at<int>(at))),
                                     static_cast<uint16_t>(std::lround(25.7 * red.at<int>(at))));
            EXPECT_EQ(picture.at<cv::Vec3w>(at), expected) << ending << at;
        }
    }
    EXPECT_EQ(readPicture(stem + ".png").type(), CV_8UC3);

    fitsfile* file = nullptr;
    int status = 0, frames = 0, dataRight = 0, headerRight = 0;
    std::vector<float> values(3 * width * height);
    fits_open_file(&file, (stem + ".fits").c_str(), READONLY, &status);
    fits_read_key(file, TINT, "NCOMBINE", &frames, nullptr, &status);
    fits_verify_chksum(file, &dataRight, &headerRight, &status);
    fits_read_img(file, TFLOAT, 1, static_cast<LONGLONG>(values.size()), nullptr, values.data(), nullptr, &status);
    fits_close_file(file, &status);
    ASSERT_EQ(status, 0);
    EXPECT_EQ(std::tuple(frames, dataRight, headerRight), std::tuple(10, 1, 1));
    EXPECT_FLOAT_EQ(values[0], 40 + 2 * 16);  // red, the picture's bottom left corner
    EXPECT_FLOAT_EQ(values[width * height + (height - 1) * width + 22], 30 + 2 * 22);  // green, top right
    EXPECT_FLOAT_EQ(values[2 * width * height + 5 * width], 10 + 3 * 11);  // blue, six rows above the bottom
}

TEST_F(Export, PlacesThatFewFramesReachAreNotDarker) {
    cv::Mat coverage = makePlane(9, 0, 0);
    coverage.colRange(0, 4) = 3;
    coverage.rowRange(14, height) = 0;
    cv::Mat sums = 50 * coverage;
    sums.at<int>(8, 12) = 450;
    coverage.at<int>(8, 12) = 8;  // a frame whose weight came out as 254 there: its light is in, its count is not
    writeFits(stem + ".sums.fit", LONG_IMG, {sums, sums, sums, coverage}, "NSUMMED", 9);
    ASSERT_EQ(exportSum({.sum = stem, .output = ""}), 0);
    cv::Mat expected(height, width, CV_16UC3, cv::Scalar::all(50 * 257));
    expected.rowRange(14, height) = cv::Scalar::all(0);
    EXPECT_EQ(cv::norm(readPicture(stem + "16.png"), expected, cv::NORM_INF), 0);

    EXPECT_EQ(exportSum({.sum = stem, .output = ""}), 2) << "what is there stays";
    ASSERT_EQ(exportSum({.sum = stem, .output = "", .cropCommon = true, .force = true}), 0);
    EXPECT_EQ(readPicture(stem + "16.png").size(), cv::Size(width - 4, 14));
}

TEST_F(Export, ChannelsWithoutCoverage) {
    // As the program leaves them: 300 frames scaled to 127, the file ending with its last sample.
    for (const char channel : {'R', 'V', 'B'}) {
        const std::string path = stem + channel + ".fit";
        writeFits(path, SHORT_IMG, {makePlane(channel == 'V' ? 127 : 254, 0, 127)}, "MIPS-HI", 127 * 256);
        fs::resize_file(path, 2880 + 2 * width * height);
    }
    ASSERT_EQ(exportSum({.sum = stem + ".bmp", .output = folder / "other"}), 1);
    const cv::Mat picture = readPicture(folder / "other16.png");
    ASSERT_EQ(picture.type(), CV_16UC3);
    EXPECT_EQ(picture.at<cv::Vec3w>(3, 7), cv::Vec3w(5 * 257, 4 * 257, 5 * 257));
    EXPECT_EQ(exportSum({.sum = stem, .output = folder / "cut", .cropCommon = true}), 2) << "nobody knows where to cut";
}

TEST_F(Export, DamagedSumsLeaveNothing) {
    const cv::Mat plane = makePlane(10, 1, 1);
    const auto expectRefused = [&](const char* what) {
        EXPECT_EQ(exportSum({.sum = stem, .output = folder / "out"}), 2) << what;
        EXPECT_FALSE(fs::exists(folder / "out.fits") || fs::exists(folder / "out.png.part")) << what;
    };
    expectRefused("no files");
    writeFits(stem + ".sums.fit", LONG_IMG, {plane, plane, plane}, "NIMAGES", 10);
    expectRefused("three planes");
    writeFits(stem + ".sums.fit", LONG_IMG, {plane, plane, plane, plane}, "NIMAGES", 10);
    std::ifstream whole(stem + ".sums.fit", std::ios::binary);
    const std::string good(std::istreambuf_iterator<char>(whole), {});
    for (const size_t length : {size_t{0}, size_t{100}, size_t{2879}, size_t{2880}, size_t{5000}}) {
        std::ofstream(stem + ".sums.fit", std::ios::binary) << good.substr(0, length);
        expectRefused(("cut to " + std::to_string(length)).c_str());
    }
    for (const auto& [from, to] : {std::pair("NAXIS1  =                   23", "NAXIS1  =            999999999"),
                                   std::pair("NAXIS2  =                   17", "NAXIS2  =                   -1"),
                                   std::pair("BITPIX  =                   32", "BITPIX  =                   33")}) {
        std::string bad = good;
        bad.replace(bad.find(from), std::string(from).size(), to);
        std::ofstream(stem + ".sums.fit", std::ios::binary) << bad;
        expectRefused(to);
    }
    fs::remove(stem + ".sums.fit");
    writeFits(stem + "R.fit", SHORT_IMG, {plane}, "MIPS-HI", 2560);
    writeFits(stem + "V.fit", SHORT_IMG, {plane}, "MIPS-HI", 2560);
    writeFits(stem + "B.fit", SHORT_IMG, {plane.rowRange(0, 5)}, "MIPS-HI", 2560);
    expectRefused("channels of two sizes");
}

TEST(CommonField, IsTheLargestRectangle) {
    std::mt19937 random(7);
    for (int trial = 0; trial < 50; ++trial) {
        MeanPicture picture;
        picture.coverage.create(7, 9, CV_32S);
        for (int& count : cv::Mat_<int>(picture.coverage)) count = random() % 4 == 0 ? 2 : 3;
        picture.coverage.at<int>(3, 4) = 3;
        const cv::Rect found = findCommonField(picture);
        int largest = 0;
        for (int i = 0; i < 63; ++i) {
            for (int j = i; j < 63; ++j) {
                if (j % 9 < i % 9) continue;
                const cv::Rect field(cv::Point(i % 9, i / 9), cv::Point(j % 9 + 1, j / 9 + 1));
                if (cv::countNonZero(picture.coverage(field) < 3) == 0) largest = std::max(largest, field.area());
            }
        }
        EXPECT_EQ(found.area(), largest) << picture.coverage;
        EXPECT_EQ(cv::countNonZero(picture.coverage(found) < 3), 0) << found;
    }
}

// A sky of level 12 with the noise of a sum.
cv::Mat makeSky() {
    cv::Mat sky(300, 400, CV_32FC3);
    cv::theRNG().state = 5;
    cv::randn(sky, cv::Scalar::all(12), cv::Scalar::all(0.5));
    return sky;
}

TEST(AutomaticStretch, ShowsWhatIsFaintAndBurnsNothingOut) {
    const cv::Mat everywhere(300, 400, CV_8U, cv::Scalar(255));
    cv::Mat nebula = makeSky(), planet = makeSky();
    nebula(cv::Rect(100, 100, 150, 100)) += cv::Scalar(1, 1, 4);  // four levels of red, no more
    for (int i = 0; i < 200; ++i) nebula.at<cv::Vec3f>(37 * i % 300, 53 * i % 400) = {220, 230, 240};
    for (int x = 150; x < 250; ++x) planet(cv::Rect(x, 100, 1, 100)) = cv::Scalar::all(60 + 1.5 * (x - 150));

    const cv::Mat faint = applyCurve(nebula, chooseCurve(nebula, everywhere, Stretch::automatic));
    const cv::Scalar inside = cv::mean(faint(cv::Rect(110, 110, 130, 80))),
                     outside = cv::mean(faint(cv::Rect(0, 0, 90, 90)));
    EXPECT_GT(inside[2], outside[2] + 40);
    EXPECT_GT(inside[2], inside[0] + 20) << "the nebula is red";
    EXPECT_LT(outside[2], 70) << "the sky stays dark";

    const cv::Mat bright = applyCurve(planet, chooseCurve(planet, everywhere, Stretch::automatic));
    EXPECT_LT(bright.at<cv::Vec3b>(150, 245)[1], 255);
    for (int x = 155; x < 245; x += 10) {
        const int step = bright.at<cv::Vec3b>(150, x + 5)[1] - bright.at<cv::Vec3b>(150, x)[1];
        EXPECT_NEAR(step, 9, 3) << "a planet's contrast is that of its frames, column " << x;
    }
}

TEST(AutomaticStretch, PicturesWithoutAnythingInThem) {
    for (const double level : {0.0, 255.0}) {
        const cv::Mat flat(5, 5, CV_32FC3, cv::Scalar::all(level));
        for (const int reached : {0, 255}) {
            const cv::Mat mask(5, 5, CV_8U, cv::Scalar(reached));
            for (const Stretch stretch : {Stretch::linear, Stretch::asinh, Stretch::automatic}) {
                const StretchCurve curve = chooseCurve(flat, mask, stretch);
                EXPECT_TRUE(curve.white > curve.black && std::isfinite(curve.strength));
                EXPECT_EQ(applyCurve(flat, curve).total(), 25U);
            }
        }
    }
}

}  // namespace
