#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "encoded_pictures.h"
#include "frames/bayer.h"
#include "frames/brightness_scale.h"
#include "frames/file_list.h"
#include "frames/frame_series.h"

namespace {

using std::filesystem::path;

/// A folder of its own for every test, with a blank and a letter beyond ASCII in its name.
class Frames : public testing::Test {
protected:
    void SetUp() override { std::filesystem::create_directories(folder); }
    void TearDown() override { std::filesystem::remove_all(folder); }
    std::string at(const std::string& name) const { return (folder / name).string(); }

    const path folder =
        std::filesystem::temp_directory_path() /
        (std::string("frames \xC3\xA9 ") + testing::UnitTest::GetInstance()->current_test_info()->name());
};

std::vector<FrameResult> readAll(const std::vector<std::string>& paths) {
    std::string problem;
    const FrameSeriesHandle series = openFrames(paths, problem);
    std::vector<FrameResult> frames;
    if (!series) return {FrameResult{{}, "", 0, problem}};
    FrameResult frame;
    while (readNextFrame(*series, frame) && frames.size() < 1000) frames.push_back(frame);
    return frames;
}

// How far apart the farthest values of two pictures lie; -1: they differ in size or type.
double findLargestDifference(const cv::Mat& a, const cv::Mat& b) {
    return a.size() == b.size() && a.type() == b.type() ? cv::norm(a, b, cv::NORM_INF) : -1;
}

struct StillCase {
    AVCodecID codec;
    std::vector<AVPixelFormat> formats;
};
const StillCase stillCases[] = {
    {AV_CODEC_ID_PNG,
     {AV_PIX_FMT_GRAY8, AV_PIX_FMT_RGB24, AV_PIX_FMT_RGBA, AV_PIX_FMT_YA8, AV_PIX_FMT_GRAY16BE, AV_PIX_FMT_RGB48BE,
      AV_PIX_FMT_RGBA64BE, AV_PIX_FMT_YA16BE, AV_PIX_FMT_PAL8, AV_PIX_FMT_MONOBLACK}},
    {AV_CODEC_ID_TIFF,
     {AV_PIX_FMT_GRAY8, AV_PIX_FMT_RGB24, AV_PIX_FMT_RGBA, AV_PIX_FMT_YA8, AV_PIX_FMT_GRAY16LE, AV_PIX_FMT_RGB48LE,
      AV_PIX_FMT_RGBA64LE, AV_PIX_FMT_PAL8, AV_PIX_FMT_MONOBLACK}},
    {AV_CODEC_ID_BMP, {AV_PIX_FMT_GRAY8, AV_PIX_FMT_BGR24, AV_PIX_FMT_BGRA, AV_PIX_FMT_PAL8, AV_PIX_FMT_MONOBLACK}},
};

TEST_F(Frames, StillPicturesKeepEveryValue) {
    for (const StillCase& group : stillCases) {
        for (const AVPixelFormat format : group.formats) {
            const std::string file = at("still");  // no ending: the content says what it is
            writeEncoded(file, {group.codec, format, nullptr}, {37, 11}, 1);
            const std::vector<FrameResult> frames = readAll({file});
            ASSERT_EQ(frames.size(), 1U);
            EXPECT_EQ(findLargestDifference(frames[0].picture, expectScene({37, 11}, format, 0)), 0)
                << avcodec_get_name(group.codec) << ", format " << format << ": " << frames[0].problem;
        }
    }
}

struct FilmCase {
    Encoding encoding;
    double tolerance;
};
const FilmCase filmCases[] = {
    {{AV_CODEC_ID_RAWVIDEO, AV_PIX_FMT_GRAY8, "avi"}, 0},    {{AV_CODEC_ID_RAWVIDEO, AV_PIX_FMT_BGR24, "avi"}, 0},
    {{AV_CODEC_ID_RAWVIDEO, AV_PIX_FMT_PAL8, "avi"}, 0},     {{AV_CODEC_ID_FFV1, AV_PIX_FMT_GRAY16LE, "avi"}, 0},
    {{AV_CODEC_ID_FFV1, AV_PIX_FMT_GRAY8, "matroska"}, 0},   {{AV_CODEC_ID_FFV1, AV_PIX_FMT_BGRA, "matroska"}, 0},
    {{AV_CODEC_ID_FFV1, AV_PIX_FMT_RGB48LE, "matroska"}, 0}, {{AV_CODEC_ID_PNG, AV_PIX_FMT_RGB24, "mov"}, 0},
    {{AV_CODEC_ID_RAWVIDEO, AV_PIX_FMT_RGB24, "mov"}, 0},
};

TEST_F(Frames, FilmsGiveFrameAfterFrame) {
    for (const FilmCase& film : filmCases) {
        const std::string file = at("film");
        writeEncoded(file, film.encoding, {36, 10}, 3);
        const std::vector<FrameResult> frames = readAll({file});
        EXPECT_EQ(frames.size(), 3U);
        for (size_t i = 0; i < frames.size(); ++i) {
            const cv::Mat expected = expectScene({36, 10}, film.encoding.format, static_cast<int>(i));
            EXPECT_EQ(findLargestDifference(frames[i].picture, expected), 0)
                << avcodec_get_name(film.encoding.codec) << ", format " << film.encoding.format << ", frame "
                << frames[i].number << ": " << frames[i].problem;
        }
    }
}

struct RangeCase {
    const char* what;
    Encoding encoding;
    int expected;  // in every channel
};
const RangeCase rangeCases[] = {
    {"JPEG, black", {AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ420P, nullptr, AVCOL_RANGE_JPEG, 0}, 0},
    {"JPEG, white", {AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ444P, nullptr, AVCOL_RANGE_JPEG, 255}, 255},
    {"JPEG, grey", {AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ422P, nullptr, AVCOL_RANGE_JPEG, 200}, 200},
    {"MJPEG film, white", {AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ420P, "avi", AVCOL_RANGE_JPEG, 255}, 255},
    {"limited, black", {AV_CODEC_ID_MPEG4, AV_PIX_FMT_YUV420P, "mp4", AVCOL_RANGE_MPEG, 16}, 0},
    {"limited, white", {AV_CODEC_ID_MPEG4, AV_PIX_FMT_YUV420P, "mp4", AVCOL_RANGE_MPEG, 235}, 255},
    {"unsaid, white", {AV_CODEC_ID_RAWVIDEO, AV_PIX_FMT_YUV420P, "avi", AVCOL_RANGE_UNSPECIFIED, 235}, 255},
    {"full, white", {AV_CODEC_ID_FFV1, AV_PIX_FMT_YUV444P, "matroska", AVCOL_RANGE_JPEG, 255}, 255},
    {"full, near black", {AV_CODEC_ID_FFV1, AV_PIX_FMT_YUV444P, "matroska", AVCOL_RANGE_JPEG, 10}, 10},
    {"limited grey, white", {AV_CODEC_ID_FFV1, AV_PIX_FMT_GRAY8, "matroska", AVCOL_RANGE_MPEG, 235}, 255},
    {"limited grey, black", {AV_CODEC_ID_FFV1, AV_PIX_FMT_GRAY8, "matroska", AVCOL_RANGE_MPEG, 16}, 0},
    {"full grey", {AV_CODEC_ID_FFV1, AV_PIX_FMT_GRAY8, "matroska", AVCOL_RANGE_JPEG, 235}, 235},
    {"10 bits grey", {AV_CODEC_ID_FFV1, AV_PIX_FMT_GRAY10LE, "matroska", AVCOL_RANGE_JPEG, 1023}, 65535},
    {"12 bits grey", {AV_CODEC_ID_FFV1, AV_PIX_FMT_GRAY12LE, "matroska", AVCOL_RANGE_UNSPECIFIED, 1000}, 16000},
    {"limited, 10 bits, white", {AV_CODEC_ID_FFV1, AV_PIX_FMT_YUV422P10LE, "matroska", AVCOL_RANGE_MPEG, 940}, 65535},
    {"limited, 10 bits, black", {AV_CODEC_ID_FFV1, AV_PIX_FMT_YUV422P10LE, "matroska", AVCOL_RANGE_MPEG, 64}, 0},
};

TEST_F(Frames, BrightnessHasTheFullRange) {
    for (const RangeCase& range : rangeCases) {
        const std::string file = at("range");
        writeEncoded(file, range.encoding, {32, 16}, 1);
        const std::vector<FrameResult> frames = readAll({file});
        ASSERT_EQ(frames.size(), 1U) << range.what;
        ASSERT_EQ(frames[0].problem, "") << range.what;
        const cv::Mat values = frames[0].picture.reshape(1);
        double least = 0, largest = 0;
        cv::minMaxIdx(values, &least, &largest);
        const double tolerance = values.depth() == CV_16U ? 256 : 1;
        EXPECT_NEAR(least, range.expected, tolerance) << range.what;
        EXPECT_NEAR(largest, range.expected, tolerance) << range.what;
    }
}

}  // namespace
