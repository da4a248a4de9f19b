#include "frames/brightness_scale.h"

#include <gtest/gtest.h>

#include <array>

namespace {

TEST(BrightnessScale, LeavesOnlyTheFewestValuesOut) {
    // 40,000 values at 30000, and of the others as many as may just be left out, or one more.
    for (const int depth : {CV_16U, CV_32F}) {
        for (const int hot : {4, 5}) {
            for (const int dark : {40, 41}) {
                cv::Mat picture(100, 4000, CV_32F, cv::Scalar(30000));
                picture.row(0).colRange(0, hot).setTo(60000);
                picture.row(1).colRange(0, dark).setTo(7);
                picture.row(2).setTo(40000);
                picture.row(3).setTo(500);
                picture.convertTo(picture, depth);
                BrightnessHistogram histogram;
                for (int row = 0; row < 100; row += 50) addToHistogram(histogram, picture.rowRange(row, row + 50));
                EXPECT_EQ(histogram.total, 400'000);
                const BrightnessScale scale = chooseScale(histogram);
                EXPECT_NEAR(scale.low, dark > 40 ? 7 : 500, 0.5) << hot << " hot, " << dark << " dark";
                EXPECT_NEAR(scale.high, hot > 4 ? 60000 : 40000, 20) << hot << " hot, " << dark << " dark";
                EXPECT_GE(scale.high, hot > 4 ? 60000 : 40000);
                const ScaledPicture scaled = applyScale(picture, scale);
                EXPECT_EQ(scaled.aboveCount, hot > 4 ? 0 : hot);
                EXPECT_EQ(scaled.belowCount, dark > 40 ? 0 : dark);
            }
        }
    }
}

struct RangeCase {
    const char* what;
    std::vector<float> values;
    BrightnessScale expected;
};

TEST(BrightnessScale, CopesWithAnyRange) {
    const RangeCase cases[] = {
        {"nothing", {}, {0, 255}},
        {"one value", {5, 5}, {5, 6}},
        {"below 0", {-0.25F, -2, -0.5F}, {-2, -0.25}},
        {"both signs", {-3, 0, 3}, {-3, 3}},
        {"fractions", {0, 0.001F, 0.002F}, {0, 0.002F}},
        {"the largest", {-3e38F, 3e38F}, {-3e38F, 3e38F}},
    };
    for (const RangeCase& range : cases) {
        BrightnessHistogram histogram;
        addToHistogram(histogram, cv::Mat(range.values));
        const BrightnessScale scale = chooseScale(histogram);
        EXPECT_EQ(scale.low, range.expected.low) << range.what;
        EXPECT_EQ(scale.high, range.expected.high) << range.what;
    }
}

TEST(BrightnessScale, IsAStraightLineWithTwoEnds) {
    const std::array<float, 6> values = {0, 100, 1000, 1100, 2100, 60000};
    for (const int depth : {CV_16U, CV_32F}) {
        for (const int channels : {1, 3}) {
            cv::Mat picture(1, 6, CV_32FC(channels));
            for (int i = 0; i < picture.cols * channels; ++i)
                picture.ptr<float>()[i] = values[static_cast<size_t>(i / channels)];
            picture.convertTo(picture, depth);
            const ScaledPicture scaled = applyScale(picture, {100, 2100});
            ASSERT_EQ(scaled.picture.type(), CV_8UC3);
            const std::array<int, 6> expected = {0, 0, 115, 128, 255, 255};  // 114.75, 127.5
            for (int i = 0; i < 18; ++i) {
                EXPECT_NEAR(scaled.picture.data[i], expected[static_cast<size_t>(i / 3)], i / 3 == 3 ? 1 : 0) << i / 3;
            }
            EXPECT_EQ(scaled.belowCount, channels);
            EXPECT_EQ(scaled.aboveCount, channels);
        }
    }
    cv::Mat bytes(1, 256, CV_8U), extremes = (cv::Mat_<float>(1, 2) << -3e38F, 3e38F);
    for (int i = 0; i < 256; ++i) bytes.data[i] = static_cast<uint8_t>(i);
    const ScaledPicture same = applyScale(bytes, {});
    for (int i = 0; i < 256; ++i) EXPECT_EQ(same.picture.at<cv::Vec3b>(i), cv::Vec3b::all(static_cast<uint8_t>(i)));
    EXPECT_EQ(same.aboveCount + same.belowCount, 0);
    EXPECT_EQ(applyScale(extremes, {0, 1}).picture.at<cv::Vec3b>(1), cv::Vec3b::all(255));
}

}  // namespace
